// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any datagrams, mixed with whatever else can happen to the client, through its
// real loop.  An input is a byte of settings and then events; each wait of the
// loop takes the next one, and the last one ends the loop.
#include <algorithm>
#include <array>
#include <cerrno>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/select.h>
#include <sys/socket.h>

#include "client/poll_loop.h"
#include "client/signal_pipe.h"
#include "fuzz/checks.h"
#include "fuzz/machine.h"
#include "ntp_state.h"

namespace {

constexpr int client_socket = 200; // never used for anything
constexpr char primary[] = "10.0.0.1";
constexpr char secondary[] = "10.0.0.2";
constexpr char stranger[] = "10.0.0.3";

enum event : std::uint8_t {
    wait_ran_out,
    interrupted,
    select_failed,
    restart,
    stop,
    other_signal,
    from_primary,
    from_secondary,
    from_stranger,
    receive_failed,
    events,
};

std::jmp_buf the_end;
std::span<const std::uint8_t> input;
std::uint8_t pending;       // a datagram event that select() announced
std::size_t usable_replies; // that were received from the primary
bool has_secondary;

std::uint8_t next_byte() {
    if (input.empty())
        std::longjmp(the_end, 1);
    const std::uint8_t byte = input.front();
    input = input.subspan(1);
    return byte;
}

/// A datagram of the input: two bytes of length, then its bytes.
std::span<const std::uint8_t> next_datagram() {
    const std::size_t low = next_byte();
    const std::size_t length = low | std::size_t{next_byte()} << 8;
    const auto datagram = input.first(std::min(length, input.size()));
    input = input.subspan(datagram.size());
    return datagram;
}

bool is_usable(std::span<const std::uint8_t> datagram) {
    if (datagram.size() < 48 || datagram.size() >= 1300)
        return false;
    const auto seconds = datagram.subspan(40, 4);
    return std::any_of(seconds.begin(), seconds.end(), [](auto byte) { return byte != 0; }) &&
           std::any_of(seconds.begin(), seconds.end(), [](auto byte) { return byte != 0xFF; });
}

void check_steps() {
    const std::size_t steps = the_machine.steps.size();
    require(has_secondary ? true : steps == usable_replies, "steps and usable replies");
    require(the_machine.commands.size() == steps &&
                the_machine.steps_stored == static_cast<int>(steps),
            "steps, hardware clock and database");
    for (const std::string &command : the_machine.commands)
        require(command == "hwclock -w", "another command was run");
}

} // namespace

extern "C" {

int select(int /*count*/, fd_set *readable, fd_set * /*writable*/, fd_set * /*errors*/,
           timeval *timeout) {
    require(timeout->tv_sec >= 0 && timeout->tv_sec <= 7 * 86400 && timeout->tv_usec >= 0 &&
                timeout->tv_usec < 1000000,
            "a wait out of range");
    const std::uint8_t what = next_byte() % events;
    FD_ZERO(readable);
    timeout->tv_sec /= 2; // some of it has passed
    switch (what) {
    case wait_ran_out:
        *timeout = {};
        return 0;
    case interrupted:
    case select_failed:
        errno = what == interrupted ? EINTR : EBADF;
        return -1;
    case restart:
    case stop:
    case other_signal:
        ntp_signal_handler(what == restart ? NTP_SIG_RESTART
                           : what == stop  ? NTP_SIG_STOP
                                           : next_byte());
        FD_SET(ntp_signal_pipe[0], readable);
        return 1;
    default:
        pending = what;
        FD_SET(client_socket, readable);
        return 1;
    }
}

ssize_t recvfrom(int /*fd*/, void *buffer, size_t size, int /*flags*/, sockaddr *sender,
                 socklen_t * /*sender_size*/) {
    if (pending == receive_failed) {
        errno = ECONNREFUSED;
        return -1;
    }
    const auto datagram = next_datagram();
    const char *const from = pending == from_primary     ? primary
                             : pending == from_secondary ? secondary
                                                         : stranger;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, from, &address.sin_addr);
    std::memcpy(sender, &address, sizeof address);
    if (pending == from_primary && is_usable(datagram))
        ++usable_replies;
    const std::size_t length = std::min(datagram.size(), size);
    std::memcpy(buffer, datagram.data(), length);
    return static_cast<ssize_t>(length);
}

ssize_t sendto(int /*fd*/, const void * /*bytes*/, size_t size, int /*flags*/,
               const sockaddr * /*to*/, socklen_t /*length*/) {
    require(size == 48, "a request of another length");
    return static_cast<ssize_t>(size);
}

hostent *gethostbyname(const char *name) {
    static in_addr address;
    static char *addresses[] = {reinterpret_cast<char *>(&address), nullptr};
    static hostent host{
        .h_addrtype = AF_INET, .h_length = sizeof address, .h_addr_list = addresses};
    return inet_pton(AF_INET, name, &address) == 1 ? &host : nullptr;
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const bool ready = (silence(), open_signal_pipe(), ntp_signal_pipe[0] >= 0);
    if (!ready || size == 0)
        return 0;
    has_secondary = data[0] & 1;
    g_ntp_var.g_ntp_debug = data[0] >> 1 & 1;
    debug = data[0] >> 2 & 1;
    store_server(g_ntp_var.g_pri_ntp_server, primary);
    store_server(g_ntp_var.g_sec_ntp_server,
                 has_secondary ? server_name(secondary) : server_name(server_not_set));
    input = {data + 1, size - 1};
    usable_replies = 0;
    the_machine = {};
    if (setjmp(the_end) == 0)
        primary_loop(client_socket);
    check_steps();
    return 0;
}
