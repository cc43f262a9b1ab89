// SPDX-License-Identifier: GPL-2.0-or-later
#include "status/show.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <arpa/inet.h>

#include <json-c/json.h>

#include "status/utf8.h"

namespace {

using client_status = struct horad_client_status;

constexpr std::int64_t million = 1000000;

/// A text for one use.
template <std::size_t size> struct text_of {
    std::array<char, size> bytes{};
    const char *c_str() const { return bytes.data(); }
};

/// "2026-11-22T03:10:00.250000Z"
text_of<48> iso_8601(std::int64_t microseconds) {
    text_of<48> text;
    const std::time_t seconds =
        microseconds / million - (microseconds % million < 0); // towards the past
    std::tm utc{};
    std::array<char, 32> date{};
    if (gmtime_r(&seconds, &utc) == nullptr ||
        std::strftime(date.data(), date.size(), "%FT%T", &utc) == 0)
        return text;
    std::snprintf(text.bytes.data(), text.bytes.size(), "%s.%06dZ", date.data(),
                  static_cast<int>(microseconds - seconds * million));
    return text;
}

/// "2026-11-22 03:10:00 UTC"
text_of<48> date_and_time(std::int64_t microseconds) {
    text_of<48> text = iso_8601(microseconds);
    constexpr std::size_t date = 10;
    constexpr std::size_t whole = 19;
    if (text.bytes[0] != '\0') {
        text.bytes[date] = ' ';
        std::memcpy(&text.bytes[whole], " UTC", sizeof " UTC");
    }
    return text;
}

text_of<INET_ADDRSTRLEN> dotted(std::uint32_t address) {
    text_of<INET_ADDRSTRLEN> text;
    inet_ntop(AF_INET, &address, text.bytes.data(), INET_ADDRSTRLEN);
    return text;
}

/// "6 d 23 h", "4 min 10 s", "0 s": the two largest units.
text_of<48> span(std::int64_t seconds) {
    constexpr struct {
        const char *name;
        std::int64_t size;
    } units[] = {{"d", 86400}, {"h", 3600}, {"min", 60}, {"s", 1}};
    text_of<48> text;
    const auto *unit = std::begin(units);
    while (unit->size > 1 && seconds < unit->size)
        ++unit;
    const long long count = seconds / unit->size;
    if (unit->size == 1)
        std::snprintf(text.bytes.data(), text.bytes.size(), "%lld s", count);
    else
        std::snprintf(text.bytes.data(), text.bytes.size(), "%lld %s %lld %s", count, unit->name,
                      static_cast<long long>(seconds % unit->size / unit[1].size), unit[1].name);
    return text;
}

/// "0.001250 s", "-3599.998000 s", from microseconds
text_of<48> in_seconds(double microseconds, const char *format) {
    text_of<48> text;
    std::snprintf(text.bytes.data(), text.bytes.size(), format, microseconds / 1e6);
    return text;
}

bool has_next_request(const client_status &status) {
    return status.state != HORAD_CLIENT_OFF && status.state != HORAD_CLIENT_DEAD;
}

std::int64_t microseconds_left(const client_status &status, std::int64_t monotonic) {
    return std::max<std::int64_t>(0, status.next_request - monotonic);
}

/// Lines of a table.
class table {
  public:
    table(status_writer write, void *session) : write_(write), session_(session) {}

    [[gnu::format(printf, 3, 4)]] void row(const char *name, const char *format, ...) const {
        std::array<char, 512> value{};
        std::va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(value.data(), value.size(), format, arguments);
        va_end(arguments);
        std::array<char, 560> line{};
        std::snprintf(line.data(), line.size(), "%-18s: %s\n", name, value.data());
        write_(session_, line.data());
    }

  private:
    status_writer write_;
    void *session_;
};

const char *in_words(const client_status &status) {
    switch (status.state) {
    case HORAD_CLIENT_LOOKING_UP:
        return "looking a server's name up";
    case HORAD_CLIENT_WAITING:
        return "waiting for an answer";
    case HORAD_CLIENT_RETRYING:
        return "trying again";
    case HORAD_CLIENT_RESTING:
        return "resting after a good answer";
    case HORAD_CLIENT_DEAD:
        return "dead";
    default:
        return "off";
    }
}

/// How long ago something was, by a clock that may have been stepped since.
text_of<64> ago(std::int64_t then, std::int64_t now) {
    text_of<64> text;
    if (then <= now)
        std::snprintf(text.bytes.data(), text.bytes.size(), "%s ago",
                      span((now - then) / million).c_str());
    else
        std::snprintf(text.bytes.data(), text.bytes.size(), "before the clock was stepped back");
    return text;
}

void show_answer(const table &out, const client_status &status, std::int64_t now) {
    if (status.answers_used == 0) {
        out.row("Last answer", "none");
        return;
    }
    out.row("Last answer", "%s (%s) from %s", date_and_time(status.answer_time).c_str(),
            ago(status.answer_time, now).c_str(), dotted(status.answer_address).c_str());
    out.row("Offset", "%s (the server's time less ours)",
            in_seconds(status.offset, "%+.6f s").c_str());
    out.row("Round trip", "%s", in_seconds(status.round_trip, "%.6f s").c_str());
    out.row("Stepped by", "%+d s", status.stepped);
}

const char *json_state(const client_status &status) {
    switch (status.state) {
    case HORAD_CLIENT_LOOKING_UP:
        return "lookingUp";
    case HORAD_CLIENT_WAITING:
        return "waiting";
    case HORAD_CLIENT_RETRYING:
        return "retrying";
    case HORAD_CLIENT_RESTING:
        return "resting";
    case HORAD_CLIENT_DEAD:
        return "dead";
    default:
        return "off";
    }
}

/// A server's name, or what has one in it: any bytes can have been typed.
json_object *utf8_text(const char *text) {
    text_of<sizeof(client_status::failure_text)> copy; // the longest
    std::snprintf(copy.bytes.data(), copy.bytes.size(), "%s", text);
    make_utf8(copy.bytes.data());
    return json_object_new_string(copy.c_str());
}

json_object *text_or_null(bool is_known, const char *text) {
    return is_known ? utf8_text(text) : nullptr;
}

/// Microseconds or seconds with up to three places, and none for nothing: 1250, 0.5.
json_object *number(double value) {
    std::array<char, 330> text{}; // the largest has 309 digits
    int length = std::snprintf(text.data(), text.size(), "%.3f", value);
    while (text[static_cast<std::size_t>(length) - 1] == '0')
        --length;
    if (text[static_cast<std::size_t>(length) - 1] == '.')
        --length;
    text[static_cast<std::size_t>(length)] = '\0';
    return json_object_new_double_s(value, text.data());
}

json_object *answer_object(const client_status &status) {
    if (status.answers_used == 0)
        return nullptr;
    json_object *const answer = json_object_new_object();
    json_object_object_add(answer, "time",
                           json_object_new_string(iso_8601(status.answer_time).c_str()));
    json_object_object_add(answer, "address",
                           json_object_new_string(dotted(status.answer_address).c_str()));
    json_object_object_add(answer, "offsetMicroseconds", number(status.offset));
    json_object_object_add(answer, "roundTripMicroseconds", number(status.round_trip));
    json_object_object_add(answer, "steppedSeconds", json_object_new_int(status.stepped));
    return answer;
}

json_object *failure_object(const client_status &status) {
    if (status.failures == 0)
        return nullptr;
    json_object *const failure = json_object_new_object();
    json_object_object_add(failure, "time",
                           json_object_new_string(iso_8601(status.failure_time).c_str()));
    json_object_object_add(failure, "text", utf8_text(status.failure_text));
    return failure;
}

struct counter {
    const char *name;
    const char *in_words;
    std::uint64_t value;
};

std::array<counter, 9> counters_of(const client_status &status) {
    return {{
        {"requests", "Requests sent", status.requests},
        {"answersUsed", "Answers used", status.answers_used},
        {"foreignAddress", "Foreign address", status.foreign_address},
        {"wrongLength", "Wrong length", status.wrong_length},
        {"noTransmitTime", "No transmit time", status.no_transmit_time},
        {"negativeDelay", "Negative delay", status.negative_delay},
        {"lookUpsFailed", "Look-ups failed", status.look_ups_failed},
        {"sendsFailed", "Sends failed", status.sends_failed},
        {"stepsRefused", "Steps refused", status.steps_refused},
    }};
}

} // namespace

void show_status_table(const struct horad_client_status *status, int64_t now, int64_t monotonic,
                       status_writer write, void *session) {
    const table out(write, session);
    if (status->state == HORAD_CLIENT_DEAD)
        out.row("State", "dead: %s", status->reason);
    else
        out.row("State", "%s", in_words(*status));
    out.row("Server", "%s%s%s%s, the %s",
            status->server_name[0] == '\0' ? "none asked yet" : status->server_name,
            status->address == 0 ? "" : " (",
            status->address == 0 ? "" : dotted(status->address).c_str(),
            status->address == 0 ? "" : ")", status->server == 1 ? "primary" : "secondary");
    if (status->requests == 0)
        out.row("Last request", "none");
    else
        out.row("Last request", "%s (%s)", date_and_time(status->last_request).c_str(),
                ago(status->last_request, now).c_str());
    if (has_next_request(*status))
        out.row("Next request", "in %s",
                span(microseconds_left(*status, monotonic) / million).c_str());
    else
        out.row("Next request", "none");
    show_answer(out, *status, now);
    if (status->failures == 0)
        out.row("Last failure", "none");
    else
        out.row("Last failure", "%s (%s): %s", date_and_time(status->failure_time).c_str(),
                ago(status->failure_time, now).c_str(), status->failure_text);
    for (const counter &each : counters_of(*status))
        out.row(each.in_words, "%" PRIu64, each.value);
}

void show_status_json(const struct horad_client_status *status, int64_t monotonic,
                      status_writer write, void *session) {
    json_object *const json = json_object_new_object();
    const bool is_dead = status->state == HORAD_CLIENT_DEAD;
    json_object_object_add(json, "state", json_object_new_string(json_state(*status)));
    json_object_object_add(json, "reason", utf8_text(is_dead ? status->reason : ""));
    json_object_object_add(json, "server", json_object_new_int(status->server));
    json_object_object_add(json, "serverName",
                           text_or_null(status->server_name[0] != '\0', status->server_name));
    json_object_object_add(json, "serverAddress",
                           text_or_null(status->address != 0, dotted(status->address).c_str()));
    json_object_object_add(
        json, "lastRequest",
        text_or_null(status->requests != 0, iso_8601(status->last_request).c_str()));
    json_object_object_add(
        json, "nextRequestSeconds",
        has_next_request(*status)
            ? number(static_cast<double>(microseconds_left(*status, monotonic)) / 1e6)
            : nullptr);
    json_object_object_add(json, "lastAnswer", answer_object(*status));
    json_object_object_add(json, "lastFailure", failure_object(*status));
    json_object *const counts = json_object_new_object();
    for (const counter &each : counters_of(*status))
        json_object_object_add(counts, each.name,
                               json_object_new_int64(static_cast<std::int64_t>(each.value)));
    json_object_object_add(json, "counters", counts);
    write(session, json_object_to_json_string_ext(json, JSON_C_TO_STRING_PRETTY |
                                                            JSON_C_TO_STRING_NOSLASHESCAPE));
    write(session, "\n");
    json_object_put(json);
}
