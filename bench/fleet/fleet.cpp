// SPDX-License-Identifier: GPL-2.0-or-later
#include "fleet.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>

#include "client/schedule.h"

namespace {

constexpr std::int64_t microseconds = 1000000; // in a second
constexpr std::uint32_t nobody = std::numeric_limits<std::uint32_t>::max();

struct device {
    poll_schedule schedule;
    std::int64_t wakes = 0; ///< when its wait ends, in microseconds
    float clock_rate = 1;   ///< true seconds in one of the device's
    bool is_waiting = false;
    std::uint32_t next = nobody; ///< the next one that wakes in the same second
};

class server {
  public:
    server(const fleet_plan &plan, const span_of_time &down)
        : limit(plan.limit), most(std::max(1.0, plan.limit)), left(most), silence(down) {}

    void begin_second(std::int64_t second) noexcept {
        is_down = silence.holds(second);
        left = std::min(most, left + limit);
    }
    [[nodiscard]] bool is_silent() const noexcept { return is_down; }
    /// Whether a request is within the limit.
    [[nodiscard]] bool admits() noexcept {
        if (limit <= 0)
            return true;
        if (left < 1)
            return false;
        left -= 1;
        return true;
    }

  private:
    double limit;
    double most; ///< that a quiet time saves up
    double left;
    span_of_time silence;
    bool is_down = false;
};

/// Random numbers that are the same with every compiler, from 0 to below 1.
class chance {
  public:
    explicit chance(std::uint64_t seed) : bits(seed) {}
    double operator()() { return static_cast<double>(bits() >> 11U) * 0x1p-53; }

  private:
    std::mt19937_64 bits;
};

class fleet {
  public:
    explicit fleet(const fleet_plan &plan);
    fleet_record run();

  private:
    void enter(std::uint32_t number);
    void wake(device &self, std::int64_t second);
    void ask(device &self, std::int64_t second);
    void set_waiting(device &self, bool is_waiting) noexcept;

    const fleet_plan planned;
    std::vector<device> devices;
    std::vector<std::uint32_t> first; ///< device that wakes in each second
    std::array<server, 2> servers;
    std::uint32_t waiting = 0;
    fleet_record record;
};

fleet::fleet(const fleet_plan &plan)
    : planned(plan), devices(plan.devices),
      first(static_cast<std::size_t>(plan.seconds), nobody), servers{server(plan, plan.down[0]),
                                                                     server(plan, plan.down[1])} {
    for (auto &counts : record.requests)
        counts.resize(first.size());
    record.waiting.resize(first.size());

    chance random(plan.seed);
    for (device &self : devices) {
        const double starts = random() * plan.boot_seconds + random() * plan.spread_seconds;
        self.wakes = std::llround(std::floor(starts * microseconds));
        self.clock_rate = static_cast<float>(1 + (2 * random() - 1) * plan.crystal_ppm * 1e-6);
    }
    // Who wakes together is together in memory, which is what makes a large fleet fast.
    std::sort(devices.begin(), devices.end(),
              [](const device &a, const device &b) { return a.wakes < b.wakes; });
    for (std::uint32_t number = 0; number < plan.devices; ++number)
        enter(number);
}

/// Into the second in which the device wakes; none is beyond the end.
void fleet::enter(std::uint32_t number) {
    device &self = devices[number];
    const auto second = static_cast<std::size_t>(self.wakes / microseconds);
    if (second < first.size())
        self.next = std::exchange(first[second], number);
}

fleet_record fleet::run() {
    for (std::int64_t second = 0; second < planned.seconds; ++second) {
        const auto slot = static_cast<std::size_t>(second);
        for (server &each : servers)
            each.begin_second(second);
        for (std::uint32_t number = first[slot]; number != nobody;) {
            device &self = devices[number];
            const std::uint32_t next = self.next;
            wake(self, second);
            enter(number);
            number = next;
        }
        record.waiting[slot] = waiting;
    }
    return std::move(record);
}

/// All that a device does within the second: a wait may be none.
void fleet::wake(device &self, std::int64_t second) {
    poll_schedule &schedule = self.schedule;
    while (self.wakes / microseconds == second) {
        schedule.wait = {0, 0}; // as select() leaves a wait that ran out
        if (schedule.on_idle() == idle_action::send_request)
            ask(self, second);
        self.wakes += std::llround(static_cast<double>(schedule.wait.tv_sec * microseconds) *
                                   static_cast<double>(self.clock_rate));
    }
}

/// A request and, in no time, its reply.
void fleet::ask(device &self, std::int64_t second) {
    poll_schedule &schedule = self.schedule;
    const ntp_server asked = schedule.ntp_cur_server;
    const std::size_t index = asked == ntp_server::primary ? 0 : 1;
    ++record.requests[index][static_cast<std::size_t>(second)];

    server &there = servers[index];
    const bool is_admitted = !there.is_silent() && there.admits();
    const bool is_refused = !there.is_silent() && !is_admitted && planned.refuses;
    schedule.on_request_sent(planned.has_secondary);
    // What comes from the server that is no longer the one to ask is not taken.
    const bool is_heard = schedule.ntp_cur_server == asked;
    if (is_heard && is_admitted)
        schedule.on_reply(reply_outcome::clock_set, planned.has_secondary);
    else if (is_heard && is_refused)
        schedule.on_reply(reply_outcome::no_transmit_time, planned.has_secondary);
    set_waiting(self, !(is_heard && is_admitted));
}

void fleet::set_waiting(device &self, bool is_waiting) noexcept {
    if (std::exchange(self.is_waiting, is_waiting) == is_waiting)
        return;
    if (is_waiting)
        ++waiting;
    else
        --waiting;
}

} // namespace

fleet_record run_fleet(const fleet_plan &plan) { return fleet(plan).run(); }
