/* PETSc, one process: KSPCG with PCICC(0) in the natural order, with one symmetric sweep of PCSOR (omega 1), or alone.
 * Its default inserts a shift only where a pivot is not positive. */
#include "peers/cg_peers.h"

#include <petscksp.h>
#include <time.h>

static double cpu_seconds_now(void)
{
    struct timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return (double)now.tv_sec + 1e-9 * (double)now.tv_nsec;
}

static PetscErrorCode choose_preconditioner(PC pc, enum cg_peer_kind kind)
{
    switch (kind) {
    case peer_incomplete_factors:
        PetscCall(PCSetType(pc, PCICC));
        PetscCall(PCFactorSetLevels(pc, 0));
        PetscCall(PCFactorSetMatOrderingType(pc, MATORDERINGNATURAL));
        break;
    case peer_symmetric_sweep:
        PetscCall(PCSetType(pc, PCSOR));
        PetscCall(PCSORSetSymmetric(pc, SOR_LOCAL_SYMMETRIC_SWEEP));
        break;
    case peer_scaling_only:
        PetscCall(PCSetType(pc, PCJACOBI));
        break;
    }
    return 0;
}

static PetscErrorCode solve(const struct cg_peer_system* system, enum cg_peer_kind kind, enum cg_peer_store store,
                            struct cg_peer_result* result)
{
    Mat matrix;
    Vec b, x;
    KSP ksp;
    PC pc;
    PetscInt iterations;
    KSPConvergedReason reason;
    /* PETSc takes the arrays as they are and does not write to them here. */
    PetscInt *start = (PetscInt*)system->start, *column = (PetscInt*)system->column;
    PetscScalar* value = (PetscScalar*)system->value;
    if (store == store_both_triangles)
        PetscCall(MatCreateSeqAIJWithArrays(PETSC_COMM_SELF, system->n, system->n, start, column, value, &matrix));
    else
        PetscCall(MatCreateSeqSBAIJWithArrays(PETSC_COMM_SELF, 1, system->n, system->n, start, column, value, &matrix));
    PetscCall(MatSetOption(matrix, MAT_SPD, PETSC_TRUE));
    PetscCall(VecCreateSeqWithArray(PETSC_COMM_SELF, 1, system->n, system->right_side, &b));
    PetscCall(VecCreateSeqWithArray(PETSC_COMM_SELF, 1, system->n, result->solution, &x));
    {
        const double begin = cpu_seconds_now();
        PetscCall(KSPCreate(PETSC_COMM_SELF, &ksp));
        PetscCall(KSPSetOperators(ksp, matrix, matrix));
        PetscCall(KSPSetType(ksp, KSPCG));
        PetscCall(KSPSetNormType(ksp, KSP_NORM_UNPRECONDITIONED));
        PetscCall(KSPSetTolerances(ksp, system->eps, 0.0, PETSC_DEFAULT, 1000000));
        PetscCall(KSPGetPC(ksp, &pc));
        PetscCall(choose_preconditioner(pc, kind));
        PetscCall(KSPSetUp(ksp));
        PetscCall(KSPSolve(ksp, b, x));
        result->seconds = cpu_seconds_now() - begin;
    }
    PetscCall(KSPGetIterationNumber(ksp, &iterations));
    PetscCall(KSPGetConvergedReason(ksp, &reason));
    result->iterations = (int)iterations;
    PetscCall(KSPDestroy(&ksp));
    PetscCall(VecDestroy(&b));
    PetscCall(VecDestroy(&x));
    PetscCall(MatDestroy(&matrix));
    return reason > 0 ? 0 : 1;
}

int solve_with_petsc(const struct cg_peer_system* system, enum cg_peer_kind kind, enum cg_peer_store store,
                     struct cg_peer_result* result)
{
    if (PetscInitializeNoArguments() != 0) return 1;
    return (int)solve(system, kind, store, result); /* finalised by the end of the process */
}
