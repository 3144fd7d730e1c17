#include "solvers/skyline.h"

#include "solvers/skyline_factor.h"
#include "solvers/skyline_files.h"

#include <algorithm>

namespace tarnel
{

static void set_heights(const matrix_rows& rows, std::int32_t work_length, skyline_profile& profile, std::FILE* log)
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    for (std::size_t i = 0; i < n; ++i)
        for (std::int64_t t = rows.start[i]; t < rows.start[i + 1]; ++t) {
            const std::int32_t c = rows.mindex[static_cast<std::size_t>(t)];
            std::int32_t& height = profile.linsky[static_cast<std::size_t>(c)];
            height = std::max(height, c - static_cast<std::int32_t>(i) + 1);
        }
    for (std::int32_t j = 0; j < rows.ndim; ++j) {
        const std::int32_t height = profile.linsky[static_cast<std::size_t>(j)];
        if (height < 1)
            fail(log,
                 "      Error. the height of sky-line(linsky) is 0.\n"
                 "                 i = %d \n",
                 j + 1);
        profile.nband = std::max(profile.nband, height);
    }
    log_lines(log, "      Band width(nband) === %d \n", profile.nband);
    if (profile.nband < 1 || profile.nband > work_length)
        fail(log, "      Error. the band width(nband) exceeds the limit.\n");
}

// First columns of the blocks, closed by ndim; addresses run on within a block.
struct block_division {
    growing_array<std::int32_t> iaddiv;
    std::int32_t matdiv = 0;
    std::int32_t longest = 0;      // doubles of the longest block
    std::size_t longest_image = 0; // doubles of the longest block as its file has it
};

// Doubles of a block of so many columns and terms, as its file has it.
static std::size_t image_length(std::int32_t columns, std::int32_t terms)
{
    return header_room + static_cast<std::size_t>(columns) * head_room + static_cast<std::size_t>(terms);
}

static block_division divide(const skyline_setup& setup, skyline_profile& profile, std::FILE* log)
{
    block_division division;
    append(log, "iaddiv", division.iaddiv, std::int32_t{0});
    division.matdiv = 1;
    std::int32_t first = 0, running = 0;
    for (std::int32_t j = 0; j < profile.ndim; ++j) {
        const std::int32_t height = profile.linsky[static_cast<std::size_t>(j)];
        if (running > setup.work_length - height) { // the column would end beyond the work array
            if (++division.matdiv > setup.max_matdiv)
                fail(log, "      Error. the no. of matrix division(matdiv) exceeds the limit.\n");
            append(log, "iaddiv", division.iaddiv, j);
            first = j;
            running = 0;
        }
        profile.iadlin[static_cast<std::size_t>(j)] = running;
        running += height;
        division.longest = std::max(division.longest, running);
        division.longest_image = std::max(division.longest_image, image_length(j + 1 - first, running));
    }
    append(log, "iaddiv", division.iaddiv, profile.ndim);
    log_lines(log, "      No. of the work file for sky-line(matdiv) === %d \n", division.matdiv);
    return division;
}

static column_record head_of(const skyline_profile& profile, std::int32_t j)
{
    return {profile.linsky[static_cast<std::size_t>(j)], profile.iadlin[static_cast<std::size_t>(j)]};
}

// Sets the heads and terms of a block's image, which is zeros.
static void scatter_rows(const matrix_rows& rows, const skyline_profile& profile, const skyline_block& block)
{
    for (std::int32_t j = block.first; j < block.end; ++j)
        put_column_head(block_column(profile, block, j), head_of(profile, j));
    for (std::int32_t i = std::max(0, block.first - profile.nband + 1); i < block.end; ++i) {
        const auto row = static_cast<std::size_t>(i);
        for (std::int64_t t = rows.start[row]; t < rows.start[row + 1]; ++t) {
            const std::int32_t c = rows.mindex[static_cast<std::size_t>(t)];
            if (c < block.first || c >= block.end) continue;
            block_column(profile, block, c)[c - i] = rows.amatr[static_cast<std::size_t>(t)];
        }
    }
}

// What the factorisation of all blocks works with.
struct factorisation {
    const control& cntl;
    const skyline_setup& setup;
    const skyline_profile& profile;
    const block_division& division;
    owned_array<double> work1; // pivots
    owned_array<double> work2; // one column of an earlier block
    column_group group;
};

// Reduces the columns of a block by the columns of an earlier one, read from its file one by one.
static void reduce_by_file(factorisation& work, const skyline_block& block, std::int32_t earlier, std::int32_t reach,
                           std::FILE* log)
{
    const std::int32_t first = work.division.iaddiv.values[static_cast<std::size_t>(earlier)];
    const std::int32_t end = work.division.iaddiv.values[static_cast<std::size_t>(earlier) + 1];
    input_file file;
    open_block(log, work.setup, earlier, file);
    const block_header header = read_header(log, file, earlier, work.division.matdiv, work.profile.ndim);
    if (header.first != first) fail_in_header(log, "r6");
    if (header.end != end) fail_in_header(log, "r7");
    start_group(work.group, std::max(first, reach));
    for (std::int32_t i = first; i < end; ++i) {
        const column_expectation expected = {.height = work.profile.linsky[static_cast<std::size_t>(i)]};
        const column_record column = read_column_head(log, file, i, work.setup.work_length, expected);
        if (i < reach) {
            skip_column_terms(log, file, column.height);
            continue;
        }
        read_column_terms(log, file, work.work2.get(), column.height);
        add_column(work.profile, work.group, work.work2.get(), work.work1.get());
        if (work.group.count < work.group.most && i + 1 < end) continue;
        apply_group(work.profile, work.group, block, work.work1.get());
        start_group(work.group, i + 1);
    }
}

// Doubles of a block's image.
static std::size_t length_of(const factorisation& work, std::int32_t b)
{
    const std::int32_t* iaddiv = work.division.iaddiv.values.get();
    const column_record last = head_of(work.profile, iaddiv[b + 1] - 1);
    return image_length(iaddiv[b + 1] - iaddiv[b], last.address + last.height);
}

//   image  of the longest block, zeros
static void factorise_blocks(factorisation& work, const matrix_rows& rows, double image[], std::FILE* log)
{
    const std::int32_t* iaddiv = work.division.iaddiv.values.get();
    std::size_t used = 0, cleared = 0; // doubles of the image that hold older blocks, but for the first ones
    for (std::int32_t b = 0; b < work.division.matdiv; ++b) {
        const skyline_block block = {iaddiv[b], iaddiv[b + 1], image + header_room + head_room, head_room};
        const std::size_t length = length_of(work, b);
        if (const std::size_t end = std::min(used, length); cleared < end) std::fill(image + cleared, image + end, 0.0);
        put_header(image, {work.division.matdiv, b, block.first, block.end});
        scatter_rows(rows, work.profile, block);
        const std::int32_t reach = std::max(0, block.first - work.profile.nband + 1); // highest row of any column here
        for (std::int32_t earlier = 0; earlier < b; ++earlier)
            if (iaddiv[earlier + 1] > reach) reduce_by_file(work, block, earlier, reach, log);
        factorise_block(work.profile, block, work.group, work.cntl.eps_zero, work.work1.get(), log);
        used = std::max(used, length);
        cleared = b + 1 < work.division.matdiv ? std::min(length, length_of(work, b + 1)) : 0;
        output_file file;
        create_block(log, work.setup, b, file);
        write_image(log, file, image, length, cleared);
        close_output(log, file);
    }
}

void t_real_mtsolv_skylin1(control cntl, input_file& index, input_file& matrix, std::FILE* log)
{
    log_lines(log, "    === in func. t_real_mtsolv_skylin1 ===\n");
    const system_head head = read_matrix(cntl, index, matrix, trailers::left, log);
    const matrix_rows& rows = head.rows;
    const skyline_setup setup = read_skyline_setup(log);
    const auto n = static_cast<std::size_t>(rows.ndim);
    skyline_profile profile;
    profile.ndim = rows.ndim;
    owned_array<double> work1 = zero_array<double>(log, "work1", n);
    profile.linsky = zero_array<std::int32_t>(log, "linsky", n);
    profile.iadlin = zero_array<std::int32_t>(log, "iadlin", n);
    set_heights(rows, setup.work_length, profile, log);
    const block_division division = divide(setup, profile, log);
    const owned_array<double> aaa = zero_array<double>(log, "aaa", division.longest_image);
    factorisation work = {cntl,
                          setup,
                          profile,
                          division,
                          std::move(work1),
                          zero_array<double>(log, "work2", static_cast<std::size_t>(profile.nband)),
                          make_group(log, profile.nband, division.longest, fastest_tile_kernel())};
    factorise_blocks(work, rows, aaa.get(), log);
}

} // namespace tarnel
