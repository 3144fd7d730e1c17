// Work files of a model by hand: each record item by item, so that a layout is stated here once more.
#pragma once

#include "readers/stage_files.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace tarnel_test
{

// "t-nodes-struct.tmp"
inline std::string node_record(int nog, double x = 0, double y = 0, double z = 0)
{
    return bytes().add_i(nog).add_i(0).add_d(x).add_d(y).add_d(z).text();
}

// "t-felms-struct.tmp"
inline std::string felm_record(int noe, int type, const std::vector<int>& nodes, int nop = 1)
{
    bytes record;
    record.add_i(noe).add_i(type).add_i(nop);
    for (const int node : nodes) record.add_i(node);
    return record.add_zeros(4 * (20 - nodes.size())).text();
}

// "at-belm-struct.tmp"
inline std::string belm_record(int nob, int type, const std::vector<int>& nodes)
{
    bytes record;
    record.add_i(nob).add_i(type).add_i(2);
    for (const int node : nodes) record.add_i(node);
    std::string text = record.text();
    return text + std::string(144 - text.size(), '\x55'); // the rest is not read by the preparation
}

// "at-node-struct.tmp"
inline std::string node_struct_record(int nog, double x, double y, int nufai, double fai0, double acoef)
{
    bytes record;
    record.add_i(nog).add_i(0).add_d(x).add_d(y).add_d(0).add_i(nufai).add_i(0).add_d(fai0).add_d(acoef);
    return record.text();
}

// "at-fixc-data.tmp", section f of an empty section a
struct condition {
    int nog;
    double fai0;
    int noi;
    double acoef;
};
inline std::string conditions(const std::vector<condition>& list)
{
    bytes file;
    file.add_i(0);
    for (const condition& c : list) file.add_i(c.nog).add_d(c.fai0).add_i(c.noi).add_d(c.acoef);
    return file.add_i(0).text();
}

inline const std::string node_end(32, '\0');
inline const std::string felm_end(92, '\0');
inline const std::string belm_end(144, '\0');
inline const std::string node_struct_end(56, '\0');

// The messages of the lists that several stages read.
inline std::string short_read(const std::string& file, const std::string& tag = "r")
{
    return "      Error. in " + file + "(" + tag + ").\n";
}
inline std::string no_end(const std::string& file, const std::string& number, const std::string& limit,
                          const std::string& tag = "r")
{
    return short_read(file, tag) + "             There is no end-data(" + number + "=0),\n             or, " + limit +
           " is too small.\n";
}
inline std::string bad_connection(const std::string& kind, int number, int j)
{
    return "      Error. " + kind +
           "-connection node no. over the limit.\n             element no. = " + std::to_string(number) +
           " j = " + std::to_string(j) + " .\n";
}
inline const std::string node_limit = "      Error. node no. over the limit.\n";
inline const std::string felm_limit = "      Error. finite element no. over the limit.\n";
inline std::string bad_type(int noe, const std::string& point = " .")
{
    return "      Error. finite element type no. is illegal.\n             noe = " + std::to_string(noe) + point + "\n";
}

} // namespace tarnel_test
