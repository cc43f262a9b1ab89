// SPDX-License-Identifier: GPL-2.0-or-later
//
// A private folder for the length of one test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

class temp_folder {
  public:
    temp_folder() {
        std::string name = std::filesystem::temp_directory_path() / "device_test.XXXXXX";
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~temp_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    temp_folder(const temp_folder &) = delete;
    temp_folder &operator=(const temp_folder &) = delete;

    const std::filesystem::path &path() const { return path_; }

  private:
    std::filesystem::path path_;
};
