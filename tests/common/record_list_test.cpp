#include "common/record_list.h"

#include "common/records.h"
#include "support/stage.h"

#include <string>
#include <vector>

#include <sys/stat.h>

using namespace tarnel;
using namespace tarnel_test;

using record_lists = stage_test;

static std::string node(std::int32_t number, double x = 0)
{
    return bytes().add_i(number).add_i(0).add_d(x).add_d(0).add_d(0).text();
}

struct listed {
    stage_outcome outcome;
    std::vector<std::int32_t> numbers;
    mesh_node_record last;
};

// The same list read in place says the same.
static void expect_same_in_place(const listed& result, std::int32_t limit)
{
    std::vector<std::int32_t> numbers;
    const stage_outcome outcome = run_stage([&](std::FILE* log) {
        opened_input in("nodes.tmp", "t-nodes-struct.tmp");
        record_list list = node_list(in, limit);
        for (mesh_node_record copy; const mesh_node_record* next = next_in_place(log, list, copy);)
            numbers.push_back(next->nog);
        EXPECT_EQ(list.count, static_cast<std::int32_t>(numbers.size()) + 1);
    });
    EXPECT_EQ(outcome.failed, result.outcome.failed);
    EXPECT_EQ(outcome.log, result.outcome.log);
    EXPECT_EQ(numbers, result.numbers);
}

// Walks the node list of these bytes to its end.
static listed walk(const std::string& content, std::int32_t limit)
{
    listed result;
    write_file("nodes.tmp", content);
    result.outcome = run_stage([&](std::FILE* log) {
        opened_input in("nodes.tmp", "t-nodes-struct.tmp");
        record_list list = node_list(in, limit);
        while (next_record(log, list, result.last)) result.numbers.push_back(result.last.nog);
        EXPECT_EQ(list.count, static_cast<std::int32_t>(result.numbers.size()) + 1);
    });
    expect_same_in_place(result, limit);
    return result;
}

static void expect_walk_fails(const std::string& content, std::int32_t limit, const std::string& log)
{
    const listed result = walk(content, limit);
    EXPECT_TRUE(result.outcome.failed);
    EXPECT_EQ(result.outcome.log, log);
}

static const std::string short_read = "      Error. in t-nodes-struct.tmp(r).\n";
static const std::string range = "      Error. node no. over the limit.\n";
static const std::string without_end = "      Error. in t-nodes-struct.tmp(r).\n"
                                       "             There is no end-data(nog=0),\n"
                                       "             or, maxnog is too small.\n";

TEST_F(record_lists, list_ends_at_the_number_zero)
{
    const listed result = walk(node(3) + node(1) + node(3) + node(0, 2.5) + "not looked at", 9);
    EXPECT_FALSE(result.outcome.failed);
    EXPECT_EQ(result.outcome.log, "");
    EXPECT_EQ(result.numbers, (std::vector<std::int32_t>{3, 1, 3}));
    EXPECT_EQ(result.last.x, 2.5); // the end record is stored too
    EXPECT_TRUE(walk(node(0), 1).numbers.empty());
    EXPECT_FALSE(walk(node(0), 1).outcome.failed);
}

TEST_F(record_lists, end_record_counts_within_the_limit)
{
    EXPECT_FALSE(walk(node(1) + node(2) + node(0), 3).outcome.failed);
    expect_walk_fails(node(1) + node(2) + node(0), 2, without_end);
    expect_walk_fails(node(1) + node(2), 2, without_end); // before the file's end is seen
    expect_walk_fails(node(1), 1, without_end);
    expect_walk_fails(node(0), 0, without_end);
    expect_walk_fails("", 0, without_end);
}

TEST_F(record_lists, numbers_lie_between_zero_and_the_limit)
{
    EXPECT_FALSE(walk(node(5) + node(0), 5).outcome.failed);
    expect_walk_fails(node(6) + node(0), 5, range);
    expect_walk_fails(node(-1) + node(0), 5, range);
    expect_walk_fails(node(1) + node(2147483647), 5, range);
    expect_walk_fails(node(-2147483647 - 1), 5, range);
}

TEST_F(record_lists, record_cut_at_any_byte_is_a_short_read)
{
    const std::string content = node(1) + node(0);
    for (std::size_t length = 0; length < content.size(); ++length)
        expect_walk_fails(content.substr(0, length), 5, short_read); // the end record is read whole
    expect_walk_fails(node(6).substr(0, 31), 5, short_read);         // before its number is looked at
}

// Records at even places stand in the buffer; those at odd ones, and those that it holds in parts, are copied.
TEST_F(record_lists, records_are_read_in_place_wherever_they_stand)
{
    constexpr std::int32_t count = 10000; // more than two buffers
    std::string records;
    for (std::int32_t k = 1; k <= count; ++k) records += node(k, 0.5 * k);
    for (const std::size_t before : {0U, 1U, 4U, 8U}) {
        write_file("nodes.tmp", std::string(before, 'x') + records + node(0));
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            opened_input in("nodes.tmp", "t-nodes-struct.tmp");
            char skipped[8];
            read_values(log, in, skipped, before, "r");
            record_list list = node_list(in, count + 1);
            std::int32_t read = 0, copied = 0;
            for (mesh_node_record copy; const mesh_node_record* next = next_in_place(log, list, copy);) {
                ++read;
                ASSERT_EQ(next->nog, read);
                ASSERT_EQ(next->x, 0.5 * read);
                if (next == &copy) ++copied;
            }
            EXPECT_EQ(read, count);
            if (before % 8 == 0)
                EXPECT_LE(copied, 4);
            else
                EXPECT_EQ(copied, count);
        });
        EXPECT_FALSE(outcome.failed);
    }
}

TEST_F(record_lists, each_list_has_its_names)
{
    write_file("list.tmp", bytes().add_i(-1).add_zeros(28).text());
    const struct {
        record_list (*list)(input_file&, std::int32_t);
        const char* number;
        const char* limit;
        const char* range;
    } rows[] = {
        {node_list, "nog", "maxnog", "node no. over the limit."},
        {felm_list, "noe", "maxfelm", "finite element no. over the limit."},
        {belm_list, "nob", "maxbelm", "boundary element no. over the limit."},
        {property_list, "nop", "maxprp", "prop no. over the limit."},
        {lcs_list, "lno", "maxprp", "lcs-data no. over the limit."},
    };
    for (const auto& row : rows) {
        const auto walked = [&](std::int32_t limit) {
            return run_stage([&](std::FILE* log) {
                opened_input in("list.tmp");
                record_list list = row.list(in, limit);
                mesh_node_record record;
                next_record(log, list, record);
            });
        };
        EXPECT_EQ(walked(1).log, std::string("      Error. ") + row.range + "\n");
        EXPECT_EQ(walked(0).log, std::string("      Error. in list.tmp(r).\n             There is no end-data(") +
                                     row.number + "=0),\n             or, " + row.limit + " is too small.\n");
    }
}

TEST_F(record_lists, section_without_end_has_its_own_tag)
{
    const stage_outcome outcome =
        run_stage([](std::FILE* log) { fail_without_end(log, "at-fixc-data.tmp", "r-b", "n", "maxnog"); });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "      Error. in at-fixc-data.tmp(r-b).\n"
                           "             There is no end-data(n=0),\n"
                           "             or, maxnog is too small.\n");
}

TEST_F(record_lists, capacity_of_a_file_of_unknown_size_is_left_open)
{
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const owned_file holder(std::fopen("pipe", "r+b")); // neither opening waits
    ASSERT_NE(holder, nullptr);
    opened_input in("pipe");
    EXPECT_EQ(record_capacity(in, 32, 900000000), 0U);
}

TEST_F(record_lists, capacity_is_what_the_file_and_the_limit_allow)
{
    write_file("nodes.tmp", std::string(100, 'x'));
    opened_input in("nodes.tmp");
    EXPECT_EQ(record_capacity(in, 32, 900000000), 3U); // the fourth is not whole
    EXPECT_EQ(record_capacity(in, 25, 900000000), 4U);
    EXPECT_EQ(record_capacity(in, 32, 3), 3U);
    EXPECT_EQ(record_capacity(in, 32, 2), 2U);
    EXPECT_EQ(record_capacity(in, 32, 0), 0U);
    EXPECT_EQ(record_capacity(in, 32, -1), 0U);
    EXPECT_EQ(record_capacity(in, 101, 9), 0U);
    char skipped[40];
    EXPECT_TRUE(read_bytes(in, skipped, sizeof skipped));
    EXPECT_EQ(record_capacity(in, 30, 9), 2U); // from here on
}
