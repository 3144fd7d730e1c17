// The nodes in systems 1 and 2.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "readers/node_data.h"

using namespace tarnel;
using namespace tarnel_fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const base_run base = base_of("planar");
    write_input(nodes_text, text_of(data, size));
    write_input(lcs_file, base.files.at(lcs_file));
    runs_through([size](std::FILE* log) {
        lent_input lcs(lcs_file, log), text(nodes_text, log);
        lent_output out(nodes_file, log);
        t_rd_node_data(limits_of(size), {lcs, text, out}, log);
        close_output(log, out);
    });
    return 0;
}
