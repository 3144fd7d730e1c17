// A slice of the campaign: every platform call of one model with a whole circuit, files that cannot be read to their
// end, a full disk, damaged sizes.
#include "faults/campaign.h"
#include "faults/expected_messages.h"

#include <cstdio>

#include <unistd.h>

using namespace tarnel_test;

namespace
{

class faults : public stage_test
{
protected:
    static prepared_model prepared(const std::string& name)
    {
        for (const fault_model& model : small_fault_models())
            if (model.name == name) return prepare(model);
        throw std::runtime_error("no model " + name);
    }
    static int runs(const campaign_counts& counts, const std::string& cause, verdict is)
    {
        const auto found = counts.runs.find(cause);
        return found == counts.runs.end() ? 0 : found->second[static_cast<std::size_t>(is)];
    }
    static void expect_no_violation(const campaign_counts& counts)
    {
        for (const std::string& violation : counts.violations) ADD_FAILURE() << violation;
        for (const auto& [cause, by_verdict] : counts.runs) {
            std::printf("%s:", cause.c_str());
            for (std::size_t k = 0; k < verdicts; ++k) std::printf(" %d %s", by_verdict[k], verdict_names[k]);
            std::printf("\n");
        }
    }
    campaign_counts counts;
};

#if defined(TARNEL_ADDRESS_SANITIZER) // a run takes ten times as long
constexpr int every = 5;
constexpr std::size_t places_of_a_file = 1;
constexpr std::size_t damaged_bytes = 4;
#else
constexpr int every = 1;
constexpr std::size_t places_of_a_file = 30;
constexpr std::size_t damaged_bytes = 8;
#endif

} // namespace

TEST_F(faults, whichever_call_of_a_circuit_model_fails_the_log_tells_it_or_the_results_are_complete)
{
    const prepared_model model = prepared("whole circuit, ICCG");
    fail_every_call(model, every, lasting_faults::left_out, counts);
    expect_no_violation(counts);
    if (every > 1) return;
    // What must come out of each kind, whatever the number of calls. The log is the first file.
    const int arrays = model.clean.calls[static_cast<std::size_t>(call::allocate)];
    EXPECT_EQ(runs(counts, "allocate", verdict::named), arrays - 1);
    EXPECT_EQ(runs(counts, "allocate", verdict::harmless), 1); // the array that only teaches the C library to keep
    EXPECT_EQ(runs(counts, "open", verdict::on_standard_output), 1);
    EXPECT_EQ(runs(counts, "open", verdict::other_course), 2); // circuits and previous potentials may be missing
    EXPECT_EQ(runs(counts, "write", verdict::harmless), 0);    // no byte is lost unseen
    EXPECT_EQ(runs(counts, "flush", verdict::harmless), 0);
    EXPECT_GE(runs(counts, "cut", verdict::named), 20); // of longer files that another run has left
    EXPECT_EQ(runs(counts, "cut", verdict::harmless), 0);
    EXPECT_EQ(runs(counts, "remove", verdict::harmless), 1);                    // the renaming replaces the file
    EXPECT_EQ(counts.messages["  Error. Can't open at-felm-struct.org.\n"], 3); // renamed, opened, its stream set up
    // The rewriting of the solution by the circuits' stage, in its midst: after the solver, written by three solutions.
    EXPECT_GE(counts.messages["      Error. in t-femr-solution.tmp(w2).\n"], 4);
}

TEST_F(faults, a_file_that_cannot_be_read_from_an_item_on_names_that_item)
{
    stop_reading(prepared("whole circuit, skyline in blocks"), stopping_places::first_of_each_kind, places_of_a_file,
                 counts);
    expect_no_violation(counts);
    if (every > 1) return;
    for (const char* item : {"t-matrix-index.tmp(r3)", "t-femr-matrix.tmp(r2)", "t-femr-solution-00002.tmp(r2)",
                             "t-volt-data1.tmp(r:nvect)", "t-volt-data2.tmp(r:v-i for diode)", "at-fixc-data.tmp(r-f4)",
                             "header of work file for sky-line solver(r1)", "work file for sky-line solver(r6)"})
        EXPECT_GT(counts.messages["      Error. in " + std::string(item) + ".\n"], 0) << item;
    // The text inputs, and the list of the blocks for the factor and for each of three right-hand sides.
    EXPECT_EQ(counts.messages["      Error. EOF found in data line. \n"], 7 + 4);
}

TEST_F(faults, without_disk_space_from_some_write_on_no_log_has_the_end_line)
{
    const prepared_model model = prepared("plain, ICCG");
    const int writes = model.clean.calls[static_cast<std::size_t>(call::write)];
    for (int number = 1; number <= writes; number += every) {
        const fault planned = {call::write, number, true};
        const judgement judged = judge_fault(model, planned, run_watched(model, planned));
        EXPECT_EQ(judged.is, verdict::on_standard_output) << number << ": " << judged.text;
    }
    EXPECT_GT(writes, 50);
}

TEST_F(faults, files_that_may_not_grow_end_the_run_until_the_limit_is_enough)
{
    limit_files(prepared("whole circuit, ICCG"), 797, counts);
    expect_no_violation(counts);
    EXPECT_GT(runs(counts, "file size limit", verdict::named), 0);
    EXPECT_GT(runs(counts, "file size limit", verdict::harmless), 0);
}

TEST_F(faults, each_file_on_a_full_device_is_named)
{
    if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
    const prepared_model model = prepared("whole circuit, skyline in blocks");
    fill_each_file(model, counts);
    expect_no_violation(counts);
    EXPECT_EQ(runs(counts, "full device", verdict::on_standard_output), 1); // the log
    EXPECT_GE(runs(counts, "full device", verdict::named), 25);
}

TEST_F(faults, counts_of_damaged_files_are_not_paid_for)
{
    damage_sizes(prepared("whole circuit under the widest limits, skyline"), damaged_bytes, counts);
    expect_no_violation(counts);
    EXPECT_GT(runs(counts, "damaged size", verdict::named), 50);
}

// The stand-ins themselves: a fault that nobody reports would pass for a harmless one.
TEST_F(faults, what_would_be_a_lie_is_judged_a_violation)
{
    const prepared_model model = prepared("plain, ICCG");
    const fault unknown = {call::remove, 1, false}; // which this model never does
    EXPECT_EQ(judge_fault(model, unknown, run_watched(model, unknown)).text, "the call was not reached");
    prepared_model other = model;
    other.left["at-node-resl.txt"] += "x";
    const fault harmless = {call::close, 1, false};
    EXPECT_EQ(judge_fault(model, harmless, run_watched(model, harmless)).is, verdict::harmless);
    EXPECT_EQ(judge_fault(other, harmless, run_watched(other, harmless)).text,
              "came back with another at-node-resl.txt");
    watched_run lying = run_watched(model, {call::open, 5, false});
    EXPECT_EQ(judge_fault(model, {call::open, 5, false}, lying).is, verdict::named);
    lying.outcome.log += "    === The end. ===\n";
    EXPECT_EQ(judge_fault(model, {call::open, 5, false}, lying).is, verdict::violation);
    lying.outcome.log = "  Error. Can't open another-file.tmp.\n";
    EXPECT_EQ(judge_fault(model, {call::open, 5, false}, lying).is, verdict::violation);
}

TEST(expected_messages, are_those_of_the_stage_that_runs_and_of_the_item_at_the_place)
{
    // One unknown: ndim, count, column, ndim.
    const file_contents files = {{"t-matrix-index.tmp", bytes().add_i(1).add_i(1).add_i(0).add_i(1).text()}};
    const auto of_index = [&files](const std::string& stage, const std::string& tag, std::int64_t place) {
        return told("    === in func. " + stage + " ===\n", "      Error. in t-matrix-index.tmp(" + tag + ").\n",
                    {call::read, "t-matrix-index.tmp", place}, files);
    };
    EXPECT_EQ(of_index("eat_calc_fem_matrix", "r1", 0), telling::exact);
    EXPECT_EQ(of_index("eat_calc_fem_matrix", "r2", 0), telling::wrong);
    EXPECT_EQ(of_index("eat_calc_fem_matrix", "r2", 4), telling::exact);
    EXPECT_EQ(of_index("eat_calc_fem_matrix", "r3", 11), telling::exact);
    EXPECT_EQ(of_index("t_real_mtsolv_iccg", "r4", 12), telling::exact);
    EXPECT_EQ(of_index("eat_calc_fem_matrix", "r4", 12), telling::wrong); // which does not read the second ndim
    EXPECT_EQ(of_index("eat_set_matrix_index", "r1", 0), telling::wrong); // which writes the file

    const auto of_writing = [&files](const std::string& tag, std::int64_t place) {
        return told("    === in func. eat_set_matrix_index ===\n", "      Error. in t-matrix-index.tmp(" + tag + ").\n",
                    {call::write, "t-matrix-index.tmp", place}, files);
    };
    EXPECT_EQ(of_writing("w2", 6), telling::exact);
    EXPECT_EQ(of_writing("w3", 6), telling::wrong);
    EXPECT_EQ(of_writing("w2", 8), telling::exact);
    EXPECT_EQ(of_writing("w3", 8), telling::exact); // with which a full buffer went out
    EXPECT_EQ(of_writing("w4", 8), telling::wrong);

    const auto of_array = [](const std::string& heading, const std::string& array) {
        return told("    === " + heading + " ===\n", "      Error. Can't allocate (" + array + ").\n",
                    {.kind = call::allocate}, {});
    };
    EXPECT_EQ(of_array("in func. t_set_felm_cntr", "ggg"), telling::exact);
    EXPECT_EQ(of_array("func. t_set_felm_cntr", "ggg"), telling::wrong); // its files are still being opened
    EXPECT_EQ(of_array("in func. t_set_felm_cntr", "xvecr"), telling::wrong);
    EXPECT_EQ(of_array("func. t_set_felm_cntr", "stream"), telling::left_open);
}

TEST(expected_messages, count_the_names_of_blocks)
{
    const file_contents files = {{"t-skylin.txt", "9 2 20\nA\nB\n"}};
    const auto of_names = [&files](const std::string& im, std::int64_t place) {
        return told("    === in func. t_real_mtsolv_skylin1 ===\n        Now, reading t-skylin.txt. \n",
                    "      Error. in t-skylin.txt(2).\n"
                    "      Error. no. of file name is less than max_matdiv. \n"
                    "             max_matdiv = 2  im = " +
                        im + " \n",
                    {call::read, "t-skylin.txt", place}, files);
    };
    EXPECT_EQ(of_names("1", 8), telling::exact);
    EXPECT_EQ(of_names("2", 9), telling::exact);
    EXPECT_EQ(of_names("1", 9), telling::wrong);
    EXPECT_EQ(of_names("1", 6), telling::wrong); // still in the first line
}

TEST(expected_messages, follow_the_line_that_announces_the_file)
{
    const file_contents files = {{"t-node-data.txt", "1 0 0.5 0.5 0\n"}};
    const std::string heading = "    === in func. t_rd_node_data ===\n";
    const std::string message =
        "      Error. EOF found in data line. \n             at line : 1 0" + std::string(98, ' ');
    const failed_call failed = {call::read, "t-node-data.txt", 3};
    EXPECT_EQ(told(heading + "        Now, reading t-node-data.txt. \n", message, failed, files), telling::exact);
    EXPECT_EQ(told(heading, message, failed, files), telling::wrong);
    EXPECT_EQ(
        told(heading + "        Now, reading t-node-data.txt. \n", message, {call::read, "t-node-data.txt", 5}, files),
        telling::wrong);
}
