#include "support/msh_file.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tarnel_bench
{

struct msh_text {
    std::string bytes;
    const char* at;
    const char* end;
};

[[noreturn]] static void refuse(const char* why)
{
    throw std::runtime_error(std::string("not a mesh of the expected kind: ") + why);
}

static msh_text read_text(const std::filesystem::path& path)
{
    msh_text text;
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("can't open " + path.string());
    text.bytes.resize(std::filesystem::file_size(path));
    in.read(text.bytes.data(), static_cast<std::streamsize>(text.bytes.size()));
    if (!in) throw std::runtime_error("can't read " + path.string());
    text.at = text.bytes.data();
    text.end = text.at + text.bytes.size();
    return text;
}

template <class T> static T next_number(msh_text& text)
{
    while (text.at != text.end && (*text.at == ' ' || *text.at == '\n' || *text.at == '\r')) ++text.at;
    T value{};
    const auto [after, error] = std::from_chars(text.at, text.end, value);
    if (error != std::errc{}) refuse("a number is missing");
    text.at = after;
    return value;
}

static void go_to_section(msh_text& text, std::string_view heading)
{
    const std::string_view rest(text.at, static_cast<std::size_t>(text.end - text.at));
    const std::size_t found = rest.find(heading);
    if (found == std::string_view::npos) refuse("a section is missing");
    text.at += found + heading.size();
}

static std::vector<std::uint32_t> read_nodes(msh_text& text, std::vector<point>& nodes)
{
    go_to_section(text, "$Nodes\n");
    const auto count = next_number<std::uint32_t>(text);
    nodes.reserve(count);
    std::vector<std::uint32_t> index_of; // by Gmsh's node number
    for (std::uint32_t k = 0; k < count; ++k) {
        const auto number = next_number<std::uint32_t>(text);
        const auto x = next_number<double>(text), y = next_number<double>(text);
        next_number<double>(text);
        if (number >= index_of.size()) index_of.resize(std::max<std::size_t>(2 * index_of.size(), number + 1));
        index_of[number] = k;
        nodes.push_back({x, y});
    }
    return index_of;
}

static std::uint32_t next_node(msh_text& text, const std::vector<std::uint32_t>& index_of)
{
    const auto number = next_number<std::uint32_t>(text);
    if (number >= index_of.size()) refuse("an element names an unknown node");
    return index_of[number];
}

static void read_elements(msh_text& text, const std::vector<std::uint32_t>& index_of, mesh& read)
{
    constexpr int line_of_two = 1, triangle_of_three = 2;
    go_to_section(text, "$Elements\n");
    const auto count = next_number<std::uint32_t>(text);
    for (std::uint32_t k = 0; k < count; ++k) {
        next_number<std::uint32_t>(text); // its number
        const int type = next_number<int>(text);
        const int tags = next_number<int>(text);
        if (tags < 1) refuse("an element without a physical group");
        const int region = next_number<int>(text);
        for (int t = 1; t < tags; ++t) next_number<int>(text);
        if (type == line_of_two) {
            for (int n = 0; n < 2; ++n) read.border.push_back(next_node(text, index_of));
        } else if (type == triangle_of_three) {
            triangle& made = read.triangles.emplace_back();
            for (std::uint32_t& node : made.node) node = next_node(text, index_of);
            made.region = region;
        } else {
            refuse("an element that is neither a line of two nor a triangle of three nodes");
        }
    }
    std::sort(read.border.begin(), read.border.end());
    read.border.erase(std::unique(read.border.begin(), read.border.end()), read.border.end());
}

mesh read_msh(const std::filesystem::path& path)
{
    msh_text text = read_text(path);
    if (!text.bytes.starts_with("$MeshFormat\n2.2 0 8\n")) refuse("its format is not MSH 2.2 as text");
    mesh read;
    const std::vector<std::uint32_t> index_of = read_nodes(text, read.nodes);
    read_elements(text, index_of, read);
    return read;
}

} // namespace tarnel_bench
