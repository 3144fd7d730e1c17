#!/usr/bin/python3
"""What a run costs a user: each solver on a reference model of growing size, and what factor and tolerance do.

    bench_choices.py --host HOST [--pictures FOLDER] DIR...

HOST makes one run of the library in its working directory; DIR is a planar reference model, 3k and 30k among them, its
name ending in the size. Prints tables; with --pictures (python3-matplotlib) the curves too, as SVG.
"""

import argparse
import array
import math
import os
import re
import shutil
import subprocess
import sys
import tempfile

INPUTS = ("t-dimension-data.txt", "at-cntl-data.txt", "t-lcs-data.txt", "t-node-data.txt", "t-felm-data.txt",
          "at-prop-data.txt", "at-fixc-data.txt")
END = "=== The end. ==="

LEAST_PEAK = 17  # MB; a process begins with the size of the one that starts it

# name, line 4 of the control data, largest model in unknowns (beyond it a run takes minutes)
SOLVERS = (("ICCG", "1 1", 2e6), ("CG", "1 0", 3e5), ("SCG", "1 2", 3e5), ("skyline", "0 0", 3e5),
           ("Gauss-Seidel", "2 0", 5e3))


def half_product(folder):
    """Half the product of right-hand side and solution: the field's energy."""
    vectors = []
    for name in ("t-femr-vector.tmp", "t-femr-solution.tmp"):
        with open(os.path.join(folder, name), "rb") as file:
            count = array.array("i")
            count.fromfile(file, 1)
            vector = array.array("d")
            vector.fromfile(file, count[0])
            vectors.append(vector)
    return 0.5 * math.fsum(a * b for a, b in zip(*vectors))


def reference_energy(folder):
    with open(os.path.join(folder, "reference.txt")) as file:
        return float(file.read().split()[2])


def run(host, model, solver, limit=1000000, tolerance=1e-10, factor=0.95):
    """One run in a folder of its own; a dictionary of what it cost, or None when it ended with an error."""
    with tempfile.TemporaryDirectory(dir=os.path.dirname(os.path.abspath(model))) as folder:
        for name in INPUTS:
            shutil.copy(os.path.join(model, name), folder)
        path = os.path.join(folder, "at-cntl-data.txt")
        with open(path) as file:
            lines = file.read().split("\n")
        lines[3] = solver
        lines[4] = f"{limit} {tolerance:g} {factor:g}"
        with open(path, "w") as file:
            file.write("\n".join(lines))
        with open(os.path.join(folder, "t-skylin.txt"), "w") as file:
            file.write("4000000 100 20\n" + "".join(f"skyline-{k}.tmp\n" for k in range(1, 101)))
        if solver.startswith("0"):
            del lines[4]
            with open(path, "w") as file:
                file.write("\n".join(lines))
        before = sum(os.path.getsize(os.path.join(folder, name)) for name in os.listdir(folder))
        process = subprocess.Popen([host], cwd=folder, stdout=subprocess.DEVNULL)
        _, _, usage = os.wait4(process.pid, 0)
        with open(os.path.join(folder, "tarnel.log")) as file:
            log = file.read()
        if END not in log:
            return None
        energy = half_product(folder)
        return {"seconds": usage.ru_utime + usage.ru_stime, "peak": usage.ru_maxrss * 1024 / 1e6,
                "disk": (sum(os.path.getsize(os.path.join(folder, name)) for name in os.listdir(folder)) - before) / 1e6,
                "iterations": len(re.findall("solver convergence", log)),
                "error": abs(energy / reference_energy(model) - 1)}


def unknowns_of(model):
    with open(os.path.join(model, "at-cntl-data.txt")) as file:
        return int(file.readline().split()[4])


def table(rows):
    widths = [max(len(row[k]) for row in rows) for k in range(len(rows[0]))]
    def line(row):
        return "| " + " | ".join(text.ljust(width) if k == 0 else text.rjust(width)
                                 for k, (text, width) in enumerate(zip(row, widths))) + " |"
    print(line(rows[0]))
    print("| " + " | ".join("-" * width if k == 0 else "-" * (width - 1) + ":" for k, width in enumerate(widths)) + " |")
    for row in rows[1:]:
        print(line(row))
    print()


def measure_solvers(host, models):
    rows = [("solver", "unknowns", "iterations", "CPU s of the run", "peak MB", "MB on disk", "energy error")]
    curves = {}
    for name, solver, most in SOLVERS:
        for model in models:
            n = unknowns_of(model)
            if n > most:
                continue
            factor = 1.0 if name == "Gauss-Seidel" else 0.95
            cost = run(host, model, solver, factor=factor)
            if cost is None:
                sys.exit(f"bench_choices: {name} failed on {model}")
            curves.setdefault(name, []).append((n, cost["seconds"], cost["peak"], cost["disk"]))
            rows.append((name, f"{n:,}", f"{cost['iterations']:,}" if cost["iterations"] else "", f"{cost['seconds']:.3g}",
                         f"{cost['peak']:.0f}" if cost["peak"] > LEAST_PEAK else f"< {LEAST_PEAK}",
                         f"{cost['disk']:.0f}", f"{cost['error']:.0e}"))
    table(rows)
    return curves


def measure_factors(host, model):
    rows = [("factor of ICCG", "iterations")]
    curve = []
    for factor in (0.80, 0.85, 0.86, 0.87, 0.88, 0.89, 0.90, 0.92, 0.93, 0.94, 0.95, 0.97, 1.0, 1.05, 1.1, 1.2, 1.5):
        cost = run(host, model, "1 1", factor=factor, limit=20000)
        ended = cost is None or cost["error"] > 1e-6
        rows.append((f"{factor:.2f}", "breaks down" if ended else f"{cost['iterations']:,}"))
        if not ended:
            curve.append((factor, cost["iterations"]))
    table(rows)
    return curve


def measure_tolerances(host, model):
    rows = [("tolerance", "iterations", "energy error")]
    curve = []
    for exponent in range(2, 13):
        cost = run(host, model, "1 1", tolerance=10.0**-exponent)
        rows.append((f"1e-{exponent}", f"{cost['iterations']:,}", f"{cost['error']:.0e}"))
        curve.append((10.0**-exponent, cost["iterations"], cost["error"]))
    table(rows)
    return curve


def draw(folder, curves, factors, tolerances):
    import matplotlib
    matplotlib.use("svg")
    matplotlib.rcParams.update({"svg.hashsalt": "tarnel", "font.size": 10, "axes.grid": True, "grid.alpha": 0.3})
    import matplotlib.pyplot as plt
    os.makedirs(folder, exist_ok=True)

    def save(figure, name):
        figure.tight_layout()
        figure.savefig(os.path.join(folder, name), metadata={"Date": None})
        plt.close(figure)

    figure, axes = plt.subplots(1, 3, figsize=(11, 3.6))
    for k, (title, unit) in enumerate((("time of a run", "CPU s"), ("peak memory", "MB"), ("files written", "MB"))):
        for name, points in curves.items():
            axes[k].loglog([p[0] for p in points], [p[1 + k] for p in points], "o-", label=name, markersize=3)
        axes[k].set(title=title, xlabel="unknowns", ylabel=unit)
    axes[0].legend(fontsize=8)
    save(figure, "cost-by-solver.svg")

    figure, axes = plt.subplots(1, 2, figsize=(9, 3.4))
    axes[0].plot([f[0] for f in factors], [f[1] for f in factors], "o-", markersize=3)
    axes[0].set(title="acceleration factor of ICCG", xlabel="factor", ylabel="iterations")
    axes[1].semilogx([t[0] for t in tolerances], [t[1] for t in tolerances], "o-", markersize=3)
    axes[1].set(title="tolerance", xlabel="tolerance", ylabel="iterations")
    axes[1].invert_xaxis()
    error = axes[1].twinx()
    error.loglog([t[0] for t in tolerances], [t[2] for t in tolerances], "s--", color="tab:red", markersize=3)
    error.set_ylabel("error of the energy", color="tab:red")
    error.grid(False)
    save(figure, "factor-and-tolerance.svg")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--host", required=True)
    parser.add_argument("--pictures", metavar="FOLDER")
    parser.add_argument("models", nargs="+", metavar="DIR")
    given = parser.parse_args()
    host = os.path.abspath(given.host)
    models = sorted(given.models, key=unknowns_of)
    curves = measure_solvers(host, models)
    middle = min(models, key=lambda model: abs(unknowns_of(model) - 26000))
    factors = measure_factors(host, middle)
    tolerances = measure_tolerances(host, middle)
    if given.pictures:
        draw(given.pictures, curves, factors, tolerances)


if __name__ == "__main__":
    main()
