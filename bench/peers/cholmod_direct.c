#include "peers/cholmod_direct.h"

#include <cholmod.h>
#include <string.h>
#include <time.h>

static double cpu_seconds_now(void)
{
    struct timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return (double)now.tv_sec + 1e-9 * (double)now.tv_nsec;
}

int solve_with_cholmod(int n, const int* start, const int* column, const double* value, const double* right_side,
                       struct cholmod_result* result)
{
    cholmod_common common;
    cholmod_start(&common);
    common.nmethods = 1;
    common.method[0].ordering = CHOLMOD_AMD;
    common.postorder = 1;
    common.supernodal = CHOLMOD_SUPERNODAL;

    cholmod_sparse* matrix =
        cholmod_allocate_sparse((size_t)n, (size_t)n, (size_t)start[n], 1, 1, -1, CHOLMOD_REAL, &common);
    cholmod_dense* b = cholmod_allocate_dense((size_t)n, 1, (size_t)n, CHOLMOD_REAL, &common);
    memcpy(matrix->p, start, sizeof(int) * ((size_t)n + 1));
    memcpy(matrix->i, column, sizeof(int) * (size_t)start[n]);
    memcpy(matrix->x, value, sizeof(double) * (size_t)start[n]);
    memcpy(b->x, right_side, sizeof(double) * (size_t)n);

    const double begin = cpu_seconds_now();
    cholmod_factor* factor = cholmod_analyze(matrix, &common);
    const double analysed = cpu_seconds_now();
    cholmod_factorize(matrix, factor, &common);
    const double factorised = cpu_seconds_now();
    cholmod_dense* x = cholmod_solve(CHOLMOD_A, factor, b, &common);
    const double solved = cpu_seconds_now();
    const int status = common.status;
    if (x != NULL) memcpy(result->solution, x->x, sizeof(double) * (size_t)n);
    result->analyse_seconds = analysed - begin;
    result->factorise_seconds = factorised - analysed;
    result->solve_seconds = solved - factorised;
    result->flops = common.fl;
    result->terms = common.lnz;
    cholmod_free_dense(&x, &common);
    cholmod_free_dense(&b, &common);
    cholmod_free_factor(&factor, &common);
    cholmod_free_sparse(&matrix, &common);
    cholmod_finish(&common);
    return status == CHOLMOD_OK ? 0 : 1;
}
