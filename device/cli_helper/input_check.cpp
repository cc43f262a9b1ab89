// SPDX-License-Identifier: GPL-2.0-or-later
#include "cli_helper/cli_helper.h"

#include <cstring>

namespace {

constexpr int mode_shell_text = 1;

/// All that a TZ text needs, less "/" (it ends a sed expression) and "<", ">"
/// (redirections where /etc/profile is read).  A list of what is harmless, not of
/// what is dangerous: nothing can be forgotten on it.
bool is_harmless(char c) noexcept {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           (c != '\0' && std::strchr("+-:,._", c) != nullptr);
}

/// A constant text for each printable character that is refused.
const char *name_of(char c) noexcept {
    static constexpr char names[] = "!\0\"\0#\0$\0%\0&\0'\0(\0)\0*\0/\0;\0<\0=\0>\0?\0@\0"
                                    "[\0\\\0]\0^\0`\0{\0|\0}\0~";
    for (const char *name = names; name < names + sizeof names; name += 2)
        if (*name == c)
            return name;
    if (c == ' ')
        return "blanks";
    return c > '\0' && (c < ' ' || c == '\177') ? "control characters"
                                                : "characters other than ASCII";
}

} // namespace

const char *check_input_is_valid(const char *text, int mode) {
    if (mode != mode_shell_text)
        return "anything in an unknown mode";
    if (text == nullptr)
        return "a null text";
    while (is_harmless(*text))
        ++text;
    return *text != '\0' ? name_of(*text) : nullptr;
}
