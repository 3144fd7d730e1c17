// One function run in a process of its own, which never outlives the process that started it.
#pragma once

#include "solve/descriptor.h"

#include <csignal>
#include <optional>
#include <string>
#include <sys/types.h>

// The signals that ask for an end (interrupt, terminate, hang-up) and the news that a child has ended, held back and
// read from a descriptor, so that they arrive between two steps and never inside one. They are free again when this
// goes. A signal that was ignored when this process started, as under nohup, stays ignored.
class held_signals
{
public:
    held_signals(); // throws std::system_error
    held_signals(const held_signals&) = delete;
    held_signals& operator=(const held_signals&) = delete;
    ~held_signals();

    int events() const { return events_.get(); }
    const sigset_t& mask_before() const { return mask_before_; }

private:
    owned_descriptor events_;
    sigset_t mask_before_{};
};

class child_process
{
public:
    // Runs entry() with the open directory as working directory, no standard input, and both output streams in a pipe.
    // What entry() returns becomes the exit status.
    //   errors  std::system_error
    child_process(int (*entry)(), int directory, const held_signals& signals);
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;
    ~child_process(); // ends a child that is still running

    // The status of waitpid once the child has ended.
    std::optional<int> ended();
    // Everything the child has printed since the last call, without waiting for more.
    std::string take_output();
    // Waits for output, for a signal or for the given time; the signal that asks for an end, else 0.
    int wait_for_news(int milliseconds);
    // Kills the child if it still runs, and waits for its death.
    void end_now();

private:
    pid_t pid_ = -1;
    int signal_events_ = -1;
    std::optional<int> status_;
    owned_descriptor output_;
};

// "was ended by signal 6 (Aborted)" or "ended with exit status 3".
std::string describe_status(int status);
