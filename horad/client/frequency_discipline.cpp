// SPDX-License-Identifier: GPL-2.0-or-later
//
// Every sample is an upright interval in the plane of time and offset.  A line
// through all intervals is a frequency error and an offset that explain all
// samples; as points (slope, value now) such lines fill a polygon.  Its corners
// are the segments of the hulls around the intervals, between the shallowest line
// through all (mincross) and the steepest (maxcross).  The correction is chosen
// so that, as far as possible, it is right for every one of them.
#include "client/frequency_discipline.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <optional>
#include <utility>

#include "client/saturate.h"
#include "ntp_state.h"

discipline_sample d_ring[ring_size];
segment maxseg[ring_size + 1];
segment minseg[ring_size + 1];
correction_limits df;

namespace {

constexpr double error_allowance = 800.0;   // microseconds
constexpr double kernel_units = 65536.0;    // per part per million
constexpr double widest_correction = 20.0;  // parts per million
constexpr double steepest_hull = 500.0;     // parts per million
constexpr std::int32_t limit = 250 * 65536; // kernel units
constexpr double far_away = 1000.0;         // microseconds

enum bound { lower, upper };
enum direction { smallest, largest };

int ring_index = 0;   // where in d_ring the next sample goes; the newest during an evaluation
int sample_count = 0; // up to ring_size

[[gnu::format(printf, 1, 2)]] void trace(const char *format, ...) {
    if (!debug)
        return;
    std::va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}

double seconds_between(int earlier, int later) { return d_ring[later].time - d_ring[earlier].time; }

/// Sets all samples' bounds to what they would be had the present frequency always
/// been in force: step by step back from the newest sample.
void find_bounds(std::int32_t frequency) {
    double drift = 0.0;
    for (int left = ring_size, i = ring_index; left > 0; --left) {
        discipline_sample &sample = d_ring[i];
        sample.bounds[lower] = sample.offset - drift - sample.error_bar;
        sample.bounds[upper] = sample.offset - drift + sample.error_bar;
        trace("hist %d %d %f %f %f\n", i,
              static_cast<std::int32_t>(sample.time - d_ring[ring_index].time), drift,
              sample.bounds[lower], sample.bounds[upper]);
        const int older = next_dn(i);
        const double change = static_cast<double>(std::int64_t{sample.frequency} - frequency);
        drift += seconds_between(older, i) * change / kernel_units;
        i = older;
    }
}

/// A hull with the line through all intervals that touches it.
struct hull {
    segment *segments; ///< from 1 on
    int count = 0;
    std::optional<segment> crossing{};
};

/// Walks along the upper or lower ends of the intervals, from the oldest sample
/// to the newest.
hull find_hull(bound edge, segment *segments, const char *name, const char *crossing_name) {
    const bool is_upper = edge == upper;
    hull found{segments};
    double previous = is_upper ? -steepest_hull : steepest_hull;
    for (int from = next_up(ring_index); from != ring_index;) {
        segment &along = segments[++found.count];
        segment across;
        const int next =
            search(ring_index, from, edge, edge, is_upper ? smallest : largest, &along);
        search(ring_index, from, is_upper ? lower : upper, edge, is_upper ? largest : smallest,
               &across);
        const auto [low, high] =
            is_upper ? std::pair(previous, along.slope) : std::pair(along.slope, previous);
        // In the lower hull, too, the smallest is taken, although the largest would be
        // closer: recorded results depend on it.
        if (low < across.slope && across.slope < high &&
            (!found.crossing || across.slope < found.crossing->slope))
            found.crossing = across;
        trace("%s[%d] = %f *x+ %f\n", name, found.count, along.slope, along.value);
        previous = along.slope;
        from = next;
    }
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    const segment shown = found.crossing.value_or(segment{none, none});
    trace("%s %f *x+ %f\n", crossing_name, shown.slope, shown.value);
    return found;
}

/// Narrows the limits by the part of the upper hull between the crossing lines,
/// which become its ends.  False when there is none.
bool trim_upper(const hull &sides, const segment &mincross, const segment &maxcross) {
    const auto is_within = [&](int k) {
        return k <= sides.count && sides.segments[k].slope <= maxcross.slope;
    };
    polygon_reset();
    polygon_point(&mincross);
    int k = 1;
    while (is_within(k) && !(mincross.slope < sides.segments[k].slope))
        ++k;
    if (!is_within(k)) {
        trace("found maxseg vs. save_min inconsistency\n");
        return false;
    }
    sides.segments[k - 1] = mincross;
    for (; is_within(k); ++k)
        polygon_point(&sides.segments[k]);
    sides.segments[k] = maxcross;
    polygon_point(&maxcross);
    return true;
}

/// The same for the lower hull.  Its far end is the same line, kept in the first
/// slot too, and its last corner is repeated when debugging only: recorded results depend
/// on both.
bool trim_lower(const hull &sides, const segment &mincross, const segment &maxcross) {
    const auto is_within = [&](int k) {
        return k <= sides.count && sides.segments[k].slope >= mincross.slope;
    };
    int k = 1;
    while (is_within(k) && !(sides.segments[k].slope < maxcross.slope))
        ++k;
    const bool is_consistent = is_within(k);
    if (is_consistent) {
        sides.segments[0] = maxcross;
        for (; is_within(k); ++k)
            polygon_point(&sides.segments[k]);
        sides.segments[k] = maxcross;
    } else {
        trace("found minseg vs. save_max inconsistency\n");
    }
    if (debug)
        polygon_point(&mincross);
    return is_consistent;
}

std::int32_t correct(std::int32_t frequency, const segment &mincross, const segment &maxcross) {
    int both = 0;
    const double shift = find_df(&both);
    const double delta = shift + find_df_center(&mincross, &maxcross, shift);
    trace("find_df() = %e\n", shift);
    const std::int32_t steps = saturate(delta * kernel_units + 0.5);
    trace("delta_f %f  delta_freq %d  bsn %d\n", delta, steps, both);
    const std::int32_t corrected = saturate(static_cast<double>(std::int64_t{frequency} - steps));
    std::printf("# box [( %.3f , %.1f )  ( %.3f , %.1f )]  delta_f %.3f  computed_freq %d\n",
                mincross.slope, mincross.value, maxcross.slope, maxcross.value, delta, corrected);
    return std::clamp(corrected, -limit, limit);
}

std::int32_t evaluate(std::int32_t frequency) {
    find_bounds(frequency);
    const hull upper_hull = find_hull(upper, maxseg, "maxseg", "mincross");
    const hull lower_hull = find_hull(lower, minseg, "minseg", "maxcross");
    const auto &mincross = upper_hull.crossing;
    const auto &maxcross = lower_hull.crossing;
    if (mincross && maxcross) {
        const bool upper_is_consistent = trim_upper(upper_hull, *mincross, *maxcross);
        if (trim_lower(lower_hull, *mincross, *maxcross) && upper_is_consistent)
            return correct(frequency, *mincross, *maxcross);
    }
    std::puts("# inconsistent");
    return frequency;
}

} // namespace

int32_t contemplate_data(uint32_t time, double offset, double error_bar,
                         int32_t frequency) noexcept {
    trace("xontemplate %u %.1f %.1f %d\n", time, offset, error_bar, frequency);
    d_ring[ring_index] = {time, frequency, offset, error_bar - error_allowance, {}};
    sample_count = std::min(sample_count + 1, ring_size);
    const int32_t proposed = sample_count == ring_size ? evaluate(frequency) : frequency;
    ring_index = next_up(ring_index);
    return proposed;
}

int next_up(int i) noexcept { return i == ring_size - 1 ? 0 : i + 1; }

int next_dn(int i) noexcept { return i == 0 ? ring_size - 1 : i - 1; }

int search(int newest, int from, int a, int b, int dir, struct segment *out) noexcept {
    const double start = d_ring[from].bounds[b];
    int kept = from;
    double slope = 0;
    for (int i = from; i != newest;) {
        i = next_up(i);
        const double candidate = (d_ring[i].bounds[a] - start) / seconds_between(from, i);
        if (kept == from || (dir == smallest ? candidate < slope : candidate >= slope)) {
            slope = candidate;
            kept = i;
        }
    }
    *out = {slope, start + slope * seconds_between(from, newest)};
    return kept;
}

void polygon_reset() noexcept { df = {widest_correction, widest_correction}; }

void polygon_point(const struct segment *corner) noexcept {
    trace("loop %f %f\n", corner->slope, corner->value);
    const double left = find_shift(-corner->slope, corner->value);
    const double right = find_shift(corner->slope, -corner->value);
    df = {std::min(df.left, left), std::min(df.right, right)};
    trace("constraint left:  %f %f \n", left, df.left);
    trace("constraint right: %f %f \n", right, df.right);
}

double find_shift(double x, double y) noexcept {
    const double shift = std::min(x - y / 600, x + 0.3 - y / 6000);
    trace("find_shift %f %f -> %f\n", x, y, shift);
    return std::max(0.0, shift);
}

double find_df(int *both) noexcept {
    if (df.left == 0)
        return df.right == 0 ? 0 : -df.right;
    if (df.right == 0)
        return df.left;
    *both = 1;
    return 0;
}

double find_df_center(const struct segment *mincross, const struct segment *maxcross,
                      double d) noexcept {
    const double y = (mincross->value + maxcross->value) / 2;
    const double x = d + (mincross->slope + maxcross->slope) / 2;
    const double a = -y / 600 - x;
    const double b = -y / 1800 - x;
    if (maxcross->value < -far_away || mincross->value > far_away)
        return 0;
    const double first = y < 0 ? a : b;
    const double second = y < 0 ? b : a;
    const double r = first < 0 ? first : second > 0 ? second : 0;
    const double k = 1000 / ((maxcross->value - mincross->value) + 1000 +
                             (maxcross->slope - mincross->slope) * 1200);
    trace("find_df_center %f %f\n", r, k);
    return r * k;
}

double interpolate(const struct point *p, const struct point *q, double x) noexcept {
    return p->y + (q->y - p->y) * (x - p->x) / (q->x - p->x);
}
