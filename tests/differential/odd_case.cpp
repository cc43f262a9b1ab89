// SPDX-License-Identifier: GPL-2.0-or-later
#include "differential/odd_case.h"

#include <cstdio>

#include "differential/odd_files.h"
#include "differential/odd_strings.h"

namespace {

void print_hex(const plain::bytes &content) {
    for (const unsigned char byte : content)
        std::printf("%02x", byte);
    std::printf("\n");
}

/// Most of them are names of a file called "odd".
std::string odd_file_name(dice &dice) {
    static constexpr const char *names[] = {"odd",
                                            ":odd",
                                            "./odd",
                                            "../zoneinfo/odd",
                                            "sub/odd",
                                            "/usr/share/zoneinfo/odd",
                                            "AAA3BBB",
                                            ":AAA3BBB",
                                            "a..b",
                                            "sub/../odd",
                                            "/no/such/odd",
                                            "none",
                                            "sub",
                                            "..",
                                            "odd/",
                                            ":",
                                            ""};
    constexpr std::size_t longest = 84531;
    if (dice.once_in(50))
        return std::string(longest + (dice.once_in(2) ? 1 : 0), 'a');
    return dice.once_in(3) ? dice.pick(names) : "odd";
}

} // namespace

void odd_report::differs(const std::string &question, const std::string &engine,
                         const std::string &model) {
    ++counts_.differences;
    constexpr int enough = 10;
    if (++said_ > enough)
        return;
    if (said_ == 1) {
        std::printf("case --seed %llu --count 1\n  TZ %s\n", static_cast<unsigned long long>(seed_),
                    asked_.null_zone ? "(null)" : asked_.tz.c_str());
        for (const auto &[name, content] : asked_.files) {
            std::printf("  file %s ", name.c_str());
            print_hex(content);
        }
    }
    std::printf("  %s\n    engine %s\n    model  %s\n", question.c_str(), engine.c_str(),
                model.c_str());
    if (said_ == enough)
        std::printf("  (more of this case not shown)\n");
    std::fflush(stdout);
}

odd_case make_case(dice &dice) {
    odd_case made;
    if (dice.once_in(2))
        made.files["posixrules"] = odd_zone_file(dice);
    if (dice.once_in(12)) {
        made.null_zone = true;
        if (!dice.once_in(6))
            made.files["GMT"] = odd_zone_file(dice);
        return made;
    }
    if (dice.once_in(2)) {
        made.tz = odd_tz_string(dice);
        return made;
    }
    made.tz = odd_file_name(dice);
    std::string file = "odd";
    if (made.tz.find("AAA") != std::string::npos)
        file = "AAA3BBB";
    else if (made.tz == "sub/odd" || made.tz == "a..b")
        file = made.tz;
    made.files[file] = odd_zone_file(dice);
    return made;
}
