// SPDX-License-Identifier: GPL-2.0-or-later
//
// An empty folder in place of a system folder, seen by this process only.
//
// The engine's paths are fixed.  A test that needs other contents there mounts
// a file system of its own over the folder, in a mount namespace of its own;
// the machine's folder is never touched.  Needs root.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>

#include <sched.h>
#include <sys/mount.h>

class private_folder {
  public:
    explicit private_folder(const std::filesystem::path &path) : path_(path) {
        // Once is enough for a process, however often a test does this.
        static const bool separate = unshare(CLONE_NEWNS) == 0 &&
                                     mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        if (!separate || mount("none", path_.c_str(), "tmpfs", 0, "mode=755") != 0)
            throw std::runtime_error("cannot mount over " + path_.string());
    }
    ~private_folder() { umount2(path_.c_str(), MNT_DETACH); }
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;

    const std::filesystem::path &path() const { return path_; }

    /// Writes a file, with the folders that lead to it.
    std::string write(const std::string &name, std::span<const unsigned char> bytes) const {
        const auto file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        for (const unsigned char byte : bytes)
            out.put(static_cast<char>(byte));
        return file.string();
    }

  private:
    std::filesystem::path path_;
};

inline constexpr char zoneinfo_folder[] = "/usr/share/zoneinfo";
