// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/zone_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

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

/// Joins a name, of at most longest_zone_name characters, to the zone folder.
const char *join_to_folder(const char *name, std::span<unsigned char, zone_path_size> room) {
    auto *path = reinterpret_cast<char *>(room.data());
    std::memcpy(path, zone_folder, sizeof zone_folder - 1);
    std::memcpy(path + sizeof zone_folder - 1, name, std::strlen(name) + 1);
    return path;
}

/// Reads and closes.
int read_bytes(int fd, unsigned char *bytes, std::size_t &length) {
    const ssize_t count = read(fd, bytes, zone_file_limit);
    const int read_error = errno;
    if (close(fd) != 0 && count >= 0)
        return errno;
    if (count < 0)
        return read_error;
    length = static_cast<std::size_t>(count);
    return 0;
}

} // namespace

int read_zone_file(const char *name, std::span<unsigned char, zone_path_size> room,
                   std::size_t &length) noexcept {
    static_assert(zone_file_limit <= zone_path_size);
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
        path = join_to_folder(name, room);
    }
    if (test_access && access(path, R_OK) != 0)
        return errno;
    int fd = -1;
    if (const int error = open_zone_file(path, fd); error != 0)
        return error;
    return read_bytes(fd, room.data(), length);
}
