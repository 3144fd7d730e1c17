#include "common/failure.h"

#include "support/stage.h"

using namespace tarnel;
using namespace tarnel_test;

using failures = stage_test;

TEST_F(failures, lines_go_to_the_log_and_the_run_goes_on)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        log_lines(log, "      ndim = %d \n", 5);
        log_lines(log, "        Now, reading %s. \n", "t-node-data.txt");
    });
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, "      ndim = 5 \n        Now, reading t-node-data.txt. \n");
}

TEST_F(failures, failure_says_its_lines_and_ends_the_run)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        fail(log, "      Error. in %s(%s).\n", "t-nodes-struct.tmp", "r");
        log_lines(log, "never said\n");
    });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "      Error. in t-nodes-struct.tmp(r).\n");
}

// What standard output says when a log on a full disk is written by lines, as the log of a run is.
template <class writer> static std::string said_instead(const writer& write)
{
    const owned_file log(std::fopen("/dev/full", "wb"));
    std::setvbuf(log.get(), nullptr, _IOLBF, 4096);
    testing::internal::CaptureStdout();
    EXPECT_THROW(write(log.get()), run_ended);
    return testing::internal::GetCapturedStdout();
}

TEST_F(failures, log_that_cannot_be_written_ends_the_run_with_a_word_on_standard_output)
{
    EXPECT_EQ(said_instead([](std::FILE* log) { log_lines(log, "a line\n"); }), "      Error. in tarnel.log(w).\n");
    EXPECT_EQ(said_instead([](std::FILE* log) { fail(log, "      Error. ie < is. \n"); }),
              "      Error. in tarnel.log(w).\n");
    EXPECT_EQ(said_instead([](std::FILE* log) {
                  log_lines(log, "no line yet"); // still in the buffer
                  log_lines(log, ", and now one\n");
              }),
              "      Error. in tarnel.log(w).\n");
    EXPECT_EQ(said_instead([](std::FILE* log) {
                  std::fputs("a lost line\n", log);
                  log_lines(log, "which a line in the buffer does not make good");
              }),
              "      Error. in tarnel.log(w).\n");
}
