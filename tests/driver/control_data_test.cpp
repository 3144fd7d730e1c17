#include "driver/control_data.h"

#include "dataline/data_line.h"
#include "support/stage.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

using namespace tarnel;
using namespace tarnel_test;

using control_data = stage_test;
using text_lines = std::vector<std::string>;

// A control file of each solver family; every value differs from its neighbours where the bounds let it.
static text_lines lines_of_family(int family)
{
    text_lines lines = {"11 12 13 14 15 16 17", "1 0 1 0 1 0 1", "1 -0.25"};
    const char* solvers[] = {"0 1", "1 2", "2 1", "3 77"};
    lines.emplace_back(solvers[family]);
    if (family != 0) lines.emplace_back("500 1e-8 1.25");
    lines.emplace_back("1 1e-30");
    if (family == 3) lines.emplace_back("2 3 0.5");
    return lines;
}

static std::string joined(const text_lines& lines)
{
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

static stage_outcome read_text(const std::string& text, control& cntl)
{
    write_file("at-cntl-data.txt", text);
    return run_stage([&](std::FILE* log) {
        opened_input in("at-cntl-data.txt");
        read_control_data(cntl, in, log);
    });
}

// The family's file with one line replaced.
static std::string with_line(int family, std::size_t number, const std::string& line)
{
    text_lines lines = lines_of_family(family);
    lines.at(number - 1) = line;
    return joined(lines);
}

static control expect_accepted(const std::string& text)
{
    control cntl;
    const stage_outcome outcome = read_text(text, cntl);
    EXPECT_FALSE(outcome.failed) << text;
    EXPECT_EQ(outcome.log, "") << text;
    return cntl;
}

static void expect_refused(int family, std::size_t number, const std::string& line, const std::string& error)
{
    control cntl;
    const stage_outcome outcome = read_text(with_line(family, number, line), cntl);
    EXPECT_TRUE(outcome.failed) << line;
    EXPECT_EQ(outcome.log, "      Error. " + error + "\n             at line : " + line + "\n") << line;
}

// The line with its field ip replaced.
static std::string with_field(const std::string& line, std::size_t ip, const std::string& field)
{
    std::string text;
    std::size_t at = 0;
    for (std::size_t k = 1; at < line.size(); ++k) {
        const std::size_t end = std::min(line.find(' ', at), line.size());
        text += (k == 1 ? "" : " ") + (k == ip ? field : line.substr(at, end - at));
        at = end + 1;
    }
    return text;
}

TEST_F(control_data, every_field_has_its_place_in_the_record)
{
    const control cntl = expect_accepted(joined(lines_of_family(3)));
    EXPECT_EQ(cntl.maxnog, 11);
    EXPECT_EQ(cntl.maxfelm, 12);
    EXPECT_EQ(cntl.maxbelm, 13);
    EXPECT_EQ(cntl.maxprp, 14);
    EXPECT_EQ(cntl.maxdim, 15);
    EXPECT_EQ(cntl.maxnzero, 16);
    EXPECT_EQ(cntl.maxedg, 17);
    EXPECT_EQ(cntl.maxvlt, 0);
    EXPECT_EQ(cntl.iax, 0);
    EXPECT_EQ(cntl.iopt_trans, 1);
    EXPECT_EQ(cntl.delta_t, -0.25);
    EXPECT_EQ(cntl.itype_solv, 3);
    EXPECT_EQ(cntl.iopt_solv, 77);
    EXPECT_EQ(cntl.itermax_solv, 500);
    EXPECT_EQ(cntl.eps_solv, 1e-8);
    EXPECT_EQ(cntl.accel_solv, 1.25);
    EXPECT_EQ(cntl.eps_zero, 1e-30);
    EXPECT_EQ(cntl.solv3_i1, 2);
    EXPECT_EQ(cntl.solv3_i2, 3);
    EXPECT_EQ(cntl.solv3_d, 0.5);
}

TEST_F(control_data, constants_are_truncated)
{
    const control cntl;
    EXPECT_EQ(cntl.pi, 3.1415926);
    EXPECT_EQ(cntl.deg2rad, 3.1415926 / 180);
    EXPECT_EQ(cntl.deg2rad, 0.017453292222222222);
    EXPECT_EQ(vacuum_permeability, 1.25663704e-06);
}

TEST_F(control_data, each_switch_alone_sets_its_member)
{
    constexpr std::int32_t control::*members[] = {&control::iopt_rdata,  &control::iopt_prep,   &control::iopt_proptv,
                                                  &control::iopt_propsg, &control::iopt_h0vect, &control::iopt_j0vect,
                                                  &control::iopt_belm};
    for (std::size_t on = 0; on < 7; ++on) {
        const control cntl = expect_accepted(with_line(1, 2, with_field("0 0 0 0 0 0 0", on + 1, "1")));
        for (std::size_t k = 0; k < 7; ++k) EXPECT_EQ(cntl.*members[k], k == on ? 1 : 0) << on << " " << k;
    }
}

struct integer_bounds {
    int family;
    std::size_t line;
    std::size_t ip;
    std::int32_t control::*member; // none for the switch of the zero threshold
    std::int32_t least;
    std::int32_t most; // 1000000000 cannot be written: its ten characters are too many
};

static const integer_bounds integer_fields[] = {
    {1, 1, 1, &control::maxnog, 1, 999999999},
    {1, 1, 2, &control::maxfelm, 1, 999999999},
    {1, 1, 3, &control::maxbelm, 0, 999999999},
    {1, 1, 4, &control::maxprp, 1, 999999999},
    {1, 1, 5, &control::maxdim, 1, 999999999},
    {1, 1, 6, &control::maxnzero, 1, 999999999},
    {1, 1, 7, &control::maxedg, 1, 999999999},
    {1, 2, 1, &control::iopt_rdata, 0, 1},
    {1, 2, 2, &control::iopt_prep, 0, 1},
    {1, 2, 3, &control::iopt_proptv, 0, 1},
    {1, 2, 4, &control::iopt_propsg, 0, 1},
    {1, 2, 5, &control::iopt_h0vect, 0, 1},
    {1, 2, 6, &control::iopt_j0vect, 0, 1},
    {1, 2, 7, &control::iopt_belm, 0, 1},
    {1, 3, 1, &control::iopt_trans, 0, 1},
    {0, 4, 2, &control::iopt_solv, 0, 1},
    {1, 4, 2, &control::iopt_solv, 0, 2},
    {2, 4, 2, &control::iopt_solv, 0, 1},
    {3, 4, 2, &control::iopt_solv, 0, 999999999},
    {1, 5, 1, &control::itermax_solv, 0, 999999999},
    {2, 5, 1, &control::itermax_solv, 0, 999999999},
    {3, 5, 1, &control::itermax_solv, 0, 999999999},
    {0, 5, 1, nullptr, 0, 1},
    {1, 6, 1, nullptr, 0, 1},
    {3, 7, 1, &control::solv3_i1, 1, 3},
    {3, 7, 2, &control::solv3_i2, 1, 4},
};

TEST_F(control_data, integers_lie_between_their_bounds)
{
    for (const integer_bounds& field : integer_fields) {
        const std::string line = lines_of_family(field.family)[field.line - 1];
        const std::string number = std::to_string(field.ip);
        for (const std::int32_t value : {field.least, field.most}) {
            const std::string changed = with_field(line, field.ip, std::to_string(value));
            const control cntl = expect_accepted(with_line(field.family, field.line, changed));
            if (field.member == nullptr) continue;
            EXPECT_EQ(cntl.*field.member, value) << changed;
        }
        expect_refused(field.family, field.line, with_field(line, field.ip, std::to_string(field.least - 1)),
                       "integer parameter over the limit. ip = " + number + " ");
        const bool large = field.most == 999999999;
        expect_refused(
            field.family, field.line, with_field(line, field.ip, std::to_string(field.most + 1)),
            (large ? "no. of character per a parameter too large. ip = " : "integer parameter over the limit. ip = ") +
                number + " ");
        expect_refused(field.family, field.line, with_field(line, field.ip, "1.5"),
                       "illegal integer parameter. ip = " + number + " ");
    }
}

struct double_bounds {
    int family;
    std::size_t line;
    std::size_t ip;
    double control::*member;
    const char* below; // nearest fields outside and on the bounds
    const char* least;
    const char* most;
    const char* above;
};

TEST_F(control_data, doubles_lie_between_their_bounds)
{
    const double_bounds fields[] = {
        {1, 3, 2, &control::delta_t, "-1.00000001e300", "-1e300", "1e300", "1.00000001e300"},
        {1, 5, 2, &control::eps_solv, "-1e-300", "0", "1e300", "1.00000001e300"},
        {1, 5, 3, &control::accel_solv, "-1e-300", "0", "1e300", "1.00000001e300"},
        {2, 5, 2, &control::eps_solv, "-1e-300", "0", "1e300", "1.00000001e300"},
        {3, 5, 3, &control::accel_solv, "-1e-300", "0", "1e300", "1.00000001e300"},
        {1, 6, 2, &control::eps_zero, "-1e-300", "0", "1e300", "1.00000001e300"},
        {0, 5, 2, &control::eps_zero, "-1e-300", "0", "1e300", "1.00000001e300"},
        {3, 7, 3, &control::solv3_d, "-1e-300", "0", "0.8", "0.8000000000001"},
    };
    for (const double_bounds& field : fields) {
        const std::string line = lines_of_family(field.family)[field.line - 1];
        const std::string number = std::to_string(field.ip);
        for (const char* value : {field.least, field.most}) {
            const std::string changed = with_field(line, field.ip, value);
            const control cntl = expect_accepted(with_line(field.family, field.line, changed));
            EXPECT_EQ(cntl.*field.member, std::stod(value)) << changed;
        }
        for (const char* value : {field.below, field.above, "nan", "inf"})
            expect_refused(field.family, field.line, with_field(line, field.ip, value),
                           "double parameter over the limit. ip = " + number + " ");
        expect_refused(field.family, field.line, with_field(line, field.ip, "1x"),
                       "illegal double parameter. ip = " + number + " ");
        expect_refused(field.family, field.line, with_field(line, field.ip, "000000000000000001"),
                       "no. of character per a parameter too large. ip = " + number + " ");
    }
}

TEST_F(control_data, solver_family_is_one_of_four)
{
    const std::string over = "integer parameter over the limit. ip = 1 ";
    expect_refused(1, 4, "-1 0", over);
    expect_refused(3, 4, "4 0", over);
    for (int family = 0; family < 4; ++family) {
        const control cntl = expect_accepted(joined(lines_of_family(family)));
        EXPECT_EQ(cntl.itype_solv, family);
    }
}

TEST_F(control_data, scaled_option_belongs_to_conjugate_gradients_alone)
{
    EXPECT_EQ(expect_accepted(with_line(1, 4, "1 2")).iopt_solv, 2);
    expect_refused(0, 4, "0 2", "integer parameter over the limit. ip = 2 ");
    expect_refused(2, 4, "2 2", "integer parameter over the limit. ip = 2 ");
}

TEST_F(control_data, skyline_solver_has_no_iteration_line)
{
    const control cntl = expect_accepted(joined(lines_of_family(0)));
    EXPECT_EQ(cntl.itype_solv, 0);
    EXPECT_EQ(cntl.iopt_solv, 1);
    EXPECT_EQ(cntl.itermax_solv, 0);
    EXPECT_EQ(cntl.eps_solv, 0.0);
    EXPECT_EQ(cntl.accel_solv, 0.0);
    EXPECT_EQ(cntl.eps_zero, 1e-30);
    expect_refused(0, 5, "500 1e-8 1.25", "no. of parameters is illegal.");
}

TEST_F(control_data, wrong_field_count_is_refused_before_any_field_is_read)
{
    const std::string illegal = "no. of parameters is illegal.";
    for (int family = 0; family < 4; ++family) {
        const text_lines lines = lines_of_family(family);
        for (std::size_t k = 0; k < lines.size(); ++k) {
            expect_refused(family, k + 1, "", illegal);
            expect_refused(family, k + 1, "   ", illegal);
            expect_refused(family, k + 1, lines[k].substr(0, lines[k].rfind(' ')), illegal); // one less
            expect_refused(family, k + 1, "x " + lines[k].substr(lines[k].find(' ') + 1) + " 0" + (k == 0 ? " 0" : ""),
                           illegal); // one more, behind a bad first field
        }
    }
    expect_refused(1, 1, "1 2 3 4 5 6 7 8 9 10 11",
                   "no. of parameter a line over the limit(10). "); // the line's own limit comes first
}

TEST_F(control_data, eighth_limit_is_never_looked_at)
{
    for (const char* field : {"18", "text", "-1", "1e999", "a_field_of_more_than_seventeen_characters"}) {
        const control cntl = expect_accepted(with_line(1, 1, std::string("11 12 13 14 15 16 17 ") + field));
        EXPECT_EQ(cntl.maxedg, 17);
    }
    expect_refused(1, 1, "11 12 13 14 15 16 17 18 19", "no. of parameters is illegal.");
    expect_refused(1, 2, "1 0 1 0 1 0 1 0", "no. of parameters is illegal."); // the switches have no eighth
}

TEST_F(control_data, fields_are_read_in_their_order)
{
    expect_refused(1, 1, "0 0 0 0 0 0 0", "integer parameter over the limit. ip = 1 ");
    expect_refused(1, 1, "1 1 1 x 0 0 0", "illegal integer parameter. ip = 4 ");
    expect_refused(1, 3, "2 x", "integer parameter over the limit. ip = 1 ");
    expect_refused(1, 4, "4 x", "integer parameter over the limit. ip = 1 ");
    expect_refused(3, 7, "1 5 9", "integer parameter over the limit. ip = 2 ");
}

TEST_F(control_data, zero_threshold_is_replaced_only_by_its_switch)
{
    EXPECT_EQ(expect_accepted(with_line(1, 6, "0 5.0")).eps_zero, 1e-60);
    EXPECT_EQ(expect_accepted(with_line(1, 6, "1 5.0")).eps_zero, 5.0);
    EXPECT_EQ(expect_accepted(with_line(1, 6, "1 0")).eps_zero, 0.0);
    EXPECT_EQ(expect_accepted(with_line(0, 5, "0 5.0")).eps_zero, 1e-60);
    // The value is read and bounded in either case.
    expect_refused(1, 6, "0 -1", "double parameter over the limit. ip = 2 ");
    expect_refused(1, 6, "0 x", "illegal double parameter. ip = 2 ");
    expect_refused(1, 6, "0 nan", "double parameter over the limit. ip = 2 ");
    expect_refused(1, 6, "2 x", "integer parameter over the limit. ip = 1 ");
}

TEST_F(control_data, file_that_ends_at_any_byte_is_refused_there)
{
    for (int family = 0; family < 4; ++family) {
        const std::string text = joined(lines_of_family(family));
        for (std::size_t length = 0; length < text.size(); ++length) {
            const std::string cut = text.substr(0, length);
            const std::string last = cut.substr(cut.rfind('\n') + 1); // npos + 1 is 0: the first line
            control cntl;
            const stage_outcome outcome = read_text(cut, cntl);
            EXPECT_TRUE(outcome.failed) << cut;
            EXPECT_EQ(outcome.log, "      Error. EOF found in data line. \n             at line : " + last +
                                       std::string(101 - last.size(), ' '));
        }
    }
}

TEST_F(control_data, lines_after_the_last_are_not_read)
{
    for (int family = 0; family < 4; ++family) {
        write_file("at-cntl-data.txt", joined(lines_of_family(family)) + "what follows\nand no newline");
        const stage_outcome outcome = run_stage([](std::FILE* log) {
            opened_input in("at-cntl-data.txt");
            control cntl;
            read_control_data(cntl, in, log);
            data_line line;
            t_rd_line(line, in, log);
            EXPECT_EQ(std::string(line.text, 13), "what follows\n");
        });
        EXPECT_FALSE(outcome.failed) << outcome.log;
    }
}

TEST_F(control_data, lines_may_end_with_a_carriage_return)
{
    std::string text;
    for (const std::string& line : lines_of_family(3)) text += "  " + line + "  \r\n";
    const control cntl = expect_accepted(text);
    EXPECT_EQ(cntl.maxedg, 17);
    EXPECT_EQ(cntl.solv3_d, 0.5);
}

using dimension_data = stage_test;

static stage_outcome read_dimension(const std::string& text, control& cntl)
{
    write_file("t-dimension-data.txt", text);
    return run_stage([&](std::FILE* log) {
        opened_input in("t-dimension-data.txt");
        read_dimension_data(cntl, in, log);
    });
}

TEST_F(dimension_data, geometry_is_planar_or_axisymmetric)
{
    for (const std::int32_t iax : {0, 1}) {
        control cntl;
        cntl.iax = 5;
        const stage_outcome outcome = read_dimension(std::to_string(iax) + "\nnothing more is read", cntl);
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(outcome.log, "");
        EXPECT_EQ(cntl.iax, iax);
    }
}

TEST_F(dimension_data, faults_are_reported_with_the_line)
{
    const struct {
        const char* text;
        std::string log;
    } rows[] = {
        {"2\n", "      Error. integer parameter over the limit. ip = 1 \n             at line : 2\n"},
        {"-1\n", "      Error. integer parameter over the limit. ip = 1 \n             at line : -1\n"},
        {"1.0\n", "      Error. illegal integer parameter. ip = 1 \n             at line : 1.0\n"},
        {"0000000001\n",
         "      Error. no. of character per a parameter too large. ip = 1 \n             at line : 0000000001\n"},
        {"\n", "      Error. no. of parameters is illegal.\n             at line : \n"},
        {"1 0\n", "      Error. no. of parameters is illegal.\n             at line : 1 0\n"},
        {"1", "      Error. EOF found in data line. \n             at line : 1" + std::string(100, ' ')},
        {"", "      Error. EOF found in data line. \n             at line : " + std::string(101, ' ')},
    };
    for (const auto& row : rows) {
        control cntl;
        const stage_outcome outcome = read_dimension(row.text, cntl);
        EXPECT_TRUE(outcome.failed) << row.text;
        EXPECT_EQ(outcome.log, row.log);
    }
}
