#!/usr/bin/env python3
"""Makes the inputs of the examples from their Gmsh geometries.

    make_examples.py [--expected] [NAME ...]

With --expected the expected values are computed too (GetDP and the closed forms in reference/).  Needs the programs
gmsh and, for --expected, getdp; neither is needed to run an example.
"""

import argparse
import math
import subprocess
import sys
import tempfile
from pathlib import Path

from gmsh_to_tarnel import LocalSystem, match_sides, read_msh, write_model

EXAMPLES = Path(__file__).resolve().parent.parent
MU0 = 4e-7 * math.pi


def fixed_at_zero(mesh, curve):
    return {i: 0.0 for i in mesh.curves[curve]}


def electromagnet(mesh, folder):
    properties = {
        1: dict(mu=1000 * MU0),
        2: dict(mu=MU0, j=1e6),
        3: dict(mu=MU0, j=-1e6),
        4: dict(mu=MU0),
        5: dict(mu=MU0),
    }
    write_model(folder, mesh, False, properties, fixed_at_zero(mesh, 10))


def solenoid(mesh, folder):
    properties = {
        1: dict(mu=800 * MU0),
        2: dict(mu=MU0, j=2e6),
        3: dict(mu=MU0),
    }
    # 1: along the plunger's shaft from its nose, then outwards; its z axis points out of the back of the plane
    # 2: around the centre of the nose's rounded edge
    systems = [
        LocalSystem(0, 2, [(0, -10, 0), (0, -10, -1), (0, -9, 0)]),
        LocalSystem(1, 2, [(16, -6, 0), (16, -6, 1), (17, -6, 0)]),
    ]
    plunger = {i for _, physical, connection in mesh.elements if physical == 1 for i in connection}

    def system_of_node(i, x, y):
        if i not in plunger:
            return 0
        on_rounded_edge = x >= 0.016 and y <= -0.006
        return 2 if on_rounded_edge else 1

    write_model(folder, mesh, True, properties, fixed_at_zero(mesh, 10), systems=systems,
                system_of_node=system_of_node)


def magnets(mesh, folder):
    remanence, mu = 1.2, 1.05 * MU0
    coercive_force = remanence / mu
    properties = {
        1: dict(mu=MU0, table=1),  # the element table holds its permeability
        2: dict(mu=mu, bvec=(0, 0, 1, 0, remanence)),
        3: dict(mu=mu, bvec=(1, 1, 0, 0, remanence)),
        4: dict(mu=mu, hvec=(0, -1, 0, 0, coercive_force)),
        5: dict(mu=mu, hvec=(1, 0, 1, 0, coercive_force)),
        6: dict(mu=MU0),
    }
    # 1: x axis 135 degrees, y axis 225 degrees from the global x axis
    systems = [LocalSystem(0, 0, [(0, 0, 0), (0, 0, 1), (-1, 1, 0)])]
    # rolled steel: relative permeability 1500 along the rolling direction, 300 across, 20 degrees from the x axis
    along, across, c, s = 1500 * MU0, 300 * MU0, math.cos(math.radians(20)), math.sin(math.radians(20))
    tensor = (along * c * c + across * s * s, (along - across) * s * c,
              (along - across) * s * c, along * s * s + across * c * c, 0.0, 0.0)
    fixed = fixed_at_zero(mesh, 10)
    pairs = match_sides(mesh, 11, 12, 0.04)
    dependent = {right: (left, -1.0) for right, left in pairs.items()}
    write_model(folder, mesh, False, properties, fixed, dependent, systems, tensors={1: tensor})


RECIPES = {"electromagnet": electromagnet, "solenoid": solenoid, "magnets": magnets}


def main():
    parser = argparse.ArgumentParser(description="Makes the inputs of the examples from their Gmsh geometries.")
    parser.add_argument("--expected", action="store_true", help="compute the expected values too")
    parser.add_argument("names", nargs="*", metavar="NAME", help="examples to make; all of them unless given")
    options = parser.parse_args()
    for name in options.names or RECIPES:
        if name not in RECIPES:
            parser.error(f"no example named {name}")
        folder = EXAMPLES / name
        with tempfile.TemporaryDirectory() as scratch:
            msh = Path(scratch) / f"{name}.msh"
            subprocess.run(["gmsh", "-2", "-v", "1", "-format", "msh22", "-o", str(msh), str(folder / f"{name}.geo")],
                           check=True)
            mesh = read_msh(msh)
            RECIPES[name](mesh, folder)
            print(f"{name}: {len(mesh.nodes)} nodes, {len(mesh.elements)} elements")
            if options.expected:
                from make_expected import make_expected
                make_expected(name, folder, mesh, msh)
    return 0


if __name__ == "__main__":
    sys.exit(main())
