// SPDX-License-Identifier: GPL-2.0-or-later
//
// A vty session without a terminal, whose answers can be read.
#pragma once

#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include <zebra.h>

#include "buffer.h"
#include "vty.h"

/// Up to libfrr 8.4 answers wait in the session's buffer until it is closed; later ones
/// write them at once.  So they are read from where they are written to.
class kept_session {
  public:
    kept_session() : file(memfd_create("session", MFD_CLOEXEC)), session(vty_new()) {
        session->type = vty::VTY_FILE;
        session->wfd = dup(file);
    }
    ~kept_session() {
        vty_close(session);
        close(file);
    }
    kept_session(const kept_session &) = delete;
    kept_session &operator=(const kept_session &) = delete;

    [[nodiscard]] vty *get() const { return session; }

    /// All that was answered.
    [[nodiscard]] std::string text() const {
        buffer_flush_all(session->obuf, session->wfd);
        std::string all(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
        const ssize_t got = pread(file, all.data(), all.size(), 0);
        return got == static_cast<ssize_t>(all.size()) ? all : "(cannot be read)";
    }

  private:
    int file;
    vty *session;
};
