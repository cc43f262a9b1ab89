// SPDX-License-Identifier: GPL-2.0-or-later
//
// How much memory a program uses, to see that something gives back what it took.
#pragma once

#include <cstddef>

#include <malloc.h>

/// Bytes that were allocated and not freed.  0 under a sanitizer, which tells leaks itself.
inline std::size_t heap_in_use() { return mallinfo2().uordblks; }
