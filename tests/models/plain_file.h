// SPDX-License-Identifier: GPL-2.0-or-later
//
// The data blocks of zone files, plainly.
#pragma once

#include "models/plain_zone.h"

namespace plain {

inline constexpr std::size_t header_size = 44;

/// Reads a block with its header from the beginning of `file`.
///
/// width  bytes of a time: 4 or 8
/// used   how long the block is
///
/// Replaces what `zone` held.  Returns whether the block is sound, its leap
/// seconds left aside.
bool read_block(std::span<const unsigned char> file, std::size_t width, zone &zone,
                std::size_t &used);

} // namespace plain
