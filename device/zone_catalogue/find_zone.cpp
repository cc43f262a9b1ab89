// SPDX-License-Identifier: GPL-2.0-or-later
#include "zone_catalogue/find_zone.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <optional>
#include <pthread.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "zone_catalogue/moved_zones.h"
#include "zone_catalogue/standard_time.h"
#include "zone_catalogue/zone_catalogue.h"

namespace {

using std::string_view;

constexpr std::size_t longest_key = 63;

/// Zone files have a few thousand bytes.
constexpr std::size_t largest_file = 32768;
using file_buffer = char[largest_file];

struct continent_folder {
    string_view word;   ///< in the commands
    string_view folder; ///< of the zone files
};

constexpr continent_folder continents[] = {
    {"Africa", "Africa"},       {"America", "America"},   {"Indian_Ocean", "Indian"},
    {"Asia", "Asia"},           {"Atlantic", "Atlantic"}, {"Europe", "Europe"},
    {"Australia", "Australia"}, {"Pacific", "Pacific"},
};

/// A location becomes part of a path: no component may be empty or hold a dot,
/// so that none can lead out of the continent's folder.
bool is_location(string_view text) noexcept {
    const auto belongs = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '-' || c == '+' || c == '/';
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), belongs) && text.front() != '/' &&
           text.back() != '/' && text.find("//") == string_view::npos;
}

/// Reads a whole file into `buffer`; nothing when it is no regular file or does
/// not fit.
std::optional<string_view> read_file(const char *path, file_buffer &buffer) noexcept {
    // Opening a FIFO must not wait for a writer.
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return {};
    struct stat status;
    ssize_t got = -1;
    std::size_t size = 0;
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode))
        while (size < sizeof buffer) {
            got = read(file, buffer + size, sizeof buffer - size);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            size += static_cast<std::size_t>(got);
        }
    close(file);
    if (got != 0)
        return {};
    return string_view(buffer, size);
}

/// An entry in the list of all entries handed out; its texts follow it in memory.
struct kept_entry {
    kept_entry *next;
    std::size_t size; ///< of the texts
    zone_catalogue_entry entry;

    char *texts() noexcept { return reinterpret_cast<char *>(this + 1); }
};

kept_entry *kept;
pthread_mutex_t keeping = PTHREAD_MUTEX_INITIALIZER;

/// Returns the entry with these texts (five, each ended by a zero byte), making
/// it if there is none yet.  The list grows by what zone files say, not by what
/// is asked: it needs no limit.
const zone_catalogue_entry *find_or_make(string_view texts) noexcept {
    for (kept_entry *one = kept; one != nullptr; one = one->next)
        if (string_view(one->texts(), one->size) == texts)
            return &one->entry;

    void *const memory = std::malloc(sizeof(kept_entry) + texts.size());
    if (memory == nullptr)
        return nullptr;
    kept_entry *const one = new (memory) kept_entry{kept, texts.size(), {}};
    std::memcpy(one->texts(), texts.data(), texts.size());
    const char *text = one->texts();
    for (const char **member : {&one->entry.continent, &one->entry.location, &one->entry.path,
                                &one->entry.offset, &one->entry.short_name}) {
        *member = text;
        text += std::strlen(text) + 1;
    }
    kept = one;
    return &one->entry;
}

/// The same, for one thread at a time.
const zone_catalogue_entry *keep(string_view texts) noexcept {
    pthread_mutex_lock(&keeping);
    const zone_catalogue_entry *const entry = find_or_make(texts);
    pthread_mutex_unlock(&keeping);
    return entry;
}

const zone_catalogue_entry *read_zone(string_view continent, string_view location,
                                      const char *path) noexcept {
    file_buffer buffer;
    const auto file = read_file(path, buffer);
    if (!file)
        return nullptr;
    const auto time = read_standard_time(*file);
    if (!time)
        return nullptr;

    char texts[512];
    const int minutes = std::abs(time->offset);
    const int size = std::snprintf(texts, sizeof texts, "%.*s%c%.*s%c%s%cGMT%c%02d%02d%c%.*s",
                                   static_cast<int>(continent.size()), continent.data(), '\0',
                                   static_cast<int>(location.size()), location.data(), '\0', path,
                                   '\0', time->offset < 0 ? '-' : '+', minutes / 60, minutes % 60,
                                   '\0', static_cast<int>(time->name.size()), time->name.data());
    if (size < 0 || static_cast<std::size_t>(size) >= sizeof texts)
        return nullptr;
    return keep(string_view(texts, static_cast<std::size_t>(size) + 1));
}

} // namespace

const zone_catalogue_entry *find_zone(const char *root, const char *key) noexcept {
    if (key == nullptr || strnlen(key, longest_key + 1) > longest_key)
        return nullptr;
    const string_view pair(key);
    const std::size_t blank = std::min(pair.find(' '), pair.size());
    const string_view word = pair.substr(0, blank);
    const string_view location = pair.substr(std::min(blank + 1, pair.size()));
    const auto *const continent =
        std::find_if(std::begin(continents), std::end(continents),
                     [word](const continent_folder &one) { return one.word == word; });
    if (continent == std::end(continents) || !is_location(location))
        return nullptr;

    char name[longest_key + 1];
    const int name_size =
        std::snprintf(name, sizeof name, "%s/%s", continent->folder.data(), location.data());
    string_view others = moved_zone_files(string_view(name, static_cast<std::size_t>(name_size)));

    string_view file(name);
    while (!file.empty()) {
        char path[384];
        const int size = std::snprintf(path, sizeof path, "%s/%.*s", root,
                                       static_cast<int>(file.size()), file.data());
        if (static_cast<std::size_t>(size) < sizeof path)
            if (const auto *entry = read_zone(continent->word, location, path))
                return entry;
        file = others.substr(0, others.find(' '));
        others.remove_prefix(std::min(file.size() + 1, others.size()));
    }
    return nullptr;
}
