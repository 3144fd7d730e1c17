// Binary files that a host prepares for a run: one writer and one reader each. Values are written and read as they
// are; what they mean, and their bounds, docs/formats.md and docs/theory.md say.
//   errors  every function: std::runtime_error "PATH: REASON"
//   writers refuse what could not be read back: a list member numbered 0 (it would end the list), counts that do not
//   fit their arrays; they report every failing write, flush and close, and then leave a broken file behind
//   readers refuse a file that ends early and counts that it cannot hold; bytes after the end of a list are not read
#pragma once

#include "common/records.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace tarnel_host
{

// "t-volt-data1.tmp": which properties circuits drive or tie together.
struct volt_conductor { // a circuit edge in a property
    std::int32_t novlt = 0;
    std::int32_t iswjh = 1;        // coupling: 1 current density, 2 magnetisation, 0 none
    std::array<double, 3> nvect{}; // source of a unit circuit current: kind 1 [1/m2], kind 2 [1/m]
    std::int32_t lnon = 0;         // local system of nvect, 0 global
};
struct volt_property {
    std::int32_t nop = 0;
    std::int32_t iswvlt = 0;                // 1 voltage region, -1 grad-fai region
    std::int32_t ngrad = 0;                 // its grad-fai condition, 0 for none
    std::vector<volt_conductor> conductors; // only with iswvlt 1
};
struct volt_data1 {
    std::int32_t maxvlt = 0; // the same in both files; every list holds at most maxvlt - 1 members
    std::vector<volt_property> properties;
};
void write_volt_data1(const std::filesystem::path& path, const volt_data1& data);
volt_data1 read_volt_data1(const std::filesystem::path& path);

// "t-volt-data2.tmp": the circuit unknowns and the diodes. Unknowns are counted from 1 among their kind, 0 for none.
struct volt_grad {
    std::int32_t ngrad = 0;
    std::int32_t iug = 0;
};
struct volt_edge {
    std::int32_t novlt = 0;
    std::int32_t iuv = 0;
    std::array<double, 7> constv{};     // the seventh scales the induced voltage
    std::array<std::int32_t, 2> icon{}; // of the host
};
struct volt_node {
    std::int32_t node = 0;
    std::int32_t ium = 0;
};
struct volt_diode {
    std::int32_t novlt = 0;
    std::int32_t not_diod = 0;   // its table
    std::int32_t isign_diod = 1; // negative: against the edge's direction
};
struct volt_point {
    double v = 0, i = 0; // [V], [A]
};
struct volt_table {
    std::int32_t not_diod = 0;
    std::vector<volt_point> points;
};
struct volt_data2 {
    std::int32_t maxvlt = 0;
    std::int32_t nvoltg = 0;  // grad-fai unknowns
    std::int32_t nvoltv = 0;  // edge unknowns
    std::int32_t nvoltve = 0; // edge unknowns coupled to the field, the first ones
    std::int32_t nvoltm = 0;  // node-voltage unknowns
    std::vector<volt_grad> grads;
    std::vector<volt_edge> edges;
    std::vector<volt_node> nodes;
    std::int32_t maxtdat_diod = 0; // largest number of points of a table; 0: no diodes, and neither list in the file
    std::int32_t itermax_diod = 0;
    double eps_diod = 0;
    std::vector<volt_diode> diodes;
    std::vector<volt_table> tables; // at most maxvlt
};
void write_volt_data2(const std::filesystem::path& path, const volt_data2& data);
volt_data2 read_volt_data2(const std::filesystem::path& path);

// "t-voltr-matrix.tmp": the circuit matrix F.
struct voltr_matrix {
    std::int32_t nvolt = 0;
    std::vector<double> f; // nvolt x nvolt, row by row
};
void write_voltr_matrix(const std::filesystem::path& path, const voltr_matrix& matrix);
voltr_matrix read_voltr_matrix(const std::filesystem::path& path);

// "t-voltr-vector.tmp": the circuit right-hand side, nvolt values.
void write_voltr_vector(const std::filesystem::path& path, const std::vector<double>& values);
std::vector<double> read_voltr_vector(const std::filesystem::path& path);

// "t-voltp-solution.tmp": the circuit solution of the step before. "t-voltr-solution.tmp", which a run writes, has the
// same layout.
struct voltp_solution {
    std::vector<double> fsolr;   // nvolt unknowns: grad-fai, currents [A], node voltages [V]
    std::vector<double> chg_vlt; // nvoltv charges [C]
};
void write_voltp_solution(const std::filesystem::path& path, const voltp_solution& solution);
voltp_solution read_voltp_solution(const std::filesystem::path& path);

// Tables by element, in the order of the elements, without an end record.
void write_proptv(const std::filesystem::path& path, const std::vector<tarnel::tensor_record>& records);
void write_propsg(const std::filesystem::path& path, const std::vector<tarnel::conductivity_record>& records);
void write_j0vect(const std::filesystem::path& path, const std::vector<tarnel::current_record>& records);
void write_h0vect(const std::filesystem::path& path, const std::vector<tarnel::magnetisation_record>& records);
std::vector<tarnel::tensor_record> read_proptv(const std::filesystem::path& path);
std::vector<tarnel::conductivity_record> read_propsg(const std::filesystem::path& path);
std::vector<tarnel::current_record> read_j0vect(const std::filesystem::path& path);
std::vector<tarnel::magnetisation_record> read_h0vect(const std::filesystem::path& path);

// Lists; the end record is written and read here and stands in no vector.
void write_belm(const std::filesystem::path& path, const std::vector<tarnel::belm_record>& records);
void write_npresl(const std::filesystem::path& path, const std::vector<tarnel::potential_record>& records);
std::vector<tarnel::belm_record> read_belm(const std::filesystem::path& path);
std::vector<tarnel::potential_record> read_npresl(const std::filesystem::path& path);

} // namespace tarnel_host
