#include "common/streams.h"

#include "support/stage.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace tarnel;
using namespace tarnel_test;

using streams = stage_test;

// Bytes in which no two places a buffer apart agree by chance.
static std::string pattern(std::size_t n)
{
    std::string text(n, '\0');
    std::uint32_t state = 12345;
    for (char& c : text) {
        state = state * 1664525U + 1013904223U;
        c = static_cast<char>(state >> 24U);
    }
    return text;
}

static const std::size_t sizes[] = {0,      1,      100,    65535,  65536,  65537, 131071,
                                    131072, 131073, 262143, 262144, 262145, 300000};
static const std::size_t pieces[] = {1, 7, 8, 4096, 65535, 65536, 65537, 131071, 131072, 131073, 200000};

TEST_F(streams, bytes_arrive_whatever_the_sizes_of_the_writes)
{
    for (const std::size_t size : sizes)
        for (const std::size_t piece : pieces) {
            const std::string content = pattern(size);
            const stage_outcome outcome = run_stage([&](std::FILE* log) {
                opened_output out("out.tmp");
                for (std::size_t at = 0; at < size; at += piece)
                    write_bytes(log, out, content.data() + at, std::min(piece, size - at), "w");
                close_output(log, out);
            });
            EXPECT_FALSE(outcome.failed);
            EXPECT_TRUE(read_file("out.tmp") == content) << size << " by " << piece;
        }
}

TEST_F(streams, small_and_large_writes_keep_their_order)
{
    const std::string content = pattern(603220);
    const stage_outcome outcome = run_stage([&](std::FILE* log) {
        opened_output out("out.tmp");
        std::size_t at = 0;
        for (const std::size_t piece : {3UL, 131072UL, 131069UL, 3UL, 1UL, 0UL, 140000UL, 131066UL, 6UL, 70000UL}) {
            write_bytes(log, out, content.data() + at, piece, "w");
            at += piece;
        }
        EXPECT_EQ(at, content.size());
        flush_output(log, out);
        EXPECT_TRUE(read_file("out.tmp") == content); // a flush is enough
        close_output(log, out);
    });
    EXPECT_FALSE(outcome.failed);
    EXPECT_TRUE(read_file("out.tmp") == content);
}

TEST_F(streams, bytes_are_read_whatever_the_sizes_of_the_reads)
{
    for (const std::size_t size : sizes) {
        const std::string content = pattern(size);
        write_file("in.tmp", content);
        for (const std::size_t piece : pieces) {
            opened_input in("in.tmp");
            std::string read(size, '\0');
            bool whole = true;
            for (std::size_t at = 0; at < size; at += piece) {
                whole = whole && bytes_left(in) == size - at;
                whole = whole && read_bytes(in, read.data() + at, std::min(piece, size - at));
            }
            EXPECT_TRUE(whole) << size << " by " << piece;
            EXPECT_TRUE(read == content) << size << " by " << piece;
            EXPECT_EQ(bytes_left(in), 0U);
            char more;
            EXPECT_FALSE(read_bytes(in, &more, 1));
            EXPECT_TRUE(read_bytes(in, &more, 0));
        }
    }
}

TEST_F(streams, read_beyond_the_end_fails_whatever_the_size)
{
    for (const std::size_t size : sizes) {
        write_file("in.tmp", pattern(size));
        for (const std::size_t before : {std::size_t{0}, std::size_t{1}, size / 2, size}) {
            if (before > size) continue;
            for (const std::size_t beyond : {std::size_t{1}, std::size_t{140000}}) {
                opened_input in("in.tmp");
                std::vector<char> read(size + beyond);
                EXPECT_TRUE(read_bytes(in, read.data(), before));
                EXPECT_FALSE(read_bytes(in, read.data(), size - before + beyond)) << size << " " << before;
            }
        }
    }
}

TEST_F(streams, short_read_is_reported_with_name_and_tag)
{
    const std::string content = bytes().add_i(7).add_d(0.5).add_d(-2.0).text();
    for (std::size_t length = 0; length <= content.size(); ++length) {
        write_file("in.tmp", content.substr(0, length));
        const stage_outcome outcome = run_stage([](std::FILE* log) {
            opened_input in("in.tmp", "t-femr-vector.tmp");
            EXPECT_EQ(read_value<std::int32_t>(log, in, "r1"), 7);
            double values[2] = {};
            read_values(log, in, values, 2, "r:values");
            EXPECT_EQ(values[0], 0.5);
            EXPECT_EQ(values[1], -2.0);
        });
        EXPECT_EQ(outcome.failed, length < content.size());
        EXPECT_EQ(outcome.log, length < 4                ? "      Error. in t-femr-vector.tmp(r1).\n"
                               : length < content.size() ? "      Error. in t-femr-vector.tmp(r:values).\n"
                                                         : "");
    }
}

TEST_F(streams, values_are_written_in_the_machines_order)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        opened_output out("out.tmp");
        write_value(log, out, std::int32_t{-3}, "w1");
        const double values[] = {1.5, 2.5};
        write_values(log, out, values, 2, "w2");
        write_values(log, out, values, 0, "w3");
        close_output(log, out);
    });
    EXPECT_FALSE(outcome.failed);
    const std::string content = read_file("out.tmp");
    EXPECT_EQ(content.size(), 20U);
    EXPECT_EQ(int_at(content, 0), -3);
    EXPECT_EQ(double_at(content, 4), 1.5);
    EXPECT_EQ(double_at(content, 12), 2.5);
}

TEST_F(streams, counting_the_bytes_left_does_not_move_the_file)
{
    const std::string content = pattern(300000);
    write_file("in.tmp", content);
    opened_input in("in.tmp");
    EXPECT_EQ(bytes_left(in), 300000U);
    std::string read(content.size(), '\0');
    EXPECT_TRUE(read_bytes(in, read.data(), 10));
    EXPECT_EQ(bytes_left(in), 299990U);
    EXPECT_TRUE(read_bytes(in, read.data() + 10, 131066)); // across the buffer's end
    EXPECT_EQ(bytes_left(in), 168924U);
    EXPECT_TRUE(read_bytes(in, read.data() + 131076, 160000)); // past the buffer
    EXPECT_EQ(bytes_left(in), 8924U);
    EXPECT_TRUE(read_bytes(in, read.data() + 291076, 8924));
    EXPECT_EQ(bytes_left(in), 0U);
    EXPECT_TRUE(read == content);
}

TEST_F(streams, buffer_is_filled_without_losing_what_it_holds)
{
    const std::string content = pattern(stream_buffer_bytes + 50);
    write_file("in.tmp", content);
    opened_input in("in.tmp");
    EXPECT_GE(fill_buffer(in, 102), 102U);
    EXPECT_EQ(content.compare(0, 102, in.buffer.get() + in.at, 102), 0);
    in.at += stream_buffer_bytes - 36;
    EXPECT_EQ(fill_buffer(in, 102), 86U); // all there is
    EXPECT_EQ(content.compare(stream_buffer_bytes - 36, 86, in.buffer.get() + in.at, 86), 0);
    in.at += 86;
    EXPECT_EQ(fill_buffer(in, 1), 0U);
    EXPECT_EQ(fill_buffer(in, 0), 0U);
}

TEST_F(streams, rest_that_is_kept_is_read_like_any_other_and_stays_at_the_buffers_start)
{
    const auto keep = [](input_file& in, std::size_t most) {
        EXPECT_FALSE(run_stage([&](std::FILE* log) { keep_rest(log, in, most); }).failed);
    };
    for (const std::size_t size : sizes) {
        const std::string content = pattern(size);
        write_file("in.tmp", content);
        for (const std::size_t before : {std::size_t{0}, std::size_t{1}, size / 2}) {
            if (before >= size) continue;
            const std::size_t rest = size - before;
            for (const std::size_t piece : {4096U, 65537U, 131072U, 200000U}) {
                opened_input in("in.tmp");
                std::string read(size, '\0');
                bool whole = read_bytes(in, read.data(), before);
                keep(in, rest);
                for (std::size_t at = before; at < size; at += piece) {
                    whole = whole && bytes_left(in) == size - at;
                    whole = whole && read_bytes(in, read.data() + at, std::min(piece, size - at));
                }
                EXPECT_TRUE(whole && read == content) << size << " " << before << " by " << piece;
                ASSERT_EQ(in.kept, rest);
                EXPECT_EQ(content.compare(before, rest, in.buffer.get(), rest), 0) << size << " " << before;
                EXPECT_EQ(fill_buffer(in, 1), 0U);
                char more;
                EXPECT_FALSE(read_bytes(in, &more, 1));
            }
            for (const std::size_t beyond : {std::size_t{1}, std::size_t{140000}}) {
                opened_input in("in.tmp");
                std::vector<char> read(size + beyond);
                EXPECT_TRUE(read_bytes(in, read.data(), before));
                keep(in, rest);
                EXPECT_FALSE(read_bytes(in, read.data(), rest + beyond));
                EXPECT_EQ(fill_buffer(in, rest), rest); // nothing was passed over
            }
            opened_input in("in.tmp");
            std::vector<char> read(size);
            EXPECT_TRUE(read_bytes(in, read.data(), before));
            keep(in, rest - 1);
            EXPECT_EQ(in.kept, 0U);
            EXPECT_TRUE(read_bytes(in, read.data(), rest));
        }
    }
}

TEST_F(streams, file_that_becomes_shorter_while_it_is_kept_ends_there)
{
    write_file("in.tmp", pattern(400000));
    opened_input in("in.tmp");
    EXPECT_FALSE(run_stage([&](std::FILE* log) { keep_rest(log, in, 400000); }).failed);
    std::vector<char> read(400000);
    EXPECT_TRUE(read_bytes(in, read.data(), 10));
    std::filesystem::resize_file("in.tmp", 300000);
    EXPECT_TRUE(read_bytes(in, read.data(), 290000));
    EXPECT_EQ(fill_buffer(in, 9991), 9990U);
    EXPECT_FALSE(read_bytes(in, read.data(), 9991));
}

TEST_F(streams, device_that_has_no_size_is_not_kept)
{
    opened_input in("/dev/zero");
    const char* buffer = in.buffer.get();
    EXPECT_FALSE(run_stage([&](std::FILE* log) { keep_rest(log, in, 100); }).failed);
    EXPECT_EQ(in.buffer.get(), buffer); // which has room for any read
    std::vector<char> read(1000, 'x');
    EXPECT_TRUE(read_bytes(in, read.data(), 1000));
    EXPECT_EQ(read, std::vector<char>(1000, '\0'));
}

TEST_F(streams, pipe_is_read_although_its_size_is_unknown)
{
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    // A stream of our own on both ends: neither opening waits.
    const owned_file holder(std::fopen("pipe", "r+b"));
    ASSERT_NE(holder, nullptr);
    ASSERT_EQ(std::fwrite("abcdefgh", 1, 8, holder.get()), 8U);
    std::fflush(holder.get());
    opened_input in("pipe");
    EXPECT_EQ(bytes_left(in), unknown_size);
    EXPECT_FALSE(run_stage([&](std::FILE* log) { keep_rest(log, in, 1U << 20U); }).failed);
    EXPECT_EQ(in.kept, 0U);
}

TEST_F(streams, only_files_that_can_be_opened_are_opened)
{
    input_file in;
    EXPECT_FALSE(open_input(stderr, in, "missing.tmp", "missing.tmp"));
    std::filesystem::create_directory("folder");
    output_file out;
    EXPECT_FALSE(open_output(stderr, out, "folder", "folder", content::binary));
    EXPECT_FALSE(open_output(stderr, out, "no-folder/out.tmp", "out.tmp", content::text));
    EXPECT_FALSE(std::filesystem::exists("missing.tmp"));
}

TEST_F(streams, directory_in_a_files_place_is_a_short_read)
{
    std::filesystem::create_directory("t-nodes-struct.tmp");
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        input_file in;
        if (!open_input(log, in, "t-nodes-struct.tmp", "t-nodes-struct.tmp")) return; // some systems say so here
        char records[140000];
        EXPECT_FALSE(read_bytes(in, records, sizeof records)); // past the buffer too
        EXPECT_EQ(fill_buffer(in, 102), 0U);
        read_value<std::int32_t>(log, in, "r");
    });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "      Error. in t-nodes-struct.tmp(r).\n");
}

TEST_F(streams, file_that_is_there_is_written_over_and_cut)
{
    for (const content kind : {content::binary, content::text})
        for (const std::size_t old_size : {0U, 1U, 2U, 3U, 9U, 500000U})
            for (const std::size_t size : {std::size_t{0}, std::size_t{2}, stream_buffer_bytes + 7}) {
                const std::string content = pattern(size);
                write_file("out.tmp", std::string(old_size, 'o'));
                const stage_outcome outcome = run_stage([&](std::FILE* log) {
                    output_file out;
                    ASSERT_TRUE(open_output(log, out, "out.tmp", "out.tmp", kind));
                    write_bytes(log, out, content.data(), size, "w");
                    close_output(log, out);
                });
                EXPECT_FALSE(outcome.failed);
                EXPECT_TRUE(read_file("out.tmp") == content) << old_size << " " << size;
            }
}

TEST_F(streams, bytes_behind_a_cut_are_kept)
{
    write_file("out.tmp", std::string(100, 'o'));
    run_stage([](std::FILE* log) {
        opened_output out("out.tmp");
        write_bytes(log, out, "first", 5, "w");
        flush_output(log, out);
        EXPECT_EQ(read_file("out.tmp"), "first");
        write_bytes(log, out, " and second", 11, "w");
        close_output(log, out);
    });
    EXPECT_EQ(read_file("out.tmp"), "first and second");
}

TEST_F(streams, old_end_that_cannot_be_cut_is_reported_with_the_last_item)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        opened_output out("/dev/null", "out.tmp"); // which has no end
        out.old_bytes = 4;
        write_bytes(log, out, "12", 2, "w1");
        write_bytes(log, out, "3", 1, "w2");
        close_output(log, out);
    });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "      Error. in out.tmp(w2).\n");
}

TEST_F(streams, long_name_is_cut_and_not_run_over)
{
    write_file("in.tmp", "");
    const std::string name(200, 'n');
    opened_input in("in.tmp", name);
    EXPECT_EQ(std::string(in.name), name.substr(0, 79));
}

TEST_F(streams, refused_write_has_the_tag_of_the_item_that_the_system_refused)
{
    // Items of these sizes go to a full disk one after another, then a flush.
    const struct {
        std::size_t first, second, third;
        const char* tag;
    } rows[] = {
        {1, 1, 1, "w3"},                       // all in the buffer: the last item
        {stream_buffer_bytes - 6, 6, 0, "w3"}, // the buffer is full, and still ours
        {stream_buffer_bytes - 6, 7, 1, "w2"}, // it runs over here
        {stream_buffer_bytes, 1, 1, "w2"},
        {stream_buffer_bytes - 1, 1, 1, "w3"},
        {stream_buffer_bytes + 1, 1, 1, "w1"}, // past the buffer at once
        {1, stream_buffer_bytes, 1, "w2"},
        {1, stream_buffer_bytes - 1, 1, "w3"},
    };
    const std::string zeros(stream_buffer_bytes + 1000, '\0');
    for (const auto& row : rows) {
        for (const bool closed : {false, true}) {
            const stage_outcome outcome = run_stage([&](std::FILE* log) {
                opened_output out("/dev/full", "t-nodes-struct.tmp");
                write_bytes(log, out, zeros.data(), row.first, "w1");
                write_bytes(log, out, zeros.data(), row.second, "w2");
                write_bytes(log, out, zeros.data(), row.third, "w3");
                if (closed)
                    close_output(log, out);
                else
                    flush_output(log, out);
            });
            EXPECT_TRUE(outcome.failed);
            EXPECT_EQ(outcome.log, std::string("      Error. in t-nodes-struct.tmp(") + row.tag + ").\n")
                << row.first << " " << row.second;
        }
    }
}

TEST_F(streams, bytes_made_in_place_are_those_written_wherever_the_buffer_ends)
{
    for (const std::size_t room : {0U, 1U, 5U, 6U, 7U, 9U, 10U, 11U, 100U}) {
        const std::string before = pattern(stream_buffer_bytes - room);
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            output_file out;
            ASSERT_TRUE(open_output(log, out, "out.tmp", "out.tmp", content::binary));
            write_bytes(log, out, before.data(), before.size(), "w1");
            for (const char c : {'a', 'b'})
                write_made<10>(log, out, "w2", [c](char* to) { return std::fill_n(to, 6, c); });
            EXPECT_STREQ(out.tag, "w2");
            close_output(log, out);
        });
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(read_file("out.tmp"), before + "aaaaaabbbbbb") << room;
    }
}

TEST_F(streams, nothing_written_to_a_full_disk_is_no_failure)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) {
        opened_output out("/dev/full", "out.tmp");
        flush_output(log, out);
        close_output(log, out);
    });
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, "");
}

TEST_F(streams, run_that_ends_early_leaves_the_file_as_far_as_it_was_written)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{5}, stream_buffer_bytes, std::size_t{300000}}) {
        const std::string content = pattern(size);
        write_file("out.tmp", std::string(400000, 'o'));
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            opened_output out("out.tmp");
            for (std::size_t at = 0; at < size; at += 1000)
                write_bytes(log, out, content.data() + at, std::min<std::size_t>(1000, size - at), "w");
            fail(log, "      Error. something else.\n");
        });
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, "      Error. something else.\n");
        EXPECT_TRUE(read_file("out.tmp") == content) << size;
    }
}

TEST_F(streams, item_is_reported_with_the_files_name)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) { fail_in_file(log, "at-fixc-data.tmp", "r:nog"); });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "      Error. in at-fixc-data.tmp(r:nog).\n");
}

TEST_F(streams, file_that_is_written_over_stays_the_same_file)
{
    write_file("out.tmp", "old content");
    ASSERT_EQ(chmod("out.tmp", 0640), 0);
    struct stat before;
    ASSERT_EQ(stat("out.tmp", &before), 0);
    run_stage([](std::FILE* log) {
        opened_output out("out.tmp");
        write_bytes(log, out, "new", 3, "w");
        close_output(log, out);
    });
    EXPECT_EQ(read_file("out.tmp"), "new");
    struct stat now;
    ASSERT_EQ(stat("out.tmp", &now), 0);
    EXPECT_EQ(now.st_mode, before.st_mode);
    EXPECT_EQ(now.st_ino, before.st_ino);
}

// An ordinary user while it lives, for a superuser may write anywhere.
struct ordinary_user {
    const bool was_root = geteuid() == 0;
    ordinary_user() { EXPECT_TRUE(!was_root || seteuid(65534) == 0); }
    ~ordinary_user() { EXPECT_TRUE(!was_root || seteuid(0) == 0); }
    ordinary_user(const ordinary_user&) = delete;
    ordinary_user& operator=(const ordinary_user&) = delete;
};

static stage_outcome write_as_ordinary_user(const char* path)
{
    return run_stage([&](std::FILE* log) {
        const ordinary_user user;
        opened_output out(path);
        write_bytes(log, out, "new", 3, "w");
        close_output(log, out);
    });
}

TEST_F(streams, file_in_a_directory_that_keeps_it_is_written_through)
{
    ASSERT_EQ(chmod(".", 0755), 0);
    std::filesystem::create_directory("locked");
    write_file("locked/out.tmp", "old content");
    ASSERT_EQ(chmod("locked/out.tmp", 0666), 0);
    ASSERT_EQ(chmod("locked", 0555), 0);
    const stage_outcome outcome = write_as_ordinary_user("locked/out.tmp");
    EXPECT_EQ(chmod("locked", 0755), 0);
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(read_file("locked/out.tmp"), "new");
}

TEST_F(streams, file_that_cannot_be_read_is_written_all_the_same)
{
    ASSERT_EQ(chmod(".", 0755), 0);
    write_file("out.tmp", "old content");
    ASSERT_EQ(chmod("out.tmp", 0222), 0);
    const stage_outcome outcome = write_as_ordinary_user("out.tmp");
    ASSERT_EQ(chmod("out.tmp", 0644), 0);
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(read_file("out.tmp"), "new");
}

TEST_F(streams, write_protected_file_is_not_written)
{
    ASSERT_EQ(chmod(".", 0777), 0); // where it could be replaced
    write_file("out.tmp", "old content");
    ASSERT_EQ(chmod("out.tmp", 0444), 0);
    {
        const ordinary_user user;
        output_file out;
        EXPECT_FALSE(open_output(stderr, out, "out.tmp", "out.tmp", content::binary));
    }
    EXPECT_EQ(read_file("out.tmp"), "old content");
}

TEST_F(streams, links_are_written_through)
{
    std::filesystem::create_directory("elsewhere");
    write_file("elsewhere/symbolic.tmp", "old content");
    write_file("hard.tmp", "old content");
    std::filesystem::create_symlink("elsewhere/symbolic.tmp", "symbolic.tmp");
    std::filesystem::create_hard_link("hard.tmp", "elsewhere/hard.tmp");
    for (const char* name : {"symbolic.tmp", "hard.tmp"}) {
        run_stage([&](std::FILE* log) {
            opened_output out(name);
            write_bytes(log, out, "new", 3, "w");
            close_output(log, out);
        });
        EXPECT_EQ(read_file(std::string("elsewhere/") + name), "new");
    }
    EXPECT_TRUE(std::filesystem::is_symlink("symbolic.tmp"));
}
