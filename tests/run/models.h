// Models for whole runs, the binary inputs that a host may add, and the files that a run leaves.
#pragma once

#include "support/model.h"
#include "support/process.h"
#include "support/stage.h"

#include <cmath>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define TARNEL_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARNEL_ADDRESS_SANITIZER 1
#endif
#endif

namespace tarnel_test
{

// A plate of columns x rows quadrilaterals with a slightly uneven mesh: iron on the left, air on the right, both with
// a source current; A fixed to 0 on the left side, the top right corner tied to the bottom right one.
inline model plate(int columns, int rows, int iax)
{
    model m;
    m.iax = iax;
    for (int j = 0; j <= rows; ++j)
        for (int i = 0; i <= columns; ++i) {
            const double shift = 0.1 * std::sin(7.0 * i + 3.0 * j);
            m.nodes.push_back({j * (columns + 1) + i + 1, (i + (i > 0 ? shift : 0.0) + iax) / 10.0, (j - shift) / 7.0});
        }
    for (int j = 0; j < rows; ++j)
        for (int i = 0; i < columns; ++i) {
            const int low = j * (columns + 1) + i + 1, high = low + columns + 1;
            m.felms.push_back({j * columns + i + 1, 204, i < columns / 2 ? 1 : 2, {low, low + 1, high + 1, high}});
        }
    m.properties = {{.nop = 1, .mu = 1.25663704e-03, .sigma = 1e6, .js = 2e6, .bx = 1, .by = 2, .b = 0.3},
                    {.nop = 2, .mu = 1.25663704e-06, .sigma = 2e6, .js = -1e6, .hx = 3, .hy = 1, .h = 1e4}};
    for (int j = 0; j <= rows; ++j) m.conditions.push_back({j * (columns + 1) + 1, 0});
    const int bottom_right = columns + 1, top_right = rows * (columns + 1) + bottom_right;
    m.conditions.push_back({top_right, 0.25, bottom_right, -1});
    return m;
}

// Unknowns of a plate: every node but those of the left side and the tied corner.
inline int unknowns_of_plate(int columns, int rows)
{
    return (columns + 1) * (rows + 1) - (rows + 1) - 1;
}

inline model ten_nodes()
{
    return plate(4, 1, 0);
}
inline constexpr int unknowns_of_ten_nodes = 7;

// Turns on every optional input of a run and writes them: tables by element, one boundary element on the first two
// nodes of the first element, previous potentials of all nodes.
inline void add_host_inputs(model& m)
{
    m.iopt_proptv = m.iopt_propsg = m.iopt_h0vect = m.iopt_j0vect = m.iopt_belm = m.iopt_trans = 1;
    m.delta_t = 0.125;
    if (m.maxbelm == 0) m.maxbelm = 2;
    for (model_property& p : m.properties) p.iptv = p.iflg = p.ij0v = 1;
    bytes tensors, currents, conductivities, magnetisations, belms, previous;
    for (const model_felm& felm : m.felms) {
        const double k = felm.noe % 7;
        tensors.add_i(felm.noe).add_i(1).add_d(1e-4).add_d(k * 1e-6).add_d(0).add_d(k * 1e-6).add_d(2e-4);
        tensors.add_zeros(32).add_d(0.1).add_d(0.01 * k).add_d(0);
        currents.add_i(felm.noe).add_i(1).add_d(0).add_d(0).add_d(1e5 * k);
        conductivities.add_i(felm.noe).add_i(1).add_zeros(64).add_d(1e6 + k);
        magnetisations.add_i(felm.noe).add_i(1);
        for (int slot = 0; slot < 27; ++slot) magnetisations.add_d(10.0 * slot + k);
    }
    belms.add_i(1).add_i(102).add_i(1).add_i(m.felms[0].nodes[0]).add_i(m.felms[0].nodes[1]).add_zeros(4 + 24);
    for (int value = 0; value < 12; ++value) belms.add_d(100.0 + value);
    belms.add_zeros(144);
    for (const model_node& node : m.nodes) previous.add_i(node.nog).add_i(0).add_d(0.01 * node.x - 0.003 * node.y);
    previous.add_zeros(16);
    write_file("at-proptv-struct.tmp", tensors.text());
    write_file("at-j0vect-struct.tmp", currents.text());
    write_file("at-propsg-struct.tmp", conductivities.text());
    write_file("at-h0vect-struct.tmp", magnetisations.text());
    write_file("at-belm-struct.tmp", belms.text());
    write_file("at-npresl-struct.tmp", previous.text());
}

inline const std::vector<std::string> text_inputs = {"at-cntl-data.txt", "t-dimension-data.txt", "t-lcs-data.txt",
                                                     "t-node-data.txt",  "t-felm-data.txt",      "at-prop-data.txt",
                                                     "at-fixc-data.txt"};
inline const std::vector<std::string> files_of_readers = {
    "t-lcs-struct.tmp", "t-nodes-struct.tmp", "t-felms-struct.tmp", "at-prop-struct.tmp", "at-fixc-data.tmp"};
inline const std::vector<std::string> files_of_preparation = {"at-node-struct.tmp", "t-matrix-index.tmp",
                                                              "t-felm-cntr.tmp"};
inline const std::vector<std::string> files_of_analysis = {
    "at-felm-struct.tmp", "t-femr-matrix.tmp",   "t-femr-vector.tmp", "t-felm-vole.tmp",    "t-femr-solution.tmp",
    "at-node-resl.txt",   "at-nresl-struct.tmp", "at-felm-resl.txt",  "at-eresl-struct.tmp"};

using file_contents = std::map<std::string, std::string>;

inline file_contents contents_of(const std::vector<std::string>& names)
{
    file_contents contents;
    for (const std::string& name : names) contents[name] = read_file(name);
    return contents;
}

// Every file that a run without circuits writes, but for the log.
inline file_contents files_of_run()
{
    std::vector<std::string> names = files_of_readers;
    names.insert(names.end(), files_of_preparation.begin(), files_of_preparation.end());
    names.insert(names.end(), files_of_analysis.begin(), files_of_analysis.end());
    return contents_of(names);
}

// Two sets of files byte by byte; a difference names the file only, the contents are binary.
inline void expect_same(const file_contents& left, const file_contents& right)
{
    ASSERT_EQ(left.size(), right.size());
    for (const auto& [name, content] : left) {
        ASSERT_TRUE(right.contains(name)) << name;
        EXPECT_FALSE(content.empty()) << name;
        EXPECT_TRUE(content == right.at(name)) << name << " differs";
    }
}

inline void expect_complete(const process_outcome& run)
{
    EXPECT_TRUE(run.exited);
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.returned);
    EXPECT_EQ(run.value, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_TRUE(run.log.ends_with("    === The end. ===\n")) << run.log;
}

// The process has ended itself with status 0; `output` is what it said on standard output.
inline void expect_ended(const process_outcome& run, const std::string& output = "")
{
    EXPECT_TRUE(run.exited);
    EXPECT_EQ(run.status, 0);
    EXPECT_FALSE(run.returned);
    EXPECT_EQ(run.output, output);
    EXPECT_EQ(run.log.find("The end."), std::string::npos);
}

} // namespace tarnel_test
