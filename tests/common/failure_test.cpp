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

// Lines of a given length, all but one of its characters ahead of the line end.
static std::string numbered_line(int number, int length)
{
    std::string line = std::to_string(number);
    line.resize(static_cast<std::size_t>(length - 1), '.');
    return line + "\n";
}

TEST_F(failures, gathered_lines_arrive_whole_and_in_order)
{
    for (const int length : {2, 90, 1000}) {
        std::string expected;
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            gathered_lines lines{.log = log};
            for (int k = 0; k < 300; ++k) {
                const std::string line = numbered_line(k % 7, length);
                expected += line;
                gather_line(lines, 1, "%s", line.c_str());
            }
            hand_over(lines);
            hand_over(lines);
            log_lines(log, "the next\n");
        });
        EXPECT_EQ(outcome.log, expected + "the next\n");
    }
}

TEST_F(failures, gathered_lines_are_in_the_log_once_a_million_unknowns_were_visited)
{
    const auto size_of_log = [](std::FILE* log) {
        std::fseek(log, 0, SEEK_END);
        return std::ftell(log);
    };
    run_stage([&](std::FILE* log) {
        gathered_lines lines{.log = log};
        gather_line(lines, 600000, "one\n");
        EXPECT_EQ(size_of_log(log), 0);
        gather_line(lines, 600000, "two\n");
        EXPECT_EQ(size_of_log(log), 8);
        gather_line(lines, 600000, "three\n");
        EXPECT_EQ(size_of_log(log), 8);
        hand_over(lines);
        EXPECT_EQ(size_of_log(log), 14);
    });
}

TEST_F(failures, gathered_lines_that_a_full_disk_refuses_end_the_run_with_a_word_on_standard_output)
{
    EXPECT_EQ(said_instead([](std::FILE* log) {
                  gathered_lines lines{.log = log};
                  gather_line(lines, 1, "a line\n");
                  hand_over(lines);
              }),
              "      Error. in tarnel.log(w).\n");
    EXPECT_EQ(said_instead([](std::FILE* log) {
                  gathered_lines lines{.log = log};
                  for (int k = 0; k < 300; ++k) gather_line(lines, 1, "one line of twenty\n");
              }),
              "      Error. in tarnel.log(w).\n");
    EXPECT_EQ(said_instead([](std::FILE* log) {
                  gathered_lines lines{.log = log};
                  gather_line(lines, 2000000, "one line of much work\n");
              }),
              "      Error. in tarnel.log(w).\n");
}
