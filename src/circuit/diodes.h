// Diodes: tables of voltage and current, and the straight line that stands for a diode in one pass of the iteration.
#pragma once

#include "circuit/volt_files.h"

namespace tarnel
{

struct diode_point {
    double v, i; // [V], [A]
};

struct diode {
    std::int32_t novlt;      // its edge
    std::int32_t not_diod;   // its table
    std::int32_t order;      // in the file
    std::int32_t isign_diod; // negative: against the edge's direction
    std::size_t unknown;     // of the edge in the circuit system, from 0
    const diode_point* table;
    std::int32_t points;
    double rt, vct; // the line v = vct + rt i, in the diode's own direction [Ohm, V]
    double epsi;    // change of current that is judged converged [A]
};

struct diode_data {
    std::int32_t maxtdat = 0; // largest number of points in a table; 0: no diodes
    std::int32_t itermax = 0;
    double eps = 0;
    growing_array<diode> diodes; // by edge, ascending
    number_index table_index;
    growing_array<std::size_t> table_at; // first point of each table
    growing_array<std::int32_t> table_points;
    growing_array<diode_point> points;
};

// Reads the diode sections of "t-volt-data2.tmp".
//   errors  "(r:NAME)" with a detail line where a value is out of its range; a diode list without an end
diode_data read_diodes(const control& cntl, input_file& data2, std::FILE* log);

// Gives each diode its table and the line of the table's last segment.
//   errors  a table with fewer than 2 points, or none
void start_diodes(diode_data& data, std::FILE* log);

// Gives a diode the unknown of its edge.
//   errors  "      Error. unknown no. <=0 for novlt = %d.\n"
void find_diode_unknown(diode& d, const circuit_tables& tables, std::FILE* log);

// Puts a diode's line into the circuit system (n x n by rows, and its right-hand side).
void insert_line(const diode& d, std::size_t n, double matrix[], double vector[]);

// Moves a diode's line to the operating point of the solved current (of the edge's unknown).
//   returns the change of current: between the solved one and the table's at the line's voltage [A]
double move_line(diode& d, double edge_current, double eps_zero);

} // namespace tarnel
