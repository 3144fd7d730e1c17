// The entry point alone: this program's analysis takes the place of the library's.
#include "driver/run.h"

#include "common/failure.h"
#include "support/process.h"
#include "support/stage.h"

#include <new>

using namespace tarnel_test;

// The entry point calls it by its name alone, so what it does has no other place.
static void (*analysis)(std::FILE* log) = nullptr;

void tarnel::run_analysis(std::FILE* log)
{
    analysis(log);
}

using entry_point = stage_test;

TEST_F(entry_point, comes_back_with_zero_after_a_whole_analysis)
{
    analysis = [](std::FILE* log) { tarnel::log_lines(log, "all of it\n"); };
    const process_outcome run = run_library();
    EXPECT_TRUE(run.returned);
    EXPECT_EQ(run.value, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.log, "all of it\n");
}

TEST_F(entry_point, ends_the_process_after_a_failure)
{
    analysis = [](std::FILE* log) { tarnel::fail(log, "      Error. of the analysis.\n"); };
    const process_outcome run = run_library();
    EXPECT_TRUE(run.exited);
    EXPECT_EQ(run.status, 0);
    EXPECT_FALSE(run.returned);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.log, "      Error. of the analysis.\n");
}

TEST_F(entry_point, passes_no_exception_whatever_to_its_host)
{
    analysis = [](std::FILE* log) {
        tarnel::log_lines(log, "half of it\n");
        throw std::bad_alloc();
    };
    const process_outcome run = run_library();
    EXPECT_TRUE(run.exited);
    EXPECT_EQ(run.status, 0);
    EXPECT_FALSE(run.returned);
    EXPECT_EQ(run.output, "      Error. unexpected failure.\n");
    EXPECT_EQ(run.log, "half of it\n");
}
