#include "readers/felm_data.h"
#include "readers/stage_files.h"

using namespace tarnel_test;
using felm_data = stage_test;

static const std::string heading = "    === in func. t_rd_felm_data ===\n"
                                   "        Now, reading t-felm-data.txt. \n";

static file_outcome read_felms(const std::string& text, const tarnel::control& cntl = small_control())
{
    renew_file("t-felm-data.txt", text);
    opened_input in("t-felm-data.txt");
    return run_writing("t-felms-struct.tmp", [&](tarnel::output_file& out, std::FILE* log) {
        tarnel::t_rd_felm_data(cntl, {in, out}, log);
    });
}

// Node lines 11, 12, ... of so many fields each.
static std::string node_lines(std::initializer_list<int> fields)
{
    std::string text;
    int node = 11;
    for (const int n : fields) {
        for (int k = 0; k < n; ++k) text += std::to_string(node++) + " ";
        text += "\n";
    }
    return text;
}

struct type_row {
    const char* code;
    int nodes;
    std::initializer_list<int> lines;
};
static const type_row planar_types[] = {{"203", 3, {3}}, {"204", 4, {4}}, {"206", 6, {6}}, {"208", 8, {8}}};
static const type_row solid_types[] = {{"304", 4, {4}},     {"306", 6, {6}},     {"308", 8, {8}},
                                       {"310", 10, {8, 2}}, {"315", 15, {8, 7}}, {"320", 20, {8, 8, 4}}};

static void expect_accepted(const type_row& type, int iax)
{
    tarnel::control cntl = small_control();
    cntl.iax = iax;
    const file_outcome read =
        read_felms(std::string("7 ") + type.code + " 3\n" + node_lines(type.lines) + "0 0 0\n", cntl);
    EXPECT_FALSE(read.failed) << type.code;
    EXPECT_EQ(read.log, heading);
    ASSERT_EQ(read.file.size(), 184u);
    EXPECT_EQ(int_at(read.file, 0), 7);
    EXPECT_EQ(int_at(read.file, 4), std::stoi(type.code));
    EXPECT_EQ(int_at(read.file, 8), 3);
    for (int k = 0; k < 20; ++k)
        EXPECT_EQ(int_at(read.file, 12 + 4 * static_cast<std::size_t>(k)), k < type.nodes ? 11 + k : 0);
    EXPECT_EQ(read.file.substr(92), std::string(92, '\0'));
}

static void expect_refused(const std::string& code, int iax)
{
    tarnel::control cntl = small_control();
    cntl.iax = iax;
    const file_outcome read = read_felms("7 " + code + " 3\n1 2 3\n0 0 0\n", cntl);
    EXPECT_TRUE(read.failed) << code;
    EXPECT_EQ(read.log, heading + "      Error. finite element type no. is illegal.\n"
                                  "             noe = 7 .\n");
    EXPECT_EQ(read.file, "");
}

TEST_F(felm_data, planar_types_are_stored_by_offset_in_both_geometries)
{
    for (const int iax : {0, 1})
        for (const type_row& type : planar_types) expect_accepted(type, iax);
}

TEST_F(felm_data, solid_types_belong_to_geometry_kind_2)
{
    for (const type_row& type : solid_types) {
        expect_accepted(type, 2);
        expect_refused(type.code, 0);
        expect_refused(type.code, 1);
    }
    for (const type_row& type : planar_types) expect_refused(type.code, 2);
}

TEST_F(felm_data, other_codes_are_refused)
{
    for (const char* code : {"0", "102", "103", "202", "205", "207", "209", "900000000"})
        for (const int iax : {0, 1, 2}) expect_refused(code, iax);
}

TEST_F(felm_data, end_line_alone_writes_the_end_record)
{
    for (const char* text : {"0 0 0\n", "0 999 5\nnever read\n"}) { // its type and property do not show
        const file_outcome read = read_felms(text);
        EXPECT_FALSE(read.failed);
        EXPECT_EQ(read.log, heading);
        EXPECT_EQ(read.file, std::string(92, '\0'));
    }
}

TEST_F(felm_data, elements_stand_in_file_order_with_gaps_repeats_and_property_0)
{
    const file_outcome read = read_felms("9 204 0\n1 2 3 4\n2 203 100\n100 100 100\n9 203 1\n5 6 7\n0 0 0\n");
    EXPECT_FALSE(read.failed);
    ASSERT_EQ(read.file.size(), 4u * 92);
    EXPECT_EQ(int_at(read.file, 0), 9);
    EXPECT_EQ(int_at(read.file, 8), 0);
    EXPECT_EQ(int_at(read.file, 92), 2);
    EXPECT_EQ(int_at(read.file, 92 + 8), 100);
    EXPECT_EQ(int_at(read.file, 92 + 12), 100);
    EXPECT_EQ(int_at(read.file, 184), 9);
    EXPECT_EQ(int_at(read.file, 184 + 20), 7);
    EXPECT_EQ(int_at(read.file, 184 + 24), 0); // nothing of the quadrilateral is left
}

TEST_F(felm_data, end_line_counts_against_the_limit)
{
    tarnel::control cntl = small_control();
    cntl.maxfelm = 2;
    const std::string two = "1 203 1\n1 2 3\n2 203 1\n1 2 3\n";
    for (const char* after : {"", "0 0 0\n"}) {
        const file_outcome read = read_felms(two + after, cntl);
        EXPECT_TRUE(read.failed);
        EXPECT_EQ(read.log, heading + "      Error. in t-felm-data.txt(r).\n"
                                      "             There is no end-data(noe=0),\n"
                                      "             or, maxfelm is too small.\n");
        EXPECT_EQ(read.file.size(), 184u);
    }
    cntl.maxfelm = 3;
    EXPECT_FALSE(read_felms(two + "0 0 0\n", cntl).failed);
}

TEST_F(felm_data, fields_are_counted_and_bounded)
{
    tarnel::control cntl = small_control();
    cntl.maxfelm = 20;
    cntl.maxprp = 5;
    cntl.maxnog = 30;
    const std::string quadrilateral = "1 204 1\n";
    const struct {
        std::string text, tail;
    } rows[] = {
        {"1 203\n", wrong_count("1 203")},
        {"1 203 1 1\n", wrong_count("1 203 1 1")},
        {"0\n", wrong_count("0")},
        {"\n", wrong_count("")},
        {"-1 203 1\n", over_the_limit("integer", 1, "-1 203 1")},
        {"21 203 1\n", over_the_limit("integer", 1, "21 203 1")},
        {"20 -1 1\n", over_the_limit("integer", 2, "20 -1 1")},
        {"0 -1 0\n", over_the_limit("integer", 2, "0 -1 0")},
        {"20 203 -1\n", over_the_limit("integer", 3, "20 203 -1")},
        {"20 203 6\n", over_the_limit("integer", 3, "20 203 6")},
        {"0 0 6\n", over_the_limit("integer", 3, "0 0 6")},
        {"20 999 6\n", over_the_limit("integer", 3, "20 999 6")}, // the table of types comes after the bounds
        {quadrilateral + "1 2 3\n", wrong_count("1 2 3")},
        {quadrilateral + "1 2 3 4 5\n", wrong_count("1 2 3 4 5")},
        {quadrilateral + "0 2 3 4\n", over_the_limit("integer", 1, "0 2 3 4")},
        {quadrilateral + "1 -2 3 4\n", over_the_limit("integer", 2, "1 -2 3 4")},
        {quadrilateral + "1 30 3 31\n", over_the_limit("integer", 4, "1 30 3 31")},
        {quadrilateral + "1 2 3.5 4\n", "      Error. illegal integer parameter. ip = 3 \n" + at_line("1 2 3.5 4")},
        {quadrilateral, at_end_of_file("")},
        {quadrilateral + "1 2 3 4\n", at_end_of_file("")},
        {"0 0 0", at_end_of_file("0 0 0")},
    };
    const auto read = [&](const std::string& text) { return read_felms(text, cntl); };
    for (const auto& row : rows) expect_refused_anywhere(read, "1 203 1\n1 2 3\n", row.text, heading + row.tail);
    EXPECT_FALSE(read_felms("20 204 5\n1 30 30 1\n0 0 0\n", cntl).failed);
}

TEST_F(felm_data, every_node_line_of_a_solid_is_counted)
{
    tarnel::control cntl = small_control();
    cntl.iax = 2;
    const std::string eight = "1 2 3 4 5 6 7 8\n";
    const struct {
        std::string text, tail;
    } rows[] = {
        {"1 310 1\n1 2 3 4 5 6 7\n", wrong_count("1 2 3 4 5 6 7")},
        {"1 310 1\n1 2 3 4 5 6 7 8 9 10\n", wrong_count("1 2 3 4 5 6 7 8 9 10")},
        {"1 310 1\n" + eight + "9\n", wrong_count("9")},
        {"1 310 1\n" + eight + "9 10 11\n", wrong_count("9 10 11")},
        {"1 315 1\n" + eight + eight, wrong_count("1 2 3 4 5 6 7 8")},
        {"1 320 1\n" + eight + eight + "1 2 3\n", wrong_count("1 2 3")},
        {"1 320 1\n" + eight + "1 2 3 4\n", wrong_count("1 2 3 4")},
        {"1 320 1\n" + eight + eight + "1 2 3 101\n", over_the_limit("integer", 4, "1 2 3 101")},
    };
    for (const auto& row : rows) EXPECT_EQ(read_felms(row.text, cntl).log, heading + row.tail);
}

TEST_F(felm_data, records_before_a_fault_are_kept)
{
    const file_outcome read = read_felms("4 203 1\n1 2 3\n5 777 1\n1 2 3\n0 0 0\n");
    EXPECT_EQ(read.log, heading + "      Error. finite element type no. is illegal.\n"
                                  "             noe = 5 .\n");
    ASSERT_EQ(read.file.size(), 92u);
    EXPECT_EQ(int_at(read.file, 0), 4);
}

TEST_F(felm_data, limits_of_900_million_are_bounds_and_nothing_else)
{
    tarnel::control cntl = small_control();
    cntl.maxfelm = cntl.maxprp = cntl.maxnog = 900000000;
    const file_outcome read = read_felms("900000000 203 900000000\n900000000 1 2\n0 0 0\n", cntl);
    EXPECT_FALSE(read.failed);
    for (const std::size_t offset : {0u, 8u, 12u}) EXPECT_EQ(int_at(read.file, offset), 900000000);
    EXPECT_EQ(read_felms("900000001 203 1\n", cntl).log, heading + over_the_limit("integer", 1, "900000001 203 1"));
    EXPECT_EQ(read_felms("1 203 1\n1 2 900000001\n", cntl).log,
              heading + over_the_limit("integer", 3, "1 2 900000001"));
}

TEST_F(felm_data, refused_write_is_reported)
{
    renew_file("t-felm-data.txt", "1 203 1\n1 2 3\n0 0 0\n");
    for (const std::size_t room : {0u, 91u, 92u, 183u, 184u, 65536u}) {
        opened_input in("t-felm-data.txt");
        const stage_outcome read =
            run_on_full_device("t-felms-struct.tmp", room, [&](tarnel::output_file& out, std::FILE* log) {
                tarnel::t_rd_felm_data(small_control(), {in, out}, log);
            });
        EXPECT_TRUE(read.failed) << room;
        EXPECT_EQ(read.log, heading + "      Error. in t-felms-struct.tmp(w).\n");
    }
}
