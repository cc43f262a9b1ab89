// SPDX-License-Identifier: GPL-2.0-or-later
#include "status_answer.h"

#include "failure.h"
#include "json_value.h"
#include "utc_time.h"

namespace {

constexpr char no_module[] = "the module horad_status is not loaded";

json parse_object(const std::string &answer, const char *command) {
    json object(json_tokener_parse(answer.c_str()));
    if (!json_object_is_type(object.get(), json_type_object))
        throw failure(std::string("the daemon's answer to \"") + command +
                      "\" is not understood: are daemon and horadctl of one version?");
    return object;
}

std::string text_of(const json &object, const char *name) {
    json_object *value = json_object_object_get(object.get(), name);
    return value != nullptr ? json_object_get_string(value) : "";
}

} // namespace

client_state parse_client_state(const std::string &answer) {
    const json object = parse_object(answer, "show ntp status json");
    const std::string state = text_of(object, "state");
    return {.is_running = !state.empty() && state != "off" && state != "dead",
            .has_set_clock = json_object_is_type(json_object_object_get(object.get(), "lastAnswer"),
                                                 json_type_object) != 0};
}

known_facts parse_configuration(const std::string &answer) {
    const json object = parse_object(answer, "show ntp json");
    known_facts facts;
    facts.enabled = json_object_get_boolean(json_object_object_get(object.get(), "status")) != 0;
    facts.server = text_of(object, "server");
    facts.second_server = text_of(object, "secondServer");
    return facts;
}

std::string facts_as_text(const known_facts &facts) {
    std::string text =
        std::string("State          unknown: ") + no_module + " (option -M horad_status)\n";
    text += std::string("NTP            ") + (facts.enabled ? "on" : "off") + "\n";
    text += "Servers        " + facts.server + ", " + facts.second_server + "\n";
    text += std::string("UDP port 123   held by ") + name_of(facts.port) + "\n";
    text += "Last step      ";
    if (facts.last_step)
        text += format_utc(facts.last_step->time) + ", by " +
                std::to_string(facts.last_step->seconds) + " s";
    else
        text += facts.database_trouble.empty() ? "none" : "unknown: " + facts.database_trouble;
    return text + "\n";
}

std::string facts_as_json(const known_facts &facts) {
    const json object(json_object_new_object());
    const auto add = [&](const char *name, json_object *value) {
        json_object_object_add(object.get(), name, value);
    };
    const auto add_text = [&](const char *name, const std::string &text) {
        add(name, json_object_new_string(text.c_str()));
    };
    add_text("state", "unknown");
    add_text("reason", no_module);
    add("enabled", json_object_new_boolean(facts.enabled));
    json_object *servers = json_object_new_array();
    for (const std::string &name : {facts.server, facts.second_server})
        json_object_array_add(servers, json_object_new_string(name.c_str()));
    add("servers", servers);
    add_text("portHolder", name_of(facts.port));
    json_object *last = nullptr;
    if (facts.last_step) {
        last = json_object_new_object();
        json_object_object_add(last, "time", json_time(facts.last_step->time));
        json_object_object_add(last, "seconds", json_object_new_int64(facts.last_step->seconds));
    }
    add("lastStep", last);
    if (facts.database_trouble.empty())
        add("databaseTrouble", nullptr);
    else
        add_text("databaseTrouble", facts.database_trouble);
    return to_text(object);
}
