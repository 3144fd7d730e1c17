#include "support/model_text.h"

#include "common/records.h"
#include "support/renumber.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string>

namespace tarnel_bench
{

constexpr long long steps_per_metre = 10'000'000'000;

static long long steps_of(double coordinate)
{
    return std::llround(coordinate * static_cast<double>(steps_per_metre));
}

double rounded(double coordinate)
{
    return static_cast<double>(steps_of(coordinate)) / static_cast<double>(steps_per_metre);
}

template <class T> static void put(std::string& text, T value)
{
    char digits[32];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

// With as many digits as a field of 17 characters holds.
static void put_positive(std::string& text, double value)
{
    char digits[32];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value, std::chars_format::scientific, 11).ptr);
}

static void put_coordinate(std::string& text, double coordinate)
{
    const long long steps = steps_of(coordinate);
    const auto [whole, rest] = std::lldiv(std::llabs(steps), steps_per_metre);
    if (steps < 0) text += '-';
    put(text, whole);
    if (rest == 0) return;
    std::string decimals = std::to_string(steps_per_metre + rest); // a 1, then the decimals with their leading zeros
    decimals[0] = '.';
    decimals.resize(decimals.find_last_not_of('0') + 1);
    text += decimals;
}

static void write_text(const std::filesystem::path& directory, const char* name, const std::string& text)
{
    std::ofstream out(directory / name, std::ios::binary);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    if (!out) throw std::runtime_error("can't write " + (directory / name).string());
}

static std::string control_lines(const text_model& model)
{
    const model_limits& most = model.limits;
    std::string text;
    for (const std::size_t limit :
         {most.maxnog, most.maxfelm, most.maxbelm, most.maxprp, most.maxdim, most.maxnzero, most.maxedg}) {
        put(text, limit);
        text += ' ';
    }
    text.back() = '\n';
    text += "1 1 0 0 0 0 0\n0 0\n1 1\n1000000 "; // all stages, a static field, ICCG
    put(text, model.eps_solv);
    text += " 0.95\n0 0\n"; // the factor that saves iterations (docs/performance.md)
    return text;
}

static std::string node_lines(const mesh& shape)
{
    std::string text;
    for (std::size_t k = 0; k < shape.nodes.size(); ++k) {
        put(text, k + 1);
        text += " 0 ";
        put_coordinate(text, shape.nodes[k].x);
        text += ' ';
        put_coordinate(text, shape.nodes[k].y);
        text += " 0\n";
    }
    return text + "0 0 0 0 0\n";
}

static std::string element_lines(const mesh& shape)
{
    std::string text;
    for (std::size_t k = 0; k < shape.triangles.size(); ++k) {
        const triangle& t = shape.triangles[k];
        put(text, k + 1);
        text += " 203 ";
        put(text, t.region);
        for (std::size_t n = 0; n < 3; ++n) {
            text += n == 0 ? '\n' : ' ';
            put(text, t.node[n] + 1);
        }
        text += '\n';
    }
    return text + "0 0 0\n";
}

static std::string material_lines(const std::vector<material>& materials)
{
    std::string text;
    for (const material& m : materials) {
        put(text, m.number);
        text += " 0 0 0\n";
        put_positive(text, m.mu);
        text += " 0\n0 0 0 0 0\n0 0 0 0 0\n0 0 0 1 ";
        put(text, m.js);
        text += '\n';
    }
    return text + "0 0 0 0\n";
}

static std::string condition_lines(const std::vector<fixed_potential>& fixed)
{
    std::string text = "0 0 0 0 0 0\n";
    for (const fixed_potential& f : fixed) {
        put(text, f.node + 1);
        text += ' ';
        put(text, f.value);
        text += " 0 0\n";
    }
    return text + "0 0 0 0\n";
}

model_limits exact_limits(const text_model& model)
{
    std::size_t largest = model.materials.size() + 1;
    for (const material& m : model.materials) largest = std::max(largest, static_cast<std::size_t>(m.number));
    return {model.shape.nodes.size() + 1,
            model.shape.triangles.size() + 1,
            0,
            largest,
            model.shape.nodes.size() - model.fixed.size(),
            longest_row(model.shape),
            1};
}

void write_model(const std::filesystem::path& directory, const text_model& model)
{
    write_text(directory, tarnel::control_text, control_lines(model));
    write_text(directory, tarnel::dimension_text, model.kind == geometry::axisymmetric ? "1\n" : "0\n");
    write_text(directory, tarnel::lcs_text, "0 0 0\n");
    write_text(directory, tarnel::nodes_text, node_lines(model.shape));
    write_text(directory, tarnel::felms_text, element_lines(model.shape));
    write_text(directory, tarnel::properties_text, material_lines(model.materials));
    write_text(directory, tarnel::conditions_text, condition_lines(model.fixed));
}

} // namespace tarnel_bench
