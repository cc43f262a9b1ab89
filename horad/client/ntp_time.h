// SPDX-License-Identifier: GPL-2.0-or-later
//
// NTP timestamps and their arithmetic.  Pure functions; nothing is touched.
#pragma once

#include <cmath>
#include <cstdint>

#include <sys/time.h>

/// Seconds since 1900-01-01 00:00 UTC modulo 2^32, and a fraction in 2^-32 s.
struct ntp_timestamp {
    std::uint32_t seconds = 0;
    std::uint32_t fraction = 0;

    friend constexpr bool operator==(const ntp_timestamp &, const ntp_timestamp &) = default;
};

/// Seconds from the NTP epoch (1900) to the Unix epoch (1970).
inline constexpr std::uint32_t ntp_to_unix_epoch = 2208988800U;

/// Microseconds (0..999999) as an NTP fraction.  An integer approximation of
/// 2^32 / 10^6, a few units of 2^-32 s short; peers see these exact bits.
constexpr std::uint32_t fraction_from_microseconds(std::int64_t usec) noexcept {
    return static_cast<std::uint32_t>(4294 * usec + ((1981 * usec) >> 11));
}

/// An NTP fraction as microseconds, 0..999999.  In integers only: the correction
/// goes in 64 steps, so that the result lies within 380 of the true value.
constexpr std::uint32_t microseconds_from_fraction(std::uint32_t fraction) noexcept {
    return (fraction >> 12) - 759U * (((fraction >> 10) + 32768U) >> 16);
}

/// Unix seconds as NTP seconds, modulo 2^32.
constexpr std::uint32_t ntp_seconds_from_unix(std::int64_t unix_seconds) noexcept {
    return static_cast<std::uint32_t>(unix_seconds) + ntp_to_unix_epoch;
}

/// NTP seconds as Unix seconds 0..2^32-1.  There is no notion of an NTP era:
/// NTP second 0 is taken for Unix second 2085978496, in February 2036.
constexpr std::int64_t unix_seconds_from_ntp(std::uint32_t ntp_seconds) noexcept {
    return static_cast<std::uint32_t>(ntp_seconds - ntp_to_unix_epoch);
}

constexpr ntp_timestamp ntp_timestamp_from(const timeval &time) noexcept {
    return {ntp_seconds_from_unix(time.tv_sec), fraction_from_microseconds(time.tv_usec)};
}

/// a - b in microseconds.  Correct across the wrap of the seconds for spans of
/// less than 68 years.  A borrow loses one unit of 2^-32 s (deliberate: the
/// complement is taken, not the negative).
inline double microseconds_between(ntp_timestamp a, ntp_timestamp b) noexcept {
    constexpr double microseconds_per_fraction = 0.00023283064365386963; // 10^6 / 2^32
    std::uint32_t seconds = a.seconds - b.seconds;
    std::uint32_t fraction = a.fraction - b.fraction;
    if (b.fraction > a.fraction) {
        fraction = ~(b.fraction - a.fraction);
        seconds -= 1;
    }
    // The product of the seconds is exact, so that the sum is rounded only once.
    return std::fma(static_cast<double>(fraction), microseconds_per_fraction,
                    static_cast<std::int32_t>(seconds) * 1000000.0);
}
