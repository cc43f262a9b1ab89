// SPDX-License-Identifier: GPL-2.0-or-later
//
// The daemon's frame: its description for libfrr, its signals, its start-up.
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <type_traits>

#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <zebra.h>

#include "getopt.h"
#include "libfrr.h"
#include "log.h"
#include "privs.h"
#include "sigevent.h"

#include "client/signal_pipe.h"
#include "database.h"
#include "frr_module.h"
#include "horad/frr_compat.h"
#include "ntp_cli/config_check.h"
#include "ntp_cli/ntp_cli.h"
#include "ntp_state.h"

namespace {

event_loop *master;

void sighup() { zlog_info("SIGHUP received"); }

void sigusr1() { zlog_rotate(); }

/// Ends the daemon, whatever the client thread is doing: a committed step is on disk
/// already, and there is nothing else to lose.
void sigint() {
    zlog_notice("Terminating on signal");
    std::exit(0); // NOLINT(concurrency-mt-unsafe)
}

// The library's signal record has another name in older releases.
using frr_signal = std::remove_pointer_t<decltype(frr_daemon_info::signals)>;

frr_signal horad_signals[] = {
    {SIGHUP, sighup, 0},
    {SIGUSR1, sigusr1, 0},
    {SIGINT, sigint, 0},
    {SIGTERM, sigint, 0},
};

zebra_capabilities_t horad_capabilities[] = {ZCAP_NET_RAW, ZCAP_BIND, ZCAP_SYS_ADMIN};

/// No user or group: the daemon stays who it was started as.
zebra_privs_t horad_privs = {
    .caps_p = horad_capabilities,
    .cap_num_p = std::size(horad_capabilities),
};

frr_daemon_info horad_description = {
    .name = "horad",
    .logname = "HORAD",
    .module = horad_module,
    .vty_port = 2705,
    .proghelp = "Implementation of the NTP protocol.",
    .signals = horad_signals,
    .n_signals = std::size(horad_signals),
    .privs = &horad_privs,
};

/// Tells the reason on standard error if that takes it at once: a signal's handler cannot
/// write a log.
void end_now(int /*signal*/) {
    constexpr std::string_view reason = "horad: ended 3 seconds after the signal "
                                        "without waiting for a command or for standard output\n";
    pollfd standard_error = {.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
    poll(&standard_error, 1, 0);
    [[maybe_unused]] ssize_t ignored;
    if ((standard_error.revents & POLLOUT) != 0)
        ignored = write(STDERR_FILENO, reason.data(), reason.size());
    _exit(0);
}

struct sigaction librarys_handler;

/// The first one counts: who sends it again and again does not put the end off.
void note_end_signal(int signal) {
    constexpr unsigned seconds_to_end = 3;
    static volatile std::sig_atomic_t noted = 0;
    if (noted == 0)
        alarm(seconds_to_end);
    noted = 1;
    librarys_handler.sa_handler(signal);
}

/// The event loop calls sigint() when it next gets round to it, and exit() writes out what
/// was printed.  Where a command prints into a full pipe, or waits for the client to look a
/// name up, neither may ever happen: the daemon ends all the same, some seconds later.
void limit_time_to_end() {
    std::signal(SIGALRM, end_now);
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaction(signal, nullptr, &librarys_handler);
        struct sigaction noted = librarys_handler;
        noted.sa_handler = note_end_signal;
        sigaction(signal, &noted, nullptr);
    }
}

/// The daemon has no options of its own, but the library's are only read by
/// asking for them.
void read_options(int argc, char **argv) {
    static const option no_options[] = {{}};
    frr_opt_add("", no_options, "");
    for (int opt = 0; opt != EOF; opt = frr_getopt(argc, argv, nullptr))
        if (opt != 0)
            frr_help_exit(1);
}

void ntp_init() {
    store_server(g_ntp_var.g_pri_ntp_server, server_not_set);
    store_server(g_ntp_var.g_sec_ntp_server, server_not_set);
    open_signal_pipe();
    pthread_mutex_init(&ntp_mutex, nullptr);
    ntp_cli_init();
}

/// Gives back the stack that the library's start-up has touched, and nobody touches again:
/// a tenth of the memory that is the daemon's own.
void release_startup_stack() noexcept {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    // Well below what is in use; not all of it need be there.
    constexpr std::uintptr_t kept = 64 << 10;
    constexpr std::uintptr_t given_back = 512 << 10;
    auto *const here = static_cast<char *>(__builtin_frame_address(0));
    char *const end = here - kept - reinterpret_cast<std::uintptr_t>(here) % page;
    madvise(end - given_back, given_back, MADV_DONTNEED);
}

/// Started without one of the standard streams, the daemon must not let a file of its own
/// take that place: what is printed would go there, and a daemon in the background, which
/// replaces the streams, would lose it.
void fill_in_standard_streams() noexcept {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", O_RDWR); // gets the lowest number that is free
}

} // namespace

int main(int argc, char **argv) {
    fill_in_standard_streams();
    // The client thread allocates once a week: it needs no heap of its own.
    mallopt(M_ARENA_MAX, 1); // NOLINT(concurrency-mt-unsafe): there is one thread yet
    // Messages reach a log file or a pipe line by line, as they happen.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    frr_preinit(&horad_description, argc, argv);
    read_options(argc, argv);
    master = frr_init();
    if (horad_description.dryrun) {
        ntp_cli_init();
        const bool is_good =
            check_configuration(horad_description.config_file, config_default, check_for::report);
        return is_good ? 0 : 1;
    }
    limit_time_to_end();
    ntp_init();
    ntp_database_init(&g_horad_db);
    // From here on as root, before the configuration is read.  Started as
    // somebody else, the daemon goes on with what that user may do.
    [[maybe_unused]] const int ignored = seteuid(0);
    // While there is still a standard error: a daemon in the background has none.
    check_configuration(horad_description.config_file, config_default, check_for::start);
    frr_config_fork();
    release_startup_stack();
    frr_run(master);
    return 0;
}
