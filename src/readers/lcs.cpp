#include "readers/lcs.h"

#include "common/record_list.h"
#include "dataline/data_line.h"

#include <cmath>

namespace tarnel
{

struct vector3 {
    double x, y, z;
};

static vector3 difference(const vector3& a, const vector3& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
static vector3 cross(const vector3& a, const vector3& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
static double square(const vector3& a)
{
    return a.x * a.x + a.y * a.y + a.z * a.z;
}

static vector3 read_point(data_line& line, input_file& in, std::FILE* log)
{
    read_line_of(line, 3, in, log);
    vector3 p;
    p.x = t_get_dprm(line, 1, -any_size, any_size, log);
    p.y = t_get_dprm(line, 2, -any_size, any_size, log);
    p.z = t_get_dprm(line, 3, -any_size, any_size, log);
    return p;
}

// The unit vector; `name` and lno go into the message of a vector that is too short to have a direction.
static vector3 normalise(const vector3& a, double eps_zero, const char* name, std::int32_t lno, std::FILE* log)
{
    const double length2 = square(a);
    if (eps_zero > length2)
        fail(log,
             "      Error. in %s(r).\n"
             "             %s-vector is 0.  lno = %d \n",
             lcs_text, name, lno);
    const double length = std::sqrt(length2);
    return {a.x / length, a.y / length, a.z / length};
}

static lcs_record make_system(std::int32_t lno, std::int32_t type, double unit, const vector3 p[3], double eps_zero,
                              std::FILE* log)
{
    const vector3 along = difference(p[1], p[0]);
    const vector3 b = normalise(along, eps_zero, "b", lno, log);
    const vector3 c = normalise(cross(along, difference(p[2], p[0])), eps_zero, "c", lno, log);
    const vector3 a = cross(c, b);
    return {lno, type, {unit * p[0].x, unit * p[0].y, unit * p[0].z}, {a.x, c.x, b.x, a.y, c.y, b.y, a.z, c.z, b.z}};
}

void t_rd_lcs_data(control cntl, lcs_data_files files, std::FILE* log)
{
    constexpr double unit_factor[] = {1.0, 0.01, 0.001, 1e-6}; // to metres
    log_lines(log, "    === in func. t_rd_lcs_data ===\n"
                   "        Now, reading t-lcs-data.txt. \n");
    data_line line;
    for (std::int32_t k = 0; k < cntl.maxprp; ++k) {
        read_line_of(line, 3, files.text, log);
        const std::int32_t lno = t_get_iprm(line, 1, 0, cntl.maxprp, log);
        const std::int32_t type = t_get_iprm(line, 2, 0, 1, log);
        const std::int32_t unit = t_get_iprm(line, 3, 0, 3, log);
        if (lno == 0) {
            write_value(log, files.lcs, lcs_record{}, "w");
            return flush_output(log, files.lcs);
        }
        vector3 p[3];
        for (vector3& point : p) point = read_point(line, files.text, log);
        write_value(log, files.lcs, make_system(lno, type, unit_factor[unit], p, cntl.eps_zero, log), "w");
    }
    fail_without_end(log, lcs_text, "r", "lno", "maxprp");
}

lcs_table t_rd_lcs_struct(const control& cntl, input_file& in, std::FILE* log)
{
    lcs_table table;
    record_list list = lcs_list(in, cntl.maxprp);
    for (lcs_record system; next_record(log, list, system);) {
        append(log, "lcs_data", table.systems, system);
        add_number(log, "lcs_data", table.index, system.lno);
    }
    finish_index(log, "lcs_data", table.index);
    return table;
}

const lcs_record& t_get_lcs(const lcs_table& table, std::int32_t lno, std::FILE* log)
{
    const std::int32_t place = place_of(table.index, lno);
    if (place < 0) fail(log, "      Error. lcs_data not defined. lno = %d \n", lno);
    return table.systems.values[static_cast<std::size_t>(place)];
}

// R v; the 0.0 keeps the sign of a zero sum the same in every stage.
static void rotate(double v[3], const double r[9])
{
    const double x = r[0] * v[0] + 0.0 + r[1] * v[1] + r[2] * v[2];
    const double y = r[3] * v[0] + 0.0 + r[4] * v[1] + r[5] * v[2];
    const double z = r[6] * v[0] + 0.0 + r[7] * v[1] + r[8] * v[2];
    v[0] = x, v[1] = y, v[2] = z;
}

void t_lcs_point(double point[3], double deg2rad, const lcs_record& lcs)
{
    if (lcs.type == 1) {
        const double radius = point[0], angle_rad = deg2rad * point[1];
        point[0] = radius * std::cos(angle_rad);
        point[1] = radius * std::sin(angle_rad);
    }
    rotate(point, lcs.rotation);
    for (int c = 0; c < 3; ++c) point[c] = lcs.origin[c] + point[c];
}

void t_lcs_vector(double vector[3], const double point[3], double eps, const lcs_record& lcs)
{
    if (lcs.type == 1) {
        const double* r = lcs.rotation;
        const double dx = point[0] - lcs.origin[0], dy = point[1] - lcs.origin[1], dz = point[2] - lcs.origin[2];
        const double lx = dx * r[0] + 0.0 + dy * r[3] + dz * r[6];
        const double ly = dx * r[1] + 0.0 + dy * r[4] + dz * r[7];
        const double rho2 = lx * lx + ly * ly;
        double c = 1.0, s = 0.0;
        if (rho2 > eps) {
            const double rho = std::sqrt(rho2);
            c = lx / rho;
            s = ly / rho;
        }
        const double radial = vector[0], tangential = vector[1];
        vector[0] = radial * c - tangential * s;
        vector[1] = tangential * c + radial * s;
    }
    rotate(vector, lcs.rotation);
}

} // namespace tarnel
