// The setting and the names of the skyline solver's work files.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "solvers/skyline_files.h"

using namespace tarnel;
using namespace tarnel_fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    enter_work_directory();
    write_input(skyline_text, text_of(data, size));
    runs_through([](std::FILE* log) { read_skyline_setup(log); });
    return 0;
}
