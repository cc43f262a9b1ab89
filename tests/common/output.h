// SPDX-License-Identifier: GPL-2.0-or-later
//
// What a call prints, and whole files.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

/// What a call prints on standard output.
template <typename Call> std::string printed_by(Call call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

/// What a call prints on standard error.
template <typename Call> std::string complained_by(Call call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

inline std::string contents(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void put(const std::filesystem::path &path, const std::string &text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}
