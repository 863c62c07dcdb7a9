#!/usr/bin/env python3
"""One picture's way at 644x1398: how long each step takes, from its drawing to its arrival at the phone. Saves a plot of
the medians to build/delay.svg."""
import argparse
import pathlib
import statistics
import tempfile
import time

from session import Session, report, root

# In the order of Trace::Step, with what leads to each.
steps = ["server", "pacing", "grab", "encoding", "hand-over", "writing"]
colors = ["#7f8fa6", "#e1b12c", "#44bd32", "#0097e6", "#c23616", "#8c7ae6", "#40739e"]
damage_told, grab_begun, grabbed, encoded, handed_over, written = range(6)


def percentile(values, share):
    return sorted(values)[int(share * (len(values) - 1))]


def pictures(directory):
    """For each picture that was drawn and received: its moments from the drawing on, in order."""
    moments, before = {}, {}
    for line in (directory / "program").read_text().splitlines():
        step, moment, name = line.split()
        step, moment = int(step), float(moment)
        if step < encoded:
            before[step] = moment
        elif step == encoded and grabbed in before:  # else it is the one before, which rests
            if damage_told in before:  # else only the pointer has moved
                moments[name] = [before[damage_told], before[grab_begun], before[grabbed], moment]
            before = {}
        elif name in moments:
            moments[name].append(moment)
    shown = set()
    for line in (directory / "received").read_text().splitlines():
        received, name, drawn, _ = line.split()
        if drawn in shown or float(drawn) == 0 or len(moments.get(name, ())) != 6:
            continue
        shown.add(drawn)
        way = [float(drawn), *moments[name]]
        # Writing ends when the last byte is in the socket; the phone may have read it all before we hear of that.
        yield [*way[:-1], min(way[-1], float(received)), float(received)]


def run(load, seconds, scene=()):
    """Each picture's share of milliseconds for each step, in one start."""
    with tempfile.TemporaryDirectory() as directory:
        session = Session("1290x2796", load, scene=scene, trace=directory, ping_interval=1)
        session.wait_for_stream()
        time.sleep(1.5 + seconds)  # the first touch and the last adjustments
        result = session.end()
        if result["faultCount"]:
            print("delay: FAULTS", result["faults"])
        ways = list(pictures(pathlib.Path(directory)))
    return [[(after - before) * 1000 for before, after in zip(way, way[1:])] for way in ways[len(ways) // 10 :]]


def tell(name, starts, p50_goal, p99_goal=None):
    """The worst start's percentiles against the goals, and the medians of the steps over all starts."""
    totals = [[sum(way) for way in start] for start in starts]
    report(f"{name}: drawn to received, worst p50 of {len(starts)}", max(map(statistics.median, totals)), "ms", p50_goal)
    report(f"{name}: drawn to received, worst p99 of {len(starts)}", max(percentile(t, 0.99) for t in totals), "ms",
           p99_goal)
    medians = []
    for number, step in enumerate([*steps, "reading"]):
        values = [way[number] for start in starts for way in start]
        medians.append(statistics.median(values))
        print(f"    {step:10} p50 {medians[-1]:6.2f}   p99 {percentile(values, 0.99):6.2f} ms")
    return name, medians


def plot(rows, path):
    """Bars of the medians, one below the other."""
    left, width, height = 230, 560, 34
    scale = width / max(sum(medians) for _, medians in rows)
    parts = []
    for index, (name, medians) in enumerate(rows):
        y, x = 12 + index * height, left
        parts.append(f'<text x="{left - 8}" y="{y + 15}" text-anchor="end">{name}</text>')
        for color, value in zip(colors, medians):
            parts.append(f'<rect x="{x:.1f}" y="{y}" width="{value * scale:.1f}" height="22" fill="{color}"/>')
            x += value * scale
        parts.append(f'<text x="{x + 6:.1f}" y="{y + 15}">{sum(medians):.2f} ms</text>')
    y = 22 + len(rows) * height
    for index, (color, step) in enumerate(zip(colors, [*steps, "reading"])):
        x = 12 + index * 118
        parts.append(f'<rect x="{x}" y="{y}" width="12" height="12" fill="{color}"/>')
        parts.append(f'<text x="{x + 17}" y="{y + 11}">{step}</text>')
    path.write_text(f'<svg xmlns="http://www.w3.org/2000/svg" width="880" height="{y + 24}" font-family="sans-serif" '
                    f'font-size="13"><rect width="100%" height="100%" fill="#fff"/>{"".join(parts)}</svg>\n')
    print(f"delay: the plot is in {path.relative_to(root)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="two starts instead of ten, to see that it works")
    options = parser.parse_args()
    starts = 2 if options.quick else 10
    full = lambda rate: [run("full", 4, scene=("--fps", str(rate))) for _ in range(starts)]
    plot([
        tell("source of 60 Hz", full(60), 4.5, 10),
        tell("source of 144 Hz", full(144), 6, 12),
        tell("small change after a pause", [run("typing", 5 if options.quick else 30)], 3),
    ], root / "build/delay.svg")


main()
