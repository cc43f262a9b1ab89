// SPDX-License-Identifier: GPL-2.0-or-later
//
// The version that libfrr answers with when it reads the options.
#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include <zebra.h>

#include "getopt.h"
#include "libfrr.h"

#include "common/child_process.h"
#include "frr_module.h"

namespace {

/// What libfrr prints on standard output for some options; "(read)" after it when
/// it came to their end.
std::string printed_for(std::initializer_list<const char *> options) {
    return written_by_child(STDOUT_FILENO, [options] {
        std::vector<std::string> words{"horad"};
        words.insert(words.end(), options.begin(), options.end());
        std::vector<char *> arguments;
        for (std::string &word : words)
            arguments.push_back(word.data());
        const int count = static_cast<int>(arguments.size());
        arguments.push_back(nullptr);

        static zebra_privs_t no_privileges{};
        static frr_daemon_info description{
            .name = "horad", .logname = "HORAD", .module = horad_module, .privs = &no_privileges};
        frr_preinit(&description, count, arguments.data());
        while (frr_getopt(count, arguments.data(), nullptr) != EOF)
            ;
        std::fputs("(read)", stdout);
    });
}

bool is_ours(const std::string &text) {
    return text.rfind("horad version ", 0) == 0 && text.find("\nrevision ") != std::string::npos &&
           text.find("\nwith libfrr ") != std::string::npos &&
           text.find("(read)") == std::string::npos;
}

TEST(BuildVersion, IsWhatTheLibraryAnswersWith) {
    for (const char *option : {"-v", "--version", "--ve", "-dv"})
        EXPECT_TRUE(is_ours(printed_for({option}))) << option;
    EXPECT_TRUE(is_ours(printed_for({"-d", "-N", "-v", "-v"})));
}

TEST(BuildVersion, IsNotForWordsThatOnlyLookLikeTheOption) {
    EXPECT_EQ(printed_for({"-N", "-v"}), "(read)");
    EXPECT_EQ(printed_for({"--pathspace", "--version"}), "(read)");
    EXPECT_EQ(printed_for({"--log", "-v"}), "(read)");
    EXPECT_EQ(printed_for({"--vty_socket", "--version"}), "(read)");
    EXPECT_EQ(printed_for({"--", "-v"}), "(read)");
}

} // namespace
