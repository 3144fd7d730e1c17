// The assembly on the files of the preparation and the host's tables, without and with circuits.
#include "assembly/fem_matrix.h"
#include "common/records.h"
#include "fuzz/fuzz_support.h"

using namespace tarnel;
using namespace tarnel_fuzz;

static void assemble(const control& cntl, std::FILE* log)
{
    lent_input node_struct(node_struct_file, log), felm_struct(felm_struct_file, log), index(index_file, log);
    lent_input conductivities(conductivities_file, log), magnetisations(magnetisations_file, log);
    lent_input belms(belms_file, log), previous(previous_file, log);
    lent_output matrix(matrix_file, log), vector(vector_file, log), areas(areas_file, log);
    eat_calc_fem_matrix(cntl,
                        {node_struct, felm_struct, &conductivities, &magnetisations, &belms, &previous, index, matrix,
                         vector, areas, nullptr},
                        0, log);
    close_output(log, matrix);
}

static void assemble_with_circuits(const base_run& base, std::FILE* log)
{
    lent_input node_struct(node_struct_file, log), felm_struct(felm_struct_file, log), index(index_file, log);
    lent_input previous(previous_file, log), data1(circuit1_file, log), data2(circuit2_file, log);
    lent_input lcs(lcs_file, log), centres(centres_file, log);
    lent_output matrix(matrix_file, log), vector(vector_file, log), areas(areas_file, log);
    lent_output femdv(edge_diagonals_file, log);
    circuit_files circuits = {data1, data2, lcs, centres, femdv};
    eat_calc_fem_matrix(
        base.cntl,
        {node_struct, felm_struct, nullptr, nullptr, nullptr, &previous, index, matrix, vector, areas, &circuits},
        base.nvolte, log);
    close_output(log, femdv);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const base_run tables = base_of("tables"), circuit = base_of("circuit");
    static const std::vector<std::string> names = {
        node_struct_file, felm_struct_file, index_file,    previous_file, conductivities_file, magnetisations_file,
        belms_file,       circuit1_file,    circuit2_file, lcs_file,      centres_file};
    if (size == 0) return 0;
    const bool with_circuits = data[0] % 2 == 1;
    write_edited(edit(with_circuits ? circuit : tables, names, text_of(data + 1, size - 1)));
    runs_through([with_circuits](std::FILE* log) {
        if (with_circuits)
            assemble_with_circuits(circuit, log);
        else
            assemble(tables.cntl, log);
    });
    return 0;
}
