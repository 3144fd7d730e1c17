#include "support/machine.h"

#include "support/turns.h"

#include <algorithm>
#include <stdexcept>
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

page_cache_rates measure_page_cache(const std::filesystem::path& directory, std::size_t bytes)
{
    constexpr std::size_t piece = 65536;
    const std::filesystem::path path = directory / "bench-plain.tmp";
    const std::vector<char> full(piece, 'x');
    std::vector<char> got(piece);
    std::filesystem::remove(path);
    const std::size_t pieces = std::max<std::size_t>(bytes / piece, 1);
    std::vector<double> write_seconds, read_seconds;
    bool good = true;
    for (int turn = 0; turn < 5; ++turn) {
        double start = cpu_seconds();
        int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
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
