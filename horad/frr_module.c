/* SPDX-License-Identifier: GPL-2.0-or-later */
/*
 * The three libfrr macros that only compile as C (they depend on designators
 * out of order), and nothing else.
 */
#include <zebra.h>

#include "frr_module.h"
#include "version.h"

FRR_COREMOD_SETUP(.name = "horad", .version = FRR_VERSION, .description = "horad daemon", );

struct frrmod_runtime *const horad_module = THIS_MODULE;

DEFINE_MGROUP(NTP_MEM, "NTP deamon's memory");
DEFINE_MTYPE(NTP_MEM, NTP_CLIENT, "NTP client");
