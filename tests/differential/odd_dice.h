// SPDX-License-Identifier: GPL-2.0-or-later
//
// Random choices, the same again for the same seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

class dice {
  public:
    explicit dice(std::uint64_t seed) : random_(seed) {}

    std::int64_t between(std::int64_t low, std::int64_t high) {
        return std::uniform_int_distribution<std::int64_t>(low, high)(random_);
    }
    int small(int low, int high) { return static_cast<int>(between(low, high)); }
    std::size_t index(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
    }
    /// True once in `n` times.
    bool once_in(int n) { return between(1, n) == 1; }

    template <typename List> const auto &pick(const List &list) {
        return list[index(std::size(list))];
    }

    /// A number of any magnitude, both signs.
    std::int64_t any_magnitude() {
        const auto bits = static_cast<std::int64_t>(random_());
        return bits >> between(0, 63);
    }

  private:
    std::mt19937_64 random_;
};
