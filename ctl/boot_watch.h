// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include "step_table.h"

/// Whether the newest recorded step was made since the machine was started.
///
/// Both are told by a clock that was perhaps not right yet: a device without a battery
/// starts in the past, and the steps of its former life lie in the future.  Such a step
/// is remembered as an old one, or it would count as soon as the wrong clock reaches it.
class boot_watch {
  public:
    /// `boot` and `now` by the present clock, in seconds since 1970, read after `newest`.
    [[nodiscard]] bool was_set(const std::optional<step_row> &newest, std::int64_t boot,
                               std::int64_t now) noexcept {
        if (!newest || newest->number <= old_)
            return false;
        if (newest->time >= boot && newest->time <= now)
            return true;
        old_ = newest->number;
        return false;
    }

  private:
    std::int64_t old_ = INT64_MIN; ///< the newest step that was made before
};
