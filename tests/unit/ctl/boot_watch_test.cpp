// SPDX-License-Identifier: GPL-2.0-or-later
#include "boot_watch.h"

#include <gtest/gtest.h>

namespace {

std::optional<step_row> row(std::int64_t number, std::int64_t time) {
    return step_row{{time, 0}, number};
}

TEST(BootWatch, NothingRecorded) { EXPECT_FALSE(boot_watch().was_set(std::nullopt, 1000, 2000)); }

TEST(BootWatch, AStepSinceBoot) {
    EXPECT_TRUE(boot_watch().was_set(row(1, 1000), 1000, 2000));
    EXPECT_TRUE(boot_watch().was_set(row(1, 2000), 1000, 2000));
}

TEST(BootWatch, AStepBeforeBoot) { EXPECT_FALSE(boot_watch().was_set(row(1, 999), 1000, 2000)); }

TEST(BootWatch, AStepThatLiesInTheFuture) {
    EXPECT_FALSE(boot_watch().was_set(row(1, 2001), 1000, 2000));
}

/// Without a battery the clock begins anew in the past, and reaches the last step of the
/// device's former life while it still waits for a server.
TEST(BootWatch, AnOldStepStaysOldWhenTheClockReachesIt) {
    boot_watch watch;
    EXPECT_FALSE(watch.was_set(row(7, 1500), 1000, 1010));
    EXPECT_FALSE(watch.was_set(row(7, 1500), 1000, 1600));
    // The clock is set to 9000, and the time of the boot moves with it.
    EXPECT_TRUE(watch.was_set(row(8, 9000), 8390, 9000));
}

} // namespace
