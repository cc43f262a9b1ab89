/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * One name for what libfrr's releases call differently: the newest one's, so that code
 * reads as written for that.  Include it instead of frrevent.h or thread.h, after
 * <zebra.h>.
 *
 *   8.0 to 8.5     thread.h, struct thread_master, struct thread
 *   9.0 to 10.x    frrevent.h, struct event_loop, struct event
 */
#ifndef HORAD_FRR_COMPAT_H
#define HORAD_FRR_COMPAT_H

#if __has_include("frrevent.h")
#include "frrevent.h"
#else
#include "thread.h"
/* By macro: in C a structure's tag has no alias. */
#define event_loop thread_master
#define event_master_create thread_master_create
#define event thread
#define event_add_read thread_add_read
#define event_add_timer thread_add_timer
#endif

/* What a handler of an event returns: a number in the first releases of 8, nothing since.
 * The library looks at it in none. */
#ifndef __cplusplus
typedef __typeof__(((struct event *)0)->func((struct event *)0)) event_result;
#define EVENT_DONE return (event_result)0
#endif

#endif
