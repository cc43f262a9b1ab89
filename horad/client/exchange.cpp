// SPDX-License-Identifier: GPL-2.0-or-later
#include "client/exchange.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <netdb.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "client/status.h"
#include "client/trace_tag.h"
#include "ntp_state.h"

namespace {

/// First IPv4 address of a server's name or dotted address; nothing, with the
/// reason on standard error, when there is none.  The look-up is not
/// re-entrant: only the client thread may make one.
std::optional<in_addr> resolve(ntp_server server, const char *name) {
    client_status::note_look_up(server, name);
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    const hostent *host = gethostbyname(name);
    if (host == nullptr) {
        herror(name);
        client_status::note_look_up_failed(hstrerror(h_errno));
        return std::nullopt;
    }
    in_addr address{};
    if (host->h_length != static_cast<int>(sizeof address)) {
        std::fprintf(stderr, "oops %d\n", host->h_length);
        client_status::note_look_up_failed("no IPv4 address");
        return std::nullopt;
    }
    std::memcpy(&address, host->h_addr_list[0], sizeof address);
    client_status::note_address(address);
    return address;
}

/// A UDP socket that select() can watch.  With hundreds of open sessions the next
/// descriptor can be too high for select()'s set.
int open_watchable_socket() {
    const int fd = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (fd >= FD_SETSIZE) {
        close(fd);
        errno = EMFILE;
        return -1;
    }
    return fd;
}

void report_failed_lookup() { std::puts("ntp get host by name failed"); }

} // namespace

int open_client_socket() noexcept {
    const int fd = open_watchable_socket();
    if (fd < 0) {
        const int error = errno;
        std::perror("net socker ");
        client_status::note_dead("socket", error);
        return -1;
    }
    // The command that sets the hardware clock may outlive the daemon: it is not to keep
    // the port from the next one.
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    debug_printf("\r\n ntp client process : socket OK.\n\r");

    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(ntp_port);
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&local), sizeof local) < 0) {
        const int error = errno;
        std::perror("ntp_client_process 2");
        close(fd);
        client_status::note_dead("bind", error);
        return -1;
    }
    debug_printf("\r\n ntp client process : bind OK.\n\r");
    return fd;
}

bool ntp_send_packet(int socket, ntp_server server, request_bytes &request) noexcept {
    timeval now{};
    gettimeofday(&now, nullptr);
    request = make_request(now);

    sockaddr_in destination{};
    destination.sin_family = AF_INET;
    const auto address = [&] {
        const ntp_guard lock;
        return resolve(server, server_field(server));
    }();
    if (!address) {
        report_failed_lookup();
        return false;
    }
    destination.sin_addr = *address;
    destination.sin_port = htons(ntp_port);
    {
        const ntp_guard lock;
        debug_printf("\r\n %s: sendto %s. %d\n\r", __func__, server_field(server),
                     trace_tag::sending_to);
    }

    if (sendto(socket, request.data(), request.size(), MSG_DONTWAIT,
               reinterpret_cast<const sockaddr *>(&destination), sizeof destination) < 0) {
        const int error = errno;
        std::perror("send NTP packet");
        client_status::note_send_failed(error);
        return false;
    }
    return true;
}

bool check_source(const sockaddr_in &sender, ntp_server server) noexcept {
    // A copy taken without the lock: a datagram must not wait for the mutex.
    const server_snapshot name(server_field(server));
    const auto address = resolve(server, name.text);
    if (!address) {
        report_failed_lookup();
        return false;
    }
    if (sender.sin_addr.s_addr != address->s_addr) {
        client_status::note_foreign_address();
        return false;
    }
    return true;
}
