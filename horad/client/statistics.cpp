// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/statistics.h"

namespace {

void print_timestamp(std::FILE *out, const char *label, ntp_timestamp time) {
    std::fprintf(out, "%s %u.%.10u\n", label, time.seconds, time.fraction);
}

} // namespace

void print_exchange(std::FILE *out, const timeval &target, const ntp_reply &reply,
                    ntp_timestamp arrival) noexcept {
    std::fprintf(out, "set time to %lu.%.6lu\n", static_cast<unsigned long>(target.tv_sec),
                 static_cast<unsigned long>(target.tv_usec));
    std::fprintf(out, "LI=%d  VN=%d  Mode=%d  Stratum=%d  Poll=%d  Precision=%d\n", reply.leap,
                 reply.version, reply.mode, reply.stratum, reply.poll, reply.precision);
    const std::uint32_t id = reply.reference_id;
    std::fprintf(out, "Delay=%.1f  Dispersion=%.1f  Refid=%u.%u.%u.%u\n",
                 microseconds_from_short(reply.root_delay),
                 microseconds_from_short(reply.root_dispersion), id >> 24, id >> 16 & 0xFF,
                 id >> 8 & 0xFF, id & 0xFF);
    print_timestamp(out, "Reference", reply.reference);
    print_timestamp(out, "Originate", reply.originate);
    print_timestamp(out, "Receive  ", reply.receive);
    print_timestamp(out, "Transmit ", reply.transmit);
    print_timestamp(out, "Our recv ", arrival);
}

void print_intervals(std::FILE *out, const exchange_intervals &intervals,
                     std::int32_t frequency) noexcept {
    std::fprintf(out, "Total elapsed: %9.2f\nServer stall:  %9.2f\nSlop:          %9.2f\n",
                 intervals.elapsed, intervals.stall, intervals.slop);
    std::fprintf(out,
                 "Skew:          %9.2f\nFrequency:     %9d\n"
                 " day   second     elapsed    stall     skew  dispersion  freq\n",
                 intervals.skew, frequency);
}

void print_statistics_line(std::FILE *out, const ntp_reply &reply, ntp_timestamp arrival,
                           const exchange_intervals &intervals, std::int32_t frequency) noexcept {
    constexpr std::uint32_t seconds_per_day = 86400;
    constexpr std::uint32_t fractions_per_millisecond = 4294967;
    std::fprintf(out, "%d %.5d.%.3d  %8.1f %8.1f  %8.1f %8.1f %9d\n",
                 static_cast<int>(arrival.seconds / seconds_per_day),
                 static_cast<int>(arrival.seconds % seconds_per_day),
                 static_cast<int>(arrival.fraction / fractions_per_millisecond), intervals.elapsed,
                 intervals.stall, intervals.skew, microseconds_from_short(reply.root_dispersion),
                 frequency);
    std::fflush(out);
}
