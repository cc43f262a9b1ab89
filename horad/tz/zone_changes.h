// SPDX-License-Identifier: GPL-2.0-or-later
//
// When does a zone's clock change?
#pragma once

#include <cstdint>
#include <optional>

#include "tz/zone_state.h"

/// A look at a zone's clock, as far as a change of it is concerned.
struct clock_reading {
    std::int64_t time;  ///< when; seconds since 1970-01-01 00:00:00 UTC
    bool is_valid;      ///< there is a local time; else nothing below counts
    bool is_dst;        ///< daylight-saving time
    std::int64_t clock; ///< what the clock shows, in seconds since it showed 1970-01-01 00:00:00
    const char *abbreviation; ///< alive as long as the zone
};

[[nodiscard]] clock_reading read_clock(const zone_state &zone, std::int64_t time) noexcept;

/// Finds the changes of a zone's clock in a span of time, one after the other.
///
/// The clock is read every 12 hours; where a reading does not follow from the one
/// before, the change between them is found by halving.  What is undone within 12
/// hours is not seen.
class change_search {
  public:
    /// From `begin` to `end`, any times.  The zone must outlive the search.
    change_search(const zone_state &zone, std::int64_t begin, std::int64_t end)
        : zone_(zone), end_(end), last_(read_clock(zone, begin)) {}

    /// The first second of the next change, after `begin` and up to `end`.
    [[nodiscard]] std::optional<std::int64_t> next() noexcept;

  private:
    void skip_steady_steps() noexcept;

    const zone_state &zone_;
    std::int64_t end_;
    clock_reading last_;
};
