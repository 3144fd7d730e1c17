// Which files a run opens, in which order, and what it says when one cannot be opened. The C library's fopen is
// replaced in this program: it keeps a list and can refuse the n-th call.
#include "run/models.h"
#include "run/run_log.h"

#include <tarnel.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include <dlfcn.h>

using namespace tarnel_test;

namespace
{

struct open_calls {
    bool watched = false;
    int refused = -1;              // the call that fails, from 0
    std::vector<std::string> made; // "r name" or "w name"
    std::string snapshot_at;       // before this call is answered the log is copied to "log-then.txt"
};

open_calls calls;

} // namespace

extern "C" std::FILE* fopen(const char* path, const char* mode)
{
    using open_function = std::FILE* (*)(const char*, const char*);
    static const auto system_fopen = reinterpret_cast<open_function>(dlsym(RTLD_NEXT, "fopen"));
    if (!calls.watched) return system_fopen(path, mode);
    calls.made.push_back(std::string(1, mode[0]) + " " + path);
    if (calls.made.back() == calls.snapshot_at) std::filesystem::copy_file("tarnel.log", "log-then.txt");
    if (static_cast<int>(calls.made.size()) - 1 == calls.refused) {
        errno = EACCES;
        return nullptr;
    }
    return system_fopen(path, mode);
}

namespace
{

// Runs with the n-th opening refused; the list of openings is left in "opened.txt" when the run comes back.
process_outcome run_refusing(int n)
{
    return run_in_child([n] {
        calls.watched = true;
        calls.refused = n;
        const int value = main_tarnel_n1();
        calls.watched = false;
        std::string list;
        for (const std::string& call : calls.made) list += call + "\n";
        write_file("opened.txt", list);
        return value;
    });
}

struct stage_files {
    std::string heading; // last line of the log when the first of them is opened
    std::vector<std::string> opened;
};

std::vector<stage_files> files_of_control()
{
    return {{now_reading("at-cntl-data.txt"), {"r at-cntl-data.txt"}},
            {now_reading("t-dimension-data.txt"), {"r t-dimension-data.txt"}}};
}

std::vector<stage_files> reading_stages()
{
    return {{announced("t_rd_lcs_data"), {"r t-lcs-data.txt", "w t-lcs-struct.tmp"}},
            {announced("t_rd_node_data"), {"r t-lcs-struct.tmp", "r t-node-data.txt", "w t-nodes-struct.tmp"}},
            {announced("t_rd_felm_data"), {"r t-felm-data.txt", "w t-felms-struct.tmp"}},
            {announced("at_rd_prop_data"), {"r at-prop-data.txt", "w at-prop-struct.tmp"}},
            {announced("at_rd_fixc_data"), {"r at-fixc-data.txt", "w at-fixc-data.tmp"}}};
}

std::vector<stage_files> solving_stages()
{
    return {{announced("t_real_mtsolv_****"),
             {"r t-matrix-index.tmp", "r t-femr-matrix.tmp", "r t-femr-vector.tmp", "w t-femr-solution.tmp"}},
            {announced("eat_calc_node_resl"),
             {"r at-node-struct.tmp", "r t-femr-solution.tmp", "w at-node-resl.txt", "w at-nresl-struct.tmp"}}};
}

std::vector<stage_files> joined(std::initializer_list<std::vector<stage_files>> parts)
{
    std::vector<stage_files> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::vector<stage_files> files_without_options()
{
    return joined(
        {files_of_control(),
         reading_stages(),
         {{now_reading("t-volt-data1.tmp"), {"r t-volt-data1.tmp"}},
          {announced("eat_check_node_data"), {"r t-nodes-struct.tmp", "r t-felms-struct.tmp"}},
          {announced("eat_set_node_struct"),
           {"r t-nodes-struct.tmp", "r t-felms-struct.tmp", "r at-fixc-data.tmp", "w at-node-struct.tmp"}},
          {announced("eat_set_matrix_index"), {"r at-node-struct.tmp", "r t-felms-struct.tmp", "w t-matrix-index.tmp"}},
          {announced("t_set_felm_cntr"), {"r t-nodes-struct.tmp", "r t-felms-struct.tmp", "w t-felm-cntr.tmp"}},
          {announced("eat_set_felm_struct"),
           {"r t-felms-struct.tmp", "r at-prop-struct.tmp", "r t-lcs-struct.tmp", "r t-felm-cntr.tmp",
            "w at-felm-struct.tmp"}},
          {announced("eat_calc_fem_matrix"),
           {"r at-node-struct.tmp", "r at-felm-struct.tmp", "r t-matrix-index.tmp", "w t-femr-matrix.tmp",
            "w t-femr-vector.tmp", "w t-felm-vole.tmp"}}},
         solving_stages(),
         {{announced("eat_calc_felm_resl"),
           {"r at-node-struct.tmp", "r at-felm-struct.tmp", "r t-femr-solution.tmp", "w at-felm-resl.txt",
            "w at-eresl-struct.tmp"}}}});
}

std::vector<stage_files> files_with_all_options()
{
    return joined(
        {files_of_control(),
         reading_stages(),
         {{now_reading("t-volt-data1.tmp"), {"r t-volt-data1.tmp"}},
          {now_reading("t-volt-data2.tmp"), {"r t-volt-data2.tmp"}},
          {announced("eat_check_node_data"), {"r t-nodes-struct.tmp", "r t-felms-struct.tmp", "r at-belm-struct.tmp"}},
          {announced("eat_set_node_struct"),
           {"r t-nodes-struct.tmp", "r t-felms-struct.tmp", "r at-fixc-data.tmp", "w at-node-struct.tmp"}},
          {announced("eat_set_matrix_index"), {"r at-node-struct.tmp", "r t-felms-struct.tmp", "w t-matrix-index.tmp"}},
          {announced("t_set_felm_cntr"), {"r t-nodes-struct.tmp", "r t-felms-struct.tmp", "w t-felm-cntr.tmp"}},
          {announced("eat_set_felm_struct"),
           {"r t-felms-struct.tmp", "r at-prop-struct.tmp", "r at-proptv-struct.tmp", "r at-j0vect-struct.tmp",
            "r t-lcs-struct.tmp", "r t-felm-cntr.tmp", "w at-felm-struct.tmp"}},
          {entered("eat_set_felm_struct"), {"r at-npresl-struct.tmp"}},
          {announced("eat_calc_fem_matrix"),
           {"r at-node-struct.tmp", "r at-felm-struct.tmp", "r at-propsg-struct.tmp", "r at-h0vect-struct.tmp",
            "r at-belm-struct.tmp", "r at-npresl-struct.tmp", "r t-matrix-index.tmp", "w t-femr-matrix.tmp",
            "w t-femr-vector.tmp", "w t-felm-vole.tmp"}}},
         solving_stages(),
         {{announced("eat_calc_felm_resl"),
           {"r at-node-struct.tmp", "r at-felm-struct.tmp", "r at-propsg-struct.tmp", "r at-npresl-struct.tmp",
            "r t-femr-solution.tmp", "w at-felm-resl.txt", "w at-eresl-struct.tmp"}}}});
}

std::string in_a_row(const std::vector<stage_files>& stages)
{
    std::string list = "w tarnel.log\n";
    for (const stage_files& stage : stages)
        for (const std::string& file : stage.opened) list += file + "\n";
    return list;
}

// The log up to and with a line that it holds once.
std::string up_to(const std::string& log, const std::string& line)
{
    const std::size_t at = log.find(line);
    EXPECT_NE(at, std::string::npos) << line;
    EXPECT_EQ(log.find(line, at + 1), std::string::npos) << line;
    return at == std::string::npos ? log : log.substr(0, at + line.size());
}

// A model that makes a run open every file that a run without circuits can open.
void write_model_with_all_options()
{
    model m = ten_nodes();
    add_host_inputs(m);
    write_model(m);
    write_file("t-volt-data1.tmp", "");
    write_file("t-volt-data2.tmp", bytes().add_zeros(20).text());
}

std::string log_with_all_options()
{
    std::string log = whole_log(unknowns_of_ten_nodes);
    const std::string none = log_no_circuits();
    const std::string circuits = now_reading("t-volt-data1.tmp") + now_reading("t-volt-data2.tmp") +
                                 "        +++ nvolte = 0 ...\n"
                                 "        Note: nvolt(=nvoltg+nvoltv+nvoltm) <= 0.\n";
    return log.replace(log.find(none), none.size(), circuits);
}

// In place of a file of the run's; opening it for writing fails whatever the user may do.
void put_directory(const std::string& name)
{
    std::filesystem::remove(name);
    std::filesystem::create_directory(name);
}

} // namespace

using file_opening = stage_test;

TEST_F(file_opening, a_run_opens_the_files_of_each_stage_in_order)
{
    write_model(ten_nodes());
    expect_complete(run_refusing(-1));
    EXPECT_EQ(read_file("opened.txt"), in_a_row(files_without_options()));
}

TEST_F(file_opening, a_run_with_every_option_opens_the_optional_files_in_their_places)
{
    write_model_with_all_options();
    const process_outcome run = run_refusing(-1);
    expect_complete(run);
    EXPECT_EQ(plain(run.log), log_with_all_options());
    EXPECT_EQ(read_file("opened.txt"), in_a_row(files_with_all_options()));
}

TEST_F(file_opening, whichever_file_cannot_be_opened_the_run_names_it_after_its_stages_heading_and_ends)
{
    write_model_with_all_options();
    const std::string whole = log_with_all_options();
    int call = 0; // the log is the first
    for (const stage_files& stage : files_with_all_options()) {
        for (const std::string& opened : stage.opened) {
            const process_outcome run = run_refusing(++call);
            const std::string file = opened.substr(2);
            SCOPED_TRACE(stage.heading + opened);
            const bool only_a_test = stage.heading == entered("eat_set_felm_struct");
            if (file == "t-volt-data1.tmp" || only_a_test) { // missing is not an error
                expect_complete(run);
                EXPECT_NE(run.log.find("  Note. "), std::string::npos);
                continue;
            }
            expect_ended(run);
            EXPECT_EQ(plain(run.log), up_to(whole, stage.heading) + cannot_open(file));
        }
    }
    EXPECT_EQ(call, 61); // 2 + 11 + 2 + 13 + 7 + 1 + 10 + 4 + 4 + 7: control, readers, circuits, preparation, ...
}

TEST_F(file_opening, a_missing_text_input_ends_the_run)
{
    const std::string whole = whole_log(unknowns_of_ten_nodes);
    const std::vector<std::pair<std::string, std::string>> inputs = {
        {"at-cntl-data.txt", now_reading("at-cntl-data.txt")},
        {"t-dimension-data.txt", now_reading("t-dimension-data.txt")},
        {"t-lcs-data.txt", announced("t_rd_lcs_data")},
        {"t-node-data.txt", announced("t_rd_node_data")},
        {"t-felm-data.txt", announced("t_rd_felm_data")},
        {"at-prop-data.txt", announced("at_rd_prop_data")},
        {"at-fixc-data.txt", announced("at_rd_fixc_data")}};
    for (const auto& [file, heading] : inputs) {
        SCOPED_TRACE(file);
        write_model(ten_nodes());
        std::filesystem::remove(file);
        const process_outcome run = run_library();
        expect_ended(run);
        EXPECT_EQ(plain(run.log), up_to(whole, heading) + cannot_open(file));
    }
}

TEST_F(file_opening, a_missing_work_file_of_an_earlier_run_ends_the_run)
{
    model m = ten_nodes();
    add_host_inputs(m);
    write_model(m);
    expect_complete(run_library());
    struct removal {
        int prep;
        std::string stage, file;
    };
    const std::vector<removal> removals = {
        {1, "eat_check_node_data", "t-nodes-struct.tmp"},   {1, "eat_check_node_data", "t-felms-struct.tmp"},
        {1, "eat_check_node_data", "at-belm-struct.tmp"},   {1, "eat_set_node_struct", "at-fixc-data.tmp"},
        {0, "eat_set_felm_struct", "t-felms-struct.tmp"},   {0, "eat_set_felm_struct", "at-prop-struct.tmp"},
        {0, "eat_set_felm_struct", "at-proptv-struct.tmp"}, {0, "eat_set_felm_struct", "at-j0vect-struct.tmp"},
        {0, "eat_set_felm_struct", "t-lcs-struct.tmp"},     {0, "eat_set_felm_struct", "t-felm-cntr.tmp"},
        {0, "eat_calc_fem_matrix", "at-node-struct.tmp"},   {0, "eat_calc_fem_matrix", "at-propsg-struct.tmp"},
        {0, "eat_calc_fem_matrix", "at-h0vect-struct.tmp"}, {0, "eat_calc_fem_matrix", "at-belm-struct.tmp"},
        {0, "eat_calc_fem_matrix", "t-matrix-index.tmp"}};
    for (const removal& r : removals) {
        SCOPED_TRACE(r.stage + " " + r.file);
        m.iopt_rdata = 0;
        m.iopt_prep = r.prep;
        write_model(m);
        std::filesystem::rename(r.file, "put-aside");
        const process_outcome run = run_library();
        std::filesystem::rename("put-aside", r.file);
        std::string whole = whole_log(unknowns_of_ten_nodes);
        whole.erase(whole.find(log_readers()), log_readers().size());
        if (r.prep == 0) {
            const std::string preparation = log_preparation(unknowns_of_ten_nodes);
            whole.erase(whole.find(preparation), preparation.size());
        }
        expect_ended(run);
        EXPECT_EQ(plain(run.log), up_to(whole, announced(r.stage)) + cannot_open(r.file));
    }
}

TEST_F(file_opening, an_output_that_cannot_be_made_ends_the_run)
{
    const std::string whole = whole_log(unknowns_of_ten_nodes);
    const std::vector<std::pair<std::string, std::string>> outputs = {
        {"t_rd_lcs_data", "t-lcs-struct.tmp"},          {"t_rd_node_data", "t-nodes-struct.tmp"},
        {"t_rd_felm_data", "t-felms-struct.tmp"},       {"at_rd_prop_data", "at-prop-struct.tmp"},
        {"at_rd_fixc_data", "at-fixc-data.tmp"},        {"eat_set_node_struct", "at-node-struct.tmp"},
        {"eat_set_matrix_index", "t-matrix-index.tmp"}, {"t_set_felm_cntr", "t-felm-cntr.tmp"},
        {"eat_set_felm_struct", "at-felm-struct.tmp"},  {"eat_calc_fem_matrix", "t-femr-matrix.tmp"},
        {"eat_calc_fem_matrix", "t-femr-vector.tmp"},   {"eat_calc_fem_matrix", "t-felm-vole.tmp"},
        {"t_real_mtsolv_****", "t-femr-solution.tmp"},  {"eat_calc_node_resl", "at-node-resl.txt"},
        {"eat_calc_node_resl", "at-nresl-struct.tmp"},  {"eat_calc_felm_resl", "at-felm-resl.txt"},
        {"eat_calc_felm_resl", "at-eresl-struct.tmp"}};
    write_model(ten_nodes());
    for (const auto& [stage, file] : outputs) {
        SCOPED_TRACE(file);
        put_directory(file);
        const process_outcome run = run_library();
        std::filesystem::remove(file);
        expect_ended(run);
        EXPECT_EQ(plain(run.log), up_to(whole, announced(stage)) + cannot_open(file));
    }
}

TEST_F(file_opening, of_two_files_that_cannot_be_opened_the_first_in_order_is_named)
{
    write_model(ten_nodes());
    std::filesystem::remove("t-felm-data.txt");
    put_directory("t-felms-struct.tmp");
    const process_outcome run = run_library();
    expect_ended(run);
    EXPECT_TRUE(run.log.ends_with(announced("t_rd_felm_data") + cannot_open("t-felm-data.txt"))) << run.log;
}

TEST_F(file_opening, the_log_on_disk_holds_all_that_was_said_while_the_run_goes_on)
{
    write_model(ten_nodes());
    const process_outcome run = run_library([] {
        calls.watched = true;
        calls.snapshot_at = "w t-femr-solution.tmp";
    });
    expect_complete(run);
    EXPECT_EQ(without_times(read_file("log-then.txt")),
              up_to(whole_log(unknowns_of_ten_nodes), announced("t_real_mtsolv_****")));
}

TEST_F(file_opening, a_log_that_cannot_be_opened_leaves_none_of_an_earlier_run)
{
    write_model(ten_nodes());
    expect_complete(run_library());
    expect_ended(run_refusing(0), "  Error. Can't open tarnel.log.\n");
    EXPECT_FALSE(std::filesystem::exists("tarnel.log"));
}

TEST_F(file_opening, a_log_that_cannot_be_opened_is_reported_on_standard_output)
{
    write_model(ten_nodes());
    put_directory("tarnel.log");
    expect_ended(run_library(), "  Error. Can't open tarnel.log.\n");
    EXPECT_FALSE(std::filesystem::exists("t-lcs-struct.tmp")); // nothing was run
}
