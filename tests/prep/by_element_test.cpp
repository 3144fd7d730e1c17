// Files read in step with the element list.
#include "common/by_element.h"
#include "prep/work_files.h"

#include <functional>

using namespace tarnel_test;
using by_element = stage_test;

static stage_outcome read_from(const std::string& name, const std::string& content,
                               const std::function<void(tarnel::input_file&, std::FILE*)>& read)
{
    renew_file(name, content);
    opened_input in(name);
    return run_stage([&](std::FILE* log) { read(in, log); });
}

TEST_F(by_element, centre_of_another_element_shows_the_numbers_where_the_stage_does)
{
    const std::string lines = "      Error. in t-felm-cntr.tmp(r1).\n"
                              "             finite element no. is different. \n";
    const std::string record = bytes().add_i(7).add_d(1).add_d(2).add_d(3).text();
    for (const auto shown : {tarnel::shown_numbers::none, tarnel::shown_numbers::both}) {
        double centre[3] = {};
        const auto read = [&](std::int32_t noe) {
            return read_from("t-felm-cntr.tmp", record, [&](tarnel::input_file& in, std::FILE* log) {
                tarnel::read_centre(log, in, noe, shown, centre);
            });
        };
        const stage_outcome other = read(8);
        EXPECT_TRUE(other.failed);
        EXPECT_EQ(other.log,
                  shown == tarnel::shown_numbers::none ? lines : lines + "             noe = 8, noet = 7 \n");
        const stage_outcome same = read(7);
        EXPECT_FALSE(same.failed);
        EXPECT_EQ(same.log, "");
        EXPECT_EQ(centre[0], 1.0);
        EXPECT_EQ(centre[1], 2.0);
        EXPECT_EQ(centre[2], 3.0);
    }
}

TEST_F(by_element, centre_cut_short_names_the_item)
{
    const std::string record = bytes().add_i(7).add_d(1).add_d(2).add_d(3).text();
    for (std::size_t n = 0; n < record.size(); ++n) {
        double centre[3];
        const stage_outcome outcome =
            read_from("t-felm-cntr.tmp", record.substr(0, n), [&](tarnel::input_file& in, std::FILE* log) {
                tarnel::read_centre(log, in, 7, tarnel::shown_numbers::none, centre);
            });
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, short_read("t-felm-cntr.tmp", n < 4 ? "r1" : "r2"));
    }
}

static std::string sigma_record(int noe, int use, double sigma)
{
    return bytes().add_i(noe).add_i(use).add_zeros(64).add_d(sigma).text();
}

TEST_F(by_element, conductivity_is_replaced_when_all_three_switches_are_1)
{
    const struct {
        int iopt_propsg, iflg, use;
        double sigma;
        bool record_read;
    } rows[] = {{0, 0, 1, 4, false}, {0, 1, 1, 4, false}, {1, 0, 1, 4, false}, {1, 1, 1, 16, true},
                {1, 1, 0, 4, true},  {1, 1, 2, 4, true},  {1, 2, 1, 4, false}};
    for (const auto& row : rows) {
        renew_file("at-propsg-struct.tmp", sigma_record(5, row.use, 16));
        opened_input in("at-propsg-struct.tmp");
        tarnel::control cntl = small_control();
        cntl.iopt_propsg = row.iopt_propsg;
        tarnel::felm_struct_record felm;
        felm.noe = 5;
        felm.sigma = 4;
        felm.iflg = row.iflg;
        double sigma = 0;
        const stage_outcome outcome =
            run_stage([&](std::FILE* log) { sigma = tarnel::conductivity_of(log, cntl, &in, felm); });
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(sigma, row.sigma);
        EXPECT_EQ(tarnel::bytes_left(in), row.record_read ? 0u : 80u);
    }
}

TEST_F(by_element, conductivity_record_of_another_element_or_cut_short_is_refused)
{
    tarnel::control cntl = small_control();
    cntl.iopt_propsg = 1;
    tarnel::felm_struct_record felm;
    felm.noe = 5;
    felm.iflg = 1;
    const auto read = [&](const std::string& content) {
        return read_from("at-propsg-struct.tmp", content, [&](tarnel::input_file& in, std::FILE* log) {
            tarnel::conductivity_of(log, cntl, &in, felm);
        });
    };
    const stage_outcome other = read(sigma_record(6, 0, 1));
    EXPECT_TRUE(other.failed);
    EXPECT_EQ(other.log, "      Error. in at-propsg-struct.tmp(r).\n"
                         "             finite element no. is illegal.\n"
                         "             noe = 5, noet = 6 \n");
    for (std::size_t n = 0; n < 80; ++n)
        EXPECT_EQ(read(sigma_record(5, 1, 1).substr(0, n)).log, short_read("at-propsg-struct.tmp"));
}
