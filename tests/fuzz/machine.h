// SPDX-License-Identifier: GPL-2.0-or-later
//
// The machine that the daemon's code would change, for fuzz targets: calls that
// reach the clock, the shell, the network, /etc or the database end here and are
// written down.  Nothing of it is real.
#pragma once

#include <string>
#include <vector>

#include <sys/time.h>

struct machine {
    std::vector<timeval> steps;        ///< settimeofday()
    std::vector<std::string> commands; ///< system()
    std::vector<std::string> links;    ///< what /etc/localtime was pointed at
    int tz_files = 0;                  ///< how often /etc/TZ was opened
    int changes_logged = 0;            ///< cli_log()
    int steps_stored = 0;              ///< db_olt_ntp_set_ntp_diff_time()
};

/// What happened since it was set to {} last.
extern machine the_machine;

/// Sends what the code prints nowhere: it would fill the disk.
void silence();
