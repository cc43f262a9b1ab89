/* SPDX-License-Identifier: GPL-2.0-or-later */
/* The client's socket calls and name look-ups. */
#include "shim.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
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
    int result = REAL(bind)(fd, address, length);
    int saved = errno;
    char to[80];

    if (on_client_thread())
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

static void start_lookup(const char *name) {
    char text[1024];

    if (!on_client_thread())
        return;
    event("lookup", ", \"name\": \"%s\"", escaped(text, sizeof(text), name ? name : ""));
    real_sleep(control_number("lookup_sleep", 0));
}

struct hostent *gethostbyname(const char *name) {
    start_lookup(name);
    return REAL(gethostbyname)(name);
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
