// The sequence of a run: which stage follows which, on which files, under which switch.
#include "driver/run.h"

#include "assembly/fem_matrix.h"
#include "circuit/edge_files.h"
#include "circuit/felm_struct_voltr.h"
#include "circuit/voltr.h"
#include "common/control.h"
#include "common/records.h"
#include "common/streams.h"
#include "driver/control_data.h"
#include "driver/time_stamp.h"
#include "prep/check_node_data.h"
#include "prep/felm_cntr.h"
#include "prep/felm_struct.h"
#include "prep/matrix_index.h"
#include "prep/node_struct.h"
#include "readers/felm_data.h"
#include "readers/fixc_data.h"
#include "readers/lcs.h"
#include "readers/node_data.h"
#include "readers/prop_data.h"
#include "results/felm_resl.h"
#include "results/node_resl.h"
#include "solvers/iccg.h"
#include "solvers/seidel.h"
#include "solvers/skyline.h"

namespace tarnel
{

static void announce(const char* stage, std::FILE* log)
{
    log_lines(log, "    === func. %s ===\n", stage);
}

static void log_time(const char* what, std::FILE* log)
{
    const time_stamp now = stamp_of(std::time(nullptr));
    log_lines(log, "    ### %s %s %s\n", what, now.date, now.clock);
}

[[noreturn]] static void fail_open(const char* path, std::FILE* log)
{
    fail(log, "  Error. Can't open %s.\n", path);
}

// A file that the stage must have.
struct reading : input_file {
    reading(const char* path, std::FILE* log) : reading(path, path, log) {}
    reading(const char* path, const char* called, std::FILE* log)
    {
        if (!open_input(log, *this, path, called)) fail_open(path, log);
    }
};

// A file that the stage has when a switch is on.
struct optional_reading {
    input_file file;
    input_file* lent = nullptr;
    optional_reading(bool on, const char* path, std::FILE* log)
    {
        if (!on) return;
        if (!open_input(log, file, path, path)) fail_open(path, log);
        lent = &file;
    }
};

struct writing : output_file {
    writing(const char* path, std::FILE* log, content kind = content::binary) : writing(path, path, log, kind) {}
    writing(const char* path, const char* called, std::FILE* log, content kind = content::binary)
    {
        if (!open_output(log, *this, path, called, kind)) fail_open(path, log);
    }
};

static void read_control(control& cntl, std::FILE* log)
{
    log_lines(log, "    === Now, reading %s ===\n", control_text);
    {
        reading text(control_text, log);
        read_control_data(cntl, text, log);
    }
    log_lines(log, "    === Now, reading %s ===\n", dimension_text);
    reading text(dimension_text, log);
    read_dimension_data(cntl, text, log);
}

static void read_model(const control& cntl, std::FILE* log)
{
    {
        announce("t_rd_lcs_data", log);
        reading text(lcs_text, log);
        writing lcs(lcs_file, log);
        t_rd_lcs_data(cntl, {text, lcs}, log);
        close_output(log, lcs);
    }
    {
        announce("t_rd_node_data", log);
        reading lcs(lcs_file, log), text(nodes_text, log);
        writing nodes(nodes_file, log);
        t_rd_node_data(cntl, {lcs, text, nodes}, log);
        close_output(log, nodes);
    }
    {
        announce("t_rd_felm_data", log);
        reading text(felms_text, log);
        writing felms(felms_file, log);
        t_rd_felm_data(cntl, {text, felms}, log);
        close_output(log, felms);
    }
    {
        announce("at_rd_prop_data", log);
        reading text(properties_text, log);
        writing properties(properties_file, log);
        at_rd_prop_data(cntl, {text, properties}, log);
        close_output(log, properties);
    }
    {
        announce("at_rd_fixc_data", log);
        reading text(conditions_text, log);
        writing conditions(conditions_file, log);
        at_rd_fixc_data(cntl, {text, conditions}, log);
        close_output(log, conditions);
    }
}

// The counts at the head of the circuit files, if the host left any.
//   returns nvolte, the number of circuit edges; cntl.maxvlt is 0 without circuits
static std::int32_t read_circuit_header(control& cntl, std::FILE* log)
{
    cntl.maxvlt = 0;
    log_lines(log, "    === Now, reading %s ===\n", circuit1_file);
    input_file properties;
    if (!open_input(log, properties, circuit1_file, circuit1_file)) {
        log_lines(log, "  Note. Can't open %s.\n", circuit1_file);
        return 0;
    }
    log_lines(log, "    === Now, reading %s ===\n", circuit2_file);
    reading counts(circuit2_file, log);
    const auto maxvlt = read_value<std::int32_t>(log, counts, "r:maxvlt");
    const auto nvoltg = read_value<std::int32_t>(log, counts, "r:nvoltg");
    const auto nvoltv = read_value<std::int32_t>(log, counts, "r:nvoltv");
    const auto nvoltve = read_value<std::int32_t>(log, counts, "r:nvoltve");
    const auto nvoltm = read_value<std::int32_t>(log, counts, "r:nvoltm");
    // Damaged counts must not overflow: their sums are formed in 64 bits and logged in 32, as far as they go.
    const std::int64_t nvolte = std::int64_t{nvoltve} + nvoltg;
    const std::int64_t nvolt = std::int64_t{nvoltg} + nvoltv + nvoltm;
    log_lines(log, "        +++ nvolte = %d ...\n", static_cast<std::int32_t>(nvolte));
    if (nvolt <= 0) {
        log_lines(log, "        Note: nvolt(=nvoltg+nvoltv+nvoltm) <= 0.\n");
        return 0;
    }
    cntl.maxvlt = maxvlt;
    return static_cast<std::int32_t>(nvolte);
}

static void prepare_model(const control& cntl, std::FILE* log)
{
    {
        announce("eat_check_node_data", log);
        reading nodes(nodes_file, log), felms(felms_file, log);
        optional_reading belms(cntl.iopt_belm == 1, belms_file, log);
        eat_check_node_data(cntl, {nodes, felms, belms.lent}, log);
    }
    {
        announce("eat_set_node_struct", log);
        reading nodes(nodes_file, log), felms(felms_file, log), conditions(conditions_file, log);
        writing node_struct(node_struct_file, log);
        eat_set_node_struct(cntl, {nodes, felms, conditions, node_struct}, log);
        close_output(log, node_struct);
    }
    {
        announce("eat_set_matrix_index", log);
        reading node_struct(node_struct_file, log), felms(felms_file, log);
        writing index(index_file, log);
        eat_set_matrix_index(cntl, {node_struct, felms, index}, log);
        close_output(log, index);
    }
    {
        announce("t_set_felm_cntr", log);
        reading nodes(nodes_file, log), felms(felms_file, log);
        writing centres(centres_file, log);
        t_set_felm_cntr(cntl, {nodes, felms, centres}, log);
        close_output(log, centres);
    }
}

static void join_materials(const control& cntl, std::FILE* log)
{
    announce("eat_set_felm_struct", log);
    reading felms(felms_file, log), properties(properties_file, log);
    optional_reading tensors(cntl.iopt_proptv == 1, tensors_file, log);
    optional_reading currents(cntl.iopt_j0vect == 1, currents_file, log);
    reading lcs(lcs_file, log), centres(centres_file, log);
    writing felm_struct(felm_struct_file, log);
    eat_set_felm_struct(cntl, {felms, properties, tensors.lent, currents.lent, lcs, centres, felm_struct}, log);
    close_output(log, felm_struct);
}

// Without previous potentials a step starts from zero.
static void check_previous_potentials(control& cntl, std::FILE* log)
{
    if (cntl.iopt_trans != 1) return;
    input_file previous;
    if (open_input(log, previous, previous_file, previous_file)) return;
    log_lines(log, "  Note. There isn't the file %s.\n", previous_file);
    cntl.iopt_trans = 0;
}

static void assemble(const control& cntl, std::int32_t nvolte, std::FILE* log)
{
    announce("eat_calc_fem_matrix", log);
    reading node_struct(node_struct_file, log), felm_struct(felm_struct_file, log);
    optional_reading conductivities(cntl.iopt_propsg == 1, conductivities_file, log);
    optional_reading magnetisations(cntl.iopt_h0vect == 1, magnetisations_file, log);
    optional_reading belms(cntl.iopt_belm == 1, belms_file, log);
    optional_reading previous(cntl.iopt_trans == 1, previous_file, log);
    reading index(index_file, log);
    writing matrix(matrix_file, log), vector(vector_file, log), areas(areas_file, log);
    fem_matrix_files files = {node_struct,
                              felm_struct,
                              conductivities.lent,
                              magnetisations.lent,
                              belms.lent,
                              previous.lent,
                              index,
                              matrix,
                              vector,
                              areas,
                              nullptr};
    if (nvolte > 0) {
        reading data1(circuit1_file, log), data2(circuit2_file, log), lcs(lcs_file, log), centres(centres_file, log);
        writing femdv(edge_diagonals_file, log);
        circuit_files circuits = {data1, data2, lcs, centres, femdv};
        files.circuits = &circuits;
        eat_calc_fem_matrix(cntl, files, nvolte, log);
        close_output(log, femdv);
    } else {
        eat_calc_fem_matrix(cntl, files, nvolte, log);
    }
    close_output(log, matrix);
    close_output(log, vector);
    close_output(log, areas);
}

// Solves one system; the skyline solver's factor serves the right-hand sides of the circuit edges too.
enum class right_side { main, edge };
static void dispatch_solver(const control& cntl, right_side kind, solver_files files, std::FILE* log)
{
    switch (cntl.itype_solv) {
    case 0:
        if (kind == right_side::main && cntl.iopt_solv == 0)
            t_real_mtsolv_skylin1(cntl, files.index, files.matrix, log);
        t_real_mtsolv_skylin2(cntl, files.vector, files.solution, log);
        break;
    case 1:
        t_real_mtsolv_iccg(cntl, files, log);
        break;
    case 2:
        t_real_mtsolv_seidel(cntl, files, log);
        break;
    default: // no solver: the solution file stays empty
        break;
    }
}

static void solve_main_system(const control& cntl, std::FILE* log)
{
    log_time("matrix solver START ", log);
    announce("t_real_mtsolv_****", log);
    reading index(index_file, log), matrix(matrix_file, log), vector(vector_file, log);
    writing solution(solution_file, log);
    dispatch_solver(cntl, right_side::main, {index, matrix, vector, solution}, log);
    close_output(log, solution);
    log_time("matrix solver END   ", log);
}

static void solve_edge_systems(const control& cntl, std::int32_t nvolte, std::FILE* log)
{
    if (nvolte <= 0) return;
    log_lines(log, "    === func. t_real_mtsolv_**** for edge part ===\n");
    for (std::int32_t i = 1; i <= nvolte; ++i) {
        log_lines(log, "        edge no. i === %d\n", i);
        log_time("matrix solver START ", log);
        reading index(index_file, log), matrix(matrix_file, log);
        reading vector(edge_vector_name(i).text, vector_file, log); // the messages speak of the main files
        writing solution(edge_solution_name(i).text, solution_file, log);
        dispatch_solver(cntl, right_side::edge, {index, matrix, vector, solution}, log);
        close_output(log, solution);
        log_time("matrix solver END   ", log);
    }
}

static void solve_circuits(const control& cntl, std::int32_t nvolte, std::FILE* log)
{
    if (cntl.maxvlt <= 0) return;
    announce("t_solve_voltr", log);
    reading data2(circuit2_file, log), matrix(circuit_matrix_file, log), vector(circuit_vector_file, log);
    optional_reading femdv(nvolte > 0, edge_diagonals_file, log);
    reading previous(circuit_previous_file, log);
    writing solution(circuit_solution_file, log), report(circuit_results_text, log, content::text);
    t_solve_voltr(cntl, {data2, matrix, vector, femdv.lent, previous, solution, report}, nvolte, log);
    close_output(log, solution);
    close_output(log, report);
}

// The element structure as the assembly saw it is kept beside the new one.
static void drive_elements(const control& cntl, std::int32_t nvolte, std::FILE* log)
{
    if (nvolte <= 0) return;
    announce("at_ch_felm_struct_voltr", log);
    std::remove(felm_struct_before_file); // its absence is no fault; a rename that fails shows at the open
    if (std::rename(felm_struct_file, felm_struct_before_file) != 0) fail_open(felm_struct_before_file, log);
    reading lcs(lcs_file, log), node_struct(node_struct_file, log), before(felm_struct_before_file, log);
    writing felm_struct(felm_struct_file, log);
    reading data1(circuit1_file, log), data2(circuit2_file, log), centres(centres_file, log);
    reading circuit_solution(circuit_solution_file, log);
    at_ch_felm_struct_voltr(cntl, {lcs, node_struct, before, felm_struct, data1, data2, centres, circuit_solution},
                            nvolte, log);
    close_output(log, felm_struct);
}

static void write_results(const control& cntl, std::int32_t nvolte, std::FILE* log)
{
    {
        announce("eat_calc_node_resl", log);
        reading node_struct(node_struct_file, log), solution(solution_file, log);
        writing table(node_results_text, log, content::text), results(node_results_file, log);
        eat_calc_node_resl(cntl, {node_struct, solution, table, results}, log);
        close_output(log, table);
        close_output(log, results);
    }
    announce("eat_calc_felm_resl", log);
    reading node_struct(node_struct_file, log), felm_struct(felm_struct_file, log);
    optional_reading conductivities(cntl.iopt_propsg == 1, conductivities_file, log);
    optional_reading previous(cntl.iopt_trans == 1, previous_file, log);
    reading solution(solution_file, log);
    writing table(felm_results_text, log, content::text), results(felm_results_file, log);
    felm_resl_files files = {node_struct, felm_struct, conductivities.lent, previous.lent, solution, table,
                             results,     nullptr};
    if (nvolte > 0) {
        reading data1(circuit1_file, log), data2(circuit2_file, log), circuit_solution(circuit_solution_file, log);
        felm_resl_circuit_files circuits = {data1, data2, circuit_solution};
        files.circuits = &circuits;
        eat_calc_felm_resl(cntl, files, nvolte, log);
    } else {
        eat_calc_felm_resl(cntl, files, nvolte, log);
    }
    close_output(log, table);
    close_output(log, results);
}

void run_analysis(std::FILE* log)
{
    log_lines(log, "%s%s", banner, owner_notice);
    log_time("program START", log);
    control cntl;
    read_control(cntl, log);
    if (cntl.iopt_rdata == 1) read_model(cntl, log);
    const std::int32_t nvolte = read_circuit_header(cntl, log);
    if (cntl.iopt_prep == 1) prepare_model(cntl, log);
    join_materials(cntl, log);
    check_previous_potentials(cntl, log);
    assemble(cntl, nvolte, log);
    solve_main_system(cntl, log);
    solve_edge_systems(cntl, nvolte, log);
    solve_circuits(cntl, nvolte, log);
    drive_elements(cntl, nvolte, log);
    write_results(cntl, nvolte, log);
    log_time("program END  ", log);
    log_lines(log, "%s", end_line);
}

} // namespace tarnel
