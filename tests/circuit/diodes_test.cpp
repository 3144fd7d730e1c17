#include "circuit/diodes.h"

#include "support/stage.h"

#include <vector>

using namespace tarnel_test;

namespace
{

// Slopes 16, 1/4 and 1/8 Ohm.
const tarnel::diode_point table[] = {{-8, -0.5}, {0, 0}, {1, 4}, {2, 12}};

class diode_lines : public stage_test
{
protected:
    tarnel::diode_data data;
    tarnel::diode one{};

    diode_lines()
    {
        one.novlt = 3, one.not_diod = 2, one.isign_diod = 1;
        data.maxtdat = 4, data.eps = 0.125;
    }
    stage_outcome start(std::size_t points = 4)
    {
        return run_stage([&](std::FILE* log) {
            for (std::size_t p = 0; p < points; ++p) tarnel::append(log, "", data.points, table[p]);
            tarnel::append(log, "", data.table_at, std::size_t{0});
            tarnel::append(log, "", data.table_points, static_cast<std::int32_t>(points));
            tarnel::add_number(log, "", data.table_index, 2);
            tarnel::finish_index(log, "", data.table_index);
            tarnel::append(log, "", data.diodes, one);
            tarnel::start_diodes(data, log);
            one = data.diodes.values[0];
        });
    }
    static std::string error(int not_diod)
    {
        return "      Error. in diode data. novlt = 3 \n"
               "             no. of table data over the limit. not_diod = " +
               std::to_string(not_diod) + " \n";
    }
};

} // namespace

TEST_F(diode_lines, start_on_the_last_segment_with_a_share_of_the_tables_current_as_tolerance)
{
    EXPECT_FALSE(start().failed);
    EXPECT_EQ(one.rt, 0.125);    // (2 - 1) / (12 - 4)
    EXPECT_EQ(one.vct, 0.5);     // 2 - 12 / 8
    EXPECT_EQ(one.epsi, 1.5625); // (12 + 1/2) / 8
}

TEST_F(diode_lines, a_table_that_does_not_exist_is_refused)
{
    one.not_diod = 3;
    EXPECT_EQ(start().log, error(3));
}

TEST_F(diode_lines, a_table_number_of_zero_is_refused)
{
    one.not_diod = 0;
    EXPECT_EQ(start().log, error(0));
}

TEST_F(diode_lines, a_table_of_one_point_is_refused)
{
    EXPECT_EQ(start(1).log, error(2));
}

TEST_F(diode_lines, a_table_longer_than_its_limit_is_refused)
{
    data.maxtdat = 3;
    EXPECT_EQ(start().log, error(2));
}

TEST_F(diode_lines, move_through_the_operating_point_and_the_tables_end)
{
    struct row {
        double current, change, voltage, by_table;
    };
    // v = 1/2 + i/8 on the start line; the table's current at v is found on the first segment that reaches v.
    for (const row& r : {row{4, 0, 1.0, 4},                  // a table's point belongs to the segment below it
                         row{0, 2, 0.5, 2},                  // second segment
                         row{-4, 4, 0, 0},                   // v = 0: the first segment's end
                         row{-24, 23.84375, -2.5, -0.15625}, // first segment
                         row{-100, 99.25, -12, -0.75},       // before the table: the first segment prolonged
                         row{8, 0, 1.5, 8},                  // third segment
                         row{20, 0, 3, 20}}) {               // beyond the table: the last segment prolonged
        data = {}, data.maxtdat = 4, data.eps = 0.125;
        one.not_diod = 2;
        ASSERT_FALSE(start().failed);
        EXPECT_EQ(tarnel::move_line(one, r.current, 1e-60), r.change) << r.current;
        const double rt = (2 - r.voltage) / (12 - r.by_table);
        EXPECT_EQ(one.rt, rt) << r.current;
        EXPECT_EQ(one.vct, 2 - 12 * rt) << r.current;
    }
}

TEST_F(diode_lines, at_a_step_of_the_table_take_the_first_point_that_reaches_the_voltage)
{
    const tarnel::diode_point step[] = {{0, 0}, {1, 4}, {1, 10}, {2, 12}};
    one.table = step, one.points = 4, one.rt = 0.5, one.vct = -4; // v = 1 at 10 A
    EXPECT_EQ(tarnel::move_line(one, 10, 1e-60), 6.0);
    EXPECT_EQ(one.rt, 0.125); // through (1, 4) and (2, 12)
}

TEST_F(diode_lines, at_the_tables_end_take_the_last_segment)
{
    ASSERT_FALSE(start().failed);
    one.rt = 0.5, one.vct = -4; // another line through (2, 12)
    EXPECT_EQ(tarnel::move_line(one, 12, 1e-60), 0.0);
    EXPECT_EQ(one.rt, 0.125);
    EXPECT_EQ(one.vct, 0.5);
}

TEST_F(diode_lines, the_threshold_decides_what_counts_as_the_tables_end)
{
    ASSERT_FALSE(start().failed);
    one.rt = 0.25, one.vct = -1; // v = 1.5 at i = 10, where the table has 8: 4 from its end
    tarnel::diode other = one;
    EXPECT_EQ(tarnel::move_line(one, 10, 4.0), 2.0);
    EXPECT_EQ(one.rt, 0.125); // not above 4: the last segment
    EXPECT_EQ(tarnel::move_line(other, 10, 3.5), 2.0);
    EXPECT_EQ(other.rt, 0.5 / 4);
}

TEST_F(diode_lines, a_reversed_diode_sees_the_edges_current_negated)
{
    ASSERT_FALSE(start().failed);
    tarnel::diode reversed = one;
    reversed.isign_diod = -1;
    for (const double current : {4.0, 0.0, -24.0, 20.0}) {
        const double change = tarnel::move_line(one, current, 1e-60);
        EXPECT_EQ(tarnel::move_line(reversed, -current, 1e-60), change);
        EXPECT_EQ(reversed.rt, one.rt);
        EXPECT_EQ(reversed.vct, one.vct);
    }
}

TEST_F(diode_lines, go_into_the_diagonal_and_with_their_orientation_into_the_right_hand_side)
{
    one.unknown = 1, one.rt = 0.25, one.vct = 0.5;
    for (const std::int32_t sign : {1, 0, -1, -7}) {
        one.isign_diod = sign;
        double matrix[] = {1, 2, 3, 4, 5, 6, 7, 8, 9}, vector[] = {1, 2, 3};
        tarnel::insert_line(one, 3, matrix, vector);
        EXPECT_EQ((std::vector<double>(matrix, matrix + 9)), (std::vector<double>{1, 2, 3, 4, 5.25, 6, 7, 8, 9}));
        EXPECT_EQ((std::vector<double>(vector, vector + 3)), (std::vector<double>{1, sign < 0 ? 2.5 : 1.5, 3}));
    }
}
