// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/load_zone.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "tz/tz_string.h"

namespace {

/// Whether a name has a ".." component, and so may leave the zone folder.
bool climbs(const char *name) {
    for (const char *part = name;; ++part) {
        if (part[0] == '.' && part[1] == '.' && (part[2] == '/' || part[2] == '\0'))
            return true;
        part = std::strchr(part, '/');
        if (part == nullptr)
            return false;
    }
}

/// Opens a file for reading.  A FIFO would wait for a writer for ever, so
/// nothing is waited for; for other files that makes no difference.
int open_zone_file(const char *path, int &fd) {
    fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    return fd < 0 ? errno : 0;
}

/// Joins a name to the zone folder.  The path lies where the file's bytes will.
const char *join_to_folder(const char *name, zone_work_area &area) {
    static_assert(sizeof area == sizeof zone_folder + longest_zone_name);
    auto *path = reinterpret_cast<char *>(&area);
    std::memcpy(path, zone_folder, sizeof zone_folder - 1);
    std::memcpy(path + sizeof zone_folder - 1, name, std::strlen(name) + 1); // checked
    return path;
}

int read_bytes(int fd, zone_work_area &area, std::size_t &length) {
    const ssize_t count = read(fd, area.file, sizeof area.file);
    const int read_error = errno;
    if (close(fd) != 0 && count >= 0)
        return errno;
    if (count < 0)
        return read_error;
    length = static_cast<std::size_t>(count);
    return 0;
}

} // namespace

int read_zone_file(const char *name, zone_work_area &area, std::size_t &length) {
    if (name == nullptr)
        name = default_zone_path;
    else if (name[0] == ':')
        ++name;

    const char *path = name;
    bool test_access = true;
    if (name[0] != '/') {
        if (strnlen(name, longest_zone_name + 1) > longest_zone_name)
            return ENAMETOOLONG;
        test_access = climbs(name);
        path = join_to_folder(name, area);
    }
    if (test_access && access(path, R_OK) != 0)
        return errno;
    int fd = -1;
    if (const int error = open_zone_file(path, fd); error != 0)
        return error;
    return read_bytes(fd, area, length);
}

// The work area must stay off callers' frames: parse_tz_string() loads another
// file after this one failed.
[[gnu::noinline]] int load_zone(const char *name, zone_state *state, bool extend) {
    zone_work_area area; // not cleared: only what was written is read
    std::size_t length = 0;
    if (const int error = read_zone_file(name, area, length); error != 0)
        return error;
    return decode_zone(area, length, *state, state->rules, extend);
}

int load_zone_bytes(std::span<const unsigned char> file, zone_state *state, bool extend) {
    zone_work_area area;
    const std::size_t length = std::min(file.size(), sizeof area.file);
    std::copy_n(file.begin(), length, area.file);
    return decode_zone(area, length, *state, state->rules, extend);
}

void scrub_abbreviations(zone_state *state) {
    constexpr char allowed[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                               "0123456789 :+-._";
    constexpr char kept_whole[] = "Local time zone must be set--see zic manual page";
    constexpr std::size_t longest = 16;
    for (int i = 0; i < state->char_count; ++i) // strchr finds the separators too
        if (std::strchr(allowed, state->abbreviations[i]) == nullptr)
            state->abbreviations[i] = '_';
    for (int i = 0; i < state->type_count; ++i) {
        char *name = state->abbreviations + state->types[i].abbr_index;
        if (std::strlen(name) > longest && std::strcmp(name, kept_whole) != 0)
            name[longest] = '\0';
    }
}

void load_utc(zone_state *state) {
    if (load_zone("GMT", state, true) != 0)
        parse_tz_string("GMT", state, true);
    build_index(*state);
}

int init_zone(zone_state *state, const char *name) {
    if (name != nullptr && name[0] == '\0') {
        state->leap_count = state->transition_count = state->type_count = state->char_count = 0;
        state->go_back = state->go_ahead = false;
        state->types[0] = {};
        std::memcpy(state->abbreviations, "GMT", sizeof "GMT");
        state->default_type = 0;
        state->rules = {};
        build_index(*state);
        return 0;
    }
    int error = load_zone(name, state, true);
    if (error != 0 && name != nullptr && name[0] != ':' && parse_tz_string(name, state, false))
        error = 0;
    if (error == 0) {
        scrub_abbreviations(state);
        build_index(*state);
    }
    return error;
}
