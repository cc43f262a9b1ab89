// SPDX-License-Identifier: GPL-2.0-or-later
//
// Zone objects: errors, memory, stack, threads.
#include <atomic>
#include <cstring>
#include <thread>

#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>

#include <gtest/gtest.h>

#include "common/private_folder.h"
#include "common/zone_fixture.h"
#include "frr_module.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool is_instrumented = true;
#else
constexpr bool is_instrumented = false;
#endif

std::size_t blocks_in_use() { return atomic_load(&MTYPE_NTP_CLIENT->n_alloc); }

TEST(ZoneObject, NamesAndErrors) {
    const private_folder zoneinfo(zoneinfo_folder);
    const private_folder etc("/etc");
    std::filesystem::create_directory(zoneinfo.path() / "Area");
    zoneinfo.write("Empty", {});
    const std::pair<std::string, int> failing[] = {{"Nowhere", ENOENT},
                                                   {":AAA3", ENOENT},
                                                   {"Area", EISDIR},
                                                   {"/usr", EISDIR},
                                                   {"Empty", EINVAL},
                                                   {"AAA3BBB,", ENOENT},
                                                   {std::string(90000, 'x'), ENAMETOOLONG}};
    for (const auto &[name, error] : failing) {
        const auto before = blocks_in_use();
        errno = 0;
        EXPECT_EQ(tzalloc(name.c_str()), nullptr) << name;
        EXPECT_EQ(errno, error) << name;
        EXPECT_EQ(blocks_in_use(), before) << name;
    }
    errno = 0;
    EXPECT_EQ(tzalloc(nullptr), nullptr);
    EXPECT_EQ(errno, ENOENT);
    tzif_file file;
    file.wide.types = {{33, 0, 0}};
    etc.write("localtime", file.bytes());
    const owned_zone local(tzalloc(nullptr));
    ASSERT_NE(local, nullptr);
    EXPECT_EQ(local->types[0].utc_offset, 33);
}

TEST(ZoneObject, UtcNeedsNoFile) {
    const private_folder zoneinfo(zoneinfo_folder);
    const auto utc = open_zone("");
    EXPECT_EQ(local_text(utc.get(), 0), "1970-01-01 00:00:00 GMT dst=0 0 Thu 0");
}

TEST(ZoneObject, IsOneBlockOfTheDaemonsMemory) {
    const auto before = blocks_in_use();
    timezone_t zone = tzalloc("Europe/Zurich");
    ASSERT_NE(zone, nullptr);
    EXPECT_EQ(blocks_in_use(), before + 1);
    timezone_t other = tzalloc("AAA3");
    EXPECT_EQ(blocks_in_use(), before + 2);
    tzfree(zone);
    tzfree(other);
    EXPECT_EQ(blocks_in_use(), before);
}

TEST(ZoneObject, ConversionsAndTheLocalZoneAllocateNothing) {
    const tz_guard guard;
    const auto zone = open_zone("Europe/Zurich");
    const auto before = blocks_in_use();
    const auto heap_before = mallinfo2();
    const auto state = new_state();
    const auto heap_with_state = mallinfo2();
    const auto use = [&](const char *tz) {
        // The environment takes memory for what is set, this engine for nothing.
        setenv("TZ", tz, 1);
        const auto heap_ready = mallinfo2();
        tzset();
        time_t when = 1625416215;
        struct tm tm;
        localtime_r(&when, &tm);
        mktime(&tm);
        localtime_rz(zone.get(), &when, &tm);
        mktime_z(zone.get(), &tm);
        gmtime_r(&when, &tm);
        mktime_z(nullptr, &tm);
        init_zone(state.get(), tz);
        EXPECT_EQ(mallinfo2().uordblks, heap_ready.uordblks);
        EXPECT_EQ(mallinfo2().hblkhd, heap_ready.hblkhd);
    };
    use("Asia/Tokyo");
    use("AAA3BBB,J1,J100");
    EXPECT_EQ(blocks_in_use(), before);
    EXPECT_GE(heap_with_state.uordblks + heap_with_state.hblkhd,
              heap_before.uordblks + heap_before.hblkhd);
}

/// The deepest that a thread's stack is used while `work` runs, bytes.
std::size_t stack_used(void *(*work)(void *)) {
    constexpr std::size_t size = std::size_t{4} << 20;
    void *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return SIZE_MAX;
    auto *const bytes = static_cast<unsigned char *>(memory);
    std::memset(bytes, 0xa5, size);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, memory, size);
    pthread_t thread;
    std::size_t untouched = 0;
    if (pthread_create(&thread, &attributes, work, nullptr) == 0) {
        pthread_join(thread, nullptr);
        while (untouched < size && bytes[untouched] == 0xa5)
            ++untouched;
    }
    pthread_attr_destroy(&attributes);
    munmap(memory, size);
    return size - untouched;
}

TEST(ZoneObject, LoadingTakesLittleStack) {
    static zone_state state;
    const auto idle = stack_used([](void *) -> void * { return nullptr; });
    const auto file = stack_used([](void *) -> void * {
        init_zone(&state, "America/New_York");
        return nullptr;
    });
    const auto rule = stack_used([](void *) -> void * {
        init_zone(&state, "AAA3BBB");
        return nullptr;
    });
    ASSERT_GT(file, idle);
    // Sanitizers put space around every variable.
    const std::size_t limit = std::size_t{96} * 1024 * (is_instrumented ? 2 : 1);
    EXPECT_LT(file - idle, limit);
    EXPECT_LT(rule - idle, limit);
    EXPECT_EQ(state.type_count, 2);
}

TEST(ZoneObject, EachThreadHasItsOwn) {
    std::atomic<int> wrong = 0;
    const auto work = [&wrong](const char *name, long offset) {
        const owned_zone zone(tzalloc(name));
        for (time_t when = 1600000000; when < 1600000000 + 20000; ++when) {
            struct tm tm;
            if (!localtime_rz(zone.get(), &when, &tm) || tm.tm_gmtoff != offset ||
                mktime_z(zone.get(), &tm) != when)
                ++wrong;
        }
    };
    std::thread first(work, "Asia/Tokyo", 32400);
    std::thread second(work, "America/Phoenix", -25200);
    first.join();
    second.join();
    EXPECT_EQ(wrong, 0);
}

TEST(ZoneObject, ThreadsShareOneForReading) {
    const auto zone = open_zone("Europe/Zurich");
    std::atomic<int> wrong = 0;
    const auto work = [&] {
        for (time_t when = 1600000000; when < 1640000000; when += 3600) {
            struct tm tm;
            if (!localtime_rz(zone.get(), &when, &tm) || mktime_z(zone.get(), &tm) == -1)
                ++wrong;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
