#include "solve/solver_settings.h"

#include <gtest/gtest.h>
#include <string>

static std::string control(const std::string& line_4, const std::string& line_5)
{
    return "100 100 0 10 100 50 10\n1 1 0 0 0 0 0\n0 0.0\n" + line_4 + "\n" + line_5 + "\n0 0.0\n";
}

TEST(solver_settings, iterative_solvers_have_limit_and_tolerance)
{
    for (const char* choice : {"1 0", "1 2", " 2  0 ", "01 1"}) {
        const auto settings = read_solver_settings(control(choice, "500 1e-8 1.05"));
        ASSERT_TRUE(settings) << choice;
        EXPECT_EQ(settings->iteration_limit, 500);
        EXPECT_EQ(settings->tolerance, 1e-8);
    }
}

TEST(solver_settings, lines_may_end_with_carriage_return)
{
    const auto settings = read_solver_settings("1\r\n2\r\n3\r\n1 1\r\n20 0.5 1\r\n");
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->iteration_limit, 20);
    EXPECT_EQ(settings->tolerance, 0.5);
}

TEST(solver_settings, other_solvers_have_none)
{
    EXPECT_FALSE(read_solver_settings(control("0 0", "0 0.0")));
    EXPECT_FALSE(read_solver_settings(control("3 0", "500 1e-8 1.05")));
}

TEST(solver_settings, a_file_that_is_wrong_gives_none)
{
    for (const char* line_5 : {"", "500", "500 1e-8", "500 1e-8 1 1", "x 1e-8 1", "500 y 1", "500 1e-8x 1", "-1 1e-8 1",
                               "nan 1e-8 1", "1e30 1e-8 1"}) {
        EXPECT_FALSE(read_solver_settings(control("1 1", line_5))) << line_5;
    }
    EXPECT_FALSE(read_solver_settings(control("", "500 1e-8 1")));
    EXPECT_FALSE(read_solver_settings(control("1", "500 1e-8 1")));
    EXPECT_FALSE(read_solver_settings(""));
    EXPECT_FALSE(read_solver_settings("\n\n\n1 1"));
}
