// Work files: their names and the records they are made of, native byte order. A record of zeros ends each list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace tarnel
{

// Text inputs.
inline constexpr const char* control_text = "at-cntl-data.txt";
inline constexpr const char* dimension_text = "t-dimension-data.txt";
inline constexpr const char* lcs_text = "t-lcs-data.txt";
inline constexpr const char* nodes_text = "t-node-data.txt";
inline constexpr const char* felms_text = "t-felm-data.txt";
inline constexpr const char* properties_text = "at-prop-data.txt";
inline constexpr const char* conditions_text = "at-fixc-data.txt";
inline constexpr const char* skyline_text = "t-skylin.txt";

// Binary inputs of the host.
inline constexpr const char* belms_file = "at-belm-struct.tmp";
inline constexpr const char* tensors_file = "at-proptv-struct.tmp";
inline constexpr const char* conductivities_file = "at-propsg-struct.tmp";
inline constexpr const char* magnetisations_file = "at-h0vect-struct.tmp";
inline constexpr const char* currents_file = "at-j0vect-struct.tmp";
inline constexpr const char* previous_file = "at-npresl-struct.tmp";
inline constexpr const char* circuit1_file = "t-volt-data1.tmp";
inline constexpr const char* circuit2_file = "t-volt-data2.tmp";
inline constexpr const char* circuit_matrix_file = "t-voltr-matrix.tmp";
inline constexpr const char* circuit_vector_file = "t-voltr-vector.tmp";
inline constexpr const char* circuit_previous_file = "t-voltp-solution.tmp";

// Work files, in the order in which a run makes them.
inline constexpr const char* lcs_file = "t-lcs-struct.tmp";
inline constexpr const char* nodes_file = "t-nodes-struct.tmp";
inline constexpr const char* felms_file = "t-felms-struct.tmp";
inline constexpr const char* properties_file = "at-prop-struct.tmp";
inline constexpr const char* conditions_file = "at-fixc-data.tmp";
inline constexpr const char* node_struct_file = "at-node-struct.tmp";
inline constexpr const char* index_file = "t-matrix-index.tmp";
inline constexpr const char* centres_file = "t-felm-cntr.tmp";
inline constexpr const char* felm_struct_file = "at-felm-struct.tmp";
inline constexpr const char* matrix_file = "t-femr-matrix.tmp";
inline constexpr const char* vector_file = "t-femr-vector.tmp";
inline constexpr const char* areas_file = "t-felm-vole.tmp";
inline constexpr const char* edge_diagonals_file = "t-voltr-femdv.tmp";
inline constexpr const char* solution_file = "t-femr-solution.tmp";
inline constexpr const char* circuit_solution_file = "t-voltr-solution.tmp";
inline constexpr const char* felm_struct_before_file = "at-felm-struct.org";

// Results.
inline constexpr const char* log_file = "tarnel.log";
inline constexpr const char* node_results_text = "at-node-resl.txt";
inline constexpr const char* node_results_file = "at-nresl-struct.tmp";
inline constexpr const char* felm_results_text = "at-felm-resl.txt";
inline constexpr const char* felm_results_file = "at-eresl-struct.tmp";
inline constexpr const char* circuit_results_text = "t-voltr-result.txt";

inline constexpr const char* end_line = "    === The end. ===\n";
inline constexpr const char* banner = "\n  ORVAN  <tarnel> May.2006\n\n";
inline constexpr const char* owner_notice = "  Copyright (c) the tarnel authors\n";

struct lcs_record { // "t-lcs-struct.tmp"
    std::int32_t lno = 0;
    std::int32_t type = 0;   // 0 Cartesian, 1 cylindrical (r, theta [deg], z)
    double origin[3] = {};   // [m], global
    double rotation[9] = {}; // row by row; the columns are the local axes in global components
};
static_assert(sizeof(lcs_record) == 104 && std::is_trivially_copyable_v<lcs_record>);
static_assert(offsetof(lcs_record, origin) == 8 && offsetof(lcs_record, rotation) == 32);

struct mesh_node_record { // "t-nodes-struct.tmp"
    std::int32_t nog = 0;
    std::int32_t pad = 0;
    double x = 0, y = 0, z = 0; // [m], global
};
static_assert(sizeof(mesh_node_record) == 32 && std::is_trivially_copyable_v<mesh_node_record>);
static_assert(offsetof(mesh_node_record, x) == 8 && offsetof(mesh_node_record, z) == 24);

inline constexpr int most_nodes = 20; // of an element

struct mesh_felm_record { // "t-felms-struct.tmp"
    std::int32_t noe = 0;
    std::int32_t type = 0;
    std::int32_t nop = 0;
    std::int32_t node[most_nodes] = {}; // zero beyond the type's node count
};
static_assert(sizeof(mesh_felm_record) == 92 && std::is_trivially_copyable_v<mesh_felm_record>);
static_assert(offsetof(mesh_felm_record, node) == 12);

struct property_record { // "at-prop-struct.tmp"
    std::int32_t nop = 0;
    std::int32_t iptv = 0; // 1 or more: tensor and first vector by element
    std::int32_t iflg = 0; // 1: conductivity by element
    std::int32_t ij0v = 0; // 1 or more: third vector by element
    double mu = 0;         // permeability [H/m]
    double bvec[3] = {};   // magnetisation as a flux density [T]
    double hvec[3] = {};   // magnetisation as a field strength [A/m]
    double j0vec[3] = {};  // source current density [A/m2]
    double sigma = 0;      // conductivity [S/m]
    std::int32_t lnob = 0; // local systems of the three vectors, 0 global
    std::int32_t lnoh = 0;
    std::int32_t lnoj = 0;
    std::int32_t pad = 0;
};
static_assert(sizeof(property_record) == 120 && std::is_trivially_copyable_v<property_record>);
static_assert(offsetof(property_record, mu) == 16 && offsetof(property_record, bvec) == 24);
static_assert(offsetof(property_record, hvec) == 48 && offsetof(property_record, j0vec) == 72);
static_assert(offsetof(property_record, sigma) == 96 && offsetof(property_record, lnoj) == 112);

struct belm_record { // "at-belm-struct.tmp"
    std::int32_t nob = 0;
    std::int32_t type = 0;   // 102 two nodes, 103 three nodes
    std::int32_t points = 0; // 2: one field pair for each integration point, else the first pair for all
    std::int32_t node[3] = {};
    double not_read_a[3] = {};
    double hx[4] = {}; // boundary field by point [A/m]
    double hy[4] = {};
    double not_read_b[4] = {};
};
static_assert(sizeof(belm_record) == 144 && std::is_trivially_copyable_v<belm_record>);
static_assert(offsetof(belm_record, node) == 12 && offsetof(belm_record, hx) == 48 && offsetof(belm_record, hy) == 80);

struct node_struct_record { // "at-node-struct.tmp", ascending node numbers
    std::int32_t nog = 0;
    std::int32_t pad_a = 0;
    double x = 0, y = 0, z = 0; // [m]; axisymmetric r, z, 0
    std::int32_t nufai = 0;     // unknown number from 1; -1 fixed; 0 no element uses the node
    std::int32_t pad_b = 0;
    double fai0 = 0;  // constant term [Wb/m]
    double acoef = 0; // coefficient of the unknown [1]
};
static_assert(sizeof(node_struct_record) == 56 && std::is_trivially_copyable_v<node_struct_record>);
static_assert(offsetof(node_struct_record, x) == 8 && offsetof(node_struct_record, nufai) == 32);
static_assert(offsetof(node_struct_record, fai0) == 40 && offsetof(node_struct_record, acoef) == 48);

struct tensor_record { // "at-proptv-struct.tmp", for each element whose property asks for it
    std::int32_t noe = 0;
    std::int32_t use = 0;    // 1: the values below replace the property's
    double t11 = 0, t12 = 0; // permeability [H/m]
    double not_read_a = 0;
    double t21 = 0, t22 = 0;
    double not_read_b[4] = {};
    double bx = 0, by = 0; // first vector [T]
    double not_read_c = 0;
};
static_assert(sizeof(tensor_record) == 104 && std::is_trivially_copyable_v<tensor_record>);
static_assert(offsetof(tensor_record, t11) == 8 && offsetof(tensor_record, t21) == 32);
static_assert(offsetof(tensor_record, bx) == 80);

struct current_record { // "at-j0vect-struct.tmp", for each element whose property asks for it
    std::int32_t noe = 0;
    std::int32_t use = 0; // 1: the vector replaces the property's
    double j0vec[3] = {}; // [A/m2]
};
static_assert(sizeof(current_record) == 32 && std::is_trivially_copyable_v<current_record>);

struct felm_struct_record { // "at-felm-struct.tmp"
    std::int32_t noe = 0;
    std::int32_t type = 0;
    std::int32_t nop = 0;
    std::int32_t node[most_nodes] = {};
    std::int32_t pad_a = 0;
    double reluctivity[9] = {}; // inverse permeability tensor, row by row [m/H]
    double hb[3] = {};          // reluctivity times the first vector [A/m]
    double hvec[3] = {};        // second vector [A/m]
    double j0vec[3] = {};       // source current density [A/m2]
    double sigma = 0;           // conductivity [S/m]
    std::int32_t iflg = 0;      // 1: conductivity by element
    std::int32_t pad_b = 0;
};
static_assert(sizeof(felm_struct_record) == 256 && std::is_trivially_copyable_v<felm_struct_record>);
static_assert(offsetof(felm_struct_record, node) == 12 && offsetof(felm_struct_record, reluctivity) == 96);
static_assert(offsetof(felm_struct_record, hb) == 168 && offsetof(felm_struct_record, hvec) == 192);
static_assert(offsetof(felm_struct_record, j0vec) == 216 && offsetof(felm_struct_record, sigma) == 240);
static_assert(offsetof(felm_struct_record, iflg) == 248);

struct conductivity_record { // "at-propsg-struct.tmp", for each element whose flag is 1
    std::int32_t noe = 0;
    std::int32_t use = 0; // 1: sigma replaces the element's
    double not_read[8] = {};
    double sigma = 0; // [S/m]
};
static_assert(sizeof(conductivity_record) == 80 && offsetof(conductivity_record, sigma) == 72);
static_assert(std::is_trivially_copyable_v<conductivity_record>);

struct magnetisation_record { // "at-h0vect-struct.tmp", for each element
    std::int32_t noe = 0;
    std::int32_t use = 0; // 1: the values are added
    double hx[9] = {};    // by integration point, counted from 1 [A/m]
    double hy[9] = {};
    double not_read[9] = {};
};
static_assert(sizeof(magnetisation_record) == 224 && offsetof(magnetisation_record, hy) == 80);
static_assert(std::is_trivially_copyable_v<magnetisation_record>);

struct potential_record { // "at-npresl-struct.tmp" and "at-nresl-struct.tmp"
    std::int32_t nog = 0;
    std::int32_t pad = 0;
    double potential = 0; // Az or Atheta [Wb/m]
};
static_assert(sizeof(potential_record) == 16 && std::is_trivially_copyable_v<potential_record>);

struct felm_result_record { // "at-eresl-struct.tmp", at the element's centre
    std::int32_t noe = 0;
    std::int32_t type = 0;
    std::int32_t nop = 0;
    std::int32_t pad = 0;
    double b[3] = {}; // flux density [T]
    double h[3] = {}; // field strength [A/m]
    double j[3] = {}; // current density [A/m2]
    double e[3] = {}; // electric field [V/m]
};
static_assert(sizeof(felm_result_record) == 112 && offsetof(felm_result_record, b) == 16);
static_assert(offsetof(felm_result_record, e) == 88 && std::is_trivially_copyable_v<felm_result_record>);

} // namespace tarnel
