// How near the direct solver comes to what the machine gives: the factorisation of a band against the rate of separate
// multiplications and additions and against LAPACK's dpbtrf on one thread, and the block files against plain writes and
// reads through the page cache.
//   bench_solvers [UNKNOWNS BAND]   (default 100000 1000)
// Needs a directory that it may fill; uses the working directory. LAPACK is left out where it is not installed.
#include "solvers/skyline_factor.h"
#include "solvers/skyline_files.h"
#include "support/machine.h"
#include "support/table.h"
#include "support/turns.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#if defined(TARNEL_LAPACK)
extern "C" {
void dpbtrf_(const char* uplo, const int* n, const int* kd, double* ab, const int* ldab, int* info);
void openblas_set_num_threads(int threads);
}
#endif

using namespace tarnel;
using namespace tarnel_bench;

namespace
{

// Separate multiplications and additions on numbers that never leave the registers, as wide as the processor takes
// them: all that it gives without fused operations [flop/s].
template <class wide> [[gnu::always_inline]] inline double flops_in_registers(std::size_t rounds)
{
    constexpr int chains = 8;
    constexpr std::size_t lanes = sizeof(wide) / sizeof(double);
    wide product[chains], sum[chains];
#pragma GCC unroll 8
    for (int c = 0; c < chains; ++c) product[c] = sum[c] = wide{} + 1.0;
    const wide factor = wide{} + 1.0, term = wide{} + 1e-9;
    const double start = cpu_seconds();
    for (std::size_t r = 0; r < rounds; ++r) {
#pragma GCC unroll 8
        for (int c = 0; c < chains; ++c) {
            product[c] *= factor;
            sum[c] += term;
            asm("" : "+v"(product[c]), "+v"(sum[c])); // neither is known in advance
        }
    }
    const double seconds = cpu_seconds() - start;
    wide total{};
#pragma GCC unroll 8
    for (int c = 0; c < chains; ++c) total += product[c] + sum[c];
    return total[0] > 0 ? 2.0 * lanes * chains * static_cast<double>(rounds) / seconds : 0.0;
}

[[gnu::target("avx512f")]] double flops_avx512(std::size_t rounds)
{
    typedef double wide [[gnu::vector_size(64)]];
    return flops_in_registers<wide>(rounds);
}

[[gnu::target("avx2")]] double flops_avx2(std::size_t rounds)
{
    typedef double wide [[gnu::vector_size(32)]];
    return flops_in_registers<wide>(rounds);
}

double multiply_add_rate()
{
    double best = 0;
    for (int turn = 0; turn < 5; ++turn) {
        if (__builtin_cpu_supports("avx512f")) best = std::max(best, flops_avx512(10000000));
        if (__builtin_cpu_supports("avx2")) best = std::max(best, flops_avx2(10000000));
    }
    return best;
}

// A band matrix, diagonally dominant: 4 on the diagonal, small negative terms beside it.
double band_term(int distance, int band)
{
    return distance == 0 ? 4.0 : -1.0 / (1 + distance % 7) / band;
}

struct band_case {
    skyline_profile profile;
    std::size_t terms = 0;
    double flops = 0;
};

band_case make_band(int n, int band)
{
    band_case made;
    skyline_profile& profile = made.profile;
    profile.ndim = n;
    profile.nband = band;
    profile.linsky = zero_array<std::int32_t>(stderr, "linsky", static_cast<std::size_t>(n));
    profile.iadlin = zero_array<std::int32_t>(stderr, "iadlin", static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j) {
        const int height = std::min(j + 1, band);
        profile.linsky[static_cast<std::size_t>(j)] = height;
        profile.iadlin[static_cast<std::size_t>(j)] = static_cast<std::int32_t>(made.terms);
        made.terms += static_cast<std::size_t>(height);
        made.flops += static_cast<double>(height) * height;
    }
    return made;
}

double time_skyline(const band_case& band, double* aaa, std::vector<double>& pivots)
{
    const skyline_profile& profile = band.profile;
    for (int j = 0; j < profile.ndim; ++j) {
        double* terms = aaa + profile.iadlin[static_cast<std::size_t>(j)];
        for (int k = 0; k < profile.linsky[static_cast<std::size_t>(j)]; ++k) terms[k] = band_term(k, profile.nband);
    }
    column_group group =
        make_group(stderr, profile.nband, static_cast<std::int32_t>(band.terms), fastest_tile_kernel());
    const double start = cpu_seconds();
    factorise_block(profile, {0, profile.ndim, aaa}, group, 1e-60, pivots.data(), stderr);
    return cpu_seconds() - start;
}

#if defined(TARNEL_LAPACK)
// Returns the seconds of dpbtrf on the same matrix, whose factor must agree: the squares of its diagonal are our
// pivots.
double time_lapack(const band_case& band, std::vector<double>& ab, const std::vector<double>& pivots)
{
    const int n = band.profile.ndim, kd = band.profile.nband - 1, ld = band.profile.nband;
    for (int j = 0; j < n; ++j)
        for (int k = 0; k < ld; ++k)
            ab[static_cast<std::size_t>(j) * static_cast<std::size_t>(ld) + static_cast<std::size_t>(k)] =
                j + k < n ? band_term(k, band.profile.nband) : 0.0;
    int info = 0;
    openblas_set_num_threads(1);
    const double start = cpu_seconds();
    dpbtrf_("L", &n, &kd, ab.data(), &ld, &info);
    const double seconds = cpu_seconds() - start;
    const double last = ab[static_cast<std::size_t>(n - 1) * static_cast<std::size_t>(ld)];
    if (info != 0 || std::fabs(last * last / pivots.back() - 1) > 1e-9) {
        std::fprintf(stderr, "bench_solvers: the factors differ\n");
        std::exit(1);
    }
    return seconds;
}
#endif

void bench_factorisation(int n, int band)
{
    const band_case made = make_band(n, band);
    if (made.terms > 1000000000) {
        std::fprintf(stderr, "bench_solvers: the band is too large for one block\n");
        std::exit(2);
    }
    const owned_array<double> aaa = zero_array<double>(stderr, "aaa", made.terms);
    std::vector<double> pivots(static_cast<std::size_t>(n));
    const double peak = multiply_add_rate();
    std::vector<double> ours, theirs;
#if defined(TARNEL_LAPACK)
    std::vector<double> ab(static_cast<std::size_t>(n) * static_cast<std::size_t>(band));
#endif
    for (int turn = 0; turn < 3; ++turn) {
        await_calm();
        ours.push_back(time_skyline(made, aaa.get(), pivots));
#if defined(TARNEL_LAPACK)
        await_calm();
        theirs.push_back(time_lapack(made, ab, pivots));
#endif
    }
    const double rate = made.flops / median(ours);
    std::printf("Factorisation of a band of %d, %d unknowns (CPU seconds, medians of 3 alternating turns):\n\n", band,
                n);
    std::vector<table_row> rows = {{"", "s", "GFLOP/s", "ours / limit or peer"}};
    rows.push_back({"skyline", seconds_text(median(ours)), decimal(rate * 1e-9, 1), ""});
    rows.push_back({"multiply and add apart, in registers", "", decimal(peak * 1e-9, 1),
                    decimal(rate / peak, 2) + " of its rate"});
    if (theirs.empty())
        rows.push_back({"dpbtrf", "", "", "not installed"});
    else
        rows.push_back({"dpbtrf, OpenBLAS, one thread", seconds_text(median(theirs)),
                        decimal(made.flops / median(theirs) * 1e-9, 1),
                        decimal(median(ours) / median(theirs), 2) + " of its time"});
    print_table(stdout, rows, 1);
    std::printf("\n");
}

// Columns of a block through the work file, against plain calls of the same bytes.
void bench_files()
{
    constexpr std::int32_t columns = 20000, height = 1000;
    constexpr double bytes = 8.0 * columns * height;
    std::vector<double> terms(height, 1.5);
    std::vector<double> image(header_room + columns * static_cast<std::size_t>(head_room + height), 1.5);
    put_header(image.data(), {1, 0, 0, columns});
    for (std::size_t at = header_room; at < image.size(); at += head_room + height)
        put_column_head(image.data() + at + head_room, {height, 0});
    std::vector<double> write_ours, read_ours, write_plain, read_plain;
    for (int turn = 0; turn < 3; ++turn) {
        await_calm();
        std::remove("bench-block.tmp");
        double start = cpu_seconds();
        {
            output_file out;
            if (!open_output(stderr, out, "bench-block.tmp", "block", content::binary)) std::exit(1);
            write_image(stderr, out, image.data(), image.size(), 0);
            close_output(stderr, out);
        }
        write_ours.push_back(cpu_seconds() - start);
        start = cpu_seconds();
        {
            input_file in;
            if (!open_input(stderr, in, "bench-block.tmp", "block")) std::exit(1);
            read_header(stderr, in, 0, 1, columns);
            for (std::int32_t j = 0; j < columns; ++j) {
                const auto column = read_column_head(stderr, in, height + j, height, {});
                read_column_terms(stderr, in, terms.data(), column.height);
            }
        }
        read_ours.push_back(cpu_seconds() - start);
        std::remove("bench-plain.tmp");
        std::vector<double> large(131072, 1.5);
        start = cpu_seconds();
        owned_file plain(std::fopen("bench-plain.tmp", "wb"));
        std::setvbuf(plain.get(), nullptr, _IONBF, 0);
        for (double done = 0; done < bytes; done += 8.0 * static_cast<double>(large.size()))
            if (std::fwrite(large.data(), 8, large.size(), plain.get()) != large.size()) std::exit(1);
        plain.reset();
        write_plain.push_back(cpu_seconds() - start);
        start = cpu_seconds();
        plain.reset(std::fopen("bench-plain.tmp", "rb"));
        std::setvbuf(plain.get(), nullptr, _IONBF, 0);
        while (std::fread(large.data(), 8, large.size(), plain.get()) == large.size()) continue;
        plain.reset();
        read_plain.push_back(cpu_seconds() - start);
    }
    std::remove("bench-block.tmp");
    std::remove("bench-plain.tmp");
    std::printf("A block file of 160 MB (GB/s of CPU time, medians of 3 turns):\n\n");
    print_table(stdout,
                {{"", "block file", "plain calls", "ratio"},
                 {"write", decimal(bytes / median(write_ours) * 1e-9, 1),
                  decimal(bytes / median(write_plain) * 1e-9, 1), decimal(median(write_plain) / median(write_ours), 2)},
                 {"read", decimal(bytes / median(read_ours) * 1e-9, 1), decimal(bytes / median(read_plain) * 1e-9, 1),
                  decimal(median(read_plain) / median(read_ours), 2)}},
                1);
    std::printf("\n");
}

} // namespace

int main(int count, char** arguments)
{
    const int n = count > 2 ? std::atoi(arguments[1]) : 100000, band = count > 2 ? std::atoi(arguments[2]) : 1000;
    if ((count != 1 && count != 3) || n < 1 || band < 1 || band > n) {
        std::fprintf(stderr, "usage: bench_solvers [UNKNOWNS BAND]\n");
        return 2;
    }
    try {
        bench_factorisation(n, band);
        bench_files();
    } catch (const run_ended&) {
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
