// The counts at the head of the circuit files decide whether a run has circuits; here it never has.
#include "run/models.h"
#include "run/run_log.h"

#include <array>
#include <limits>

using namespace tarnel_test;

namespace
{

struct counts {
    int maxvlt, nvoltg, nvoltv, nvoltve, nvoltm;
};

std::string head_of(const counts& c)
{
    return bytes().add_i(c.maxvlt).add_i(c.nvoltg).add_i(c.nvoltv).add_i(c.nvoltve).add_i(c.nvoltm).text();
}

const std::string both_files = now_reading("t-volt-data1.tmp") + now_reading("t-volt-data2.tmp");
const std::string no_sources = "        Note: nvolt(=nvoltg+nvoltv+nvoltm) <= 0.\n";

// A whole log of the ten-node model with other lines where the circuit header is read.
std::string whole_log_with(const std::string& header)
{
    std::string log = whole_log(unknowns_of_ten_nodes);
    return log.replace(log.find(log_no_circuits()), log_no_circuits().size(), header);
}

class circuit_header : public stage_test
{
protected:
    circuit_header() { write_model(ten_nodes()); }
    void write_files(const counts& c)
    {
        write_file("t-volt-data1.tmp", "");
        write_file("t-volt-data2.tmp", head_of(c));
    }
};

} // namespace

TEST_F(circuit_header, no_first_file_is_a_note_whatever_the_second_holds)
{
    write_file("t-volt-data2.tmp", head_of({5, 1, 1, 1, 1}));
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log),
              whole_log_with(now_reading("t-volt-data1.tmp") + "  Note. Can't open t-volt-data1.tmp.\n"));
}

TEST_F(circuit_header, a_first_file_without_the_second_ends_the_run)
{
    write_file("t-volt-data1.tmp", "");
    const process_outcome run = run_library();
    expect_ended(run);
    EXPECT_EQ(plain(run.log),
              log_start() + log_control() + log_readers() + both_files + cannot_open("t-volt-data2.tmp"));
    EXPECT_FALSE(std::filesystem::exists("at-node-struct.tmp"));
}

TEST_F(circuit_header, a_head_cut_at_any_byte_names_the_count_that_is_missing)
{
    const std::array<std::string, 5> names = {"maxvlt", "nvoltg", "nvoltv", "nvoltve", "nvoltm"};
    const std::string head = head_of({1, 0, 0, 0, 0});
    write_file("t-volt-data1.tmp", "");
    for (std::size_t length = 0; length < head.size(); ++length) {
        SCOPED_TRACE(length);
        write_file("t-volt-data2.tmp", head.substr(0, length));
        const process_outcome run = run_library();
        expect_ended(run);
        EXPECT_EQ(plain(run.log), log_start() + log_control() + log_readers() + both_files +
                                      "      Error. in t-volt-data2.tmp(r:" + names[length / 4] + ").\n");
    }
}

TEST_F(circuit_header, without_sources_the_run_goes_on_as_without_circuits)
{
    expect_complete(run_library());
    const file_contents wanted = files_of_run();
    struct header {
        counts given;
        int nvolte; // nvoltve + nvoltg
    };
    const std::vector<header> headers = {{{0, 0, 0, 0, 0}, 0},     {{9, 0, 0, 0, 0}, 0},  {{9, 0, 0, 7, 0}, 7},
                                         {{9, -4, 2, 7, 2}, 3},    {{9, -4, 2, 7, 1}, 3}, {{9, 3, -5, 2, 1}, 5},
                                         {{-1, 2, -1, -9, -1}, -7}};
    for (const header& h : headers) {
        SCOPED_TRACE(testing::Message() << h.given.nvoltg << " " << h.given.nvoltv << " " << h.given.nvoltm);
        write_files(h.given);
        const process_outcome run = run_library();
        expect_complete(run);
        EXPECT_EQ(plain(run.log), whole_log_with(both_files + "        +++ nvolte = " + std::to_string(h.nvolte) +
                                                 " ...\n" + no_sources));
        expect_same(files_of_run(), wanted);
        EXPECT_FALSE(std::filesystem::exists("t-voltr-femdv.tmp"));
        EXPECT_FALSE(std::filesystem::exists("t-femr-vector-00001.tmp"));
        EXPECT_FALSE(std::filesystem::exists("at-felm-struct.org"));
    }
}

TEST_F(circuit_header, a_source_without_edges_and_without_a_size_limit_starts_no_circuit_stage)
{
    expect_complete(run_library());
    const file_contents wanted = files_of_run();
    write_files({0, 0, 1, 0, 0});
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), whole_log_with(both_files + "        +++ nvolte = 0 ...\n"));
    expect_same(files_of_run(), wanted);
}

TEST_F(circuit_header, what_follows_the_five_counts_and_the_first_files_content_are_not_looked_at)
{
    write_file("t-volt-data1.tmp", "no circuit data at all");
    write_file("t-volt-data2.tmp", head_of({9, 0, 0, 2, 0}) + "no circuit data either");
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), whole_log_with(both_files + "        +++ nvolte = 2 ...\n" + no_sources));
}

TEST_F(circuit_header, damaged_counts_of_any_size_do_no_harm)
{
    constexpr int least = std::numeric_limits<int>::min();
    write_files({least, least, least, least, 0});
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_NE(run.log.find(no_sources), std::string::npos);
}

TEST_F(circuit_header, the_header_is_read_without_readers_and_preparation_too)
{
    expect_complete(run_library());
    model m = ten_nodes();
    m.iopt_rdata = m.iopt_prep = 0;
    write_model(m);
    write_files({9, 0, 0, 7, 0});
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), log_start() + log_control() + both_files + "        +++ nvolte = 7 ...\n" + no_sources +
                                  log_felm_struct() + log_assembly(unknowns_of_ten_nodes) +
                                  log_solution(unknowns_of_ten_nodes) + log_results(unknowns_of_ten_nodes) + log_end());
}
