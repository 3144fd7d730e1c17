#!/usr/bin/env python3
"""Whole runs, inputs to result files, beside GetDP and FreeFEM on the same mesh, one core each.

    bench_programs.py [--repeat N] --host HOST DIR...

HOST makes one run of the library in its working directory; DIR is a planar reference model with its mesh beside it as
DIR.msh. A program that is not installed is left out with a word. Every energy is held against the model's reference
before a time counts. The programs number the unknowns themselves. GetDP and FreeFEM take their own default solvers;
FreeFEM with CHOLMOD writes no tables of results.
"""

import argparse
import array
import os
import shutil
import statistics
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
TOLERANCE = 1e-6  # of the energy, relative
LOG = "bench-program.log"


def half_product(first, second):
    """Half the product of two files of a count and so many doubles: right-hand side and solution give the energy."""
    vectors = []
    for name in (first, second):
        with open(name, "rb") as file:
            count = array.array("i")
            count.fromfile(file, 1)
            vector = array.array("d")
            vector.fromfile(file, count[0])
            vectors.append(vector)
    return 0.5 * sum(a * b for a, b in zip(*vectors))


def energy_in(name, field):
    def read(directory):
        with open(os.path.join(directory, name)) as file:
            return float(file.read().split()[field])

    return read


def our_energy(directory):
    return half_product(os.path.join(directory, "t-femr-vector.tmp"), os.path.join(directory, "t-femr-solution.tmp"))


def freefem_mesh(msh, target):
    """Turns a mesh of Gmsh (MSH 2.2, text) into one of FreeFEM: nodes, triangles with their region, border edges."""
    with open(msh) as file:
        lines = iter(file)
        while next(lines) != "$Nodes\n":
            pass
        nodes = [next(lines).split()[1:3] for _ in range(int(next(lines)))]
        while next(lines) != "$Elements\n":
            pass
        triangles, borders = [], []
        for _ in range(int(next(lines))):
            fields = next(lines).split()
            of_kind = triangles if fields[1] == "2" else borders
            of_kind.append(" ".join(fields[3 + int(fields[2]):]) + " " + fields[3] + "\n")
    with open(target, "w") as out:
        out.write(f"{len(nodes)} {len(triangles)} {len(borders)}\n")
        out.writelines(f"{x} {y} 0\n" for x, y in nodes)
        out.writelines(triangles)
        out.writelines(borders)


class Program:
    def __init__(self, name, command, directory, energy):
        self.name, self.command, self.directory, self.energy = name, command, directory, energy
        self.wall, self.cpu = [], []

    def take_turn(self, reference):
        environment = dict(os.environ, OMP_NUM_THREADS="1", OPENBLAS_NUM_THREADS="1")
        with open(os.path.join(self.directory, LOG), "w") as log:
            start = time.monotonic()
            process = subprocess.Popen(self.command, cwd=self.directory, env=environment, stdout=log, stderr=log)
            _, status, used = os.wait4(process.pid, 0)
            wall = time.monotonic() - start
        process.returncode = os.waitstatus_to_exitcode(status)
        energy = self.energy(self.directory)
        if process.returncode != 0 or not abs(energy / reference - 1) < TOLERANCE:
            sys.exit(f"bench_programs: {self.name}: energy {energy}, expected {reference}: see {self.directory}/{LOG}")
        self.wall.append(wall)
        self.cpu.append(used.ru_utime + used.ru_stime)


def seconds(value):
    return f"{value:.3f}" if value < 10 else f"{value:.2f}"


def programs_for(host, model):
    """The programs of a comparison, ours first, and a word on those that are missing."""
    mesh = os.path.abspath(model + ".msh")
    work = os.path.abspath(model + "-programs")
    os.makedirs(work, exist_ok=True)
    programs = [Program("tarnel, ICCG, tables", [host], os.path.abspath(model), our_energy)]
    missing = []
    if shutil.which("getdp"):
        shutil.copy(os.path.join(HERE, "peers", "ccore.pro"), work)
        command = ["getdp", "ccore.pro", "-msh", mesh, "-solve", "Sta", "-pos", "Tables", "-v", "1"]
        programs.append(Program("GetDP, tables", command, work, energy_in("getdp-energy.txt", 1)))
    else:
        missing.append("GetDP")
    if shutil.which("FreeFem++"):
        freefem_mesh(mesh, os.path.join(work, "freefem.msh"))
        shutil.copy(os.path.join(HERE, "peers", "ccore.edp"), work)
        command = ["FreeFem++", "-nw", "-v", "0", "-ne", "ccore.edp", "freefem.msh"]
        energy = energy_in("freefem-energy.txt", 0)
        programs.append(Program("FreeFEM default, tables", command + ["default", "1"], work, energy))
        programs.append(Program("FreeFEM CHOLMOD, no tables", command + ["cholmod", "0"], work, energy))
    else:
        missing.append("FreeFEM")
    return programs, missing


class CalmMoments:
    """Waits for calm moments of the processor as the other benchmarks do, some two minutes in all."""

    def __init__(self, host):
        self.program, self.patience = os.path.join(os.path.dirname(host), "bench_calm"), 120.0

    def wait(self):
        if self.patience > 0:
            start = time.monotonic()
            subprocess.run([self.program], check=True)
            self.patience -= time.monotonic() - start


def compare(host, model, repeats, calm):
    with open(os.path.join(model, "reference.txt")) as file:
        name, size, energy = file.read().split()
    if name != "ccore":
        return
    programs, missing = programs_for(host, model)
    for _ in range(repeats):
        for program in programs:
            calm.wait()
            program.take_turn(float(energy))
    ours = programs[0]
    rows = [[f"whole run, {name} {size}", "CPU s", "s", "ours / this, CPU", "ours / this, s", "goal"]]
    for program in programs:
        cpu, wall = statistics.median(program.cpu), statistics.median(program.wall)
        row = [program.name, seconds(cpu), seconds(wall)]
        if program is ours:
            rows.append(row + ["", "", ""])
            continue
        ratio = statistics.median(ours.cpu) / cpu
        row += [f"{ratio:.2f}", f"{statistics.median(ours.wall) / wall:.2f}"]
        rows.append(row + ["below 1.00: " + ("yes" if ratio < 1 else "no")])
    rows += [[program, "not installed", "", "", "", ""] for program in missing]
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    rows.insert(1, ["-" * widths[0]] + ["-" * (width - 1) + ":" for width in widths[1:]])
    for row in rows:
        print("| " + row[0].ljust(widths[0]) + "".join(" | " + cell.rjust(w) for cell, w in zip(row[1:], widths[1:])) +
              " |")
    print(flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--host", required=True)
    parser.add_argument("model", nargs="+")
    given = parser.parse_args()
    host = os.path.abspath(given.host)
    calm = CalmMoments(host)
    for model in given.model:
        compare(host, model.rstrip("/"), max(given.repeat, 1), calm)


main()
