// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/tz_variable.h"

#include <cstddef>
#include <iterator>

#include <unistd.h>

namespace {

constexpr std::size_t prefix_length = 3;

bool is_tz(const char *entry) { return entry[0] == 'T' && entry[1] == 'Z' && entry[2] == '='; }

/// The environment's entries up to TZ, that one included, when they are not too many.
/// Where it stands alone does not do: the array may be a shorter one since.
struct known_entries {
    const char *entries[64];
    std::size_t count; ///< 0: nothing is known

    [[nodiscard]] const char *tz() const { return entries[count - 1]; }

    [[nodiscard]] bool still_hold() const {
        if (count == 0 || environ == nullptr)
            return false;
        // A shorter array's end is none of them, and nothing after it is read.
        const char *const *const now = environ;
        // An entry each two instructions: this is most of what localtime() costs more than
        // a conversion.
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i)
            if (now[i] != entries[i])
                return false;
        return is_tz(tz());
    }

    /// index  of TZ
    void remember(std::size_t index) {
        count = index < std::size(entries) ? index + 1 : 0;
        for (std::size_t i = 0; i < count; ++i)
            entries[i] = environ[i];
    }
};

[[gnu::tls_model("initial-exec")]] constinit thread_local known_entries known{};

/// Where in the environment TZ stands; where it ends, when TZ is unset.
std::size_t search() {
    std::size_t i = 0;
    while (environ[i] != nullptr && !is_tz(environ[i]))
        ++i;
    return i;
}

const char *value_of(const char *entry) {
    return entry != nullptr ? entry + prefix_length : nullptr;
}

} // namespace

const char *find_tz() noexcept {
    const char *const entry = environ != nullptr ? environ[search()] : nullptr;
    if (known.count > 0 && known.tz() != entry)
        known.count = 0;
    return value_of(entry);
}

const char *recall_tz() noexcept {
    if (known.still_hold())
        return value_of(known.tz());
    if (environ == nullptr)
        return nullptr;
    const std::size_t i = search();
    if (environ[i] != nullptr)
        known.remember(i);
    return value_of(environ[i]);
}
