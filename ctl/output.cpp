// SPDX-License-Identifier: GPL-2.0-or-later
#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "failure.h"

namespace {

struct close_file {
    void operator()(std::FILE *file) const noexcept {
        static_cast<void>(std::fclose(file)); // after a failure that is reported already
    }
};

} // namespace

void occupy_standard_descriptors() noexcept {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0)
            // Opened the wrong way round, so that using it fails as it would have.
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

void print(const std::string &text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) < text.size() || std::fflush(stdout) != 0)
        throw failure(std::string("cannot write to standard output: ") + strerrordesc_np(errno) +
                      ": is it closed, or its disk full?");
}

void complain(const std::string &message) noexcept {
    std::fprintf(stderr, "horadctl: %s\n", message.c_str());
}

void write_file(const std::string &name, const std::string &text) {
    const auto fail = [&] {
        throw failure(name + ": " + strerrordesc_np(errno) + ": name another file");
    };
    std::unique_ptr<std::FILE, close_file> file(std::fopen(name.c_str(), "we"));
    if (file == nullptr)
        fail();
    if (std::fwrite(text.data(), 1, text.size(), file.get()) < text.size() ||
        std::fflush(file.get()) != 0)
        fail();
    if (std::fclose(file.release()) != 0)
        fail();
}
