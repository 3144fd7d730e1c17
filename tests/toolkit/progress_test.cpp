#include "solve/progress.h"

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>

struct close_stream {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using owned_stream = std::unique_ptr<std::FILE, close_stream>;

static std::string text_of(std::FILE* stream)
{
    std::rewind(stream);
    std::string text;
    for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) text += static_cast<char>(c);
    return text;
}

static std::string shown_for(const std::string& log_text)
{
    const owned_stream stream(std::tmpfile());
    progress_display display = open_progress(stream.get(), false);
    run_log log;
    std::vector<log_record> news;
    add_log_text(log, log_text, news);
    show_progress(display, news, log, {}, 0);
    return text_of(stream.get());
}

TEST(progress, a_file_gets_plain_lines_in_the_order_of_the_log)
{
    EXPECT_EQ(shown_for("    === func. t_rd_node_data ===\n"
                        "    === in func. t_rd_node_data ===\n"
                        "  Note. There isn't the file at-npresl-struct.tmp.\n"
                        "      ndim = 7 \n"
                        "    === func. a_stage_of_tomorrow ===\n"),
              "reading nodes\n"
              "Note. There isn't the file at-npresl-struct.tmp.\n"
              "  7 unknowns\n"
              "a_stage_of_tomorrow\n");
}

TEST(progress, a_long_solution_is_told_in_few_plain_lines_the_last_among_them)
{
    std::string log = "    ### matrix solver START  now\n";
    for (int i = 0; i < 123; ++i) log += "      GS solver convergence iter = " + std::to_string(i) + "  eps = 0.5 \n";
    const std::string shown = shown_for(log + "    ### matrix solver END    now\n");
    EXPECT_EQ(shown, "  iteration 1, residual 5.00e-01\n"
                     "  iteration 2, residual 5.00e-01\n"
                     "  iteration 5, residual 5.00e-01\n"
                     "  iteration 10, residual 5.00e-01\n"
                     "  iteration 20, residual 5.00e-01\n"
                     "  iteration 50, residual 5.00e-01\n"
                     "  iteration 100, residual 5.00e-01\n"
                     "  iteration 123, residual 5.00e-01\n");
}

TEST(progress, each_system_tells_its_own_last_iteration_though_read_at_once)
{
    EXPECT_EQ(shown_for("    ### matrix solver START  now\n"
                        "      GS solver convergence iter = 2  eps = 0.5 \n"
                        "    ### matrix solver END    now\n"
                        "        edge no. i === 1\n"
                        "    ### matrix solver START  now\n"
                        "      GS solver convergence iter = 3  eps = 0.25 \n"
                        "    ### matrix solver END    now\n"
                        "        edge no. i === 2\n"
                        "    ### matrix solver START  now\n"
                        "    ### matrix solver END    now\n"),
              "  iteration 3, residual 5.00e-01\n"
              "circuit edge 1\n"
              "  iteration 4, residual 2.50e-01\n"
              "circuit edge 2\n");
}

TEST(progress, quiet_shows_nothing)
{
    const owned_stream stream(std::tmpfile());
    progress_display display = open_progress(stream.get(), true);
    run_log log;
    std::vector<log_record> news;
    add_log_text(log, "    === func. t_rd_node_data ===\n      Warning. anything\n", news);
    ASSERT_EQ(news.size(), 2U);
    show_progress(display, news, log, {}, 0);
    erase_live_line(display);
    EXPECT_EQ(text_of(stream.get()), "");
}

TEST(progress, result_files_follow_from_the_stages_that_ran)
{
    run_log log;
    log.stages = {"eat_calc_node_resl", "eat_calc_felm_resl"};
    EXPECT_EQ(result_files(log), (std::vector<std::string>{"at-node-resl.txt", "at-nresl-struct.tmp",
                                                           "at-felm-resl.txt", "at-eresl-struct.tmp"}));
    log.stages = {"t_solve_voltr", "t_solve_voltr"};
    EXPECT_EQ(result_files(log), std::vector<std::string>{"t-voltr-result.txt"});
    log.stages = {};
    EXPECT_TRUE(result_files(log).empty());
}
