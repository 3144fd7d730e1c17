// Calls of stages that write one file, and the words in which readers echo a line.
#pragma once

#include "support/stage.h"

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

namespace tarnel_test
{

// Writes an input anew: replacing a file costs some file systems a wait for the disk, which many small cases would
// feel.
inline void renew_file(const std::string& name, const std::string& content)
{
    std::filesystem::remove(name);
    write_file(name, content);
}

using writing_stage = std::function<void(tarnel::output_file&, std::FILE*)>;

struct file_outcome {
    bool failed = false;
    std::string log;
    std::string file;
};

// Calls a stage that writes one file. The file is read while it is still open when the stage returned, for then it must
// be complete; when the stage ended the run, it is read after its owner has gone.
inline file_outcome run_writing(const std::string& name, const writing_stage& stage)
{
    file_outcome outcome;
    {
        opened_output out(name);
        const stage_outcome called = run_stage([&](std::FILE* log) { stage(out, log); });
        outcome.failed = called.failed;
        outcome.log = called.log;
        if (!called.failed) outcome.file = read_file(name);
    }
    if (outcome.failed) outcome.file = read_file(name);
    std::filesystem::remove(name);
    return outcome;
}

// Calls a stage whose output goes to a full device and whose buffer has room for so many bytes: the write that does
// not fit any more fails, or else the flush.
inline stage_outcome run_on_full_device(const std::string& name, std::size_t room, const writing_stage& stage)
{
    opened_output out("/dev/full", name);
    const std::string used(tarnel::stream_buffer_bytes - room, '\0');
    tarnel::write_bytes(stderr, out, used.data(), used.size(), "before the stage");
    return run_stage([&](std::FILE* log) { stage(out, log); });
}

// The echo of a line, and of the buffer at the end of file: 101 characters.
inline std::string at_line(const std::string& line)
{
    return "             at line : " + line + "\n";
}
inline std::string at_end_of_file(const std::string& line)
{
    return "      Error. EOF found in data line. \n             at line : " + line +
           std::string(101 - line.size(), ' ');
}
inline std::string wrong_count(const std::string& line)
{
    return "      Error. no. of parameters is illegal.\n" + at_line(line);
}
inline std::string over_the_limit(const std::string& kind, int ip, const std::string& line)
{
    return "      Error. " + kind + " parameter over the limit. ip = " + std::to_string(ip) + " \n" + at_line(line);
}

// Expects a text to be refused with this log, alone in its file and, unless the file's end is the fault, with a record
// before it and more lines behind it: the two are not read in the same way.
template <class reader>
void expect_refused_anywhere(const reader& read, const std::string& record, const std::string& text,
                             const std::string& log)
{
    const bool end_is_fault = log.find("EOF") != std::string::npos;
    for (const std::string& all : {text, end_is_fault ? text : record + text + std::string(300, '\n')}) {
        const file_outcome outcome = read(all);
        EXPECT_TRUE(outcome.failed) << all;
        EXPECT_EQ(outcome.log, log) << all;
    }
}

} // namespace tarnel_test
