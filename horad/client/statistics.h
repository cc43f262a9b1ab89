// SPDX-License-Identifier: GPL-2.0-or-later
//
// What is printed about an exchange.  `out` is standard output in the daemon.
#pragma once

#include <cstdint>
#include <cstdio>

#include <sys/time.h>

#include "client/packet.h"

/// Every field of a reply, and when it arrived (verbose mode).
void print_exchange(std::FILE *out, const timeval &target, const ntp_reply &reply,
                    ntp_timestamp arrival) noexcept;

/// The measured intervals in words and the heading of the statistics line
/// (verbose mode).  frequency: parts per million scaled by 65536.
void print_intervals(std::FILE *out, const exchange_intervals &intervals,
                     std::int32_t frequency) noexcept;

/// The one line that every used reply leaves, flushed at once: day since 1900,
/// second of the day with milliseconds, elapsed, stall, skew and the server's
/// root dispersion in microseconds, and the kernel's frequency.
void print_statistics_line(std::FILE *out, const ntp_reply &reply, ntp_timestamp arrival,
                           const exchange_intervals &intervals, std::int32_t frequency) noexcept;
