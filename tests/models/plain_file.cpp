// SPDX-License-Identifier: GPL-2.0-or-later
#include "models/plain_file.h"

#include <algorithm>

namespace plain {
namespace {

/// Takes a file's fields one after the other.
class reader {
  public:
    explicit reader(std::span<const unsigned char> data) : data_(data) {}

    std::size_t position() const { return position_; }
    void skip(std::size_t count) { position_ += count; }
    unsigned char byte() { return data_[position_++]; }

    /// Big-endian, two's complement.
    std::int64_t number(std::size_t width) {
        const bool negative = data_[position_] >= 0x80;
        std::uint64_t value = negative ? ~std::uint64_t{0} : 0;
        for (std::size_t i = 0; i < width; ++i)
            value = value * 256 + byte();
        return static_cast<std::int64_t>(value);
    }

    std::uint64_t count() { return static_cast<std::uint64_t>(number(4)); }

  private:
    std::span<const unsigned char> data_;
    std::size_t position_ = 0;
};

struct counts {
    std::uint64_t ut;
    std::uint64_t standard;
    std::uint64_t leaps;
    std::uint64_t transitions;
    std::uint64_t types;
    std::uint64_t characters;
};

counts read_header(reader &in) {
    in.skip(20); // magic, version and what is reserved
    counts all{};
    all.ut = in.count();
    all.standard = in.count();
    all.leaps = in.count();
    all.transitions = in.count();
    all.types = in.count();
    all.characters = in.count();
    return all;
}

bool counts_allowed(const counts &all) {
    return all.leaps <= most_leaps - 1 && all.types <= most_types - 1 &&
           all.transitions <= most_transitions - 1 && all.characters <= most_file_characters - 1 &&
           (all.standard == 0 || all.standard == all.types) && (all.ut == 0 || all.ut == all.types);
}

std::uint64_t block_size(const counts &all, std::size_t width) {
    return header_size + all.transitions * (width + 1) + all.types * 6 + all.characters +
           all.leaps * (width + 4) + all.standard + all.ut;
}

bool read_transitions(reader &in, const counts &all, std::size_t width, zone &zone) {
    std::vector<std::int64_t> times;
    for (std::uint64_t i = 0; i < all.transitions; ++i)
        times.push_back(in.number(width));
    for (std::size_t i = 0; i < times.size(); ++i) {
        const transition change{times[i], in.byte()};
        if (!zone.transitions.empty()) {
            if (change.time < zone.transitions.back().time)
                return false;
            if (change.time == zone.transitions.back().time)
                zone.transitions.pop_back();
        }
        zone.transitions.push_back(change);
    }
    // Only now: the type of one that was replaced does not matter.
    return std::ranges::all_of(zone.transitions,
                               [&](const transition &change) { return change.type < all.types; });
}

bool read_types(reader &in, const counts &all, zone &zone) {
    for (std::uint64_t i = 0; i < all.types; ++i) {
        local_type type;
        type.offset = in.number(4);
        const unsigned char dst = in.byte();
        type.abbreviation = in.byte();
        if (dst > 1 || type.abbreviation >= all.characters)
            return false;
        type.dst = dst == 1;
        zone.types.push_back(type);
    }
    return true;
}

bool read_indicators(reader &in, std::uint64_t count, zone &zone, bool local_type::*indicator) {
    for (std::uint64_t i = 0; i < count; ++i) {
        const unsigned char value = in.byte();
        if (value > 1)
            return false;
        zone.types[i].*indicator = value == 1;
    }
    return true;
}

} // namespace

bool read_block(std::span<const unsigned char> file, std::size_t width, zone &zone,
                std::size_t &used) {
    zone = {};
    if (file.size() < header_size)
        return false;
    reader in(file);
    const counts all = read_header(in);
    if (!counts_allowed(all) || file.size() < block_size(all, width))
        return false;
    if (!read_transitions(in, all, width, zone) || !read_types(in, all, zone))
        return false;
    for (std::uint64_t i = 0; i < all.characters; ++i)
        zone.abbreviations += static_cast<char>(in.byte());
    for (std::uint64_t i = 0; i < all.leaps; ++i) {
        const std::int64_t time = in.number(width);
        zone.leaps.push_back({time, in.number(4)});
    }
    if (!read_indicators(in, all.standard, zone, &local_type::standard_indicator) ||
        !read_indicators(in, all.ut, zone, &local_type::ut_indicator))
        return false;
    used = in.position();
    return true;
}

} // namespace plain
