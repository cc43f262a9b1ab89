// SPDX-License-Identifier: GPL-2.0-or-later
#include <cerrno>
#include <cstring>
#include <memory>

#include "common/broken_down.h"
#include "differential/odd_case.h"
#include "differential/odd_questions.h"
#include "differential/run.h"
#include "models/plain_convert.h"
#include "models/plain_inverse.h"
#include "models/plain_load.h"

namespace {

/// What errno is before a question, to see whether the answer touches it.
constexpr int untouched = EXDEV;

std::string number(std::int64_t value) { return std::to_string(value); }

std::string error_text(int error) { return error == 0 ? "no error" : strerrorname_np(error); }

std::string type_text(std::int64_t offset, bool dst, const char *name) {
    return number(offset) + (dst ? " dst " : " std ") + name;
}

std::string engine_type(const zone_state &zone, int type) {
    const zone_type &found = zone.types[type];
    return type_text(found.utc_offset, found.is_dst, zone.abbreviations + found.abbr_index);
}

std::string model_type(const plain::zone &zone, std::size_t type) {
    const plain::local_type &found = zone.types[type];
    return type_text(found.offset, found.dst, plain::abbreviation(zone, found));
}

void compare_lists(const zone_state &engine, const plain::zone &model, odd_report &report) {
    for (std::size_t i = 0; i < model.types.size(); ++i) {
        const auto ours = engine_type(engine, static_cast<int>(i));
        const auto theirs = model_type(model, i);
        if (ours != theirs)
            report.differs("type " + number(static_cast<std::int64_t>(i)), ours, theirs);
    }
    for (std::size_t i = 0; i < model.transitions.size(); ++i) {
        const auto ours =
            number(engine.transition_times[i]) + " to type " + number(engine.transition_types[i]);
        const auto theirs = number(model.transitions[i].time) + " to type " +
                            number(static_cast<std::int64_t>(model.transitions[i].type));
        if (ours != theirs) {
            report.differs("transition " + number(static_cast<std::int64_t>(i)), ours, theirs);
            return;
        }
    }
    for (std::size_t i = 0; i < model.leaps.size(); ++i) {
        if (engine.leaps[i].transition != model.leaps[i].time ||
            engine.leaps[i].correction != model.leaps[i].correction)
            report.differs("leap second " + number(static_cast<std::int64_t>(i)),
                           number(engine.leaps[i].transition), number(model.leaps[i].time));
    }
}

std::string counts_text(std::size_t transitions, std::size_t types, std::size_t leaps) {
    return std::to_string(transitions) + " transitions, " + std::to_string(types) + " types, " +
           std::to_string(leaps) + " leap seconds";
}

std::string flags_text(bool go_back, bool go_ahead) {
    return std::string(go_back ? "back " : "") + (go_ahead ? "ahead" : "");
}

void compare_records(const zone_state &engine, const plain::zone &model, odd_report &report) {
    const auto ours = counts_text(static_cast<std::size_t>(engine.transition_count),
                                  static_cast<std::size_t>(engine.type_count),
                                  static_cast<std::size_t>(engine.leap_count));
    const auto theirs =
        counts_text(model.transitions.size(), model.types.size(), model.leaps.size());
    if (ours != theirs)
        report.differs("counts", ours, theirs);
    else
        compare_lists(engine, model, report);
    const auto before = engine_type(engine, engine.default_type);
    const auto before_by_model = model_type(model, model.default_type);
    if (before != before_by_model)
        report.differs("default type", before, before_by_model);
    // Without transitions there is nothing to repeat.
    if (!model.transitions.empty() &&
        (engine.go_back != model.go_back || engine.go_ahead != model.go_ahead))
        report.differs("repeats", flags_text(engine.go_back, engine.go_ahead),
                       flags_text(model.go_back, model.go_ahead));
}

int expected_errno(plain::answer answer) {
    return answer == plain::answer::year_too_far ? EOVERFLOW : untouched;
}

void compare_answer(const std::string &question, const std::tm *engine, int error,
                    const plain::zone &model, std::int64_t time, odd_report &report) {
    std::tm by_model{};
    const plain::answer answer = plain::to_local(model, time, by_model);
    const std::tm *const expected = answer == plain::answer::converted ? &by_model : nullptr;
    if (!same_answer(engine, expected)) {
        report.differs(question + number(time), to_text(engine), to_text(expected));
    } else if (error != expected_errno(answer)) {
        report.differs("errno of " + question + number(time), error_text(error),
                       error_text(expected_errno(answer)));
    }
}

/// zone  null: a null zone
void compare_conversion(const zone_state *zone, const plain::zone &model, std::int64_t time,
                        odd_report &report) {
    std::tm result{};
    errno = untouched;
    const std::tm *const engine = localtime_rz(zone, &time, &result);
    compare_answer("local time of ", engine, errno, model, time, report);
}

void compare_utc(const plain::zone &model, std::int64_t time, odd_report &report) {
    std::tm result{};
    errno = untouched;
    const std::tm *const engine = gmtime_r(&time, &result);
    compare_answer("UTC of ", engine, errno, model, time, report);
}

std::string question_text(const std::tm &tm) {
    std::string text = "time of {";
    for (const int field : {tm.tm_sec, tm.tm_min, tm.tm_hour, tm.tm_mday, tm.tm_mon, tm.tm_year})
        text += number(field) + ", ";
    return text + "isdst " + number(tm.tm_isdst) + ", gmtoff " + number(tm.tm_gmtoff) + "}";
}

std::string answer_text(bool found, std::int64_t time, const std::tm &tm) {
    return found ? number(time) + " = " + to_text(&tm) : "none";
}

/// zone  null: a null zone
void compare_search(const zone_state *zone, const plain::zone &model, const std::tm &asked,
                    odd_report &report) {
    // -1 is a time as well; only success sets the day of the week.
    constexpr int unset = -7;
    std::tm by_engine = asked;
    by_engine.tm_wday = unset;
    std::tm by_model = asked;
    const std::int64_t engine = mktime_z(zone, &by_engine);
    const bool found = by_engine.tm_wday != unset;
    const auto expected = plain::find_time(model, by_model);
    const bool same = found ? expected == engine && same_answer(&by_engine, &by_model)
                            : !expected && engine == -1;
    if (!same) {
        report.differs(question_text(asked), answer_text(found, engine, by_engine),
                       answer_text(expected.has_value(), expected.value_or(-1), by_model));
    } else if (!found && !same_fields(by_engine, asked)) {
        report.differs(question_text(asked) + ", not found, leaves behind",
                       question_text(by_engine), question_text(asked));
    }
}

/// How many searches a reading may take: each used type of one kind with each of
/// the other.
std::int64_t most_tries(const plain::zone &zone) {
    std::int64_t dst = 0;
    for (const auto &type : zone.types)
        dst += type.dst;
    return dst * (static_cast<std::int64_t>(zone.types.size()) - dst);
}

void compare_questions(const zone_state *zone, const plain::zone &model, dice &dice,
                       odd_report &report, odd_counts &counts) {
    const auto times = odd_instants(dice, model);
    for (const std::int64_t time : times)
        compare_conversion(zone, model, time, report);
    auto readings = odd_readings(dice, model, times, 40);
    constexpr std::int64_t bearable = 16;
    const std::int64_t tries = most_tries(model);
    for (std::tm &tm : readings) {
        if (tries > bearable && tm.tm_isdst >= 0 && dice.between(0, tries) > bearable / 4)
            tm.tm_isdst = -1;
        compare_search(zone, model, tm, report);
    }
    counts.conversions += static_cast<long long>(times.size());
    counts.searches += static_cast<long long>(readings.size());
}

} // namespace

void compare_case(const odd_case &asked, dice &dice, odd_report &report, odd_counts &counts) {
    errno = 0;
    const owned_zone engine(tzalloc(asked.tz.c_str()));
    const int error = engine ? 0 : errno;
    plain::zone model;
    const int expected = plain::init_zone(asked.tz.c_str(), model);
    ++counts.zones;
    if (error != expected)
        report.differs("loading", error_text(error), error_text(expected));
    if (!engine || expected != 0) {
        ++counts.refused;
        return;
    }
    // The zone of an empty name counts no types, but has one to convert with.
    if (!asked.tz.empty())
        compare_records(*engine, model, report);
    // As if another thread were about to build the index and never came to its end.
    if (dice.once_in(4))
        engine->index.progress = index_progress::begun;
    compare_questions(engine.get(), model, dice, report, counts);
}

void compare_null_zone(dice &dice, odd_report &report, odd_counts &counts) {
    ++counts.zones;
    const plain::zone utc = plain::null_zone();
    // A null zone has no name and no leap seconds until somebody else needs UTC.
    plain::zone not_loaded;
    not_loaded.stands_for_null = true;
    const std::int64_t time = dice.between(0, 2000000000);
    compare_conversion(nullptr, not_loaded, time, report);
    // Either of these loads it, which may leave its mark on errno.
    std::tm tm{};
    if (dice.once_in(2))
        gmtime_r(&time, &tm);
    else
        mktime_z(nullptr, &tm);
    compare_questions(nullptr, utc, dice, report, counts);
    compare_utc(utc, time, report);
    compare_utc(utc, dice.any_magnitude(), report);
}
