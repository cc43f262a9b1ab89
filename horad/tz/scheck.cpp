// SPDX-License-Identifier: GPL-2.0-or-later
#include <cstdio>
#include <cstring>

#include "horad/tz.h"
#include "tz/digit.h"

namespace {

/// Copies one conversion (from after its "%") with its assignment suppressed.
/// Returns the position after it.
const char *suppress_conversion(const char *from, char *&to) {
    if (*from == '%') {
        *to++ = *from++;
        return from;
    }
    *to++ = '*';
    if (*from == '*')
        ++from;
    while (is_digit(*from))
        *to++ = *from++;
    if (*from == 'l' || *from == 'h') {
        *to++ = *from++;
    } else if (*from == '[') {
        do
            *to++ = *from++;
        while (*from != '\0' && *from != ']');
    }
    if (*from != '\0')
        *to++ = *from++;
    return from;
}

} // namespace

const char *scheck(const char *string, const char *format) noexcept {
    if (string == nullptr || format == nullptr)
        return "";
    auto *suppressed = static_cast<char *>(imalloc(2 * std::strlen(format) + 4));
    char *to = suppressed;
    for (const char *from = format; *from != '\0';) {
        const char c = *from++;
        *to++ = c;
        if (c == '%')
            from = suppress_conversion(from, to);
    }
    // One more character than the format accounts for is one too many.
    std::memcpy(to, "%c", sizeof "%c");
    char left_over = 0;
    const bool complete = std::sscanf(string, suppressed, &left_over) != 1;
    ifree(suppressed);
    return complete ? format : "";
}
