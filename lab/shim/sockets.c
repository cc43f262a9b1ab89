/* SPDX-License-Identifier: GPL-2.0-or-later */
/* The client's socket calls and name look-ups, and the pipe that its signals come by. */
#include "shim.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <stdatomic.h>
#include <stdio.h>
#include <sys/socket.h>

/* "address", "port" members of an event, for an IPv4 address. */
static const char *endpoint(char *out, size_t size, const struct sockaddr *address) {
    const struct sockaddr_in *inet = (const void *)address;
    char text[INET_ADDRSTRLEN] = "";

    out[0] = '\0';
    if (address && address->sa_family == AF_INET) {
        inet_ntop(AF_INET, &inet->sin_addr, text, sizeof(text));
        snprintf(out, size, ", \"address\": \"%s\", \"port\": %u", text, ntohs(inet->sin_port));
    }
    return out;
}

int socket(int family, int type, int protocol) {
    bool fails =
        family == AF_INET && (type & SOCK_DGRAM) && on_client_thread() && control_fails("socket");

    return fails ? -1 : REAL(socket)(family, type, protocol);
}

int bind(int fd, const struct sockaddr *address, socklen_t length) {
    bool ours = on_client_thread();
    int result = ours && control_fails("bind") ? -1 : REAL(bind)(fd, address, length);
    int saved = errno;
    char to[80];

    if (ours)
        event("bind", "%s, \"result\": %d", endpoint(to, sizeof(to), address), result);
    errno = saved;
    return result;
}

ssize_t sendto(int fd, const void *bytes, size_t length, int flags, const struct sockaddr *address,
               socklen_t address_length) {
    bool ours = on_client_thread();
    bool fails = ours && control_fails("sendto");
    int saved = errno;
    ssize_t result = fails ? -1 : REAL(sendto)(fd, bytes, length, flags, address, address_length);

    if (!fails)
        saved = errno;
    if (ours) {
        char text[512], to[80];
        event("sendto", "%s, \"bytes\": \"%s\", \"flags\": %d, \"result\": %zd",
              endpoint(to, sizeof(to), address), hex(text, sizeof(text), bytes, length), flags,
              result);
    }
    errno = saved;
    return result;
}

ssize_t recvfrom(int fd, void *restrict bytes, size_t size, int flags,
                 struct sockaddr *restrict address, socklen_t *restrict address_length) {
    bool ours = on_client_thread();

    if (ours && control_fails("recvfrom")) {
        /* taken off the queue all the same: the error is not to come back */
        int failed_with = errno;
        REAL(recvfrom)(fd, bytes, size, flags, address, address_length);
        errno = failed_with;
        return -1;
    }
    ssize_t result = REAL(recvfrom)(fd, bytes, size, flags, address, address_length);
    int saved = errno;
    if (ours) {
        char from[80];
        event("recvfrom", "%s, \"size\": %zu, \"result\": %zd",
              endpoint(from, sizeof(from), address), size, result);
    }
    errno = saved;
    return result;
}

/* The daemon's only pair of sockets, as long as it stays in the foreground. */
static _Atomic int pipe_ends[2] = {-1, -1};

bool is_signal_pipe(int fd) {
    return fd >= 0 && (fd == atomic_load(&pipe_ends[0]) || fd == atomic_load(&pipe_ends[1]));
}

int socketpair(int family, int type, int protocol, int ends[2]) {
    bool ours = shim_active() && family == AF_UNIX && type == SOCK_STREAM;

    if (ours && control_fails("socketpair"))
        return -1;
    int result = REAL(socketpair)(family, type, protocol, ends);
    for (int i = 0; ours && result == 0 && i < 2; i++)
        atomic_store(&pipe_ends[i], ends[i]);
    return result;
}

ssize_t send(int fd, const void *bytes, size_t length, int flags) {
    if (is_signal_pipe(fd) && control_fails("pipe_send"))
        return -1;
    return REAL(send)(fd, bytes, length, flags);
}

static void start_lookup(const char *name) {
    char text[1024];

    if (!on_client_thread())
        return;
    event("lookup", ", \"name\": \"%s\"", escaped(text, sizeof(text), name ? name : ""));
    real_sleep(control_number("lookup_sleep", 0));
}

struct hostent *gethostbyname(const char *name) {
    start_lookup(name);
    bool fails = on_client_thread() && control_fails("gethostbyname");
    if (fails && errno != FAILS_IN_PART) {
        h_errno = errno;
        return NULL;
    }
    struct hostent *found = REAL(gethostbyname)(name);
    if (fails && found)
        found->h_length = sizeof(struct in6_addr);
    return found;
}

int gethostbyname_r(const char *restrict name, struct hostent *restrict result,
                    char *restrict buffer, size_t size, struct hostent **restrict found,
                    int *restrict error) {
    start_lookup(name);
    return REAL(gethostbyname_r)(name, result, buffer, size, found, error);
}

int getaddrinfo(const char *restrict name, const char *restrict service,
                const struct addrinfo *restrict hints, struct addrinfo **restrict found) {
    start_lookup(name);
    return REAL(getaddrinfo)(name, service, hints, found);
}
