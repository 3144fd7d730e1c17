#include "support/machine.h"

#include "support/turns.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace tarnel_bench
{

constexpr std::size_t lanes = 64; // sums side by side, so that no sum waits for another

// Compiled for the widest registers too, as reading from near caches needs them.
[[gnu::target_clones("avx512f", "avx2", "default")]] static double sum_of(const double* values, std::size_t count)
{
    double sums[lanes] = {};
    for (std::size_t k = 0; k + lanes <= count; k += lanes)
        for (std::size_t s = 0; s < lanes; ++s) sums[s] += values[k + s];
    double sum = 0;
    for (const double s : sums) sum += s;
    return sum;
}

constexpr double hardly_longer = 1.12; // a calm processor's clock varies by a twelfth

// Numbers to text and back, some 2 ms: short branches and many instructions, which a neighbour on the same core slows
// down by half; sums in a row it hardly does.
static double probe_seconds()
{
    char text[64];
    double number = 1.2345, sum = 0;
    const double start = cpu_seconds();
    for (int round = 0; round < 20'000; ++round) {
        const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::scientific, 5).ptr;
        double read = 0;
        std::from_chars(text, end, read);
        sum += read;
        number = number * 1.0001 + 1e-3;
    }
    const double seconds = cpu_seconds() - start;
    return sum > 0 ? seconds : 0; // it is; or a compiler leaves it all out
}

double learn_calm(double seconds)
{
    using clock = std::chrono::steady_clock;
    const auto end = clock::now() + std::chrono::duration<double>(seconds);
    double shortest = probe_seconds();
    while (clock::now() < end) shortest = std::min(shortest, probe_seconds());
    return shortest;
}

bool is_calm()
{
    static const char* const learnt = std::getenv("TARNEL_BENCH_CALM");
    static double shortest = learnt != nullptr ? std::strtod(learnt, nullptr) : std::numeric_limits<double>::max();
    const double now = std::min(probe_seconds(), probe_seconds());
    shortest = std::min(shortest, now);
    return now <= hardly_longer * shortest;
}

bool await_calm(double patience)
{
    using clock = std::chrono::steady_clock;
    static double waited = 0;
    bool calm = is_calm();
    for (auto last = clock::now(); !calm && waited < patience; calm = is_calm()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const auto now = clock::now();
        waited += std::chrono::duration<double>(now - last).count();
        last = now;
    }
    return calm;
}

double read_rate(std::size_t bytes)
{
    constexpr double least_bytes = 4e8; // read in a turn
    const std::vector<double> values(std::max(bytes / sizeof(double), lanes), 1.0);
    const double size = static_cast<double>(values.size() * sizeof(double));
    const int passes = static_cast<int>(least_bytes / size) + 1;
    double best = 0;
    for (int turn = 0; turn < 5; ++turn) {
        double sum = 0;
        const double start = cpu_seconds();
        for (int p = 0; p < passes; ++p) sum += sum_of(values.data(), values.size());
        const double seconds = cpu_seconds() - start;
        if (sum > 0) best = std::max(best, size * passes / seconds);
    }
    return best;
}

page_cache_rates measure_page_cache(const std::filesystem::path& directory, std::size_t bytes, old_file before)
{
    constexpr std::size_t piece = 65536;
    const std::filesystem::path path = directory / "bench-plain.tmp";
    const std::vector<char> full(piece, 'x');
    std::vector<char> got(piece);
    std::filesystem::remove(path);
    const std::size_t pieces = std::max<std::size_t>(bytes / piece, 1);
    std::vector<double> write_seconds, read_seconds;
    bool good = true;
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (before == old_file::emptied ? O_TRUNC : 0);
    for (int turn = 0; turn < 5; ++turn) {
        double start = cpu_seconds();
        int file = open(path.c_str(), flags, 0600);
        for (std::size_t k = 0; k < pieces; ++k) good &= write(file, full.data(), piece) == static_cast<ssize_t>(piece);
        close(file);
        write_seconds.push_back(cpu_seconds() - start);
        start = cpu_seconds();
        file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        for (std::size_t k = 0; k < pieces; ++k) good &= read(file, got.data(), piece) == static_cast<ssize_t>(piece);
        close(file);
        read_seconds.push_back(cpu_seconds() - start);
    }
    std::filesystem::remove(path);
    if (!good) throw std::runtime_error("can't write and read " + path.string());
    const double size = static_cast<double>(pieces * piece);
    return {size / median(write_seconds), size / median(read_seconds)};
}

} // namespace tarnel_bench
