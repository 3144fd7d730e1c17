// The child is forked, not executed: it needs nothing but the library that is loaded already. The kernel kills it when
// the parent dies in whatever way; on an interrupt the parent kills it. There is nothing to clean up in a run that is
// broken off: its log is written line by line, and its unfinished result files are worth nothing.
#include "solve/child_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <system_error>

static int checked(int result, const char* call)
{
    if (result < 0) throw std::system_error(errno, std::generic_category(), call);
    return result;
}

static bool is_ignored(int signal_no)
{
    struct sigaction action {
    };
    checked(sigaction(signal_no, nullptr, &action), "sigaction");
    return action.sa_handler == SIG_IGN;
}

held_signals::held_signals()
{
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int signal_no : {SIGINT, SIGTERM, SIGHUP}) {
        if (!is_ignored(signal_no)) sigaddset(&wanted, signal_no);
    }
    // With SIGCHLD ignored the status of a child would be lost.
    if (is_ignored(SIGCHLD) && std::signal(SIGCHLD, SIG_DFL) == SIG_ERR) checked(-1, "signal");
    sigaddset(&wanted, SIGCHLD);
    events_ = owned_descriptor(checked(signalfd(-1, &wanted, SFD_NONBLOCK | SFD_CLOEXEC), "signalfd"));
    checked(sigprocmask(SIG_BLOCK, &wanted, &mask_before_), "sigprocmask");
}

held_signals::~held_signals()
{
    sigprocmask(SIG_SETMASK, &mask_before_, nullptr);
}

// The child between fork and entry(): only calls that are safe there. A failure is said in the pipe, where the parent
// takes it for an error of the run.
[[noreturn]] static void run_in_child(int (*entry)(), int directory, int output, pid_t parent,
                                      const sigset_t& mask) noexcept
{
    const auto need = [](bool done, const char* call) {
        if (done) return;
        std::fprintf(stderr, "error: cannot prepare the solver process: %s: %s\n", call, std::strerror(errno));
        _exit(EXIT_FAILURE);
    };
    need(dup2(output, STDOUT_FILENO) >= 0, "dup2");
    need(dup2(output, STDERR_FILENO) >= 0, "dup2");
    need(prctl(PR_SET_PDEATHSIG, SIGKILL) == 0, "prctl");
    if (getppid() != parent) _exit(EXIT_FAILURE); // the parent died before the kernel was told
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    need(nothing >= 0 && dup2(nothing, STDIN_FILENO) >= 0, "/dev/null");
    need(fchdir(directory) == 0, "fchdir");
    need(sigprocmask(SIG_SETMASK, &mask, nullptr) == 0, "sigprocmask");
    std::exit(entry());
}

child_process::child_process(int (*entry)(), int directory, const held_signals& signals)
    : signal_events_(signals.events())
{
    std::array<int, 2> pipe_ends{};
    checked(pipe2(pipe_ends.data(), O_CLOEXEC), "pipe");
    output_ = owned_descriptor(pipe_ends[0]);
    const owned_descriptor child_end(pipe_ends[1]);
    checked(fcntl(output_.get(), F_SETFL, O_NONBLOCK), "fcntl");
    // Text still in the buffers would be printed by both processes.
    if (std::fflush(nullptr) != 0) checked(-1, "flush");
    const pid_t parent = getpid();
    pid_ = checked(fork(), "fork");
    if (pid_ == 0) run_in_child(entry, directory, child_end.get(), parent, signals.mask_before());
}

// Ends the child and waits for its death; the number of a child that has been waited for may be another process's.
static int kill_and_wait(pid_t pid)
{
    kill(pid, SIGKILL);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

child_process::~child_process()
{
    end_now();
}

std::optional<int> child_process::ended()
{
    if (status_) return status_;
    int status = 0;
    if (checked(waitpid(pid_, &status, WNOHANG), "waitpid") == pid_) status_ = status;
    return status_;
}

std::string child_process::take_output()
{
    std::string text;
    std::array<char, 4096> piece{};
    while (output_) {
        const ssize_t size = read(output_.get(), piece.data(), piece.size());
        if (size > 0) {
            text.append(piece.data(), static_cast<std::size_t>(size));
        } else if (size == 0) {
            output_ = owned_descriptor();
        } else if (errno == EAGAIN) {
            break;
        } else if (errno != EINTR) {
            checked(-1, "read");
        }
    }
    return text;
}

int child_process::wait_for_news(int milliseconds)
{
    // poll passes over a negative descriptor, so a child that has closed its output costs no turns.
    std::array<pollfd, 2> watched{{{signal_events_, POLLIN, 0}, {output_.get(), POLLIN, 0}}};
    if (poll(watched.data(), watched.size(), milliseconds) < 0 && errno != EINTR) checked(-1, "poll");
    signalfd_siginfo event{};
    while (read(signal_events_, &event, sizeof event) == static_cast<ssize_t>(sizeof event)) {
        if (event.ssi_signo != SIGCHLD) return static_cast<int>(event.ssi_signo);
    }
    if (errno != EAGAIN && errno != EINTR) checked(-1, "read");
    return 0;
}

void child_process::end_now()
{
    if (!status_) status_ = kill_and_wait(pid_);
}

std::string describe_status(int status)
{
    if (WIFSIGNALED(status)) {
        const int signal_no = WTERMSIG(status);
        return "was ended by signal " + std::to_string(signal_no) + " (" + strsignal(signal_no) + ")";
    }
    return "ended with exit status " + std::to_string(WEXITSTATUS(status));
}
