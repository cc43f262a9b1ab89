// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/schedule.h"

int wait_after(reply_outcome outcome) noexcept {
    switch (outcome) {
    case reply_outcome::clock_set:
        return wait_week;
    case reply_outcome::no_transmit_time:
    case reply_outcome::negative_delay_of_two: // kept: devices have always retried this soon
        return wait_soon;
    case reply_outcome::clock_refused:
    case reply_outcome::negative_delay:
        break;
    }
    return wait_after_trouble;
}

void poll_schedule::begin_again(int wait_seconds) noexcept {
    ntp_cur_server = ntp_server::primary;
    unanswered_requests = 0;
    first_request = true;
    set_wait(wait_seconds);
}

void poll_schedule::on_restart() noexcept {
    begin_again(wait_none);
    ntp_is_stop = false;
}

void poll_schedule::on_stop() noexcept {
    begin_again(wait_week);
    ntp_is_stop = true;
}

void poll_schedule::on_interrupted() noexcept {
    if (wait.tv_sec == 0)
        set_wait(wait_answer);
}

idle_action poll_schedule::on_idle() noexcept {
    if (ntp_is_stop) {
        set_wait(wait_week);
        return idle_action::stay_stopped;
    }
    // A wait that ran out reads 0.  Anything else means that select() failed
    // with time left; only a full wait for an answer is then cut short.
    if (wait.tv_sec != 0 && wait.tv_sec != wait_answer)
        return idle_action::keep_waiting;
    return idle_action::send_request;
}

void poll_schedule::on_datagram_while_stopped() noexcept { set_wait(wait_week); }

bool poll_schedule::on_request_failed(bool has_secondary) noexcept {
    set_wait(wait_answer);
    if (has_secondary)
        switch_server();
    return has_secondary;
}

bool poll_schedule::on_request_sent(bool has_secondary) noexcept {
    set_wait(first_request ? wait_first_answer : wait_answer);
    ++unanswered_requests;
    if (unanswered_requests < requests_per_server || !has_secondary) {
        first_request = false;
        return false;
    }
    // The other server is asked at once: an answer to this third request is
    // not waited for.
    unanswered_requests = 0;
    first_request = true;
    set_wait(wait_none);
    switch_server();
    return true;
}

void poll_schedule::on_bad_length() noexcept { set_wait(wait_after_trouble); }

bool poll_schedule::on_reply(reply_outcome outcome, bool has_secondary) noexcept {
    set_wait(wait_after(outcome));
    if (outcome == reply_outcome::clock_set || !has_secondary)
        return false;
    switch_server();
    return true;
}
