// Meshes for whole models, made in a few lines: mapped grids, discs and rings of sectors, and the sides around them.
#pragma once

#include "support/model.h"

#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

namespace tarnel_test
{

struct point {
    double x, y;
};

// The number that the library reads when `value` is written to a field of a line.
inline double as_read(double value)
{
    return std::stod(field(value));
}

enum class sides { straight, curved };

// Nodes and elements, and where each node lies in the parameters of its mesh: a grid's u and v from 0 to 1, a disc's
// ring number (0 centre) and turn from 0 to 1.
struct mesh {
    std::vector<model_node> nodes; // node n stands at place n - 1
    std::vector<model_felm> felms; // element e stands at place e - 1
    std::vector<point> parameters;
};

inline int corners_of(int type)
{
    return type == 203 || type == 206 ? 3 : 4;
}

inline bool second_order(int type)
{
    return type >= 206;
}

inline int add_node(mesh& m, point at, point parameter)
{
    const int nog = static_cast<int>(m.nodes.size()) + 1;
    m.nodes.push_back({nog, as_read(at.x), as_read(at.y)});
    m.parameters.push_back(parameter);
    return nog;
}

inline void add_felm(mesh& m, int type, int nop, std::vector<int> nodes)
{
    m.felms.push_back({static_cast<int>(m.felms.size()) + 1, type, nop, std::move(nodes)});
}

// The node of a key, made at its first use.
class lattice
{
public:
    lattice(mesh& m, std::function<std::pair<point, point>(int, int)> place) : mesh_(m), place_(std::move(place)) {}
    int operator()(int i, int j)
    {
        const auto [at, is_new] = numbers_.try_emplace({i, j}, 0);
        if (is_new) {
            const auto [position, parameter] = place_(i, j);
            at->second = add_node(mesh_, position, parameter);
        }
        return at->second;
    }

private:
    mesh& mesh_;
    std::function<std::pair<point, point>(int, int)> place_;
    std::map<std::pair<int, int>, int> numbers_;
};

// One cell of a lattice with steps of half a cell, as a quadrilateral or as two triangles, numbered counterclockwise.
// The cell lies from (i, j) to (i + 2, j + 2).
template <class Numbers> void add_cell(mesh& m, int type, int nop, int i, int j, Numbers& at)
{
    const int a = at(i, j), b = at(i + 2, j), c = at(i + 2, j + 2), d = at(i, j + 2);
    switch (type) {
    case 203:
        add_felm(m, type, nop, {a, b, c});
        add_felm(m, type, nop, {a, c, d});
        break;
    case 204:
        add_felm(m, type, nop, {a, b, c, d});
        break;
    case 206:
        add_felm(m, type, nop, {a, b, c, at(i + 1, j), at(i + 2, j + 1), at(i + 1, j + 1)});
        add_felm(m, type, nop, {a, c, d, at(i + 1, j + 1), at(i + 1, j + 2), at(i, j + 1)});
        break;
    default:
        add_felm(m, type, nop, {a, b, c, d, at(i + 1, j), at(i + 2, j + 1), at(i + 1, j + 2), at(i, j + 1)});
    }
}

struct grid_shape {
    int nu, nv; // cells
    std::function<int(int, int)> type;
    std::function<point(double, double)> position;                      // of u and v from 0 to 1, counterclockwise
    std::function<int(int, int)> property = [](int, int) { return 1; }; // of a cell
    sides kind = sides::curved; // straight: mid-side nodes at the middle of their corners
};

inline std::function<int(int, int)> all(int type)
{
    return [type](int, int) { return type; };
}

// The two types in turn, as the fields of a chessboard.
inline std::function<int(int, int)> chessboard(int one, int other)
{
    return [one, other](int i, int j) { return (i + j) % 2 == 0 ? one : other; };
}

inline point middle(point a, point b)
{
    return {(a.x + b.x) / 2, (a.y + b.y) / 2};
}

inline mesh grid(const grid_shape& shape)
{
    mesh m;
    const auto on_map = [&shape](int i, int j) { return shape.position(i / (2.0 * shape.nu), j / (2.0 * shape.nv)); };
    const auto place = [&shape, &on_map](int i, int j) -> std::pair<point, point> {
        const point parameter = {i / (2.0 * shape.nu), j / (2.0 * shape.nv)};
        const int di = i % 2, dj = j % 2;
        if (shape.kind == sides::curved || (di == 0 && dj == 0)) return {on_map(i, j), parameter};
        return {middle(on_map(i - di, j - dj), on_map(i + di, j + dj)), parameter};
    };
    lattice at(m, place);
    for (int j = 0; j < shape.nv; ++j)
        for (int i = 0; i < shape.nu; ++i) add_cell(m, shape.type(i, j), shape.property(i, j), 2 * i, 2 * j, at);
    return m;
}

struct disc_shape {
    int sectors;
    bool second;               // types 206 and 208, else 203 and 204
    std::vector<double> radii; // of the rings' circles; triangles fill the first circle unless it is hollow
    bool hollow = false;
    std::function<int(int, int)> property; // of the ring (0 the triangles) and the sector
    sides kind = sides::curved;
};

// Rings of quadrilaterals around a fan of triangles, or around a hole. Sector k lies from turn k / sectors on.
inline mesh disc(const disc_shape& shape)
{
    mesh m;
    const int around = 2 * shape.sectors;
    const double half = std::numbers::pi / shape.sectors; // half a sector's angle
    const auto radius = [&shape](int i) {                 // i in half rings, 2 the first circle
        const auto r = [&shape](int ring) { return ring == 0 ? 0.0 : shape.radii[static_cast<std::size_t>(ring) - 1]; };
        return i % 2 == 0 ? r(i / 2) : (r(i / 2) + r(i / 2 + 1)) / 2;
    };
    const auto place = [&](int i, int j) -> std::pair<point, point> {
        const double chord = shape.kind == sides::straight && j % 2 == 1 ? std::cos(half) : 1.0;
        const double r = radius(i) * chord;
        return {{r * std::cos(half * j), r * std::sin(half * j)}, {i / 2.0, static_cast<double>(j) / around}};
    };
    lattice on_rays(m, place);
    const auto at = [&on_rays, around](int i, int j) { return on_rays(i, i == 0 ? 0 : j % around); };
    for (int k = 0; k < shape.sectors && !shape.hollow; ++k) {
        std::vector<int> nodes = {at(0, 0), at(2, 2 * k), at(2, 2 * k + 2)};
        if (shape.second) nodes.insert(nodes.end(), {at(1, 2 * k), at(2, 2 * k + 1), at(1, 2 * k + 2)});
        add_felm(m, shape.second ? 206 : 203, shape.property(0, k), nodes);
    }
    for (int ring = 1; ring < static_cast<int>(shape.radii.size()); ++ring)
        for (int k = 0; k < shape.sectors; ++k)
            add_cell(m, shape.second ? 208 : 204, shape.property(ring, k), 2 * ring, 2 * k, at);
    return m;
}

// A side of the mesh's boundary, directed so that the mesh lies on its right hand.
struct boundary_side {
    int first, last;
    int mid; // 0 for a first-order side
};

inline std::vector<boundary_side> clockwise_sides(const mesh& m)
{
    std::map<std::pair<int, int>, int> directed; // as the elements run, counterclockwise
    for (const model_felm& felm : m.felms) {
        const std::size_t n = static_cast<std::size_t>(corners_of(felm.type));
        for (std::size_t k = 0; k < n; ++k)
            directed[{felm.nodes[k], felm.nodes[(k + 1) % n]}] = second_order(felm.type) ? felm.nodes[n + k] : 0;
    }
    std::vector<boundary_side> around;
    for (const auto& [ends, mid] : directed)
        if (!directed.contains({ends.second, ends.first})) around.push_back({ends.second, ends.first, mid});
    return around;
}

// The model of a mesh, with a solver that goes to rounding and room for a fan's centre.
inline model model_of(const mesh& m)
{
    model made;
    made.nodes = m.nodes;
    made.felms = m.felms;
    made.maxnzero = 400;
    made.maxprp = 100;
    made.eps_solv = 1e-15;
    made.itermax_solv = 3000;
    return made;
}

// Fixes the nodes that `chosen` picks by their parameters to a potential of their coordinates.
inline void fix_nodes(model& made, const mesh& m, const std::function<bool(point)>& chosen,
                      const std::function<double(double, double)>& potential)
{
    for (std::size_t n = 0; n < m.nodes.size(); ++n)
        if (chosen(m.parameters[n])) made.conditions.push_back({m.nodes[n].nog, potential(m.nodes[n].x, m.nodes[n].y)});
}

inline bool on_rim(point parameter) // of a grid
{
    return parameter.x == 0 || parameter.x == 1 || parameter.y == 0 || parameter.y == 1;
}

} // namespace tarnel_test
