/* The direct solver of CHOLMOD: supernodal LLT, ordered by minimum degree. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct cholmod_result {
    double analyse_seconds, factorise_seconds, solve_seconds; /* CPU */
    double flops, terms;                                      /* of the factor */
    double* solution;                                         /* n, given by the caller */
};

/* Rows of the upper triangle, columns ascending from 0: as columns, those of the lower triangle. Returns 0 or fails. */
int solve_with_cholmod(int n, const int* start, const int* column, const double* value, const double* right_side,
                       struct cholmod_result* result);

#ifdef __cplusplus
}
#endif
