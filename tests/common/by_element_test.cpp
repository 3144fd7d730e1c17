#include "common/by_element.h"

#include "support/stage.h"

#include <string>

using namespace tarnel;
using namespace tarnel_test;

using by_element = stage_test;

static stage_outcome read_centre_of(std::int32_t noe, const std::string& content, shown_numbers shown, double centre[3])
{
    write_file("centres.tmp", content);
    return run_stage([&](std::FILE* log) {
        opened_input in("centres.tmp", "t-felm-cntr.tmp");
        read_centre(log, in, noe, shown, centre);
    });
}

TEST_F(by_element, centre_follows_its_elements_number)
{
    const std::string content = bytes().add_i(7).add_d(1.5).add_d(-2.5).add_d(0.25).text();
    for (std::size_t length = 0; length <= content.size(); ++length) {
        double centre[3] = {};
        const stage_outcome outcome = read_centre_of(7, content.substr(0, length), shown_numbers::none, centre);
        EXPECT_EQ(outcome.failed, length < content.size());
        EXPECT_EQ(outcome.log, length < 4                ? "      Error. in t-felm-cntr.tmp(r1).\n"
                               : length < content.size() ? "      Error. in t-felm-cntr.tmp(r2).\n"
                                                         : "");
        if (outcome.failed) continue;
        EXPECT_EQ(centre[0], 1.5);
        EXPECT_EQ(centre[1], -2.5);
        EXPECT_EQ(centre[2], 0.25);
    }
}

TEST_F(by_element, centre_of_another_element_is_refused)
{
    double centre[3] = {};
    const std::string other = bytes().add_i(8).text(); // seen before the centre is read
    const std::string two_lines = "      Error. in t-felm-cntr.tmp(r1).\n"
                                  "             finite element no. is different. \n";
    const stage_outcome two = read_centre_of(7, other, shown_numbers::none, centre);
    EXPECT_TRUE(two.failed);
    EXPECT_EQ(two.log, two_lines);
    const stage_outcome three = read_centre_of(7, other, shown_numbers::both, centre);
    EXPECT_TRUE(three.failed);
    EXPECT_EQ(three.log, two_lines + "             noe = 7, noet = 8 \n");
}

static std::string conductivity(std::int32_t noe, std::int32_t use, double sigma)
{
    return bytes().add_i(noe).add_i(use).add_zeros(64).add_d(sigma).text();
}

TEST_F(by_element, three_switches_together_replace_the_conductivity)
{
    write_file("table.tmp", conductivity(4, 1, 5e7) + conductivity(4, 0, 6e7) + conductivity(4, 2, 7e7));
    const struct {
        std::int32_t iopt_propsg, iflg;
        std::size_t record; // the one that comes next
        double sigma;
        bool read;
    } rows[] = {{1, 1, 0, 5e7, true}, {0, 1, 0, 1e6, false}, {1, 0, 0, 1e6, false}, {1, 2, 0, 1e6, false},
                {1, 1, 1, 1e6, true}, {1, 1, 2, 1e6, true},  {0, 0, 0, 1e6, false}};
    for (const auto& row : rows) {
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            opened_input in("table.tmp");
            char skipped[160];
            EXPECT_TRUE(read_bytes(in, skipped, 80 * row.record));
            const std::uint64_t before = bytes_left(in);
            control cntl = small_control();
            cntl.iopt_propsg = row.iopt_propsg;
            felm_struct_record felm;
            felm.noe = 4;
            felm.sigma = 1e6;
            felm.iflg = row.iflg;
            EXPECT_EQ(conductivity_of(log, cntl, &in, felm), row.sigma);
            EXPECT_EQ(before - bytes_left(in), row.read ? 80U : 0U);
        });
        EXPECT_FALSE(outcome.failed) << outcome.log;
    }
}

TEST_F(by_element, record_of_another_element_is_refused)
{
    const std::string content = conductivity(3, 1, 5e7);
    for (std::size_t length = 0; length <= content.size(); ++length) {
        write_file("table.tmp", content.substr(0, length));
        const stage_outcome outcome = run_stage([](std::FILE* log) {
            opened_input in("table.tmp", "at-propsg-struct.tmp");
            read_record_of<conductivity_record>(log, in, 4);
        });
        EXPECT_TRUE(outcome.failed);
        std::string log = "      Error. in at-propsg-struct.tmp(r).\n";
        if (length == content.size()) // read whole before its number is looked at
            log += "             finite element no. is illegal.\n             noe = 4, noet = 3 \n";
        EXPECT_EQ(outcome.log, log);
    }
}
