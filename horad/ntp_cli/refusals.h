// SPDX-License-Identifier: GPL-2.0-or-later
//
// Why a command's words are refused: the line that the session gets, its end
// included; null when they are accepted.  Pure, so that a configuration can be
// checked without being carried out.
#pragma once

/// `ntp server`.  Both names are checked before either may be stored.
///
/// secondary  null when it was not given
[[nodiscard]] const char *refusal_of_servers(const char *primary, const char *secondary) noexcept;

/// `second ntp server2`.
///
/// primary    the field as it is: only an empty one is refused, one that was never set
///            ("0.0.0.0") is let through
/// secondary  null when it was not given
[[nodiscard]] const char *refusal_of_second_server(const char *primary,
                                                   const char *secondary) noexcept;

/// `ntp enable`.
[[nodiscard]] const char *refusal_to_enable(const char *primary) noexcept;

/// For a zone that is set while NTP is off.
inline constexpr char ntp_is_off[] = "NTP protcol is disable!\r\n";

/// For `dst` in the place of `timezone`.
inline constexpr char dst_is_automatic[] =
    "\r\nOperation is not supported. DST will be calculated automatically "
    "when setting time zone! \r\n";

/// For an unknown location: a format, with its continent.
inline constexpr char unknown_location[] =
    "\r\nThe location name is wrong or does not exist in %s!\r\n";
