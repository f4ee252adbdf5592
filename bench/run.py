#!/usr/bin/python3
"""Measures structure_ingest and prints one table: job, compared with, ratio, bound, verdict.

Compared jobs alternate in every round; each figure is the ratio of two medians.
"""
import argparse
import json
import math
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile

import known_files
from whole_processes import Jobs

SIZES = (100, 1000, 20000)

# The jobs of the benchmark program: the reference of each, and the largest allowed ratio at the
# largest size. Parsing has two bounds.
JOBS = {
    "parse": ("a minimal loop with fast_float", 1.0),
    "canonical text": ("an exact formatter and a copy", 1.25),
    "JSON text": ("nlohmann's dump(2)", 0.35),
    "JSON text, by hand": ("each number by std::to_chars", 1.1),
    "source entry": ("a copy into JSON, element by element", 0.8),
    "fingerprint": ("one digest over bytes in memory", 1.1),
    "ingest": ("the sum of its steps", 1.5),
    "ingest, small": ("the sum of its steps, and the writing", 1.8),
    "ingest, unchecked": ("the same, without findings on both sides", 1.8),
    "ingest, durable": ("the same with write, fsync, rename", 1.3),
    "hydrate": ("hydrating an empty state", 1.2),
    "state, 5,000 entries": ("nlohmann's parse", 0.45),
    "state, RapidJSON": ("its parse into its own value", None),
    "state, simdjson": ("its parse into its own tape", None),
    "twice the atoms": ("half of them", 2.2),
    "twice the entries": ("half of them", 2.2),
    "one CIF file": ("gemmi's reader", None),
}
PARSE_17_DIGITS = 1.2


def inside(program, rounds, seconds, pattern):
    """Medians of the benchmark program's jobs: {(job, variant, atoms): {"ours": s, "floor": s}}."""
    command = [program, f"--benchmark_repetitions={rounds}", f"--benchmark_min_time={seconds}",
               "--benchmark_enable_random_interleaving=true", "--benchmark_format=json",
               f"--benchmark_filter={pattern}"]
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout
    times = {}
    for run in json.loads(output)["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        job, variant, atoms, side = run["run_name"].split("/")[:4]  # 0 atoms: another size
        # Use processor time, which excludes other processes, except where a job waits for the disk or
        # for the process that runs ASE.
        clock = "real_time" if "durable" in job or "CIF" in job else "cpu_time"
        sides = times.setdefault((job, variant, int(atoms)), {})
        sides.setdefault(side, []).append(run[clock] * 1e-6)
    return {key: {side: statistics.median(values) for side, values in sides.items()}
            for key, sides in times.items()}


def inside_rows(medians):
    for job, (other, bound) in JOBS.items():
        for variant in sorted({v for j, v, _ in medians if j == job}):
            ratios = {atoms: sides["ours"] / sides["floor"]
                      for (j, v, atoms), sides in medians.items() if (j, v) == (job, variant)}
            yield (f"{job}: {variant}", other, ratios,
                   PARSE_17_DIGITS if (job, variant) == ("parse", "17 digits") else bound)


def table(rows):
    """Compares with the bound at the largest size that was measured."""
    cells = [("what", "compared with", *(f"{size:,}" for size in SIZES), "other", "at most",
              "verdict")]
    for what, other, ratios, bound in rows:
        verdict = ""
        if ratios and bound is not None:
            verdict = "ok" if ratios[max(ratios)] <= bound else "OVER"
        cells.append((what, other,
                      *(f"{ratios[size]:.2f}" if size in ratios else "" for size in (*SIZES, 0)),
                      "" if bound is None else f"{bound:g}", verdict))
    widths = [max(len(row[column]) for row in cells) for column in range(len(cells[0]))]
    lines = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(row, widths)) + " |"
             for row in cells]
    lines.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
    return "\n".join(lines)


def plot(medians):
    """An SVG of the parsing time an atom over the number of atoms: ours and the floor."""
    points = sorted((atoms, sides) for (job, variant, atoms), sides in medians.items()
                    if job == "parse" and variant == "8 decimals")
    left, right, top, bottom = 60, 560, 20, 280
    x_of = lambda atoms: left + (right - left) * (math.log10(atoms) - 2) / (math.log10(20000) - 2)
    highest = 1.1 * max(max(sides.values()) / atoms for atoms, sides in points)
    y_of = lambda seconds: bottom - (bottom - top) * seconds / highest
    svg = ['<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 600 330" font-family="sans-serif" '
           'font-size="12">', '<rect width="600" height="330" fill="white"/>',
           f'<path d="M{left} {top}V{bottom}H{right}" fill="none" stroke="black"/>']
    for step in range(0, int(highest * 1e9) + 1, 20):
        y = y_of(step * 1e-9)
        svg.append(f'<text x="{left - 6}" y="{y + 4:.1f}" text-anchor="end">{step}</text>')
    for atoms, _ in points:
        svg.append(f'<text x="{x_of(atoms):.1f}" y="{bottom + 18}" text-anchor="middle">{atoms:,}</text>')
    svg.append(f'<text x="{(left + right) / 2}" y="{bottom + 38}" text-anchor="middle">atoms</text>')
    svg.append(f'<text x="{left}" y="12">nanoseconds an atom</text>')
    for side, colour, label in (("ours", "#0060c0", "parse_structure_file"),
                                ("floor", "#c04000", "minimal loop")):
        line = " ".join(f"{x_of(atoms):.1f},{y_of(sides[side] / atoms):.1f}" for atoms, sides in points)
        svg.append(f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2"/>')
        y = y_of(points[-1][1][side] / points[-1][0])
        svg.append(f'<text x="{right}" y="{y - 6:.1f}" text-anchor="end" fill="{colour}">{label}</text>')
    return "\n".join(svg) + "\n</svg>\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path, help="the folder of the release build")
    parser.add_argument("--short", action="store_true", help="one quick round, nothing is judged")
    parser.add_argument("--filter", default=".", help="which jobs of the benchmark program to run")
    parser.add_argument("--plot", type=pathlib.Path, help="where to write the plot over sizes (SVG)")
    options = parser.parse_args()
    build = options.build.resolve()
    os.environ["STRUCTURE_INGEST_CACHE"] = "off"  # but where files that are kept are the subject
    rounds, seconds = (1, 0.001) if options.short else (11, 0.02)
    medians = inside(build / "bench" / "structure_ingest_bench", rounds, seconds, options.filter)
    rows = list(inside_rows(medians))
    if options.filter == ".":
        memory = "/dev/shm" if os.path.isdir("/dev/shm") else None  # no waiting for the disk
        with tempfile.TemporaryDirectory(dir=memory) as folder, tempfile.TemporaryDirectory() as disk:
            whole_rounds = 1 if options.short else 9
            rows += Jobs(build, whole_rounds, pathlib.Path(folder), pathlib.Path(disk)).rows()
            rows += known_files.rows(build, whole_rounds, pathlib.Path(folder))
    if options.short:
        rows = [(what, other, ratios, None) for what, other, ratios, _ in rows]
    print(table(rows))
    if options.plot:
        options.plot.write_text(plot(medians))


if __name__ == "__main__":
    sys.exit(main())
