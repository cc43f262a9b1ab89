// SPDX-License-Identifier: GPL-2.0-or-later
#include "differential/odd_strings.h"

namespace {

/// Strings with changes at a year's ends, with daylight-saving time all year, in
/// the south, around 29 February, or with every rule kind.
constexpr const char *chosen[] = {
    "AAA3BBB2,0/0,J365/25",
    "EST5EDT,0/0,J365/25",
    "EST5EDT,0/0,J365/24",
    "AAA3BBB2,0/0,365/24",
    "AAA3BBB2,J1/0,J365/23",
    "AAA3BBB3,0/0,J365/24",
    "AAA3BBB4,0/0,J365/23",
    "EST5EDT",
    "AAA0BBB",
    "AAA3BBB2",
    "AAA3",
    "X0",
    "<+03>-3",
    "AAA3BBB,M3.5.0/-1,M10.5.0/25",
    "AAA3BBB2,J60/0,J59/0",
    "AAA3BBB2,59/0,J60/0",
    "AAA3BBB2,M2.5.1/0,J60/0",
    "AAA3BBB,M12.5.0/167,M1.1.0/-167",
    "AAA3BBB,M1.1.0/-167,M12.5.0/167",
    "AAA-12BBB-13,M10.1.0,M3.3.0",
    "AAA167:59:60BBB-167:59:60,M3.2.0,M11.1.0",
    "AAA-167:59:60BBB167:59:60,J1/-167:59:60,J365/167:59:60",
    "AAA5AAA4,M3.2.0,M11.1.0",
    "AAA5BBB5,M3.2.0,M11.1.0",
};

std::string letters(dice &dice, int length) {
    std::string text;
    for (int i = 0; i < length; ++i)
        text += static_cast<char>('A' + dice.small(0, 25));
    return text;
}

std::string name(dice &dice) {
    static constexpr const char *usual[] = {"AAA", "BBB",   "STD",  "DST",  "CCCBBB",
                                            "A",   "<+03>", "<-1>", "EST*", "B/B"};
    switch (dice.small(0, 11)) {
    case 0:
        return letters(dice, dice.small(1, 20));
    case 1:
        return "<" + letters(dice, dice.small(1, 50)) + ">";
    case 2:
        return dice.once_in(4) ? letters(dice, dice.small(200, 300)) : letters(dice, 47);
    default:
        return dice.pick(usual);
    }
}

std::string seconds_as_time(dice &dice, std::int64_t seconds) {
    std::string text = seconds < 0 ? "-" : dice.once_in(8) ? "+" : "";
    const std::int64_t value = seconds < 0 ? -seconds : seconds;
    text += std::to_string(value / 3600);
    if (value % 3600 != 0 || dice.once_in(8))
        text += ":" + std::to_string(value / 60 % 60);
    if (value % 60 != 0)
        text += ":" + std::to_string(value % 60);
    return text;
}

std::string offset(dice &dice) {
    switch (dice.small(0, 7)) {
    case 0:
        return dice.once_in(2) ? "167:59:60" : "-167:59:60";
    case 1:
        return seconds_as_time(dice, dice.between(-604799, 604799));
    case 2:
        return seconds_as_time(dice, dice.between(-86400, 86400));
    case 3:
        return seconds_as_time(dice, dice.between(-24, 24) * 1800);
    default:
        return seconds_as_time(dice, dice.between(-12, 14) * 3600);
    }
}

std::string rule(dice &dice) {
    std::string text;
    switch (dice.small(0, 3)) {
    case 0:
        text = "J" + std::to_string(dice.once_in(3) ? dice.pick((const int[]){1, 59, 60, 365})
                                                    : dice.small(1, 365));
        break;
    case 1:
        text = std::to_string(dice.once_in(3) ? dice.pick((const int[]){0, 58, 59, 364, 365})
                                              : dice.small(0, 365));
        break;
    default:
        text = "M" + std::to_string(dice.small(1, 12)) + "." + std::to_string(dice.small(1, 5)) +
               "." + std::to_string(dice.small(0, 6));
    }
    if (dice.once_in(3))
        return text;
    return text + "/" + offset(dice);
}

std::string made(dice &dice) {
    std::string text = name(dice) + offset(dice);
    if (dice.once_in(8))
        return text;
    text += name(dice);
    if (!dice.once_in(3))
        text += offset(dice);
    if (dice.once_in(3))
        return text;
    text += dice.once_in(8) ? ";" : ",";
    return text + rule(dice) + "," + rule(dice);
}

std::string damaged(dice &dice, std::string text) {
    static constexpr char odd[] = "<>,;:/.+-JM0169A";
    const std::size_t at = dice.index(text.size());
    switch (dice.small(0, 2)) {
    case 0:
        text[at] = odd[dice.index(sizeof odd - 1)];
        break;
    case 1:
        text.erase(at, 1);
        break;
    default:
        text.insert(at, 1, odd[dice.index(sizeof odd - 1)]);
    }
    return text;
}

} // namespace

std::string odd_tz_string(dice &dice) {
    std::string text = dice.once_in(3) ? dice.pick(chosen) : made(dice);
    if (dice.once_in(12))
        text = damaged(dice, text);
    return text;
}
