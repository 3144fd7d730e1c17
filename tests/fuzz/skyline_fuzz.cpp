// The skyline solver on an assembled system (first byte even), and its substitution on the blocks of a factorisation.
#include "common/records.h"
#include "fuzz/fuzz_support.h"
#include "solvers/skyline.h"

using namespace tarnel;
using namespace tarnel_fuzz;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const base_run base = base_of("substituted-again");
    static const std::vector<std::string> names = {index_file, matrix_file, vector_file, "a.tmp",
                                                   "b.tmp",    "c.tmp",     "d.tmp",     skyline_text};
    if (size == 0) return 0;
    const edited_files edited = edit(base, names, text_of(data + 1, size - 1));
    if (edited.files.at(skyline_text).find('/') != std::string::npos) return 0; // a file of somewhere else
    write_edited(edited);
    if (data[0] % 2 == 0)
        runs_through([](std::FILE* log) {
            lent_input index(index_file, log), matrix(matrix_file, log);
            t_real_mtsolv_skylin1(base.cntl, index, matrix, log);
        });
    runs_through([](std::FILE* log) {
        lent_input vector(vector_file, log);
        lent_output solution(solution_file, log);
        t_real_mtsolv_skylin2(base.cntl, vector, solution, log);
        close_output(log, solution);
    });
    return 0;
}
