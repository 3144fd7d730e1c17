"""Closed form of the field of the magnet array: a Fourier series along x, layer by layer in y.

With A = sum of f_n(y) exp(i k_n x), k_n = n pi / pole pitch, n odd, each layer of reluctivity tensor t (symmetric) and
magnetisation h (constant in y, H = t B - h) demands curl H = 0:

    t11 f'' - 2 i k t12 f' - t22 k^2 f = -i k h_y
    f = a exp(p (y - y_top)) + b exp(-q (y - y_bottom)) + i h_y / (k t22)

with p, -q the roots of t11 s^2 - 2 i k t12 s - t22 k^2 = 0.  A and Hx = t11 f' - i k t12 f - h_x are continuous between
the layers, A vanishes at the bottom and the top.  Only the layers' sizes, tensors and magnetisations come in: no mesh.

Standard library only.
"""

import cmath
import math

MU0 = 4e-7 * math.pi
PITCH = 0.04
HEIGHTS = (0.0, 0.012, 0.020, 0.080)
MU_MAGNET = 1.05 * MU0
COERCIVE_FORCE = 1.2 / MU_MAGNET
BLOCK_ANGLES = (90, 135, 180, 225)  # direction of magnetisation, degrees from the x axis
HARMONICS = 601


def plate_reluctivity():
    c, s = math.cos(math.radians(20)), math.sin(math.radians(20))
    along, across = 1 / (1500 * MU0), 1 / (300 * MU0)
    return along * c * c + across * s * s, (along - across) * s * c, along * s * s + across * c * c


LAYERS = (plate_reluctivity(), (1 / MU_MAGNET, 0.0, 1 / MU_MAGNET), (1 / MU0, 0.0, 1 / MU0))


def block_harmonic(k):
    """Coefficients of exp(i k x) of the magnetisation over one period, the second half the first with opposite sign."""
    width = PITCH / len(BLOCK_ANGLES)
    hx = hy = 0
    for i, angle in enumerate(BLOCK_ANGLES):
        part = (cmath.exp(-1j * k * i * width) - cmath.exp(-1j * k * (i + 1) * width)) / (1j * k) / PITCH
        hx += COERCIVE_FORCE * math.cos(math.radians(angle)) * part
        hy += COERCIVE_FORCE * math.sin(math.radians(angle)) * part
    return hx, hy


def solve(matrix, right):
    """Gaussian elimination with row pivoting."""
    n = len(right)
    rows = [list(r) + [v] for r, v in zip(matrix, right)]
    for i in range(n):
        pivot = max(range(i, n), key=lambda r: abs(rows[r][i]))
        rows[i], rows[pivot] = rows[pivot], rows[i]
        for r in range(i + 1, n):
            factor = rows[r][i] / rows[i][i]
            for c in range(i, n + 1):
                rows[r][c] -= factor * rows[i][c]
    x = [0] * n
    for i in reversed(range(n)):
        x[i] = (rows[i][n] - sum(rows[i][c] * x[c] for c in range(i + 1, n))) / rows[i][i]
    return x


class Harmonic:
    def __init__(self, n):
        self.k = k = n * math.pi / PITCH
        hx, hy = block_harmonic(k)
        self.roots, self.particular = [], []
        for layer, (t11, t12, t22) in enumerate(LAYERS):
            root = cmath.sqrt(t11 * t22 - t12 * t12) * k
            self.roots.append(((root + 1j * k * t12) / t11, (root - 1j * k * t12) / t11))
            self.particular.append(1j * hy / (k * t22) if layer == 1 else 0)
        matrix, right = [], []

        def row(entries, value):
            line = [0] * 6
            for column, entry in entries:
                line[column] += entry
            matrix.append(line)
            right.append(value)

        def potential(layer, y, sign=1):
            p, q = self.parts(layer, y)
            return [(2 * layer, sign * p), (2 * layer + 1, sign * q)]

        def field(layer, y, sign=1):
            t11, t12, _ = LAYERS[layer]
            p, q = self.roots[layer]
            return [(c, e * (t11 * s - 1j * k * t12)) for (c, e), s in zip(potential(layer, y, sign), (p, -q))]

        magnetisation = [0, hx, 0]
        row(potential(0, HEIGHTS[0]), 0)
        for below in (0, 1):
            y = HEIGHTS[below + 1]
            row(potential(below, y) + potential(below + 1, y, -1), self.particular[below + 1] - self.particular[below])
            row([(c, e / LAYERS[2][0]) for c, e in field(below, y) + field(below + 1, y, -1)],
                (magnetisation[below] - magnetisation[below + 1]
                 + 1j * k * (LAYERS[below][1] * self.particular[below]
                             - LAYERS[below + 1][1] * self.particular[below + 1])) / LAYERS[2][0])
        row(potential(2, HEIGHTS[3]), 0)
        self.amplitudes = solve(matrix, right)

    def parts(self, layer, y):
        p, q = self.roots[layer]
        return cmath.exp(p * (y - HEIGHTS[layer + 1])), cmath.exp(-q * (y - HEIGHTS[layer]))

    def values(self, x, y):
        """This harmonic's share of A, Bx, By; with its conjugate partner of -n."""
        layer = 0 if y < HEIGHTS[1] else 1 if y < HEIGHTS[2] else 2
        p, q = self.parts(layer, y)
        a, b = self.amplitudes[2 * layer] * p, self.amplitudes[2 * layer + 1] * q
        wave = 2 * cmath.exp(1j * self.k * x)
        f = a + b + self.particular[layer]
        slope = self.roots[layer][0] * a - self.roots[layer][1] * b
        return (f * wave).real, (slope * wave).real, (-1j * self.k * f * wave).real


def field(points):
    """[(A, Bx, By)] at the points (x, y)."""
    totals = [[0.0, 0.0, 0.0] for _ in points]
    for n in range(1, HARMONICS + 1, 2):
        harmonic = Harmonic(n)
        for total, (x, y) in zip(totals, points):
            for c, value in enumerate(harmonic.values(x, y)):
                total[c] += value
    return totals


if __name__ == "__main__":
    for point, (a, bx, by) in zip([(0.005, 0.025), (0.015, 0.025)], field([(0.005, 0.025), (0.015, 0.025)])):
        print(point, a, bx, by)
