// SPDX-License-Identifier: GPL-2.0-or-later
//
// Tells of what is wrong in a configuration before it is read: libfrr keeps that
// for its log, which need not go anywhere.
#pragma once

/// Goes through the configuration that libfrr is about to read, and writes one line
/// on standard error (to the journal as a warning) for each line of it that will be
/// refused, and for a file that cannot be read.
///
/// Nothing is carried out: no file, link, socket, thread or database is touched,
/// and the daemon's state stays as it is.  libfrr's own commands are checked for
/// their form only.
///
/// named_file    from the options; null when there was none
/// default_file  read then
/// only_check    the configuration is not going to be used
///
/// Returns whether nothing was wrong.
bool check_configuration(const char *named_file, const char *default_file, bool only_check);
