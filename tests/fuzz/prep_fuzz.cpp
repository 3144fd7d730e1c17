// The stages of the preparation on the readers' work files and the host's tables.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "prep/check_node_data.h"
#include "prep/felm_cntr.h"
#include "prep/felm_struct.h"
#include "prep/matrix_index.h"
#include "prep/node_struct.h"

using namespace tarnel;
using namespace tarnel_fuzz;

static void prepare(const control& cntl, std::FILE* log)
{
    {
        lent_input nodes(nodes_file, log), felms(felms_file, log), belms(belms_file, log);
        eat_check_node_data(cntl, {nodes, felms, &belms}, log);
    }
    {
        lent_input nodes(nodes_file, log), felms(felms_file, log), conditions(conditions_file, log);
        lent_output out(node_struct_file, log);
        eat_set_node_struct(cntl, {nodes, felms, conditions, out}, log);
        close_output(log, out);
    }
    {
        lent_input node_struct(node_struct_file, log), felms(felms_file, log);
        lent_output out(index_file, log);
        eat_set_matrix_index(cntl, {node_struct, felms, out}, log);
        close_output(log, out);
    }
    {
        lent_input nodes(nodes_file, log), felms(felms_file, log);
        lent_output out(centres_file, log);
        t_set_felm_cntr(cntl, {nodes, felms, out}, log);
        close_output(log, out);
    }
}

static void join(const control& cntl, std::FILE* log)
{
    lent_input felms(felms_file, log), properties(properties_file, log), tensors(tensors_file, log);
    lent_input currents(currents_file, log), lcs(lcs_file, log), centres(centres_file, log);
    lent_output out(felm_struct_file, log);
    eat_set_felm_struct(cntl, {felms, properties, &tensors, &currents, lcs, centres, out}, log);
    close_output(log, out);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const base_run base = base_of("tables");
    static const std::vector<std::string> names = {nodes_file,      felms_file, conditions_file, belms_file,
                                                   properties_file, lcs_file,   tensors_file,    currents_file};
    write_edited(edit(base, names, text_of(data, size)));
    if (runs_through([](std::FILE* log) { prepare(base.cntl, log); }))
        runs_through([](std::FILE* log) { join(base.cntl, log); });
    return 0;
}
