// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any text as an offset or a TZ text: what reaches the system is harmless, and
// what is refused reaches nothing.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/checks.h"
#include "fuzz/machine.h"
#include "horad/timezone.h"

namespace {

constexpr char harmless[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-:,._";

void check_exported(const std::string &tz) {
    require(tz.size() <= 59 && tz.find_first_not_of(harmless) == std::string::npos,
            "a text that may do harm was exported");
    require(the_machine.commands[0] ==
                "[ ! -z \"$(cat /etc/profile | grep -w TZ)\" ] && sed -i 's/^.*export TZ=.*/export "
                "TZ=" +
                    tz + "/g' /etc/profile || echo \"export TZ=" + tz + "\" >> /etc/profile",
            "another command was run");
    require(the_machine.commands[1] == "source /etc/profile", "another second command was run");
    require(the_machine.tz_files == 1, "no /etc/TZ");
}

void check_old_format(const std::string &text, int result, const std::string &tz) {
    const sys_timezone_info record = get_system_timezone();
    require(result == 0 || result == -1, "result of the old format");
    if (result != 0)
        return;
    // What follows a first "-" is only read after the range was checked.
    const bool is_number = text[0] != '-' || (text[1] >= '0' && text[1] <= '9');
    require(!is_number || (record.hour >= -12 && record.hour <= 12 && record.minute >= 0 &&
                           record.minute <= 59),
            "old format out of range");
    require(text.size() <= 6, "a long text in the old format");
    const std::string sign = record.east ? "UTC-" : "UTC+";
    require(tz == sign + std::to_string(record.hour) + ":" + std::to_string(record.minute),
            "record and text of the old format");
}

void check_new_format(const std::string &text, int result, const std::string &tz) {
    require(result == 0 || result == -2, "result of the new format");
    if (result != 0 || the_machine.commands.empty())
        return;
    const sys_timezone_info record = get_system_timezone();
    require(text.size() >= 5 && text.size() <= 7 && record.hour <= 12 && record.minute <= 60,
            "new format out of range");
    const std::string sign = text[0] == '+' ? "UTC-" : "UTC+";
    require(tz == sign + text.substr(1, 2) + ":" + text.substr(3, 2) &&
                record.east == (text[0] == '+'),
            "record and text of the new format");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const bool silent = (silence(), true);
    if (!silent || size == 0)
        return 0;
    const std::string given(reinterpret_cast<const char *>(data + 1), size - 1);
    const std::string text = given.c_str(); // up to its first zero
    the_machine = {};
    setenv("TZ", "UTC0", 1);

    enum { sync, old_format, new_format };
    const int form = data[0] % 3;
    int result = 0;
    if (form == sync)
        result = sync_sys_timezone(text.c_str());
    else if (form == old_format)
        result = set_system_timezone(text.c_str());
    else
        result = set_system_timezone_new(text.c_str());

    const std::string tz = getenv("TZ");
    if (the_machine.commands.empty())
        require(tz == "UTC0" && the_machine.tz_files == 0, "half-set");
    else
        check_exported(tz);
    if (form == sync)
        require(result == (the_machine.commands.empty() ? -2 : 0), "result of the export");
    else if (form == old_format)
        check_old_format(text, result, tz);
    else
        check_new_format(text, result, tz);
    return 0;
}
