// The log reader on logs written by hand in the library's words.
#include "solve/log_reader.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>

static const std::string end_line = "    === The end. ===\n";

static const std::string short_run =
    "\n  ORVAN  <tarnel> May.2006\n\n"
    "    === Now, reading at-cntl-data.txt ===\n"
    "    === func. eat_set_node_struct ===\n"
    "    === in func. eat_set_node_struct ===\n"
    "      ndim(total no. of unknown) = 7 \n"
    "    ### matrix solver START  Nov 20,2020(Friday) 10:11:12\n"
    "    === func. t_real_mtsolv_**** ===\n"
    "    === in func. t_real_mtsolv_iccg ===\n"
    "      ndim = 7 \n"
    "      ICCG solver convergence iter = 0 deps = 5.000000e-01  rnorm = 1.0 unorm = 2.0 \n"
    "      ICCG solver convergence iter = 1 deps = 2.500000e-09  rnorm = 1.0 unorm = 2.0 \n"
    "    ### matrix solver END    Nov 20,2020(Friday) 10:11:12\n" +
    end_line;

struct reading {
    run_log log;
    std::vector<log_record> news;
};

static reading read_whole(std::string_view text)
{
    reading result;
    add_log_text(result.log, text, result.news);
    finish_log(result.log);
    return result;
}

TEST(log_reader, each_kind_of_line_is_recognised)
{
    EXPECT_EQ(classify_line("    === func. t_rd_node_data ===").kind, log_line::stage);
    EXPECT_EQ(classify_line("    === func. t_rd_node_data ===").text, "t_rd_node_data");
    EXPECT_EQ(classify_line("    === in func. t_real_mtsolv_iccg ===").text, "t_real_mtsolv_iccg");
    EXPECT_EQ(classify_line("    === func. t_real_mtsolv_**** for edge part ===").text,
              "t_real_mtsolv_**** for edge part");
    EXPECT_EQ(classify_line("    === Now, reading t-dimension-data.txt ===").text, "reading t-dimension-data.txt");
    EXPECT_EQ(classify_line("      ndim(total no. of unknown) = 5012 ").count, 5012);
    EXPECT_EQ(classify_line("      ndim = 5012 ").kind, log_line::unknowns);
    EXPECT_EQ(classify_line("        edge no. i === 3").kind, log_line::edge);
    EXPECT_EQ(classify_line("        edge no. i === 3").count, 3);
    EXPECT_EQ(classify_line("  Note. Can't open t-volt-data1.tmp.").text, "Note. Can't open t-volt-data1.tmp.");
    EXPECT_EQ(classify_line("        Note: nvolt(=nvoltg+nvoltv+nvoltm) <= 0.").kind, log_line::note);
    EXPECT_EQ(classify_line("      Warning. norm of right-side vector is zero.").kind, log_line::zero_right);
    EXPECT_EQ(classify_line("      Warning. anything else").kind, log_line::warning);
    EXPECT_EQ(classify_line("      Error. ie < is. ").kind, log_line::error);
    EXPECT_EQ(classify_line("  Error. Can't open t-node-data.txt.").kind, log_line::error);
    EXPECT_EQ(classify_line("    ### matrix solver START  Nov 20,2020(Friday) 10:11:12").kind, log_line::solve_start);
    EXPECT_EQ(classify_line("    ### matrix solver END    Nov 20,2020(Friday) 10:11:12").kind, log_line::solve_end);
    EXPECT_EQ(classify_line("    === The end. ===").kind, log_line::the_end);
}

TEST(log_reader, every_solver_tells_its_iterations_from_one_and_its_residual)
{
    struct example {
        const char* line;
        const char* solver;
        std::int64_t iterations;
        double residual;
    };
    const example examples[] = {
        {"        CG solver convergence iter = 0 deps = 5.000000e-01  rnorm = 1.0e+00 unorm = 2.0e+00 ", "CG", 1, 0.5},
        {"      ICCG solver convergence iter = 41 deps = 2.500000e-01  rnorm = 3.0e+00 unorm = 2.0e+00 ", "ICCG", 42,
         0.25},
        {"       SCG solver convergence iter = 9 deps = 1.250000e-01  rnorm = 3.0e+00 unorm = 2.0e+00 ", "SCG", 10,
         0.125},
        {"      GS solver convergence iter = 1  eps = 6.250000e-02 ", "GS", 2, 0.0625},
    };
    for (const example& e : examples) {
        const log_record record = classify_line(e.line);
        EXPECT_EQ(record.kind, log_line::iteration) << e.line;
        EXPECT_EQ(record.text, e.solver);
        EXPECT_EQ(record.count, e.iterations);
        EXPECT_EQ(record.residual, e.residual);
    }
}

TEST(log_reader, a_residual_that_is_no_number_or_infinite_is_kept_as_such)
{
    EXPECT_TRUE(std::isnan(
        classify_line("      ICCG solver convergence iter = 3 deps = -nan  rnorm = -nan unorm = 1 ").residual));
    EXPECT_TRUE(std::isnan(classify_line("      GS solver convergence iter = 3  eps = nan ").residual));
    EXPECT_TRUE(std::isinf(classify_line("      GS solver convergence iter = 3  eps = inf ").residual));
}

TEST(log_reader, lines_that_only_resemble_are_not_taken)
{
    for (const char* line : {"", " ", "   === The end. ===", "    === The end. === ", "    === The end. ===\r",
                             "    === func. ===", "    === func. t_rd_node_data",
                             "      ICCG solver convergence iter = ", "      ICCG solver convergence iter = 5",
                             "      ICCG solver convergence iter = x deps = 1 ", "      ndim = ", "      ndim = many",
                             "        edge no. i === ", "        Error in nothing",
                             "        === in func. t_rd_volt_files ===", "        Now, reading t-node-data.txt. "}) {
        EXPECT_EQ(classify_line(line).kind, log_line::other) << line;
    }
}

TEST(log_reader, a_complete_run_gives_stages_unknowns_iterations_and_the_end)
{
    const reading r = read_whole(short_run);
    EXPECT_TRUE(run_is_complete(r.log));
    EXPECT_EQ(r.log.stages, (std::vector<std::string>{"reading at-cntl-data.txt", "eat_set_node_struct",
                                                      "t_real_mtsolv_****", "t_real_mtsolv_iccg"}));
    EXPECT_EQ(r.log.unknowns, 7);
    ASSERT_EQ(r.log.solves.size(), 1U);
    EXPECT_EQ(r.log.solves[0].solver, "ICCG");
    EXPECT_EQ(r.log.solves[0].iterations, 2);
    EXPECT_EQ(r.log.solves[0].residual, 2.5e-9);
    EXPECT_EQ(r.log.solves[0].edge_no, 0);
    // Stages once though both the driver and the stage write a heading, unknowns once though several stages log them.
    std::vector<log_line> kinds;
    for (const log_record& record : r.news) kinds.push_back(record.kind);
    EXPECT_EQ(kinds, (std::vector<log_line>{log_line::stage, log_line::stage, log_line::unknowns, log_line::solve_start,
                                            log_line::stage, log_line::stage, log_line::iteration, log_line::iteration,
                                            log_line::solve_end}));
    EXPECT_EQ(r.news.back().count, 2);
    EXPECT_EQ(r.news.back().residual, 2.5e-9);
}

TEST(log_reader, pieces_cut_at_every_byte_give_what_the_whole_gives)
{
    const reading whole = read_whole(short_run);
    for (std::size_t cut = 0; cut <= short_run.size(); ++cut) {
        reading r;
        add_log_text(r.log, std::string_view(short_run).substr(0, cut), r.news);
        EXPECT_EQ(r.log.ended, cut == short_run.size()) << cut;
        add_log_text(r.log, std::string_view(short_run).substr(cut), r.news);
        EXPECT_TRUE(run_is_complete(r.log)) << cut;
        EXPECT_EQ(r.log.stages, whole.log.stages) << cut;
        ASSERT_EQ(r.news.size(), whole.news.size()) << cut;
        EXPECT_EQ(r.log.solves.at(0).iterations, 2) << cut;
    }
    reading single;
    for (const char& byte : short_run) add_log_text(single.log, {&byte, 1}, single.news);
    EXPECT_TRUE(run_is_complete(single.log));
    EXPECT_EQ(single.news.size(), whole.news.size());
}

TEST(log_reader, a_log_cut_short_anywhere_is_not_complete)
{
    for (std::size_t size = 0; size < short_run.size(); ++size) {
        EXPECT_FALSE(run_is_complete(read_whole(std::string_view(short_run).substr(0, size)).log)) << size;
    }
}

TEST(log_reader, anything_behind_the_end_line_makes_it_not_the_end)
{
    EXPECT_TRUE(run_is_complete(read_whole(end_line).log));
    for (const std::string tail : {"\n", " ", "x", "    === func. t_rd_node_data ===\n", "    === The end. ==="}) {
        EXPECT_FALSE(run_is_complete(read_whole(end_line + tail).log)) << tail;
    }
    EXPECT_FALSE(run_is_complete(read_whole(end_line + std::string(1, '\0')).log));
    EXPECT_TRUE(run_is_complete(read_whole(end_line + end_line).log));
}

TEST(log_reader, the_end_is_taken_back_as_soon_as_more_is_written)
{
    reading r;
    add_log_text(r.log, end_line, r.news);
    EXPECT_TRUE(r.log.ended);
    add_log_text(r.log, "x", r.news);
    EXPECT_FALSE(r.log.ended);
}

TEST(log_reader, the_first_error_line_and_all_that_follows_is_the_error)
{
    const reading r = read_whole("    === func. t_rd_node_data ===\n"
                                 "      Error. no. of non-zero term 9 is over the limit.\n"
                                 "             no. of unknown = 4 \n"
                                 "             at line : 1 2 3");
    EXPECT_EQ(r.log.error_lines,
              (std::vector<std::string>{"      Error. no. of non-zero term 9 is over the limit.",
                                        "             no. of unknown = 4 ", "             at line : 1 2 3"}));
    EXPECT_FALSE(run_is_complete(r.log));
    EXPECT_EQ(r.news.size(), 1U);
}

TEST(log_reader, an_end_line_behind_an_error_does_not_make_the_run_complete)
{
    EXPECT_FALSE(run_is_complete(read_whole("      Error. in at-node-resl.txt(w).\n" + end_line).log));
}

TEST(log_reader, text_of_an_echoed_line_is_never_taken_for_the_end)
{
    EXPECT_FALSE(
        run_is_complete(read_whole("      Error. ie < is. \n             at line :     === The end. ===\n").log));
}

TEST(log_reader, each_circuit_edge_has_a_system_of_its_own)
{
    const std::string start = "    ### matrix solver START  Nov 20,2020(Friday) 10:11:12\n";
    const std::string end = "    ### matrix solver END    Nov 20,2020(Friday) 10:11:12\n";
    const reading r = read_whole(
        start + "      GS solver convergence iter = 5  eps = 5.000000e-01 \n" + end + "        edge no. i === 1\n" +
        start + "      Warning. norm of right-side vector is zero.\n" + end + "        edge no. i === 2\n" + start +
        "      GS solver convergence iter = 1  eps = 2.500000e-01 \n" + end);
    ASSERT_EQ(r.log.solves.size(), 3U);
    EXPECT_EQ(r.log.solves[0].edge_no, 0);
    EXPECT_EQ(r.log.solves[0].iterations, 6);
    EXPECT_EQ(r.log.solves[0].residual, 0.5);
    EXPECT_EQ(r.log.solves[1].edge_no, 1);
    EXPECT_EQ(r.log.solves[1].iterations, 0);
    EXPECT_TRUE(r.log.solves[1].zero_right);
    EXPECT_EQ(r.log.solves[2].edge_no, 2);
    EXPECT_EQ(r.log.solves[2].residual, 0.25);
    EXPECT_FALSE(r.log.solves[2].zero_right);
}

TEST(log_reader, a_huge_line_is_kept_in_part_and_the_next_line_is_understood)
{
    reading r;
    const std::string piece(100000, 'x');
    for (int i = 0; i < 20; ++i) add_log_text(r.log, piece, r.news);
    EXPECT_EQ(r.log.partial.size(), max_kept_line);
    add_log_text(r.log, "\n" + end_line, r.news);
    EXPECT_TRUE(run_is_complete(r.log));
}

TEST(log_reader, endless_errors_are_kept_in_part)
{
    reading r;
    for (int i = 0; i < 1000; ++i) add_log_text(r.log, "      Error. again.\n", r.news);
    EXPECT_EQ(r.log.error_lines.size(), max_kept_error_lines);
}

TEST(log_reader, any_bytes_at_all_are_survived)
{
    std::string damage;
    unsigned state = 1;
    for (int i = 0; i < 200000; ++i) { // numbers of a linear congruence: every byte value, newlines among them
        state = state * 1664525U + 1013904223U;
        damage += static_cast<char>(state >> 24U);
    }
    EXPECT_FALSE(run_is_complete(read_whole(damage).log));
    const reading r = read_whole(damage + "\n" + end_line);
    EXPECT_TRUE(r.log.ended);
}

TEST(log_reader, iterations_outside_a_bracketed_solution_are_kept_too)
{
    const reading r = read_whole("      GS solver convergence iter = 1  eps = 5.000000e-01 \n");
    ASSERT_EQ(r.log.solves.size(), 1U);
    EXPECT_EQ(r.log.solves[0].iterations, 2);
}
