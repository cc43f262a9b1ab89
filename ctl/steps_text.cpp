// SPDX-License-Identifier: GPL-2.0-or-later
#include "steps_text.h"

#include <cmath>
#include <cstdio>

#include "json_value.h"
#include "utc_time.h"

std::string drift_in_words(const drift &fitted) {
    char text[256];
    if (std::fabs(fitted.ppm) < 0.005) { // "0.00", or "-0.00"
        std::snprintf(text, sizeof text,
                      "drift 0.00 +/- %.2f ppm: the clock runs neither slow nor fast",
                      fitted.ppm_uncertainty);
        return text;
    }
    const double week = fitted.error_before_next_seconds;
    std::snprintf(text, sizeof text,
                  "drift %.2f +/- %.2f ppm: the clock runs %s, by %.1f s in a week", fitted.ppm,
                  fitted.ppm_uncertainty, week < 0 ? "fast" : "slow", std::fabs(week));
    return text;
}

std::string steps_as_table(std::span<const step> steps, const std::optional<drift> &fitted) {
    if (steps.empty())
        return "no steps recorded\n";
    std::string table = "time                      seconds        ppm\n";
    for (std::size_t i = 0; i < steps.size(); ++i) {
        char line[128];
        std::snprintf(line, sizeof line, "%-20s %12lld", format_utc(steps[i].time).c_str(),
                      static_cast<long long>(steps[i].seconds));
        table += line;
        const auto ppm = i > 0 ? drift_between(steps[i - 1], steps[i]) : std::nullopt;
        if (ppm)
            std::snprintf(line, sizeof line, " %10.2f\n", *ppm);
        else
            std::snprintf(line, sizeof line, " %10s\n", "-");
        table += line;
    }
    return table +
           (fitted ? drift_in_words(*fitted)
                   : "drift unknown: it takes two steps with time between them") +
           "\n";
}

std::string steps_as_csv(std::span<const step> steps) {
    std::string csv = "time,seconds\n";
    for (const step &one : steps)
        csv += format_utc(one.time) + "," + std::to_string(one.seconds) + "\n";
    return csv;
}

std::string steps_as_json(std::span<const step> steps, const std::optional<drift> &fitted) {
    const json object(json_object_new_object());
    json_object *list = json_object_new_array();
    for (const step &one : steps) {
        json_object *entry = json_object_new_object();
        json_object_object_add(entry, "time", json_time(one.time));
        json_object_object_add(entry, "seconds", json_object_new_int64(one.seconds));
        json_object_array_add(list, entry);
    }
    json_object_object_add(object.get(), "steps", list);
    const auto add = [&](const char *name, double drift::*field) {
        json_object_object_add(
            object.get(), name,
            json_number(fitted ? std::optional((*fitted).*field) : std::nullopt));
    };
    add("driftPpm", &drift::ppm);
    add("driftPpmUncertainty", &drift::ppm_uncertainty);
    add("errorBeforeNextSeconds", &drift::error_before_next_seconds);
    return to_text(object);
}
