// "tarnel solve" as a user meets it: the real command as a process, in a directory of its own, with a library in place
// of ours that behaves as each test needs.
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <pty.h>
#include <string>
#include <sys/file.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

static std::string text_of(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

static void write_text(const fs::path& file, const std::string& text)
{
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    ASSERT_TRUE(stream) << file;
}

static bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

struct outcome {
    int status = -1; // exit status; -1 when ended by a signal
    std::string out, err;
};

// One working place per test: model/ is the directory to solve in, beside it lie the caught output streams.
class solve_command : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "tarnel-toolkit-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        place = pattern;
        model = place / "model";
        ASSERT_TRUE(fs::create_directory(model));
    }

    void TearDown() override { fs::remove_all(place); }

    // Starts the command; streams given as file names, or left as they are when empty.
    pid_t start(const std::string& fake_run, std::vector<std::string> arguments, const std::string& out,
                const std::string& err) const
    {
        const pid_t pid = fork();
        if (pid == 0) {
            const int input = open(TARNEL_COMMAND, O_RDONLY); // any file with something in it
            if (input < 0 || dup2(input, STDIN_FILENO) < 0) _exit(99);
            become_command(fake_run, std::move(arguments), out, err);
        }
        return pid;
    }

    [[noreturn]] static void become_command(const std::string& fake_run, std::vector<std::string> arguments,
                                            const std::string& out, const std::string& err)
    {
        const auto redirect = [](const std::string& file, int stream) {
            if (file.empty()) return;
            const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (opened < 0 || dup2(opened, stream) < 0) _exit(99);
        };
        redirect(out, STDOUT_FILENO);
        redirect(err, STDERR_FILENO);
        for (const int signal_no : {SIGINT, SIGTERM, SIGHUP}) {
            if (std::signal(signal_no, SIG_DFL) == SIG_ERR) _exit(99);
        }
        if (setenv("TARNEL_FAKE_RUN", fake_run.c_str(), 1) != 0) _exit(99);
        if (setenv("LD_LIBRARY_PATH", TARNEL_FAKE_FOLDER, 1) != 0) _exit(99);
        if (setenv("TERM", "xterm", 1) != 0) _exit(99);
        std::vector<char*> pointers;
        arguments.insert(arguments.begin(), TARNEL_COMMAND);
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        execv(TARNEL_COMMAND, pointers.data());
        _exit(99);
    }

    static int exit_status_of(pid_t pid)
    {
        int status = 0;
        while (waitpid(pid, &status, 0) < 0) {
            if (errno != EINTR) return -1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    outcome run(const std::string& fake_run, const std::vector<std::string>& arguments) const
    {
        outcome result;
        result.status = exit_status_of(start(fake_run, arguments, place / "out", place / "err"));
        result.out = text_of(place / "out");
        result.err = text_of(place / "err");
        return result;
    }

    outcome solve(const std::string& fake_run, std::vector<std::string> options = {}) const
    {
        options.insert(options.begin(), {"solve", model.string()});
        return run(fake_run, options);
    }

    void write_control(const std::string& line_4, const std::string& line_5) const
    {
        write_text(model / "at-cntl-data.txt",
                   "100 100 0 10 100 50 10\n1 1 0 0 0 0 0\n0 0.0\n" + line_4 + "\n" + line_5 + "\n0 0.0\n");
    }

    std::string log_path() const { return (model / "tarnel.log").string(); }

    fs::path place, model;
};

static void wait_for_file(const fs::path& file)
{
    while (!fs::exists(file)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// Returns when the process that locked the file is no more, whoever is its parent by then.
static void wait_for_unlock(const fs::path& file)
{
    const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(opened, 0);
    EXPECT_EQ(flock(opened, LOCK_EX), 0);
    close(opened);
}

TEST_F(solve_command, a_complete_run_is_told_in_plain_lines_and_a_summary)
{
    write_control("1 1", "500 1e-8 1.05");
    const outcome o = solve("complete");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, "");
    const std::string progress = "reading at-cntl-data.txt\n"
                                 "reading nodes\n"
                                 "reading t-volt-data1.tmp\n"
                                 "Note. Can't open t-volt-data1.tmp.\n"
                                 "numbering unknowns\n"
                                 "  42 unknowns\n"
                                 "solving the main system\n"
                                 "conjugate gradients\n"
                                 "  iteration 1, residual 5.00e-01\n"
                                 "  iteration 2, residual 2.50e-01\n"
                                 "  iteration 4, residual 6.25e-09\n"
                                 "writing nodal results\n"
                                 "writing element results\n"
                                 "The run is complete.\n"
                                 "  unknowns    42\n"
                                 "  solver      ICCG, 4 iterations, last residual 6.25e-09\n"
                                 "  elapsed     ";
    EXPECT_EQ(o.out.substr(0, progress.size()), progress);
    const std::string files = " s\n"
                              "  results     " +
                              (model / "at-node-resl.txt").string() +
                              "\n"
                              "              " +
                              (model / "at-nresl-struct.tmp").string() +
                              "\n"
                              "              " +
                              (model / "at-felm-resl.txt").string() +
                              "\n"
                              "              " +
                              (model / "at-eresl-struct.tmp").string() +
                              "\n"
                              "  log         " +
                              log_path() + "\n";
    EXPECT_TRUE(o.out.ends_with(files)) << o.out;
    EXPECT_FALSE(contains(o.out, "\033")) << "only a terminal gets control sequences";
}

TEST_F(solve_command, quiet_prints_nothing_on_success)
{
    write_control("1 1", "2 1e-8 1.05");
    for (const char* run : {"complete", "not_converged"}) {
        const outcome o = solve(run, {"--quiet"});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, "");
    }
}

TEST_F(solve_command, quiet_still_tells_a_failure)
{
    const outcome o = solve("missing_file", {"--quiet"});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_TRUE(contains(o.err, "  Error. Can't open at-cntl-data.txt.\n"));
}

TEST_F(solve_command, a_failed_run_gives_the_error_lines_of_its_log_unchanged)
{
    const outcome o = solve("bad_line");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "error: the run failed; its stage: numbering unknowns\n"
                     "      Error. integer parameter over the limit. ip = 2 \n"
                     "             at line : 7 99999\033[2J 1\n"
                     "log: " +
                         log_path() + "\n");
    EXPECT_FALSE(contains(o.out, "The run is complete."));
}

TEST_F(solve_command, a_file_that_cannot_be_opened_is_told)
{
    const outcome o = solve("missing_file");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "error: the run failed; its stage: reading at-cntl-data.txt\n"
                     "  Error. Can't open at-cntl-data.txt.\n"
                     "log: " +
                         log_path() + "\n");
}

TEST_F(solve_command, an_error_in_the_log_is_a_failure_whatever_follows)
{
    EXPECT_EQ(solve("error_then_end_line").status, 1);
}

TEST_F(solve_command, a_crash_is_a_failure_and_its_signal_is_told)
{
    const outcome o = solve("crash");
    EXPECT_EQ(o.status, 1);
    EXPECT_TRUE(contains(o.err, "error: the run failed; its stage: numbering unknowns\n"
                                "error: the log does not end with its end line; "
                                "the solver process was ended by signal 6 (Aborted)\n"
                                "last line of the log:       ndim(total no. of unknown) = 42 \n"
                                "log: " +
                                    log_path() + "\n"))
        << o.err;
}

TEST_F(solve_command, the_log_alone_decides_even_when_the_process_ends_badly_afterwards)
{
    const outcome o = solve("crash_after_the_end");
    EXPECT_EQ(o.status, 0);
    EXPECT_TRUE(contains(o.err, "warning: the run is complete, but afterwards the solver process was ended by signal 6 "
                                "(Aborted)\n"))
        << o.err;
    EXPECT_TRUE(contains(o.out, "The run is complete.\n"));
}

TEST_F(solve_command, an_end_line_that_is_not_the_last_does_not_count)
{
    const outcome o = solve("text_after_the_end");
    EXPECT_EQ(o.status, 1);
    EXPECT_TRUE(contains(o.err, "last line of the log:     === func. eat_calc_node_resl ===\n"));
}

TEST_F(solve_command, an_end_line_without_its_newline_does_not_count)
{
    EXPECT_EQ(solve("end_line_without_newline").status, 1);
}

TEST_F(solve_command, a_run_without_a_log_is_a_failure)
{
    const outcome o = solve("status_without_log");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "error: the run left no log " + log_path() + "; the solver process ended with exit status 3\n");
}

TEST_F(solve_command, what_the_library_prints_goes_to_standard_error)
{
    const outcome o = solve("prints_only");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, "  Error. Can't open tarnel.log.\n"
                     "error: the run left no log " +
                         log_path() + "; the solver process ended with exit status 0\n");
}

TEST_F(solve_command, the_log_of_an_earlier_run_is_never_taken_for_this_one)
{
    write_text(model / "tarnel.log", "    === The end. ===\n");
    const outcome o = solve("prints_only");
    EXPECT_EQ(o.status, 1);
    EXPECT_FALSE(fs::exists(model / "tarnel.log"));
}

TEST_F(solve_command, a_log_that_cannot_be_removed_is_said_and_nothing_runs)
{
    ASSERT_TRUE(fs::create_directories(model / "tarnel.log" / "inside"));
    const outcome o = solve("complete");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, "error: cannot remove the log of an earlier run, " + log_path() + ": Is a directory\n");
}

TEST_F(solve_command, a_solver_at_its_iteration_limit_is_warned_of)
{
    write_control("1 1", "3 1e-8 1.05");
    const outcome o = solve("not_converged");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, "warning: the main system is not converged: residual 1.25e-01 after 3 iterations, tolerance "
                     "1.00e-08 (iteration limit 3)\n");
}

TEST_F(solve_command, a_residual_must_be_strictly_below_the_tolerance)
{
    write_control("2 0", "3 0.125 1.05"); // the last residual is 0.125 exactly
    EXPECT_NE(solve("not_converged").err, "");
    write_control("2 0", "3 0.1250001 1.05");
    EXPECT_EQ(solve("not_converged").err, "");
}

TEST_F(solve_command, convergence_is_not_judged_without_an_iterative_solver_in_the_control_file)
{
    EXPECT_EQ(solve("not_converged").err, "");
    write_control("0 0", "0 0.0");
    EXPECT_EQ(solve("not_converged").err, "");
}

TEST_F(solve_command, a_solver_that_made_no_iteration_is_warned_of)
{
    write_control("1 1", "0 1e-8 1.05");
    const outcome o = solve("no_iterations");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err,
              "warning: no residual was reported for the main system (iteration limit 0); it is not converged\n");
}

TEST_F(solve_command, a_zero_right_hand_side_needs_no_iteration_and_is_told)
{
    write_control("1 1", "500 1e-8 1.05");
    const outcome o = solve("zero_right_side");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, "");
    EXPECT_TRUE(contains(o.out, "Warning. norm of right-side vector is zero.\n"));
}

TEST_F(solve_command, every_circuit_edge_is_judged_and_the_circuit_report_is_named)
{
    write_control("2 0", "3 0.25 1.0");
    const outcome o = solve("circuits");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, "warning: circuit edge 2 is not converged: residual 5.00e-01 after 3 iterations, tolerance "
                     "2.50e-01 (iteration limit 3)\n");
    EXPECT_TRUE(contains(o.out, "circuit edge 1\n"));
    EXPECT_TRUE(contains(o.out, "  solver      GS, 2 iterations, last residual 1.25e-01\n"
                                "  edges       2 circuit edges solved\n"));
    EXPECT_TRUE(contains(o.out, "  results     " + (model / "t-voltr-result.txt").string() + "\n"));
}

TEST_F(solve_command, directories_with_blanks_and_other_scripts_work)
{
    model = place / "Läufer 1 – 磁石";
    ASSERT_TRUE(fs::create_directory(model));
    const outcome o = solve("complete");
    EXPECT_EQ(o.status, 0);
    EXPECT_TRUE(fs::exists(model / "tarnel.log"));
    EXPECT_TRUE(contains(o.out, "  log         " + log_path() + "\n"));
}

TEST_F(solve_command, a_relative_directory_is_meant_from_where_the_user_stands)
{
    const fs::path before = fs::current_path();
    fs::current_path(place);
    const outcome o = run("complete", {"solve", "model"});
    fs::current_path(before);
    EXPECT_EQ(o.status, 0);
    EXPECT_TRUE(fs::exists(model / "tarnel.log"));
}

TEST_F(solve_command, the_library_never_reads_the_users_input)
{
    EXPECT_EQ(solve("reads_standard_input").status, 0);
}

TEST_F(solve_command, a_caller_may_have_closed_the_standard_streams)
{
    const pid_t pid = fork();
    if (pid == 0) {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(stream);
        become_command("complete", {"solve", model.string()}, "", "");
    }
    EXPECT_EQ(exit_status_of(pid), 0);
    EXPECT_TRUE(text_of(model / "tarnel.log").ends_with("    === The end. ===\n"));
}

TEST_F(solve_command, misuse_ends_with_2_and_runs_nothing)
{
    const std::string dir = model.string();
    write_text(place / "file", "");
    const std::vector<std::vector<std::string>> misuses = {
        {},
        {"solve"},
        {"--no-such-option"},
        {"solve", dir, "--no-such-option"},
        {"solve", dir, dir},
        {"no-such-command"},
        {"solve", ""},
        {"solve", (place / "nowhere").string()},
        {"solve", (place / "file").string()},
    };
    for (const std::vector<std::string>& arguments : misuses) {
        const outcome o = run("complete", arguments);
        EXPECT_EQ(o.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(o.out, "") << testing::PrintToString(arguments);
        EXPECT_NE(o.err, "") << testing::PrintToString(arguments);
    }
    EXPECT_TRUE(fs::is_empty(model));
}

TEST_F(solve_command, a_directory_that_is_none_is_named)
{
    write_text(place / "file", "");
    const std::string file = (place / "file").string();
    EXPECT_EQ(run("complete", {"solve", file}).err, "error: " + file + ": Not a directory\n");
}

TEST_F(solve_command, help_and_version_are_no_misuse)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--help"}, std::vector<std::string>{"solve", "--help"}}) {
        const outcome o = run("complete", arguments);
        EXPECT_EQ(o.status, 0);
        EXPECT_TRUE(contains(o.out, "Exit status:"));
        EXPECT_EQ(o.err, "");
    }
    EXPECT_TRUE(contains(run("complete", {"--help"}).out, "solve"));
    const outcome version = run("complete", {"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.out.starts_with("tarnel ")) << version.out;
}

TEST_F(solve_command, output_that_cannot_be_written_is_a_failure)
{
    const pid_t pid = start("complete", {"solve", model.string()}, "/dev/full", place / "err");
    EXPECT_EQ(exit_status_of(pid), 1);
    EXPECT_EQ(text_of(place / "err"), "error: cannot write standard output\n");
}

TEST_F(solve_command, an_interrupt_ends_the_child_and_then_the_command)
{
    const std::array<int, 3> signals{SIGINT, SIGTERM, SIGHUP};
    for (const int signal_no : signals) {
        const pid_t pid = start("sleeps", {"solve", model.string()}, place / "out", place / "err");
        wait_for_file(model / "started");
        ASSERT_EQ(kill(pid, signal_no), 0); // the command alone, not its child
        EXPECT_EQ(exit_status_of(pid), 128 + signal_no);
        // The command has waited for its child: the lock is free at once.
        const int alive = open((model / "alive").c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(flock(alive, LOCK_EX | LOCK_NB), 0);
        close(alive);
        EXPECT_EQ(text_of(place / "err"), std::string("interrupted: ") + strsignal(signal_no) + "\n");
        EXPECT_FALSE(contains(text_of(place / "out"), "The run is complete."));
        fs::remove(model / "started");
    }
}

TEST_F(solve_command, the_child_does_not_survive_a_killed_command)
{
    const pid_t pid = start("sleeps", {"solve", model.string()}, place / "out", place / "err");
    wait_for_file(model / "started");
    ASSERT_EQ(kill(pid, SIGKILL), 0);
    EXPECT_EQ(exit_status_of(pid), -1);
    wait_for_unlock(model / "alive");
}

// The command on a terminal of its own; everything it shows there.
struct terminal_session {
    pid_t pid = -1;
    int terminal = -1;
    std::string shown;

    // Reads until the text has been shown or the command is gone.
    void read_until(const std::string& text)
    {
        std::array<char, 1024> piece{};
        while (text.empty() || !contains(shown, text)) {
            const ssize_t size = read(terminal, piece.data(), piece.size());
            if (size <= 0) break; // the far side is closed
            shown.append(piece.data(), static_cast<std::size_t>(size));
        }
    }
};

class solve_on_terminal : public solve_command
{
protected:
    terminal_session session;

    void open_session(const std::string& fake_run, unsigned short columns)
    {
        winsize size{};
        size.ws_row = 24;
        size.ws_col = columns;
        session.pid = forkpty(&session.terminal, nullptr, nullptr, &size);
        ASSERT_GE(session.pid, 0);
        if (session.pid == 0) become_command(fake_run, {"solve", model.string()}, "", "");
    }

    int end_session()
    {
        session.read_until("");
        close(session.terminal);
        return exit_status_of(session.pid);
    }
};

TEST_F(solve_on_terminal, one_line_tells_stage_iteration_and_residual_while_the_solver_works)
{
    write_control("1 1", "500 1e-8 1.05");
    open_session("waits_in_solver", 120);
    session.read_until("conjugate gradients: iteration 3 of at most 500, residual 1.25e-01 (goal 1.00e-08)");
    EXPECT_TRUE(contains(session.shown, "\r\033[K")) << session.shown;
    EXPECT_FALSE(contains(session.shown, "reading nodes\r\n")) << "stages must not scroll";
    EXPECT_TRUE(contains(session.shown, "Note. Can't open t-volt-data1.tmp.\r\n"));
    write_text(model / "go-on", "");
    EXPECT_EQ(end_session(), 0);
    EXPECT_TRUE(contains(session.shown, "\r\033[KThe run is complete.\r\n") ||
                contains(session.shown, "\r\033[Kwarning: "))
        << session.shown;
    EXPECT_TRUE(contains(session.shown, "  unknowns    42\r\n"));
}

TEST_F(solve_on_terminal, the_live_line_never_reaches_the_last_column)
{
    write_control("1 1", "500 1e-8 1.05");
    open_session("waits_in_solver", 30);
    session.read_until("conjugate grad");
    write_text(model / "go-on", "");
    EXPECT_EQ(end_session(), 0);
    std::size_t drawn = 0;
    const std::string erase = "\r\033[K";
    for (std::size_t at = session.shown.find(erase); at != std::string::npos; at = session.shown.find(erase, at + 1)) {
        const std::size_t first = at + erase.size();
        const std::size_t last = session.shown.find_first_of("\r\n", first);
        if (last == std::string::npos || session.shown.compare(last, erase.size(), erase) != 0) continue;
        EXPECT_LE(last - first, 29U) << session.shown.substr(first, last - first);
        ++drawn;
    }
    EXPECT_GT(drawn, 0U);
}

TEST_F(solve_on_terminal, control_characters_of_an_echoed_input_line_do_not_reach_the_terminal)
{
    open_session("bad_line", 120);
    EXPECT_EQ(end_session(), 1);
    EXPECT_TRUE(contains(session.shown, "             at line : 7 99999?[2J 1\r\n")) << session.shown;
}

TEST_F(solve_on_terminal, the_interrupt_key_ends_child_and_command)
{
    open_session("sleeps", 120);
    wait_for_file(model / "started");
    ASSERT_EQ(write(session.terminal, "\003", 1), 1);
    EXPECT_EQ(end_session(), 128 + SIGINT);
    wait_for_unlock(model / "alive");
    EXPECT_TRUE(contains(session.shown, "interrupted: Interrupt\r\n")) << session.shown;
}
