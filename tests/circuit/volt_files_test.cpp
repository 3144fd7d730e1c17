#include "circuit/volt_files.h"

#include "circuit/cut_files.h"
#include "host_files/host_files.h"

using namespace tarnel_test;

namespace
{

// Two coils' edges in property 1, a grad-fai region in 3, a property of another switch in 2; edge 3 is not coupled.
tarnel_host::volt_data1 sample1()
{
    return {5, {{1, 1, 0, {{2, 1, {0, 0, 8}, 0}, {1, 2, {3, 4, 0.5}, 7}}}, {3, -1, 2, {}}, {2, 2, 4, {}}}};
}
tarnel_host::volt_data2 sample2()
{
    tarnel_host::volt_data2 data;
    data.maxvlt = 5, data.nvoltg = 1, data.nvoltv = 3, data.nvoltve = 2, data.nvoltm = 2;
    data.grads = {{2, 1}, {1, 0}};
    data.edges = {{2, 1, {1, 2, 3, 4, 5, 6, 7}, {8, 9}}, {1, 2, {}, {}}, {3, 3, {}, {}}};
    return data;
}

const std::string start = "        === in func. t_rd_volt_files ===\n"
                          "            Now, reading t-volt-data1.tmp +++\n";
const std::string second = "            Now, reading t-volt-data2.tmp +++\n";
const std::string counts = "        +++ nvoltg  = 1 ...\n"
                           "        +++ nvoltv  = 3 ...\n"
                           "        +++ nvoltve = 2 ...\n"
                           "        +++ nvoltm  = 2 ...\n";
const std::string grads = "\n        +++ unknown no. of grad-fai(iug) +++ \n"
                          "            ngrad = 2  iug = 1 \n"
                          "            ngrad = 1  iug = 0 \n";
const std::string edges = "\n        +++ unknown no. of edge(iuv) +++ \n"
                          "            novlt = 2  iuv = 1 \n"
                          "            novlt = 1  iuv = 2 \n"
                          "            novlt = 3  iuv = 3 \n";

class circuit_work_files : public stage_test
{
protected:
    tarnel::control cntl = [] {
        tarnel::control c = small_control();
        c.maxprp = 7, c.maxvlt = 5;
        return c;
    }();
    tarnel_host::volt_data1 data1 = sample1();
    tarnel_host::volt_data2 data2 = sample2();
    tarnel::circuit_tables tables;

    stage_outcome read_as_they_are(std::int32_t nvolte = 3)
    {
        return run_stage([&](std::FILE* log) {
            opened_input first("t-volt-data1.tmp"), other("t-volt-data2.tmp");
            tables = tarnel::t_rd_volt_files(cntl, nvolte, first, other, log);
        });
    }
    stage_outcome read(std::int32_t nvolte = 3)
    {
        tarnel_host::write_volt_data1("t-volt-data1.tmp", data1);
        tarnel_host::write_volt_data2("t-volt-data2.tmp", data2);
        return read_as_they_are(nvolte);
    }
    void expect_failure(const std::string& log, std::int32_t nvolte = 3)
    {
        const stage_outcome outcome = read(nvolte);
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, log);
    }
    static std::string error1(const std::string& tag, const std::string& detail = "")
    {
        return start + "      Error. in t-volt-data1.tmp(" + tag + ").\n" + detail;
    }
    static std::string error2(const std::string& tag, const std::string& detail = "")
    {
        return "      Error. in t-volt-data2.tmp(" + tag + ").\n" + detail;
    }
};

} // namespace

TEST_F(circuit_work_files, are_read_into_tables_and_echoed)
{
    const stage_outcome outcome = read();
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, start + second + counts + grads + edges);
    EXPECT_EQ(tables.counts.nvoltg, 1);
    EXPECT_EQ(tables.counts.nvolt, 6);
    EXPECT_EQ(tarnel::region_of(tables, 1).iswvlt, 1);
    EXPECT_EQ(tarnel::region_of(tables, 3).iswvlt, -1);
    EXPECT_EQ(tarnel::region_of(tables, 3).ngrad, 2);
    EXPECT_EQ(tarnel::region_of(tables, 2).iswvlt, 2);
    const auto range = tarnel::conductors_of(tables, 1);
    ASSERT_EQ(range.last - range.first, 2);
    EXPECT_EQ(range.first[0].novlt, 1); // ascending, whatever the file's order
    EXPECT_EQ(range.first[0].iswjh, 2);
    EXPECT_EQ(range.first[0].lnon, 7);
    EXPECT_EQ(range.first[0].nvect[2], 0.5);
    EXPECT_EQ(range.first[1].novlt, 2);
    EXPECT_EQ(range.first[1].nvect[2], 8.0);
    EXPECT_EQ(tarnel::grad_unknown(tables, 2), 1);
    EXPECT_EQ(tarnel::edge_unknown(tables, 1), 2);
    EXPECT_EQ(tables.edges.values[0].constv[6], 7.0);
}

TEST_F(circuit_work_files, numbers_that_are_not_named_have_no_region_and_no_unknown)
{
    read();
    for (const std::int32_t nop : {0, 4, 7, 8, -1}) {
        EXPECT_EQ(tarnel::region_of(tables, nop).iswvlt, 0) << nop;
        EXPECT_EQ(tarnel::conductors_of(tables, nop).first, tarnel::conductors_of(tables, nop).last) << nop;
    }
    for (const std::int32_t number : {0, 4, 5, -1}) {
        EXPECT_EQ(tarnel::grad_unknown(tables, number), 0) << number;
        EXPECT_EQ(tarnel::edge_unknown(tables, number), 0) << number;
    }
}

TEST_F(circuit_work_files, a_number_given_twice_stands_as_given_last)
{
    data1.properties.push_back({3, 1, 0, {{2, 1, {1, 1, 1}, 0}}});
    data1.properties.push_back({1, 1, 5, {{2, 2, {6, 6, 6}, 0}}}); // edge 1 of property 1 stays
    data2.grads.push_back({2, 0});
    data2.edges.push_back({2, 0, {}, {}});
    EXPECT_FALSE(read().failed);
    EXPECT_EQ(tarnel::region_of(tables, 3).iswvlt, 1);
    EXPECT_EQ(tarnel::region_of(tables, 3).ngrad, 0);
    EXPECT_EQ(tarnel::region_of(tables, 1).ngrad, 5);
    const auto range = tarnel::conductors_of(tables, 1);
    ASSERT_EQ(range.last - range.first, 2);
    EXPECT_EQ(range.first[0].novlt, 1);
    EXPECT_EQ(range.first[1].iswjh, 2);
    EXPECT_EQ(range.first[1].nvect[0], 6.0);
    EXPECT_EQ(tarnel::grad_unknown(tables, 2), 0);
    EXPECT_EQ(tarnel::edge_unknown(tables, 2), 0);
}

TEST_F(circuit_work_files, lists_of_their_end_alone_leave_the_tables_empty)
{
    data1.properties.clear();
    data2.grads.clear(), data2.edges.clear();
    const stage_outcome outcome = read();
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, start + second + counts + "\n        +++ unknown no. of grad-fai(iug) +++ \n" +
                               "\n        +++ unknown no. of edge(iuv) +++ \n");
    EXPECT_EQ(tarnel::grad_unknown(tables, 1), 0);
    EXPECT_EQ(tarnel::region_of(tables, 1).iswvlt, 0);
}

TEST_F(circuit_work_files, counts_of_zero_are_accepted)
{
    data2.nvoltg = data2.nvoltv = data2.nvoltve = data2.nvoltm = 0;
    data2.grads.clear(), data2.edges.clear();
    EXPECT_FALSE(read(0).failed);
    EXPECT_EQ(tables.counts.nvolt, 0);
}

TEST_F(circuit_work_files, the_first_is_reported_at_the_item_it_ends_in)
{
    ASSERT_FALSE(read().failed);
    expect_short_reads("t-volt-data1.tmp",
                       {{"r:maxvlt", 4, ""},
                        {"r:nop", 4, ""},
                        {"r:iswvlt", 4, ""},
                        {"r:ngrad", 4, ""},
                        {"r:novlt", 4, ""},
                        {"r:iswjh", 4, ""},
                        {"r:nvect", 32, ""},
                        {"r:novlt", 4, ""},
                        {"r:iswjh", 4, ""},
                        {"r:nvect", 32, ""},
                        {"r:novlt", 4, ""},
                        {"r:nop", 4, ""},
                        {"r:iswvlt", 4, ""},
                        {"r:ngrad", 4, ""},
                        {"r:nop", 4, ""},
                        {"r:iswvlt", 4, ""},
                        {"r:ngrad", 4, ""},
                        {"r:nop", 4, ""}},
                       start, [&] { return read_as_they_are(); });
}

TEST_F(circuit_work_files, the_second_is_reported_at_the_item_it_ends_in)
{
    ASSERT_FALSE(read().failed);
    // The sections behind the edge list are not read here: they are cut away first.
    const std::size_t leading = 5 * 4 + 2 * 8 + 4 + 3 * 72 + 4;
    write_file("t-volt-data2.tmp", read_file("t-volt-data2.tmp").substr(0, leading));
    std::vector<file_item> items = {{"r:maxvlt", 4, ""},
                                    {"r:nvoltg", 4, "        +++ nvoltg  = 1 ...\n"},
                                    {"r:nvoltv", 4, "        +++ nvoltv  = 3 ...\n"},
                                    {"r:nvoltve", 4, "        +++ nvoltve = 2 ...\n"},
                                    {"r:nvoltm", 4,
                                     "        +++ nvoltm  = 2 ...\n"
                                     "\n        +++ unknown no. of grad-fai(iug) +++ \n"},
                                    {"r:ngrad", 4, ""},
                                    {"r:iug", 4, "            ngrad = 2  iug = 1 \n"},
                                    {"r:ngrad", 4, ""},
                                    {"r:iug", 4, "            ngrad = 1  iug = 0 \n"},
                                    {"r:ngrad", 4, "\n        +++ unknown no. of edge(iuv) +++ \n"}};
    for (const char* line : {"            novlt = 2  iuv = 1 \n", "            novlt = 1  iuv = 2 \n",
                             "            novlt = 3  iuv = 3 \n"})
        for (const file_item& item :
             std::vector<file_item>{{"r:novlt", 4, ""}, {"r:iuv", 4, ""}, {"r:constv", 56, ""}, {"r:icon", 8, line}})
            items.push_back(item);
    items.push_back({"r:novlt", 4, ""});
    expect_short_reads("t-volt-data2.tmp", items, start + second, [&] { return read_as_they_are(); });
}

TEST_F(circuit_work_files, maxvlt_of_the_first_must_be_the_limit)
{
    data1.maxvlt = 4;
    expect_failure(error1("r:maxvlt"));
}

TEST_F(circuit_work_files, maxvlt_of_the_second_must_be_the_limit)
{
    data2.maxvlt = 6;
    expect_failure(start + second + error2("r:maxvlt", "             maxvlt is different.\n"));
}

TEST_F(circuit_work_files, property_numbers_lie_within_maxprp)
{
    data1.properties[1].nop = 7;
    EXPECT_FALSE(read().failed);
    data1.properties[1].nop = 8;
    expect_failure(error1("r:nop", "             nop over the limit. nop = 8 \n"));
    data1.properties[1].nop = -1;
    expect_failure(error1("r:nop", "             nop over the limit. nop = -1 \n"));
}

TEST_F(circuit_work_files, grad_numbers_of_properties_lie_within_maxvlt_and_the_message_names_the_property)
{
    data1.properties[1].ngrad = 5;
    EXPECT_FALSE(read().failed);
    data1.properties[1].ngrad = 6;
    expect_failure(error1("r:ngrad", "             ngrad over the limit. nop = 3 \n"));
    data1.properties[1].ngrad = -1;
    expect_failure(error1("r:ngrad", "             ngrad over the limit. nop = 3 \n"));
}

TEST_F(circuit_work_files, conductor_numbers_lie_within_maxvlt)
{
    data1.properties[0].conductors[1].novlt = 5;
    EXPECT_FALSE(read().failed);
    data1.properties[0].conductors[1].novlt = 6;
    expect_failure(error1("r:novlt", "             novlt over the limit. novlt = 6 \n"));
    data1.properties[0].conductors[1].novlt = -2;
    expect_failure(error1("r:novlt", "             novlt over the limit. novlt = -2 \n"));
}

TEST_F(circuit_work_files, local_systems_of_conductors_lie_within_maxprp)
{
    data1.properties[0].conductors[1].lnon = 8;
    expect_failure(error1("r:nvect", "             lnon over the limit. novlt = 1 \n"));
    data1.properties[0].conductors[1].lnon = -1;
    expect_failure(error1("r:nvect", "             lnon over the limit. novlt = 1 \n"));
}

TEST_F(circuit_work_files, the_end_of_the_properties_counts_against_maxprp)
{
    data1.properties.clear();
    for (std::int32_t nop = 1; nop < cntl.maxprp; ++nop) data1.properties.push_back({nop, 0, 0, {}});
    EXPECT_FALSE(read().failed);
    data1.properties.push_back({7, 0, 0, {}});
    expect_failure(error1("r", "             There is no end-data(nop=0),\n             or, maxprp is too small.\n"));
}

TEST_F(circuit_work_files, the_end_of_conductors_counts_against_maxvlt)
{
    auto& conductors = data1.properties[0].conductors;
    conductors = {{1, 0, {}, 0}, {2, 0, {}, 0}, {3, 0, {}, 0}, {4, 0, {}, 0}};
    EXPECT_FALSE(read().failed);
    conductors.push_back({5, 0, {}, 0});
    expect_failure(error1("r", "             There is no end-data(novlt=0),\n             or, maxvlt is too small.\n"));
}

TEST_F(circuit_work_files, counts_lie_within_their_limits_and_are_echoed_first)
{
    struct row {
        std::int32_t tarnel_host::volt_data2::*count;
        std::int32_t value;
        std::string echo, name;
    };
    const std::string g = "        +++ nvoltg  = 1 ...\n", v = "        +++ nvoltv  = 3 ...\n",
                      e = "        +++ nvoltve = 2 ...\n";
    using d = tarnel_host::volt_data2;
    for (const row& r : std::vector<row>{{&d::nvoltg, 6, "        +++ nvoltg  = 6 ...\n", "nvoltg"},
                                         {&d::nvoltg, -1, "        +++ nvoltg  = -1 ...\n", "nvoltg"},
                                         {&d::nvoltv, 6, g + "        +++ nvoltv  = 6 ...\n", "nvoltv"},
                                         {&d::nvoltv, -1, g + "        +++ nvoltv  = -1 ...\n", "nvoltv"},
                                         {&d::nvoltve, 4, g + v + "        +++ nvoltve = 4 ...\n", "nvoltve"},
                                         {&d::nvoltve, -1, g + v + "        +++ nvoltve = -1 ...\n", "nvoltve"},
                                         {&d::nvoltm, 6, g + v + e + "        +++ nvoltm  = 6 ...\n", "nvoltm"},
                                         {&d::nvoltm, -1, g + v + e + "        +++ nvoltm  = -1 ...\n", "nvoltm"}}) {
        data2 = sample2();
        data2.*r.count = r.value;
        expect_failure(start + second + r.echo + "      Error. " + r.name + " over the limit.\n");
    }
    data2 = sample2();
    data2.nvoltg = data2.nvoltv = data2.nvoltve = data2.nvoltm = 5;
    EXPECT_FALSE(read(10).failed);
}

TEST_F(circuit_work_files, nvolte_must_be_that_of_the_header)
{
    expect_failure(start + second + counts + "      Error. nvolte is different.\n", 2);
    expect_failure(start + second + counts + "      Error. nvolte is different.\n", 4);
}

TEST_F(circuit_work_files, list_numbers_lie_within_maxvlt)
{
    const std::string list = start + second + counts + "\n        +++ unknown no. of grad-fai(iug) +++ \n";
    data2.grads = {{5, 1}};
    EXPECT_FALSE(read().failed);
    for (const std::int32_t wrong : {6, -3}) {
        data2.grads = {{wrong, 1}};
        expect_failure(
            list + error2("r:ngrad", "             ngrad over the limit. ngrad = " + std::to_string(wrong) + " \n"));
    }
    data2 = sample2();
    data2.edges.push_back({5, 0, {}, {}});
    EXPECT_FALSE(read().failed);
    for (const std::int32_t wrong : {6, -3}) {
        data2.edges[0].novlt = wrong;
        expect_failure(
            start + second + counts + grads + "\n        +++ unknown no. of edge(iuv) +++ \n" +
            error2("r:novlt", "             novlt over the limit. novlt = " + std::to_string(wrong) + " \n"));
    }
}

TEST_F(circuit_work_files, unknowns_lie_within_their_counts)
{
    const std::string list = start + second + counts + "\n        +++ unknown no. of grad-fai(iug) +++ \n";
    for (const std::int32_t wrong : {2, -1}) {
        data2.grads[0].iug = wrong;
        expect_failure(list + "            ngrad = 2  iug = " + std::to_string(wrong) +
                       " \n      Error. iug over the limit.\n");
    }
    data2 = sample2();
    for (const std::int32_t wrong : {4, -1}) {
        data2.edges[0].iuv = wrong;
        expect_failure(start + second + counts + grads + "\n        +++ unknown no. of edge(iuv) +++ \n" +
                       "            novlt = 2  iuv = " + std::to_string(wrong) +
                       " \n      Error. iuv over the limit.\n");
    }
}

TEST_F(circuit_work_files, the_ends_of_both_lists_count_against_maxvlt)
{
    data2.grads = {{1, 0}, {2, 0}, {3, 0}, {4, 0}};
    EXPECT_FALSE(read().failed);
    data2.grads.push_back({5, 0});
    stage_outcome outcome = read();
    const std::string no_grad =
        error2("r", "             There is no end-data(ngrad=0),\n             or, maxvlt is too small.\n");
    EXPECT_TRUE(outcome.log.ends_with("            ngrad = 5  iug = 0 \n" + no_grad)) << outcome.log;
    data2 = sample2();
    data2.edges.push_back({4, 0, {}, {}});
    EXPECT_FALSE(read().failed);
    data2.edges.push_back({5, 0, {}, {}});
    outcome = read();
    const std::string no_edge =
        error2("r", "             There is no end-data(novlt=0),\n             or, maxvlt is too small.\n");
    EXPECT_TRUE(outcome.log.ends_with("            novlt = 5  iuv = 0 \n" + no_edge)) << outcome.log;
}

TEST_F(circuit_work_files, a_carried_edge_must_be_coupled_to_the_field)
{
    data1.properties[0].conductors.push_back({3, 1, {}, 0}); // its unknown is 3 of 3, nvoltve is 2
    expect_failure(start + second + counts + grads + edges +
                   "      Error. iuv over the limit(nvoltve).\n             nop = 1, novlt = 3.\n");
    data1.properties[0].conductors.back().iswjh = 0; // not carried
    EXPECT_FALSE(read().failed);
    data1.properties[0].conductors.back().iswjh = 3; // carried, with a coupling that does nothing
    EXPECT_TRUE(read().failed);
    data2.edges[2].iuv = 0;
    EXPECT_FALSE(read().failed);
}

TEST_F(circuit_work_files, the_lowest_property_and_edge_are_named_first)
{
    data1.properties = {{4, 1, 0, {{3, 1, {}, 0}}}, {2, 1, 0, {{3, 1, {}, 0}, {1, 1, {}, 0}}}};
    data2.edges = {{3, 3, {}, {}}, {1, 3, {}, {}}};
    const stage_outcome outcome = read();
    EXPECT_TRUE(outcome.log.ends_with("      Error. iuv over the limit(nvoltve).\n             nop = 2, novlt = 1.\n"));
}
