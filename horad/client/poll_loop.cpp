// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/poll_loop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <span>

#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "client/clock.h"
#include "client/exchange.h"
#include "client/schedule.h"
#include "client/signal_pipe.h"
#include "client/status.h"
#include "client/trace_tag.h"
#include "ntp_state.h"

namespace {

constexpr char loop_name[] = "primary_loop";

/// What the loop keeps between its passes.
struct client {
    int socket;
    int signals; ///< the signal pipe's reading end
    poll_schedule schedule;
    request_bytes request{}; ///< the last one sent; its bytes go into the change log
};

/// Read without the lock: the loop never waits for an operator's command.
bool has_secondary() { return server_snapshot(g_ntp_var.g_sec_ntp_server).is_set(); }

void send_request(client &self) {
    if (debug)
        std::fputs("Sending ...\n", stderr);
    poll_schedule &schedule = self.schedule;
    const ntp_server asked = schedule.ntp_cur_server;
    client_status::note_request_due();
    if (!ntp_send_packet(self.socket, asked, self.request)) {
        client_status::note_no_request();
        if (schedule.on_request_failed(has_secondary()))
            debug_printf("\r\n %s: sent to %s_server fail, change ntp server to %s_server.\n\r",
                         loop_name, server_tag(asked), server_tag(schedule.ntp_cur_server));
        return;
    }
    client_status::note_request_sent();
    if (schedule.on_request_sent(has_secondary()))
        debug_printf("\r\n %s: no response from %s_server, change ntp server to %s_server. %d\n\r",
                     loop_name, server_tag(asked), server_tag(schedule.ntp_cur_server),
                     trace_tag::server_silent);
}

/// A wait that ran out (ret 0), or a select() that failed with `error`.
void handle_nothing_readable(client &self, int ret, int error) {
    debug_printf("\r\n %s: enter if(ret(%d) <=0).%d\n\r", loop_name, ret,
                 trace_tag::nothing_readable);
    if (ret < 0) {
        if (error == EINTR) {
            debug_printf("\r\n %s: ntp select errno==EINTR.%d\n\r", loop_name,
                         trace_tag::select_interrupted);
            self.schedule.on_interrupted();
            return;
        }
        errno = error;
        std::perror("select");
        client_status::note_receive_failed("select", error);
    }
    switch (self.schedule.on_idle()) {
    case idle_action::stay_stopped:
        debug_printf("\r\n %s: ret(%d) <=0, ntp_is_stop.%d\n\r", loop_name, ret,
                     trace_tag::still_stopped);
        return;
    case idle_action::keep_waiting:
        break;
    case idle_action::send_request:
        send_request(self);
        break;
    }
    debug_printf("\r\n %s: continue(ret(%d) <= 0).%d\n\r", loop_name, ret, trace_tag::wait_handled);
}

void handle_signal(client &self) {
    debug_printf("\r\n %s: ISSET ntp_signal_pipe[0].%d\n\r", loop_name, trace_tag::signal_readable);
    std::int32_t code = 0;
    if (read(self.signals, &code, sizeof code) < 0)
        code = 0;
    switch (code) {
    case NTP_SIG_RESTART:
        self.schedule.on_restart();
        client_status::note_restarted();
        debug_printf("\r\n %s: NTP_SIG_RESTART.%d\n\r", loop_name, trace_tag::restarted);
        break;
    case NTP_SIG_STOP:
        self.schedule.on_stop();
        client_status::note_stopped();
        debug_printf("\r\n %s: NTP_SIG_STOP.%d\n\r", loop_name, trace_tag::stopped);
        break;
    default:
        std::puts("ntp read signal pipe failed\r");
        debug_printf("\r\n %s: ntp read signal pipe failed.%d\n\r", loop_name,
                     trace_tag::signal_unreadable);
        break;
    }
    debug_printf("\r\n %s: continue(FD_ISSET(ntp_signal_pipe)).%d\n\r", loop_name,
                 trace_tag::signal_handled);
}

void handle_datagram(client &self) {
    poll_schedule &schedule = self.schedule;
    if (schedule.ntp_is_stop) {
        // Left unread: select() comes back at once until the next restart.
        schedule.on_datagram_while_stopped();
        debug_printf("\r\n %s: ntp_is_stop, continue.%d\n\r", loop_name,
                     trace_tag::datagram_while_stopped);
        return;
    }

    static std::array<std::uint8_t, receive_buffer_size> buffer;
    sockaddr_in sender{};
    socklen_t sender_size = sizeof sender;
    const ssize_t length = recvfrom(self.socket, buffer.data(), buffer.size(), 0,
                                    reinterpret_cast<sockaddr *>(&sender), &sender_size);
    if (length < 0) {
        const int error = errno;
        std::perror("recvfrom");
        client_status::note_receive_failed("recvfrom", error);
        return;
    }
    if (!is_reply_length(static_cast<std::size_t>(length))) {
        std::printf("Ooops.  pack_len=%d\n", static_cast<int>(length));
        std::fflush(stdout);
        client_status::note_wrong_length(sender.sin_addr, static_cast<std::size_t>(length));
        schedule.on_bad_length();
        return;
    }
    if (!check_source(sender, schedule.ntp_cur_server)) {
        debug_printf("\r\n %s: check_source() error, continue.%d\n\r", loop_name,
                     trace_tag::source_refused);
        return;
    }
    timeval arrival{};
    gettimeofday(&arrival, nullptr);
    const auto reply = std::span(buffer).first<ntp_packet_size>();
    const reply_report report = rfc1305print(reply, ntp_timestamp_from(arrival), self.request);
    client_status::note_reply(report);
    if (schedule.on_reply(report.outcome, has_secondary()))
        debug_printf("\r\n %s: pares ntp message fail, change ntp server and retry. %d\n\r",
                     loop_name, trace_tag::reply_unusable);
}

/// Waits for a signal code, a datagram or the end of the wait, as select() does.
/// What could not be opened is not watched.
int wait_for_event(client &self, fd_set &readable) {
    FD_ZERO(&readable);
    for (const int fd : {self.signals, self.socket})
        if (fd >= 0)
            FD_SET(fd, &readable);
    return select(std::max(self.signals, self.socket) + 1, &readable, nullptr, nullptr,
                  &self.schedule.wait);
}

} // namespace

void *ntp_client_process(void * /*unused*/) noexcept {
    prctl(PR_SET_NAME, "ntpClient");
    const int fd = open_client_socket();
    if (fd < 0)
        return nullptr;
    primary_loop(fd);
}

void primary_loop(int socket) noexcept {
    client self{.socket = socket, .signals = ntp_signal_pipe[0], .schedule = {}};
    debug_printf("\r\n primary_loop: enter primary_loop().\n\r");
    if (debug)
        std::puts("Listening...");

    for (;;) {
        debug_printf("\r\n %s: enter for (;;).%d\n\r", loop_name, trace_tag::pass_begins);
        client_status::publish(self.schedule);
        fd_set readable;
        const int ret = wait_for_event(self, readable);
        const int error = errno;
        if (ret <= 0)
            handle_nothing_readable(self, ret, error);
        else if (self.signals >= 0 && FD_ISSET(self.signals, &readable))
            handle_signal(self);
        else
            handle_datagram(self);
    }
}
