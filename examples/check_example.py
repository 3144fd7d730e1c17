#!/usr/bin/env python3
"""Prints what a run of an example computed beside what is expected.

    check_example.py FOLDER [EXPECTED]

FOLDER holds the inputs and the result files of a finished run; EXPECTED is FOLDER/expected.txt unless given.
Exit status 0: every quantity lies within its tolerance; 1: one does not, or the run has not finished; 2: misuse.

A line of expected.txt is a quantity, its arguments, the expected value (not 0) and the relative
tolerance, blanks between; a line that begins with ## is a heading and is printed, other lines with # are comments.
Lengths in m, potentials in Wb/m (axisymmetric: Atheta), flux density in T, field strength in A/m.

    area P                  cross-section area of property P's elements [m2]
    energy                  half the sum over the elements of the source current density times the integral of the
                            potential; planar [J/m], axisymmetric [J] for the whole turn
    energy_of_elements P    sum of area times half of B.H over property P's elements [J/m]; P 0: all elements
    flux_linkage P Q        mean potential over property P less that over property Q [Wb/m]; axisymmetric: mean of
                            2 pi r Atheta [Wb]; that is the flux linked by one turn; Q 0: nothing is taken off
    mean_b P C              area mean of component C (1 or 2) of B over property P's elements [T]
    b_at_element N C        component C (1: x or r, 2: y or z) of B at the centre of element N [T]
    h_at_element N C        the same of H [A/m]
    potential N             potential of node N
    potential_difference N M   potential of node N less that of node M

Standard library only.
"""

import math
import struct
import sys
from pathlib import Path

NODES_OF_TYPE = {203: 3, 204: 4, 206: 6, 208: 8}
TRIANGLE_POINTS = [(1 / 6, 2 / 3, 1 / 6), (1 / 6, 1 / 6, 2 / 3), (1 / 6, 1 / 6, 1 / 6)]  # weight, xi, eta
G = 1 / math.sqrt(3)
SQUARE_POINTS = [(1.0, -G, -G), (1.0, G, -G), (1.0, -G, G), (1.0, G, G)]
SQUARE_CORNERS = [(-1, -1), (1, -1), (1, 1), (-1, 1)]


def shape(code, xi, eta):
    """Shape values and their derivatives by xi and eta: [(N, dN/dxi, dN/deta)]."""
    if code in (203, 206):
        zeta = 1 - xi - eta
        corners = [(xi, 1, 0), (eta, 0, 1), (zeta, -1, -1)]
        if code == 203:
            return corners
        values = [(c * (2 * c - 1), (4 * c - 1) * cx, (4 * c - 1) * cy) for c, cx, cy in corners]
        for (a, ax, ay), (b, bx, by) in zip(corners, corners[1:] + corners[:1]):
            values.append((4 * a * b, 4 * (ax * b + a * bx), 4 * (ay * b + a * by)))
        return values
    values = []
    for s, t in SQUARE_CORNERS:
        p, q = 1 + s * xi, 1 + t * eta
        if code == 204:
            values.append((p * q / 4, s * q / 4, t * p / 4))
        else:
            c = s * xi + t * eta - 1
            values.append((p * q * c / 4, s * q * (c + p) / 4, t * p * (c + q) / 4))
    if code == 208:
        for s, t in [(0, -1), (1, 0), (0, 1), (-1, 0)]:
            if s == 0:
                values.append(((1 - xi * xi) * (1 + t * eta) / 2, -xi * (1 + t * eta), (1 - xi * xi) * t / 2))
            else:
                values.append(((1 + s * xi) * (1 - eta * eta) / 2, s * (1 - eta * eta) / 2, -eta * (1 + s * xi)))
    return values


def records(path, layout):
    """The records of a binary file up to the one whose number is 0."""
    size = struct.calcsize(layout)
    data = path.read_bytes()
    for start in range(0, len(data) - size + 1, size):
        record = struct.unpack_from(layout, data, start)
        if record[0] == 0:
            return
        yield record
    raise ValueError(f"{path}: no end record")


class Run:
    """One finished run: inputs and results of a folder."""

    def __init__(self, folder):
        log = (folder / "tarnel.log").read_text(errors="replace")
        if not log.endswith("    === The end. ===\n"):
            raise ValueError(f"{folder / 'tarnel.log'}: the run did not reach its end")
        self.axisymmetric = (folder / "t-dimension-data.txt").read_text().split()[0] == "1"
        # coordinates after the local systems: "t-nodes-struct.tmp"
        self.position = {r[0]: (r[1], r[2]) for r in records(folder / "t-nodes-struct.tmp", "=i4x3d")}
        self.potential = {r[0]: r[1] for r in records(folder / "at-nresl-struct.tmp", "=i4xd")}
        self.fields = {r[0]: (r[2], r[3:5], r[6:8]) for r in records(folder / "at-eresl-struct.tmp", "=iii4x12d")}
        self.element_area = {r[0]: r[1] for r in self._areas(folder / "t-felm-vole.tmp")}
        self.elements = self._elements(folder / "t-felm-data.txt")
        self.source = self._sources(folder / "at-prop-data.txt")

    @staticmethod
    def _areas(path):
        data = path.read_bytes()
        return struct.iter_unpack("=id", data[:-4])  # the end mark is a number alone

    @staticmethod
    def _elements(path):
        lines = iter(path.read_text().splitlines())
        elements = {}
        for head in lines:
            noe, code, nop = (int(f) for f in head.split())
            if noe == 0:
                break
            elements[noe] = (code, nop, [int(f) for f in next(lines).split()])
        return elements

    @staticmethod
    def _sources(path):
        lines = [line.split() for line in path.read_text().splitlines()]
        sources = {}
        for k in range(0, len(lines), 5):
            if int(lines[k][0]) == 0:
                break
            sources[int(lines[k][0])] = float(lines[k + 4][4])
        return sources

    def integral_of_potential(self, noe):
        """Integral of A over the element, or of 2 pi r Atheta; with the points and weights of the assembly."""
        code, _, nodes = self.elements[noe]
        total = 0.0
        for weight, xi, eta in TRIANGLE_POINTS if code in (203, 206) else SQUARE_POINTS:
            n = shape(code, xi, eta)
            x = [self.position[k][0] for k in nodes]
            y = [self.position[k][1] for k in nodes]
            jacobian = [sum(n[i][d] * c[i] for i in range(len(nodes))) for d in (1, 2) for c in (x, y)]
            measure = weight * (jacobian[0] * jacobian[3] - jacobian[1] * jacobian[2])
            if self.axisymmetric:
                measure *= 2 * math.pi * sum(n[i][0] * x[i] for i in range(len(nodes)))
            total += measure * sum(n[i][0] * self.potential[k] for i, k in enumerate(nodes))
        return total

    def of_property(self, nop):
        return [noe for noe, (_, p, _) in self.elements.items() if nop in (0, p)]

    def area(self, nop):
        return sum(self.element_area[noe] for noe in self.of_property(nop))

    def energy(self):
        return sum(self.source[p] * self.integral_of_potential(noe) / 2
                   for noe, (_, p, _) in self.elements.items() if self.source[p] != 0.0)

    def energy_of_elements(self, nop):
        total = 0.0
        for noe in self.of_property(nop):
            _, b, h = self.fields[noe]
            total += self.element_area[noe] * (b[0] * h[0] + b[1] * h[1]) / 2
        return total

    def flux_linkage(self, plus, minus):
        value = sum(self.integral_of_potential(noe) for noe in self.of_property(plus)) / self.area(plus)
        if minus != 0:
            value -= sum(self.integral_of_potential(noe) for noe in self.of_property(minus)) / self.area(minus)
        return value

    def mean_b(self, nop, component):
        chosen = self.of_property(nop)
        return sum(self.element_area[noe] * self.fields[noe][1][component - 1] for noe in chosen) / self.area(nop)

    def b_at_element(self, noe, component):
        return self.fields[noe][1][component - 1]

    def h_at_element(self, noe, component):
        return self.fields[noe][2][component - 1]

    def potential_of(self, nog):
        return self.potential[nog]

    def potential_difference(self, nog, other):
        return self.potential[nog] - self.potential[other]


QUANTITIES = {  # name: (arguments, function)
    "area": (1, Run.area),
    "energy": (0, Run.energy),
    "energy_of_elements": (1, Run.energy_of_elements),
    "flux_linkage": (2, Run.flux_linkage),
    "mean_b": (2, Run.mean_b),
    "b_at_element": (2, Run.b_at_element),
    "h_at_element": (2, Run.h_at_element),
    "potential": (1, Run.potential_of),
    "potential_difference": (2, Run.potential_difference),
}


def main(arguments):
    if len(arguments) not in (1, 2):
        print("usage:", __doc__.split("\n\n")[1].strip(), file=sys.stderr)
        return 2
    folder = Path(arguments[0])
    expected = Path(arguments[1]) if len(arguments) == 2 else folder / "expected.txt"
    try:
        run = Run(folder)
        lines = expected.read_text().splitlines()
    except (OSError, ValueError, struct.error) as fault:
        print(fault, file=sys.stderr)
        return 1
    checked = wrong = 0
    print(f"{'quantity':<34} {'computed':>20} {'expected':>20} {'deviation':>10} {'tolerance':>10}")
    for line in lines:
        if line.startswith("#") or not line.strip():
            if line.startswith("## "):
                print(line[3:])
            continue
        name, *fields = line.split()
        count, function = QUANTITIES.get(name, (-1, None))
        if len(fields) != count + 2:
            print(f"{expected}: {line}", file=sys.stderr)
            return 2
        computed = function(run, *(int(f) for f in fields[:count]))
        value, tolerance = float(fields[count]), float(fields[count + 1])
        deviation = abs(computed - value) / abs(value)
        checked += 1
        good = deviation <= tolerance  # a NaN is not good
        wrong += 0 if good else 1
        label = " ".join([name] + fields[:count])
        print(f"{label:<34} {computed:>20.12g} {value:>20.12g} {deviation:>10.1e} {tolerance:>10.1e}"
              f"{'' if good else '  OUT OF TOLERANCE'}")
    print(f"{checked - wrong} of {checked} quantities within tolerance")
    print("results:", *(str(folder / n) for n in ("at-node-resl.txt", "at-felm-resl.txt", "tarnel.log")))
    return 0 if checked > 0 and wrong == 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
