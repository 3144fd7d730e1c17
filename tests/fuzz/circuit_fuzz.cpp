// The circuit solution and the element structure change on the files of a circuit run.
#include "circuit/felm_struct_voltr.h"
#include "circuit/voltr.h"
#include "common/records.h"
#include "fuzz/fuzz_support.h"

using namespace tarnel;
using namespace tarnel_fuzz;

static void solve(const base_run& base, std::FILE* log)
{
    lent_input data2(circuit2_file, log), matrix(circuit_matrix_file, log), vector(circuit_vector_file, log);
    lent_input femdv(edge_diagonals_file, log), previous(circuit_previous_file, log);
    lent_output solution(circuit_solution_file, log), report(circuit_results_text, log);
    t_solve_voltr(base.cntl, {data2, matrix, vector, &femdv, previous, solution, report}, base.nvolte, log);
    close_output(log, solution);
}

static void drive(const base_run& base, std::int32_t iopt_j0vect, std::FILE* log)
{
    control cntl = base.cntl;
    cntl.iopt_j0vect = iopt_j0vect;
    lent_input lcs(lcs_file, log), node_struct(node_struct_file, log), before(felm_struct_before_file, log);
    lent_input data1(circuit1_file, log), data2(circuit2_file, log), centres(centres_file, log);
    lent_input circuit_solution(circuit_solution_file, log);
    lent_output felm_struct(felm_struct_file, log);
    at_ch_felm_struct_voltr(cntl, {lcs, node_struct, before, felm_struct, data1, data2, centres, circuit_solution},
                            base.nvolte, log);
    close_output(log, felm_struct);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const base_run base = base_of("circuit");
    static const std::vector<std::string> names = {circuit1_file,
                                                   circuit2_file,
                                                   circuit_matrix_file,
                                                   circuit_vector_file,
                                                   circuit_previous_file,
                                                   edge_diagonals_file,
                                                   solution_file,
                                                   "t-femr-vector-00001.tmp",
                                                   "t-femr-solution-00001.tmp",
                                                   "t-femr-vector-00003.tmp",
                                                   "t-femr-solution-00003.tmp",
                                                   lcs_file,
                                                   node_struct_file,
                                                   felm_struct_before_file,
                                                   centres_file,
                                                   circuit_solution_file};
    for (const char* whole : {"t-femr-vector-00002.tmp", "t-femr-solution-00002.tmp"})
        write_input(whole, base.files.at(whole));
    const edited_files edited = edit(base, names, text_of(data, size));
    write_edited(edited);
    for (const std::int32_t iopt_j0vect : {0, 1})
        runs_through([iopt_j0vect](std::FILE* log) { drive(base, iopt_j0vect, log); });
    runs_through([](std::FILE* log) { solve(base, log); });
    return 0;
}
