// SPDX-License-Identifier: GPL-2.0-or-later
#include "ntp_state.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

constinit ntp_var g_ntp_var;
pthread_mutex_t ntp_mutex;
constinit std::int32_t ntp_status = 0;
constinit std::int32_t ntp_thread_state = 0;
constinit std::int32_t debug = 0;

int ntp_lock(void) noexcept { return pthread_mutex_lock(&ntp_mutex); }
int ntp_unlock(void) noexcept { return pthread_mutex_unlock(&ntp_mutex); }

int32_t get_is_using_dst(void) noexcept { return g_ntp_var.is_using_dst; }
void set_is_using_dst(int32_t value) noexcept { g_ntp_var.is_using_dst = value; }
void set_g_ntp_en(int32_t value) noexcept { g_ntp_var.g_ntp_en = value; }

std::optional<server_name> server_name::from(const char *text) noexcept {
    const std::size_t length = strnlen(text, server_name_size);
    if (length == server_name_size)
        return std::nullopt;
    server_name name;
    std::copy_n(text, length, name.padded_.begin());
    return name;
}

// Bytes go in and out one by one as relaxed atomics, because the source check
// and the failover tests read a field while a command may be writing it.
void store_server(char (&field)[server_name_size], const server_name &name) noexcept {
    for (std::size_t i = 0; i < server_name_size; ++i)
        std::atomic_ref(field[i]).store(name.padded()[i], std::memory_order_relaxed);
}

server_snapshot::server_snapshot(char (&field)[server_name_size]) noexcept {
    for (std::size_t i = 0; i < server_name_size; ++i)
        text[i] = std::atomic_ref(field[i]).load(std::memory_order_relaxed);
}

bool server_snapshot::is_set() const noexcept { return server_is_set(text); }

bool server_is_set(const char *text) noexcept { return std::strcmp(text, server_not_set) != 0; }

void debug_printf(const char *format, ...) noexcept {
    if (!g_ntp_var.g_ntp_debug)
        return;
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}
