// SPDX-License-Identifier: GPL-2.0-or-later
#include "differential/odd_questions.h"

#include <climits>

#include "differential/run.h"
#include "models/plain_convert.h"

namespace {

class time_list {
  public:
    void add(plain::wide time) {
        if (plain::fits(time))
            times_.push_back(static_cast<std::int64_t>(time));
    }
    void around(plain::wide time) {
        for (int step = -1; step <= 1; ++step)
            add(time + step);
    }
    std::vector<std::int64_t> take() { return std::move(times_); }

  private:
    std::vector<std::int64_t> times_;
};

/// The first and the last ones and some between.
std::vector<std::int64_t> some_transitions(dice &dice, const plain::zone &zone) {
    std::vector<std::int64_t> some;
    const auto &all = zone.transitions;
    if (all.empty())
        return some;
    for (const std::size_t i : {std::size_t{0}, std::size_t{1}, std::size_t{2}, all.size() - 1,
                                all.size() - 2, all.size() / 2}) {
        if (i < all.size())
            some.push_back(all[i].time);
    }
    for (int i = 0; i < 5; ++i)
        some.push_back(all[dice.index(all.size())].time);
    return some;
}

void disarrange(dice &dice, std::tm &tm) {
    int *const fields[] = {&tm.tm_sec,  &tm.tm_min, &tm.tm_hour,
                           &tm.tm_mday, &tm.tm_mon, &tm.tm_year};
    int &field = *fields[dice.index(std::size(fields))];
    switch (dice.small(0, 5)) {
    case 0: {
        // The same moment, said otherwise.
        const int hours = dice.small(-100, 100);
        tm.tm_hour += hours;
        if (__builtin_sub_overflow(tm.tm_min, hours * 60, &tm.tm_min))
            tm.tm_min = 0;
        break;
    }
    case 1:
        tm.tm_sec = dice.pick((const int[]){-1, 60, 61, 59, 3600, -3600, 86399});
        break;
    case 2:
        if (dice.once_in(10))
            field = dice.pick((const int[]){INT_MIN, INT_MAX, INT_MIN + 59, INT_MAX - 59});
        break;
    case 3:
        field = static_cast<int>(dice.any_magnitude() >> 32);
        // Years of days are walked one by one.
        if (tm.tm_mday > 40000000 || tm.tm_mday < -40000000)
            tm.tm_mday /= 64;
        break;
    default:
        if (__builtin_add_overflow(field, dice.small(-100, 100), &field))
            field = 0;
    }
}

long odd_hint(dice &dice, const plain::zone &zone, const std::tm &tm) {
    switch (dice.small(0, 5)) {
    case 0:
        return 0;
    case 1:
        return tm.tm_gmtoff;
    case 2:
        return tm.tm_gmtoff + dice.pick((const long[]){3600, -3600, 1800, -1800, 1});
    case 3:
        return dice.pick((const long[]){86400, 86401, -86400, -86401, LONG_MAX, LONG_MIN});
    default:
        return zone.types[dice.index(zone.types.size())].offset;
    }
}

} // namespace

std::vector<std::int64_t> odd_instants(dice &dice, const plain::zone &zone) {
    time_list times;
    for (const std::int64_t time : some_transitions(dice, zone)) {
        times.around(time);
        times.add(plain::wide{time} + dice.between(-100000, 100000));
        const plain::wide cycles = plain::wide{dice.between(-3, 3)} * plain::cycle;
        times.around(time + cycles);
        if (dice.once_in(3))
            times.around(time + cycles * dice.between(0, 300000000));
    }
    for (int i = 0; i < 3 && !zone.leaps.empty(); ++i)
        times.around(zone.leaps[dice.index(zone.leaps.size())].time);
    times.add(plain::earliest);
    times.add(plain::latest);
    for (int i = 0; i < 3; ++i) {
        const std::int64_t end = dice.once_in(2) ? first_second : last_second;
        times.around(plain::wide{end} - zone.types[dice.index(zone.types.size())].offset);
        times.add(plain::wide{end} + dice.between(-700000, 700000));
        times.add(dice.any_magnitude());
        times.add(dice.between(-8000000000, 16000000000));
    }
    return times.take();
}

std::vector<std::tm> odd_readings(dice &dice, const plain::zone &zone,
                                  const std::vector<std::int64_t> &times, int count) {
    plain::zone elsewhere;
    elsewhere.types.push_back({});
    std::vector<std::tm> readings;
    for (int i = 0; i < count; ++i) {
        std::tm tm{};
        const std::int64_t time = dice.pick(times);
        bool found = false;
        if (dice.once_in(2)) {
            found = plain::to_local(zone, time, tm) == plain::answer::converted;
        } else {
            // As another of its types would have it, or what no type has.
            elsewhere.types[0].offset = zone.types[dice.index(zone.types.size())].offset;
            if (dice.once_in(4))
                elsewhere.types[0].offset += dice.pick((const int[]){1800, -1800, 3600, -3600, 1});
            found = plain::to_local(elsewhere, time, tm) == plain::answer::converted;
        }
        if (!found)
            continue;
        tm.tm_isdst = dice.once_in(3) ? tm.tm_isdst : dice.pick((const int[]){-1, 0, 1, 2, -5});
        tm.tm_gmtoff = odd_hint(dice, zone, tm);
        if (dice.once_in(3))
            disarrange(dice, tm);
        readings.push_back(tm);
    }
    return readings;
}
