// Stands in for the library: TARNEL_FAKE_RUN names what the run does. Each writes its log as the library does, line by
// line, in the current working directory.
#include <tarnel.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

static std::FILE* log_stream = nullptr;

static void say(const char* text)
{
    if (std::fputs(text, log_stream) < 0) std::abort();
}

static void open_log()
{
    log_stream = std::fopen("tarnel.log", "w");
    if (log_stream == nullptr || std::setvbuf(log_stream, nullptr, _IOLBF, BUFSIZ) != 0) std::abort();
    say("\n  ORVAN  <tarnel> May.2006\n\n  Copyright (c) the tarnel authors\n");
    say("    ### program START Nov 20,2020(Friday) 10:11:12\n");
    say("    === Now, reading at-cntl-data.txt ===\n");
}

static void write_file(const char* name, const char* text)
{
    std::FILE* const file = std::fopen(name, "w");
    if (file == nullptr || std::fputs(text, file) < 0 || std::fclose(file) != 0) std::abort();
}

static void say_preparation()
{
    say("    === func. t_rd_node_data ===\n    === in func. t_rd_node_data ===\n");
    say("        Now, reading t-node-data.txt. \n");
    say("    === Now, reading t-volt-data1.tmp ===\n  Note. Can't open t-volt-data1.tmp.\n");
    say("    === func. eat_set_node_struct ===\n    === in func. eat_set_node_struct ===\n");
    say("      ndim(total no. of unknown) = 42 \n");
}

static void say_solver_start()
{
    say("    ### matrix solver START  Nov 20,2020(Friday) 10:11:12\n    === func. t_real_mtsolv_**** ===\n");
}

static void say_solver_end()
{
    say("    ### matrix solver END    Nov 20,2020(Friday) 10:11:12\n");
}

static void say_first_iterations()
{
    say("    === in func. t_real_mtsolv_iccg ===\n      ndim = 42 \n");
    say("      ICCG solver convergence iter = 0 deps = 5.000000e-01  rnorm = 5.0e-01 unorm = 1.0e+00 \n");
    say("      ICCG solver convergence iter = 1 deps = 2.500000e-01  rnorm = 2.5e-01 unorm = 1.0e+00 \n");
    say("      ICCG solver convergence iter = 2 deps = 1.250000e-01  rnorm = 1.2e-01 unorm = 1.0e+00 \n");
}

static void say_results()
{
    say("    === func. eat_calc_node_resl ===\n    === in func. eat_calc_node_resl ===\n      ndim = 42 \n");
    say("    === func. eat_calc_felm_resl ===\n    === in func. eat_calc_felm_resl ===\n");
    say("    ### program END   Nov 20,2020(Friday) 10:11:12\n");
}

static void say_whole_run()
{
    open_log();
    say_preparation();
    say_solver_start();
    say_first_iterations();
    say("      ICCG solver convergence iter = 3 deps = 6.250000e-09  rnorm = 6.2e-09 unorm = 1.0e+00 \n");
    say_solver_end();
    say_results();
    say("    === The end. ===\n");
}

// Marks this process as alive by a lock that goes with it, tells that it has come so far, and never ends.
[[noreturn]] static void sleep_for_ever()
{
    std::FILE* const alive = std::fopen("alive", "w");
    if (alive == nullptr || flock(fileno(alive), LOCK_EX) != 0) std::abort();
    open_log();
    say_preparation();
    write_file("started", "");
    while (true) pause();
}

static void wait_for_file(const char* name)
{
    struct stat about {
    };
    while (stat(name, &about) != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

int main_tarnel_n1()
{
    const char* const wanted = std::getenv("TARNEL_FAKE_RUN");
    const std::string_view run = wanted == nullptr ? "" : wanted;
    const rlimit no_core{0, 0};
    if (setrlimit(RLIMIT_CORE, &no_core) != 0) std::abort();

    if (run == "complete") {
        say_whole_run();
        return std::fclose(log_stream);
    }
    if (run == "bad_line") {
        open_log();
        say_preparation();
        say("      Error. integer parameter over the limit. ip = 2 \n");
        say("             at line : 7 99999\033[2J 1\n");
        std::exit(0);
    }
    if (run == "missing_file") {
        open_log();
        say("  Error. Can't open at-cntl-data.txt.\n");
        std::exit(0);
    }
    if (run == "error_then_end_line") {
        say_whole_run();
        say("      Error. in at-node-resl.txt(w).\n");
        say("    === The end. ===\n");
        std::exit(0);
    }
    if (run == "crash") {
        open_log();
        say_preparation();
        std::abort();
    }
    if (run == "crash_after_the_end") {
        say_whole_run();
        std::abort();
    }
    if (run == "text_after_the_end") {
        say_whole_run();
        say("    === func. eat_calc_node_resl ===\n");
        return 0;
    }
    if (run == "end_line_without_newline") {
        open_log();
        say("    === The end. ===");
        std::exit(0);
    }
    if (run == "status_without_log") std::exit(3);
    if (run == "prints_only") {
        std::printf("  Error. Can't open tarnel.log.\n");
        std::exit(0);
    }
    if (run == "sleeps") sleep_for_ever();
    if (run == "waits_in_solver") {
        open_log();
        say_preparation();
        say_solver_start();
        say_first_iterations();
        wait_for_file("go-on");
        say_solver_end();
        say_results();
        say("    === The end. ===\n");
        return 0;
    }
    if (run == "not_converged") {
        open_log();
        say_preparation();
        say_solver_start();
        say_first_iterations();
        say_solver_end();
        say_results();
        say("    === The end. ===\n");
        return 0;
    }
    if (run == "zero_right_side") {
        open_log();
        say_solver_start();
        say("      Warning. norm of right-side vector is zero.\n");
        say_solver_end();
        say_results();
        say("    === The end. ===\n");
        return 0;
    }
    if (run == "circuits") {
        open_log();
        say_solver_start();
        say("      GS solver convergence iter = 1  eps = 1.250000e-01 \n");
        say_solver_end();
        say("    === func. t_real_mtsolv_**** for edge part ===\n        edge no. i === 1\n");
        say_solver_start();
        say("      GS solver convergence iter = 1  eps = 1.250000e-01 \n");
        say_solver_end();
        say("        edge no. i === 2\n");
        say_solver_start();
        say("      GS solver convergence iter = 1  eps = 7.500000e-01 \n");
        say("      GS solver convergence iter = 2  eps = 5.000000e-01 \n");
        say_solver_end();
        say("    === func. t_solve_voltr ===\n    === in func. t_solve_voltr ===\n");
        say_results();
        say("    === The end. ===\n");
        return 0;
    }
    if (run == "no_iterations") {
        open_log();
        say_solver_start();
        say_solver_end();
        say_results();
        say("    === The end. ===\n");
        return 0;
    }
    if (run == "reads_standard_input") {
        if (std::getchar() != EOF) std::abort();
        say_whole_run();
        return 0;
    }
    std::abort();
}
