// SPDX-License-Identifier: Apache-2.0
#pragma once

// Marks what a host calls. The libraries are compiled with hidden visibility, so that a name that does not bear this
// mark can neither be called from outside nor stand in the way of a host's own; packaging/*.symbols.* list what does.
// The mark is for what has a name in the library: classes with a source file, functions, variables. Templates and
// classes that are all inline need none, since whoever uses them compiles them.
#define KX_EXPORT [[gnu::visibility("default")]]
