// SPDX-License-Identifier: GPL-2.0-or-later
//
// Compiled zone files (TZif) put together by hand, right ones and wrong ones.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

inline constexpr std::size_t tzif_header_size = 44;

/// One data block; the counts follow from what it holds unless they are given.
struct tzif_block {
    struct change {
        std::int64_t time;
        unsigned char type;
    };
    struct local_type {
        std::int32_t offset;
        unsigned char dst;
        unsigned char abbr_index;
    };
    struct leap {
        std::int64_t time;
        std::int32_t correction;
    };

    std::vector<change> changes;
    std::vector<local_type> types = {{0, 0, 0}};
    std::string abbreviations = std::string("UTC\0", 4);
    std::vector<leap> leaps;
    std::vector<unsigned char> std_indicators;
    std::vector<unsigned char> ut_indicators;

    std::optional<std::uint32_t> ut_count;
    std::optional<std::uint32_t> std_count;
    std::optional<std::uint32_t> leap_count;
    std::optional<std::uint32_t> change_count;
    std::optional<std::uint32_t> type_count;
    std::optional<std::uint32_t> char_count;

    /// A block without any data, as a file holds in front when only its second
    /// block matters.
    static tzif_block empty() {
        tzif_block block;
        block.types.clear();
        block.abbreviations.clear();
        return block;
    }
};

/// A file of one block (version 0) or two.
struct tzif_file {
    unsigned char version = '2';
    std::string magic = "TZif";
    tzif_block narrow = tzif_block::empty(); ///< 32-bit times
    tzif_block wide;                         ///< 64-bit times
    std::string footer = "\n\n";

    /// A file whose only block has 32-bit times.
    static tzif_file old_format(tzif_block block) {
        tzif_file file;
        file.version = 0;
        file.narrow = std::move(block);
        return file;
    }

    std::vector<unsigned char> bytes() const {
        std::vector<unsigned char> out;
        put_block(out, narrow, 4);
        if (version != 0) {
            put_block(out, wide, 8);
            out.insert(out.end(), footer.begin(), footer.end());
        }
        return out;
    }

  private:
    static void put(std::vector<unsigned char> &out, std::uint64_t value, int width) {
        for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
            out.push_back(static_cast<unsigned char>(value >> shift));
    }

    static void put_count(std::vector<unsigned char> &out, std::optional<std::uint32_t> given,
                          std::size_t held) {
        put(out, given.value_or(static_cast<std::uint32_t>(held)), 4);
    }

    void put_block(std::vector<unsigned char> &out, const tzif_block &block, int width) const {
        out.insert(out.end(), magic.begin(), magic.end());
        out.push_back(version);
        out.insert(out.end(), 15, 0);
        put_count(out, block.ut_count, block.ut_indicators.size());
        put_count(out, block.std_count, block.std_indicators.size());
        put_count(out, block.leap_count, block.leaps.size());
        put_count(out, block.change_count, block.changes.size());
        put_count(out, block.type_count, block.types.size());
        put_count(out, block.char_count, block.abbreviations.size());
        for (const auto &change : block.changes)
            put(out, static_cast<std::uint64_t>(change.time), width);
        for (const auto &change : block.changes)
            out.push_back(change.type);
        for (const auto &type : block.types) {
            put(out, static_cast<std::uint32_t>(type.offset), 4);
            out.push_back(type.dst);
            out.push_back(type.abbr_index);
        }
        out.insert(out.end(), block.abbreviations.begin(), block.abbreviations.end());
        for (const auto &leap : block.leaps) {
            put(out, static_cast<std::uint64_t>(leap.time), width);
            put(out, static_cast<std::uint32_t>(leap.correction), 4);
        }
        out.insert(out.end(), block.std_indicators.begin(), block.std_indicators.end());
        out.insert(out.end(), block.ut_indicators.begin(), block.ut_indicators.end());
    }
};

/// Adds to the abbreviations of a block and says where the new one begins.
inline unsigned char add_abbreviation(tzif_block &block, const std::string &text) {
    const auto index = static_cast<unsigned char>(block.abbreviations.size());
    block.abbreviations += text;
    block.abbreviations += '\0';
    return index;
}

/// A block with standard time (type 0, "STD", UTC+1) and daylight time (type 1,
/// "DST", UTC+2) and the given changes.
inline tzif_block two_type_block(std::vector<tzif_block::change> changes = {}) {
    tzif_block block;
    block.abbreviations = std::string("STD\0DST\0", 8);
    block.types = {{3600, 0, 0}, {7200, 1, 4}};
    block.changes = std::move(changes);
    return block;
}
