// SPDX-License-Identifier: GPL-2.0-or-later
//
// Allocation helpers for outside callers, on the daemon's memory type.
#include <cstring>

#include "frr_module.h"
#include "horad/tz.h"

void *imalloc(size_t n) noexcept { return qmalloc(MTYPE_NTP_CLIENT, n == 0 ? 1 : n); }

void *icalloc(size_t n, size_t size) noexcept {
    size_t total = 0;
    if (__builtin_mul_overflow(n, size, &total))
        return nullptr;
    return qcalloc(MTYPE_NTP_CLIENT, total == 0 ? 1 : total);
}

void *irealloc(void *pointer, size_t n) noexcept {
    return pointer == nullptr ? imalloc(n) : qrealloc(MTYPE_NTP_CLIENT, pointer, n == 0 ? 1 : n);
}

char *icatalloc(char *old, const char *text) noexcept {
    if (text == nullptr || (*text == '\0' && old != nullptr)) {
        if (old != nullptr)
            return old;
        return static_cast<char *>(icalloc(1, 1));
    }
    const size_t old_size = old == nullptr ? 0 : std::strlen(old);
    const size_t size = std::strlen(text) + 1;
    auto *result = static_cast<char *>(irealloc(old, old_size + size));
    if (result != nullptr)
        std::memcpy(result + old_size, text, size);
    return result;
}

char *icpyalloc(const char *text) noexcept { return icatalloc(nullptr, text); }

void ifree(void *pointer) noexcept {
    if (pointer != nullptr)
        qfree(MTYPE_NTP_CLIENT, pointer);
}

void icfree(void *pointer) noexcept { ifree(pointer); }
