// SPDX-License-Identifier: GPL-2.0-or-later
//
// Switching the client on and off.  Event-loop thread only.
#pragma once

/// Switches NTP on: creates the client thread the first time, restarts it later.
/// A primary that is not set switches NTP off instead, with a message.
///
/// primary, secondary  the two server names; the thread reads the live fields,
///                     so that later changes reach it without a signal
///
/// Returns 0, or 4 when a name is null.  A thread that cannot be created leaves
/// everything as it was, with a message.
int ntp_server_config(const char *primary, const char *secondary) noexcept;

/// Switches NTP off: stops the client if it was on.  Returns 0.
int ntp_server_disable() noexcept;
