/* Conjugate gradients of other libraries, on the matrix, order, right-hand side and tolerance of our solver: relative
 * residual of the scaled system, in the Euclidean norm. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

enum cg_peer_kind { peer_incomplete_factors, peer_symmetric_sweep, peer_scaling_only };
enum cg_peer_store { store_both_triangles, store_upper_triangle };

/* A scaled system: rows with ascending columns from 0. */
struct cg_peer_system {
    int n;
    const int *start, *column; /* of the triangles that are stored */
    const double* value;
    const double* right_side;
    double eps;
};

struct cg_peer_result {
    int iterations;   /* products with the matrix */
    double seconds;   /* CPU, the preconditioner's making included */
    double* solution; /* n, given by the caller */
};

/* Returns 0, or another number when the library refuses. */
int solve_with_petsc(const struct cg_peer_system* system, enum cg_peer_kind kind, enum cg_peer_store store,
                     struct cg_peer_result* result);
int solve_with_eigen(const struct cg_peer_system* system, enum cg_peer_kind kind, struct cg_peer_result* result);

#ifdef __cplusplus
}
#endif
