// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include <string>

#include "failure.h"

/// Occupies the descriptors 0 to 2 where they are closed, so that no file or socket
/// opened later gets one of them and then what we print.
void occupy_standard_descriptors() noexcept;

/// Standard output cannot be written.
struct output_failure : failure {
    explicit output_failure(int error);

    bool reader_is_gone; ///< as that of "| head": nothing to complain about
};

/// Writes to standard output, at once.  Throws output_failure when it cannot.
void print(const std::string &text);

/// One line on standard error.
void complain(const std::string &message) noexcept;

/// A file that cannot be written as a whole stays as it was.  Throws failure.
void write_file(const std::string &name, const std::string &text);
