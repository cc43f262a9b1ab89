// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <string>

/// Occupies the descriptors 0 to 2 where they are closed, so that no file or socket
/// opened later gets one of them and then what we print.
void occupy_standard_descriptors() noexcept;

/// Writes to standard output, at once.  Throws failure when it cannot.
void print(const std::string &text);

/// One line on standard error.
void complain(const std::string &message) noexcept;

/// A file that cannot be written as a whole stays as it was.  Throws failure.
void write_file(const std::string &name, const std::string &text);
