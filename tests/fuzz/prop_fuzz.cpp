// The properties.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "readers/prop_data.h"

using namespace tarnel;
using namespace tarnel_fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    enter_work_directory();
    write_input(properties_text, text_of(data, size));
    runs_through([size](std::FILE* log) {
        lent_input text(properties_text, log);
        lent_output out(properties_file, log);
        at_rd_prop_data(limits_of(size), {text, out}, log);
        close_output(log, out);
    });
    return 0;
}
