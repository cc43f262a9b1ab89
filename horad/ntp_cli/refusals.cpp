// SPDX-License-Identifier: GPL-2.0-or-later
#include "ntp_cli/refusals.h"

#include <cstring>

#include "ntp_state.h"

namespace {

/// One character more than a field has room for: that one name passes this check,
/// as the messages promise, and is refused where it would be stored.
bool is_too_long(const char *name) noexcept {
    constexpr std::size_t maximum = 128;
    return std::strlen(name) > maximum;
}

bool fits(const char *name) noexcept { return server_name::from(name).has_value(); }

static_assert(server_name_size - 1 == 127, "the messages say so");

} // namespace

const char *refusal_of_servers(const char *primary, const char *secondary) noexcept {
    if (!server_is_set(primary))
        return "Master ip address can't manually config 0.0.0.0 !!!.\r\n";
    if (is_too_long(primary))
        return "Master Hostname or IP address too long. Maximum is 128.\r\n";
    if (secondary != nullptr && !server_is_set(secondary))
        return "Slave ip address can't manually config 0.0.0.0 !!!.\r\n";
    if (secondary != nullptr && is_too_long(secondary))
        return "Slave Hostname or IP address too long. Maximum is 128.\r\n";
    if (!fits(primary))
        return "Master Hostname or IP address does not fit: at most 127 characters.\r\n";
    if (secondary != nullptr && !fits(secondary))
        return "Slave Hostname or IP address does not fit: at most 127 characters.\r\n";
    return nullptr;
}

const char *refusal_of_second_server(const char *primary, const char *secondary) noexcept {
    if (*primary == '\0')
        return "Master ip address have not set.\r\n";
    if (secondary == nullptr)
        return "% Command incomplete.\n"; // as the library says it
    if (!server_is_set(secondary))
        return "Slave ip address can't manually config 0.0.0.0 !!!.\r\n";
    if (is_too_long(secondary)) // in lower case, unlike above
        return "slave Hostname or IP address too long. Maximum is 128.\r\n";
    if (!fits(secondary))
        return "Slave Hostname or IP address does not fit: at most 127 characters.\r\n";
    return nullptr;
}

const char *refusal_to_enable(const char *primary) noexcept {
    return server_is_set(primary) ? nullptr : "ntp server ip not set!\r\n";
}
