// What the tests of stages stand on: a working directory of their own, files as bytes, and a stage's log.
#pragma once

#include "common/control.h"
#include "common/failure.h"
#include "common/streams.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <type_traits>

namespace tarnel_test
{

// A new empty directory that is the working directory while it lives.
class work_directory
{
public:
    work_directory();
    ~work_directory();
    work_directory(const work_directory&) = delete;
    work_directory& operator=(const work_directory&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path before_;
    std::filesystem::path path_;
};

// A test that works in a directory of its own.
class stage_test : public ::testing::Test
{
protected:
    work_directory directory;
};

void write_file(const std::string& name, const std::string& bytes);
std::string read_file(const std::string& name); // fails the test when it cannot be read

// Bytes in the machine's order, one value after another: bytes().add(std::int32_t{3}).add(0.5).
class bytes
{
public:
    template <class T> bytes& add(const T& value)
    {
        static_assert(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>);
        text_.append(reinterpret_cast<const char*>(&value), sizeof value);
        return *this;
    }
    bytes& add_i(std::int32_t value) { return add(value); }
    bytes& add_d(double value) { return add(value); }
    bytes& add_zeros(std::size_t n)
    {
        text_.append(n, '\0');
        return *this;
    }
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

// The value at an offset of a file's bytes.
template <class T> T value_at(const std::string& text, std::size_t offset)
{
    T value{};
    EXPECT_LE(offset + sizeof value, text.size());
    if (offset + sizeof value <= text.size()) std::memcpy(&value, text.data() + offset, sizeof value);
    return value;
}
inline std::int32_t int_at(const std::string& text, std::size_t offset)
{
    return value_at<std::int32_t>(text, offset);
}
inline double double_at(const std::string& text, std::size_t offset)
{
    return value_at<double>(text, offset);
}

struct stage_outcome {
    bool failed = false; // the stage ended the run
    std::string log;     // every byte it wrote there
};

// Calls a stage with a log of its own.
stage_outcome run_stage(const std::function<void(std::FILE*)>& stage);

// Opens a file of the working directory as the driver does; fails the test when that is impossible.
struct opened_input : tarnel::input_file {
    explicit opened_input(const std::string& path) : opened_input(path, path) {}
    opened_input(const std::string& path, const std::string& called);
};
struct opened_output : tarnel::output_file {
    explicit opened_output(const std::string& path) : opened_output(path, path) {}
    opened_output(const std::string& path, const std::string& called);
};

// Limits of 100 (maxnzero 30), default threshold, no switches, planar; change what the test needs.
tarnel::control small_control();

} // namespace tarnel_test
