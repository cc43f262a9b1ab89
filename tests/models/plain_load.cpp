// SPDX-License-Identifier: GPL-2.0-or-later
#include "models/plain_load.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "models/plain_file.h"
#include "models/plain_rules.h"

namespace plain {
namespace {

constexpr std::size_t longest_name = 84531;
constexpr std::size_t most_bytes = 59064;

/// Whether ".." is one of the parts of a path.
bool names_parent(const std::string &name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool begins = i == 0 || name[i - 1] == '/';
        if (begins && name.compare(i, 2, "..") == 0 && (i + 2 == name.size() || name[i + 2] == '/'))
            return true;
    }
    return false;
}

found_file read_file(const std::string &path) {
    found_file file;
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        file.error = errno;
        return file;
    }
    file.content.resize(most_bytes);
    const ssize_t length = read(descriptor, file.content.data(), file.content.size());
    if (length < 0)
        file.error = errno;
    file.content.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    if (length >= 0 && length < static_cast<ssize_t>(header_size))
        file.error = EINVAL;
    if (close(descriptor) != 0 && file.error == 0)
        file.error = errno;
    return file;
}

bool leap_times_in_order(const zone &zone) {
    leap_second before{0, 0};
    for (const auto &leap : zone.leaps) {
        if (leap.time < 0 || wide{leap.time} - before.time < 28 * day_seconds - 1)
            return false;
        if (leap.correction != before.correction + 1 && leap.correction != before.correction - 1)
            return false;
        before = leap;
    }
    return true;
}

/// The last leap record's correction that is in force at a time.
std::int64_t correction_at(const zone &zone, std::int64_t time) {
    std::int64_t correction = 0;
    for (const auto &leap : zone.leaps) {
        if (leap.time <= time)
            correction = leap.correction;
    }
    return correction;
}

/// Finds a name in the store, as all of an abbreviation or as its end.
std::optional<std::size_t> find_name(const std::string &store, const std::string &name) {
    for (std::size_t at = 0; at < store.size(); ++at) {
        if (name == store.c_str() + at)
            return at;
    }
    return std::nullopt;
}

/// Gives the types of a footer's zone their places in the store of a file's.
bool place_names(std::string &store, const zone &from, std::vector<local_type> &types) {
    for (auto &type : types) {
        const std::string name = abbreviation(from, type);
        if (const auto found = find_name(store, name)) {
            type.abbreviation = *found;
            continue;
        }
        if (store.size() + name.size() >= most_file_characters)
            return false;
        type.abbreviation = store.size();
        store += name;
        store += '\0';
    }
    return true;
}

void drop_repeats_at_end(std::vector<transition> &transitions) {
    while (transitions.size() > 1 &&
           transitions[transitions.size() - 1].type == transitions[transitions.size() - 2].type)
        transitions.pop_back();
}

void use_footer(const std::string &text, const std::optional<bytes> &rules_file, zone &file) {
    zone footer;
    if (!parse_tz_string(text, rules_file, footer, false))
        return;
    std::string store = file.abbreviations;
    std::vector<local_type> types = footer.types;
    if (!place_names(store, footer, types))
        return;
    file.abbreviations = store;
    drop_repeats_at_end(file.transitions);

    bool found = file.transitions.empty();
    const std::int64_t last = found ? 0 : file.transitions.back().time;
    for (const auto &change : footer.transitions) {
        const std::int64_t time = add_within_time(change.time, correction_at(file, change.time));
        if (!found && time > last)
            found = true;
        if (found && file.transitions.size() < most_transitions)
            file.transitions.push_back({time, change.type + file.types.size()});
    }
    file.types.insert(file.types.end(), types.begin(), types.end());
}

bool equivalent(const zone &zone, std::size_t a, std::size_t b) {
    const local_type &left = zone.types[a];
    const local_type &right = zone.types[b];
    return left.offset == right.offset && left.dst == right.dst &&
           left.standard_indicator == right.standard_indicator &&
           left.ut_indicator == right.ut_indicator &&
           std::strcmp(abbreviation(zone, left), abbreviation(zone, right)) == 0;
}

void set_repeat_flags(zone &zone) {
    zone.go_back = false;
    zone.go_ahead = false;
    if (zone.transitions.size() < 2)
        return;
    const transition &first = zone.transitions.front();
    const transition &last = zone.transitions.back();
    for (std::size_t i = 1; i < zone.transitions.size(); ++i) {
        const transition &later = zone.transitions[i];
        if (wide{later.time} - first.time == cycle && equivalent(zone, later.type, first.type))
            zone.go_back = true;
    }
    for (std::size_t i = 0; i + 1 < zone.transitions.size(); ++i) {
        const transition &earlier = zone.transitions[i];
        if (wide{last.time} - earlier.time == cycle && equivalent(zone, earlier.type, last.type))
            zone.go_ahead = true;
    }
}

std::size_t find_default_type(const zone &zone) {
    bool zero_used = false;
    for (const auto &change : zone.transitions) {
        if (change.type == 0)
            zero_used = true;
    }
    if (!zero_used)
        return 0;
    if (zone.types[zone.transitions.front().type].dst) {
        for (std::size_t lower = zone.transitions.front().type; lower > 0; --lower) {
            if (!zone.types[lower - 1].dst)
                return lower - 1;
        }
    }
    for (std::size_t type = 0; type < zone.types.size(); ++type) {
        if (!zone.types[type].dst)
            return type;
    }
    return 0;
}

} // namespace

found_file find_file(const char *name) {
    found_file failed;
    std::string path = name == nullptr ? "/etc/localtime" : name;
    if (path.starts_with(":"))
        path.erase(0, 1);
    bool ask = path.starts_with("/");
    if (!ask) {
        if (path.size() > longest_name) {
            failed.error = ENAMETOOLONG;
            return failed;
        }
        ask = names_parent(path);
        path.insert(0, folder);
    }
    if (ask && access(path.c_str(), R_OK) != 0) {
        failed.error = errno;
        return failed;
    }
    return read_file(path);
}

int load(std::span<const unsigned char> file, const std::optional<bytes> &rules_file, zone &zone,
         bool extend) {
    zone = {};
    file = file.first(std::min(file.size(), most_bytes));
    std::size_t used = 0;
    if (!read_block(file, 4, zone, used) || !leap_times_in_order(zone))
        return EINVAL;
    const bool has_wide_block = file[4] != 0;
    if (has_wide_block) {
        file = file.subspan(used);
        if (!read_block(file, 8, zone, used) || !leap_times_in_order(zone))
            return EINVAL;
        const auto rest = file.subspan(used);
        if (extend && rest.size() > 2 && rest.front() == '\n' && rest.back() == '\n' &&
            zone.types.size() <= most_types - 2) {
            const std::string between(rest.begin() + 1, rest.end() - 1);
            use_footer(between.substr(0, between.find('\0')), rules_file, zone);
        }
    }
    if (zone.types.empty())
        return EINVAL;
    set_repeat_flags(zone);
    zone.default_type = find_default_type(zone);
    return 0;
}

int load_by_name(const char *name, const std::optional<bytes> &rules_file, zone &zone,
                 bool extend) {
    const found_file file = find_file(name);
    return file.error != 0 ? file.error : load(file.content, rules_file, zone, extend);
}

void scrub(zone &zone) {
    static const std::string allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                       "0123456789 :+-._";
    static const std::string kept_whole = "Local time zone must be set--see zic manual page";
    constexpr std::size_t longest = 16;
    for (char &c : zone.abbreviations) {
        if (c != '\0' && allowed.find(c) == std::string::npos)
            c = '_';
    }
    for (const auto &type : zone.types) {
        const std::string text = abbreviation(zone, type);
        if (text.size() > longest && text != kept_whole)
            zone.abbreviations[type.abbreviation + longest] = '\0';
    }
}

namespace {

std::optional<bytes> find_rules_file() {
    const found_file file = find_file(rules_file_name);
    if (file.error != 0)
        return std::nullopt;
    return file.content;
}

} // namespace

int init_zone(const char *name, zone &made) {
    made = {};
    if (name != nullptr && *name == '\0') {
        made.types.push_back({});
        made.abbreviations = "GMT";
        return 0;
    }
    const auto rules_file = find_rules_file();
    int error = load_by_name(name, rules_file, made, true);
    if (error != 0 && name != nullptr && *name != ':' &&
        parse_tz_string(name, rules_file, made, false))
        error = 0;
    if (error == 0)
        scrub(made);
    return error;
}

zone null_zone() {
    zone utc;
    const auto rules_file = find_rules_file();
    if (load_by_name("GMT", rules_file, utc, true) != 0)
        parse_tz_string("GMT", rules_file, utc, true);
    utc.stands_for_null = true;
    return utc;
}

} // namespace plain
