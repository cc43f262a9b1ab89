// SPDX-License-Identifier: GPL-2.0-or-later
//
// horadctl: talks to the daemon through its local socket, and reads what it recorded.
#include <cstdlib>
#include <exception>
#include <unistd.h>

#include "arguments.h"
#include "commands.h"
#include "failure.h"
#include "output.h"

#include "horad_build.h"

namespace {

constexpr char help[] =
    R"(usage: horadctl [--socket FILE] [WORD... | -c LINE...]
       horadctl [--socket FILE] status [--json]
       horadctl steps [--database FILE] [--last N] [--since TIME]
                      [--json | --csv] [--svg FILE]
       horadctl [--socket FILE] wait [--timeout SECONDS]

WORD...            run one command line of the time daemon: horadctl show ntp
-c LINE            the same; can be given several times
(neither)          run the lines of the standard input; on a terminal, a prompt

status             whether the clock is right, and what the client does
steps              by how much the clock was wrong, and how fast it runs
wait               until the clock was set since the machine was started

--socket FILE      the daemon's socket (/run/horad/horad.vty)
--database FILE    the steps (HORAD_CONFIG_DB, or /var/lib/horad/config.db)
--json, --csv      for programs
--last N           the latest N steps only
--since TIME       steps from then on: 2026-11-23 or 2026-11-23T08:00:00Z (UTC)
--svg FILE         draw a picture, too
--timeout SECONDS  wait no longer
--help, --version

Status 0: all is well; 1: it is not; 2: there is no daemon.  See horadctl(1).
)";

exit_status act(const arguments &given) {
    switch (given.what) {
    case action::help:
        print(help);
        return all_well;
    case action::version:
        print("horadctl version " HORAD_VERSION "\nrevision " HORAD_REVISION "\n");
        return all_well;
    case action::lines:
        return run_lines(given);
    case action::input:
        return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0 ? run_prompt(given)
                                                                       : run_input(given);
    case action::status:
        return show_status(given);
    case action::steps:
        return show_steps(given);
    case action::wait:
        return wait_for_clock(given);
    }
    return not_well;
}

} // namespace

int main(int argc, char **argv) {
    occupy_standard_descriptors();
    try {
        // There is one thread only.
        const char *database = std::getenv("HORAD_CONFIG_DB"); // NOLINT(concurrency-mt-unsafe)
        return act(parse_arguments(argc, argv, database));
    } catch (const failure &trouble) {
        complain(trouble.what());
        return trouble.status;
    } catch (const std::exception &trouble) {
        complain(trouble.what());
        return not_well;
    }
}
