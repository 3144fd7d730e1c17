"""Computes the expected values of an example with GetDP on the example's own mesh, and with the closed form of
reference/halbach_series.py, and writes them to the example's expected.txt.

Standard library and the program getdp.
"""

import math
import subprocess
import sys
from pathlib import Path

from gmsh_to_tarnel import centre

MU0 = 4e-7 * math.pi
REFERENCE = Path(__file__).resolve().parent / "reference"
sys.path.insert(0, str(REFERENCE))


def nearest_element(mesh, place, physical):
    """Number (from 1) of the property's element whose centre is nearest to the place."""
    def distance(noe):
        x, y = centre(mesh, mesh.elements[noe - 1])
        return (x - place[0]) ** 2 + (y - place[1]) ** 2
    return min((noe for noe, e in enumerate(mesh.elements, 1) if e[1] == physical), key=distance)


def nearest_node(mesh, place):
    """Number (from 1) of the node nearest to the place."""
    return 1 + min(range(len(mesh.nodes)),
                   key=lambda i: (mesh.nodes[i][0] - place[0]) ** 2 + (mesh.nodes[i][1] - place[1]) ** 2)


class GetDP:
    """Collects prints, runs GetDP once, hands out the values."""

    def __init__(self, name, msh):
        self.name, self.msh, self.prints = name, msh, []

    def ask(self, quantity, where):
        self.prints.append((quantity, where))
        return len(self.prints) - 1

    def integral(self, quantity, region):
        return self.ask(f"{quantity}[{region}]", "OnGlobal")

    def at(self, quantity, point):
        return self.ask(quantity, f"OnPoint {{{point[0]!r}, {point[1]!r}, 0}}")

    def run(self):
        scratch = Path(self.msh).parent
        lines = [f'Include "{REFERENCE / self.name}.pro";',
                 "PostOperation { { Name Ask; NameOfPostProcessing Static; Operation {"]
        for k, (quantity, where) in enumerate(self.prints):
            lines.append(f'Print[ {quantity}, {where}, Format Table, File "{scratch}/value_{k}.txt" ];')
        problem = scratch / "problem.pro"
        problem.write_text("\n".join(lines) + "\n} } }\n")
        subprocess.run(["getdp", str(problem), "-msh", str(self.msh), "-solve", "Static", "-pos", "Ask", "-v", "2"],
                       check=True, cwd=scratch)
        return [float((scratch / f"value_{k}.txt").read_text().split()[-1]) for k in range(len(self.prints))]


def write_expected(path, sections):
    """sections: [(title, [comment], [(quantity and arguments, value, tolerance)])]"""
    lines = ["# Expected values: quantity, arguments, value, relative tolerance; check_example.py explains them.",
             "# Made by tools/make_examples.py --expected."]
    for title, comments, values in sections:
        lines += ["", f"## {title}"] + [f"# {c}" for c in comments]
        lines += [f"{name} {value:.12g} {tolerance:g}" for name, value, tolerance in values]
    path.write_text("\n".join(lines) + "\n", newline="\n")


def expect_electromagnet(folder, mesh, msh):
    getdp = GetDP("electromagnet", msh)
    energy, gap_energy = getdp.integral("energy", "Whole"), getdp.integral("energy", "Gap")
    gap_area, gap_flux = getdp.integral("area", "Gap"), getdp.integral("flux_y", "Gap")
    coil_area = getdp.integral("area", "CoilPlus")
    plus, minus = getdp.integral("linkage", "CoilPlus"), getdp.integral("linkage", "CoilMinus")
    middle = nearest_element(mesh, (0.08, 0.0), 5)
    yoke = nearest_element(mesh, (-0.08, 0.0), 1)
    inner, outer = nearest_node(mesh, (0.06, 0.0025)), nearest_node(mesh, (0.10, 0.0025))
    by_middle = getdp.at("by", centre(mesh, mesh.elements[middle - 1]))
    by_yoke = getdp.at("by", centre(mesh, mesh.elements[yoke - 1]))
    hy_yoke = getdp.at("hy", centre(mesh, mesh.elements[yoke - 1]))
    a_inner, a_outer = (getdp.at("a", mesh.nodes[n - 1]) for n in (inner, outer))
    v = getdp.run()
    ampere_turns = 1e6 * 0.028 * 0.1
    write_expected(folder / "expected.txt", [
        ("GetDP on the same mesh, first order", [], [
            ("energy", v[energy], 1e-8),
            ("energy_of_elements 0", v[energy], 1e-8),
            ("energy_of_elements 5", v[gap_energy], 1e-7),
            ("flux_linkage 2 3", (v[plus] - v[minus]) / v[coil_area], 1e-8),
            ("mean_b 5 2", v[gap_flux] / v[gap_area], 1e-7),
            (f"potential_difference {inner} {outer}", v[a_inner] - v[a_outer], 1e-7),
            (f"b_at_element {middle} 2", v[by_middle], 1e-7),
            (f"b_at_element {yoke} 2", v[by_yoke], 1e-7),
            (f"h_at_element {yoke} 2", v[hy_yoke], 1e-7),
        ]),
        ("geometry", [], [("area 5", 0.04 * 0.005, 1e-9), ("area 1", 0.2 * 0.2 - 0.12 * 0.12 - 0.04 * 0.005, 1e-9)]),
        ("magnetic circuit: mu0 N I / (gap + iron path / 1000), leakage left out",
         ["gap 5 mm, iron path along the middle of the core 4 x 160 mm less the gap"], [
            (f"b_at_element {middle} 2", MU0 * ampere_turns / (0.005 + (4 * 0.16 - 0.005) / 1000), 0.05)]),
    ])


def expect_solenoid(folder, mesh, msh):
    getdp = GetDP("solenoid", msh)
    energy, area, linkage = (getdp.integral(*q) for q in (("energy", "Whole"), ("area", "Coil"), ("linkage", "Coil")))
    chosen = {
        "plunger, on the axis, level with the coil's upper half": (nearest_element(mesh, (0.0005, 0.03), 1), "by"),
        "air, on the axis, 10 mm below the nose": (nearest_element(mesh, (0.0005, -0.02), 3), "by"),
        "plunger, at the rounded edge of the nose": (nearest_element(mesh, (0.0185, -0.0085), 1), "bx"),
        "coil, a quadrilateral at its inner side": (nearest_element(mesh, (0.0265, 0.0), 2), "by"),
    }
    fields = [(noe, c, getdp.at(c, centre(mesh, mesh.elements[noe - 1]))) for noe, c in chosen.values()]
    axis = nearest_element(mesh, (0.0005, 0.03), 1)
    h_axis = getdp.at("hy", centre(mesh, mesh.elements[axis - 1]))
    node = nearest_node(mesh, (0.02, 0.03))
    potential = getdp.at("a", mesh.nodes[node - 1])
    v = getdp.run()
    comments = [f"element {noe}: {text}" for text, (noe, _) in chosen.items()]
    write_expected(folder / "expected.txt", [
        ("GetDP on the same mesh, second order", comments, [
            ("energy", v[energy], 1e-8),
            ("flux_linkage 2 0", v[linkage] / v[area], 1e-8),
            *((f"b_at_element {noe} {1 if c == 'bx' else 2}", v[k], 1e-7) for noe, c, k in fields),
            (f"h_at_element {axis} 2", v[h_axis], 1e-7),
            (f"potential {node}", v[potential], 1e-7),
        ]),
        ("geometry", ["the plunger's edge of 4 mm radius is drawn by second-order sides, hence its tolerance"], [
            ("area 2", 0.015 * 0.1, 1e-9),
            ("area 1", 0.02 * 0.1 - (1 - math.pi / 4) * 0.004 ** 2, 1e-5)]),
    ])


    # the coil alone, the plunger's permeability set to that of air
    places = [nearest_element(mesh, (0.0005, z), p) for z, p in ((0.0, 1), (0.03, 1), (-0.02, 3))]
    write_expected(folder / "expected-air-core.txt", [
        ("closed form of the thick coil in free space, on the axis at the element's height",
         ["the tolerance is the box's: at 0.2 m it takes 0.7 % off the field"],
         [(f"b_at_element {noe} 2", thick_coil(centre(mesh, mesh.elements[noe - 1])[1]), 0.01) for noe in places])])


def thick_coil(z):
    """Axial flux density on the axis of a coil of rectangular section in free space."""
    inner, outer, bottom, top, density = 0.025, 0.040, -0.05, 0.05, 2e6

    def part(u):
        return u * math.log((outer + math.hypot(outer, u)) / (inner + math.hypot(inner, u)))
    return MU0 * density / 2 * (part(top - z) - part(bottom - z))


def expect_magnets(folder, mesh, msh):
    from halbach_series import field
    getdp = GetDP("magnets", msh)
    chosen = {
        "air, 5 mm above the middle of block 1": (nearest_element(mesh, (0.005, 0.025), 6), 2),
        "air, 5 mm above the middle of block 3": (nearest_element(mesh, (0.025, 0.025), 6), 1),
        "magnet block 1": (nearest_element(mesh, (0.005, 0.016), 2), 2),
        "magnet block 4": (nearest_element(mesh, (0.035, 0.016), 5), 1),
        "plate, 1 mm below block 1": (nearest_element(mesh, (0.0025, 0.011), 1), 1),
        "plate, the same element, y component": (nearest_element(mesh, (0.0025, 0.011), 1), 2),
    }
    points = [centre(mesh, mesh.elements[noe - 1]) for noe, _ in chosen.values()]
    fields = [getdp.at("bx" if c == 1 else "by", p) for (_, c), p in zip(chosen.values(), points)]
    plate = nearest_element(mesh, (0.0025, 0.011), 1)
    hx_plate = getdp.at("hx", centre(mesh, mesh.elements[plate - 1]))
    block = nearest_element(mesh, (0.005, 0.016), 2)
    hy_block = getdp.at("hy", centre(mesh, mesh.elements[block - 1]))
    top_left, top_right = nearest_node(mesh, (0.0, 0.02)), nearest_node(mesh, (0.04, 0.02))
    crest = nearest_node(mesh, (0.025, 0.02))
    asked = [(n, getdp.at("a", mesh.nodes[n - 1])) for n in (top_left, top_right, crest)]
    v = getdp.run()
    exact = field(points)
    crest_exact = field([mesh.nodes[crest - 1]])[0][0]
    names = [f"b_at_element {noe} {c}" for noe, c in chosen.values()]
    comments = [f"element {noe}: {text}" for text, (noe, _) in chosen.items()]
    write_expected(folder / "expected.txt", [
        ("GetDP on the same mesh, first order", comments, [
            *((name, v[k], 1e-7) for name, k in zip(names, fields)),
            (f"h_at_element {plate} 1", v[hx_plate], 1e-7),
            (f"h_at_element {block} 2", v[hy_block], 1e-7),
            *((f"potential {n}", v[k], 1e-7) for n, k in asked),
            (f"potential_difference {top_left} {top_right}", v[asked[0][1]] - v[asked[1][1]], 1e-7),
        ]),
        ("closed form (Fourier series), which knows no mesh", ["the tolerance is the mesh's"], [
            *((name, e[c], 0.005) for name, e, (_, c) in zip(names, exact, chosen.values())),
            (f"potential {crest}", crest_exact, 0.0005),
        ]),
        ("geometry", [], [(f"area {p}", a, 1e-9) for p, a in ((1, 0.04 * 0.012), (2, 8e-5), (6, 0.04 * 0.06))]),
    ])


EXPECTATIONS = {"electromagnet": expect_electromagnet, "solenoid": expect_solenoid, "magnets": expect_magnets}


def make_expected(name, folder, mesh, msh):
    EXPECTATIONS[name](folder, mesh, msh)
