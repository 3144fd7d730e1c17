// The fixed conditions.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "readers/fixc_data.h"

using namespace tarnel;
using namespace tarnel_fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    enter_work_directory();
    write_input(conditions_text, text_of(data, size));
    runs_through([size](std::FILE* log) {
        lent_input text(conditions_text, log);
        lent_output out(conditions_file, log);
        at_rd_fixc_data(limits_of(size), {text, out}, log);
        close_output(log, out);
    });
    return 0;
}
