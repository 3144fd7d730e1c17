// The child process alone, with functions of this test in place of the library.
#include "solve/child_process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

static owned_descriptor here()
{
    return owned_descriptor(open(".", O_PATH | O_DIRECTORY));
}

static int wait_for_end(child_process& child)
{
    while (!child.ended()) child.wait_for_news(50);
    return *child.ended();
}

TEST(child_process, what_the_function_returns_is_the_exit_status)
{
    const held_signals signals;
    const owned_descriptor directory = here();
    child_process child([] { return 5; }, directory.get(), signals);
    const int status = wait_for_end(child);
    EXPECT_EQ(describe_status(status), "ended with exit status 5");
}

TEST(child_process, both_output_streams_are_taken_after_the_end_too)
{
    const held_signals signals;
    const owned_descriptor directory = here();
    child_process child(
        [] {
            std::fputs("to output", stdout);
            std::fflush(stdout);
            std::fputs(", to error", stderr);
            return 0;
        },
        directory.get(), signals);
    EXPECT_EQ(wait_for_end(child), 0);
    EXPECT_EQ(child.take_output(), "to output, to error");
    EXPECT_EQ(child.take_output(), "");
}

TEST(child_process, an_end_by_a_signal_is_told)
{
    const held_signals signals;
    const owned_descriptor directory = here();
    child_process child([] { return raise(SIGKILL); }, directory.get(), signals);
    EXPECT_EQ(describe_status(wait_for_end(child)), "was ended by signal 9 (Killed)");
}

TEST(child_process, a_directory_that_cannot_be_entered_is_said_and_nothing_runs)
{
    const held_signals signals;
    const owned_descriptor no_directory(open("/dev/null", O_RDONLY));
    child_process child([] { return 0; }, no_directory.get(), signals);
    EXPECT_EQ(describe_status(wait_for_end(child)), "ended with exit status 1");
    EXPECT_EQ(child.take_output(), "error: cannot prepare the solver process: fchdir: Not a directory\n");
}

TEST(child_process, the_child_has_the_signals_free_that_the_parent_holds)
{
    const held_signals signals;
    const owned_descriptor directory = here();
    child_process child(
        [] {
            sigset_t held;
            if (sigprocmask(SIG_SETMASK, nullptr, &held) != 0) return 2;
            return sigismember(&held, SIGUSR2) + 2 * sigismember(&held, SIGCHLD);
        },
        directory.get(), signals);
    EXPECT_EQ(wait_for_end(child), 0);
}

TEST(child_process, an_owner_that_goes_takes_the_running_child_with_it)
{
    const held_signals signals;
    const owned_descriptor directory = here();
    {
        const child_process child([] { return pause(); }, directory.get(), signals);
    }
    // No child is left, running or to be waited for.
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(child_process, a_held_signal_is_returned_while_waiting)
{
    const held_signals signals;
    const owned_descriptor directory = here();
    child_process child([] { return pause(); }, directory.get(), signals);
    ASSERT_EQ(raise(SIGINT), 0);
    int signal_no = 0;
    while (signal_no == 0) signal_no = child.wait_for_news(50);
    EXPECT_EQ(signal_no, SIGINT);
    child.end_now();
    EXPECT_EQ(describe_status(*child.ended()), "was ended by signal 9 (Killed)");
}

TEST(child_process, a_signal_ignored_from_outside_stays_ignored)
{
    ASSERT_NE(std::signal(SIGHUP, SIG_IGN), SIG_ERR);
    const held_signals signals;
    sigset_t held;
    ASSERT_EQ(sigprocmask(SIG_SETMASK, nullptr, &held), 0);
    EXPECT_EQ(sigismember(&held, SIGHUP), 0);
    EXPECT_EQ(sigismember(&held, SIGTERM), 1);
    ASSERT_NE(std::signal(SIGHUP, SIG_DFL), SIG_ERR);
}
