// SPDX-License-Identifier: GPL-2.0-or-later
#include "arguments.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <getopt.h>
#include <string_view>

#include "failure.h"
#include "utc_time.h"

namespace {

constexpr char default_database[] = "/var/lib/horad/config.db";
constexpr double longest_timeout = 1e9; // seconds; 31 years

enum long_only : int {
    opt_socket = 256,
    opt_json,
    opt_csv,
    opt_last,
    opt_since,
    opt_svg,
    opt_database,
    opt_timeout,
};

constexpr option help{"help", no_argument, nullptr, 'h'};
constexpr option version{"version", no_argument, nullptr, 'V'};
constexpr option socket_file{"socket", required_argument, nullptr, opt_socket};
constexpr option database_file{"database", required_argument, nullptr, opt_database};
constexpr option as_json{"json", no_argument, nullptr, opt_json};

constexpr option line_options[] = {help, version, socket_file, {}};
constexpr option status_options[] = {help, version, socket_file, as_json, database_file, {}};
constexpr option steps_options[] = {help,
                                    version,
                                    socket_file,
                                    as_json,
                                    {"csv", no_argument, nullptr, opt_csv},
                                    {"last", required_argument, nullptr, opt_last},
                                    {"since", required_argument, nullptr, opt_since},
                                    {"svg", required_argument, nullptr, opt_svg},
                                    database_file,
                                    {}};
constexpr option wait_options[] = {
    help,          version, socket_file, {"timeout", required_argument, nullptr, opt_timeout},
    database_file, {}};

[[noreturn]] void refuse(const std::string &reason) {
    throw failure(reason + ": see horadctl --help");
}

/// What `text`, the value of `name`, is as a number; all of it has to be one.
template <typename Number> Number parse_number(const char *name, std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.begin(), text.end(), number);
    if (error != std::errc{} || end != text.end())
        refuse(std::string(name) + " " + std::string(text) + " is no number");
    return number;
}

std::int64_t parse_last(std::string_view text) {
    const auto number = parse_number<std::int64_t>("--last", text);
    if (number < 1)
        refuse("--last wants a number from 1 on");
    return number;
}

std::int64_t parse_since(const std::string &text) {
    const auto time = parse_utc(text);
    if (!time)
        refuse("--since " + text + " is no time; give UTC as 2026-11-23 or 2026-11-23T08:00:00Z");
    return *time;
}

std::chrono::milliseconds parse_timeout(std::string_view text) {
    const auto seconds = parse_number<double>("--timeout", text);
    if (!(seconds >= 0) || seconds > longest_timeout)
        refuse("--timeout wants seconds from 0 to 1000000000");
    return std::chrono::milliseconds{std::llround(seconds * 1000)};
}

void take_option(int found, arguments &result) {
    switch (found) {
    case 'h':
        result.what = action::help;
        break;
    case 'V':
        result.what = action::version;
        break;
    case 'c':
        result.what = action::lines;
        result.lines.emplace_back(optarg);
        break;
    case opt_socket:
        result.socket = optarg;
        break;
    case opt_json:
        result.json = true;
        break;
    case opt_csv:
        result.csv = true;
        break;
    case opt_last:
        result.last = parse_last(optarg);
        break;
    case opt_since:
        result.since = parse_since(optarg);
        break;
    case opt_svg:
        result.picture = optarg;
        if (result.picture.empty())
            refuse("--svg wants a file's name");
        break;
    case opt_database:
        result.database = optarg;
        if (result.database.empty())
            refuse("--database wants a file's name");
        break;
    case opt_timeout:
        result.timeout = parse_timeout(optarg);
        break;
    default:
        break;
    }
}

/// Reads options up to the first other word.  True when one of them ends the reading.
bool take_options(int argc, char *const *argv, const char *shorts, const option *longs,
                  arguments &result) {
    for (;;) {
        const int index = std::max(optind, 1);
        const int found =
            getopt_long(argc, argv, shorts, longs, nullptr); // NOLINT(concurrency-mt-unsafe)
        if (found == -1)
            return false;
        // After a long option getopt has gone on to the next word: its own is at `index`.
        const std::string named = optopt > 0 && optopt < opt_socket
                                      ? std::string("-") + static_cast<char>(optopt)
                                      : argv[index];
        if (found == '?')
            refuse("unknown or ambiguous option " + named);
        if (found == ':')
            refuse("option " + named + " wants a value");
        take_option(found, result);
        if (result.what == action::help || result.what == action::version)
            return true;
    }
}

void take_words(int argc, char *const *argv, arguments &result) {
    if (!result.lines.empty())
        refuse("give either words or -c, not both");
    std::string line;
    for (int i = optind; i < argc; ++i)
        line += (line.empty() ? "" : " ") + std::string(argv[i]);
    result.what = action::lines;
    result.lines.push_back(std::move(line));
}

void take_own_command(int argc, char *const *argv, const option *longs, arguments &result) {
    if (!result.lines.empty())
        refuse("give either words or -c, not both");
    ++optind;
    if (take_options(argc, argv, "+:hV", longs, result))
        return;
    if (optind < argc)
        refuse(std::string("unknown word ") + argv[optind]);
    if (result.json && result.csv)
        refuse("give either --json or --csv, not both");
}

} // namespace

arguments parse_arguments(int argc, char *const *argv, const char *named_database) {
    arguments result;
    result.database =
        named_database != nullptr && *named_database != '\0' ? named_database : default_database;
    opterr = 0;
    optind = 0; // from the beginning, and without what an earlier call left
    if (take_options(argc, argv, "+:c:hV", line_options, result) || optind >= argc)
        return result;

    const std::string_view word = argv[optind];
    const bool is_plain = std::strcmp(argv[optind - 1], "--") != 0;
    if (is_plain && word == "status") {
        result.what = action::status;
        take_own_command(argc, argv, status_options, result);
    } else if (is_plain && word == "steps") {
        result.what = action::steps;
        take_own_command(argc, argv, steps_options, result);
    } else if (is_plain && word == "wait") {
        result.what = action::wait;
        take_own_command(argc, argv, wait_options, result);
    } else {
        take_words(argc, argv, result);
    }
    return result;
}
