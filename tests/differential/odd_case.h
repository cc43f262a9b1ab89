// SPDX-License-Identifier: GPL-2.0-or-later
//
// One odd zone: the files that there are, a TZ value, and the comparison of the
// engine with the plain model over it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/private_folder.h"
#include "differential/odd_dice.h"
#include "models/plain_zone.h"

struct odd_case {
    std::string tz;
    bool null_zone = false;                    ///< instead of the TZ value
    std::map<std::string, plain::bytes> files; ///< below the folder of zones
};

/// How it went, over all cases.
struct odd_counts {
    long long zones = 0;
    long long refused = 0;
    long long conversions = 0;
    long long searches = 0;
    long long differences = 0;
};

/// Says what differs, on standard output, with all that is needed to repeat it.
class odd_report {
  public:
    odd_report(const odd_case &asked, std::uint64_t seed, odd_counts &counts)
        : asked_(asked), seed_(seed), counts_(counts) {}

    void differs(const std::string &question, const std::string &engine, const std::string &model);

  private:
    const odd_case &asked_;
    std::uint64_t seed_;
    odd_counts &counts_;
    int said_ = 0;
};

/// Makes a case of random choices.
odd_case make_case(dice &dice);

/// Compares everything about the zone of a case.
void compare_case(const odd_case &asked, dice &dice, odd_report &report, odd_counts &counts);

/// The same for null zones.  Once in a process: UTC is loaded only once.
void compare_null_zone(dice &dice, odd_report &report, odd_counts &counts);
