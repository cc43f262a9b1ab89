// SPDX-License-Identifier: GPL-2.0-or-later
//
// Checks that change the process (its user, its state) run in a child.
#pragma once

#include <csignal>
#include <cstdio>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

/// Runs a check in a forked child; its failures are printed there and counted
/// here.  A child that hangs is ended after ten seconds.
template <typename Check> void check_in_child(Check check) {
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        alarm(10);
        check();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_FALSE(WIFSIGNALED(status)) << "ended by signal " << WTERMSIG(status);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

/// Runs a body in a forked child, and returns what it wrote to a descriptor.
template <typename Body> std::string written_by_child(int descriptor, Body body) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], descriptor);
        body();
        std::fflush(nullptr);
        _exit(0);
    }
    close(ends[1]);
    std::string text;
    char buffer[512];
    for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(got));
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return text;
}

/// Runs a check in a new process of this program, where the engine has not
/// been called yet: a started test program, not a fork.
#define CHECK_IN_FRESH_PROCESS(...)                           \
    do {                                                      \
        testing::FLAGS_gtest_death_test_style = "threadsafe"; \
        EXPECT_EXIT(                                          \
            {                                                 \
                __VA_ARGS__;                                  \
                std::fflush(nullptr);                         \
                _exit(testing::Test::HasFailure() ? 1 : 0);   \
            },                                                \
            testing::ExitedWithCode(0), "");                  \
    } while (false)
