// Small models that together reach every stage and every option of a run.
#pragma once

#include "circuit_physics/circuits.h"
#include "run/models.h"

#include <functional>
#include <string>
#include <vector>

namespace tarnel_test
{

// A model, by what it puts into an empty working directory.
struct fault_model {
    std::string name;
    std::function<void()> write;
};

inline void write_blocks(int work_length, int blocks)
{
    std::string text = std::to_string(work_length) + " " + std::to_string(blocks) + " 20\n";
    for (int k = 1; k <= blocks; ++k) text += "sky-" + std::to_string(k) + ".tmp\n";
    write_file("t-skylin.txt", text);
}

// One local system, cylindrical about the origin.
inline const std::string one_system = "1 1 0\n0 0 0\n0 0 1\n1 0 0\n0 0 0\n";

// Everything that a circuit can have: a grad-fai condition on the left half, an edge that drives the right half, one
// apart from the field with a diode, a circuit node; a time step and every table of the host.
inline model circuit_model(int iax)
{
    model m = plate(4, 2, iax);
    add_host_inputs(m);
    m.lcs = one_system;
    return m;
}

inline void write_whole_circuit()
{
    circuit c;
    c.regions = {tied(1, 1), driven(2, 1, 100.0)};
    c.regions[1].conductors[0].lnon = 1;
    c.nvoltg = 1, c.nvoltve = 1, c.nvoltm = 1;
    c.seventh = {0.1, 0};
    c.f = {{1e6, 0, 0, 0}, {0, 3, 1, 1}, {0, 1, 4, 1}, {0, 1, 1, 5}};
    c.u = {1, 5, 10, 0.5};
    c.diodes = {{.novlt = 2, .not_diod = 1, .isign_diod = 1}};
    c.tables = {{.not_diod = 1, .points = {{-100, -1e-4}, {0, 0}, {0.6, 1e-3}, {1, 5.001}}}};
    write_circuit_lists(c);
    write_circuit_system(c);
    tarnel_host::write_voltp_solution("t-voltp-solution.tmp", {{0, 0.5, 0.25, 0}, {0.125, 0}});
}

inline void expect_earlier_run()
{
    const process_outcome run = run_library();
    if (!run.returned) throw std::runtime_error("the earlier run did not end:\n" + run.log);
    std::filesystem::remove("tarnel.log");
}

inline std::vector<fault_model> small_fault_models()
{
    std::vector<fault_model> models;
    models.push_back({"plain, ICCG", [] { write_model(unit_square()); }});
    models.push_back({"every table of the host, CG", [] {
                          model m = ten_nodes();
                          m.iopt_solv = 0;
                          m.lcs = one_system;
                          m.properties[0].lnob = m.properties[1].lnoh = 1;
                          add_host_inputs(m);
                          write_model(m);
                      }});
    models.push_back({"axisymmetric, SCG, numbers without order", [] {
                          model m = plate(3, 2, 1);
                          m.iopt_solv = 2;
                          std::swap(m.nodes[0], m.nodes[5]);
                          std::swap(m.felms[0], m.felms[3]);
                          m.nodes.push_back({40, 9, 9}); // which no element uses
                          write_model(m);
                      }});
    models.push_back({"time step without previous potentials, Gauss-Seidel", [] {
                          model m = ten_nodes();
                          m.iopt_trans = 1, m.delta_t = 0.5;
                          m.itype_solv = 2, m.eps_solv = 1e-3;
                          write_model(m);
                      }});
    models.push_back({"skyline in blocks", [] {
                          model m = plate(4, 2, 0);
                          m.itype_solv = 0, m.iopt_solv = 0;
                          write_model(m);
                          write_blocks(16, 10);
                      }});
    models.push_back({"skyline with an earlier factor", [] {
                          model m = plate(4, 2, 0);
                          m.itype_solv = 0, m.iopt_solv = 0;
                          write_model(m);
                          write_blocks(16, 10);
                          expect_earlier_run();
                          m.iopt_solv = 1;
                          m.properties[0].js *= 2;
                          write_model(m);
                      }});
    models.push_back({"work files of an earlier run", [] {
                          model m = ten_nodes();
                          add_host_inputs(m);
                          write_model(m);
                          expect_earlier_run();
                          m.iopt_rdata = m.iopt_prep = 0;
                          write_model(m);
                      }});
    models.push_back({"circuit files without circuits", [] {
                          write_model(unit_square());
                          write_file("t-volt-data1.tmp", "");
                          write_file("t-volt-data2.tmp", bytes().add_zeros(20).text());
                      }});
    models.push_back({"circuit apart from the field", [] {
                          write_model(unit_square());
                          circuit c;
                          c.seventh = {0};
                          c.f = {{3}};
                          c.u = {5};
                          write_circuit_lists(c);
                          write_circuit_system(c);
                          tarnel_host::write_voltp_solution("t-voltp-solution.tmp", {{0}, {0}});
                      }});
    for (const int iax : {0, 1})
        models.push_back({iax == 0 ? "whole circuit, ICCG" : "whole circuit, axisymmetric, ICCG", [iax] {
                              write_model(circuit_model(iax));
                              write_whole_circuit();
                          }});
    models.push_back({"whole circuit, skyline in blocks", [] {
                          model m = circuit_model(0);
                          m.itype_solv = 0, m.iopt_solv = 0;
                          write_model(m);
                          write_whole_circuit();
                          write_blocks(16, 10);
                      }});
    models.push_back({"whole circuit under the widest limits, skyline", [] {
                          model m = circuit_model(0);
                          m.itype_solv = 0, m.iopt_solv = 0;
                          m.maxnog = m.maxfelm = m.maxbelm = m.maxprp = m.maxdim = m.maxnzero = m.maxedg = 999999999;
                          write_model(m);
                          write_whole_circuit();
                          write_blocks(999999999, 1);
                      }});
    models.push_back({"whole circuit, Gauss-Seidel", [] {
                          model m = circuit_model(0);
                          m.itype_solv = 2, m.eps_solv = 1e-6;
                          write_model(m);
                          write_whole_circuit();
                      }});
    return models;
}

} // namespace tarnel_test
