// Whole models as text inputs, written for a test in a few lines.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarnel_test
{

struct model_node {
    int nog;
    double x, y;
};

struct model_felm {
    int noe, type, nop;
    std::vector<int> nodes;
};

struct model_property {
    int nop;
    double mu;        // [H/m]
    double sigma = 0; // [S/m]
    double js = 0;    // [A/m2]
    int lnob = 0;
    double bx = 0, by = 0, b = 0; // direction and magnitude [T]
    int lnoh = 0;
    double hx = 0, hy = 0, h = 0; // direction and magnitude [A/m]
    int iptv = 0, iflg = 0, ij0v = 0;
};

struct model_condition {
    int nog;
    double fai0;
    int noi = 0;
    double acoef = 0;
};

struct model {
    int iax = 0;
    int maxnog = 0, maxfelm = 0, maxbelm = 0, maxprp = 20, maxdim = 0, maxnzero = 60, maxedg = 1; // 0: the exact limit
    int iopt_rdata = 1, iopt_prep = 1, iopt_proptv = 0, iopt_propsg = 0, iopt_h0vect = 0, iopt_j0vect = 0,
        iopt_belm = 0;
    int iopt_trans = 0;
    double delta_t = 0;
    int itype_solv = 1, iopt_solv = 1, itermax_solv = 2000;
    double eps_solv = 1e-13, accel_solv = 1.0;
    std::string lcs = "0 0 0\n"; // "t-lcs-data.txt"
    std::vector<model_node> nodes;
    std::vector<model_felm> felms;
    std::vector<model_property> properties;
    std::vector<model_condition> conditions;
};

// A field with as many digits as the 17 characters of a line's field hold.
std::string field(double value);

// Writes the seven text inputs into the working directory.
void write_model(const model& m);

// One unit square of two triangles, A fixed to 0 on the left and 1 on the right: solves at once.
model unit_square();

} // namespace tarnel_test
