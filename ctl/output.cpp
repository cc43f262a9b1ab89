// SPDX-License-Identifier: GPL-2.0-or-later
#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct close_file {
    void operator()(std::FILE *file) const noexcept {
        static_cast<void>(std::fclose(file)); // after a failure that is reported already
    }
};

[[noreturn]] void fail(const std::string &name, int error) {
    throw failure(name + ": " + strerrordesc_np(error) + ": name another file");
}

/// Whether another file may take its name: not that of a link, a device or a pipe, nor
/// one of a file's two names.
bool is_replaceable(const std::string &name, const struct stat &file) {
    std::string folder = std::filesystem::path(name).parent_path();
    if (folder.empty())
        folder = ".";
    return S_ISREG(file.st_mode) && file.st_nlink == 1 && access(name.c_str(), W_OK) == 0 &&
           access(folder.c_str(), W_OK) == 0;
}

/// Writes a file, which gets the owner and the rights of `like`, if any.  False with
/// errno when it cannot.
bool write_all(const std::string &name, const char *mode, const std::string &text,
               const struct stat *like) {
    std::unique_ptr<std::FILE, close_file> file(std::fopen(name.c_str(), mode));
    if (file == nullptr)
        return false;
    if (like != nullptr) {
        // Only root can give a file away.
        static_cast<void>(fchown(fileno(file.get()), like->st_uid, like->st_gid) == 0);
        if (fchmod(fileno(file.get()), like->st_mode & 0777) != 0)
            return false;
    }
    return std::fwrite(text.data(), 1, text.size(), file.get()) == text.size() &&
           std::fflush(file.get()) == 0 && std::fclose(file.release()) == 0;
}

} // namespace

void occupy_standard_descriptors() noexcept {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0)
            // Opened the wrong way round, so that using it fails as it would have.
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

output_failure::output_failure(int error)
    : failure(std::string("cannot write to standard output: ") + strerrordesc_np(error) +
              ": is it closed, or its disk full?"),
      reader_is_gone(error == EPIPE) {}

void print(const std::string &text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) < text.size() || std::fflush(stdout) != 0)
        throw output_failure(errno);
}

void complain(const std::string &message) noexcept {
    std::fprintf(stderr, "horadctl: %s\n", message.c_str());
}

void write_file(const std::string &name, const std::string &text) {
    struct stat old {};
    const bool is_there = lstat(name.c_str(), &old) == 0;
    if (is_there && !is_replaceable(name, old)) {
        if (!write_all(name, "we", text, nullptr))
            fail(name, errno);
        return;
    }
    // Renamed when it is whole: on a full disk the old one stays, and nothing else.
    const std::string beside = name + ".new-" + std::to_string(getpid());
    if (write_all(beside, "wxe", text, is_there ? &old : nullptr) &&
        std::rename(beside.c_str(), name.c_str()) == 0)
        return;
    const int error = errno;
    if (error != EEXIST) // somebody else's
        unlink(beside.c_str());
    fail(name, error);
}
