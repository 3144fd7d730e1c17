// The committed examples run as they stand, and every value they are said to give comes out.
#include "run/models.h"

#include <cstdlib>
#include <fstream>

using namespace tarnel_test;

namespace
{

std::filesystem::path examples()
{
    const std::filesystem::path here = __FILE__;
    return here.parent_path().parent_path().parent_path() / "examples";
}

// A run writes its files beside its inputs, so each example is run on a copy.
void copy_example(const std::string& name)
{
    std::filesystem::copy(examples() / name, std::filesystem::current_path());
}

// The check's exit status is 0 only when every quantity lies within its tolerance.
void expect_values(const std::string& expected)
{
    const std::string command =
        "python3 '" + (examples() / "check_example.py").string() + "' . " + expected + " >checked.txt 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << read_file("checked.txt");
}

class example : public stage_test, public ::testing::WithParamInterface<const char*>
{
};

} // namespace

TEST_P(example, runs_as_it_stands_and_gives_the_expected_values)
{
    copy_example(GetParam());
    expect_complete(run_library());
    expect_values("expected.txt");
}

INSTANTIATE_TEST_SUITE_P(committed, example, ::testing::Values("electromagnet", "solenoid", "magnets"),
                         [](const auto& named) { return std::string(named.param); });

TEST_F(example, solenoid_without_iron_gives_the_closed_form_of_its_coil)
{
    copy_example("solenoid");
    std::ifstream text("at-prop-data.txt");
    std::string first, second, rest;
    std::getline(text, first);
    std::getline(text, second);
    std::getline(text, rest, '\0');
    ASSERT_TRUE(first.starts_with("1 ")); // property 1 is the plunger
    text.close();
    write_file("at-prop-data.txt", first + "\n1.25663706144e-06 0\n" + rest);
    expect_complete(run_library());
    expect_values("expected-air-core.txt");
}

TEST(examples, every_folder_with_expected_values_is_among_those_tested)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(examples()))
        if (std::filesystem::exists(entry.path() / "expected.txt")) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"electromagnet", "magnets", "solenoid"}));
}
