#include "prep/felm_struct.h"

#include "common/by_element.h"
#include "common/element_table.h"
#include "common/number_index.h"
#include "common/record_list.h"
#include "common/records.h"
#include "readers/lcs.h"

#include <cstring>

namespace tarnel
{

struct property_table {
    growing_array<property_record> properties;
    number_index index;
};

static property_table read_properties(const control& cntl, input_file& in, std::FILE* log)
{
    property_table table;
    record_list list = property_list(in, cntl.maxprp);
    for (property_record property; next_record(log, list, property);) {
        append(log, "prop_data", table.properties, property);
        add_number(log, "prop_data", table.index, property.nop);
    }
    finish_index(log, "prop_data", table.index);
    return table;
}

static const property_record& find_property(const control& cntl, const property_table& table, std::int32_t nop,
                                            std::FILE* log)
{
    if (nop < 1 || nop > cntl.maxprp)
        fail(log,
             "      Error. prop no. over the limit.\n"
             "             nop = %d \n",
             nop);
    const std::int32_t place = place_of(table.index, nop);
    if (place < 0)
        fail(log,
             "      Error. prop data not defined.\n"
             "             nop = %d \n",
             nop);
    return table.properties.values[static_cast<std::size_t>(place)];
}

static void check_system_number(const control& cntl, const char* name, std::int32_t nop, std::int32_t lno,
                                std::FILE* log)
{
    if (lno < 0 || lno > cntl.maxprp)
        fail(log,
             "      Error. %s no. over the limit.\n"
             "             nop = %d %s = %d \n",
             name, nop, name, lno);
}

// The inverse by cofactors. The in-plane block must be a permeability: no negative diagonal entry, and a determinant of
// at least eps_zero; the positive form of the tests refuses a NaN too.
static void invert_tensor(const double t[3][3], double eps_zero, std::int32_t noe, double inverse[9], std::FILE* log)
{
    const double det = t[0][0] * (t[1][1] * t[2][2] - t[2][1] * t[1][2]) +
                       t[0][1] * (t[1][2] * t[2][0] - t[1][0] * t[2][2]) +
                       t[0][2] * (t[1][0] * t[2][1] - t[2][0] * t[1][1]);
    if (!(det >= eps_zero && t[0][0] >= 0.0 && t[1][1] >= 0.0))
        fail(log,
             "      Error. mu_tens is illegal.\n"
             "             noe = %d \n",
             noe);
    inverse[0] = (t[1][1] * t[2][2] - t[1][2] * t[2][1]) / det;
    inverse[1] = (t[0][2] * t[2][1] - t[0][1] * t[2][2]) / det;
    inverse[2] = (t[0][1] * t[1][2] - t[0][2] * t[1][1]) / det;
    inverse[3] = (t[1][2] * t[2][0] - t[1][0] * t[2][2]) / det;
    inverse[4] = (t[0][0] * t[2][2] - t[0][2] * t[2][0]) / det;
    inverse[5] = (t[0][2] * t[1][0] - t[0][0] * t[1][2]) / det;
    inverse[6] = (t[1][0] * t[2][1] - t[1][1] * t[2][0]) / det;
    inverse[7] = (t[0][1] * t[2][0] - t[0][0] * t[2][1]) / det;
    inverse[8] = (t[0][0] * t[1][1] - t[0][1] * t[1][0]) / det;
}

static felm_struct_record join(const control& cntl, felm_struct_files files, const mesh_felm_record& felm,
                               const property_record& property, const lcs_table& systems, const double centre[3],
                               std::FILE* log)
{
    felm_struct_record joined;
    joined.noe = felm.noe;
    joined.type = felm.type;
    joined.nop = felm.nop;
    std::memcpy(joined.node, felm.node, sizeof joined.node);

    double bvec[3];
    std::memcpy(bvec, property.bvec, sizeof bvec);
    std::memcpy(joined.hvec, property.hvec, sizeof joined.hvec);
    check_system_number(cntl, "lnob", property.nop, property.lnob, log);
    check_system_number(cntl, "lnoh", property.nop, property.lnoh, log);
    if (property.lnob > 0) t_lcs_vector(bvec, centre, cntl.eps_zero, t_get_lcs(systems, property.lnob, log));
    if (property.lnoh > 0) t_lcs_vector(joined.hvec, centre, cntl.eps_zero, t_get_lcs(systems, property.lnoh, log));

    double tensor[3][3] = {{property.mu, 0, 0}, {0, property.mu, 0}, {0, 0, vacuum_permeability}};
    if (cntl.iopt_proptv == 1 && property.iptv >= 1) {
        const auto by_element = read_record_of<tensor_record>(log, *files.tensors, felm.noe);
        if (by_element.use == 1) {
            tensor[0][0] = by_element.t11, tensor[0][1] = by_element.t12;
            tensor[1][0] = by_element.t21, tensor[1][1] = by_element.t22;
            bvec[0] = by_element.bx, bvec[1] = by_element.by;
        }
    }
    invert_tensor(tensor, cntl.eps_zero, felm.noe, joined.reluctivity, log);
    for (std::size_t i = 0; i < 3; ++i) { // the first vector lies in the plane
        const double* row = joined.reluctivity + 3 * i;
        joined.hb[i] = row[0] * bvec[0] + 0.0 + row[1] * bvec[1] + row[2] * 0.0;
    }

    std::memcpy(joined.j0vec, property.j0vec, sizeof joined.j0vec);
    if (cntl.iopt_j0vect == 1 && property.ij0v >= 1) {
        const auto by_element = read_record_of<current_record>(log, *files.currents, felm.noe);
        if (by_element.use == 1) std::memcpy(joined.j0vec, by_element.j0vec, sizeof joined.j0vec);
    }
    joined.sigma = property.sigma;
    joined.iflg = property.iflg;
    return joined;
}

void eat_set_felm_struct(control cntl, felm_struct_files files, std::FILE* log)
{
    log_lines(log, "    === in func. eat_set_felm_struct ===\n");
    const property_table properties = read_properties(cntl, files.properties, log);
    const lcs_table systems = t_rd_lcs_struct(cntl, files.lcs, log);
    record_list list = felm_list(files.felms, cntl.maxfelm);
    for (mesh_felm_record copy; const mesh_felm_record* next = next_in_place(log, list, copy);) {
        const mesh_felm_record& felm = *next;
        element_type_of(log, felm.type, felm.noe, "");
        double centre[3];
        read_centre(log, files.centres, felm.noe, shown_numbers::both, centre);
        const property_record& property = find_property(cntl, properties, felm.nop, log);
        write_value(log, files.felm_struct, join(cntl, files, felm, property, systems, centre, log), "w");
    }
    write_value(log, files.felm_struct, felm_struct_record{}, "w");
    flush_output(log, files.felm_struct);
}

} // namespace tarnel
