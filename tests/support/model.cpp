#include "support/model.h"

#include "support/stage.h"

#include <algorithm>
#include <cstdio>

namespace tarnel_test
{

std::string field(double value)
{
    char text[64];
    for (int digits = 17; digits > 0; --digits) {
        const int n = std::snprintf(text, sizeof text, "%.*g", digits, value);
        if (n <= 17) break;
    }
    return text;
}

static std::string integers(std::initializer_list<int> values)
{
    std::string line;
    for (const int value : values) line += (line.empty() ? "" : " ") + std::to_string(value);
    return line + "\n";
}

static std::string directed(int lno, double x, double y, double z, double magnitude)
{
    return std::to_string(lno) + " " + field(x) + " " + field(y) + " " + field(z) + " " + field(magnitude) + "\n";
}

static void write_control(const model& m)
{
    const int nodes = static_cast<int>(m.nodes.size()), felms = static_cast<int>(m.felms.size());
    int largest_node = 0, largest_felm = 0;
    for (const model_node& node : m.nodes) largest_node = std::max(largest_node, node.nog);
    for (const model_felm& felm : m.felms) largest_felm = std::max(largest_felm, felm.noe);
    std::string text = integers({m.maxnog > 0 ? m.maxnog : std::max(nodes + 1, largest_node),
                                 m.maxfelm > 0 ? m.maxfelm : std::max(felms + 1, largest_felm), m.maxbelm, m.maxprp,
                                 m.maxdim > 0 ? m.maxdim : nodes, m.maxnzero, m.maxedg});
    text +=
        integers({m.iopt_rdata, m.iopt_prep, m.iopt_proptv, m.iopt_propsg, m.iopt_h0vect, m.iopt_j0vect, m.iopt_belm});
    text += std::to_string(m.iopt_trans) + " " + field(m.delta_t) + "\n";
    text += integers({m.itype_solv, m.iopt_solv});
    if (m.itype_solv != 0)
        text += std::to_string(m.itermax_solv) + " " + field(m.eps_solv) + " " + field(m.accel_solv) + "\n";
    text += "0 0.0\n";
    if (m.itype_solv == 3) text += "1 1 0.0\n";
    write_file("at-cntl-data.txt", text);
    write_file("t-dimension-data.txt", integers({m.iax}));
}

static void write_mesh(const model& m)
{
    std::string text;
    for (const model_node& node : m.nodes)
        text += std::to_string(node.nog) + " 0 " + field(node.x) + " " + field(node.y) + " 0\n";
    write_file("t-node-data.txt", text + "0 0 0 0 0\n");
    text.clear();
    for (const model_felm& felm : m.felms) {
        text += integers({felm.noe, felm.type, felm.nop});
        std::string line;
        for (const int node : felm.nodes) line += std::to_string(node) + " ";
        text += line + "\n";
    }
    write_file("t-felm-data.txt", text + "0 0 0\n");
}

void write_model(const model& m)
{
    write_control(m);
    write_file("t-lcs-data.txt", m.lcs);
    write_mesh(m);
    std::string text;
    for (const model_property& p : m.properties) {
        text += integers({p.nop, p.iptv, p.iflg, p.ij0v});
        text += field(p.mu) + " " + field(p.sigma) + "\n";
        text += directed(p.lnob, p.bx, p.by, 0, p.b);
        text += directed(p.lnoh, p.hx, p.hy, 0, p.h);
        text += directed(0, 0, 0, 1, p.js);
    }
    write_file("at-prop-data.txt", text + "0 0 0 0\n");
    text = "0 0 0 0 0 0\n";
    for (const model_condition& c : m.conditions)
        text += std::to_string(c.nog) + " " + field(c.fai0) + " " + std::to_string(c.noi) + " " + field(c.acoef) + "\n";
    write_file("at-fixc-data.txt", text + "0 0 0 0\n");
}

model unit_square()
{
    model m;
    m.nodes = {{1, 0, 0}, {2, 1, 0}, {3, 1, 1}, {4, 0, 1}, {5, 0.5, 0.5}};
    m.felms = {{1, 203, 1, {1, 2, 5}}, {2, 203, 1, {2, 3, 5}}, {3, 203, 1, {3, 4, 5}}, {4, 203, 1, {4, 1, 5}}};
    m.properties = {{.nop = 1, .mu = 1.25663704e-06}};
    m.conditions = {{1, 0}, {2, 1}, {3, 1}, {4, 0}};
    return m;
}

} // namespace tarnel_test
