// Systems made by hand for the solvers, their files, and what a textbook makes of a skyline matrix.
#pragma once

#include "support/stage.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define TARNEL_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARNEL_TEST_SANITIZED 1
#endif
#endif

namespace tarnel_test
{

struct matrix_term {
    int column;
    double value;
};

struct hand_system {
    std::vector<std::vector<matrix_term>> rows; // upper triangle, diagonal first
    std::vector<double> b;
    int ndim1 = -1; // -1: ndim
};

inline int size_of(const hand_system& system)
{
    return static_cast<int>(system.rows.size());
}

inline int trailer_of(const hand_system& system)
{
    return system.ndim1 < 0 ? size_of(system) : system.ndim1;
}

inline std::string index_bytes(const hand_system& system)
{
    bytes file;
    file.add_i(size_of(system));
    for (const auto& row : system.rows) {
        file.add_i(static_cast<std::int32_t>(row.size()));
        for (const matrix_term& term : row) file.add_i(term.column);
    }
    return file.add_i(trailer_of(system)).text();
}

inline std::string matrix_bytes(const hand_system& system)
{
    bytes file;
    file.add_i(size_of(system));
    for (const auto& row : system.rows) {
        file.add_i(static_cast<std::int32_t>(row.size()));
        for (const matrix_term& term : row) file.add_d(term.value);
    }
    return file.add_i(trailer_of(system)).text();
}

inline std::string vector_bytes(const hand_system& system)
{
    bytes file;
    file.add_i(size_of(system));
    for (const double value : system.b) file.add_d(value);
    return file.add_i(trailer_of(system)).text();
}

// Writes a file anew: some file systems wait for the disk when a file is cut to nothing and written again.
inline void write_new_file(const std::string& name, const std::string& content)
{
    std::filesystem::remove(name);
    write_file(name, content);
}

inline void write_system(const hand_system& system)
{
    write_new_file("t-matrix-index.tmp", index_bytes(system));
    write_new_file("t-femr-matrix.tmp", matrix_bytes(system));
    write_new_file("t-femr-vector.tmp", vector_bytes(system));
}

// b = A x.
inline std::vector<double> product(const hand_system& system, const std::vector<double>& x)
{
    std::vector<double> b(x.size(), 0.0);
    for (std::size_t i = 0; i < x.size(); ++i)
        for (const matrix_term& term : system.rows[i]) {
            const auto j = static_cast<std::size_t>(term.column);
            b[i] += term.value * x[j];
            if (j != i) b[j] += term.value * x[i];
        }
    return b;
}

// Columns of the upper triangle, each from the diagonal up: a_jj, a_(j-1)j, ...
using skyline_columns = std::vector<std::vector<double>>;

// The same matrix by sparse rows: zeros below the top of a column are not stored.
inline hand_system rows_of(const skyline_columns& columns)
{
    hand_system system;
    system.rows.resize(columns.size());
    for (std::size_t j = 0; j < columns.size(); ++j) {
        const std::size_t height = columns[j].size();
        for (std::size_t up = 0; up < height; ++up)
            if (up == 0 || up + 1 == height || columns[j][up] != 0.0)
                system.rows[j - up].push_back({static_cast<int>(j), columns[j][up]});
    }
    return system;
}

// A = U^T D U column by column, each sum formed from zero in ascending order of k and subtracted once; the diagonal
// place holds the pivot.
inline skyline_columns textbook_factor(skyline_columns a)
{
    for (std::size_t j = 0; j < a.size(); ++j) {
        const std::size_t top = j + 1 - a[j].size();
        for (std::size_t i = top; i < j; ++i) {
            double sum = 0.0;
            for (std::size_t k = std::max(top, i + 1 - a[i].size()); k < i; ++k)
                sum = sum + (a[i][i - k] * a[k][0]) * a[j][j - k];
            a[j][j - i] = (a[j][j - i] - sum) / a[i][0];
        }
        double sum = 0.0;
        for (std::size_t k = top; k < j; ++k) sum = sum + (a[j][j - k] * a[j][j - k]) * a[k][0];
        a[j][0] = a[j][0] - sum;
    }
    return a;
}

enum class definiteness { positive, indefinite };

// A matrix of the given heights with about a third of the places inside the profile filled. Every row's sum of
// magnitudes is below its diagonal's, so that all pivots are far from zero whatever their signs.
inline skyline_columns random_matrix(const std::vector<int>& heights, definiteness kind, std::mt19937& random)
{
    std::normal_distribution<double> normal;
    std::bernoulli_distribution filled(0.35), negative(0.5);
    const std::size_t n = heights.size();
    skyline_columns a(n);
    std::vector<double> size(n, 0.0);
    for (std::size_t j = 0; j < n; ++j) {
        const auto height = static_cast<std::size_t>(heights[j]);
        a[j].assign(height, 0.0);
        for (std::size_t up = 1; up < height; ++up) {
            if (up + 1 < height && !filled(random)) continue;
            a[j][up] = normal(random);
            size[j] += std::fabs(a[j][up]);
            size[j - up] += std::fabs(a[j][up]);
        }
    }
    for (std::size_t j = 0; j < n; ++j) {
        a[j][0] = 1.01 * size[j] + 0.1 + std::fabs(normal(random));
        if (kind == definiteness::indefinite && negative(random)) a[j][0] = -a[j][0];
    }
    return a;
}

inline std::string block_name(int block)
{
    return "sky-" + std::to_string(block) + ".tmp";
}

// "t-skylin.txt" for blocks sky-1.tmp, sky-2.tmp, ...
inline void write_names(int work_length, int names, int longest = 20)
{
    std::string text = std::to_string(work_length) + " " + std::to_string(names) + " " + std::to_string(longest) + "\n";
    for (int block = 1; block <= names; ++block) text += block_name(block) + "\n";
    write_new_file("t-skylin.txt", text);
}

// What both halves of the solver log about "t-skylin.txt".
inline std::string names_log(int names)
{
    std::string log = "    === read t-skylin.txt ===\n        Now, reading t-skylin.txt. \n";
    for (int block = 1; block <= names; ++block)
        log += "      file name for skylin (" + std::to_string(block) + ") === " + block_name(block) + "\n";
    return log;
}

inline std::string reading_log(int block)
{
    return "      Now, reading the work file for sky-line no. === " + std::to_string(block) + " \n";
}

inline std::string writing_log(int block)
{
    return "      Now, writing the work file for sky-line no. === " + std::to_string(block) + " \n";
}

// From here on this process may have `more` bytes of address space beyond what it has now.
inline bool limit_memory(std::size_t more)
{
    std::ifstream statm("/proc/self/statm");
    std::size_t pages = 0;
    if (!(statm >> pages)) return false;
    const rlimit limit = {pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + more, RLIM_INFINITY};
    return setrlimit(RLIMIT_AS, &limit) == 0;
}

// Runs `body` in a child process; returns its exit status, 125 when it threw, -1 when a signal ended it.
inline int status_of_child(const std::function<int()>& body)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        int value = 125;
        try {
            value = body();
        } catch (...) {
        }
        _exit(value);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

// A named pipe in place of a block's file, so that the file can change between two openings: the stage's writing of it,
// if it does so first, is taken away, and each later opening is fed with bytes of the test's choice.
class scripted_file
{
public:
    enum class first_opening { writes, reads };

    // `plain_after`: a plain file that stands there when all have been fed
    scripted_file(std::string name, first_opening first, std::vector<std::string> fed,
                  std::optional<std::string> plain_after = {})
        : name_(std::move(name)), fed_(std::move(fed)), plain_after_(std::move(plain_after))
    {
        if (mkfifo(name_.c_str(), 0600) != 0) throw std::runtime_error("no pipe " + name_);
        if (first == first_opening::writes) {
            full_ = open(name_.c_str(), O_RDWR | O_NONBLOCK);
            const std::string nothing(4096, '\0');
            while (write(full_, nothing.data(), nothing.size()) > 0) {
            } // so that the stage can open it but not yet write
        }
        thread_ = std::thread([this] { serve(); });
    }
    scripted_file(const scripted_file&) = delete;
    scripted_file& operator=(const scripted_file&) = delete;
    ~scripted_file()
    {
        stop_ = true;
        std::vector<int> ends; // both ends of a pipe that nobody opened
        while (!done_) {
            ends.push_back(open(name_.c_str(), O_RDWR | O_NONBLOCK));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        for (const int end : ends)
            if (end >= 0) close(end);
        thread_.join();
    }
    int met() const { return met_; } // openings for reading so far

private:
    void serve()
    {
        if (full_ >= 0) take_away();
        for (const std::string& now : fed_) {
            const bool last = &now == &fed_.back();
            const int end = open(name_.c_str(), O_WRONLY);
            if (stop_ || end < 0) break;
            ++met_;
            replace(last); // before the stage sees the end of this one
            if (write(end, now.data(), now.size()) < 0) break;
            close(end);
        }
        done_ = true;
    }

    void take_away()
    {
        while (!stop_ && !opened_elsewhere()) std::this_thread::yield();
        const int end = open(("/proc/self/fd/" + std::to_string(full_)).c_str(), O_RDONLY);
        close(full_);
        replace(false);
        char taken[4096];
        while (!stop_ && read(end, taken, sizeof taken) > 0) {
        }
        close(end);
    }

    bool opened_elsewhere() const
    {
        struct stat own, other;
        fstat(full_, &own);
        for (int fd = 3; fd < 256; ++fd)
            if (fd != full_ && fstat(fd, &other) == 0 && other.st_ino == own.st_ino && other.st_dev == own.st_dev)
                return true;
        return false;
    }

    void replace(bool last) const // the next opening finds a pipe of its own
    {
        const std::string next = name_ + ".next";
        if (last && plain_after_) {
            std::ofstream(next, std::ios::binary) << *plain_after_;
            if (rename(next.c_str(), name_.c_str()) != 0) ADD_FAILURE() << "no file " << name_;
            return;
        }
        if (mkfifo(next.c_str(), 0600) != 0 || rename(next.c_str(), name_.c_str()) != 0)
            ADD_FAILURE() << "no pipe " << next;
    }

    std::string name_;
    std::vector<std::string> fed_;
    std::optional<std::string> plain_after_;
    int full_ = -1;
    std::atomic<bool> stop_ = false, done_ = false;
    std::atomic<int> met_ = 0;
    std::thread thread_;
};

} // namespace tarnel_test
