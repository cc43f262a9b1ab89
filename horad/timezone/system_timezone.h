// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

/// Takes the system's zone away: removes /etc/localtime, if there is one.  The daemon's
/// own zone stays as it is until TZ changes or a zone is set.  Event-loop thread only.
void remove_system_timezone() noexcept;
