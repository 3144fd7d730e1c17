#include "damage/models.h"

#include "circuit_physics/circuits.h"
#include "run/models.h"

#include <filesystem>
#include <set>

namespace tarnel_test
{

using run_function = std::function<void()>;

// One quadrilateral and two triangles between A = 0 and A = 1; remanence and source in local systems.
static model plate_of_three()
{
    model m;
    m.nodes = {{1, 0, 0}, {2, 1, 0}, {3, 2, 0.25}, {4, 0, 1}, {5, 1, 1}, {6, 2, 1}};
    m.felms = {{1, 204, 1, {1, 2, 5, 4}}, {2, 203, 2, {2, 3, 6}}, {3, 203, 2, {2, 6, 5}}};
    m.properties = {{.nop = 1, .mu = 1.25663704e-03, .sigma = 1e6, .js = 2e6, .lnob = 1, .bx = 1, .by = 2, .b = 0.3},
                    {.nop = 2, .mu = 1.25663704e-06, .sigma = 2e6, .js = -1e6, .lnoh = 2, .hx = 3, .hy = 1, .h = 1e4}};
    m.conditions = {{1, 0}, {4, 0.5}, {6, 0.25, 3, -1}};
    m.lcs = "1 0 0\n0 0 0\n0 0 1\n1 1 0\n"
            "2 1 0\n-1 0 0\n-1 0 1\n1 0.5 0\n"
            "0 0 0\n";
    m.itermax_solv = 40;
    return m;
}

static void write_planar(const run_function&)
{
    write_model(plate_of_three());
}

// A 6-node triangle pair beside an 8-node quadrilateral, off the axis, with previous potentials.
static void write_axisymmetric(const run_function&)
{
    model m;
    m.iax = 1;
    m.nodes = {{1, 1, 0},   {2, 2, 0},   {3, 2, 1},   {4, 1, 1},       {5, 1.5, 0},    {6, 2, 0.5},
               {7, 1.5, 1}, {8, 1, 0.5}, {9, 3, 0.5}, {10, 2.5, 0.25}, {11, 2.5, 0.75}};
    m.felms = {{1, 208, 1, {1, 2, 3, 4, 5, 6, 7, 8}}, {2, 206, 2, {2, 9, 3, 10, 11, 6}}};
    m.properties = {{.nop = 1, .mu = 1.25663704e-03, .sigma = 1e6, .js = 2e6},
                    {.nop = 2, .mu = 1.25663704e-06, .sigma = 2e6, .hx = 1, .hy = 0, .h = 1e3}};
    m.conditions = {{1, 0}, {4, 0}, {8, 0}};
    m.iopt_trans = 1;
    m.delta_t = 0.125;
    m.itype_solv = 2;
    m.itermax_solv = 40;
    m.eps_solv = 1e-6;
    bytes previous;
    for (const model_node& node : m.nodes) previous.add_i(node.nog).add_i(0).add_d(0.01 * node.x - 0.003 * node.y);
    write_model(m);
    write_file("at-npresl-struct.tmp", previous.add_zeros(16).text());
}

static model with_tables(int iax)
{
    model m = plate(2, 1, iax);
    m.iopt_solv = 2;
    m.itermax_solv = 40;
    add_host_inputs(m);
    return m;
}

static void write_tables(const run_function&)
{
    write_model(with_tables(1));
}

static model for_skyline(model m)
{
    m.itype_solv = 0;
    m.iopt_solv = 0;
    return m;
}
constexpr const char* blocks_of_three = "3 4 8\na.tmp\nb.tmp\nc.tmp\nd.tmp\n";
constexpr const char* blocks_of_ten_nodes = "9 4 8\na.tmp\nb.tmp\nc.tmp\nd.tmp\n";

static void write_skyline(const run_function&)
{
    write_model(for_skyline(plate_of_three()));
    write_file("t-skylin.txt", blocks_of_three);
}

// Two elements driven by an edge each, one by its magnetisation, two tied to a grad-fai condition; a diode in the first
// edge, and an edge apart from the field behind a circuit node.
static circuit circuit_of_square()
{
    circuit c;
    c.regions = {driven(1, 1, 1e3), magnetised(2, 2, 1e2, 0), tied(3, 1)};
    c.regions[0].conductors[0].lnon = 1;
    c.nvoltg = 1;
    c.nvoltm = 1;
    c.nvoltve = 2;
    c.seventh = {1, 1, 0};
    c.f = {{2, 0, 0, 0, 0}, {0, 3, 0, 0, 1}, {0, 0, 2, 0, 0}, {0, 0, 0, 1, -1}, {0, 1, 0, 1, 1}};
    c.u = {0.5, 4, 2, 0, 1};
    c.diodes = {{.novlt = 1, .not_diod = 1, .isign_diod = 1}, {.novlt = 3, .not_diod = 2, .isign_diod = -1}};
    c.tables = {{.not_diod = 1, .points = {{-100, -1e-4}, {0, 0}, {0.6, 1e-3}, {1, 5}}},
                {.not_diod = 2, .points = {{-1, -1e-3}, {1, 5}}}};
    c.itermax_diod = 30;
    c.eps_diod = 1e-6;
    return c;
}

static model square_for_circuit()
{
    model m = unit_square();
    const double mu = 1.25663704e-06;
    m.properties = {{.nop = 1, .mu = mu}, {.nop = 2, .mu = mu}, {.nop = 3, .mu = mu, .sigma = 1e6}};
    m.felms[1].nop = 2;
    m.felms[2].nop = m.felms[3].nop = 3;
    m.lcs = "1 0 0\n0 0 0\n0 0 1\n1 1 0\n0 0 0\n";
    m.iopt_trans = 1;
    m.delta_t = 0.125;
    m.itermax_solv = 40;
    return m;
}

static void write_square_with_circuit(const model& m)
{
    bytes previous;
    for (const model_node& node : m.nodes) previous.add_i(node.nog).add_i(0).add_d(0.001 * node.x);
    write_file("at-npresl-struct.tmp", previous.add_zeros(16).text());
    write_model(m);
    const circuit c = circuit_of_square();
    write_circuit_lists(c);
    write_circuit_system(c);
    tarnel_host::write_voltp_solution("t-voltp-solution.tmp", {{0, 1, 2, 3, 4}, {0.5, 0.25, 0.125}});
}

static void write_circuit(const run_function&)
{
    write_square_with_circuit(square_for_circuit());
}

static void keep_only(const std::set<std::string>& inputs)
{
    std::vector<std::filesystem::path> others;
    for (const auto& file : std::filesystem::directory_iterator("."))
        if (!inputs.contains(file.path().filename().string())) others.push_back(file.path());
    for (const std::filesystem::path& file : others) std::filesystem::remove(file);
}

// The work files of the text readers go on into the preparation.
static void write_prepared_again(const run_function& run)
{
    model m = with_tables(1);
    write_model(m);
    run();
    m.iopt_rdata = 0;
    write_model(m);
    keep_only({"at-cntl-data.txt", "t-dimension-data.txt", "t-lcs-struct.tmp", "t-nodes-struct.tmp",
               "t-felms-struct.tmp", "at-prop-struct.tmp", "at-fixc-data.tmp", "at-proptv-struct.tmp",
               "at-propsg-struct.tmp", "at-h0vect-struct.tmp", "at-j0vect-struct.tmp", "at-belm-struct.tmp",
               "at-npresl-struct.tmp"});
}

// The work files of the preparation go on into the analysis.
static void write_analysed_again(const run_function& run)
{
    model m = square_for_circuit();
    write_square_with_circuit(m);
    run();
    m.iopt_rdata = m.iopt_prep = 0;
    write_square_with_circuit(m);
    keep_only({"at-cntl-data.txt", "t-dimension-data.txt", "t-lcs-struct.tmp", "t-felms-struct.tmp",
               "at-prop-struct.tmp", "at-node-struct.tmp", "t-matrix-index.tmp", "t-felm-cntr.tmp",
               "at-npresl-struct.tmp", "t-volt-data1.tmp", "t-volt-data2.tmp", "t-voltr-matrix.tmp",
               "t-voltr-vector.tmp", "t-voltp-solution.tmp"});
}

// The factor of the skyline solver serves another right-hand side.
static void write_substituted_again(const run_function& run)
{
    model m = for_skyline(ten_nodes());
    write_model(m);
    write_file("t-skylin.txt", blocks_of_ten_nodes);
    run();
    m.iopt_solv = 1;
    write_model(m);
    std::set<std::string> inputs(text_inputs.begin(), text_inputs.end());
    inputs.insert({"t-skylin.txt", "a.tmp", "b.tmp", "c.tmp", "d.tmp"});
    keep_only(inputs);
}

const std::vector<small_model>& small_models()
{
    static const std::vector<small_model> models = {
        {"planar", write_planar, text_inputs},
        {"axisymmetric",
         write_axisymmetric,
         {"at-cntl-data.txt", "t-node-data.txt", "t-felm-data.txt", "at-prop-data.txt", "at-fixc-data.txt",
          "at-npresl-struct.tmp"}},
        {"tables",
         write_tables,
         {"at-cntl-data.txt", "at-proptv-struct.tmp", "at-propsg-struct.tmp", "at-h0vect-struct.tmp",
          "at-j0vect-struct.tmp", "at-belm-struct.tmp", "at-npresl-struct.tmp"}},
        {"skyline", write_skyline, {"at-cntl-data.txt", "at-prop-data.txt", "at-fixc-data.txt", "t-skylin.txt"}},
        {"circuit",
         write_circuit,
         {"at-cntl-data.txt", "t-lcs-data.txt", "t-volt-data1.tmp", "t-volt-data2.tmp", "t-voltr-matrix.tmp",
          "t-voltr-vector.tmp", "t-voltp-solution.tmp"}},
        {"prepared-again",
         write_prepared_again,
         {"at-cntl-data.txt", "t-lcs-struct.tmp", "t-nodes-struct.tmp", "t-felms-struct.tmp", "at-prop-struct.tmp",
          "at-fixc-data.tmp", "at-belm-struct.tmp"}},
        {"analysed-again",
         write_analysed_again,
         {"at-cntl-data.txt", "t-lcs-struct.tmp", "t-felms-struct.tmp", "at-prop-struct.tmp", "at-node-struct.tmp",
          "t-matrix-index.tmp", "t-felm-cntr.tmp"}},
        {"substituted-again", write_substituted_again, {"t-skylin.txt", "a.tmp", "b.tmp", "c.tmp"}},
    };
    return models;
}

} // namespace tarnel_test
