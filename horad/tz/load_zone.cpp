// SPDX-License-Identifier: GPL-2.0-or-later
#include "tz/load_zone.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tz/build_index.h"
#include "tz/extend_zone.h"
#include "tz/tz_string.h"
#include "tz/tzif.h"
#include "tz/zone_file.h"

namespace {

constexpr char rules_file[] = "posixrules";

/// What loading a zone needs besides the record itself, about 83 kB.  It lies on
/// the stack: loading takes nothing from the heap.
struct work_area {
    unsigned char file[zone_file_limit];
    zone_data footer; ///< the zone of the rule string after the table
};
static_assert(sizeof(work_area) == zone_path_size);

int read_file(const char *name, work_area &area, std::size_t &length) {
    auto *bytes = reinterpret_cast<unsigned char *>(&area);
    return read_zone_file(name, std::span<unsigned char, zone_path_size>(bytes, zone_path_size),
                          length);
}

/// The rule string of a footer, which stands between two newlines; null when there is
/// none.  The second newline becomes its end.
const char *rule_string_of(std::span<unsigned char> footer) {
    if (footer.size() <= 2 || footer.front() != '\n' || footer.back() != '\n')
        return nullptr;
    footer.back() = '\0';
    return reinterpret_cast<const char *>(footer.data() + 1);
}

/// Makes area.footer of a footer, and tells of which kind its transitions are.  False
/// when it is missing or malformed.
bool make_footer_zone(work_area &area, std::span<unsigned char> footer, rule_transitions &rules) {
    tz_description description;
    const char *text = rule_string_of(footer);
    if (text == nullptr || !scan_tz_string(text, description, false))
        return false;
    // The rules file may take the zone file's place: that is decoded already.
    bool rules_loaded = false;
    if (needs_rules_file(description)) {
        std::size_t length = 0;
        std::span<unsigned char> ignored;
        rules_loaded = read_file(rules_file, area, length) == 0 &&
                       decode_tzif({area.file, length}, area.footer, ignored) &&
                       complete_zone(area.footer, no_rules(area.footer));
    }
    rules = build_zone(description, rules_loaded, area.footer);
    return true;
}

/// Makes a zone of the first `length` bytes of area.file.  Returns 0 or EINVAL.
int make_zone(work_area &area, std::size_t length, zone_state &zone, bool extend) {
    std::span<unsigned char> footer;
    if (!decode_tzif({area.file, length}, zone, footer))
        return EINVAL;
    rule_transitions rules{};
    if (extend && make_footer_zone(area, footer, rules))
        zone.rules = extend_zone(area.footer, rules, zone);
    else
        zone.rules = no_rules(zone);
    return complete_zone(zone, zone.rules) ? 0 : EINVAL;
}

} // namespace

// The work area must stay off callers' frames: parse_tz_string() loads another
// file after this one failed.
[[gnu::noinline]] int load_zone(const char *name, zone_state *state, bool extend) {
    work_area area; // not cleared: only what was written is read
    std::size_t length = 0;
    if (const int error = read_file(name, area, length); error != 0)
        return error;
    return make_zone(area, length, *state, extend);
}

int load_zone_bytes(std::span<const unsigned char> file, zone_state *state, bool extend) {
    work_area area;
    const std::size_t length = std::min(file.size(), sizeof area.file);
    std::copy_n(file.begin(), length, area.file);
    return make_zone(area, length, *state, extend);
}

bool parse_tz_string(const char *text, zone_state *state, bool last_ditch) {
    tz_description description;
    if (!scan_tz_string(text, description, last_ditch))
        return false;
    // Also where its rules are not needed: its leap seconds count.
    const bool rules_loaded = load_zone(rules_file, state, false) == 0;
    if (!rules_loaded)
        state->leap_count = 0;
    state->rules = build_zone(description, rules_loaded, *state);
    repeat_rules(state->rules, *state);
    return true;
}

void scrub_abbreviations(zone_state *state) {
    constexpr char allowed[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                               "0123456789 :+-._";
    constexpr char kept_whole[] = "Local time zone must be set--see zic manual page";
    constexpr std::size_t longest = 16;
    for (int i = 0; i < state->char_count; ++i) // strchr finds the separators too
        if (std::strchr(allowed, state->abbreviations[i]) == nullptr)
            state->abbreviations[i] = '_';
    for (int i = 0; i < state->type_count; ++i) {
        char *name = state->abbreviations + state->types[i].abbr_index;
        if (std::strlen(name) > longest && std::strcmp(name, kept_whole) != 0)
            name[longest] = '\0';
    }
}

void load_utc(zone_state *state) {
    if (load_zone("GMT", state, true) != 0)
        parse_tz_string("GMT", state, true);
    make_ready(*state);
}

int init_zone(zone_state *state, const char *name) {
    if (name != nullptr && name[0] == '\0') {
        state->leap_count = state->transition_count = state->type_count = state->char_count = 0;
        state->go_back = state->go_ahead = false;
        state->types[0] = {};
        std::memcpy(state->abbreviations, "GMT", sizeof "GMT");
        state->default_type = 0;
        state->rules = {};
        make_ready(*state);
        return 0;
    }
    int error = load_zone(name, state, true);
    if (error != 0 && name != nullptr && name[0] != ':' && parse_tz_string(name, state, false))
        error = 0;
    if (error == 0) {
        scrub_abbreviations(state);
        make_ready(*state);
    }
    return error;
}
