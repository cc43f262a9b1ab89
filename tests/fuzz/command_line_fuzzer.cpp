// SPDX-License-Identifier: GPL-2.0-or-later
//
// Any text as a configuration file and as an operator's lines, through the real
// command table; and what is then written as configuration reads back.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <zebra.h>

#include "command.h"
#include "vty.h"

#include "client/signal_pipe.h"
#include "common/kept_session.h"
#include "fuzz/checks.h"
#include "fuzz/machine.h"
#include "horad/frr_compat.h"
#include "ntp_cli/ntp_cli.h"
#include "ntp_state.h"

namespace {

bool prepare() {
    silence();
    event_loop *const master = event_master_create(nullptr);
    cmd_init(0); // without commands that write files
    vty_init(master, false);
    ntp_cli_init();
    open_signal_pipe();
    return ntp_signal_pipe[0] >= 0;
}

void reset_state() {
    char signals[4096];
    while (recv(ntp_signal_pipe[0], signals, sizeof signals, MSG_DONTWAIT) > 0)
        ;
    ntp_thread_state = 1; // "ntp enable" only signals it
    ntp_status = 0;
    g_ntp_var.g_ntp_en = 0;
    g_ntp_var.g_ntp_debug = 0;
    const ntp_var initial;
    g_ntp_var.continent_name = initial.continent_name;
    g_ntp_var.city_name = initial.city_name;
    g_ntp_var.time_zone = initial.time_zone;
    store_server(g_ntp_var.g_pri_ntp_server, server_not_set);
    store_server(g_ntp_var.g_sec_ntp_server, server_not_set);
    the_machine = {};
}

struct vty_free {
    void operator()(vty *session) const { vty_close(session); }
};
using owned_vty = std::unique_ptr<vty, vty_free>;

owned_vty new_session() {
    owned_vty session(vty_new());
    session->type = vty::VTY_FILE;
    session->wfd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    session->node = CONFIG_NODE;
    return session;
}

void read_configuration(const std::string &text) {
    const owned_vty session = new_session();
    std::FILE *const file = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    if (!file)
        return;
    unsigned line = 0;
    config_from_file(session.get(), file, &line);
    std::fclose(file);
}

void help(vty *session, const std::string &line) {
    vector words = cmd_make_strvec(line.c_str());
    if (!words)
        return;
    int status = 0;
    if (vector described = cmd_describe_command(words, session, &status))
        vector_free(described);
    cmd_free_strvec(words);
}

void type_in(const std::string &text) {
    const owned_vty session = new_session();
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::string typed = line.substr(0, 1000).c_str();
        help(session.get(), typed);
        cmd_execute(session.get(), typed.c_str(), nullptr, 0);
    }
}

std::string written_configuration() {
    const kept_session session;
    ntp_config_write(session.get());
    return session.text();
}

void check_state() {
    for (const auto &server : {g_ntp_var.g_pri_ntp_server, g_ntp_var.g_sec_ntp_server})
        require(std::memchr(server, '\0', server_name_size) != nullptr, "a name without its end");
    require(ntp_status == 0 || ntp_status == 1, "ntp_status");
    require(ntp_status == g_ntp_var.g_ntp_en, "ntp_status and g_ntp_en");
    require(the_machine.commands.empty() && the_machine.steps.empty(), "a command reached a shell");
    require((g_ntp_var.continent_name == nullptr) == (g_ntp_var.city_name == nullptr),
            "half of a zone");
}

void check_written() {
    const std::string written = written_configuration();
    if (ntp_status != 1) {
        require(written.empty(), "configuration of a disabled client");
        return;
    }
    const std::string primary = g_ntp_var.g_pri_ntp_server;
    const std::string secondary = g_ntp_var.g_sec_ntp_server;
    const char *const city = g_ntp_var.city_name;
    reset_state();
    read_configuration(written);
    if (secondary == server_not_set)
        return; // such a line is refused when it is read back
    require(ntp_status == 1 && primary == g_ntp_var.g_pri_ntp_server, "the primary read back");
    require(secondary.empty() || secondary == g_ntp_var.g_sec_ntp_server,
            "the secondary read back");
    require(city == nullptr || std::strcmp(city, g_ntp_var.city_name) == 0, "the zone read back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const bool ready = prepare();
    if (!ready || size == 0)
        return 0;
    const std::string text(reinterpret_cast<const char *>(data), size);
    for (auto *const use : {read_configuration, type_in}) {
        reset_state();
        use(text);
        check_state();
        check_written();
    }
    return 0;
}
