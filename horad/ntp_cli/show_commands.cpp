// SPDX-License-Identifier: GPL-2.0-or-later
//
// What an operator can look at.  Null names (after "no timezone") go to the
// library's formatter as they are, which renders them as "(null)".
#include "ntp_cli/ntp_cli.h"

#include <zebra.h>

// Before libfrr's json.h, which would otherwise pull them in with C linkage.
#include "command.h"
#include "printfrr.h"
#include <json-c/json.h>

#include "json.h"

#include "horad/timezone.h"
#include "ntp_state.h"

namespace {

void show_ntp_json(vty *vty) {
    json_object *json = json_object_new_object();
    {
        const ntp_guard lock;
        char continent_city[64];
        snprintfrr(continent_city, sizeof continent_city, "%s %s", g_ntp_var.continent_name,
                   g_ntp_var.city_name);
        json_object_boolean_add(json, "status", ntp_status != 0);
        json_object_string_add(json, "server", g_ntp_var.g_pri_ntp_server);
        json_object_string_add(json, "secondServer", g_ntp_var.g_sec_ntp_server);
        json_object_string_add(json, "continentCity", continent_city);
    }
    vty_out(vty, "%s%s", json_object_to_json_string_ext(json, JSON_C_TO_STRING_PRETTY), "\r\n");
    json_object_free(json);
}

int ntp_show_fun(const cmd_element *, vty *vty, int argc, cmd_token *argv[]) {
    if (use_json(argc, argv)) {
        show_ntp_json(vty);
    } else if (ntp_status != 0) {
        const ntp_guard lock;
        vty_out(vty, "NTP server is %s, %s.\r\n", g_ntp_var.g_pri_ntp_server,
                g_ntp_var.g_sec_ntp_server);
        vty_out(vty, "Time Zone is %s-%s.\r\n", g_ntp_var.continent_name, g_ntp_var.city_name);
    } else {
        vty_out(vty, "NTP protcol is disable!\r\n");
    }
    return CMD_SUCCESS;
}

int show_system_timezone_fun(const cmd_element *, vty *vty, int, cmd_token *[]) {
    show_system_timezone(vty);
    return CMD_SUCCESS;
}

int show_ntp_global_var_fun(const cmd_element *, vty *vty, int, cmd_token *[]) {
    vty_out(vty,
            "city_name:%s\r\ncontinent_name:%s\r\ntime_zone:%s\r\ntime_zone_name:%s\r\n"
            "zoneinfo_path:%s\r\ng_ntp_debug:%d\r\ng_ntp_en:%d\r\ng_pri_ntp_server:%s\r\n"
            "g_sec_ntp_server:%s\r\nis_using_dst:%d\r\n",
            g_ntp_var.city_name, g_ntp_var.continent_name, g_ntp_var.time_zone,
            g_ntp_var.time_zone_name, g_ntp_var.zoneinfo_path,
            static_cast<std::int32_t>(g_ntp_var.g_ntp_debug),
            static_cast<std::int32_t>(g_ntp_var.g_ntp_en), g_ntp_var.g_pri_ntp_server,
            g_ntp_var.g_sec_ntp_server, static_cast<std::int32_t>(g_ntp_var.is_using_dst));
    return CMD_SUCCESS;
}

} // namespace

constinit const cmd_element ntp_show_cmd = {
    .string = "show ntp [json]",
    .doc = "Show running system information\n"
           "Show NTP information.\n"
           "JavaScript Object Notation\n",
    .func = ntp_show_fun,
    .name = "ntp_show_cmd",
};

constinit const cmd_element show_system_timezone_cmd = {
    .string = "show timezone",
    .doc = "Show running system information.\n"
           "Show the current time zone\n",
    .func = show_system_timezone_fun,
    .name = "show_system_timezone_cmd",
};

constinit const cmd_element show_ntp_global_var_cmd = {
    .string = "show ntp_global_var",
    .doc = "Show running system information.\n"
           "ntp_global_var\n",
    .func = show_ntp_global_var_fun,
    .name = "show_ntp_global_var_cmd",
};
