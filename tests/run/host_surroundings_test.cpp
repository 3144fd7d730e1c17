// Where and beside what a host calls the library: its standard output, signals, threads, processes and directories.
#include "run/host.h"

#include <tarnel.h>

#include <atomic>
#include <cfenv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tarnel_test;

namespace
{

const std::string no_log = "  Error. Can't open tarnel.log.\n";

// A pipe that takes no byte more and does not wait for its reader.
void fill_standard_output()
{
    int ends[2];
    if (pipe(ends) != 0 || fcntl(ends[1], F_SETFL, O_NONBLOCK) != 0) _exit(121);
    const std::string block(4096, 'x');
    while (write(ends[1], block.data(), block.size()) > 0) {
    }
    if (dup2(ends[1], STDOUT_FILENO) < 0) _exit(121);
}

void make_log_impossible()
{
    std::filesystem::remove("tarnel.log");
    std::filesystem::create_directory("tarnel.log");
}

std::vector<std::string> names_in(const std::filesystem::path& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

void copy_inputs_to(const std::filesystem::path& directory)
{
    for (const std::string& name : names_in("."))
        if (std::filesystem::is_regular_file(name)) std::filesystem::copy(name, directory / name);
}

// Calls the library on a thread of its own with a stack of so many bytes.
int call_on_thread(std::size_t stack)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (pthread_attr_setstacksize(&attributes, stack) != 0) return -1;
    int value = -1;
    pthread_t thread{};
    const auto body = [](void* to) -> void* {
        *static_cast<int*>(to) = main_tarnel_n1();
        return nullptr;
    };
    if (pthread_create(&thread, &attributes, body, &value) != 0) return -1;
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return value;
}

volatile std::sig_atomic_t alarms = 0;

} // namespace

TEST_F(host, a_closed_standard_output_does_not_reach_a_run)
{
    expect_results_of(run_library([] { close(STDOUT_FILENO); }));
}

TEST_F(host, a_full_standard_output_that_does_not_wait_does_not_reach_a_run)
{
    expect_results_of(run_library(fill_standard_output));
}

TEST_F(host, without_log_and_standard_output_a_run_ends_the_process_all_the_same)
{
    make_log_impossible();
    expect_ended(run_library([] { close(STDOUT_FILENO); }));
    expect_ended(run_library([] { std::fclose(stdout); }));
    expect_ended(run_library(fill_standard_output));
    expect_ended(run_library(), no_log); // the same with a standard output
}

TEST_F(host, without_the_three_standard_streams_a_run_leaves_the_same_files)
{
    // The log and the first files then have the numbers 0, 1 and 2.
    expect_results_of(run_library([] {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(stream);
    }));
}

TEST_F(host, a_failed_run_calls_no_terminate_handler_and_passes_no_exception_to_its_host)
{
    std::filesystem::remove("at-prop-data.txt");
    const process_outcome run = run_in_child([] {
        std::set_terminate([] { _exit(33); });
        try {
            return main_tarnel_n1();
        } catch (...) {
            _exit(34);
        }
    });
    expect_ended(run);
    EXPECT_TRUE(run.log.ends_with(cannot_open("at-prop-data.txt")));
}

TEST_F(host, a_run_inside_an_exception_handler_leaves_the_exception_to_the_host)
{
    const process_outcome run = run_in_child([] {
        try {
            throw std::runtime_error("of the host");
        } catch (const std::runtime_error&) {
            const int value = main_tarnel_n1();
            try {
                throw; // still the one being handled
            } catch (const std::runtime_error& same) {
                return std::strcmp(same.what(), "of the host") == 0 ? value : 1;
            }
        }
    });
    expect_results_of(run);
}

TEST_F(host, signal_handlers_and_mask_are_as_they_were)
{
    const process_outcome run = run_in_child([] {
        struct sigaction ours {
        };
        ours.sa_handler = [](int) {};
        sigset_t mask, after;
        sigemptyset(&mask);
        for (const int number : {SIGINT, SIGTERM, SIGFPE, SIGSEGV, SIGPIPE, SIGHUP, SIGUSR1, SIGABRT, SIGXFSZ}) {
            sigaction(number, &ours, nullptr);
            sigaddset(&mask, number);
        }
        sigdelset(&mask, SIGFPE); // not to be held back
        sigdelset(&mask, SIGSEGV);
        sigprocmask(SIG_SETMASK, &mask, nullptr);
        if (main_tarnel_n1() != 0) return 1;
        sigprocmask(SIG_SETMASK, nullptr, &after);
        for (int number = 1; number < 32; ++number) {
            struct sigaction now {
            };
            sigaction(number, nullptr, &now);
            const bool set = sigismember(&mask, number) == 1 || number == SIGFPE || number == SIGSEGV;
            if (set && now.sa_handler != ours.sa_handler) return 2;
            if (sigismember(&after, number) != sigismember(&mask, number)) return 3;
        }
        return 0;
    });
    expect_results_of(run);
}

TEST_F(host, signals_that_arrive_during_a_run_do_not_reach_it)
{
    const process_outcome run = run_in_child([] {
        struct sigaction ours {
        };
        ours.sa_handler = [](int) { alarms = alarms + 1; }; // without SA_RESTART: calls are broken off
        sigaction(SIGALRM, &ours, nullptr);
        const itimerval often = {{0, 50}, {0, 50}}, never = {};
        setitimer(ITIMER_REAL, &often, nullptr);
        int value = 0;
        for (int k = 0; k < 1000 && value == 0 && (alarms < 100 || k < 5); ++k) value = main_tarnel_n1();
        setitimer(ITIMER_REAL, &never, nullptr);
        return alarms > 0 ? value : 1;
    });
    expect_results_of(run);
}

TEST_F(host, a_thread_with_a_small_stack_gets_the_same_files_beside_busy_threads_of_other_rounding)
{
    const process_outcome run = run_in_child([] {
        std::atomic<bool> over = false;
        std::atomic<int> faults = 0;
        const auto other = [&] {
            std::fesetround(FE_DOWNWARD);
            volatile double one = 1.0, three = 3.0;
            const double third = one / three;
            while (!over) {
                void* block = std::malloc(static_cast<std::size_t>(1000 * three));
                if (block == nullptr || one / three != third || std::fegetround() != FE_DOWNWARD) ++faults;
                std::free(block);
            }
        };
        std::thread first(other), second(other);
        int value = 0;
        for (int k = 0; k < 5 && value == 0; ++k) value = call_on_thread(std::size_t{256} * 1024);
        over = true;
        first.join();
        second.join();
        return faults == 0 ? value : 1;
    });
    expect_results_of(run);
}

TEST_F(host, a_failed_run_on_a_second_thread_ends_the_process_with_status_zero)
{
    std::filesystem::remove("t-node-data.txt");
    const process_outcome run = run_in_child([] {
        std::atexit([] { write_file("at-exit.txt", "was here"); });
        std::thread([] { main_tarnel_n1(); }).join();
        return 0;
    });
    expect_ended(run);
    EXPECT_EQ(read_file("at-exit.txt"), "was here");
    EXPECT_TRUE(run.log.ends_with(cannot_open("t-node-data.txt")));
}

TEST_F(host, two_processes_at_once_in_two_directories_do_not_meet)
{
    const std::filesystem::path here = std::filesystem::current_path();
    std::filesystem::create_directory("other");
    std::filesystem::current_path(here / "other");
    write_model(plate(20, 15, 0));
    expect_complete(run_library());
    const file_contents wanted_there = files_of_run();
    std::filesystem::current_path(here);
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    pid_t children[2];
    for (int k = 0; k < 2; ++k) {
        children[k] = fork();
        if (children[k] == 0) {
            char now;
            close(start[1]);
            if (k == 1 && chdir("other") != 0) _exit(1);
            if (read(start[0], &now, 1) != 0) _exit(2); // both start when the writing end closes
            for (int times = 0; times < 20; ++times)
                if (main_tarnel_n1() != 0) _exit(3);
            _exit(0);
        }
    }
    close(start[0]);
    close(start[1]);
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    expect_same(files_of_run(), wanted);
    EXPECT_EQ(plain(read_file("tarnel.log")), log_of_model());
    std::filesystem::current_path(here / "other");
    expect_same(files_of_run(), wanted_there);
    std::filesystem::current_path(here);
}

TEST_F(host, a_path_with_blanks_and_other_characters_is_as_good_as_any)
{
    const std::string names[] = {"with  blanks ",
                                 "Gr\xc3\xb6\xc3\x9f"
                                 "e \xe7\xa3\x81\xe5\xa0\xb4",
                                 "not utf-8 \xff\xfe", "%d %s %n", "line\nend \"quoted\" 'too'"};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        work_directory elsewhere;
        std::filesystem::create_directory(name);
        std::filesystem::current_path(directory.path());
        copy_inputs_to(elsewhere.path() / name);
        std::filesystem::current_path(elsewhere.path() / name);
        expect_results_of(run_library());
    }
}

TEST_F(host, a_path_longer_than_the_system_takes_at_once_is_as_good_as_any)
{
    const std::filesystem::path here = std::filesystem::current_path();
    std::vector<std::string> names = names_in(".");
    names.insert(names.end(), files_of_analysis.begin(), files_of_analysis.end());
    const process_outcome run = run_in_child([&] {
        const std::string step(250, 'd');
        for (int depth = 0; depth < 20; ++depth)
            if (mkdir(step.c_str(), 0700) != 0 || chdir(step.c_str()) != 0) return -1;
        for (const std::string& name : names) // through links, so that the results are found again
            if (symlink((here / name).c_str(), name.c_str()) != 0) return -1;
        return main_tarnel_n1();
    });
    expect_results_of(run);
}

TEST_F(host, a_directory_that_must_not_be_written_to_is_reported)
{
    const auto as_somebody_in_read_only_directory = [] {
        if (chmod(".", 0555) != 0) _exit(121);
        if (getuid() != 0) return;
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(121); // root may write anywhere
        prctl(PR_SET_DUMPABLE, 1);                                // or the leak sanitizer could not look
    };
    std::filesystem::permissions("tarnel.log", std::filesystem::perms::all);
    std::filesystem::remove("t-lcs-struct.tmp");
    const process_outcome with_old_log = run_library(as_somebody_in_read_only_directory);
    expect_ended(with_old_log); // an old log may be written over, the first work file cannot be made
    EXPECT_TRUE(with_old_log.log.ends_with(announced("t_rd_lcs_data") + cannot_open("t-lcs-struct.tmp")));

    chmod(".", 0700);
    std::filesystem::remove("tarnel.log");
    expect_ended(run_library(as_somebody_in_read_only_directory), no_log);
    chmod(".", 0700);
    EXPECT_FALSE(std::filesystem::exists("tarnel.log"));
}

TEST_F(host, a_working_directory_that_is_gone_is_reported)
{
    std::filesystem::create_directory("gone");
    std::filesystem::remove("tarnel.log");
    expect_ended(run_library([] {
                     if (chdir("gone") != 0 || rmdir("../gone") != 0) _exit(121);
                 }),
                 no_log);
}

TEST_F(host, a_working_directory_that_goes_between_two_runs_is_reported)
{
    std::filesystem::create_directory("gone");
    copy_inputs_to("gone");
    const std::filesystem::path here = std::filesystem::current_path();
    std::filesystem::remove("tarnel.log");
    const process_outcome run = run_in_child([&here] {
        if (chdir("gone") != 0 || main_tarnel_n1() != 0) return -1;
        std::filesystem::remove_all(here / "gone");
        return main_tarnel_n1();
    });
    expect_ended(run, no_log);
    EXPECT_FALSE(std::filesystem::exists("gone"));
}

TEST_F(host, a_working_directory_that_goes_during_a_run_ends_the_run)
{
    // The run waits for its nodes; when they come, the next file to be opened is not there.
    const std::filesystem::path here = std::filesystem::current_path();
    const std::string nodes = read_file("t-node-data.txt");
    std::filesystem::create_directory("gone");
    copy_inputs_to("gone");
    std::filesystem::remove("gone/t-node-data.txt");
    std::filesystem::remove("tarnel.log");
    ASSERT_EQ(mkfifo("gone/t-node-data.txt", 0600), 0);
    ASSERT_EQ(link("gone/t-node-data.txt", "pipe"), 0);
    const pid_t remover = fork();
    if (remover == 0) {
        std::ofstream pipe(here / "pipe", std::ios::binary); // waits for the run
        while (!read_file(here / "gone/tarnel.log").ends_with("        Now, reading t-node-data.txt. \n"))
            std::this_thread::yield();
        std::filesystem::rename(here / "gone/tarnel.log", here / "kept.log");
        std::filesystem::remove_all(here / "gone");
        pipe << nodes;
        pipe.close();
        _exit(0);
    }
    const process_outcome run = run_library([] {
        if (chdir("gone") != 0) _exit(121);
    });
    ASSERT_EQ(waitpid(remover, nullptr, 0), remover);
    expect_ended(run);
    EXPECT_TRUE(read_file("kept.log").ends_with(announced("t_rd_felm_data") + cannot_open("t-felm-data.txt")));
    EXPECT_FALSE(std::filesystem::exists("gone"));
}
