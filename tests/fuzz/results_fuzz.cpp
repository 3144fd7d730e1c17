// The result stages on a solved system, without and with circuits.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "results/felm_resl.h"
#include "results/node_resl.h"

using namespace tarnel;
using namespace tarnel_fuzz;

static void write_results(const base_run& base, std::FILE* log)
{
    lent_input node_struct(node_struct_file, log), felm_struct(felm_struct_file, log), solution(solution_file, log);
    lent_input previous(previous_file, log);
    lent_output table(felm_results_text, log), results(felm_results_file, log);
    felm_resl_files files = {node_struct, felm_struct, nullptr, &previous, solution, table, results, nullptr};
    if (base.nvolte > 0) {
        lent_input data1(circuit1_file, log), data2(circuit2_file, log), circuit_solution(circuit_solution_file, log);
        felm_resl_circuit_files circuits = {data1, data2, circuit_solution};
        files.circuits = &circuits;
        eat_calc_felm_resl(base.cntl, files, base.nvolte, log);
    } else {
        lent_input conductivities(conductivities_file, log);
        files.conductivities = &conductivities;
        eat_calc_felm_resl(base.cntl, files, 0, log);
    }
    close_output(log, results);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const base_run tables = base_of("tables"), circuit = base_of("circuit");
    static const std::vector<std::string> names = {node_struct_file, felm_struct_file,     solution_file,
                                                   previous_file,    conductivities_file,  circuit1_file,
                                                   circuit2_file,    circuit_solution_file};
    if (size == 0) return 0;
    const base_run& base = data[0] % 2 == 1 ? circuit : tables;
    write_edited(edit(base, names, text_of(data + 1, size - 1)));
    runs_through([&base](std::FILE* log) {
        lent_input node_struct(node_struct_file, log), solution(solution_file, log);
        lent_output table(node_results_text, log), results(node_results_file, log);
        eat_calc_node_resl(base.cntl, {node_struct, solution, table, results}, log);
        close_output(log, results);
    });
    runs_through([&base](std::FILE* log) { write_results(base, log); });
    return 0;
}
