// Work files of the assembly, the solvers and the results, made by hand, field by field in the order of the file
// formats, so that a test does not lean on the library's own records.
#pragma once

#include "support/stage.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tarnel_test
{

struct hand_node {
    int nog;
    double x, y;
    int nufai; // unknown from 1, 0 without element, negative when fixed
    double fai0 = 0, acoef = 1, z = 0;
};

inline std::string node_record(const hand_node& n)
{
    return bytes()
        .add_i(n.nog)
        .add_i(-7) // padding, whatever it holds
        .add_d(n.x)
        .add_d(n.y)
        .add_d(n.z)
        .add_i(n.nufai)
        .add_i(-7)
        .add_d(n.fai0)
        .add_d(n.acoef)
        .text();
}

// "at-node-struct.tmp"
inline std::string node_file(const std::vector<hand_node>& nodes)
{
    std::string file;
    for (const hand_node& n : nodes) file += node_record(n);
    return file + std::string(56, '\0');
}

struct hand_felm {
    int noe, type, nop;
    std::vector<int> nodes;
    std::vector<double> t = {1, 0, 0, 0, 1, 0, 0, 0, 1}; // reluctivity by rows
    std::vector<double> hb = {0, 0, 0}, hvec = {0, 0, 0}, j0vec = {0, 0, 0};
    double sigma = 0;
    int iflg = 0;
};

inline std::string felm_record(const hand_felm& e)
{
    bytes record;
    record.add_i(e.noe).add_i(e.type).add_i(e.nop);
    for (std::size_t k = 0; k < 20; ++k) record.add_i(k < e.nodes.size() ? e.nodes[k] : 0);
    record.add_i(-7);
    for (const auto* values : {&e.t, &e.hb, &e.hvec, &e.j0vec})
        for (const double value : *values) record.add_d(value);
    return record.add_d(e.sigma).add_i(e.iflg).add_i(-7).text();
}

// "at-felm-struct.tmp"
inline std::string felm_file(const std::vector<hand_felm>& felms)
{
    std::string file;
    for (const hand_felm& e : felms) file += felm_record(e);
    return file + std::string(256, '\0');
}

using column_lists = std::vector<std::vector<int>>;

// "t-matrix-index.tmp": rows of columns from 0
inline std::string index_file(const column_lists& rows)
{
    bytes file;
    file.add_i(static_cast<int>(rows.size()));
    for (const auto& row : rows) {
        file.add_i(static_cast<int>(row.size()));
        for (const int column : row) file.add_i(column);
    }
    return file.add_i(static_cast<int>(rows.size())).text();
}

// The upper triangle of a full matrix.
inline column_lists full_rows(int n)
{
    column_lists rows;
    for (int i = 0; i < n; ++i) {
        rows.emplace_back();
        for (int j = i; j < n; ++j) rows.back().push_back(j);
    }
    return rows;
}

// A matrix that keeps its diagonal alone.
inline column_lists diagonal_rows(int n)
{
    column_lists rows;
    for (int i = 0; i < n; ++i) rows.push_back({i});
    return rows;
}

using value_rows = std::vector<std::vector<double>>;

// "t-femr-matrix.tmp"
inline std::string matrix_file(const value_rows& rows)
{
    bytes file;
    file.add_i(static_cast<int>(rows.size()));
    for (const auto& row : rows) {
        file.add_i(static_cast<int>(row.size()));
        for (const double value : row) file.add_d(value);
    }
    return file.add_i(static_cast<int>(rows.size())).text();
}

// "t-femr-vector.tmp"
inline std::string vector_file(const std::vector<double>& values)
{
    bytes file;
    file.add_i(static_cast<int>(values.size()));
    for (const double value : values) file.add_d(value);
    return file.add_i(static_cast<int>(values.size())).text();
}

// "t-femr-solution.tmp"
inline std::string solution_file(const std::vector<double>& values)
{
    bytes file;
    file.add_i(static_cast<int>(values.size()));
    for (const double value : values) file.add_d(value);
    return file.text();
}

// One record of "at-npresl-struct.tmp".
inline std::string potential_bytes(int nog, double potential)
{
    return bytes().add_i(nog).add_i(nog == 0 ? 0 : -7).add_d(potential).text();
}

// One record of "at-propsg-struct.tmp".
inline std::string conductivity_bytes(int noe, int use, double sigma)
{
    bytes record;
    record.add_i(noe).add_i(use);
    for (int k = 0; k < 8; ++k) record.add_d(1e9); // not used
    return record.add_d(sigma).text();
}

// Opens a host's file when its switch is on, as the driver does.
inline std::unique_ptr<opened_input> opened_when(bool wanted, const char* name)
{
    return wanted ? std::make_unique<opened_input>(name) : nullptr;
}

inline std::string file_error(const std::string& name, const std::string& tag)
{
    return "      Error. in " + name + "(" + tag + ").\n";
}

inline std::string no_end(const std::string& name, const std::string& number, const std::string& limit)
{
    return file_error(name, "r") + "             There is no end-data(" + number + "=0),\n             or, " + limit +
           " is too small.\n";
}

// The same with bytes from `offset` on replaced.
template <class T> std::string patched(std::string file, std::size_t offset, const T& value)
{
    return file.replace(offset, sizeof value, bytes().add(value).text());
}

} // namespace tarnel_test
