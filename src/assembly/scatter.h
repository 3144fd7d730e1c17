// Adding an element into the global system, with the elimination of fixed and dependent nodes on the way.
#pragma once

#include "assembly/kernels.h"
#include "assembly/node_values.h"
#include "common/matrix_rows.h"

namespace tarnel
{

// What the global system knows of an element's nodes, by local node.
struct local_nodes {
    double aval0[most_nodes];         // constant term of the potential [Wb/m]
    double acoef[most_nodes];         // coefficient of the unknown
    std::int32_t unknown[most_nodes]; // from 0; negative without one
};

// Gathers the nodes at the given places.
void set_local_nodes(const node_values& nodes, std::int32_t count, const std::size_t place[], local_nodes& local);

// Adds an element's matrix k and right-hand side f to the rows and the global right-hand side. With every potential
// A = aval0 + acoef a:  f_j -= sum_i k_ji aval0_i;  uvecr[g_i] += acoef_i f_i;  row g_j, column g_i (g_j <= g_i)
// += acoef_i acoef_j k_ij. A column that is not in the row's list is passed over.
//   k  n x n of 20 x 20 [m/H, m2/H];  f  n places, changed [A, A m]
void scatter_element(int n, const element_matrix k, double f[], const local_nodes& local, matrix_rows& matrix,
                     double uvecr[]);

} // namespace tarnel
