// The iterative solvers on an assembled system; the first byte chooses the solver.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "solvers/iccg.h"
#include "solvers/seidel.h"

using namespace tarnel;
using namespace tarnel_fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const base_run base = base_of("axisymmetric");
    static const std::vector<std::string> names = {index_file, matrix_file, vector_file};
    if (size == 0) return 0;
    const int solver = data[0] % 4;
    write_edited(edit(base, names, text_of(data + 1, size - 1)));
    runs_through([solver](std::FILE* log) {
        control cntl = base.cntl;
        cntl.iopt_solv = solver;
        lent_input index(index_file, log), matrix(matrix_file, log), vector(vector_file, log);
        lent_output solution(solution_file, log);
        if (solver < 3)
            t_real_mtsolv_iccg(cntl, {index, matrix, vector, solution}, log);
        else
            t_real_mtsolv_seidel(cntl, {index, matrix, vector, solution}, log);
        close_output(log, solution);
    });
    return 0;
}
