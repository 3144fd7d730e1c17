// What the fuzz targets stand on. A target calls stages on files made from its input; a stage may end the run, and then
// its log must end with a message. Everything else - a crash, undefined behaviour, a leak, an array far beyond the
// files, a loop without an end - the fuzzer and the sanitizers see.
#pragma once

#include "common/control.h"
#include "common/streams.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel_fuzz
{

// Calls a stage; false when it ended the run. The log takes 200,000 bytes, which bounds the iterations that an input
// may ask for: every one writes a line.
bool runs_through(const std::function<void(std::FILE*)>& stage);

// Makes a directory of the process the working directory, in memory where the system has such a place.
void enter_work_directory();

// Limits as a small model has them, and as a careless host writes them.
tarnel::control limits_of(std::size_t size);

void write_input(const char* name, std::string_view content);
void empty_work_directory();

// Opened as the driver does; a file that cannot be opened ends the target, for the harness has left it out.
struct lent_input : tarnel::input_file {
    lent_input(const char* path, std::FILE* log);
};
struct lent_output : tarnel::output_file {
    lent_output(const char* path, std::FILE* log);
};

// Every file that a complete run of a small model reads and leaves, and the control record of that run.
struct base_run {
    std::map<std::string, std::string> files;
    tarnel::control cntl;
    std::int32_t nvolte = 0;
};
base_run base_of(const char* model);

// The inputs of a small model alone.
base_run inputs_of(const char* model);

// Files of a base run with the edits that the input lists, five bytes and more each: what (overwrite, cut, insert,
// remove, overwrite by a word of the list below), which file, where (two bytes), how many bytes, the bytes. Mutations
// so reach every file and keep the rest of it sound.
struct edited_files {
    std::map<std::string, std::string> files;
};
edited_files edit(const base_run& base, const std::vector<std::string>& names, std::string_view edits);

// Writes those files of the list into the working directory.
void write_edited(const edited_files& edited);

inline std::string_view text_of(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

} // namespace tarnel_fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
