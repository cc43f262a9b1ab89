// SPDX-License-Identifier: GPL-2.0-or-later
#include "json_value.h"

#include <charconv>
#include <cmath>

#include "status/utf8.h"
#include "utc_time.h"

std::string to_text(const json &object) {
    std::string text = json_object_to_json_string_ext(
        object.get(), JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE);
    make_utf8(text.data());
    return text + "\n";
}

json_object *json_time(std::optional<std::int64_t> time) {
    return time ? json_object_new_string(format_utc(*time).c_str()) : nullptr;
}

json_object *json_number(std::optional<double> number) {
    if (!number || !std::isfinite(*number))
        return nullptr;
    const double rounded = std::round(*number * 1e6) / 1e6;
    char text[512];
    const auto end = std::to_chars(text, text + sizeof text - 1, rounded, std::chars_format::fixed);
    *end.ptr = '\0';
    return json_object_new_double_s(rounded, text);
}
