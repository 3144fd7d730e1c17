#include "support/model.h"
#include "support/process.h"
#include "support/stage.h"

using namespace tarnel_test;

using whole_run = stage_test;

TEST_F(whole_run, unit_square_between_two_potentials_ends_with_the_end_line)
{
    write_model(unit_square());
    const process_outcome run = run_library();
    EXPECT_TRUE(run.exited);
    EXPECT_TRUE(run.returned);
    EXPECT_EQ(run.value, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_TRUE(run.log.ends_with("    === The end. ===\n")) << run.log;
    const std::string nodes = read_file("at-nresl-struct.tmp");
    EXPECT_EQ(int_at(nodes, 64), 5);
    EXPECT_NEAR(double_at(nodes, 72), 0.5, 1e-15); // half way between 0 and 1, by symmetry
}
