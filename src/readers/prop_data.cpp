#include "readers/prop_data.h"

#include "common/record_list.h"
#include "common/records.h"
#include "dataline/data_line.h"

#include <cmath>

namespace tarnel
{

struct directed_magnitude {
    std::int32_t lno;
    double x, y, z, magnitude;
};

static directed_magnitude read_vector(data_line& line, const control& cntl, input_file& text, std::FILE* log)
{
    read_line_of(line, 5, text, log);
    directed_magnitude v;
    v.lno = t_get_iprm(line, 1, 0, cntl.maxprp, log);
    v.x = t_get_dprm(line, 2, -any_size, any_size, log);
    v.y = t_get_dprm(line, 3, -any_size, any_size, log);
    v.z = t_get_dprm(line, 4, -any_size, any_size, log);
    v.magnitude = t_get_dprm(line, 5, -any_size, any_size, log);
    return v;
}

// A vector of the magnitude along the direction; a direction that counts as zero is taken as it stands.
static void scale(const directed_magnitude& v, double eps_zero, double to[3])
{
    const double length2 = v.y * v.y + v.x * v.x + v.z * v.z;
    const double factor = length2 > eps_zero ? v.magnitude / std::sqrt(length2) : v.magnitude;
    to[0] = factor * v.x;
    to[1] = factor * v.y;
    to[2] = factor * v.z;
}

static void read_block(property_record& property, data_line& line, const control& cntl, input_file& text,
                       std::FILE* log)
{
    read_line_of(line, 2, text, log);
    property.mu = t_get_dprm(line, 1, -any_size, any_size, log);
    property.sigma = t_get_dprm(line, 2, -any_size, any_size, log);
    directed_magnitude bvec = read_vector(line, cntl, text, log);
    const directed_magnitude hvec = read_vector(line, cntl, text, log);
    directed_magnitude j0vec = read_vector(line, cntl, text, log);
    if (cntl.iax < 2) j0vec = {0, 0.0, 0.0, 1.0, j0vec.magnitude};         // out of the plane of the model
    if (cntl.iopt_proptv == 1 && property.iptv >= 1) bvec.magnitude = 1.0; // the table by element brings the values
    scale(bvec, cntl.eps_zero, property.bvec);
    scale(hvec, cntl.eps_zero, property.hvec);
    scale(j0vec, cntl.eps_zero, property.j0vec);
    property.lnob = bvec.lno;
    property.lnoh = hvec.lno;
    property.lnoj = j0vec.lno;
}

void at_rd_prop_data(control cntl, prop_data_files files, std::FILE* log)
{
    log_lines(log, "    === in func. at_rd_prop_data ===\n"
                   "        Now, reading at-prop-data.txt. \n");
    data_line line;
    for (std::int32_t k = 0; k < cntl.maxprp; ++k) {
        read_line_of(line, 4, files.text, log);
        property_record property;
        property.nop = t_get_iprm(line, 1, 0, cntl.maxprp, log);
        property.iptv = t_get_iprm(line, 2, 0, cntl.maxprp, log);
        property.iflg = t_get_iprm(line, 3, 0, 1, log);
        property.ij0v = t_get_iprm(line, 4, 0, 1, log);
        if (property.nop == 0) {
            write_value(log, files.properties, property_record{}, "w");
            return flush_output(log, files.properties);
        }
        read_block(property, line, cntl, files.text, log);
        write_value(log, files.properties, property, "w");
    }
    fail_without_end(log, properties_text, "r", "nop", "maxprp");
}

} // namespace tarnel
