/* SPDX-License-Identifier: GPL-2.0-or-later */
/* Datagrams: an answer is waited for in real time, and arrives by the daemon's clock. */
#include "hurry.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>

/* A server of the lab takes a millisecond, and one that is dead nobody's patience. */
static const int64_t patience = 1000000000;

static int asked_through = -1;
static int64_t awaited_until;

int64_t answer_awaited_until(void) { return awaited_until; }

static bool is_datagram_socket(int fd) {
    int domain = 0, type = 0;
    socklen_t size = sizeof(int);

    getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size);
    size = sizeof(int);
    getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size);
    return (domain == AF_INET || domain == AF_INET6) && type == SOCK_DGRAM;
}

static void note_request(int fd) {
    struct page *page = hurry_page();

    if (!page || !is_datagram_socket(fd))
        return;
    asked_through = fd;
    awaited_until = machine_ns(CLOCK_MONOTONIC) + patience;
    if (page->stamps) {
        int on = 1;
        setsockopt(fd, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof(on));
        page->sent = machine_ns(CLOCK_REALTIME);
    }
}

static void note_answer(int fd, int flags) {
    if (fd == asked_through && !(flags & MSG_ERRQUEUE))
        awaited_until = 0;
}

ssize_t sendto(int fd, const void *bytes, size_t length, int flags, const struct sockaddr *address,
               socklen_t address_length) {
    note_request(fd);
    return REAL(sendto)(fd, bytes, length, flags, address, address_length);
}

ssize_t sendmsg(int fd, const struct msghdr *message, int flags) {
    note_request(fd);
    return REAL(sendmsg)(fd, message, flags);
}

ssize_t send(int fd, const void *bytes, size_t length, int flags) {
    note_request(fd);
    return REAL(send)(fd, bytes, length, flags);
}

static void move(struct timespec *stamp) {
    if (stamp->tv_sec != 0 || stamp->tv_nsec != 0)
        *stamp = timespec_of(daemon_clock_at(ns_of(*stamp)));
}

/* The kernel stamps by the machine's clock. */
static void move_stamps(struct msghdr *message) {
    struct page *page = hurry_page();

    if (!page)
        return;
    for (struct cmsghdr *part = CMSG_FIRSTHDR(message); part; part = CMSG_NXTHDR(message, part)) {
        if (part->cmsg_level != SOL_SOCKET)
            continue;
        struct timespec *stamps = (void *)CMSG_DATA(part);
        if (part->cmsg_type == SO_TIMESTAMPNS) {
            page->arrived = ns_of(*stamps);
            move(stamps);
        } else if (part->cmsg_type == SO_TIMESTAMPING) {
            for (int i = 0; i < 3; i++)
                move(&stamps[i]);
        } else if (part->cmsg_type == SO_TIMESTAMP) {
            struct timeval *coarse = (void *)CMSG_DATA(part);
            struct timespec fine = {.tv_sec = coarse->tv_sec, .tv_nsec = coarse->tv_usec * 1000};
            move(&fine);
            *coarse = (struct timeval){.tv_sec = fine.tv_sec, .tv_usec = fine.tv_nsec / 1000};
        }
    }
}

ssize_t recvmsg(int fd, struct msghdr *message, int flags) {
    ssize_t result = REAL(recvmsg)(fd, message, flags);

    if (result >= 0) {
        note_answer(fd, flags);
        move_stamps(message);
    }
    return result;
}

int recvmmsg(int fd, struct mmsghdr *messages, unsigned count, int flags, struct timespec *limit) {
    int result = REAL(recvmmsg)(fd, messages, count, flags, limit);

    for (int i = 0; i < result; i++) {
        note_answer(fd, flags);
        move_stamps(&messages[i].msg_hdr);
    }
    return result;
}

ssize_t recvfrom(int fd, void *restrict bytes, size_t size, int flags,
                 struct sockaddr *restrict address, socklen_t *restrict address_length) {
    char control[256];
    struct iovec part = {.iov_base = bytes, .iov_len = size};
    struct msghdr message = {.msg_name = address,
                             .msg_namelen = address_length ? *address_length : 0,
                             .msg_iov = &part,
                             .msg_iovlen = 1,
                             .msg_control = control,
                             .msg_controllen = sizeof(control)};
    ssize_t result = recvmsg(fd, &message, flags);

    if (result >= 0 && address_length)
        *address_length = message.msg_namelen;
    return result;
}

ssize_t recv(int fd, void *bytes, size_t size, int flags) {
    ssize_t result = REAL(recv)(fd, bytes, size, flags);

    if (result >= 0)
        note_answer(fd, flags);
    return result;
}
