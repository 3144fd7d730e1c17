#include "circuit/edge_files.h"

#include "support/stage.h"

using namespace tarnel_test;
using tarnel::conductor, tarnel::lcs_table;

using edge_files = stage_test;

TEST_F(edge_files, are_numbered_with_five_digits_or_more)
{
    EXPECT_STREQ(tarnel::edge_vector_name(1).text, "t-femr-vector-00001.tmp");
    EXPECT_STREQ(tarnel::edge_vector_name(99999).text, "t-femr-vector-99999.tmp");
    EXPECT_STREQ(tarnel::edge_solution_name(100000).text, "t-femr-solution-100000.tmp");
}

TEST_F(edge_files, direction_needs_a_local_system_within_the_limit)
{
    tarnel::control cntl = small_control();
    cntl.maxprp = 9;
    const double centre[3] = {1, 2, 0};
    for (const int lnon : {-1, 0, 9, 10}) {
        const conductor source = {.nop = 3, .novlt = 7, .order = 0, .iswjh = 1, .lnon = lnon, .nvect = {4, 5, 6}};
        double direction[3] = {};
        const stage_outcome outcome = run_stage(
            [&](std::FILE* log) { tarnel::global_direction(cntl, lcs_table{}, source, centre, direction, log); });
        EXPECT_EQ(outcome.failed, lnon != 0);
        if (lnon == 0) {
            EXPECT_EQ(direction[0], 4);
            EXPECT_EQ(direction[1], 5);
            EXPECT_EQ(direction[2], 6);
            EXPECT_EQ(outcome.log, "");
        } else if (lnon == 9) {
            EXPECT_EQ(outcome.log, "      Error. lcs_data not defined. lno = 9 \n");
        } else {
            EXPECT_EQ(outcome.log, "      Error. lnon no. over the limit.\n"
                                   "             nop = 3 novlt = 7 lnon = " +
                                       std::to_string(lnon) + " \n");
        }
    }
}
