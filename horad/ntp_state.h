// SPDX-License-Identifier: GPL-2.0-or-later
//
// The daemon's whole configuration and the flags that its two threads share.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <pthread.h>

#include "horad/state.h"

/// A 32-bit flag that one thread writes and others read without the lock.
class shared_flag {
  public:
    constexpr shared_flag() = default;
    operator std::int32_t() const noexcept { return value_.load(std::memory_order_relaxed); }
    shared_flag &operator=(std::int32_t value) noexcept {
        value_.store(value, std::memory_order_relaxed);
        return *this;
    }

  private:
    std::atomic<std::int32_t> value_{0};
};
static_assert(sizeof(shared_flag) == sizeof(std::int32_t));

/// Size of a server field, the terminating zero included.
inline constexpr std::size_t server_name_size = 128;

/// The text that stands for "no server set".  An empty field is another state:
/// the secondary was taken away, and the client still turns to it and fails.
inline constexpr char server_not_set[] = "0.0.0.0";

/// The configuration record.  What is not in here is not configuration.
///
/// The zone texts are never owned: they point at constants or at entries of the
/// zone catalogue, or are all null once the zone was removed.  Only the
/// event-loop thread writes any of this; it holds ntp_mutex while it writes the
/// texts, and the client thread holds it while it reads a name for a request.
struct ntp_var {
    const char *continent_name = "Europe";
    const char *city_name = "London";
    const char *zoneinfo_path = "/usr/share/zoneinfo/Europe/London";
    const char *time_zone = "GMT+0000";
    const char *time_zone_name = "GMT";
    shared_flag g_ntp_en;     ///< NTP enabled: ntp_status, unless a caller set it alone
    shared_flag g_ntp_debug;  ///< "debug ntp on": trace the client and the zone code
    shared_flag is_using_dst; ///< see get_is_using_dst()
    char g_pri_ntp_server[server_name_size] = "0.0.0.0";
    char g_sec_ntp_server[server_name_size] = "0.0.0.0";
};

extern ntp_var g_ntp_var;
extern pthread_mutex_t ntp_mutex;

/// 1 while NTP is switched on.  Event-loop thread only.
extern std::int32_t ntp_status;

/// 1 once the client thread was created, for ever.  Event-loop thread only.
extern std::int32_t ntp_thread_state;

/// Verbose dump of every exchange.  No command sets it; it is for a debugger.
extern std::int32_t debug;

/// Holds ntp_mutex for a scope.
class ntp_guard {
  public:
    ntp_guard() noexcept { ntp_lock(); }
    ~ntp_guard() { ntp_unlock(); }
    ntp_guard(const ntp_guard &) = delete;
    ntp_guard &operator=(const ntp_guard &) = delete;
};

/// A text that fits a server field with its end.  Only such a text can be stored,
/// so none is ever cut.
class server_name {
  public:
    /// A constant, which the compiler measures.
    template <std::size_t size>
    requires(size <= server_name_size) consteval server_name(const char (&text)[size]) {
        std::copy_n(text, size, padded_.begin());
    }

    /// Any text; nothing when it does not fit.
    [[nodiscard]] static std::optional<server_name> from(const char *text) noexcept;

    /// The text and the zeros that fill a field up.
    [[nodiscard]] const std::array<char, server_name_size> &padded() const noexcept {
        return padded_;
    }

  private:
    server_name() = default;

    std::array<char, server_name_size> padded_{};
};

/// Replaces all of a server field.  The caller holds ntp_mutex, or is alone.
void store_server(char (&field)[server_name_size], const server_name &name) noexcept;

/// A server field as it stands, for readers that must not wait for the lock.
/// Always terminated; read during a change it may be cut or empty.
struct server_snapshot {
    char text[server_name_size];
    explicit server_snapshot(char (&field)[server_name_size]) noexcept;
    [[nodiscard]] bool is_set() const noexcept;
};

/// Whether a server text is a server at all, as the failover rules see it.
[[nodiscard]] bool server_is_set(const char *text) noexcept;

/// printf on standard output when "debug ntp" is on, nothing otherwise.
[[gnu::format(printf, 1, 2)]] void debug_printf(const char *format, ...) noexcept;
