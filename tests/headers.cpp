// SPDX-License-Identifier: Apache-2.0
// No tests: the program whose precompiled headers the others use.
