// The entry point: opens the log, runs, and turns a failure into the end of the process.
#include "common/arrays.h"
#include "common/failure.h"
#include "common/records.h"
#include "common/streams.h"
#include "driver/run.h"

#include <tarnel.h>

#include <cfenv>
#include <cstdio>
#include <cstdlib>
#if defined(_WIN32) && defined(__x86_64__)
#include <immintrin.h>
#endif

namespace
{

// The default floating-point environment while one of these lives: results must not follow the host's rounding mode.
class default_arithmetic
{
public:
    default_arithmetic()
    {
        std::fegetenv(&hosts_);
        std::fesetenv(FE_DFL_ENV);
#if defined(_WIN32) && defined(__x86_64__)
        _mm_setcsr(0x1f80); // MinGW's FE_DFL_ENV leaves the vector unit as it was
#endif
    }
    ~default_arithmetic()
    {
        std::fesetenv(&hosts_);
#if defined(_WIN32) && defined(__x86_64__)
        _mm_setcsr(hosts_vectors_);
#endif
    }
    default_arithmetic(const default_arithmetic&) = delete;
    default_arithmetic& operator=(const default_arithmetic&) = delete;

private:
    std::fenv_t hosts_;
#if defined(_WIN32) && defined(__x86_64__)
    unsigned hosts_vectors_ = _mm_getcsr();
#endif
};

} // namespace

// Returns false after a failure, with everything but the process released.
static bool run_once()
{
    const default_arithmetic rounding;
    tarnel::keep_freed_memory();
    tarnel::owned_file log(std::fopen(tarnel::log_file, "w"));
    // By lines, so that a host can follow the run and a crash leaves all that was said.
    if (log == nullptr || std::setvbuf(log.get(), nullptr, _IOLBF, 4096) != 0) {
        log.reset();
        tarnel::remove_file(tarnel::log_file); // that of an earlier run must not speak for this one
        std::fputs("  Error. Can't open tarnel.log.\n", stdout);
        return false;
    }
    try {
        tarnel::run_analysis(log.get());
    } catch (const tarnel::run_ended&) {
        return false;
    }
    if (std::fclose(log.release()) != 0) {
        std::fputs("      Error. in tarnel.log(w).\n", stdout);
        return false;
    }
    return true;
}

int main_tarnel_n1(void)
{
    bool complete = false;
    try {
        complete = run_once();
    } catch (...) { // nothing crosses into the host
        std::fputs("      Error. unexpected failure.\n", stdout);
    }
    if (!complete) std::exit(0);
    return 0;
}
