// Models of a few elements that together read every input file of a run.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tarnel_test
{

struct small_model {
    const char* name;
    // Writes the inputs into the working directory, which is empty; `run` makes a complete run there, for a model that
    // goes on from work files. Nothing but inputs stays behind.
    void (*write)(const std::function<void()>& run);
    // Inputs that no model before it has in the same role.
    std::vector<std::string> inputs;
};

const std::vector<small_model>& small_models();

} // namespace tarnel_test
