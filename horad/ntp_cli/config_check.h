// SPDX-License-Identifier: GPL-2.0-or-later
//
// Tells what is wrong in a configuration before it is read.  libfrr writes that to its
// log only, which need not go anywhere.
#pragma once

/// What a configuration is checked for.
enum class check_for {
    report, ///< for its operator, who does not start the daemon with it
    start,  ///< for the start that follows
};

/// Goes through the configuration that libfrr is about to read, and writes one line
/// on standard error (to the journal as a warning) for each line of it that will be
/// refused, and for a file that cannot be read.
///
/// Nothing is carried out: no file, link, socket, thread or database is touched,
/// and the daemon's state stays as it is.  libfrr's own commands are checked for
/// their form only.  A pipe is left to the start: it can be read only once.
///
/// named_file    from the options; null when there was none
/// default_file  read then
///
/// Returns whether nothing was wrong.
bool check_configuration(const char *named_file, const char *default_file,
                         check_for purpose) noexcept;
