// SPDX-License-Identifier: GPL-2.0-or-later
#include "build_version.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <string_view>

#include "horad_build.h"

namespace {

constexpr std::string_view option = "--version";
constexpr std::size_t shortest = std::string_view("--ve").size(); // no other option begins so

bool is_version_option(std::string_view argument) {
    return argument == "-v" || (argument.size() >= shortest && option.starts_with(argument));
}

} // namespace

bool asks_for_version(int argc, const char *const *argv) {
    return std::ranges::any_of(std::span(argv, static_cast<std::size_t>(argc)), is_version_option);
}

void print_build_version() {
    std::puts("horad version " HORAD_VERSION "\n"
              "revision " HORAD_REVISION "\n"
              "built for " HORAD_TARGET " by " HORAD_COMPILER ", " HORAD_BUILD_TYPE "\n"
              "with libfrr " HORAD_FRR_VERSION);
}
