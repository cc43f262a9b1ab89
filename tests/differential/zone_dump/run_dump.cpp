// SPDX-License-Identifier: GPL-2.0-or-later
//
// Asks the zone dump and the daylight-saving discovery what another program wants
// to know, one question a line, in a /tmp of its own (needs root):
//
//   dump ARGUMENT...        zdump_main; "(null)" is a null argument
//   dst YEAR NOW LOCATION   systemGetDstCfg
//   tz NAME                 the process's zone
//   now SECONDS             what the present time is from now on
//   folder 1|0              whether a folder is in the dump file's place
//
// Words are separated by tabs.  Each dump and dst is answered by a line of numbers
// (result; bytes of the dump file, -1 without one; bytes of standard output and of
// standard error; nanoseconds slept) and those bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/private_folder.h"
#include "horad/timezone.h"

namespace {

constexpr char dump_path[] = "/tmp/dstconfig";

std::optional<time_t> faked_now;
long long slept = 0;

} // namespace

// These take the C library's place for the whole program: a present time that is
// known, and no time lost in waiting.
extern "C" time_t time(time_t *result) noexcept {
    struct timespec now = {};
    if (faked_now)
        now.tv_sec = *faked_now;
    else
        clock_gettime(CLOCK_REALTIME, &now);
    if (result)
        *result = now.tv_sec;
    return now.tv_sec;
}

extern "C" int nanosleep(const struct timespec *wanted, struct timespec *) {
    slept += wanted->tv_sec * 1'000'000'000LL + wanted->tv_nsec;
    return 0;
}

namespace {

std::optional<std::string> contents(const char *path) {
    struct stat status;
    if (stat(path, &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    return std::string{std::istreambuf_iterator<char>(in), {}};
}

/// Standard output or standard error, into a file while this lives.
class redirection {
  public:
    redirection(int descriptor, const char *path)
        : descriptor_(descriptor), path_(path), kept_(dup(descriptor)) {
        const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (kept_ < 0 || file < 0 || dup2(file, descriptor) < 0)
            throw std::runtime_error(std::string("cannot redirect to ") + path);
        close(file);
    }
    ~redirection() {
        dup2(kept_, descriptor_);
        close(kept_);
    }
    redirection(const redirection &) = delete;
    redirection &operator=(const redirection &) = delete;

    std::string text() const { return contents(path_).value_or(""); }

  private:
    int descriptor_;
    const char *path_;
    int kept_;
};

void answer(const std::function<int()> &question) {
    int result = 0;
    std::string output;
    std::string errors;
    slept = 0;
    {
        const redirection out(STDOUT_FILENO, "/tmp/stdout");
        const redirection err(STDERR_FILENO, "/tmp/stderr");
        result = question();
        std::fflush(nullptr);
        output = out.text();
        errors = err.text();
    }
    const auto dump = contents(dump_path);
    std::printf("%d %lld %zu %zu %lld\n", result,
                dump ? static_cast<long long>(dump->size()) : -1LL, output.size(), errors.size(),
                slept);
    for (const auto &bytes : {dump.value_or(""), output, errors})
        std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    std::fflush(stdout);
}

std::vector<std::string> words_of(const std::string &line) {
    std::vector<std::string> words;
    std::string::size_type start = 0;
    for (;;) {
        const auto end = line.find('\t', start);
        words.push_back(line.substr(start, end - start));
        if (end == std::string::npos)
            return words;
        start = end + 1;
    }
}

void dump(std::vector<std::string> words) {
    std::vector<char *> arguments;
    for (std::size_t i = 1; i < words.size(); ++i)
        arguments.push_back(words[i] == "(null)" ? nullptr : words[i].data());
    const auto count = static_cast<std::int32_t>(arguments.size());
    arguments.push_back(nullptr);
    answer([&] { return zdump_main(count, arguments.data()); });
}

void obey(const std::vector<std::string> &words) {
    if (words[0] == "dump") {
        dump(words);
    } else if (words[0] == "dst") {
        answer([&] {
            return systemGetDstCfg(std::stoi(words.at(1)), std::stoll(words.at(2)),
                                   words.at(3).c_str());
        });
    } else if (words[0] == "tz") {
        setenv("TZ", words.at(1).c_str(), 1);
        tzset();
    } else if (words[0] == "now") {
        faked_now = std::stoll(words.at(1));
    } else if (words[0] == "folder") {
        std::filesystem::remove_all(dump_path);
        if (words.at(1) == "1")
            std::filesystem::create_directory(dump_path);
    } else {
        throw std::runtime_error("unknown question: " + words[0]);
    }
}

} // namespace

int main() {
    try {
        const private_folder folder("/tmp");
        for (std::string line; std::getline(std::cin, line);)
            obey(words_of(line));
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
