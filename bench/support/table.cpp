#include "support/table.h"

#include <algorithm>

namespace tarnel_bench
{

static void print_row(std::FILE* out, const table_row& row, const std::vector<int>& widths, std::size_t left)
{
    for (std::size_t c = 0; c < row.size(); ++c)
        std::fprintf(out, c < left ? "| %-*s " : "| %*s ", widths[c], row[c].c_str());
    std::fputs("|\n", out);
}

void print_table(std::FILE* out, const std::vector<table_row>& rows, std::size_t left)
{
    std::vector<int> widths(rows.front().size(), 2);
    for (const table_row& row : rows)
        for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], static_cast<int>(row[c].size()));
    table_row rule;
    for (std::size_t c = 0; c < widths.size(); ++c) {
        std::string& line = rule.emplace_back(static_cast<std::size_t>(widths[c]), '-');
        if (c >= left) line.back() = ':';
    }
    print_row(out, rows.front(), widths, left);
    print_row(out, rule, widths, left);
    for (std::size_t r = 1; r < rows.size(); ++r) print_row(out, rows[r], widths, left);
}

std::string decimal(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string seconds_text(double seconds)
{
    return decimal(seconds, seconds < 10 ? 3 : seconds < 100 ? 2 : 1);
}

std::string grouped(long long value)
{
    std::string text = std::to_string(value);
    for (std::size_t at = text.size(); at > (value < 0 ? 4u : 3u); text.insert(at, 1, ',')) at -= 3;
    return text;
}

std::string megabytes(long long bytes)
{
    const double millions = static_cast<double>(bytes) / 1e6;
    return decimal(millions, millions < 100 ? 1 : 0);
}

} // namespace tarnel_bench
