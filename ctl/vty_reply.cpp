// SPDX-License-Identifier: GPL-2.0-or-later
#include "vty_reply.h"

namespace {

/// The daemon's own commands end their lines with "\r\n", the library's with "\n".
std::string with_plain_line_ends(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n')
            plain += text[i];
    return plain;
}

} // namespace

std::optional<vty_reply> parse_reply(std::string_view received) {
    using namespace std::string_view_literals;
    constexpr std::string_view mark = "\0\0\0"sv;
    // With one command at a time, nothing follows the end of its answer.
    if (received.size() <= mark.size())
        return std::nullopt;
    const std::size_t text_size = received.size() - mark.size() - 1;
    if (received.substr(text_size, mark.size()) != mark)
        return std::nullopt;
    return vty_reply{with_plain_line_ends(received.substr(0, text_size)),
                     static_cast<unsigned char>(received.back())};
}

const char *why_unsendable(std::string_view line) noexcept {
    if (line.size() > longest_line)
        return "a line of more than 4094 characters: shorten it";
    if (line.find('\0') != std::string_view::npos)
        return "a line with a NUL byte in it: is this text?";
    return nullptr;
}
