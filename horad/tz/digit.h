// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

/// A decimal digit, in every locale.
constexpr bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
