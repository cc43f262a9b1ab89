// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <string_view>

#include <unistd.h>

/// Writes all of a text.  A disk that fills up takes a part of it first, and only
/// refuses the rest.
[[nodiscard]] inline bool write_all(int file, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t count = write(file, text.data(), text.size());
        if (count <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}
