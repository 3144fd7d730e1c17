#include "damage/damages.h"

#include <utility>
#include <vector>

namespace tarnel_test
{

static const std::vector<std::string>& hostile_fields()
{
    static const std::vector<std::string> fields = {"",
                                                    "-",
                                                    "+",
                                                    ".",
                                                    "e",
                                                    "-e",
                                                    "1e",
                                                    "0",
                                                    "1",
                                                    "2",
                                                    "-1",
                                                    "999999999",
                                                    "-99999999",
                                                    "2147483647",
                                                    "-2147483648",
                                                    "99999999999",
                                                    "1e5",
                                                    "1d5",
                                                    "1e300",
                                                    "-1e300",
                                                    "1e-300",
                                                    "1e999",
                                                    "-1e999",
                                                    "1e-999",
                                                    "nan",
                                                    "-nan",
                                                    "inf",
                                                    "-inf",
                                                    "0x10",
                                                    "0x1p-5",
                                                    "0x",
                                                    "3-4",
                                                    "1,5",
                                                    "00000000000000001",
                                                    "0000000000000000000000000000000000001",
                                                    std::string(17, '9'),
                                                    std::string(120, '7'),
                                                    std::string(1, '\0'),
                                                    "\x01",
                                                    "\x7f",
                                                    "\xff",
                                                    "\r",
                                                    "1\t2",
                                                    "\v",
                                                    "%s%n",
                                                    "1 1",
                                                    "0 0 0 0 0 0 0 0 0 0 0",
                                                    "\n"};
    return fields;
}

static void damage_fields(const std::string& text, const damage_visitor& visit)
{
    int number = 0;
    for (std::size_t start = 0; (start = text.find_first_not_of(" \n", start)) != std::string::npos;) {
        std::size_t end = text.find_first_of(" \n", start);
        if (end == std::string::npos) end = text.size();
        ++number;
        for (const std::string& hostile : hostile_fields()) {
            std::string damaged = text;
            damaged.replace(start, end - start, hostile);
            if (damaged != text)
                visit(damage_kind::field, "field " + std::to_string(number) + " is " + hostile, damaged);
        }
        start = end;
    }
}

static std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t newline = text.find('\n', start);
        const std::size_t end = newline == std::string::npos ? text.size() : newline + 1;
        lines.push_back(text.substr(start, end - start));
        start = end;
    }
    return lines;
}

static std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
}

static void damage_lines(const std::string& text, const damage_visitor& visit)
{
    const std::vector<std::string> lines = lines_of(text);
    for (std::size_t k = 0; k < lines.size(); ++k) {
        const auto place = static_cast<std::ptrdiff_t>(k);
        const std::string number = std::to_string(k + 1);
        std::vector<std::string> damaged = lines;
        damaged.erase(damaged.begin() + place);
        visit(damage_kind::line, "line " + number + " dropped", joined(damaged));
        damaged = lines;
        damaged.insert(damaged.begin() + place, lines[k]);
        visit(damage_kind::line, "line " + number + " doubled", joined(damaged));
        if (k + 1 == lines.size() || lines[k] == lines[k + 1]) continue;
        damaged = lines;
        std::swap(damaged[k], damaged[k + 1]);
        visit(damage_kind::line, "line " + number + " swapped with the next", joined(damaged));
    }
}

static void damage_bytes(const std::string& content, const damage_visitor& visit)
{
    for (std::size_t at = 0; at < content.size(); ++at) {
        const auto old = static_cast<unsigned char>(content[at]);
        const int flipped = old ^ 0x80;
        for (const int value : {0, 255, flipped}) {
            if (value == old || (value == flipped && (value == 0 || value == 255))) continue;
            std::string damaged = content;
            damaged[at] = static_cast<char>(value);
            visit(damage_kind::byte, "byte " + std::to_string(at) + " is " + std::to_string(value), damaged);
        }
    }
    for (std::size_t at = 0; at + 4 <= content.size(); at += 4)
        for (const char* word : {"\xff\xff\xff\x7f", "\xff\xff\xff\xff"}) {
            std::string damaged = content;
            damaged.replace(at, 4, word, 4);
            if (damaged != content)
                visit(damage_kind::word,
                      "word at " + std::to_string(at) + (word[3] == '\x7f' ? " is the largest" : " is ones"), damaged);
        }
}

void for_each_damage(const std::string& content, content_kind kind, const damage_visitor& visit)
{
    for (std::size_t length = 0; length < content.size(); ++length)
        visit(damage_kind::cut, "cut to " + std::to_string(length) + " bytes", content.substr(0, length));
    if (kind == content_kind::text) {
        damage_fields(content, visit);
        damage_lines(content, visit);
    } else {
        damage_bytes(content, visit);
    }
}

} // namespace tarnel_test
