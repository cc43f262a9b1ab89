// SPDX-License-Identifier: GPL-2.0-or-later
//
// What the tests of the time-zone engine share: zones that free themselves,
// broken-down times as text, a TZ that is put back.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "common/broken_down.h"
#include "common/owned_zone.h"
#include "common/tzif_builder.h"
#include "horad/tz.h"
#include "tz/build_index.h"
#include "tz/load_zone.h"
#include "tz/tz_string.h"
#include "tz/zone_state.h"

/// A record too large for the stack of a test.
inline std::unique_ptr<zone_state> new_state() { return std::make_unique<zone_state>(); }

/// What load_zone_bytes says to a file.
inline int load(const tzif_file &file, zone_state *state, bool extend = true) {
    return load_zone_bytes(file.bytes(), state, extend);
}
inline int load(const tzif_file &file) { return load(file, new_state().get()); }

/// A file made ready for conversions, as tzalloc would do it.
inline std::unique_ptr<zone_state> make_zone(const tzif_file &file) {
    auto state = new_state();
    EXPECT_EQ(load(file, state.get()), 0);
    scrub_abbreviations(state.get());
    make_ready(*state);
    return state;
}
inline std::unique_ptr<zone_state> make_zone(const tzif_block &block) {
    tzif_file file;
    file.wide = block;
    return make_zone(file);
}

/// The zone of a well-formed TZ string.
inline std::unique_ptr<zone_state> parsed(const std::string &text) {
    auto state = new_state();
    EXPECT_TRUE(parse_tz_string(text.c_str(), state.get(), false)) << text;
    return state;
}

/// A zone object that the test needs; "" is UTC.
inline owned_zone open_zone(const char *name) {
    owned_zone zone(tzalloc(name));
    EXPECT_NE(zone, nullptr) << name;
    return zone;
}

/// Local time in a zone (null: UTC), as text.
inline std::string local_text(const zone_state *zone, std::int64_t when) {
    struct tm tm = {};
    const time_t time = when;
    return to_text(localtime_rz(zone, &time, &tm));
}

/// mktime_z on a copy.
inline std::int64_t time_of(const zone_state *zone, struct tm tm) { return mktime_z(zone, &tm); }

/// Puts TZ back as it was; in between it changes at will.
class tz_guard {
  public:
    tz_guard() {
        if (const char *value = getenv("TZ"))
            before_ = value;
    }
    ~tz_guard() {
        set(before_ ? before_->c_str() : nullptr);
        tzset();
    }
    tz_guard(const tz_guard &) = delete;
    tz_guard &operator=(const tz_guard &) = delete;

    /// Null takes TZ out of the environment.
    static void set(const char *value) {
        if (value)
            setenv("TZ", value, 1);
        else
            unsetenv("TZ");
    }

  private:
    std::optional<std::string> before_;
};
