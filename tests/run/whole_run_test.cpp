// One run from the text inputs to the results: its log in exact bytes, its files, and runs on an earlier run's files.
#include "run/models.h"
#include "run/run_log.h"

#include <tarnel.h>

using namespace tarnel_test;

using whole_run = stage_test;

TEST_F(whole_run, log_of_a_planar_run_holds_every_heading_in_order)
{
    write_model(plate(6, 5, 0));
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), whole_log(unknowns_of_plate(6, 5)));
}

TEST_F(whole_run, log_of_an_axisymmetric_run_is_the_same)
{
    write_model(plate(6, 5, 1));
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), whole_log(unknowns_of_plate(6, 5)));
}

TEST_F(whole_run, unit_square_between_two_potentials_has_a_linear_potential_and_a_uniform_field)
{
    write_model(unit_square());
    expect_complete(run_library());
    const std::string nodes = read_file("at-nresl-struct.tmp");
    ASSERT_EQ(nodes.size(), 6U * 16);
    EXPECT_EQ(int_at(nodes, 64), 5);
    EXPECT_NEAR(double_at(nodes, 72), 0.5, 1e-15); // half way between 0 and 1, by symmetry
    const std::string felms = read_file("at-eresl-struct.tmp");
    ASSERT_EQ(felms.size(), 5U * 112);
    for (std::size_t k = 0; k < 4; ++k) { // A = x: B = (dA/dy, -dA/dx) = (0, -1)
        EXPECT_EQ(int_at(felms, 112 * k), static_cast<int>(k + 1));
        EXPECT_NEAR(double_at(felms, 112 * k + 16), 0, 1e-15);
        EXPECT_NEAR(double_at(felms, 112 * k + 24), -1, 1e-15);
        EXPECT_NEAR(double_at(felms, 112 * k + 48), -1 / 1.25663704e-06, 1e-9);
    }
}

TEST_F(whole_run, text_tables_open_with_the_banner_of_the_log_and_name_the_geometrys_components)
{
    const std::string banner = "\n  ORVAN  <tarnel> May.2006\n\n  Copyright (c) the tarnel authors\n";
    const std::vector<std::pair<std::string, std::string>> heads = {
        {"      nog, x, y, Az ... \n", "      noe, nop, bx, by, jz / hx, hy, ez / \n"},
        {"      nog, r, z, Atheta ... \n", "      noe, nop, br, bz, jtheta / hr, hz, etheta / \n"}};
    for (int iax = 0; iax <= 1; ++iax) {
        model m = unit_square();
        m.iax = iax;
        write_model(m);
        expect_complete(run_library());
        const auto& [of_nodes, of_felms] = heads[static_cast<std::size_t>(iax)];
        const std::string nodes = read_file("at-node-resl.txt"), felms = read_file("at-felm-resl.txt");
        EXPECT_TRUE(nodes.starts_with(banner + "    === nodal results ===\n\n" + of_nodes +
                                      "           1     0.00000e+00     0.00000e+00     0.00000e+00 \n"
                                      "           2     1.00000e+00     0.00000e+00     1.00000e+00 \n"))
            << nodes;
        EXPECT_TRUE(felms.starts_with(banner + "    === element results ===\n\n" + of_felms + "           1     1 "))
            << felms;
    }
}

TEST_F(whole_run, each_conjugate_gradient_variant_reports_under_its_own_name)
{
    const std::string heads[] = {"        CG", "      ICCG", "       SCG"};
    for (int option = 0; option <= 2; ++option) {
        SCOPED_TRACE(option);
        model m = plate(6, 5, 0);
        m.iopt_solv = option;
        write_model(m);
        const process_outcome run = run_library();
        expect_complete(run);
        EXPECT_EQ(without_iterations(without_times(run.log), heads[option]), whole_log(unknowns_of_plate(6, 5)));
    }
}

TEST_F(whole_run, without_any_source_a_warning_stands_for_the_iterations_and_the_run_goes_on_with_zeros)
{
    model m = plate(6, 5, 0);
    for (model_property& p : m.properties) p.js = p.b = p.h = 0;
    for (model_condition& c : m.conditions) c.fai0 = 0;
    write_model(m);
    const process_outcome run = run_library();
    expect_complete(run);
    std::string wanted = whole_log(unknowns_of_plate(6, 5));
    wanted.replace(wanted.find("<iterations>"), 12, "      Warning. norm of right-side vector is zero.");
    EXPECT_EQ(without_times(run.log), wanted);
    const std::string nodes = read_file("at-nresl-struct.tmp");
    ASSERT_EQ(nodes.size(), 43U * 16);
    for (std::size_t at = 0; at < nodes.size(); at += 16) EXPECT_EQ(double_at(nodes, at + 8), 0);
}

TEST_F(whole_run, reaching_the_iteration_limit_is_not_an_error)
{
    model m = plate(6, 5, 0);
    m.itermax_solv = 2;
    write_model(m);
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), whole_log(unknowns_of_plate(6, 5)));
    EXPECT_NE(run.log.find(" solver convergence iter = 1 "), std::string::npos);
    EXPECT_EQ(run.log.find(" solver convergence iter = 2 "), std::string::npos);
}

TEST_F(whole_run, a_log_of_an_earlier_run_is_replaced)
{
    write_model(ten_nodes());
    write_file("tarnel.log", std::string(100000, 'x'));
    EXPECT_EQ(plain(run_library().log), whole_log(unknowns_of_ten_nodes));
}

TEST_F(whole_run, a_second_run_on_all_work_files_rebuilds_the_element_structure_and_gives_the_same_results)
{
    model m = plate(6, 5, 0);
    const int ndim = unknowns_of_plate(6, 5);
    write_model(m);
    expect_complete(run_library());
    const file_contents first = files_of_run();
    m.iopt_rdata = m.iopt_prep = 0;
    write_model(m);
    for (const std::string& name : text_inputs) // none of them is read again
        if (name != "at-cntl-data.txt" && name != "t-dimension-data.txt") std::filesystem::remove(name);
    for (const std::string& name : files_of_analysis) write_file(name, "left over");
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), log_start() + log_control() + log_no_circuits() + log_felm_struct() + log_assembly(ndim) +
                                  log_solution(ndim) + log_results(ndim) + log_end());
    expect_same(files_of_run(), first);
}

TEST_F(whole_run, without_the_readers_the_preparation_starts_from_an_earlier_runs_files)
{
    model m = plate(6, 5, 0);
    const int ndim = unknowns_of_plate(6, 5);
    write_model(m);
    expect_complete(run_library());
    const file_contents first = files_of_run();
    m.iopt_rdata = 0;
    write_model(m);
    write_file("t-node-data.txt", "nothing that can be read\n");
    for (const std::string& name : files_of_preparation) std::filesystem::remove(name);
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), log_start() + log_control() + log_no_circuits() + log_preparation(ndim) +
                                  log_felm_struct() + log_assembly(ndim) + log_solution(ndim) + log_results(ndim) +
                                  log_end());
    expect_same(files_of_run(), first);
}

TEST_F(whole_run, without_the_preparation_new_materials_meet_the_numbering_of_an_earlier_run)
{
    model m = plate(6, 5, 0);
    const int ndim = unknowns_of_plate(6, 5);
    m.properties[0].js = 1;
    write_model(m);
    expect_complete(run_library());
    const file_contents first = files_of_run();
    m = plate(6, 5, 0);
    write_model(m);
    expect_complete(run_library());
    const file_contents wanted = files_of_run();
    EXPECT_FALSE(first.at("at-nresl-struct.tmp") == wanted.at("at-nresl-struct.tmp"));

    m.properties[0].js = 1;
    write_model(m);
    expect_complete(run_library());
    m = plate(6, 5, 0);
    m.iopt_prep = 0;
    write_model(m);
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), log_start() + log_control() + log_readers() + log_no_circuits() + log_felm_struct() +
                                  log_assembly(ndim) + log_solution(ndim) + log_results(ndim) + log_end());
    expect_same(files_of_run(), wanted);
}

TEST_F(whole_run, with_no_solver_the_solution_file_is_empty_and_the_nodal_results_fail_on_it)
{
    model m = ten_nodes();
    m.itype_solv = 3;
    write_model(m);
    write_file("t-femr-solution.tmp", "left over");
    const process_outcome run = run_library();
    expect_ended(run);
    EXPECT_EQ(without_times(run.log), log_start() + log_control() + log_readers() + log_no_circuits() +
                                          log_preparation(unknowns_of_ten_nodes) + log_felm_struct() +
                                          log_assembly(unknowns_of_ten_nodes) + log_solver_start() + log_solver_end() +
                                          announced("eat_calc_node_resl") + entered("eat_calc_node_resl") +
                                          "      Error. in t-femr-solution.tmp(r1).\n");
    EXPECT_EQ(read_file("t-femr-solution.tmp"), "");
    EXPECT_FALSE(std::filesystem::exists("at-felm-resl.txt"));
}

TEST_F(whole_run, without_previous_potentials_a_time_step_is_noted_and_solved_as_if_none_were_asked_for)
{
    for (const double delta_t : {0.0, 0.25}) { // 0 would be refused in a real step
        SCOPED_TRACE(delta_t);
        model m = plate(6, 5, 0);
        const int ndim = unknowns_of_plate(6, 5);
        m.delta_t = delta_t;
        write_model(m);
        expect_complete(run_library());
        const file_contents wanted = files_of_run();
        m.iopt_trans = 1;
        write_model(m);
        const process_outcome run = run_library();
        expect_complete(run);
        EXPECT_EQ(plain(run.log), log_start() + log_control() + log_readers() + log_no_circuits() +
                                      log_preparation(ndim) + log_felm_struct() + log_no_previous() +
                                      log_assembly(ndim) + log_solution(ndim) + log_results(ndim) + log_end());
        expect_same(files_of_run(), wanted);
    }
}

TEST_F(whole_run, with_previous_potentials_there_is_no_note_and_they_change_the_solution)
{
    model m = plate(6, 5, 0);
    m.delta_t = 0.25;
    write_model(m);
    expect_complete(run_library());
    const std::string without = read_file("at-nresl-struct.tmp");
    m.iopt_trans = 1;
    write_model(m);
    write_file("at-npresl-struct.tmp", bytes().add_i(20).add_i(0).add_d(1.5).add_zeros(16).text());
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), whole_log(unknowns_of_plate(6, 5)));
    EXPECT_FALSE(read_file("at-nresl-struct.tmp") == without);
}

TEST_F(whole_run, a_time_step_from_the_static_nodal_results_stays_at_them)
{
    // dA/dt = 0 solves the diffusion equation when the sources do not change.
    model m = plate(6, 5, 0);
    write_model(m);
    expect_complete(run_library());
    const std::string before = read_file("at-nresl-struct.tmp");
    std::filesystem::copy_file("at-nresl-struct.tmp", "at-npresl-struct.tmp");
    m.iopt_trans = 1;
    m.delta_t = 0.25;
    write_model(m);
    expect_complete(run_library());
    const std::string after = read_file("at-nresl-struct.tmp");
    ASSERT_EQ(after.size(), before.size());
    ASSERT_EQ(after.size(), 43U * 16); // 42 nodes and the end record
    double largest = 0;
    for (std::size_t at = 0; at < after.size(); at += 16)
        largest = std::max(largest, std::fabs(double_at(before, at + 8)));
    EXPECT_GT(largest, 0.01);
    for (std::size_t at = 0; at < after.size(); at += 16)
        EXPECT_NEAR(double_at(after, at + 8), double_at(before, at + 8), 1e-9 * largest);
}

TEST_F(whole_run, a_fault_in_a_text_input_ends_the_run_in_its_reader_with_the_line_echoed)
{
    struct fault {
        std::string file, content, log;
    };
    const std::string in_control = log_start() + now_reading("at-cntl-data.txt");
    const std::string in_nodes = log_start() + log_control() + log_reader("t_rd_lcs_data", "t-lcs-data.txt") +
                                 log_reader("t_rd_node_data", "t-node-data.txt");
    const std::vector<fault> faults = {
        {"at-cntl-data.txt", "1 2 3\n",
         in_control + "      Error. no. of parameters is illegal.\n             at line : 1 2 3\n"},
        {"at-cntl-data.txt", "10 5 0 2 10 60 1\n1 1 0 0 0 0 2\n",
         in_control + "      Error. integer parameter over the limit. ip = 7 \n             at line : 1 1 0 0 0 0 2\n"},
        {"at-cntl-data.txt", "",
         in_control + "      Error. EOF found in data line. \n             at line : " + std::string(101, ' ')},
        {"t-dimension-data.txt", "2\n",
         log_start() + log_control() +
             "      Error. integer parameter over the limit. ip = 1 \n             at line : 2\n"},
        {"t-node-data.txt", "1 0 0 0 0\n2 0 1.5x 0 0\n",
         in_nodes + "      Error. illegal double parameter. ip = 3 \n             at line : 2 0 1.5x 0 0\n"}};
    for (const fault& f : faults) {
        SCOPED_TRACE(f.content);
        write_model(ten_nodes());
        write_file(f.file, f.content);
        const process_outcome run = run_library();
        expect_ended(run);
        EXPECT_EQ(without_times(run.log), f.log);
        EXPECT_FALSE(std::filesystem::exists("t-felms-struct.tmp")); // no later stage has begun
    }
}

TEST_F(whole_run, an_eighth_limit_is_accepted_whatever_it_is)
{
    write_model(ten_nodes());
    expect_complete(run_library());
    const file_contents wanted = files_of_run();
    std::string text = read_file("at-cntl-data.txt");
    text.insert(text.find('\n'), " not-a-number");
    write_file("at-cntl-data.txt", text);
    expect_complete(run_library());
    expect_same(files_of_run(), wanted);
}

TEST_F(whole_run, carriage_returns_before_the_line_ends_of_the_text_inputs_change_nothing)
{
    model m = plate(6, 5, 1);
    m.lcs = "1 0 0\n0 0 0\n0 0 1\n1 0 0\n0 0 0\n";
    write_model(m);
    expect_complete(run_library());
    const file_contents wanted = files_of_run();
    for (const std::string& name : text_inputs) {
        std::string with_returns;
        for (const char c : read_file(name)) with_returns += c == '\n' ? std::string("\r\n") : std::string(1, c);
        write_file(name, with_returns);
    }
    const process_outcome run = run_library();
    expect_complete(run);
    EXPECT_EQ(plain(run.log), whole_log(unknowns_of_plate(6, 5)));
    expect_same(files_of_run(), wanted);
}

TEST_F(whole_run, repeated_runs_give_the_same_bits)
{
    model m = plate(12, 9, 1);
    add_host_inputs(m);
    write_model(m);
    expect_complete(run_library());
    const file_contents first = files_of_run();
    for (int k = 0; k < 3; ++k) {
        expect_complete(run_library());
        expect_same(files_of_run(), first);
    }
}
