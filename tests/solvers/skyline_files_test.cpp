#include "solvers/skyline_files.h"

#include "solvers/skyline_systems.h"

#include <csignal>
#include <cstring>
#include <limits>

using namespace tarnel_test;
using tarnel::block_header, tarnel::column_expectation, tarnel::column_record, tarnel::skyline_setup;

namespace
{

const std::string opening = "    === read t-skylin.txt ===\n        Now, reading t-skylin.txt. \n";
const std::string count_error = "      Error. no. of parameters is illegal.\n             at line : ";
const std::string header_error = "      Error. in header of work file for sky-line solver(";
const std::string column_error = "      Error. in work file for sky-line solver(";

struct setup_outcome : stage_outcome {
    int work_length = -1, max_matdiv = -1;
    std::vector<std::string> names;
};

setup_outcome read_setup(const std::string& text)
{
    write_new_file("t-skylin.txt", text);
    setup_outcome outcome;
    static_cast<stage_outcome&>(outcome) = run_stage([&](std::FILE* log) {
        const skyline_setup setup = tarnel::read_skyline_setup(log);
        outcome.work_length = setup.work_length;
        outcome.max_matdiv = setup.max_matdiv;
        for (std::size_t k = 0; k < setup.name_at.size; ++k)
            outcome.names.push_back(setup.names.values.get() + setup.name_at.values[k]);
    });
    return outcome;
}

void expect_setup(const std::string& text, int work_length, const std::vector<std::string>& names)
{
    const setup_outcome outcome = read_setup(text);
    EXPECT_FALSE(outcome.failed) << text;
    EXPECT_EQ(outcome.work_length, work_length) << text;
    EXPECT_EQ(outcome.max_matdiv, static_cast<int>(names.size())) << text;
    EXPECT_EQ(outcome.names, names) << text;
    std::string log = opening;
    for (std::size_t k = 0; k < names.size(); ++k)
        log += "      file name for skylin (" + std::to_string(k + 1) + ") === " + names[k] + "\n";
    EXPECT_EQ(outcome.log, log);
}

void expect_refused(const std::string& text, const std::string& tail)
{
    const setup_outcome outcome = read_setup(text);
    EXPECT_TRUE(outcome.failed) << text;
    EXPECT_EQ(outcome.log, opening + tail) << text;
}

} // namespace

using skyline_setup_text = stage_test;

TEST_F(skyline_setup_text, names_are_cut_at_their_newline_and_logged_from_one)
{
    expect_setup("1000 2 6\na.tmp\nb c\n", 1000, {"a.tmp", "b c"});
    expect_setup("  7   1  80  \n../other/%s%n.tmp\nrest is not read", 7, {"../other/%s%n.tmp"});
    expect_setup("0 0 0\n", 0, {});
    expect_setup("1 2 1\n\n\n", 1, {"", ""});
    expect_setup("5 1 9\n lead \t \n", 5, {" lead \t "});
}

TEST_F(skyline_setup_text, length_of_a_name_line_counts_its_newline)
{
    expect_setup("1 1 6\n12345\n", 1, {"12345"});
    const std::string long_name = "      Error. in t-skylin.txt(2).\n      Error. file name is too long. im = 1 \n";
    expect_refused("1 1 5\n12345\n", long_name);
    expect_refused("1 1 5\n12345", long_name);
    expect_refused("1 1 0\n\n", long_name);
    expect_refused("1 2 4\nabc\nabcd\n", "      file name for skylin (1) === abc\n"
                                         "      Error. in t-skylin.txt(2).\n"
                                         "      Error. file name is too long. im = 2 \n");
    const std::string name(70000, 'x'); // longer than any buffer
    expect_setup("1 2 70001\n" + name + "\nb\n", 1, {name, "b"});
}

TEST_F(skyline_setup_text, end_of_file_before_the_last_name_says_which)
{
    const auto few = [](int names, int im) {
        return "      Error. in t-skylin.txt(2).\n"
               "      Error. no. of file name is less than max_matdiv. \n"
               "             max_matdiv = " +
               std::to_string(names) + "  im = " + std::to_string(im) + " \n";
    };
    expect_refused("1 1 10\n", few(1, 1));
    expect_refused("1 1 10\nabc", few(1, 1));
    expect_refused("1 3 10\na\n", "      file name for skylin (1) === a\n" + few(3, 2));
    expect_refused("1 3 10\na\nb\nc", "      file name for skylin (1) === a\n"
                                      "      file name for skylin (2) === b\n" +
                                          few(3, 3));
    // Half of a line end, before the place where the buffer still holds the newline of an earlier line.
    const std::string name(tarnel::stream_buffer_bytes - 11, 'x');
    expect_refused("1 2 200000\n" + name + "\nb\r", "      file name for skylin (1) === " + name + "\n" + few(2, 2));
}

TEST_F(skyline_setup_text, line_ends_of_two_characters_count_and_show_as_one)
{
    expect_setup("10 2 4\r\nabc\r\nde\r\n", 10, {"abc", "de"});
    expect_refused("10 1 3\r\nabc\r\n",
                   "      Error. in t-skylin.txt(2).\n      Error. file name is too long. im = 1 \n");
    expect_setup("1 1 9\na\rb\n", 1, {"a\rb"});                    // alone it is a character like any other
    const std::string name(tarnel::stream_buffer_bytes - 11, 'x'); // the pair straddles a full buffer
    expect_setup("1 2 200000\n" + name + "\r\nb\r\n", 1, {name, "b"});
}

TEST_F(skyline_setup_text, first_line_needs_three_numbers_within_their_limits)
{
    for (const std::string line : {"", "   ", "1 2", "1 2 3 4"}) expect_refused(line + "\n", count_error + line + "\n");
    expect_refused("1 2\r\na\n", count_error + "1 2\n");
    const std::string at = " \n             at line : ";
    expect_setup("999999999 0 999999999\n", 999999999, {});
    int ip = 0;
    for (const std::string tail : {" 0 0\n", " 0\n", "\n"}) {
        std::string head;
        for (int k = 0; k < ip; ++k) head += "0 ";
        const std::string number = std::to_string(++ip);
        const std::string minus = head + "-1" + tail, ten = head + "1000000000" + tail, word = head + "3.5" + tail;
        expect_refused(minus, "      Error. integer parameter over the limit. ip = " + number + at + minus);
        expect_refused(ten, "      Error. no. of character per a parameter too large. ip = " + number + at + ten);
        expect_refused(word, "      Error. illegal integer parameter. ip = " + number + at + word);
    }
    expect_refused("", "      Error. EOF found in data line. \n             at line : " + std::string(101, ' '));
    expect_refused("1 2 3",
                   "      Error. EOF found in data line. \n             at line : 1 2 3" + std::string(96, ' '));
}

TEST_F(skyline_setup_text, missing_file_is_reported_after_the_heading)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) { tarnel::read_skyline_setup(log); });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "    === read t-skylin.txt ===\n      Error. Can't open t-skylin.txt.\n");
}

TEST_F(skyline_setup_text, promise_of_many_names_costs_nothing)
{
#ifdef TARNEL_TEST_SANITIZED
    GTEST_SKIP() << "the address space is the sanitizer's";
#endif
    EXPECT_EQ(status_of_child([] {
                  if (!limit_memory(16 << 20)) return 2;
                  const setup_outcome outcome = read_setup("999999999 999999999 999999999\na\n");
                  return outcome.log == opening + "      file name for skylin (1) === a\n"
                                                  "      Error. in t-skylin.txt(2).\n"
                                                  "      Error. no. of file name is less than max_matdiv. \n"
                                                  "             max_matdiv = 999999999  im = 2 \n"
                             ? 0
                             : 1;
              }),
              0);
}

using skyline_files = stage_test;

namespace
{

stage_outcome with_setup(const std::string& text, const std::function<void(std::FILE*, const skyline_setup&)>& body)
{
    write_new_file("t-skylin.txt", text);
    skyline_setup setup;
    run_stage([&](std::FILE* log) { setup = tarnel::read_skyline_setup(log); });
    return run_stage([&](std::FILE* log) { body(log, setup); });
}

} // namespace

TEST_F(skyline_files, block_outside_the_names_is_refused_with_its_number_from_one)
{
    for (const bool writing : {false, true})
        for (const auto& [block, number] : {std::pair{-1, "0"}, {2, "3"}, {1000, "1001"}}) {
            const auto touch = [&, block = block](std::FILE* log, const skyline_setup& setup) {
                tarnel::input_file in;
                tarnel::output_file out;
                if (writing) return create_block(log, setup, block, out);
                open_block(log, setup, block, in);
            };
            const stage_outcome outcome = with_setup("9 2 9\na\nb\n", touch);
            EXPECT_TRUE(outcome.failed);
            EXPECT_EQ(outcome.log, std::string("      Error. file no. exceeds the limit. im = ") + number + " \n");
        }
}

TEST_F(skyline_files, file_that_cannot_be_opened_gives_two_lines_for_reading_and_writing)
{
    const std::string text = "9 2 20\nthere\nno-folder/b\n";
    write_file("there", "x");
    const std::string error = "      Error. Can't open the work file for sky-line. \n"
                              "             The work file no. === 2 \n";
    tarnel::input_file in;
    tarnel::output_file out;
    EXPECT_EQ(with_setup(text, [&](auto* log, auto& setup) { open_block(log, setup, 1, in); }).log, error);
    EXPECT_EQ(with_setup(text, [&](auto* log, auto& setup) { create_block(log, setup, 1, out); }).log, error);
    EXPECT_EQ(with_setup(text, [&](auto* log, auto& setup) { open_block(log, setup, 0, in); }).log, reading_log(1));
    const auto create = [&](auto* log, auto& setup) {
        create_block(log, setup, 0, out);
        close_output(log, out);
    };
    EXPECT_EQ(with_setup(text, create).log, writing_log(1));
    EXPECT_EQ(read_file("there"), "");
}

TEST_F(skyline_files, header_and_records_are_laid_out_field_by_field)
{
    std::vector<double> image = {0, 0, 0, 4.0, 0, 4.0, 0.5, -0.25};
    tarnel::put_header(image.data(), {5, 3, 17, 19});
    tarnel::put_column_head(&image[3], {1, 100});
    tarnel::put_column_head(&image[5], {3, 101});
    const auto write = [&](std::FILE* log, const skyline_setup& setup) {
        tarnel::output_file out;
        create_block(log, setup, 0, out);
        write_image(log, out, image.data(), image.size(), 0);
        close_output(log, out);
    };
    EXPECT_FALSE(with_setup("9 1 9\nblock\n", write).failed);
    const std::string file = read_file("block");
    ASSERT_EQ(file.size(), 16U + 8 + 8 + 8 + 24);
    EXPECT_EQ(int_at(file, 0), 5);
    EXPECT_EQ(int_at(file, 4), 3);
    EXPECT_EQ(int_at(file, 8), 17);
    EXPECT_EQ(int_at(file, 12), 19);
    EXPECT_EQ(int_at(file, 16), 1);
    EXPECT_EQ(int_at(file, 20), 100);
    EXPECT_EQ(double_at(file, 24), 4.0);
    EXPECT_EQ(int_at(file, 32), 3);
    EXPECT_EQ(int_at(file, 36), 101);
    EXPECT_EQ(double_at(file, 40), 4.0);
    EXPECT_EQ(double_at(file, 48), 0.5);
    EXPECT_EQ(double_at(file, 56), -0.25);
}

namespace
{

// Columns of 1000 terms each, in some pieces of the stream's buffer.
std::vector<double> image_of_pieces()
{
    constexpr std::size_t height = 1000, columns = 100;
    std::vector<double> image(tarnel::header_room + columns * (tarnel::head_room + height), 1.0);
    tarnel::put_header(image.data(), {2, 0, 0, columns});
    for (std::size_t j = 0; j < columns; ++j)
        tarnel::put_column_head(&image[tarnel::header_room + tarnel::head_room + j * (tarnel::head_room + height)],
                                {height, static_cast<std::int32_t>(j * height)});
    return image;
}

// Files grow to so many bytes at most while it lives.
class file_size_limit
{
public:
    explicit file_size_limit(rlim_t most)
    {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit = {most, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~file_size_limit() { setrlimit(RLIMIT_FSIZE, &before); }
    file_size_limit(const file_size_limit&) = delete;
    file_size_limit& operator=(const file_size_limit&) = delete;

private:
    rlimit before{};
};

} // namespace

TEST_F(skyline_files, so_much_of_an_image_as_is_asked_becomes_zeros_and_the_file_is_the_same)
{
    const std::vector<double> image = image_of_pieces();
    constexpr std::size_t piece = tarnel::stream_buffer_bytes / sizeof(double);
    ASSERT_GT(image.size(), 3 * piece);
    const std::string expected(reinterpret_cast<const char*>(image.data()), image.size() * sizeof(double));
    for (const std::size_t cleared : {std::size_t{0}, std::size_t{1}, piece - 1, piece, piece + 1, 2 * piece + 77,
                                      image.size() - 1, image.size()}) {
        std::vector<double> written = image;
        const auto write = [&](std::FILE* log, const skyline_setup& setup) {
            tarnel::output_file out;
            create_block(log, setup, 0, out);
            write_image(log, out, written.data(), image.size(), cleared);
            close_output(log, out);
        };
        EXPECT_FALSE(with_setup("9 1 9\nblock\n", write).failed);
        EXPECT_TRUE(read_file("block") == expected);
        std::vector<double> left = image;
        std::fill_n(left.begin(), cleared, 0.0);
        EXPECT_EQ(std::memcmp(written.data(), left.data(), expected.size()), 0) << cleared;
    }
}

// The file may grow to so many bytes: a later piece fails, and the item at its end is told though its column's head,
// in an earlier piece, is zeros by then.
TEST_F(skyline_files, later_piece_that_fails_names_the_item_at_its_end)
{
    const auto log_at = [&](std::size_t pieces, std::size_t height) {
        std::vector<double> image(4 * tarnel::stream_buffer_bytes / sizeof(double), 1.0);
        tarnel::put_header(image.data(), {2, 0, 0, 2});
        tarnel::put_column_head(&image[3], {static_cast<std::int32_t>(height), 0});
        tarnel::put_column_head(&image[4 + height], {static_cast<std::int32_t>(image.size() - height - 4), 0});
        const file_size_limit limit(pieces * tarnel::stream_buffer_bytes);
        return run_stage([&](std::FILE* log) {
                   opened_output out("block", "header of work file for sky-line solver");
                   write_image(log, out, image.data(), image.size(), image.size());
               })
            .log;
    };
    constexpr std::size_t piece = tarnel::stream_buffer_bytes / sizeof(double);
    for (const std::size_t pieces : {std::size_t{1}, std::size_t{2}}) {
        EXPECT_EQ(log_at(pieces, (pieces + 1) * piece - 3), column_error + "w1).\n"); // the second head there
        EXPECT_EQ(log_at(pieces, (pieces + 1) * piece - 2), column_error + "w2).\n");
        EXPECT_EQ(log_at(pieces, (pieces + 1) * piece - 4), column_error + "w2).\n");
    }
}

namespace
{

// The log of reading a header of block `block` among `matdiv` (0: any) of a matrix of 9 unknowns.
stage_outcome header_read(const std::string& file, int block, int matdiv, block_header& header)
{
    write_new_file("block", file);
    return run_stage([&](std::FILE* log) {
        opened_input in("block");
        header = tarnel::read_header(log, in, block, matdiv, 9);
    });
}

std::string header_log(const std::string& file, int block, int matdiv)
{
    block_header header;
    return header_read(file, block, matdiv, header).log;
}

std::string header_bytes(int matdiv, int block, int first, int end)
{
    return bytes().add_i(matdiv).add_i(block).add_i(first).add_i(end).text();
}

} // namespace

TEST_F(skyline_files, header_comes_back_as_it_stands)
{
    for (const int matdiv : {0, 3}) {
        block_header header;
        const stage_outcome outcome = header_read(header_bytes(3, 2, 0, 9), 2, matdiv, header);
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(outcome.log, "");
        EXPECT_EQ(header.matdiv, 3);
        EXPECT_EQ(header.block, 2);
        EXPECT_EQ(header.first, 0);
        EXPECT_EQ(header.end, 9);
    }
    EXPECT_EQ(header_log(header_bytes(3, 2, 9, 0), 2, 3), ""); // order and emptiness are judged by the passes
}

TEST_F(skyline_files, each_item_of_a_header_is_refused_with_its_tag_in_order)
{
    constexpr int least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
    for (std::size_t kept = 0; kept < 16; ++kept)
        EXPECT_EQ(header_log(header_bytes(3, 2, 0, 9).substr(0, kept), 2, 3), header_error + "r1).\n");
    for (const int matdiv : {2, 4, 0, -1, least, most})
        EXPECT_EQ(header_log(header_bytes(matdiv, 1, -1, 10), 2, 3), header_error + "r2).\n");
    for (const int matdiv : {0, -1, least})
        EXPECT_EQ(header_log(header_bytes(matdiv, 1, -1, 10), 2, 0), header_error + "r2).\n");
    for (const int block : {1, 3, -1, least, most})
        EXPECT_EQ(header_log(header_bytes(3, block, -1, 10), 2, 3), header_error + "r3).\n");
    for (const int first : {-1, 10, least, most})
        EXPECT_EQ(header_log(header_bytes(3, 2, first, 10), 2, 3), header_error + "r4).\n");
    for (const int end : {-1, 10, least, most})
        EXPECT_EQ(header_log(header_bytes(3, 2, 9, end), 2, 3), header_error + "r5).\n");
}

namespace
{

// The log of reading the record head of column 4 with a work array of 20.
std::string column_log(const std::string& file, const column_expectation& expected = {})
{
    write_new_file("block", file);
    return run_stage([&](std::FILE* log) {
               opened_input in("block", "work file for sky-line solver");
               const column_record column = tarnel::read_column_head(log, in, 4, 20, expected);
               EXPECT_EQ(column.height, int_at(file, 0));
               EXPECT_EQ(column.address, int_at(file, 4));
           })
        .log;
}

std::string column_bytes(int height, int address)
{
    return bytes().add_i(height).add_i(address).text();
}

} // namespace

TEST_F(skyline_files, column_head_is_checked_against_the_matrix_the_work_array_and_what_is_expected)
{
    constexpr int least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
    const auto tag = [](const char* text) { return column_error + text + ").\n"; };
    for (std::size_t kept = 0; kept < 8; ++kept) EXPECT_EQ(column_log(column_bytes(3, 0).substr(0, kept)), tag("r1"));
    for (const int height : {1, 2, 5}) EXPECT_EQ(column_log(column_bytes(height, 0)), "");
    for (const int height : {0, -1, 6, least, most}) EXPECT_EQ(column_log(column_bytes(height, -1)), tag("r2"));
    EXPECT_EQ(column_log(column_bytes(3, -1)), tag("r3"));
    EXPECT_EQ(column_log(column_bytes(3, least)), tag("r3"));
    EXPECT_EQ(column_log(column_bytes(3, 17)), "");
    EXPECT_EQ(column_log(column_bytes(3, 18)), tag("r5"));
    EXPECT_EQ(column_log(column_bytes(5, most)), tag("r5"));

    EXPECT_EQ(column_log(column_bytes(3, 7), {.height = 3}), "");
    EXPECT_EQ(column_log(column_bytes(3, -1), {.height = 2}), tag("r2"));
    EXPECT_EQ(column_log(column_bytes(3, 7), {.height = 3, .address = 7, .running = 7}), "");
    EXPECT_EQ(column_log(column_bytes(3, 7), {.height = 3, .address = 6, .running = 6}), tag("r3"));
    EXPECT_EQ(column_log(column_bytes(3, 0), {.height = 3, .address = 1, .running = 1}), tag("r3"));
    EXPECT_EQ(column_log(column_bytes(3, 18), {.height = 3, .address = 18, .running = 6}), tag("r4"));
    EXPECT_EQ(column_log(column_bytes(3, 18), {.height = 3, .address = 18, .running = 18}), tag("r5"));
    EXPECT_EQ(column_log(column_bytes(3, 18), {.height = 3, .address = 18, .running = 0}), tag("r4"));
}

TEST_F(skyline_files, terms_cut_short_anywhere_are_refused)
{
    const std::string terms = bytes().add_d(1).add_d(2).add_d(3).text();
    for (std::size_t kept = 0; kept <= terms.size(); ++kept) {
        write_new_file("block", terms.substr(0, kept));
        double read[3];
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            opened_input in("block", "work file for sky-line solver");
            tarnel::read_column_terms(log, in, read, 3);
        });
        EXPECT_EQ(outcome.log, kept < terms.size() ? column_error + "r6).\n" : "");
    }
}

TEST_F(skyline_files, terms_are_passed_over_to_the_byte)
{
    for (const std::size_t height :
         {std::size_t{1}, std::size_t{3}, tarnel::stream_buffer_bytes / 8, std::size_t{40000}}) {
        const std::string terms = std::string(8 * height, 'x');
        const auto skip = [&](const std::string& file) {
            write_new_file("block", file);
            return run_stage([&](std::FILE* log) {
                       opened_input in("block", "work file for sky-line solver");
                       tarnel::skip_column_terms(log, in, static_cast<std::int32_t>(height));
                       EXPECT_EQ(tarnel::read_value<std::int32_t>(log, in, "next"), 7);
                   })
                .log;
        };
        EXPECT_EQ(skip(terms + bytes().add_i(7).text()), "");
        EXPECT_EQ(skip(terms), column_error + "next).\n");
        EXPECT_EQ(skip(terms.substr(1)), column_error + "r6).\n");
        EXPECT_EQ(skip(""), column_error + "r6).\n");
    }
}

TEST_F(skyline_files, full_disk_is_reported_where_a_full_buffer_would_meet_it)
{
    // A column that ends short of the buffer's end by some doubles, and one of three terms behind it.
    const auto log_of = [&](std::size_t short_of, bool second) {
        const std::size_t height = tarnel::stream_buffer_bytes / 8 - tarnel::header_room - tarnel::head_room - short_of;
        std::vector<double> image(tarnel::stream_buffer_bytes / 8 - short_of + (second ? 4 : 0), 1.0);
        tarnel::put_header(image.data(), {1, 0, 0, second ? 2 : 1});
        tarnel::put_column_head(&image[3], {static_cast<std::int32_t>(height), 0});
        if (second) tarnel::put_column_head(&image[3 + height + 1], {3, static_cast<std::int32_t>(height)});
        return run_stage([&](std::FILE* log) {
                   opened_output out("/dev/full", "header of work file for sky-line solver");
                   write_image(log, out, image.data(), image.size(), 0);
               })
            .log;
    };
    EXPECT_EQ(log_of(0, false), column_error + "w2).\n");
    EXPECT_EQ(log_of(5, false), column_error + "w2).\n");
    EXPECT_EQ(log_of(0, true), column_error + "w1).\n");
    EXPECT_EQ(log_of(1, true), column_error + "w2).\n");
    EXPECT_EQ(log_of(3, true), column_error + "w2).\n");
    EXPECT_EQ(log_of(4, true), column_error + "w2).\n");
}
