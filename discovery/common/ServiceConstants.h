// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KX::NMS::Discovery {

// The name under which the server opens the service, and what the service framework shows of it.
inline constexpr char SERVICE_NAME_DISCOVERY[] = "discovery";
inline constexpr char SERVICE_DESC_DISCOVERY[] = "Node discovery";

}  // namespace KX::NMS::Discovery
