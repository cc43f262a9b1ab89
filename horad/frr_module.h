/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * What libfrr wants defined in C: the daemon's module record and memory type.
 */
#ifndef HORAD_FRR_MODULE_H
#define HORAD_FRR_MODULE_H

#include <zebra.h>

#include "memory.h"
#include "module.h"

#ifdef __cplusplus
extern "C" {
#endif

/* All heap memory of the daemon's own code is charged to this type, and a test holds
 * the program to it.  What libraries take for themselves is theirs. */
DECLARE_MTYPE(NTP_CLIENT);

/* The module record that the daemon description points at. */
extern struct frrmod_runtime *const horad_module;

#ifdef __cplusplus
}
#endif

#endif
