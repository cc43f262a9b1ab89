/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * A preloaded library that keeps the daemon under test away from the machine's
 * clock, makes its waits short, lets calls fail on request and writes down what
 * the daemon did, in order.
 *
 * It works inside the folder named by HORAD_SHIM; in a process that lacks the
 * variable time passes as it does, but no clock can be set and no command run:
 *
 *   control  settings, one "key value" a line; read anew at every call that has
 *            one, so that a test can change its mind (replace it by rename)
 *   events   appended by us, one JSON object a line
 *   call     a call to be made, by a test; "answer" is what came of it (calls.c)
 *
 * Settings read once, at start:
 *   clock_offset SECONDS   the daemon's clock starts this far off the machine's
 *   clock_frozen SECONDS   it starts at this Unix time and only steps move it
 *   monotonic_rate FACTOR  the clock of the event loop's timers is so many times as fast;
 *                          what waits for them is not
 *   scale FACTOR           a select() or sleep of 30 s takes 30 x FACTOR seconds
 *   unbuffered 1           standard output is not buffered
 *   calls 1                the event loop makes the calls that tests ask for
 * Settings that can change:
 *   CALL_errno E [N [S]]   CALL fails with errno E, for ever or N times (after S
 *                          times that work, or after an event of the name S); for
 *                          settimeofday, adjtimex, system, setenv of TZ, sleep,
 *                          seteuid and qmalloc of the program; socket, bind,
 *                          sendto, recvfrom, select, gettimeofday and
 *                          gethostbyname of the client (there E is h_errno);
 *                          socketpair, pipe_send and pipe_read of the signal pipe;
 *                          open, access, read, write, pread, pwrite, fsync, close,
 *                          unlink and symlink of watched files; and pthread_create
 *                          (there E is the result).  With -1 for E a write takes half
 *                          of its bytes, and a look-up finds an address of 16 bytes
 *   faults 1               each such failure is an event, "fault"
 *   kill_before CALL [N]   the process is killed before its Nth CALL of those above
 *   kill_after EVENT [N]   the same after the Nth event of that name
 *   skip N                 the next N waits of more than 200 s are over at once,
 *                          the one under way included
 *   serial N               every N above counts anew when it changes
 *   watch PREFIX           files to watch, beside /etc/TZ, /etc/localtime and
 *                          /tmp/dstconfig: those whose paths begin so
 *   adjtimex_freq F        the kernel frequency that adjtimex() shows
 *   system_result R        what system() returns; no command is run
 *   profile_commands 1     but those that mention /etc/profile are, in the lab's
 *                          own, and system() returns what the shell does
 *   system_sleep SECONDS   how long it takes, in real seconds
 *   lookup_sleep SECONDS   the same for a name look-up of the client thread
 */
#ifndef CLOCK_SHIM_H
#define CLOCK_SHIM_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

/* The definition behind ours, as the dynamic linker finds it. */
#define REAL(name) ((__typeof__(&name))shim_real(#name))
void *shim_real(const char *name);

/* No error, but a result that is not what was asked for. */
enum { FAILS_IN_PART = -1 };

/* Whether HORAD_SHIM is set. */
bool shim_active(void);

/* control.c: copies a setting's text, false when there is none; a setting's
 * number, or `fallback`; takes one off a counted setting, if one is left; whether
 * a call is to fail now (errno is then set). */
bool control_text(const char *key, char *value, size_t size);
double control_number(const char *key, double fallback);
bool control_uses_up(const char *key);
bool control_fails(const char *call);
/* Told of every event. */
void control_passed(const char *name);
/* The path of a file in the folder; its zero-terminated content and length, -1
 * when there is no such file. */
void shim_path(char *path, size_t size, const char *name);
ssize_t shim_read(const char *name, char *text, size_t size);

/* events.c: appends one event; `format` gives the members after the first three,
 * beginning with a comma, or is empty. */
__attribute__((format(printf, 2, 3))) void event(const char *name, const char *format, ...);
/* How many events the calling thread has appended. */
unsigned long events_of_thread(void);
/* Renders bytes as hex; a text as a JSON string's inside.  Both return `out`. */
const char *hex(char *out, size_t size, const void *bytes, size_t length);
const char *escaped(char *out, size_t size, const char *text);
bool on_client_thread(void);
/* sockets.c: whether a descriptor is an end of the pipe to the client. */
bool is_signal_pipe(int fd);

/* waits.c: seconds that the daemon believes to have waited in select(), in
 * microseconds; real time and real sleeping. */
int64_t waited_us(void);
int64_t real_monotonic_us(void);
void real_sleep(double seconds);

#endif
