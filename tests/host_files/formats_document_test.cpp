// The record tables of the document of file formats against the layouts as compiled. A table stands under a heading
// "### `file`", has the columns offset, type, field and meaning, and is followed by "Record: N bytes".
#include "common/records.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

using namespace tarnel;

namespace
{

struct layout_field {
    std::size_t offset;
    std::string type; // as the document writes it: "int32", "3 x double"
    std::string name;
};

bool operator==(const layout_field& a, const layout_field& b)
{
    return a.offset == b.offset && a.type == b.type && a.name == b.name;
}

std::ostream& operator<<(std::ostream& out, const layout_field& field)
{
    return out << "| " << field.offset << " | " << field.type << " | " << field.name << " |";
}

struct layout {
    std::vector<layout_field> fields;
    std::size_t bytes = 0;
};

template <class T> struct type_name {
    static std::string text() { return std::is_same_v<T, double> ? "double" : "int32"; }
};
template <class T, std::size_t n> struct type_name<T[n]> {
    static std::string text() { return std::to_string(n) + " x " + type_name<T>::text(); }
};

// The build fails for a field that is not there, or is neither an int32 nor a double.
template <class T> layout_field field_of(std::size_t offset, const char* name)
{
    using element = std::remove_all_extents_t<T>;
    static_assert(std::is_same_v<element, double> || std::is_same_v<element, std::int32_t>);
    return {offset, type_name<T>::text(), name};
}

#define FIELD(record, member) field_of<decltype(record::member)>(offsetof(record, member), #member)

std::map<std::string, layout> compiled_layouts()
{
    const layout potentials{
        {FIELD(potential_record, nog), FIELD(potential_record, pad), FIELD(potential_record, potential)},
        sizeof(potential_record)};
    return {
        {lcs_file,
         {{FIELD(lcs_record, lno), FIELD(lcs_record, type), FIELD(lcs_record, origin), FIELD(lcs_record, rotation)},
          sizeof(lcs_record)}},
        {nodes_file,
         {{FIELD(mesh_node_record, nog), FIELD(mesh_node_record, pad), FIELD(mesh_node_record, x),
           FIELD(mesh_node_record, y), FIELD(mesh_node_record, z)},
          sizeof(mesh_node_record)}},
        {felms_file,
         {{FIELD(mesh_felm_record, noe), FIELD(mesh_felm_record, type), FIELD(mesh_felm_record, nop),
           FIELD(mesh_felm_record, node)},
          sizeof(mesh_felm_record)}},
        {properties_file,
         {{FIELD(property_record, nop), FIELD(property_record, iptv), FIELD(property_record, iflg),
           FIELD(property_record, ij0v), FIELD(property_record, mu), FIELD(property_record, bvec),
           FIELD(property_record, hvec), FIELD(property_record, j0vec), FIELD(property_record, sigma),
           FIELD(property_record, lnob), FIELD(property_record, lnoh), FIELD(property_record, lnoj),
           FIELD(property_record, pad)},
          sizeof(property_record)}},
        {node_struct_file,
         {{FIELD(node_struct_record, nog), FIELD(node_struct_record, pad_a), FIELD(node_struct_record, x),
           FIELD(node_struct_record, y), FIELD(node_struct_record, z), FIELD(node_struct_record, nufai),
           FIELD(node_struct_record, pad_b), FIELD(node_struct_record, fai0), FIELD(node_struct_record, acoef)},
          sizeof(node_struct_record)}},
        {felm_struct_file,
         {{FIELD(felm_struct_record, noe), FIELD(felm_struct_record, type), FIELD(felm_struct_record, nop),
           FIELD(felm_struct_record, node), FIELD(felm_struct_record, pad_a), FIELD(felm_struct_record, reluctivity),
           FIELD(felm_struct_record, hb), FIELD(felm_struct_record, hvec), FIELD(felm_struct_record, j0vec),
           FIELD(felm_struct_record, sigma), FIELD(felm_struct_record, iflg), FIELD(felm_struct_record, pad_b)},
          sizeof(felm_struct_record)}},
        {belms_file,
         {{FIELD(belm_record, nob), FIELD(belm_record, type), FIELD(belm_record, points), FIELD(belm_record, node),
           FIELD(belm_record, not_read_a), FIELD(belm_record, hx), FIELD(belm_record, hy),
           FIELD(belm_record, not_read_b)},
          sizeof(belm_record)}},
        {tensors_file,
         {{FIELD(tensor_record, noe), FIELD(tensor_record, use), FIELD(tensor_record, t11), FIELD(tensor_record, t12),
           FIELD(tensor_record, not_read_a), FIELD(tensor_record, t21), FIELD(tensor_record, t22),
           FIELD(tensor_record, not_read_b), FIELD(tensor_record, bx), FIELD(tensor_record, by),
           FIELD(tensor_record, not_read_c)},
          sizeof(tensor_record)}},
        {currents_file,
         {{FIELD(current_record, noe), FIELD(current_record, use), FIELD(current_record, j0vec)},
          sizeof(current_record)}},
        {conductivities_file,
         {{FIELD(conductivity_record, noe), FIELD(conductivity_record, use), FIELD(conductivity_record, not_read),
           FIELD(conductivity_record, sigma)},
          sizeof(conductivity_record)}},
        {magnetisations_file,
         {{FIELD(magnetisation_record, noe), FIELD(magnetisation_record, use), FIELD(magnetisation_record, hx),
           FIELD(magnetisation_record, hy), FIELD(magnetisation_record, not_read)},
          sizeof(magnetisation_record)}},
        {previous_file, potentials},
        {node_results_file, potentials},
        {felm_results_file,
         {{FIELD(felm_result_record, noe), FIELD(felm_result_record, type), FIELD(felm_result_record, nop),
           FIELD(felm_result_record, pad), FIELD(felm_result_record, b), FIELD(felm_result_record, h),
           FIELD(felm_result_record, j), FIELD(felm_result_record, e)},
          sizeof(felm_result_record)}}};
}

// The cells of a row "| a | b |", without the blanks around them.
std::vector<std::string> cells_of(const std::string& line)
{
    std::vector<std::string> cells;
    std::istringstream row(line.substr(1));
    for (std::string cell; std::getline(row, cell, '|');) {
        const std::size_t first = cell.find_first_not_of(' ');
        cells.push_back(first == std::string::npos ? "" : cell.substr(first, cell.find_last_not_of(' ') - first + 1));
    }
    return cells;
}

std::map<std::string, layout> documented_layouts(std::istream& document)
{
    std::map<std::string, layout> layouts;
    std::string file;
    bool in_table = false;
    for (std::string line; std::getline(document, line);) {
        if (line.starts_with("#")) {
            const std::size_t from = line.find('`'), to = line.rfind('`');
            file = from == to ? "" : line.substr(from + 1, to - from - 1);
        }
        if (line == "| offset | type | field | meaning |") {
            EXPECT_TRUE(layouts.emplace(file, layout{}).second) << file << " has two tables";
            in_table = true;
        } else if (in_table && line.starts_with("|")) {
            if (line.starts_with("|---")) continue;
            const std::vector<std::string> cells = cells_of(line);
            if (cells.size() != 4) {
                ADD_FAILURE() << "a row of another shape: " << line;
                continue;
            }
            layouts[file].fields.push_back({std::stoul(cells[0]), cells[1], cells[2]});
        } else {
            in_table = false;
            if (line.starts_with("Record: ")) layouts[file].bytes = std::stoul(line.substr(8));
        }
    }
    return layouts;
}

} // namespace

TEST(formats_document, record_tables_are_the_compiled_layouts)
{
    std::ifstream document(TARNEL_FORMATS_DOCUMENT);
    if (!document) GTEST_SKIP() << "no document " << TARNEL_FORMATS_DOCUMENT;
    std::map<std::string, layout> documented = documented_layouts(document);
    for (const auto& [file, compiled] : compiled_layouts()) {
        SCOPED_TRACE(file);
        EXPECT_EQ(documented[file].fields, compiled.fields);
        EXPECT_EQ(documented[file].bytes, compiled.bytes);
        documented.erase(file);
    }
    for (const auto& [file, table] : documented) ADD_FAILURE() << file << " has a table and no compiled record";
}

// Every record's fields follow each other without a hole: padding is named.
TEST(formats_document, compiled_records_have_no_unnamed_bytes)
{
    for (const auto& [file, compiled] : compiled_layouts()) {
        std::size_t end = 0;
        for (const layout_field& field : compiled.fields) {
            EXPECT_EQ(field.offset, end) << file << ' ' << field.name;
            const std::size_t x = field.type.find(" x ");
            const std::size_t count = x == std::string::npos ? 1 : std::stoul(field.type);
            end = field.offset + count * (field.type.ends_with("double") ? 8 : 4);
        }
        EXPECT_EQ(end, compiled.bytes) << file;
    }
}
