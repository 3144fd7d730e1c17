// Waits for a calm moment of the processor, or learns what a calm one is like.
//   bench_calm            waits, as the benchmarks do before each turn
//   bench_calm SECONDS    prints what TARNEL_BENCH_CALM is to hold, from so long a trial
#include "support/machine.h"

#include <cstdio>
#include <cstdlib>

int main(int argument_count, char** arguments)
{
    const double seconds = argument_count == 2 ? std::strtod(arguments[1], nullptr) : 0.0;
    if (argument_count > 2 || (argument_count == 2 && !(seconds > 0.0))) {
        std::fputs("usage: bench_calm [SECONDS]\n", stderr);
        return 2;
    }
    if (argument_count == 2)
        std::printf("%.9f\n", tarnel_bench::learn_calm(seconds));
    else
        tarnel_bench::await_calm();
    return 0;
}
