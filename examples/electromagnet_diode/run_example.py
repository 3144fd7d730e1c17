#!/usr/bin/env python3
"""Steps the electromagnet with its diode and checks the current's course.

    run_example.py [--host COMMAND] FOLDER

FOLDER is made anew and holds the inputs and results of the run at hand; "current.csv" there collects all steps.
COMMAND, "tarnel solve" unless given, is called with FOLDER as its last argument for every step.
Exit status 0: the current lies within its tolerances in every step; 1: it does not, or a run failed; 2: misuse.

Standard library only.
"""

import argparse
import math
import os
import shlex
import shutil
import struct
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
FIELD = HERE.parent / "electromagnet"  # mesh and boundary are those of that example
FIELD_INPUTS = ["t-dimension-data.txt", "t-lcs-data.txt", "t-node-data.txt", "t-felm-data.txt", "at-fixc-data.txt"]
OWN_INPUTS = ["at-cntl-data.txt", "at-prop-data.txt"]
COIL_IN_WINDOW, COIL_OUTSIDE, GAP = 2, 3, 5  # properties

DEPTH = 0.1  # [m]
TURNS = 400
SIDE_AREA = 0.0028  # cross-section of a coil side [m2]
RESISTANCE = 4.0  # [Ohm]
VOLTAGE = 24.0  # [V]
STEP = 0.0025  # [s], as in at-cntl-data.txt
STEPS_FORWARD, STEPS_BACKWARD = 40, 24
DIODE = [(-200.0, -2e-6), (0.0, 0.0), (0.75, 0.001), (1.0, 5.001)]  # voltage [V], current [A]

# From the electromagnet's expected.txt, computed by GetDP for 2,800 ampere-turns:
FLUX_OF_A_TURN = 0.0364771201192  # [Wb/m]
GAP_FLUX_DENSITY = 0.60888863756  # [T]
INDUCTANCE = DEPTH * TURNS * TURNS * FLUX_OF_A_TURN / 2800  # [H]

MAXVLT = 10  # every list of the circuit files holds fewer members
ONE_EDGE = 1
END_OF_RUN = "    === The end. ===\n"  # last line of the log


def integers(*values):
    return struct.pack(f"={len(values)}i", *values)


def reals(*values):
    return struct.pack(f"={len(values)}d", *values)


def source_voltage(step):
    return VOLTAGE if step <= STEPS_FORWARD else -VOLTAGE


def write_circuit(folder):
    """What stays the same from step to step: regions, unknowns, diode and matrix."""
    regions = integers(MAXVLT)
    for nop, direction in ((COIL_IN_WINDOW, 1), (COIL_OUTSIDE, -1)):
        regions += integers(nop, 1, 0)  # driven by a voltage
        regions += integers(ONE_EDGE, 1) + reals(0, 0, direction * TURNS / SIDE_AREA) + integers(0, 0)
        regions += integers(0)
    (folder / "t-volt-data1.tmp").write_bytes(regions + integers(0))

    unknowns = integers(MAXVLT, 0, 1, 1, 0)  # no grad-fai conditions, one edge, coupled to the field, no nodes
    unknowns += integers(0)
    unknowns += integers(ONE_EDGE, 1) + reals(0, 0, 0, 0, 0, 0, DEPTH) + integers(0, 0) + integers(0)
    unknowns += integers(0)
    unknowns += integers(len(DIODE), 5000) + reals(1e-10)  # table points, limit of passes, tolerance
    unknowns += integers(ONE_EDGE, 1, 1) + integers(0)  # table 1, in the edge's direction
    unknowns += integers(1, len(DIODE)) + b"".join(reals(v, i) for v, i in DIODE) + integers(0)
    (folder / "t-volt-data2.tmp").write_bytes(unknowns)

    (folder / "t-voltr-matrix.tmp").write_bytes(integers(1) + reals(RESISTANCE))
    (folder / "t-voltp-solution.tmp").write_bytes(integers(1) + reals(0) + integers(1) + reals(0))


def run_step(folder, command, step):
    """One run. Its inputs are the constant ones, the source voltage and the results of the step before."""
    (folder / "t-voltr-vector.tmp").write_bytes(integers(1) + reals(source_voltage(step)))
    (folder / "tarnel.log").unlink(missing_ok=True)
    outcome = subprocess.run(command + [str(folder)], stdout=subprocess.DEVNULL, check=False)
    log = folder / "tarnel.log"
    if outcome.returncode != 0 or not log.exists() or not log.read_text(errors="replace").endswith(END_OF_RUN):
        raise RuntimeError(f"step {step}: the run did not reach its end, see {log}")
    current = struct.unpack_from("=d", (folder / "t-voltr-solution.tmp").read_bytes(), 4)[0]
    gap = mean_gap_flux_density(folder)
    os.replace(folder / "at-nresl-struct.tmp", folder / "at-npresl-struct.tmp")
    os.replace(folder / "t-voltr-solution.tmp", folder / "t-voltp-solution.tmp")
    return current, gap


def mean_gap_flux_density(folder):
    """Area mean of By over the gap [T]."""
    areas = dict(struct.iter_unpack("=id", (folder / "t-felm-vole.tmp").read_bytes()[:-4]))
    total = area = 0.0
    for noe, nop, by in struct.iter_unpack("=i4xi12xd80x", (folder / "at-eresl-struct.tmp").read_bytes()):
        if noe != 0 and nop == GAP:
            total += areas[noe] * by
            area += areas[noe]
    return total / area


def current_of(voltage, resistance):
    """Current of a voltage behind a resistance and the diode: the segment of the table that holds its own solution."""
    for k in range(len(DIODE) - 1):
        (v0, i0), (v1, i1) = DIODE[k], DIODE[k + 1]
        slope = (v1 - v0) / (i1 - i0)
        i = (voltage - v0 + slope * i0) / (resistance + slope)
        if (k == 0 or i >= i0) and (k == len(DIODE) - 2 or i <= i1):
            return i
    raise ValueError("no segment")


def closed_form(time):
    """Exponentials with the conducting diode as the line v0 + rd i, and no current once it blocks."""
    (va, ia), (vb, ib) = DIODE[-2:]
    rd = (vb - va) / (ib - ia)
    v0 = va - rd * ia
    total = RESISTANCE + rd
    tau = INDUCTANCE / total
    forward, end = (VOLTAGE - v0) / total, STEPS_FORWARD * STEP
    if time <= end:
        return forward * (1 - math.exp(-time / tau))
    backward = (VOLTAGE + v0) / total
    peak = forward * (1 - math.exp(-end / tau))
    return max(0.0, (peak + backward) * math.exp(-(time - end) / tau) - backward)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--host", default="tarnel solve", metavar="COMMAND")
    parser.add_argument("folder", type=Path, metavar="FOLDER")
    arguments = parser.parse_args()
    command = shlex.split(arguments.host)
    folder = arguments.folder
    try:
        folder.mkdir(parents=True)
    except FileExistsError:
        parser.error(f"{folder} exists")
    for name in FIELD_INPUTS:
        shutil.copyfile(FIELD / name, folder / name)
    for name in OWN_INPUTS:
        shutil.copyfile(HERE / name, folder / name)
    write_circuit(folder)

    lines, wrong = ["step, time [s], voltage [V], current [A], by hand [A], closed form [A], gap By [T]"], 0
    by_hand = worst_by_hand = worst_closed = worst_gap = 0.0
    peak = closed_form(STEPS_FORWARD * STEP)
    for step in range(1, STEPS_FORWARD + STEPS_BACKWARD + 1):
        try:
            current, gap = run_step(folder, command, step)
        except (OSError, RuntimeError) as fault:
            print(fault, file=sys.stderr)
            return 1
        induced = INDUCTANCE / STEP
        by_hand = current_of(source_voltage(step) + induced * by_hand, RESISTANCE + induced)
        exact = closed_form(step * STEP)
        expected_gap = GAP_FLUX_DENSITY * TURNS * current / 2800
        deviations = (abs(current - by_hand) / peak, abs(current - exact) / peak,
                      abs(gap - expected_gap) / (GAP_FLUX_DENSITY * TURNS * peak / 2800))
        worst_by_hand, worst_closed, worst_gap = (max(pair) for pair in
                                                  zip((worst_by_hand, worst_closed, worst_gap), deviations))
        good = deviations[0] <= 1e-6 and deviations[1] <= 0.02 and deviations[2] <= 1e-6  # a NaN is not good
        wrong += 0 if good else 1
        lines.append(f"{step}, {step * STEP:.4f}, {source_voltage(step):g}, {current:.9g}, {by_hand:.9g}, {exact:.9g}, "
                     f"{gap:.9g}")
        if step % 8 == 0 or not good:
            print(f"step {step:2d}: {current:12.6g} A, by hand {by_hand:12.6g} A, closed form {exact:12.6g} A, "
                  f"gap {gap:12.6g} T{'' if good else '  OUT OF TOLERANCE'}", flush=True)
    (folder / "current.csv").write_text("\n".join(lines) + "\n")
    print("largest deviations, as parts of the peak:")
    print(f"  current from the backward-Euler circuit  {worst_by_hand:.1e}  (1e-6 allowed)")
    print(f"  current from the exponentials            {worst_closed:.1e}  (2e-2)")
    print(f"  flux density in the gap                  {worst_gap:.1e}  (1e-6)")
    print("results:", folder / "current.csv")
    return 0 if wrong == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
