// Cost follows the model: limits and numbers far above the number of nodes and elements change neither the results nor
// what a run needs.
#include "run/models.h"
#include "run/run_log.h"

#include <tarnel.h>

#include <sys/resource.h>

using namespace tarnel_test;

namespace
{

constexpr int huge = 900000000;

void set_huge_limits(model& m)
{
    m.maxnog = m.maxfelm = m.maxbelm = m.maxprp = m.maxdim = m.maxedg = huge;
    m.maxnzero = 10000;
}

// A run with 2 GB of addresses that answers with its peak memory in KiB, or with -1.
process_outcome run_with_little_memory()
{
    return run_in_child([] {
#if !defined(TARNEL_ADDRESS_SANITIZER) // which reserves terabytes of addresses for itself
        constexpr rlim_t two_gigabytes = rlim_t{2} << 30;
        const rlimit at_most = {two_gigabytes, two_gigabytes};
        if (setrlimit(RLIMIT_AS, &at_most) != 0) return -1;
#endif
        if (main_tarnel_n1() != 0) return -1;
        rusage used{};
        if (getrusage(RUSAGE_SELF, &used) != 0) return -1;
        return static_cast<int>(used.ru_maxrss);
    });
}

void expect_small_run(const process_outcome& run)
{
    EXPECT_TRUE(run.returned) << run.log;
    EXPECT_GT(run.value, 0);
#if !defined(TARNEL_ADDRESS_SANITIZER)
    EXPECT_LT(run.value, 200 * 1024);
#endif
    EXPECT_EQ(plain(run.log), whole_log(unknowns_of_ten_nodes));
}

// Gives every number of the model a place far from its neighbours', in the same order.
void spread_numbers(model& m)
{
    const auto far = [](int number) { return number == 0 ? 0 : 79999999 + number * 82000000; };
    ASSERT_EQ(far(10), 899999999);
    for (model_node& node : m.nodes) node.nog = far(node.nog);
    for (model_felm& felm : m.felms) {
        felm.noe = far(felm.noe + 6);
        felm.nop = far(felm.nop + 8);
        for (int& node : felm.nodes) node = far(node);
    }
    for (model_property& p : m.properties) {
        p.nop = far(p.nop + 8);
        p.lnob = p.lnoh = 899999999;
    }
    for (model_condition& c : m.conditions) {
        c.nog = far(c.nog);
        c.noi = far(c.noi);
    }
    m.lcs = "899999999 0 0\n0 0 0\n0 0 1\n1 0 0\n0 0 0\n";
}

} // namespace

using large_limits = stage_test;

TEST_F(large_limits, the_largest_limits_give_the_same_bytes_as_exact_ones_in_little_memory)
{
    model m = ten_nodes();
    write_model(m);
    expect_complete(run_library());
    const file_contents wanted = files_of_run();
    set_huge_limits(m);
    write_model(m);
    expect_small_run(run_with_little_memory());
    expect_same(files_of_run(), wanted);
}

TEST_F(large_limits, the_same_holds_with_every_optional_input)
{
    model m = ten_nodes();
    add_host_inputs(m);
    write_model(m);
    expect_complete(run_library());
    const file_contents wanted = files_of_run();
    set_huge_limits(m);
    write_model(m);
    expect_small_run(run_with_little_memory());
    expect_same(files_of_run(), wanted);
}

TEST_F(large_limits, numbers_far_apart_give_the_same_system_and_the_same_results)
{
    model m = ten_nodes();
    m.properties[0].lnob = m.properties[0].lnoh = 1; // parallel to the global axes
    m.properties[1].lnob = m.properties[1].lnoh = 1;
    m.lcs = "1 0 0\n0 0 0\n0 0 1\n1 0 0\n0 0 0\n";
    write_model(m);
    expect_complete(run_library());
    const file_contents near = files_of_run();

    m = ten_nodes();
    spread_numbers(m);
    set_huge_limits(m);
    add_host_inputs(m); // written for the far numbers; only the boundary element and the previous potentials are used
    for (model_property& p : m.properties) p.iptv = p.iflg = p.ij0v = 0;
    m.iopt_proptv = m.iopt_propsg = m.iopt_h0vect = m.iopt_j0vect = m.iopt_belm = m.iopt_trans = 0;
    m.delta_t = 0;
    write_model(m);
    expect_small_run(run_with_little_memory());
    const file_contents far = files_of_run();
    for (const char* name : {"t-matrix-index.tmp", "t-femr-matrix.tmp", "t-femr-vector.tmp", "t-femr-solution.tmp"})
        EXPECT_TRUE(far.at(name) == near.at(name)) << name;
    const std::string &near_nodes = near.at("at-nresl-struct.tmp"), &far_nodes = far.at("at-nresl-struct.tmp");
    ASSERT_EQ(far_nodes.size(), 11U * 16);
    for (std::size_t k = 0; k < 10; ++k) {
        EXPECT_EQ(int_at(far_nodes, 16 * k), m.nodes[k].nog);
        EXPECT_EQ(double_at(far_nodes, 16 * k + 8), double_at(near_nodes, 16 * k + 8));
    }
    const std::string &near_felms = near.at("at-eresl-struct.tmp"), &far_felms = far.at("at-eresl-struct.tmp");
    ASSERT_EQ(far_felms.size(), 5U * 112);
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_EQ(int_at(far_felms, 112 * k), m.felms[k].noe);
        EXPECT_EQ(far_felms.substr(112 * k + 16, 96), near_felms.substr(112 * k + 16, 96));
    }
}

TEST_F(large_limits, an_index_of_more_terms_than_an_int32_counts_is_measured_in_64_bits)
{
#if defined(TARNEL_ADDRESS_SANITIZER)
    GTEST_SKIP() << "its addresses cannot be limited";
#endif
    model m = ten_nodes();
    write_model(m);
    expect_complete(run_library());
    m.iopt_rdata = m.iopt_prep = 0;
    write_model(m);
    // 12 GiB of holes, 3 * 2^30 terms: in 32 bits nothing would be left of the size.
    std::filesystem::resize_file("t-matrix-index.tmp", std::uintmax_t{12} << 30);
    const process_outcome run = run_with_little_memory();
    expect_ended(run);
    EXPECT_TRUE(run.log.ends_with("      Error. Can't allocate (mindex).\n")) << run.log;
}
