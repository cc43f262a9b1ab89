// SPDX-License-Identifier: GPL-2.0-or-later
//
// The words of libfrr's local session socket: a command line ends with a NUL byte,
// its answer with three NUL bytes and a result code.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The longest line that the library takes.  It drops a longer one without an answer,
/// and we would wait for ever.
constexpr std::size_t longest_line = 4094;

struct vty_reply {
    std::string text; ///< line ends are "\n", whatever the daemon ended them with
    int code;         ///< 0: success

    [[nodiscard]] bool succeeded() const noexcept { return code == 0; }
};

/// The answer in what was received for one command so far; null while it goes on.
[[nodiscard]] std::optional<vty_reply> parse_reply(std::string_view received);

/// Why this line cannot be sent, with what to do, or null.
[[nodiscard]] const char *why_unsendable(std::string_view line) noexcept;
