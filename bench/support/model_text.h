// A model of triangles as the text inputs of a run.
#pragma once

#include "reference_models.h"
#include "support/msh_file.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace tarnel_bench
{

// Limits of the control data. End lines count: n nodes need a limit of n + 1.
struct model_limits {
    std::size_t maxnog, maxfelm, maxbelm, maxprp, maxdim, maxnzero, maxedg;
};

struct material {
    int number; // the region it fills
    double mu;  // permeability [H/m]
    double js;  // source current density [A/m2]
};

struct fixed_potential {
    std::uint32_t node; // from 0
    int value;          // [Wb/m]
};

struct text_model {
    geometry kind = geometry::planar;
    model_limits limits{};
    mesh shape; // coordinates are written to a step of 1e-10 m
    std::vector<material> materials;
    std::vector<fixed_potential> fixed;
    double eps_solv = 1e-10; // of ICCG, acceleration factor 1
};

// The smallest limits that let the model through.
model_limits exact_limits(const text_model& model);

// A coordinate as it is written [m].
double rounded(double coordinate);

// Writes the seven text inputs into a directory that exists.
//   errors  std::runtime_error for a file that cannot be written
void write_model(const std::filesystem::path& directory, const text_model& model);

} // namespace tarnel_bench
