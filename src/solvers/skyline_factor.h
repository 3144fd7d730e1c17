// LDLT factorisation of one block of skyline columns, A = U^T D U with unit upper U:
//   u_ij = (a_ij - sum_k (u_ki d_k) u_kj) / d_i,   d_j = a_jj - sum_k (u_kj u_kj) d_k,   k ascending,
// each sum formed from 0 and subtracted once. Columns meet in tiles, so that the sums run from cache; the order within
// a sum is that of the formula whatever the tiles and blocks, so every division gives the same bits.
//   source  Jennings and McKeown, Matrix Computation (profile storage); Golub and Van Loan, Matrix Computations (LDLT)
#pragma once

#include "common/arrays.h"
#include "solvers/skyline_kernel.h"

#include <cstdint>

namespace tarnel
{

struct skyline_profile {
    std::int32_t ndim = 0;
    std::int32_t nband = 0;           // largest height
    owned_array<std::int32_t> linsky; // height of each column, the diagonal counts
    owned_array<std::int32_t> iadlin; // address of each column in its block
};

inline std::int32_t column_top(const skyline_profile& profile, std::int32_t j)
{
    return j - profile.linsky[static_cast<std::size_t>(j)] + 1;
}

// Columns [first, end) of the matrix in `aaa`, with `between` doubles that are nobody's before each but the first;
// column j's term of row i at aaa[iadlin[j] + between * (j - first) + j - i].
struct skyline_block {
    std::int32_t first, end;
    double* aaa;
    std::int32_t between = 0;
};

inline double* block_column(const skyline_profile& profile, const skyline_block& block, std::int32_t j)
{
    const std::ptrdiff_t before = std::ptrdiff_t{block.between} * (j - block.first);
    return &block.aaa[profile.iadlin[static_cast<std::size_t>(j)] + before];
}

// A group of consecutive finished columns, packed: in tiles of sixteen columns i, w[k][i] = u_ki d_k.
struct column_group {
    std::int32_t most = 0;         // columns it can take, a multiple of tile_rows
    std::int32_t first = 0;        // its first column
    std::int32_t count = 0;        // columns in it
    std::size_t tile_room = 0;     // doubles of a tile
    owned_array<double> packed;    // tiles one after another, each from its top row
    owned_array<std::int32_t> top; // lowest row of each tile
    const tile_kernel* kernel = nullptr;
};

// Room for a group; its memory stays near a quarter of the block's array.
//   errors  "Can't allocate (work2)"
column_group make_group(std::FILE* log, std::int32_t nband, std::int32_t work_length, const tile_kernel& kernel);

// Empties a group whose next columns start at `first`.
void start_group(column_group& group, std::int32_t first);

// Adds the next column to a group: height terms, the diagonal first.
//   pivots  d_k of all rows before it
void add_column(const skyline_profile& profile, column_group& group, const double* terms, const double pivots[]);

// Finishes the rows of a group in the columns of a block that come after it; rows before the group are finished there.
void apply_group(const skyline_profile& profile, const column_group& group, const skyline_block& block,
                 const double pivots[]);

// Finishes the columns of a block whose rows before it are finished, pivots included.
//   errors  a pivot below eps_zero in magnitude, or a NaN: "The global matrix is singular." and the row from 0
void factorise_block(const skyline_profile& profile, const skyline_block& block, column_group& group, double eps_zero,
                     double pivots[], std::FILE* log);

} // namespace tarnel
