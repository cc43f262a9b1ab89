// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/clock.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <sys/timex.h>

#include "client/saturate.h"
#include "client/statistics.h"
#include "client/trace_tag.h"
#include "database.h"
#include "ntp_state.h"

namespace {

// Where a step belongs in the device's data model, in its own numbers: the clock's
// module and "changed" in the change log, the row of steps in the database.
constexpr std::uint16_t clock_module = 62;
constexpr std::uint32_t clock_changed = 2;
constexpr int step_area = 4;
constexpr int step_id = 1;

std::time_t now() { return time(nullptr); }

/// Steps the clock, the hardware clock and the record of the step, by which it fills in
/// the report.  False, with nothing but the change log touched, when the clock cannot be
/// set.
bool step_clock(const timeval &target, const request_bytes &request, reply_report &report) {
    const cli_log_record record = clock_change_record(request);
    cli_log(&g_horad_db, &record, "change by ntp.");

    const std::time_t before = now();
    if (settimeofday(&target, nullptr) < 0) {
        report.error = errno;
        std::perror("\nsettimeofday");
        return false;
    }
    const auto diff = static_cast<std::int32_t>(now() - before);
    report.stepped = diff;
    // A fixed text: nothing from outside reaches this shell.
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe)
    [[maybe_unused]] const int ignored = std::system("hwclock -w");
    const int ret = db_olt_ntp_set_ntp_diff_time(&g_horad_db, diff, step_area, step_id);
    debug_printf("\r\nsave diff time(%d) to database. ret %d\r\n", diff, ret);
    return true;
}

/// The kernel's clock frequency, in parts per million scaled by 65536.
std::int32_t kernel_frequency() {
    timex query{}; // modes 0: only asks
    if (adjtimex(&query) < 0) {
        std::perror("adjtimex");
        // Ends the whole daemon, on purpose: a kernel without this call is not one
        // that it was built for.  That is safe whatever the event loop is doing:
        // nothing of the daemon's is destroyed at exit, libfrr frees nothing then (it
        // takes its memory types out of lists and gives a terminal back), and this
        // thread holds no lock.  The step is stored already.  Unlike _exit(), this
        // writes out what was printed.  If a signal ends the daemon at the same
        // moment, glibc still runs each part of exit() once.
        std::exit(1); // NOLINT(concurrency-mt-unsafe)
    }
    return static_cast<std::int32_t>(query.freq);
}

} // namespace

cli_log_record clock_change_record(const request_bytes &request) noexcept {
    cli_log_record record{};
    std::memcpy(&record.bytes[0], &clock_module, sizeof clock_module);
    std::memcpy(&record.bytes[28], &clock_changed, sizeof clock_changed);
    std::copy(request.begin() + 32, request.end(), &record.bytes[32]);
    return record;
}

timeval target_time(const ntp_reply &reply) noexcept {
    return {unix_seconds_from_ntp(reply.transmit.seconds),
            static_cast<suseconds_t>(microseconds_from_fraction(reply.transmit.fraction))};
}

reply_outcome judge_delay(double slop_microseconds) noexcept {
    const std::int32_t r = saturate(slop_microseconds);
    if (r >= 0)
        return reply_outcome::clock_set;
    return r == -2 ? reply_outcome::negative_delay_of_two : reply_outcome::negative_delay;
}

reply_report rfc1305print(std::span<const std::uint8_t, ntp_packet_size> datagram,
                          ntp_timestamp arrival, const request_bytes &request) noexcept {
    debug_printf("\r\n %s: enter rfc1305print().%d\n\r", __func__, trace_tag::reply_accepted);
    const ntp_reply reply = parse_reply(datagram);
    if (!has_usable_transmit_time(reply))
        return {reply_outcome::no_transmit_time};

    const timeval target = target_time(reply);
    reply_report report{reply_outcome::clock_refused};
    if (!step_clock(target, request, report))
        return report;

    if (debug)
        print_exchange(stdout, target, reply, arrival);
    const exchange_intervals intervals = measure_exchange(reply, arrival);
    const std::int32_t frequency = kernel_frequency();
    if (debug)
        print_intervals(stdout, intervals, frequency);
    print_statistics_line(stdout, reply, arrival, intervals, frequency);
    report.outcome = judge_delay(intervals.slop);
    report.intervals = intervals;
    return report;
}
