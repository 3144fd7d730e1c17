"""Turns a Gmsh mesh (MSH 2.2, text) into the text inputs of a tarnel run.

Nodes are renumbered 1, 2, ... by reverse Cuthill-McKee, elements by their lowest node, so that the matrix has a narrow
band.  Elements come out counter-clockwise.  Gmsh's node order within its second-order elements (corners, then the
mid-side nodes of sides 1-2, 2-3, ...) is tarnel's own.

Standard library only.
"""

import math
import struct
from pathlib import Path

# Gmsh element type -> (tarnel type code, nodes, corners)
SURFACE_TYPES = {2: (203, 3, 3), 3: (204, 4, 4), 9: (206, 6, 3), 16: (208, 8, 4)}
CURVE_TYPES = {1: 2, 8: 3}

# tarnel turns degrees into radians with pi cut to 3.1415926; angles written for it must use the same factor.
RADIANS_PER_DEGREE = 0.017453292222222222

MAX_DOUBLE_CHARACTERS = 17
COORDINATE_DECIMALS = 12  # [m], far below any mesh size


class Mesh:
    """nodes [(x, y)], elements [(type code, physical number, [node index])], curves {physical number: {node index}}"""

    def __init__(self, nodes, elements, curves):
        self.nodes = nodes
        self.elements = elements
        self.curves = curves


class LocalSystem:
    """A coordinate system of "t-lcs-data.txt".

    kind    0 Cartesian, 1 cylindrical
    unit    0 m, 1 cm, 2 mm, 3 um: the unit of the three points
    points  origin, a point on the local z axis, a point of the local x-z plane on the side of positive x
    """

    UNIT_FACTORS = (1.0, 0.01, 0.001, 1e-6)

    def __init__(self, kind, unit, points):
        self.kind, self.unit, self.points = kind, unit, points
        p0, p1, p2 = points
        z_axis = _normalised(_minus(p1, p0))
        y_axis = _normalised(_cross(_minus(p1, p0), _minus(p2, p0)))
        x_axis = _cross(y_axis, z_axis)
        self.axes = (x_axis, y_axis, z_axis)
        self.origin = tuple(self.UNIT_FACTORS[unit] * c for c in p0)

    def local(self, x, y):
        """Local coordinates (x, y, z or r, degrees, z) of a global point of the model's plane."""
        q = _minus((x, y, 0.0), self.origin)
        lx, ly, lz = (sum(a * b for a, b in zip(q, axis)) for axis in self.axes)
        if self.kind == 0:
            return lx, ly, lz
        return math.hypot(lx, ly), math.atan2(ly, lx) / RADIANS_PER_DEGREE, lz


def _minus(a, b):
    return tuple(p - q for p, q in zip(a, b))


def _cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def _normalised(a):
    length = math.sqrt(sum(c * c for c in a))
    return tuple(c / length for c in a)


def number(value):
    """A double as text of at most 17 characters, to 12 significant digits where they fit."""
    value = value + 0.0 if value != 0.0 else 0.0
    for digits in range(12, 5, -1):
        text = f"{value:.{digits}g}"
        if len(text) <= MAX_DOUBLE_CHARACTERS:
            return text
    raise ValueError(value)


def coordinate(value):
    return number(round(value, COORDINATE_DECIMALS))


def read_msh(path):
    """Reads a planar mesh; nodes that no surface element uses are dropped."""
    lines = iter(Path(path).read_text().splitlines())
    points, surfaces, curve_nodes = {}, [], {}
    for line in lines:
        if line == "$MeshFormat":
            version = next(lines).split()
            if version[0] != "2.2" or version[1] != "0":
                raise ValueError(f"{path}: not an MSH 2.2 text file")
        elif line == "$Nodes":
            for _ in range(int(next(lines))):
                tag, x, y, _z = next(lines).split()
                points[int(tag)] = (float(x), float(y))
        elif line == "$Elements":
            for _ in range(int(next(lines))):
                fields = [int(f) for f in next(lines).split()]
                kind, physical, tags = fields[1], fields[3], fields[3 + fields[2]:]
                if kind in SURFACE_TYPES:
                    surfaces.append((kind, physical, tags))
                elif kind in CURVE_TYPES:
                    curve_nodes.setdefault(physical, set()).update(tags)
                elif kind != 15:  # a single point
                    raise ValueError(f"{path}: Gmsh element type {kind} has no counterpart")
    used = sorted({tag for _, _, tags in surfaces for tag in tags})
    index = {tag: i for i, tag in enumerate(used)}
    nodes = [points[tag] for tag in used]
    elements = []
    for kind, physical, tags in surfaces:
        code, count, corners = SURFACE_TYPES[kind]
        connection = [index[tag] for tag in tags]
        if len(connection) != count:
            raise ValueError(f"{path}: an element of type {kind} with {len(connection)} nodes")
        elements.append((code, physical, _counter_clockwise(connection, corners, nodes)))
    curves = {p: {index[tag] for tag in tags if tag in index} for p, tags in curve_nodes.items()}
    return _renumbered(Mesh(nodes, elements, curves))


def _counter_clockwise(connection, corners, nodes):
    ring = [nodes[i] for i in connection[:corners]]
    doubled_area = sum(ring[i - 1][0] * ring[i][1] - ring[i][0] * ring[i - 1][1] for i in range(corners))
    if doubled_area > 0:
        return connection
    corner = [connection[0]] + connection[corners - 1:0:-1]
    return corner + connection[:corners - 1:-1]  # walked backwards, the last side comes first


def _renumbered(mesh):
    order = _reverse_cuthill_mckee(len(mesh.nodes), [c for _, _, c in mesh.elements])
    new = [0] * len(order)
    for position, old in enumerate(order):
        new[old] = position
    elements = [(code, physical, [new[i] for i in c]) for code, physical, c in mesh.elements]
    elements.sort(key=lambda e: (min(e[2]), e[2]))
    curves = {p: {new[i] for i in nodes} for p, nodes in mesh.curves.items()}
    return Mesh([mesh.nodes[old] for old in order], elements, curves)


def _reverse_cuthill_mckee(count, connections):
    neighbours = [set() for _ in range(count)]
    for connection in connections:
        for i in connection:
            neighbours[i].update(connection)
    for i in range(count):
        neighbours[i].discard(i)
    degree = [len(n) for n in neighbours]

    def levels_from(start):
        seen, level, depth = {start}, [start], 0
        while True:
            following = sorted({j for i in level for j in neighbours[i]} - seen)
            if not following:
                return depth, min(level, key=lambda i: (degree[i], i))
            seen.update(following)
            level, depth = following, depth + 1

    order, placed = [], [False] * count
    for seed in sorted(range(count), key=lambda i: (degree[i], i)):
        if placed[seed]:
            continue
        start, (depth, far) = seed, levels_from(seed)
        while True:  # walk to an end of the mesh: a node from which the levels are deepest
            far_depth, next_far = levels_from(far)
            if far_depth <= depth:
                break
            start, depth, far = far, far_depth, next_far
        placed[start] = True
        queue = [start]
        for i in queue:
            fresh = sorted((j for j in neighbours[i] if not placed[j]), key=lambda j: (degree[j], j))
            for j in fresh:
                placed[j] = True
            queue.extend(fresh)
        order.extend(queue)
    return order[::-1]


def match_sides(mesh, left, right, shift):
    """Pairs {right node: left node} whose positions differ by (shift, 0); right nodes are set exactly there."""
    by_height = {round(mesh.nodes[i][1], 9): i for i in mesh.curves[left]}
    pairs = {}
    for i in mesh.curves[right]:
        partner = by_height[round(mesh.nodes[i][1], 9)]
        x, y = mesh.nodes[partner]
        if abs(mesh.nodes[i][0] - x - shift) > 1e-9:
            raise ValueError("the two sides do not match")
        mesh.nodes[i] = (x + shift, y)
        pairs[i] = partner
    if len(pairs) != len(by_height):
        raise ValueError("the two sides do not match")
    return pairs


def centre(mesh, element):
    """The element's point at the centre of its reference shape."""
    code, _, connection = element
    weights = {203: [1 / 3] * 3, 204: [1 / 4] * 4,
               206: [-1 / 9] * 3 + [4 / 9] * 3, 208: [-1 / 4] * 4 + [1 / 2] * 4}[code]
    return tuple(sum(w * mesh.nodes[i][c] for w, i in zip(weights, connection)) for c in (0, 1))


def write_model(folder, mesh, axisymmetric, properties, fixed, dependent=None, systems=(), system_of_node=None,
                tensors=None, solver=(5000, 1e-12, 1.0)):
    """Writes the inputs of one model.

    properties      {number: dict(mu, sigma, bvec, hvec, j, table)}; bvec and hvec are (system, x, y, z, magnitude),
                    j the source current density [A/m2], table 1 when the element table serves the property
    fixed           {node index: potential}
    dependent       {node index: (independent node index, coefficient)}
    systems         LocalSystem 1, 2, ...
    system_of_node  function (node index, x, y) -> number of the system the node is given in, 0 for global
    tensors         {property: (mu11, mu12, mu21, mu22, bx, by)} for the per-element table
    solver          iteration limit, tolerance, acceleration factor of ICCG
    """
    folder = Path(folder)
    dependent = dependent or {}
    limits = (len(mesh.nodes) + 10, len(mesh.elements) + 10, 0, max(len(properties), len(systems)) + 2,
              len(mesh.nodes) + 10, 60, 1)
    iterations, tolerance, acceleration = solver
    _write(folder / "at-cntl-data.txt", [
        " ".join(str(v) for v in limits),
        f"1 1 {1 if tensors else 0} 0 0 0 0",
        "0 0.0",
        "1 1",
        f"{iterations} {tolerance:g} {acceleration:.1f}",
        "0 0.0",
    ])
    _write(folder / "t-dimension-data.txt", ["1" if axisymmetric else "0"])

    lines = []
    for number_, system in enumerate(systems, 1):
        lines.append(f"{number_} {system.kind} {system.unit}")
        lines += [" ".join(number(c) for c in p) for p in system.points]
    _write(folder / "t-lcs-data.txt", lines + ["0 0 0"])

    lines = []
    for i, (x, y) in enumerate(mesh.nodes):
        lno = system_of_node(i, x, y) if system_of_node else 0
        if lno == 0:
            place = (coordinate(x), coordinate(y), "0")
        else:
            first, second, third = systems[lno - 1].local(x, y)
            angular = systems[lno - 1].kind == 1
            place = (coordinate(first), number(second) if angular else coordinate(second), coordinate(third))
        lines.append(f"{i + 1} {lno} {' '.join(place)}")
    _write(folder / "t-node-data.txt", lines + ["0 0 0 0 0"])

    lines = []
    for noe, (code, physical, connection) in enumerate(mesh.elements, 1):
        lines += [f"{noe} {code} {physical}", " ".join(str(i + 1) for i in connection)]
    _write(folder / "t-felm-data.txt", lines + ["0 0 0"])

    lines = []
    for nop, p in sorted(properties.items()):
        none = (0, 0, 0, 0, 0)
        lines += [f"{nop} {p.get('table', 0)} 0 0", f"{number(p['mu'])} {number(p.get('sigma', 0.0))}"]
        for system, *values in (p.get("bvec", none), p.get("hvec", none), (0, 0, 0, 1, p.get("j", 0.0))):
            lines.append(f"{system} {' '.join(number(v) for v in values)}")
    _write(folder / "at-prop-data.txt", lines + ["0 0 0 0"])

    lines = ["0 0 0 0 0 0"]
    lines += [f"{i + 1} {number(value)} 0 0" for i, value in sorted(fixed.items())]
    lines += [f"{i + 1} 0 {partner + 1} {number(c)}" for i, (partner, c) in sorted(dependent.items()) if i not in fixed]
    _write(folder / "at-fixc-data.txt", lines + ["0 0 0 0"])

    if tensors:
        _write_element_table(folder / "at-proptv-struct.tmp", mesh, tensors)


def _write_element_table(path, mesh, tensors):
    """One record of 104 bytes per element of a listed property: number, apply flag, 3 x 3 tensor, first vector."""
    with open(path, "wb") as out:
        for noe, (_, physical, _) in enumerate(mesh.elements, 1):
            if physical in tensors:
                m11, m12, m21, m22, bx, by = tensors[physical]
                out.write(struct.pack("<ii12d", noe, 1, m11, m12, 0, m21, m22, 0, 0, 0, 0, bx, by, 0))


def _write(path, lines):
    if any(len(line) > 100 for line in lines):
        raise ValueError(f"{path}: a line of more than 100 characters")
    path.write_text("".join(line + "\n" for line in lines), newline="\n")
