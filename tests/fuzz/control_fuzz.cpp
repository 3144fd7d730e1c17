// The control file; what it accepts, the dimension file goes on from.
#include "common/records.h"
#include "driver/control_data.h"
#include "fuzz/fuzz_support.h"

using namespace tarnel;
using namespace tarnel_fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    enter_work_directory();
    write_input(control_text, text_of(data, size));
    write_input(dimension_text, text_of(data, size < 4 ? size : 4));
    runs_through([](std::FILE* log) {
        control cntl;
        lent_input in(control_text, log);
        read_control_data(cntl, in, log);
    });
    runs_through([](std::FILE* log) {
        control cntl;
        lent_input in(dimension_text, log);
        read_dimension_data(cntl, in, log);
    });
    return 0;
}
