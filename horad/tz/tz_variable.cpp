// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/tz_variable.h"

#include <cstddef>

#include <unistd.h>

namespace {

constexpr std::size_t prefix_length = 3;

bool is_tz(const char *entry) { return entry[0] == 'T' && entry[1] == 'Z' && entry[2] == '='; }

/// Where TZ was.  Removing an entry moves those after it, and a new array, even one at the
/// old one's address, begins with another entry: the first one tells whether the place can
/// still be read.
struct place {
    char **environment;
    const char *first;
    std::size_t index;
    const char *entry; ///< null: nothing was found

    [[nodiscard]] bool still_holds() const {
        return entry != nullptr && environ == environment && environ[0] == first &&
               environ[index] == entry && is_tz(entry);
    }
};

[[gnu::tls_model("initial-exec")]] constinit thread_local place last_place{};

} // namespace

const char *find_tz() noexcept {
    last_place.entry = nullptr;
    if (environ == nullptr)
        return nullptr;
    for (std::size_t i = 0; environ[i] != nullptr; ++i)
        if (is_tz(environ[i])) {
            last_place = {environ, environ[0], i, environ[i]};
            return environ[i] + prefix_length;
        }
    return nullptr;
}

const char *recall_tz() noexcept {
    return last_place.still_holds() ? last_place.entry + prefix_length : find_tz();
}
