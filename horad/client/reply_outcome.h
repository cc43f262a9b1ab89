// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

/// What became of a reply from the server that was asked.  The clock decides it, the
/// schedule turns it into a wait.
enum class reply_outcome {
    clock_set,
    no_transmit_time, ///< no clock can be set to its transmit time
    clock_refused,    ///< the kernel did not let the clock be set
    /// The clock was set, but the server claims to have held the request for longer than
    /// the round trip took, which cannot be right.
    negative_delay,
    negative_delay_of_two, ///< the same, by 2 to below 3 microseconds
};
