// The log is written line by line, so a named pipe in its place hands over each line at the moment it is written: the
// run is watched from the inside without a change to the library.
#include "support/measured_run.h"

#include "common/records.h"
#include "support/machine.h"

#include <tarnel.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarnel_bench
{

using moment = std::chrono::steady_clock::time_point;

static double seconds_since(moment start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

[[noreturn]] static void refuse(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

class descriptor
{
public:
    descriptor(const std::filesystem::path& path, int flags) : number_(open(path.c_str(), flags | O_CLOEXEC))
    {
        if (number_ < 0) refuse("can't open " + path.string());
    }
    ~descriptor() { close(); }
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;
    int number() const { return number_; }
    void close()
    {
        if (number_ >= 0) ::close(std::exchange(number_, -1));
    }

private:
    int number_;
};

// A named pipe that leaves no trace: a later run must not wait at it for a reader.
class named_pipe
{
public:
    explicit named_pipe(std::filesystem::path path) : path_(std::move(path))
    {
        std::filesystem::remove(path_);
        if (mkfifo(path_.c_str(), 0600) != 0) refuse("can't make " + path_.string());
    }
    ~named_pipe() { remove(); }
    named_pipe(const named_pipe&) = delete;
    named_pipe& operator=(const named_pipe&) = delete;
    void remove()
    {
        if (!path_.empty()) unlink(path_.c_str());
        path_.clear();
    }

private:
    std::filesystem::path path_;
};

// The run and who stamps its lines share one processor, as a process's own clock is exact only where it has just
// stopped; and who stamps comes first there, if the system lets it.
class stamping_first
{
public:
    stamping_first()
    {
        if (sched_getaffinity(0, sizeof before_, &before_) != 0) refuse("can't see the processors");
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
        if (sched_setaffinity(0, sizeof one, &one) != 0) refuse("can't keep to a processor");
    }
    // Not for a process that is forked later.
    void come_first()
    {
        const sched_param least = {sched_get_priority_min(SCHED_FIFO)};
        sched_setscheduler(0, SCHED_FIFO, &least);
    }
    ~stamping_first()
    {
        const sched_param none = {0};
        sched_setscheduler(0, SCHED_OTHER, &none);
        sched_setaffinity(0, sizeof before_, &before_);
    }
    stamping_first(const stamping_first&) = delete;
    stamping_first& operator=(const stamping_first&) = delete;

private:
    cpu_set_t before_;
};

constexpr std::string_view last_begins = "the last call begins\n";
constexpr double patience_of_a_run = 20, patience_of_all = 120; // s

// The child holds the pipe open for writing from its start to its end, whatever the library does. It must not hold the
// reader's end: without a reader its next line ends it, so that a run does not outlive an interrupted benchmark.
static pid_t start_run(const std::filesystem::path& directory, int calls, double patience, descriptor& reading,
                       const descriptor& writing)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) refuse("can't start a process");
    if (child > 0) return child;
    reading.close();
    if (chdir(directory.c_str()) != 0) _exit(120);
    for (int call = 1; call < calls; ++call) main_tarnel_n1();
    await_calm(patience);
    if (write(writing.number(), last_begins.data(), last_begins.size()) < 0) _exit(121);
    main_tarnel_n1();
    std::fflush(nullptr);
    _exit(0);
}

// What a process that has not been waited for has used so far.
static double cpu_seconds_of(pid_t process)
{
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &used) != 0) refuse("can't see a run's time");
    return static_cast<double>(used.tv_sec) + 1e-9 * static_cast<double>(used.tv_nsec);
}

// When the last call began, in seconds of both clocks, and how long it had waited for a calm moment.
struct call_start {
    double seconds = 0, cpu_seconds = 0, waited = 0;
};

// Keeps the lines of the last call.
static call_start stamp_lines(int from, pid_t process, moment start, named_pipe& pipe, std::vector<stamped_line>& log)
{
    char buffer[65536];
    std::string begun; // a line whose end has not come yet
    call_start begin;
    bool last = false;
    for (;;) {
        const ssize_t got = read(from, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) refuse("can't read the log");
        if (got == 0) break;
        const double now = seconds_since(start), used = cpu_seconds_of(process);
        if (last) pipe.remove(); // the library has it open
        for (ssize_t k = 0; k < got; ++k) {
            begun += buffer[k];
            if (buffer[k] != '\n') continue;
            log.push_back({now - begin.seconds, used - begin.cpu_seconds, std::move(begun)});
            begun.clear();
            if (log.back().text != last_begins) continue;
            last = true;
            begin = {now, used, now - (log.size() > 1 ? log[log.size() - 2].seconds : 0.0)};
            log.clear();
        }
    }
    if (!begun.empty())
        log.push_back({seconds_since(start) - begin.seconds, cpu_seconds_of(process) - begin.cpu_seconds, begun});
    return begin;
}

static void save_log(const std::filesystem::path& path, const std::vector<stamped_line>& log)
{
    std::ofstream out(path, std::ios::binary);
    for (const stamped_line& line : log) out << line.text;
    out.close();
    if (!out) throw std::runtime_error("can't write " + path.string());
}

static double seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

measured_run run_measured(const std::filesystem::path& directory, int calls)
{
    static double patience = patience_of_all; // left to this process
    const std::filesystem::path log_path = directory / tarnel::log_file;
    measured_run run;
    int status = 0;
    rusage used{};
    call_start begin;
    {
        named_pipe pipe(log_path);
        descriptor reading(log_path, O_RDONLY | O_NONBLOCK); // does not wait for a writer
        descriptor writing(log_path, O_WRONLY);
        if (fcntl(reading.number(), F_SETFL, 0) != 0) refuse("can't wait at the log");
        stamping_first stamping;
        const moment start = std::chrono::steady_clock::now();
        const pid_t child = start_run(directory, calls, std::min(patience, patience_of_a_run), reading, writing);
        stamping.come_first();
        writing.close(); // from here on the log ends when the child does
        begin = stamp_lines(reading.number(), child, start, pipe, run.log);
        patience -= begin.waited;
        while (wait4(child, &status, 0, &used) != child)
            if (errno != EINTR) refuse("can't wait for the run");
        run.wall_seconds = seconds_since(start) - begin.seconds;
    }
    run.cpu_seconds = seconds(used.ru_utime) + seconds(used.ru_stime) - begin.cpu_seconds;
    run.peak_bytes = std::int64_t{1024} * used.ru_maxrss;
    save_log(log_path, run.log);
    if (status != 0 || run.log.empty() || run.log.back().text != tarnel::end_line)
        throw std::runtime_error("the run in " + directory.string() + " did not come through: see its tarnel.log");
    return run;
}

} // namespace tarnel_bench
