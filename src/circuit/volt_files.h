// The circuit files of the host: which properties circuits drive or tie together, and which unknown each grad-fai
// condition and each edge has. Shared ground of the assembly, the circuit solution, the element structure change and
// the element results. Tables hold what the files name, not what their limits allow.
#pragma once

#include "common/control.h"
#include "common/number_index.h"
#include "common/streams.h"

namespace tarnel
{

struct circuit_property {
    std::int32_t iswvlt; // 1 voltage region, -1 grad-fai region, else none
    std::int32_t ngrad;  // its grad-fai condition, 0 for none
};

// A voltage source (edge) in a property.
struct conductor {
    std::int32_t nop, novlt;
    std::int32_t order; // in the file
    std::int32_t iswjh; // coupling: 1 by current density, 2 by magnetisation; none unless above 0
    std::int32_t lnon;  // local system of the direction, 0 global
    double nvect[3];    // source for a unit circuit current [1/m2], kind 2 [1/m]
};

struct circuit_edge {
    std::int32_t iuv; // its unknown, 0 for none
    double constv[7]; // of the host; the seventh scales the induced voltage
    std::int32_t icon[2];
};

struct circuit_counts {
    std::int32_t nvoltg = 0;  // grad-fai unknowns
    std::int32_t nvoltv = 0;  // edge unknowns
    std::int32_t nvoltve = 0; // edge unknowns coupled to the field, the first ones
    std::int32_t nvoltm = 0;  // node-voltage unknowns
    std::int64_t nvolt = 0;   // all
};

struct circuit_tables {
    circuit_counts counts;
    number_index property_index;
    growing_array<circuit_property> properties; // iswvlt_prp, ngrad_prp
    growing_array<conductor> conductors;        // iswjh_prp, nvect_prp; by property, then by edge
    number_index grad_index;
    growing_array<std::int32_t> iu_grd; // unknown of each grad-fai condition
    number_index edge_index;
    growing_array<circuit_edge> edges; // iu_vlt
};

// Reads "t-volt-data1.tmp" whole and "t-volt-data2.tmp" up to its edge list.
//   nvolte  nvoltg + nvoltve as the driver found it
//   errors  "(r:NAME)" with a detail line where a value is out of its range; lists without an end; "nvolte is
//           different."; an unknown over its limit
circuit_tables t_rd_volt_files(const control& cntl, std::int32_t nvolte, input_file& data1, input_file& data2,
                               std::FILE* log);

// The leading sections of "t-volt-data2.tmp", for the circuit solution too.
enum class circuit_size { passed_over, formed }; // whether nvolt is formed, logged and must be positive
circuit_counts read_circuit_counts(const control& cntl, std::int32_t nvolte, circuit_size size, input_file& data2,
                                   std::FILE* log);
void read_grad_list(const control& cntl, circuit_tables& tables, input_file& data2, std::FILE* log);
void read_edge_list(const control& cntl, circuit_tables& tables, input_file& data2, std::FILE* log);

// Reads an int32 that numbers a record of the circuit files.
//   errors  "(r:NAME)"; outside 0 .. limit also "             SHOWN over the limit. SHOWN = %d \n"
std::int32_t read_circuit_number(std::FILE* log, input_file& in, const char* name, const char* shown,
                                 std::int32_t limit);

// What a property means to the circuits; nothing for a property that the files do not name.
circuit_property region_of(const circuit_tables& tables, std::int32_t nop);

// The conductors of a property, ascending by edge.
struct conductor_range {
    const conductor* first;
    const conductor* last;
    const conductor* begin() const { return first; }
    const conductor* end() const { return last; }
};
conductor_range conductors_of(const circuit_tables& tables, std::int32_t nop);

// Unknown of a grad-fai condition, or of an edge, each counted from 1 among its kind; 0 for none.
std::int32_t grad_unknown(const circuit_tables& tables, std::int32_t ngrad);
std::int32_t edge_unknown(const circuit_tables& tables, std::int32_t novlt);

} // namespace tarnel
