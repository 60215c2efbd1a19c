// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace KX::NMS::Discovery::Limits {

// A job id becomes part of file names and log prefixes.
inline constexpr std::size_t JOB_ID_BYTES = 150;
// Sub-jobs that one description may expand to, nested sequences counted too.
inline constexpr std::uint64_t SUB_JOBS = 10000;
// Sequences inside sequences; the outermost is 1.
inline constexpr unsigned SEQUENCE_DEPTH = 8;
// Of one description, those of its sub-jobs counted once each.
inline constexpr std::size_t INTERFACE_RULES = 64;
// Input files of scans that are left behind for diagnosis: of the runs of one job description, and in all.
inline constexpr std::size_t INPUT_FILES_OF_ONE_JOB = 16;
inline constexpr std::size_t INPUT_FILES = 64;

}  // namespace KX::NMS::Discovery::Limits
