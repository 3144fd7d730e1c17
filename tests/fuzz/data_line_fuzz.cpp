// Lines of a text input: every field of every line as an integer and as a double, against the C library's own scan.
#include "dataline/data_line.h"
#include "dataline/field_scan.h"
#include "fuzz/fuzz_support.h"

#include <bit>
#include <cstdio>
#include <cstdlib>

using namespace tarnel_fuzz;

static void compare_with_library(std::string field)
{
    const char *first = field.data(), *last = first + field.size();
    const std::string text = field + " 0";
    int sentinel = 0;
    if (field.size() <= tarnel::double_characters) {
        double ours = 0, theirs = 0;
        const bool number = tarnel::scan_double_field(first, last, ours);
        if (number != (std::sscanf(text.c_str(), "%le %d", &theirs, &sentinel) == 2)) std::abort();
        const bool both_nan = ours != ours && theirs != theirs;
        if (number && !both_nan && std::bit_cast<std::uint64_t>(ours) != std::bit_cast<std::uint64_t>(theirs))
            std::abort();
    }
    if (field.size() <= tarnel::integer_characters) {
        std::int32_t ours = 0;
        int theirs = 0;
        const bool number = tarnel::scan_integer_field(first, last, ours);
        if (number != (std::sscanf(text.c_str(), "%d %d", &theirs, &sentinel) == 2)) std::abort();
        if (number && ours != theirs) std::abort();
    }
}

static std::vector<tarnel::data_line> read_lines()
{
    std::vector<tarnel::data_line> lines;
    runs_through([&lines](std::FILE* log) {
        lent_input in("lines.txt", log);
        for (tarnel::data_line line; lines.size() < 50; lines.push_back(line)) tarnel::t_rd_line(line, in, log);
    });
    return lines;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    enter_work_directory();
    write_input("lines.txt", text_of(data, size));
    for (const tarnel::data_line& line : read_lines()) {
        for (std::int32_t field = 1; field <= line.naprm; ++field)
            compare_with_library({line.text + line.is[field - 1], line.text + line.ie[field - 1]});
        for (std::int32_t field = 1; field <= tarnel::most_fields + 1; ++field) {
            runs_through([&line, field](std::FILE* log) { tarnel::t_get_iprm(line, field, -100, 1000000000, log); });
            runs_through(
                [&line, field](std::FILE* log) { tarnel::t_get_dprm(line, field, -1e10, tarnel::any_size, log); });
        }
    }
    return 0;
}
