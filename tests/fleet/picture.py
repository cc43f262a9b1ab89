# SPDX-License-Identifier: GPL-2.0-or-later
"""Curves over time in panels below each other, as SVG."""
from __future__ import annotations

import dataclasses
import math

from tests.discipline.simulate import path, text, ticks

WIDTH, PANEL, LEFT, RIGHT, TOP, GAP = 860, 170, 70, 20, 60, 78

STYLE = """
svg { font-family: sans-serif; }
.paper { fill: #ffffff; }
text { fill: #59636e; font-size: 12px; }
.title { fill: #1f2328; font-size: 14px; font-weight: 600; }
.grid { stroke: #d9dee3; stroke-width: 1; }
.first, .second, .none, .minute, .five, .hour { stroke-width: 1.5; fill: none; }
.first { stroke-width: 4; }
.first, .hour { stroke: #0b62c4; }
.second, .none { stroke: #c4500b; }
.minute { stroke: #8250df; }
.five { stroke: #1a7f37; }
@media (prefers-color-scheme: dark) {
.paper { fill: #0d1117; }
text { fill: #9198a1; }
.title { fill: #e6edf3; }
.grid { stroke: #30363d; }
.first, .hour { stroke: #6cb2ff; }
.second, .none { stroke: #ff9b57; }
.minute { stroke: #c297ff; }
.five { stroke: #56d364; }
}
"""


@dataclasses.dataclass
class Line:
    kind: str                           # its class
    name: str
    points: list[tuple[float, float]]   # seconds, value


@dataclasses.dataclass
class Panel:
    title: str
    unit: str
    unit_seconds: int
    lines: list[Line]
    log: bool = False


def panel(this: Panel, number: int) -> list[str]:
    top = TOP + number * (PANEL + GAP)
    bottom = top + PANEL
    last = max(time for line in this.lines for time, _ in line.points) / this.unit_seconds
    highest = max(value for line in this.lines for _, value in line.points)
    # Each second is a point or, on a scale of powers of ten, nothing below a tenth.
    low, high = (-1.0, math.log10(highest * 1.5)) if this.log else (0.0, highest * 1.05)

    def across(time: float) -> float:
        return LEFT + time / this.unit_seconds / last * (WIDTH - LEFT - RIGHT)

    def up(value: float) -> float:
        at = math.log10(max(value, 0.05)) if this.log else value
        return bottom - (at - low) / (high - low) * PANEL

    clip = f"panel{number}"
    parts = [f'<clipPath id="{clip}"><rect x="{LEFT}" y="{top}" width="{WIDTH - LEFT - RIGHT}" '
             f'height="{PANEL}"/></clipPath>', text(LEFT, top - 28, this.title, class_="title")]
    at = LEFT
    for line in this.lines:
        parts.append(f'<line class="{line.kind}" x1="{at}" x2="{at + 24}" y1="{top - 13}" y2="{top - 13}"/>')
        parts.append(text(at + 30, top - 9, line.name))
        at += 125
    values = [10.0 ** power for power in range(-1, math.floor(high) + 1)] if this.log else ticks(low, high, 5)
    for value in values:
        parts.append(f'<line class="grid" x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{up(value):.1f}" '
                     f'y2="{up(value):.1f}"/>')
        parts.append(text(LEFT - 8, up(value) + 4, f"{value:,.0f}" if value >= 1 else f"{value:g}",
                          text_anchor="end"))
    for tick in ticks(0, last, 10):
        parts.append(text(across(tick * this.unit_seconds), bottom + 18, f"{tick:g} {this.unit}",
                          text_anchor="middle"))
    parts += [path([(across(time), up(value)) for time, value in line.points], line.kind, clip)
              for line in this.lines]
    return parts


def drawn(title: str, panels: list[Panel]) -> str:
    height = TOP + len(panels) * (PANEL + GAP) - 40
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" role="img" '
             f'aria-label="{title}">', "<!-- SPDX-License-Identifier: GPL-2.0-or-later -->",
             f"<style>{STYLE}</style>", f'<rect class="paper" width="{WIDTH}" height="{height}"/>']
    for number, this in enumerate(panels):
        parts += panel(this, number)
    return "\n".join(parts) + "\n</svg>\n"
