#include "solve/solve.h"

#include "solve/child_process.h"
#include "solve/descriptor.h"
#include "solve/log_reader.h"
#include "solve/progress.h"
#include "solve/solver_settings.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

constexpr const char* log_name = "tarnel.log";
constexpr const char* control_name = "at-cntl-data.txt";
constexpr int poll_milliseconds = 50;

struct solve_run { // one run and what is known of it
    const solve_options& options;
    owned_descriptor directory;
    owned_descriptor log_file{}; // once the library has made it
    run_log log{};
    std::optional<solver_settings> settings{};
    progress_display display{};
    std::string output{}; // what the child has printed
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

static std::string path_of(const solve_run& run, const char* name)
{
    return (std::filesystem::path(run.options.directory) / name).string();
}

static double elapsed_seconds(const solve_run& run)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - run.start).count();
}

static void fail_reading(const char* name)
{
    throw std::system_error(errno, std::generic_category(), std::string("cannot read ") + name);
}

// Up to 64 KiB more of the file; empty at its present end.
static std::string read_piece(int file, const char* name)
{
    std::string piece(65536, '\0');
    ssize_t size = 0;
    do {
        size = read(file, piece.data(), piece.size());
    } while (size < 0 && errno == EINTR);
    if (size < 0) fail_reading(name);
    piece.resize(static_cast<std::size_t>(size));
    return piece;
}

// The control file is the run's own business: when it cannot be read here, the run says so.
static std::optional<solver_settings> settings_of(int directory)
{
    const owned_descriptor file(openat(directory, control_name, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat about {
    };
    if (!file || fstat(file.get(), &about) != 0 || !S_ISREG(about.st_mode)) return {};
    return read_solver_settings(read_piece(file.get(), control_name));
}

// A log of an earlier run must not be taken for this run's.
static bool remove_old_log(const solve_run& run)
{
    if (unlinkat(run.directory.get(), log_name, 0) == 0 || errno == ENOENT) return true;
    std::fprintf(stderr, "error: cannot remove the log of an earlier run, %s: %s\n", path_of(run, log_name).c_str(),
                 std::strerror(errno));
    return false;
}

// Reads what the log has gained and shows it.
static void follow_log(solve_run& run)
{
    if (!run.log_file) {
        run.log_file = owned_descriptor(openat(run.directory.get(), log_name, O_RDONLY | O_CLOEXEC));
        if (!run.log_file && errno != ENOENT) fail_reading(log_name);
    }
    std::vector<log_record> news;
    while (run.log_file) {
        const std::string piece = read_piece(run.log_file.get(), log_name);
        if (piece.empty()) break;
        add_log_text(run.log, piece, news);
    }
    show_progress(run.display, news, run.log, run.settings, elapsed_seconds(run));
}

// The library prints only what it cannot write to its log: an error, whatever it says.
static void pass_on_output(solve_run& run, child_process& child)
{
    const std::string text = child.take_output();
    if (text.empty()) return;
    erase_live_line(run.display);
    write_foreign_text(stderr, text);
    run.output += text;
}

// Follows the run to its end. Returns the signal that broke it off, else 0.
static int follow_run(solve_run& run, child_process& child)
{
    bool is_last_look = false;
    while (!is_last_look) {
        if (const int signal_no = child.wait_for_news(poll_milliseconds); signal_no != 0) {
            child.end_now();
            erase_live_line(run.display);
            std::fprintf(stderr, "interrupted: %s\n", strsignal(signal_no));
            return signal_no;
        }
        // Asked before the look at log and output: nothing is added to them after the child's end.
        is_last_look = child.ended().has_value();
        pass_on_output(run, child);
        follow_log(run);
    }
    finish_log(run.log);
    erase_live_line(run.display);
    if (!run.output.empty() && !run.output.ends_with('\n')) std::fputc('\n', stderr);
    return 0;
}

static void report_failure(const solve_run& run, int status)
{
    const std::string log_path = path_of(run, log_name);
    if (!run.log_file) {
        std::fprintf(stderr, "error: the run left no log %s; the solver process %s\n", log_path.c_str(),
                     describe_status(status).c_str());
        return;
    }
    const std::string stage = run.log.stages.empty() ? "starting" : stage_label(run.log.stages.back());
    std::fputs("error: the run failed; its stage: ", stderr);
    write_foreign_text(stderr, stage + "\n");
    for (const std::string& line : run.log.error_lines) write_foreign_text(stderr, line + "\n");
    if (run.log.error_lines.empty()) {
        std::fprintf(stderr, "error: the log does not end with its end line; the solver process %s\n",
                     describe_status(status).c_str());
        if (!run.log.last_line.empty()) write_foreign_text(stderr, "last line of the log: " + run.log.last_line + "\n");
    } else if (status != 0) {
        std::fprintf(stderr, "error: the solver process %s\n", describe_status(status).c_str());
    }
    std::fprintf(stderr, "log: %s\n", log_path.c_str());
}

static std::string system_name(const linear_solve& solve)
{
    return solve.edge_no > 0 ? "circuit edge " + std::to_string(solve.edge_no) : "the main system";
}

// A solver that stops at its iteration limit does not say so, and the run goes on with what it has.
static void warn_of_doubts(const solve_run& run, int status)
{
    if (status != 0) {
        std::fprintf(stderr, "warning: the run is complete, but afterwards the solver process %s\n",
                     describe_status(status).c_str());
    }
    if (!run.settings) return;
    for (const linear_solve& solve : run.log.solves) {
        if (solve.zero_right) continue;
        if (solve.iterations == 0) {
            std::fprintf(stderr,
                         "warning: no residual was reported for %s (iteration limit %lld); it is not converged\n",
                         system_name(solve).c_str(), static_cast<long long>(run.settings->iteration_limit));
        } else if (!(solve.residual < run.settings->tolerance)) { // so that a NaN is told too
            std::fprintf(stderr,
                         "warning: %s is not converged: residual %.2e after %lld iterations, tolerance %.2e "
                         "(iteration limit %lld)\n",
                         system_name(solve).c_str(), solve.residual, static_cast<long long>(solve.iterations),
                         run.settings->tolerance, static_cast<long long>(run.settings->iteration_limit));
        }
    }
}

static void show_summary(const solve_run& run)
{
    std::printf("The run is complete.\n");
    if (run.log.unknowns > 0) std::printf("  unknowns    %lld\n", static_cast<long long>(run.log.unknowns));
    std::size_t edges = 0;
    for (const linear_solve& solve : run.log.solves) {
        if (solve.edge_no > 0) ++edges;
        if (solve.edge_no > 0 || solve.iterations == 0) continue;
        std::printf("  solver      %s, %lld iterations, last residual %.2e\n", solve.solver.c_str(),
                    static_cast<long long>(solve.iterations), solve.residual);
    }
    if (edges > 0) std::printf("  edges       %zu circuit edges solved\n", edges);
    std::printf("  elapsed     %.2f s\n", elapsed_seconds(run));
    const char* heading = "results";
    for (const std::string& name : result_files(run.log)) {
        std::printf("  %-10s  %s\n", heading, path_of(run, name.c_str()).c_str());
        heading = "";
    }
    std::printf("  log         %s\n", path_of(run, log_name).c_str());
}

static int run_and_report(solve_run& run, int (*entry)())
{
    if (!remove_old_log(run)) return exit_failed;
    run.settings = settings_of(run.directory.get());
    const held_signals signals;
    child_process child(entry, run.directory.get(), signals);
    const int signal_no = follow_run(run, child);
    if (signal_no != 0) return exit_signal_base + signal_no;

    const int status = *child.ended();
    if (!run_is_complete(run.log)) {
        report_failure(run, status);
        return exit_failed;
    }
    if (run.options.quiet) return exit_complete;
    warn_of_doubts(run, status);
    show_summary(run);
    return exit_complete;
}

// A stream closed by the caller would lend its number to the next file opened.
static void open_missing_streams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0) fail_reading("/dev/null");
    }
}

int solve_directory(const solve_options& options, int (*entry)())
{
    open_missing_streams();
    owned_descriptor directory(open(options.directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
        std::fprintf(stderr, "error: %s: %s\n", options.directory.c_str(), std::strerror(errno));
        return exit_misuse;
    }
    solve_run run{.options = options, .directory = std::move(directory)};
    run.display = open_progress(stdout, options.quiet);
    const int exit_status = run_and_report(run, entry);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fprintf(stderr, "error: cannot write standard output\n");
        return std::max(exit_status, exit_failed);
    }
    return exit_status;
}
