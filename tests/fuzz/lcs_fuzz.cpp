// The local coordinate systems: the text, and the work file that comes of it.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "readers/lcs.h"

using namespace tarnel;
using namespace tarnel_fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    enter_work_directory();
    write_input(lcs_text, text_of(data, size));
    runs_through([size](std::FILE* log) {
        lent_input text(lcs_text, log);
        lent_output out(lcs_file, log);
        t_rd_lcs_data(limits_of(size), {text, out}, log);
        close_output(log, out);
        lent_input in(lcs_file, log);
        t_rd_lcs_struct(limits_of(size), in, log);
    });
    return 0;
}
