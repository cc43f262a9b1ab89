// SPDX-License-Identifier: GPL-2.0-or-later
#include <algorithm>
#include <chrono>
#include <ctime>
#include <optional>
#include <thread>

#include "boot_watch.h"
#include "commands.h"
#include "output.h"
#include "status_answer.h"
#include "vty_session.h"

namespace {

using namespace std::chrono_literals;
using steady = std::chrono::steady_clock;

constexpr auto look_again_after = 1s;
// Another operator's command may hold the daemon up.  The database is looked at all the
// same, and the last question still gets a second for its answer.
constexpr auto longest_patience = 5s;
constexpr auto shortest_patience = 1s;

std::int64_t read_clock(clockid_t clock) noexcept {
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec;
}

/// Two ways to learn that the clock was set, and why neither tells.
class clock_question {
  public:
    explicit clock_question(const arguments &given) : given_(given) {}

    bool is_set(deadline until) { return is_step_recorded() || has_daemon_set_clock(until); }

    [[nodiscard]] const std::string &trouble() const noexcept { return trouble_; }

  private:
    bool is_step_recorded() {
        database_works_ = false;
        try {
            const auto rows = read_steps(given_.database, {.last = 1});
            database_works_ = true;
            const std::int64_t now = read_clock(CLOCK_REALTIME);
            return watch_.was_set(rows.empty() ? std::nullopt : std::optional(rows.back()),
                                  now - read_clock(CLOCK_BOOTTIME), now);
        } catch (const failure &) {
            return false; // made at the daemon's start, or locked for a moment
        }
    }

    bool has_daemon_set_clock(deadline until) {
        const auto now = steady::now();
        const auto answer_by =
            until ? std::clamp(*until, now + shortest_patience, now + longest_patience)
                  : now + longest_patience;
        try {
            const vty_reply answer = run_line(given_.socket, "show ntp status json", answer_by);
            trouble_ = answer.succeeded() ? "no server has answered (horadctl status tells more)"
                                          : "no step is recorded (with the module horad_status "
                                            "horadctl status tells more)";
            return answer.succeeded() && parse_client_state(answer.text).has_set_clock;
        } catch (const daemon_missing &missing) {
            trouble_ = missing.what();
        } catch (const timed_out &late) {
            trouble_ = late.what();
        } catch (const failure &hopeless) {
            if (!database_works_)
                throw;
            trouble_ = hopeless.what();
        }
        return false;
    }

    const arguments &given_;
    boot_watch watch_;
    bool database_works_ = false;
    std::string trouble_;
};

} // namespace

exit_status wait_for_clock(const arguments &given) {
    const deadline until = given.timeout ? deadline(steady::now() + *given.timeout) : std::nullopt;
    clock_question question(given);
    for (;;) {
        if (question.is_set(until))
            return all_well;
        const auto next = steady::now() + look_again_after;
        if (until && steady::now() >= *until) {
            complain("the clock was not set in time: " + question.trouble());
            return not_well;
        }
        std::this_thread::sleep_until(until ? std::min(*until, next) : next);
    }
}
