#include "prep/matrix_index.h"

#include "common/element_table.h"
#include "common/look_ahead.h"
#include "common/number_index.h"
#include "common/record_list.h"
#include "common/records.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tarnel
{

// Rows are sorted sets in one store of columns. A row that outgrows its room moves to the end of the store with twice
// the room; so memory follows the terms that exist, not maxnzero.
struct index_row {
    std::size_t first;
    std::int32_t terms;
    std::int32_t room;
};

struct index_rows {
    owned_array<index_row> rows;         // nozerot and the place of each row
    growing_array<std::int32_t> columns; // mindex
};

static void make_room(std::FILE* log, index_rows& matrix, index_row& row)
{
    const std::int32_t room = row.room == 0 ? 4 : 2 * row.room;
    const std::size_t first = matrix.columns.size;
    reserve(log, "mindex", matrix.columns, first + static_cast<std::size_t>(room));
    matrix.columns.size = first + static_cast<std::size_t>(room);
    if (row.terms > 0)
        std::memcpy(&matrix.columns.values[first], &matrix.columns.values[row.first],
                    static_cast<std::size_t>(row.terms) * sizeof(std::int32_t));
    row.first = first;
    row.room = room;
}

// Inserts a column into a row unless it is there.
static void insert_column(std::FILE* log, index_rows& matrix, std::int32_t row_no, std::int32_t column,
                          std::int32_t maxnzero)
{
    index_row& row = matrix.rows[static_cast<std::size_t>(row_no)];
    const std::int32_t* columns = matrix.columns.values.get() + row.first;
    std::int32_t at = row.terms; // of the first column that is not below the new one
    while (at > 0 && columns[at - 1] >= column) --at;
    if (at < row.terms && columns[at] == column) return;
    if (row.terms > 0 && row.terms + 1 > maxnzero) fail(log, "      Error. no. of non-zero term. over the limit.\n");
    if (row.terms == row.room) make_room(log, matrix, row);
    // The few columns behind it move on one by one: a call takes longer.
    std::int32_t* place = matrix.columns.values.get() + row.first;
    for (; at < row.terms; ++at) std::swap(column, place[at]);
    place[at] = column;
    ++row.terms;
}

struct node_unknowns {
    number_index nodes;
    growing_array<std::int32_t> nufai; // by place
    std::int32_t ndim = 0;             // the largest
};

static node_unknowns read_unknowns(const control& cntl, input_file& in, std::FILE* log)
{
    node_unknowns read;
    record_list list = node_list(in, cntl.maxnog);
    for (node_struct_record node; next_record(log, list, node);) {
        add_number(log, "nufai", read.nodes, node.nog);
        append(log, "nufai", read.nufai, node.nufai);
        read.ndim = std::max(read.ndim, node.nufai);
    }
    finish_index(log, "nufai", read.nodes);
    if (read.ndim < 1 || read.ndim > cntl.maxdim)
        fail(log,
             "      Error. unknown no. over the limit, or, 0.\n"
             "             ndim = %d\n",
             read.ndim);
    return read;
}

// Unknowns that nodes carry, ascending; a row each. Without gaps, as the numbering makes them, row and unknown agree.
static number_index carried_unknowns(const node_unknowns& read, std::FILE* log)
{
    number_index carried;
    growing_array<std::int32_t> numbers;
    for (std::size_t place = 0; place < read.nufai.size; ++place)
        if (read.nufai.values[place] > 0) append(log, "nozerot", numbers, read.nufai.values[place]);
    std::int32_t* begin = numbers.values.get();
    if (!std::is_sorted(begin, begin + numbers.size)) std::sort(begin, begin + numbers.size);
    for (std::size_t k = 0; k < numbers.size; ++k)
        if (k == 0 || begin[k] != begin[k - 1]) add_number(log, "nozerot", carried, begin[k]);
    finish_index(log, "nozerot", carried);
    return carried;
}

// Asks for what elements further on touch: unknowns, then rows, then columns, each when the one before has come.
static void look_ahead(const record_list& list, const node_unknowns& nodes, const number_index& unknowns,
                       const index_rows& matrix)
{
    if (!unknowns.without_gaps) return;
    std::size_t place[looked_at];
    std::size_t count = places_ahead<mesh_felm_record>(list, nodes.nodes, 36, place);
    for (std::size_t k = 0; k < count; ++k) ask_for(&nodes.nufai.values[place[k]]);
    count = places_ahead<mesh_felm_record>(list, nodes.nodes, 24, place);
    for (std::size_t k = 0; k < count; ++k)
        if (const std::int32_t row = place_of(unknowns, nodes.nufai.values[place[k]]); row >= 0)
            ask_for(&matrix.rows[static_cast<std::size_t>(row)]);
    count = places_ahead<mesh_felm_record>(list, nodes.nodes, 12, place);
    for (std::size_t k = 0; k < count; ++k)
        if (const std::int32_t row = place_of(unknowns, nodes.nufai.values[place[k]]); row >= 0)
            ask_for(matrix.columns.values.get() + matrix.rows[static_cast<std::size_t>(row)].first);
}

static void couple_elements(const control& cntl, input_file& in, const node_unknowns& nodes,
                            const number_index& unknowns, index_rows& matrix, std::FILE* log)
{
    record_list list = felm_list(in, cntl.maxfelm);
    for (mesh_felm_record felm; next_record(log, list, felm);) {
        look_ahead(list, nodes, unknowns, matrix);
        const element_type& type = element_type_of(log, felm.type, felm.noe, ".");
        std::int32_t row[most_nodes]; // of each node's unknown, negative without one
        for (std::int32_t j = 0; j < type.nodes; ++j) {
            if (felm.node[j] < 1 || felm.node[j] > cntl.maxnog) fail_connection(log, "fem", felm.noe, j + 1);
            const std::int32_t place = place_of(nodes.nodes, felm.node[j]);
            const std::int32_t nufai = place < 0 ? 0 : nodes.nufai.values[static_cast<std::size_t>(place)];
            row[j] = nufai < 1 ? -1 : place_of(unknowns, nufai);
        }
        for (std::int32_t a = 0; a < type.nodes; ++a) {
            if (row[a] < 0) continue;
            for (std::int32_t b = 0; b < type.nodes; ++b)
                if (row[b] >= 0 && row[b] <= row[a]) insert_column(log, matrix, row[b], row[a], cntl.maxnzero);
        }
    }
}

static void write_index(output_file& out, std::int32_t ndim, const number_index& unknowns, index_rows& matrix,
                        std::FILE* log)
{
    write_value(log, out, ndim, "w1");
    for (std::int32_t i = 0; i < ndim; ++i) {
        const std::int32_t place = place_of(unknowns, i + 1);
        const index_row row = place < 0 ? index_row{} : matrix.rows[static_cast<std::size_t>(place)];
        if (row.terms < 1)
            fail(log,
                 "      Error. no. of non-zero term is 0.\n"
                 "             unknown no. = %d \n",
                 i);
        std::int32_t* columns = matrix.columns.values.get() + row.first;
        for (std::int32_t k = 0; k < row.terms; ++k) columns[k] = ascending_place(unknowns, columns[k]).number - 1;
        write_value(log, out, row.terms, "w2");
        write_values(log, out, columns, static_cast<std::size_t>(row.terms), "w3");
    }
    write_value(log, out, ndim, "w4");
    flush_output(log, out);
}

void eat_set_matrix_index(control cntl, matrix_index_files files, std::FILE* log)
{
    log_lines(log, "    === in func. eat_set_matrix_index ===\n");
    const node_unknowns nodes = read_unknowns(cntl, files.node_struct, log);
    const number_index unknowns = carried_unknowns(nodes, log);
    index_rows matrix;
    matrix.rows = zero_array<index_row>(log, "nozerot", static_cast<std::size_t>(unknowns.count));
    couple_elements(cntl, files.felms, nodes, unknowns, matrix, log);
    write_index(files.index, nodes.ndim, unknowns, matrix, log);
}

} // namespace tarnel
