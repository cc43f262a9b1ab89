// SPDX-License-Identifier: GPL-2.0-or-later
//
// The numbers at the ends of the client's trace lines ("debug ntp on").
//
// Operators' scripts and support notes look for these numbers, so each belongs to its
// message for good: none is ever changed or used again.  A new message gets none.
#pragma once

namespace trace_tag {

inline constexpr int sending_to = 305;
inline constexpr int reply_accepted = 388;
inline constexpr int pass_begins = 642;
inline constexpr int nothing_readable = 651;
inline constexpr int select_interrupted = 658;
inline constexpr int still_stopped = 676;
inline constexpr int server_silent = 730;
inline constexpr int wait_handled = 742;
inline constexpr int signal_readable = 749;
inline constexpr int restarted = 763;
inline constexpr int stopped = 776;
inline constexpr int signal_unreadable = 784;
inline constexpr int signal_handled = 789;
inline constexpr int datagram_while_stopped = 799;
inline constexpr int source_refused = 820;
inline constexpr int reply_unusable = 842;

} // namespace trace_tag
