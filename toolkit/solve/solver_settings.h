// What the control file asks of the linear solver. The log names neither the tolerance nor the iteration limit, and
// nobody reports that the limit was reached; so whoever wants to tell a converged run from another must read them here.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

struct solver_settings {
    std::int64_t iteration_limit = 0;
    double tolerance = 0; // of the relative residual; converged means strictly below
};

// Text of "at-cntl-data.txt". Nothing when it selects no iterative solver or cannot be understood: the run itself
// will say what is wrong with it.
std::optional<solver_settings> read_solver_settings(std::string_view control_text);
