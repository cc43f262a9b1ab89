// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <cstddef>

/// The size of the UTF-8 character that a text begins with, its end included; 0: there is
/// none.
[[nodiscard]] inline std::size_t utf8_size(const char *text) noexcept {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    if (first < 0x80)
        return 1;
    if (first < 0xC2 || first > 0xF4)
        return 0;
    // What would be overlong, a surrogate or beyond the last character.
    const unsigned lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    if (byte(1) < lowest || byte(1) > highest)
        return 0;
    const std::size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    for (std::size_t i = 2; i < size; ++i)
        if (byte(i) < 0x80 || byte(i) > 0xBF)
            return 0;
    return size;
}

/// Makes a "?" of each byte that is no part of a UTF-8 character: JSON has no other bytes.
inline void make_utf8(char *text) noexcept {
    while (*text != '\0') {
        const std::size_t size = utf8_size(text);
        if (size == 0)
            *text = '?';
        text += size == 0 ? 1 : size;
    }
}
