// SPDX-License-Identifier: GPL-2.0-or-later
#include "picture.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <vector>

#include "steps_text.h"
#include "utc_time.h"

namespace {

constexpr double left = 70;
constexpr double right = 840;
constexpr double top = 70;
constexpr double bottom = 330;

constexpr char head[] =
    R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 860 370" role="img" aria-label="Steps of the clock over time, and the drift fitted to them">
<style>
svg { font-family: sans-serif; }
.paper { fill: #ffffff; }
text { fill: #59636e; font-size: 12px; }
.title { fill: #1f2328; font-size: 14px; font-weight: 600; }
.grid { stroke: #d9dee3; stroke-width: 1; }
.steps { stroke: #0b62c4; stroke-width: 1.5; fill: none; }
.dot { fill: #0b62c4; }
.fit { stroke: #c4500b; stroke-width: 2; fill: none; }
.sigma { fill: #c4500b; fill-opacity: 0.2; stroke: none; }
@media (prefers-color-scheme: dark) {
.paper { fill: #0d1117; }
text { fill: #9198a1; }
.title { fill: #e6edf3; }
.grid { stroke: #30363d; }
.steps { stroke: #6cb2ff; }
.dot { fill: #6cb2ff; }
.fit { stroke: #ff9b57; }
.sigma { fill: #ff9b57; }
}
</style>
<rect class="paper" width="860" height="370"/>
)";

constexpr char legend[] = R"(<line class="steps" x1="600" x2="624" y1="22" y2="22"/>
<text x="630" y="26">steps</text>
<line class="fit" x1="690" x2="714" y1="22" y2="22"/>
<text x="720" y="26">drift, one sigma</text>
)";

[[gnu::format(printf, 2, 3)]] void append(std::string &text, const char *format, ...) {
    char piece[512];
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(piece, sizeof piece, format, values);
    va_end(values);
    text += piece;
}

/// A stretch of values and where it is drawn.
struct axis {
    double low;
    double high;
    double from;
    double to;

    void include(double value) noexcept {
        low = std::min(low, value);
        high = std::max(high, value);
    }
    [[nodiscard]] double place(double value) const noexcept {
        return from + (value - low) / (high - low) * (to - from);
    }
};

/// A point of the staircase: the sum of the steps up to and with this one.
struct corner {
    double time;
    double sum;
};

/// The first step is the beginning: nobody knows since when its error had grown.
std::vector<corner> add_up(std::span<const step> steps) {
    std::vector<corner> corners;
    double sum = 0;
    for (const step &one : steps) {
        if (!corners.empty())
            sum += static_cast<double>(one.seconds);
        corners.push_back({static_cast<double>(one.time), sum});
    }
    return corners;
}

/// 1, 2 or 5 times a power of ten, some five of which make up `span`.
double tick_distance(double span) noexcept {
    const double rough = span / 5;
    const double power = std::pow(10, std::floor(std::log10(rough)));
    for (const double factor : {1, 2, 5})
        if (rough <= factor * power)
            return factor * power;
    return 10 * power;
}

/// Minutes, hours, days, weeks or years, at most six of which make up `span`.
double time_tick_distance(double span) noexcept {
    constexpr double hour = 3600;
    constexpr double day = seconds_in_a_day;
    for (const double distance :
         {1.0, 10.0, 60.0, 300.0, 900.0, hour, 3 * hour, 6 * hour, 12 * hour, day, 2 * day, 7 * day,
          14 * day, 28 * day, 56 * day, 91 * day, 182 * day})
        if (span <= 6 * distance)
            return distance;
    return std::ceil(span / 6 / (365 * day)) * 365 * day;
}

/// "2026-11-23", "11-23 08:00" or "08:00:10", as the distance of the ticks wants it.
std::string time_label(double time, double distance) {
    const double last = std::nextafter(0x1p63, 0); // that an integer can hold
    std::string whole = format_utc(static_cast<std::int64_t>(std::clamp(time, -0x1p63, last)));
    if (whole.starts_with('@'))
        return whole;
    if (distance >= seconds_in_a_day)
        return whole.substr(0, 10);
    return distance < 60 ? whole.substr(11, 8) : whole.substr(5, 5) + " " + whole.substr(11, 5);
}

/// The multiples of `unit` from `low` on, `distance` apart, up to `high`.
std::vector<double> ticks(double low, double high, double unit, double distance) {
    const double first = std::ceil(low / unit) * unit;
    const auto last = static_cast<int>((high - first) / distance);
    std::vector<double> places;
    for (int i = 0; i <= last; ++i)
        places.push_back(first + i * distance);
    return places;
}

void draw_grid(std::string &svg, const axis &x, const axis &y) {
    const double apart = tick_distance(y.high - y.low);
    for (const double value : ticks(y.low, y.high, apart, apart)) {
        const double at = y.place(value);
        append(svg, "<line class=\"grid\" x1=\"%.1f\" x2=\"%.1f\" y1=\"%.1f\" y2=\"%.1f\"/>\n",
               left, right, at, at);
        append(svg, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">%.10g</text>\n", left - 8,
               at + 4, value);
    }
    const double distance = time_tick_distance(x.high - x.low);
    const double unit = std::min<double>(distance, seconds_in_a_day); // days begin at midnight
    for (const double time : ticks(x.low, x.high, unit, distance)) {
        const double at = x.place(time);
        append(svg, "<line class=\"grid\" x1=\"%.1f\" x2=\"%.1f\" y1=\"%.1f\" y2=\"%.1f\"/>\n", at,
               at, top, bottom);
        append(svg, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">%s</text>\n", at,
               bottom + 18, time_label(time, distance).c_str());
    }
}

void draw_fit(std::string &svg, const axis &x, const axis &y, const corner &begin,
              const drift &fitted) {
    const double span = x.high - begin.time;
    const auto at_end = [&](double ppm) { return y.place(begin.sum + ppm * 1e-6 * span); };
    const double x0 = x.place(begin.time);
    const double y0 = y.place(begin.sum);
    append(svg, "<path class=\"sigma\" d=\"M%.1f %.1fL%.1f %.1fL%.1f %.1fZ\"/>\n", x0, y0, right,
           at_end(fitted.ppm - fitted.ppm_uncertainty), right,
           at_end(fitted.ppm + fitted.ppm_uncertainty));
    append(svg, "<path class=\"fit\" d=\"M%.1f %.1fL%.1f %.1f\"/>\n", x0, y0, right,
           at_end(fitted.ppm));
}

void draw_steps(std::string &svg, const axis &x, const axis &y, std::span<const corner> corners) {
    append(svg, "<path class=\"steps\" d=\"M%.1f %.1f", x.place(corners.front().time),
           y.place(corners.front().sum));
    for (const corner &one : corners.subspan(1))
        append(svg, "H%.1fV%.1f", x.place(one.time), y.place(one.sum));
    svg += "\"/>\n";
    for (const corner &one : corners)
        append(svg, "<circle class=\"dot\" cx=\"%.1f\" cy=\"%.1f\" r=\"3\"/>\n", x.place(one.time),
               y.place(one.sum));
}

} // namespace

std::string steps_as_svg(std::span<const step> steps, const std::optional<drift> &fitted) {
    std::string svg = head;
    append(svg,
           "<text x=\"%.1f\" y=\"26\" class=\"title\">Steps of the clock, added up from the first "
           "one, in seconds</text>\n",
           left);
    const std::string words = steps.empty() ? "no steps recorded"
                              : fitted      ? drift_in_words(*fitted)
                                       : "drift unknown: it takes two steps with time between them";
    append(svg, "<text x=\"%.1f\" y=\"48\">%s</text>\n", left, words.c_str());
    if (fitted)
        svg += legend;
    if (!steps.empty()) {
        const std::vector<corner> corners = add_up(steps);
        axis x{corners.front().time, corners.front().time, left, right};
        axis y{0, 0, bottom, top};
        for (const corner &one : corners) {
            x.include(one.time);
            y.include(one.sum);
        }
        if (x.low == x.high) {
            x.low -= seconds_in_a_day / 2.0;
            x.high += seconds_in_a_day / 2.0;
        }
        if (fitted)
            for (const double sign : {-1, 1})
                y.include((fitted->ppm + sign * fitted->ppm_uncertainty) * 1e-6 *
                          (x.high - corners.front().time));
        if (y.low == y.high)
            y = {-1, 1, bottom, top};
        draw_grid(svg, x, y);
        if (fitted)
            draw_fit(svg, x, y, corners.front(), *fitted);
        draw_steps(svg, x, y, corners);
    }
    return svg + "</svg>\n";
}
