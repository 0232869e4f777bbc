"""Draws the lines "slope NAME FRAMES ERROR" of `picture_bench --slope` as an SVG, with fitted
powers:
plot_slope.py < LINES > FILE
SPDX-License-Identifier: MIT"""
import math
import sys

WIDTH, HEIGHT = 560, 380
LEFT, RIGHT, TOP, BOTTOM = 70, 20, 20, 50
COLOURS = ("#b05030", "#d0a080", "#2060a0", "#70b0e0")


def read(lines):
    curves = {}
    for line in lines:
        words = line.split()
        if len(words) == 4 and words[0] == "slope":
            curves.setdefault(words[1], []).append((int(words[2]), float(words[3])))
    return curves


def fitted_power(points):
    """Least squares in the logarithms."""
    xs, ys = ([math.log(point[i]) for point in points] for i in (0, 1))
    x, y = sum(xs) / len(xs), sum(ys) / len(ys)
    return sum((a - x) * (b - y) for a, b in zip(xs, ys)) / sum((a - x) ** 2 for a in xs)


class Axes:
    """Logarithmic: frames by powers of two, errors by powers of ten."""

    def __init__(self, curves):
        frames, errors = ([point[i] for points in curves.values() for point in points]
                          for i in (0, 1))
        self.frames = sorted(set(frames))
        self.decades = range(math.floor(math.log10(min(errors))),
                             math.ceil(math.log10(max(errors))) + 1)

    def x(self, frames):
        share = math.log(frames / self.frames[0]) / math.log(self.frames[-1] / self.frames[0])
        return LEFT + share * (WIDTH - LEFT - RIGHT)

    def y(self, error):
        share = ((math.log10(error) - self.decades[0]) / (self.decades[-1] - self.decades[0]))
        return HEIGHT - BOTTOM - share * (HEIGHT - TOP - BOTTOM)


def text(x, y, words, anchor="middle", colour="#222"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}">{words}</text>'


def grid(axes):
    right, bottom = WIDTH - RIGHT, HEIGHT - BOTTOM
    for frames in axes.frames:
        x = axes.x(frames)
        yield f'<path d="M{x:.1f} {TOP}V{bottom}" stroke="#ddd"/>' + text(x, bottom + 18, frames)
    for decade in axes.decades:
        y = axes.y(10.0**decade)
        yield (f'<path d="M{LEFT} {y:.1f}H{right}" stroke="#ddd"/>'
               + text(LEFT - 8, y + 4, f"1e{decade}", "end"))
    yield text((LEFT + right) / 2, HEIGHT - 10, "frames")
    yield f'<g transform="translate(16 {(TOP + bottom) / 2}) rotate(-90)">{text(0, 0, "error")}</g>'


def curve(axes, name, points, colour, line):
    places = [f"{axes.x(frames):.1f} {axes.y(error):.1f}" for frames, error in points]
    yield f'<path d="M{"L".join(places)}" fill="none" stroke="{colour}" stroke-width="2"/>'
    for place in places:
        x, y = place.split()
        yield f'<circle cx="{x}" cy="{y}" r="3" fill="{colour}"/>'
    label = f"{name.replace('_', ', ')}: n^{fitted_power(points):.2f}"
    yield text(WIDTH - RIGHT - 8, TOP + 18 * (line + 1), label, "end", colour)


def main():
    curves = read(sys.stdin)
    axes = Axes(curves)
    print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
          'font-family="sans-serif" font-size="13">')
    print(f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>')
    print(*grid(axes), sep="\n")
    for line, ((name, points), colour) in enumerate(zip(curves.items(), COLOURS)):
        print(*curve(axes, name, points, colour, line), sep="\n")
    print("</svg>")


main()
