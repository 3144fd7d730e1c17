// Stages of the preparation, each on files of the stages before it that may not fit together.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "prep/felm_struct.h"
#include "prep/matrix_index.h"

using namespace tarnel;
using namespace tarnel_fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const base_run base = base_of("tables");
    static const std::vector<std::string> names = {node_struct_file, felms_file,   centres_file, properties_file,
                                                   lcs_file,         tensors_file, currents_file};
    write_edited(edit(base, names, text_of(data, size)));
    runs_through([](std::FILE* log) {
        lent_input node_struct(node_struct_file, log), felms(felms_file, log);
        lent_output out(index_file, log);
        eat_set_matrix_index(base.cntl, {node_struct, felms, out}, log);
        close_output(log, out);
    });
    runs_through([](std::FILE* log) {
        lent_input felms(felms_file, log), properties(properties_file, log), tensors(tensors_file, log);
        lent_input currents(currents_file, log), lcs(lcs_file, log), centres(centres_file, log);
        lent_output out(felm_struct_file, log);
        eat_set_felm_struct(base.cntl, {felms, properties, &tensors, &currents, lcs, centres, out}, log);
        close_output(log, out);
    });
    return 0;
}
