// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any text to be judged for a shell command.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "cli_helper/cli_helper.h"
#include "fuzz/checks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string given(reinterpret_cast<const char *>(data), size);
    const std::string text = given.c_str(); // up to its first zero
    const std::size_t bad = text.find_first_not_of(
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-:,._");
    const char *const named = check_input_is_valid(text.c_str(), 1);
    require((named == nullptr) == (bad == std::string::npos), "judged wrongly");
    if (named != nullptr && text[bad] > ' ' && text[bad] < '\x7f')
        require(named[0] == text[bad] && named[1] == '\0', "another character was named");
    require(named == nullptr || named[0] != '\0', "nothing was named");
    require(check_input_is_valid(text.c_str(), 0) != nullptr, "an unknown mode was accepted");
    return 0;
}
