// Files read in step with an element list: the centres and the tables by element of the host.
#pragma once

#include "common/control.h"
#include "common/records.h"
#include "common/streams.h"

#include <cstdint>

namespace tarnel
{

// Reads the centre of element `noe` [m].
//   errors  short reads "(r1)", "(r2)"; another element's number: "(r1)", "finite element no. is different." and, where
//           the stage shows them, the two numbers
enum class shown_numbers { none, both };
inline void read_centre(std::FILE* log, input_file& centres, std::int32_t noe, shown_numbers shown, double centre[3])
{
    const auto noet = read_value<std::int32_t>(log, centres, "r1");
    if (noet != noe) {
        log_lines(log,
                  "      Error. in %s(r1).\n"
                  "             finite element no. is different. \n",
                  centres.name);
        if (shown == shown_numbers::both) log_lines(log, "             noe = %d, noet = %d \n", noe, noet);
        throw run_ended{};
    }
    read_values(log, centres, centre, 3, "r2");
}

// Reads the next record of a host's table by element, which must be that of element `noe`.
//   errors  a short read "(r)"; another element's number: "(r)", "finite element no. is illegal." and the two numbers
template <class record> record read_record_of(std::FILE* log, input_file& table, std::int32_t noe)
{
    const auto read = read_value<record>(log, table, "r");
    if (read.noe != noe)
        fail(log,
             "      Error. in %s(r).\n"
             "             finite element no. is illegal.\n"
             "             noe = %d, noet = %d \n",
             table.name, noe, read.noe);
    return read;
}

// Conductivity of an element [S/m]: its record's, unless the host's table replaces it.
//   errors  those of read_record_of
inline double conductivity_of(std::FILE* log, const control& cntl, input_file* table, const felm_struct_record& felm)
{
    if (cntl.iopt_propsg != 1 || felm.iflg != 1) return felm.sigma;
    const auto by_element = read_record_of<conductivity_record>(log, *table, felm.noe);
    return by_element.use == 1 ? by_element.sigma : felm.sigma;
}

} // namespace tarnel
