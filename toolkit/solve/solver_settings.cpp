// Line 4 of the control file starts with the solver family (1 conjugate gradients, 2 Gauss-Seidel); with these, line 5
// holds iteration limit, tolerance and acceleration factor. Fields are separated by blanks.
#include "solve/solver_settings.h"

#include <cstdlib>
#include <string>
#include <vector>

static std::string_view line_of(std::string_view text, int line_no)
{
    for (int skipped = 1; skipped < line_no; ++skipped) {
        const std::size_t newline = text.find('\n');
        if (newline == std::string_view::npos) return {};
        text.remove_prefix(newline + 1);
    }
    const std::string_view line = text.substr(0, text.find('\n'));
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

static std::vector<std::string> fields_of(std::string_view line)
{
    std::vector<std::string> fields;
    while (true) {
        const std::size_t first = line.find_first_not_of(' ');
        if (first == std::string_view::npos) return fields;
        line.remove_prefix(first);
        const std::string_view field = line.substr(0, line.find(' '));
        fields.emplace_back(field);
        line.remove_prefix(field.size());
    }
}

// The whole field as a number, as the C library reads it.
static std::optional<double> number_of(const std::string& field)
{
    char* end = nullptr;
    const double value = std::strtod(field.c_str(), &end);
    if (end != field.c_str() + field.size()) return {};
    return value;
}

std::optional<solver_settings> read_solver_settings(std::string_view control_text)
{
    const std::vector<std::string> choice = fields_of(line_of(control_text, 4));
    const std::vector<std::string> parameters = fields_of(line_of(control_text, 5));
    if (choice.size() != 2 || parameters.size() != 3) return {};
    const std::optional<double> family = number_of(choice[0]);
    if (family != 1.0 && family != 2.0) return {};
    const std::optional<double> limit = number_of(parameters[0]);
    const std::optional<double> tolerance = number_of(parameters[1]);
    if (!limit || !tolerance || !(*limit >= 0 && *limit <= 1e9)) return {};
    return solver_settings{static_cast<std::int64_t>(*limit), *tolerance};
}
