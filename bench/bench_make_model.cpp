// Makes a reference model from its mesh: the text inputs of a run, and beside them what must come out.
#include "reference_models.h"
#include "support/model_text.h"
#include "support/msh_file.h"
#include "support/renumber.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <numbers>
#include <stdexcept>
#include <string>

using namespace tarnel_bench;

constexpr double mu_vacuum = 4e-7 * std::numbers::pi; // [H/m]
constexpr double coil_current = 1e6;                  // [A/m2]

// The regions of both models.
static const std::vector<material> materials = {
    {1, 1000 * mu_vacuum, 0},      // iron
    {2, mu_vacuum, coil_current},  // coil
    {3, mu_vacuum, -coil_current}, // its other side
    {4, mu_vacuum, 0},             // air
};

static const reference_model& model_named(std::string_view name, std::string_view size)
{
    for (const reference_model& model : reference_models)
        if (model.name == name && model.size == size) return model;
    throw std::runtime_error("there is no such reference model");
}

// Twice the area, of the coordinates as they are written.
static double double_area(const mesh& of, const triangle& t)
{
    const point &a = of.nodes[t.node[0]], &b = of.nodes[t.node[1]], &c = of.nodes[t.node[2]];
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

static void orient_triangles(mesh& of)
{
    for (triangle& t : of.triangles) {
        if (double_area(of, t) < 0) std::swap(t.node[1], t.node[2]);
        if (!(double_area(of, t) > 0)) throw std::runtime_error("a triangle of the mesh has no area");
    }
}

static void make_model(const reference_model& made, const char* msh, const std::filesystem::path& directory)
{
    text_model model;
    model.kind = made.kind;
    model.materials = materials;
    model.shape = read_msh(msh);
    if (model.shape.nodes.size() != made.nodes || model.shape.triangles.size() != made.triangles)
        throw std::runtime_error("this mesh is not the one that the reference energy belongs to");
    for (point& node : model.shape.nodes) node = {rounded(node.x), rounded(node.y)};
    orient_triangles(model.shape);
    renumber_nodes(model.shape);
    for (const std::uint32_t node : model.shape.border) model.fixed.push_back({node, 0});
    model.limits = exact_limits(model);
    std::filesystem::create_directories(directory);
    write_model(directory, model);
    std::ofstream reference(directory / reference_file);
    reference << made.name << ' ' << made.size << ' ' << made.energy << '\n';
    reference.close();
    if (!reference) throw std::runtime_error("can't write the reference beside the model");
}

int main(int argument_count, char** arguments)
{
    if (argument_count == 2 && std::string_view(arguments[1]) == "--list") {
        for (const reference_model& model : reference_models)
            std::printf("%s %s %s\n", model.name.data(), model.size.data(), model.lc.data());
        return 0;
    }
    if (argument_count != 5) {
        std::fputs("usage: bench_make_model --list            name, size and mesh size of each reference model\n"
                   "       bench_make_model NAME SIZE MSH DIR writes the model's text inputs into DIR\n",
                   stderr);
        return 2;
    }
    try {
        make_model(model_named(arguments[1], arguments[2]), arguments[3], arguments[4]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_make_model: %s\n", error.what());
        return 1;
    }
    return 0;
}
