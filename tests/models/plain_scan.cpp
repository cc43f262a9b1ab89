// SPDX-License-Identifier: GPL-2.0-or-later
#include "models/plain_scan.h"

#include "models/plain_zone.h"

namespace plain {
namespace {

/// Walks along a text.  A scan that fails says so and may stop anywhere.
class scanner {
  public:
    explicit scanner(const std::string &text) : text_(text) {}

    bool at_end() const { return position_ == text_.size(); }
    /// The next character, NUL at the end.
    char next() const { return at_end() ? '\0' : text_[position_]; }
    bool next_is(char c) const { return !at_end() && next() == c; }

    bool take(char c) {
        if (!next_is(c))
            return false;
        ++position_;
        return true;
    }

    bool name(std::string &name) {
        name.clear();
        if (take('<')) {
            while (!at_end() && next() != '>')
                name += text_[position_++];
            if (!take('>'))
                return false;
        } else {
            while (!at_end() && !digit() && next() != '+' && next() != ',' && next() != '-')
                name += text_[position_++];
        }
        return !name.empty();
    }

    bool number(int lowest, int highest, int &number) {
        if (!digit())
            return false;
        number = 0;
        while (digit()) {
            number = number * 10 + (text_[position_++] - '0');
            if (number > highest)
                return false;
        }
        return number >= lowest;
    }

    /// hh[:mm[:ss]] with an optional sign, as seconds.
    bool offset(std::int64_t &seconds) {
        const bool negative = take('-');
        if (!negative)
            take('+');
        int hours = 0;
        int minutes = 0;
        int rest = 0;
        if (!number(0, 167, hours))
            return false;
        if (take(':')) {
            if (!number(0, 59, minutes))
                return false;
            if (take(':') && !number(0, 60, rest))
                return false;
        }
        seconds = std::int64_t{hours} * 3600 + minutes * 60 + rest;
        if (negative)
            seconds = -seconds;
        return true;
    }

    bool rule(struct rule &rule) {
        rule = {};
        if (take('J')) {
            rule.kind = 'J';
            if (!number(1, 365, rule.day))
                return false;
        } else if (take('M')) {
            rule.kind = 'M';
            if (!number(1, 12, rule.month) || !take('.') || !number(1, 5, rule.week) ||
                !take('.') || !number(0, 6, rule.day))
                return false;
        } else if (!number(0, 365, rule.day)) {
            return false;
        }
        return !take('/') || offset(rule.time);
    }

    bool rules(tz_text &said) {
        return rule(said.start) && take(',') && rule(said.end) && at_end();
    }

  private:
    bool digit() const { return next() >= '0' && next() <= '9'; }

    const std::string &text_;
    std::size_t position_ = 0;
};

bool names_fit(const tz_text &said) {
    std::size_t needed = said.standard_name.size() + 1;
    if (!said.daylight_name.empty())
        needed += said.daylight_name.size() + 1;
    return needed <= most_name_characters;
}

} // namespace

std::optional<tz_text> scan_tz_string(const std::string &text, bool last_ditch) {
    tz_text said;
    scanner in(text);
    if (last_ditch) {
        if (!in.take('G') || !in.take('M') || !in.take('T'))
            return std::nullopt;
        said.standard_name = "GMT";
    } else if (!in.name(said.standard_name) || !in.offset(said.standard_offset)) {
        return std::nullopt;
    }
    if (!in.at_end()) {
        if (!in.name(said.daylight_name))
            return std::nullopt;
        said.daylight_offset = said.standard_offset - 3600;
        if (!in.at_end() && !in.next_is(',') && !in.next_is(';') &&
            !in.offset(said.daylight_offset))
            return std::nullopt;
    }
    if (!in.at_end()) {
        if ((!in.take(',') && !in.take(';')) || !in.rules(said))
            return std::nullopt;
        said.has_rules = true;
    }
    if (!names_fit(said))
        return std::nullopt;
    return said;
}

} // namespace plain
