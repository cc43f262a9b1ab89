// SPDX-License-Identifier: GPL-2.0-or-later
#include "commands.h"
#include "output.h"
#include "status_answer.h"
#include "step_table.h"
#include "vty_session.h"

namespace {

constexpr int no_such_command = 2; // the library's CMD_ERR_NO_MATCH

known_facts gather_facts(const arguments &given, vty_session &session) {
    known_facts facts = parse_configuration(session.run("show ntp json").text);
    facts.port = find_port_holder(session.daemon());
    try {
        const auto rows = read_steps(given.database, {.last = 1});
        if (!rows.empty())
            facts.last_step = rows.back();
    } catch (const failure &trouble) {
        facts.database_trouble = trouble.what();
    }
    return facts;
}

} // namespace

exit_status show_status(const arguments &given) {
    vty_session session(given.socket);
    const vty_reply answer = session.run("show ntp status json");
    if (answer.code == no_such_command) {
        const known_facts facts = gather_facts(given, session);
        print(given.json ? facts_as_json(facts) : facts_as_text(facts));
        return not_well; // for all that is known
    }
    const client_state state = parse_client_state(answer.text);
    print(given.json ? answer.text : session.run("show ntp status").text);
    return state.is_running && state.has_set_clock ? all_well : not_well;
}
