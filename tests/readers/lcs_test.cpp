// The table of local systems and the turning of points and vectors.
#include "readers/lcs.h"
#include "readers/stage_files.h"

#include <cmath>
#include <limits>

using namespace tarnel_test;
using lcs_table = stage_test;

static std::string system_record(int lno, int type, double origin_x)
{
    bytes record;
    record.add_i(lno).add_i(type).add_d(origin_x).add_zeros(16);
    for (const double r : {1, 0, 0, 0, 1, 0, 0, 0, 1}) record.add_d(r);
    return record.text();
}
static const std::string end_record(104, '\0');

struct loaded {
    stage_outcome outcome;
    tarnel::lcs_table table;
};

static loaded load(const std::string& content, int maxprp = 100)
{
    renew_file("t-lcs-struct.tmp", content);
    opened_input in("t-lcs-struct.tmp");
    tarnel::control cntl = small_control();
    cntl.maxprp = maxprp;
    loaded result;
    result.outcome = run_stage([&](std::FILE* log) { result.table = tarnel::t_rd_lcs_struct(cntl, in, log); });
    return result;
}

static double origin_of(const loaded& result, int lno)
{
    double x = std::numeric_limits<double>::quiet_NaN();
    run_stage([&](std::FILE* log) { x = tarnel::t_get_lcs(result.table, lno, log).origin[0]; });
    return x;
}

TEST_F(lcs_table, systems_are_found_by_number_in_any_order)
{
    const loaded result =
        load(system_record(90, 0, 0.5) + system_record(3, 1, 0.25) + system_record(100, 0, 8) + end_record);
    EXPECT_FALSE(result.outcome.failed);
    EXPECT_EQ(result.outcome.log, "");
    EXPECT_EQ(origin_of(result, 90), 0.5);
    EXPECT_EQ(origin_of(result, 3), 0.25);
    EXPECT_EQ(origin_of(result, 100), 8.0);
}

TEST_F(lcs_table, number_without_a_record_is_not_defined)
{
    for (const std::string& content :
         {end_record, system_record(2, 0, 1) + system_record(4, 0, 1) + end_record,
          system_record(4, 0, 1) + system_record(2, 0, 1) + end_record, system_record(4, 0, 1) + end_record}) {
        const loaded result = load(content);
        for (const int lno : {1, 3, 5, 100}) {
            const stage_outcome got = run_stage([&](std::FILE* log) { tarnel::t_get_lcs(result.table, lno, log); });
            EXPECT_TRUE(got.failed);
            EXPECT_EQ(got.log, "      Error. lcs_data not defined. lno = " + std::to_string(lno) + " \n");
        }
    }
}

TEST_F(lcs_table, last_of_repeated_records_stands)
{
    const loaded result = load(system_record(5, 0, 1) + system_record(2, 0, 2) + system_record(5, 0, 4) +
                               system_record(2, 0, 8) + end_record);
    EXPECT_EQ(origin_of(result, 5), 4.0);
    EXPECT_EQ(origin_of(result, 2), 8.0);
}

TEST_F(lcs_table, numbers_may_lie_far_apart)
{
    const loaded result = load(
        system_record(900000000, 0, 1) + system_record(1, 0, 2) + system_record(40000, 0, 4) + end_record, 900000000);
    EXPECT_FALSE(result.outcome.failed);
    EXPECT_EQ(origin_of(result, 900000000), 1.0);
    EXPECT_EQ(origin_of(result, 1), 2.0);
    EXPECT_EQ(origin_of(result, 40000), 4.0);
    EXPECT_TRUE(run_stage([&](std::FILE* log) { tarnel::t_get_lcs(result.table, 39999, log); }).failed);
}

TEST_F(lcs_table, number_outside_the_limit_is_refused)
{
    const std::string line = "      Error. lcs-data no. over the limit.\n";
    EXPECT_EQ(load(system_record(-1, 0, 0) + end_record).outcome.log, line);
    EXPECT_EQ(load(system_record(101, 0, 0) + end_record).outcome.log, line);
    EXPECT_EQ(load(system_record(100, 0, 0) + end_record).outcome.log, "");
    EXPECT_EQ(load(system_record(3, 0, 0) + end_record, 2).outcome.log, line);
}

TEST_F(lcs_table, end_record_counts_against_the_limit)
{
    const std::string two = system_record(1, 0, 0) + system_record(2, 0, 0) + end_record;
    const loaded full = load(two, 2);
    EXPECT_TRUE(full.outcome.failed);
    EXPECT_EQ(full.outcome.log, "      Error. in t-lcs-struct.tmp(r).\n"
                                "             There is no end-data(lno=0),\n"
                                "             or, maxprp is too small.\n");
    EXPECT_FALSE(load(two, 3).outcome.failed);
    EXPECT_FALSE(load(end_record, 1).outcome.failed);
}

TEST_F(lcs_table, file_cut_at_any_byte_is_a_short_read)
{
    const std::string whole = system_record(1, 0, 0) + end_record;
    for (std::size_t n = 0; n < whole.size(); ++n) {
        const loaded result = load(whole.substr(0, n));
        EXPECT_TRUE(result.outcome.failed) << n;
        EXPECT_EQ(result.outcome.log, "      Error. in t-lcs-struct.tmp(r).\n");
    }
    EXPECT_FALSE(load(whole + "beyond the end record").outcome.failed);
}

// Local x, y, z axes along global y, z, x; origin (1, 2, 3).
static tarnel::lcs_record turned(int type)
{
    return {1, type, {1, 2, 3}, {0, 0, 1, 1, 0, 0, 0, 1, 0}};
}
static tarnel::lcs_record global(int type)
{
    return {1, type, {0, 0, 0}, {1, 0, 0, 0, 1, 0, 0, 0, 1}};
}

static void expect_components(const double v[3], double x, double y, double z)
{
    EXPECT_EQ(v[0], x);
    EXPECT_EQ(v[1], y);
    EXPECT_EQ(v[2], z);
}

TEST(lcs_point, cartesian_point_is_turned_and_moved)
{
    double p[3] = {10, 20, 30}; // 10 along y, 20 along z, 30 along x
    tarnel::t_lcs_point(p, tarnel::degrees_to_radians, turned(0));
    expect_components(p, 31, 12, 23);
}

TEST(lcs_point, rotation_rows_are_global_components)
{
    const tarnel::lcs_record lcs = {1, 0, {0, 0, 0}, {1, 2, 4, 8, 16, 32, 64, 128, 256}};
    double p[3] = {1, 10, 100};
    tarnel::t_lcs_point(p, tarnel::degrees_to_radians, lcs);
    expect_components(p, 421, 3368, 26944);
}

TEST(lcs_point, cylindrical_point_is_radius_angle_height)
{
    double p[3] = {2, 0, 5};
    tarnel::t_lcs_point(p, tarnel::degrees_to_radians, turned(1));
    expect_components(p, 6, 4, 3); // 2 along y, 5 along x

    // 90 deg with the factor 3.1415926/180 falls short of the right angle by 2.679489662e-8.
    double q[3] = {2, 90, 5};
    tarnel::t_lcs_point(q, 0.017453292222222222, global(1));
    EXPECT_NEAR(q[0], 2 * 2.679489662e-8, 1e-15);
    EXPECT_DOUBLE_EQ(q[1], 2.0);
    EXPECT_EQ(q[2], 5.0);

    // the factor is the caller's: 2 deg at half a radian each are one radian
    double r[3] = {4, 2, 0};
    tarnel::t_lcs_point(r, 0.5, turned(1));
    EXPECT_DOUBLE_EQ(r[1], 2 + 4 * 0.54030230586813971740); // cos 1
    EXPECT_DOUBLE_EQ(r[2], 3 + 4 * 0.84147098480789650665); // sin 1
}

TEST(lcs_vector, cartesian_vector_is_turned_and_not_moved)
{
    double v[3] = {10, 20, 30};
    const double point[3] = {5, 6, 7};
    tarnel::t_lcs_vector(v, point, 1e-60, turned(0));
    expect_components(v, 30, 10, 20);
}

TEST(lcs_vector, cylindrical_vector_is_radial_tangential_axial_at_its_point)
{
    const struct {
        double x, y, vx, vy;
    } rows[] = {{4, 0, 3, 5}, {0, 4, -5, 3}, {-4, 0, -3, -5}, {0, -4, 5, -3}}; // radial 3, tangential 5
    for (const auto& row : rows) {
        double v[3] = {3, 5, 7};
        const double point[3] = {row.x, row.y, 9};
        tarnel::t_lcs_vector(v, point, 1e-60, global(1));
        expect_components(v, row.vx, row.vy, 7);

        double w[3] = {3, 5, 7};
        const double placed[3] = {1 + 9, 2 + row.x, 3 + row.y};
        tarnel::t_lcs_vector(w, placed, 1e-60, turned(1));
        expect_components(w, 7, row.vx, row.vy);
    }
    double v[3] = {10, 5, 1};
    const double point[3] = {3, 4, 0}; // cos 0.6, sin 0.8
    tarnel::t_lcs_vector(v, point, 1e-60, global(1));
    EXPECT_DOUBLE_EQ(v[0], 2);
    EXPECT_DOUBLE_EQ(v[1], 11);
    EXPECT_EQ(v[2], 1);
}

TEST(lcs_vector, radial_direction_on_the_axis_is_the_local_x_axis)
{
    double v[3] = {3, 5, 7};
    const double on_axis[3] = {9, 2, 3};
    tarnel::t_lcs_vector(v, on_axis, 1e-60, turned(1));
    expect_components(v, 7, 3, 5);
}

TEST(lcs_vector, point_counts_as_on_the_axis_up_to_the_threshold)
{
    const double point[3] = {0, 2, 0}; // rho2 = 4
    double at[3] = {3, 5, 7}, below[3] = {3, 5, 7};
    tarnel::t_lcs_vector(at, point, 4.0, global(1));
    expect_components(at, 3, 5, 7);
    tarnel::t_lcs_vector(below, point, std::nextafter(4.0, 0.0), global(1));
    expect_components(below, -5, 3, 7);
}

TEST(lcs_vector, zero_sums_are_positive)
{
    double v[3] = {-0.0, -0.0, -0.0};
    const double point[3] = {0, 0, 0};
    tarnel::t_lcs_vector(v, point, 1e-60, global(0));
    for (const double component : v) EXPECT_FALSE(std::signbit(component));
}
