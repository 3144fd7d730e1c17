#include "solvers/skyline_files.h"

#include "common/records.h"
#include "dataline/data_line.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace tarnel
{

constexpr const char* header_name = "header of work file for sky-line solver";
constexpr const char* columns_name = "work file for sky-line solver";

// The next character; the carriage return of a CR LF pair is passed over.
//   returns -1 at the end of file
static int next_character(input_file& in)
{
    const std::size_t have = fill_buffer(in, 2);
    if (have == 0) return -1;
    const char* next = in.buffer.get() + in.at;
    if (next[0] == '\r' && have > 1 && next[1] == '\n') {
        in.at += 2;
        return '\n';
    }
    ++in.at;
    return static_cast<unsigned char>(next[0]);
}

static void read_name(std::FILE* log, skyline_setup& setup, std::int32_t im, std::int32_t longest, input_file& in)
{
    append(log, "flname_sl", setup.name_at, setup.names.size);
    for (std::int32_t k = 0;; ++k) {
        if (k == longest)
            fail(log,
                 "      Error. in %s(2).\n"
                 "      Error. file name is too long. im = %d \n",
                 skyline_text, im);
        const int c = next_character(in);
        if (c < 0)
            fail(log,
                 "      Error. in %s(2).\n"
                 "      Error. no. of file name is less than max_matdiv. \n"
                 "             max_matdiv = %d  im = %d \n",
                 skyline_text, setup.max_matdiv, im);
        append(log, "flname", setup.names, c == '\n' ? '\0' : static_cast<char>(c));
        if (c == '\n') return;
    }
}

skyline_setup read_skyline_setup(std::FILE* log)
{
    constexpr std::int32_t largest = 1000000000;
    log_lines(log, "    === read t-skylin.txt ===\n");
    input_file in;
    if (!open_input(log, in, skyline_text, skyline_text)) fail(log, "      Error. Can't open %s.\n", skyline_text);
    log_lines(log, "        Now, reading t-skylin.txt. \n");
    data_line line;
    read_line_of(line, 3, in, log);
    skyline_setup setup;
    setup.work_length = t_get_iprm(line, 1, 0, largest, log);
    setup.max_matdiv = t_get_iprm(line, 2, 0, largest, log);
    const std::int32_t longest = t_get_iprm(line, 3, 0, largest, log);
    for (std::int32_t im = 1; im <= setup.max_matdiv; ++im) {
        read_name(log, setup, im, longest, in);
        log_lines(log, "      file name for skylin (%d) === %s\n", im,
                  setup.names.values.get() + setup.name_at.values[setup.name_at.size - 1]);
    }
    return setup;
}

static const char* block_name(std::FILE* log, const skyline_setup& setup, std::int32_t block)
{
    if (block < 0 || block >= setup.max_matdiv)
        fail(log, "      Error. file no. exceeds the limit. im = %d \n", block + 1);
    return setup.names.values.get() + setup.name_at.values[static_cast<std::size_t>(block)];
}

[[noreturn]] static void fail_open_block(std::FILE* log, std::int32_t block)
{
    fail(log,
         "      Error. Can't open the work file for sky-line. \n"
         "             The work file no. === %d \n",
         block + 1);
}

void open_block(std::FILE* log, const skyline_setup& setup, std::int32_t block, input_file& file)
{
    if (!open_input(log, file, block_name(log, setup, block), columns_name)) fail_open_block(log, block);
    log_lines(log, "      Now, reading the work file for sky-line no. === %d \n", block + 1);
}

void create_block(std::FILE* log, const skyline_setup& setup, std::int32_t block, output_file& file)
{
    if (!open_output(log, file, block_name(log, setup, block), header_name, content::binary))
        fail_open_block(log, block);
    log_lines(log, "      Now, writing the work file for sky-line no. === %d \n", block + 1);
}

void fail_in_header(std::FILE* log, const char* tag)
{
    fail_in_file(log, header_name, tag);
}

block_header read_header(std::FILE* log, input_file& file, std::int32_t block, std::int32_t matdiv, std::int32_t ndim)
{
    block_header header;
    if (!read_bytes(file, &header, sizeof header)) fail_in_header(log, "r1");
    if (header.matdiv < 1 || (matdiv > 0 && header.matdiv != matdiv)) fail_in_header(log, "r2");
    if (header.block != block) fail_in_header(log, "r3");
    if (header.first < 0 || header.first > ndim) fail_in_header(log, "r4");
    if (header.end < 0 || header.end > ndim) fail_in_header(log, "r5");
    return header;
}

void check_column(std::FILE* log, const char* name, column_record column, std::int32_t j, std::int32_t work_length,
                  const column_expectation& expected)
{
    if (column.height < 1 || column.height > j + 1 || (expected.height > 0 && column.height != expected.height))
        fail_in_file(log, name, "r2");
    if (column.address < 0 || (expected.address >= 0 && column.address != expected.address))
        fail_in_file(log, name, "r3");
    if (expected.running >= 0 && column.address != expected.running) fail_in_file(log, name, "r4");
    if (std::int64_t{column.address} + column.height > work_length) fail_in_file(log, name, "r5");
}

column_record read_column_head(std::FILE* log, input_file& file, std::int32_t j, std::int32_t work_length,
                               const column_expectation& expected)
{
    const auto column = read_value<column_record>(log, file, "r1");
    check_column(log, file.name, column, j, work_length, expected);
    return column;
}

void read_column_terms(std::FILE* log, input_file& file, double* to, std::int32_t height)
{
    read_values(log, file, to, static_cast<std::size_t>(height), "r6");
}

void skip_column_terms(std::FILE* log, input_file& file, std::int32_t height)
{
    for (std::size_t left = static_cast<std::size_t>(height) * sizeof(double); left > 0;) {
        const std::size_t step = std::min(left, fill_buffer(file, std::min(left, stream_buffer_bytes)));
        if (step == 0) fail_in_file(log, file.name, "r6");
        file.at += step;
        left -= step;
    }
}

void put_header(double* image, const block_header& header)
{
    static_assert(sizeof header == header_room * sizeof(double));
    std::memcpy(image, &header, sizeof header);
}

void put_column_head(double* terms, column_record column)
{
    static_assert(sizeof column == head_room * sizeof(double));
    std::memcpy(terms - head_room, &column, sizeof column);
}

// A record of a column in an image: where it is, and where it ends.
struct image_record {
    std::size_t at, end;
};

static image_record record_at(const double* image, std::size_t at)
{
    column_record column;
    std::memcpy(&column, image + at, sizeof column);
    return {at, at + head_room + static_cast<std::size_t>(column.height)};
}

void write_image(std::FILE* log, output_file& file, double* image, std::size_t length, std::size_t cleared)
{
    constexpr std::size_t piece = stream_buffer_bytes / sizeof(double);
    std::snprintf(file.name, sizeof file.name, "%s", columns_name); // a failure concerns the columns
    image_record record = record_at(image, header_room);
    for (std::size_t at = 0; at < length; at += piece) {
        const std::size_t count = std::min(piece, length - at);
        const std::size_t judged = std::min(at + piece, length - 1); // the item there names a failure
        while (record.end <= judged) record = record_at(image, record.end);
        if (!pass_to_system(file, image + at, count * sizeof(double)))
            fail_in_file(log, file.name, judged < record.at + head_room ? "w1" : "w2");
        if (at < cleared) std::fill_n(image + at, std::min(count, cleared - at), 0.0);
    }
    file.tag = "w2";
}

} // namespace tarnel
