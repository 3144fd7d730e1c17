#include "faults/file_items.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <sstream>

namespace tarnel_test
{

namespace
{

struct walk {
    const std::string& content;
    std::size_t at = 0;
    std::vector<file_item> items = {};
};

void pass(walk& w, int kind, std::int64_t count, std::size_t bytes)
{
    w.at += static_cast<std::size_t>(std::max<std::int64_t>(count, 0)) * bytes;
    w.items.push_back({kind, w.at});
}

// An int32 of the file; 0 behind its end, which ends every list.
std::int32_t take_number(walk& w, int kind)
{
    std::int32_t value = 0;
    if (w.at + sizeof value <= w.content.size()) std::memcpy(&value, w.content.data() + w.at, sizeof value);
    pass(w, kind, 1, sizeof value);
    return value;
}

void fixed_conditions(walk& w)
{
    constexpr std::size_t section_a[] = {4, 8, 4, 4, 8}, section_f[] = {8, 4, 8};
    while (take_number(w, 0) != 0)
        for (int k = 0; k < 5; ++k) pass(w, 1 + k, 1, section_a[k]);
    while (take_number(w, 6) != 0)
        for (int k = 0; k < 3; ++k) pass(w, 7 + k, 1, section_f[k]);
}

// Count, then rows of a count and terms, then the count again.
void matrix_rows(walk& w, std::size_t bytes_of_term)
{
    const std::int32_t ndim = take_number(w, 0);
    for (std::int32_t row = 0; row < ndim; ++row) pass(w, 2, take_number(w, 1), bytes_of_term);
    take_number(w, 3);
}

void counted_doubles(walk& w, int kind)
{
    pass(w, kind + 1, take_number(w, kind), 8);
}

void right_side(walk& w)
{
    counted_doubles(w, 0);
    take_number(w, 2);
}

void element_centres(walk& w)
{
    while (w.at + 4 < w.content.size()) {
        take_number(w, 0);
        pass(w, 1, 3, 8);
    }
    take_number(w, 2);
}

void element_areas(walk& w)
{
    while (take_number(w, 0) != 0) pass(w, 1, 1, 8);
}

void edge_diagonals(walk& w)
{
    const std::int32_t edges = take_number(w, 0);
    for (std::int32_t edge = 0; edge < edges; ++edge)
        for (const int kind : {1, 2}) pass(w, kind, 1, 8);
}

void circuit_properties(walk& w)
{
    take_number(w, 0);
    while (take_number(w, 1) != 0) {
        const std::int32_t iswvlt = take_number(w, 2);
        take_number(w, 3);
        while (iswvlt == 1 && take_number(w, 4) != 0) {
            take_number(w, 5);
            pass(w, 6, 1, 32);
        }
    }
}

void circuit_unknowns(walk& w)
{
    for (int kind = 0; kind < 5; ++kind) take_number(w, kind);
    while (take_number(w, 5) != 0) take_number(w, 6);
    while (take_number(w, 7) != 0) {
        take_number(w, 8);
        pass(w, 9, 7, 8);
        pass(w, 10, 2, 4);
    }
    while (take_number(w, 11) != 0) take_number(w, 12);
    const std::int32_t points = take_number(w, 13);
    take_number(w, 14);
    pass(w, 15, 1, 8);
    while (points > 0 && take_number(w, 16) != 0)
        for (const int kind : {17, 18}) take_number(w, kind);
    while (points > 0 && take_number(w, 19) != 0) pass(w, 21, take_number(w, 20), 16);
}

void circuit_matrix(walk& w)
{
    const std::int64_t nvolt = take_number(w, 0);
    pass(w, 1, nvolt * nvolt, 8);
}

void circuit_solution(walk& w)
{
    counted_doubles(w, 0);
    counted_doubles(w, 2);
}

void factor_block(walk& w)
{
    pass(w, 0, 4, 4);
    while (w.at < w.content.size()) {
        const std::int32_t height = take_number(w, 1);
        take_number(w, 1);
        pass(w, 2, height, 8);
    }
}

} // namespace

layout_of_file layout_of(const std::string& path, const file_contents& files)
{
    const std::size_t dash = path.rfind('-'), point = path.rfind('.');
    if (path.starts_with("t-femr-") && dash > 6)
        return {path.substr(0, dash) + "-%05d" + path.substr(point), std::stoi(path.substr(dash + 1))};
    const auto blocks = files.find("t-skylin.txt");
    if (blocks == files.end()) return {path};
    std::istringstream names(blocks->second);
    std::string name;
    std::getline(names, name);
    for (int block = 1; std::getline(names, name); ++block)
        if (name == path) return {"work file for sky-line", block};
    return {path};
}

std::vector<file_item> items_of_file(const std::string& layout, const std::string& content)
{
    static const std::map<std::string, void (*)(walk&)> layouts = {
        {"at-fixc-data.tmp", fixed_conditions},
        {"t-matrix-index.tmp", [](walk& w) { matrix_rows(w, 4); }},
        {"t-femr-matrix.tmp", [](walk& w) { matrix_rows(w, 8); }},
        {"t-femr-vector.tmp", right_side},
        {"t-femr-vector-%05d.tmp", right_side},
        {"t-femr-solution.tmp", [](walk& w) { counted_doubles(w, 0); }},
        {"t-femr-solution-%05d.tmp", [](walk& w) { counted_doubles(w, 0); }},
        {"t-felm-cntr.tmp", element_centres},
        {"t-felm-vole.tmp", element_areas},
        {"t-voltr-femdv.tmp", edge_diagonals},
        {"t-volt-data1.tmp", circuit_properties},
        {"t-volt-data2.tmp", circuit_unknowns},
        {"t-voltr-matrix.tmp", circuit_matrix},
        {"t-voltr-vector.tmp", [](walk& w) { counted_doubles(w, 0); }},
        {"t-voltp-solution.tmp", circuit_solution},
        {"t-voltr-solution.tmp", circuit_solution},
        {"work file for sky-line", factor_block}};
    const auto found = layouts.find(layout);
    if (found == layouts.end()) return {{0, content.size()}};
    walk w{content};
    found->second(w);
    return w.items;
}

} // namespace tarnel_test
