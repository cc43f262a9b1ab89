// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <json-c/json.h>
#include <memory>
#include <optional>
#include <string>

struct put_json {
    void operator()(json_object *object) const noexcept { json_object_put(object); }
};
using json = std::unique_ptr<json_object, put_json>;

/// As the daemon writes it, with the line's end; bytes of its texts that are no UTF-8 are
/// "?", as in the module's answer.
[[nodiscard]] std::string to_text(const json &object);

/// Null for null.
[[nodiscard]] json_object *json_time(std::optional<std::int64_t> time);

/// With as many digits as it takes, but none below a millionth; null for null.
[[nodiscard]] json_object *json_number(std::optional<double> number);
