#include "faults/expected_messages.h"

#include "faults/file_items.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <vector>

namespace tarnel_test
{

namespace
{

using tags = std::vector<std::string>;

enum class use {
    read,
    lines, // read line by line
    written,
    printed // a table for people, of which no description has a message
};

struct file_of_stage {
    std::string name; // or that of its layout, see file_items.h
    use as = use::read;
    tags items = {"r"};         // in their order: the TAG of "in NAME(TAG).", or such a text as a whole
    std::string announced = {}; // the last "Now," line of the log by then
    std::string opening = {};   // what a stage says that cannot open it; empty: the driver opens it for the stage
};

struct arrays_of_stage {
    tags named = {}; // in the stage's description
    tags own = {};   // beside them; why, stands with each
};

struct stage {
    std::string heading;
    std::vector<file_of_stage> files;
    arrays_of_stage arrays = {};
};

file_of_stage text(const std::string& name)
{
    return {name, use::lines, {}, "Now, reading " + name + ". "};
}

file_of_stage written(const std::string& name, const tags& items = {"w"}, const std::string& announced = "")
{
    return {name, use::written, items, announced};
}

file_of_stage printed(const std::string& name)
{
    return {name, use::printed, {"w"}};
}

tags operator+(tags left, const tags& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

tags whole(const std::string& name, const tags& items)
{
    tags texts;
    for (const std::string& tag : items) texts.push_back("in " + name + "(" + tag + ").");
    return texts;
}

// Items of the files that several stages use.
const tags circuit_properties = {"r:maxvlt", "r:nop", "r:iswvlt", "r:ngrad", "r:novlt", "r:iswjh", "r:nvect"};
const tags circuit_counts = {"r:maxvlt", "r:nvoltg", "r:nvoltv", "r:nvoltve", "r:nvoltm"};
const tags circuit_lists = circuit_counts + tags{"r:ngrad", "r:iug", "r:novlt", "r:iuv", "r:constv", "r:icon"};
const tags circuit_nodes_and_diodes = {"r:node",     "r:ium",          "r:maxtdat_diod", "r:itermax_diod",
                                       "r:eps_diod", "r:novlt_diod",   "r:not_diod",     "r:isign_diod",
                                       "r:not_diod", "r:notable_diod", "r:v-i for diode"};

// The circuit files as t_rd_volt_files reads them for three stages, and their arrays.
const file_of_stage data1 = {"t-volt-data1.tmp", use::read, circuit_properties, "Now, reading t-volt-data1.tmp +++"};
const file_of_stage data2 = {"t-volt-data2.tmp", use::read, circuit_lists, "Now, reading t-volt-data2.tmp +++"};
const tags circuit_tables = {"iswvlt_prp", "ngrad_prp", "iswjh_prp", "nvect_prp", "iu_grd", "iu_vlt"};

// Messages of the solvers speak of the main system's files when they solve for an edge too.
const tags right_side = whole("t-femr-vector.tmp", {"r1", "r2", "r3"});
const tags solution = whole("t-femr-solution.tmp", {"w1", "w2"});
std::vector<file_of_stage> system_files(const tags& index_and_matrix)
{
    return {{"t-matrix-index.tmp", use::read, index_and_matrix},
            {"t-femr-matrix.tmp", use::read, index_and_matrix},
            {"t-femr-vector.tmp", use::read, right_side},
            {"t-femr-vector-%05d.tmp", use::read, right_side},
            written("t-femr-solution.tmp", solution),
            written("t-femr-solution-%05d.tmp", solution)};
}

const std::string cannot_open_block = "      Error. Can't open the work file for sky-line. \n"
                                      "             The work file no. === %d \n";
const file_of_stage block_names = {
    "t-skylin.txt", use::lines, {}, "Now, reading t-skylin.txt. ", "      Error. Can't open t-skylin.txt.\n"};
const file_of_stage block_read = {"work file for sky-line", use::read,
                                  whole("header of work file for sky-line solver", {"r1"}) +
                                      whole("work file for sky-line solver", {"r1", "r6"}),
                                  "Now, reading the work file for sky-line no. === %d ", cannot_open_block};
const file_of_stage block_written = {"work file for sky-line", use::written,
                                     whole("header of work file for sky-line solver", {"w1"}) +
                                         whole("work file for sky-line solver", {"w1", "w2"}),
                                     "Now, writing the work file for sky-line no. === %d ", cannot_open_block};

file_of_stage opened_by_stage(const std::string& name, use as, const tags& items, const std::string& announced,
                              const std::string& margin)
{
    return {name, as, items, announced, margin + "Error. Can't open " + name + ".\n"};
}

const std::vector<stage> stages = {
    {"Now, reading at-cntl-data.txt", {{"at-cntl-data.txt", use::lines, {}}}},
    {"Now, reading t-dimension-data.txt", {{"t-dimension-data.txt", use::lines, {}}}},
    {"t_rd_lcs_data", {text("t-lcs-data.txt"), written("t-lcs-struct.tmp")}},
    {"t_rd_node_data", {{"t-lcs-struct.tmp"}, text("t-node-data.txt"), written("t-nodes-struct.tmp")}, {{"lcs_data"}}},
    {"t_rd_felm_data", {text("t-felm-data.txt"), written("t-felms-struct.tmp")}},
    {"at_rd_prop_data", {text("at-prop-data.txt"), written("at-prop-struct.tmp")}},
    {"at_rd_fixc_data",
     {text("at-fixc-data.txt"),
      written("at-fixc-data.tmp", {"w-a1", "w-a2", "w-a3", "w-a4", "w-a5", "w-a6", "w-f1", "w-f2", "w-f3", "w-f4"})}},
    {"Now, reading t-volt-data1.tmp", {}}, // only its presence counts, and its absence is no error
    {"Now, reading t-volt-data2.tmp", {{"t-volt-data2.tmp", use::read, circuit_counts}}},
    {"eat_check_node_data",
     {{"t-nodes-struct.tmp"}, {"t-felms-struct.tmp"}, {"at-belm-struct.tmp"}},
     {{"idefng", "ireffe", "irefbe"}}},
    {"eat_set_node_struct",
     {{"t-nodes-struct.tmp"},
      {"t-felms-struct.tmp"},
      {"at-fixc-data.tmp", use::read, {"r-a1", "r-a2", "r-a3", "r-a4", "r-a5", "r-a6", "r-f1", "r-f2", "r-f3", "r-f4"}},
      written("at-node-struct.tmp")},
     {{"ggg", "fai0", "acoef", "idefng", "nufai", "ireffe", "ifixc", "noind"}}},
    {"eat_set_matrix_index",
     {{"at-node-struct.tmp"}, {"t-felms-struct.tmp"}, written("t-matrix-index.tmp", {"w1", "w2", "w3", "w4"})},
     {{"nufai", "nozerot", "mindex", "idxtmp"}}},
    {"t_set_felm_cntr",
     {{"t-nodes-struct.tmp"}, {"t-felms-struct.tmp"}, written("t-felm-cntr.tmp", {"w1", "w2", "w3"})},
     {{"ggg"}}},
    {"eat_set_felm_struct",
     {{"t-felms-struct.tmp"},
      {"at-prop-struct.tmp"},
      {"at-proptv-struct.tmp"},
      {"at-j0vect-struct.tmp"},
      {"t-lcs-struct.tmp"},
      {"t-felm-cntr.tmp", use::read, {"r1", "r2"}},
      written("at-felm-struct.tmp")},
     {{"prop_data", "lcs_data"}}},
    {"eat_calc_fem_matrix",
     {{"at-node-struct.tmp"},
      {"at-felm-struct.tmp"},
      {"at-propsg-struct.tmp"},
      {"at-h0vect-struct.tmp"},
      {"at-belm-struct.tmp"},
      {"at-npresl-struct.tmp"},
      {"t-matrix-index.tmp", use::read, {"r1", "r2", "r3"}},
      written("t-femr-matrix.tmp", {"w1", "w2", "w3", "w4"}),
      written("t-femr-vector.tmp", {"w1", "w2", "w3"}),
      written("t-felm-vole.tmp", {"w1", "w2"}),
      data1,
      data2,
      {"t-lcs-struct.tmp"},
      {"t-felm-cntr.tmp", use::read, {"r1", "r2"}},
      written("t-voltr-femdv.tmp", {"w1", "w2", "w3"}),
      opened_by_stage("t-femr-vector-%05d.tmp", use::written, {"w1", "w2", "w3"}, "", "      ")},
     {tags{"ggg", "aval0", "acoef", "avalp", "nufai", "amatr", "mindex", "nozerot", "uvecr"} + circuit_tables +
      tags{"nvect_vlt", "vvectr", "svvecr", "fdiagr", "fvaddr", "lcs_data"}}},
    {"t_real_mtsolv_****",
     {{"t-matrix-index.tmp"}, {"t-femr-matrix.tmp"}, {"t-femr-vector.tmp"}, written("t-femr-solution.tmp")}},
    {"t_real_mtsolv_**** for edge part",
     {{"t-matrix-index.tmp"}, {"t-femr-matrix.tmp"}, {"t-femr-vector-%05d.tmp"}, written("t-femr-solution-%05d.tmp")}},
    {"t_real_mtsolv_iccg",
     system_files({"r1", "r2", "r3", "r4"}),
     {{"amatr", "uvecr", "xvecr", "pvecr", "qvecr", "rvecr", "nozerot", "mindex", "aorgr"}}},
    {"t_real_mtsolv_seidel",
     system_files({"r1", "r2", "r3", "r4"}),
     {{"amatr", "uvecr", "xvecr", "xvecr0", "nozerot", "mindex"}}},
    {"t_real_mtsolv_skylin1",
     {{"t-matrix-index.tmp", use::read, {"r1", "r2", "r3"}},
      {"t-femr-matrix.tmp", use::read, {"r1", "r2", "r3"}},
      block_names,
      block_read,
      block_written},
     {{"amatr", "nozerot", "mindex", "flname_sl", "flname", "aaa", "work1", "linsky", "iadlin", "iaddiv", "work2"}}},
    {"t_real_mtsolv_skylin2",
     {{"t-femr-vector.tmp", use::read, whole("t-femr-vector.tmp", {"r1", "r2"})},
      {"t-femr-vector-%05d.tmp", use::read, whole("t-femr-vector.tmp", {"r1", "r2"})},
      block_names,
      block_read,
      written("t-femr-solution.tmp", solution),
      written("t-femr-solution-%05d.tmp", solution)},
     // The ends of the blocks as the forward pass finds them; the way back must meet the same.
     {{"uvecr", "xvecr", "flname_sl", "flname", "aaa", "work1", "linsky", "iadlin"}, {"iaddiv"}}},
    {"t_solve_voltr",
     {{"t-volt-data2.tmp", use::read, circuit_lists + circuit_nodes_and_diodes, "Now, reading t-volt-data2.tmp ==="},
      {"t-voltr-matrix.tmp", use::read, {"r:nvolt", "r:fmatr"}, "Now, reading t-voltr-matrix.tmp ==="},
      {"t-voltr-vector.tmp", use::read, {"r:nvolt", "r:fvecr"}, "Now, reading t-voltr-vector.tmp ==="},
      {"t-voltr-femdv.tmp", use::read, {"r1", "r2", "r3"}, "Now, reading t-voltr-femdv.tmp ==="},
      {"t-voltp-solution.tmp",
       use::read,
       {"r:nvolt", "r:fsolr", "r:nvoltv", "r:chg_vlt"},
       "Now, reading t-voltp-solution.tmp(chg_vlt) ==="},
      written("t-voltr-solution.tmp", {"w:nvolt", "w:fsolr", "w:nvoltv", "w:chg_vlt"},
              "Now, writing t-voltr-solution.tmp ==="),
      printed("t-voltr-result.txt"),
      opened_by_stage("t-femr-solution.tmp", use::read, {"r1", "r2"}, "Now, reading t-femr-solution.tmp ===", "  "),
      opened_by_stage("t-femr-solution-%05d.tmp", use::read, {"r1", "r2"},
                      "Now, reading t-femr-solution-*****.tmp ===", "  "),
      opened_by_stage("t-femr-vector-%05d.tmp", use::read, {"r1", "r2"},
                      "Now, reading t-femr-vector-*****.tmp ===", "  "),
      opened_by_stage("t-femr-solution.tmp", use::written, {"w1", "w2"},
                      "Now, rewriting t-femr-solution.tmp ===", "  ")},
     {{"iu_grd", "iu_vlt", "iu_vltm", "fact_vlt", "fmatr", "fvecr", "chg_vlt", "fmatr_org", "fvecr_org", "xvecr",
       "vvectr", "hvectr", "not_diod_vlt", "isign_diod_vlt", "table_diod", "notable_diod", "rt_diod", "vct_diod",
       "epsi_diod"}}},
    {"at_ch_felm_struct_voltr",
     {{"t-lcs-struct.tmp"},
      {"at-node-struct.tmp"},
      {"at-felm-struct.org"},
      written("at-felm-struct.tmp"),
      data1,
      data2,
      {"t-felm-cntr.tmp", use::read, {"r1", "r2"}},
      {"t-voltr-solution.tmp", use::read, {"r:nvolt", "r:fsolr"}}},
     {tags{"lcs_data", "ggg"} + circuit_tables + tags{"fsolr"}}},
    {"eat_calc_node_resl",
     {{"at-node-struct.tmp"},
      {"t-femr-solution.tmp", use::read, {"r1", "r2"}},
      printed("at-node-resl.txt"),
      written("at-nresl-struct.tmp")},
     {{"xvecr"}}},
    {"eat_calc_felm_resl",
     {{"at-node-struct.tmp"},
      {"at-felm-struct.tmp"},
      {"at-propsg-struct.tmp"},
      {"at-npresl-struct.tmp"},
      {"t-femr-solution.tmp", use::read, {"r1", "r2"}},
      printed("at-felm-resl.txt"),
      written("at-eresl-struct.tmp"),
      data1,
      data2,
      {"t-voltr-solution.tmp", use::read, {"r:nvolt", "r:fsolr"}, "Now, reading t-voltr-solution.tmp(fsolr) ==="}},
     {tags{"xvecr", "ggg", "aval", "avalp"} + circuit_tables + tags{"fsolr", "total_curr", "total_gfai"}}},
};

// Where a run stands: the stage, whether the driver is still opening its files, and what the log holds since.
struct standing {
    std::string heading;
    bool opening = false, running = false;
    std::string announced; // the last line that says what is read or written
    int edge = 0;          // the last number of a circuit edge in the log
};

int last_edge(const std::string& said)
{
    const std::size_t line = said.rfind("edge no. ");
    return line == std::string::npos ? 0 : std::stoi(said.substr(said.find("=== ", line) + 4));
}

standing standing_of(const std::string& said)
{
    standing here;
    bool edges = false;
    std::istringstream log(said);
    for (std::string line; std::getline(log, line);) {
        const auto named = [&line](const std::string& start) {
            const std::size_t end = line.rfind(" ===");
            return line.starts_with(start) && end >= start.size() ? line.substr(start.size(), end - start.size()) : "";
        };
        if (const std::string stage = named("    === func. "); !stage.empty()) here = {stage, true, false, ""};
        if (const std::string stage = named("    === in func. "); !stage.empty()) here = {stage, false, true, ""};
        if (const std::string file = named("    === Now, "); !file.empty()) here = {"Now, " + file, true, true, ""};
        edges = edges || here.heading == "t_real_mtsolv_**** for edge part";
        if (line.starts_with("    ### matrix solver START"))
            here = {edges ? "t_real_mtsolv_**** for edge part" : "t_real_mtsolv_****", true, false, ""};
        const std::size_t text = line.find_first_not_of(' ');
        if (text != std::string::npos && line.compare(text, 5, "Now, ") == 0) here.announced = line.substr(text);
    }
    here.edge = last_edge(said);
    return here;
}

std::string with_number(std::string text, int number)
{
    char digits[16];
    for (const char* format : {"%05d", "%d"}) {
        const std::size_t at = text.find(format);
        if (at == std::string::npos) continue;
        std::snprintf(digits, sizeof digits, format[1] == '0' ? "%05d" : "%d", number);
        text.replace(at, std::string(format).size(), digits);
    }
    return text;
}

// A line that ends at a place is shown with blanks behind its last character, 101 in all. Behind the first line of the
// list of blocks stand their names.
std::string message_of_line(const std::string& file, const std::string& content, std::int64_t place)
{
    const std::string before = content.substr(0, static_cast<std::size_t>(place));
    const auto lines = std::count(before.begin(), before.end(), '\n');
    if (file == "t-skylin.txt" && lines > 0) {
        std::istringstream numbers(content);
        int length = 0, blocks = 0;
        numbers >> length >> blocks;
        return "      Error. in t-skylin.txt(2).\n"
               "      Error. no. of file name is less than max_matdiv. \n"
               "             max_matdiv = " +
               std::to_string(blocks) + "  im = " + std::to_string(lines) + " \n"; // the name that is missing, from 1
    }
    std::string line = before.substr(before.rfind('\n') + 1);
    line.resize(101, ' ');
    return "      Error. EOF found in data line. \n             at line : " + line;
}

std::string message_of_item(const file_of_stage& file, const std::string& item, int number)
{
    const std::string text = item.starts_with("in ") ? item : "in " + file.name + "(" + item + ").";
    return "      Error. " + with_number(text, number) + "\n";
}

// Whether a message tells of the item in which a call ended. A read ends before the byte at its place; output goes to
// the system in long pieces, each of which ends behind its place, and a failure is that of the last item in the piece.
bool tells_the_item(const std::string& message, const file_of_stage& file, int number, const failed_call& failed,
                    const std::string& content)
{
    if (failed.place == place_unknown)
        return std::any_of(file.items.begin(), file.items.end(),
                           [&](const std::string& item) { return message == message_of_item(file, item, number); });
    const auto place = static_cast<std::size_t>(failed.place);
    for (const file_item& item : items_of_file(file.name, content)) {
        if (failed.kind == call::read ? item.end <= place : item.end < place) continue;
        const auto kind = static_cast<std::size_t>(item.kind);
        if (kind < file.items.size() && message == message_of_item(file, file.items[kind], number)) return true;
        if (failed.kind == call::read || item.end > place) return false;
        // A piece that ends with an item goes out when the next one finds no room.
    }
    return false;
}

telling told_of_array(const std::string& message, const standing& here)
{
    const std::string start = "      Error. Can't allocate (", end = ").\n";
    if (!message.starts_with(start) || !message.ends_with(end)) return telling::wrong;
    const std::string array = message.substr(start.size(), message.size() - start.size() - end.size());
    const auto has = [&array](const tags& names) {
        return std::find(names.begin(), names.end(), array) != names.end();
    };
    for (const stage& of : stages) {
        if (of.heading != here.heading) continue;
        if (here.running && has(of.arrays.named)) return telling::exact;
        if (here.running && has(of.arrays.own)) return telling::left_open;
    }
    // The buffer of a file that is being opened. A file's presence is tested between stages.
    return array == "stream" ? telling::left_open : telling::wrong;
}

bool is_output(call kind)
{
    return kind == call::write || kind == call::flush || kind == call::cut || kind == call::close;
}

telling told_of_file(const std::string& message, const failed_call& failed, const file_contents& files,
                     const standing& here, const file_of_stage& file, int number)
{
    if (file.name.ends_with("%05d.tmp") && here.edge > 0 && here.edge != number) return telling::wrong;
    if (failed.kind == call::open || failed.kind == call::buffer || failed.kind == call::rename) {
        const std::string by_driver = "  Error. Can't open " + failed.path + ".\n";
        const bool exact = file.opening.empty() ? here.opening && message == by_driver
                                                : here.running && message == with_number(file.opening, number);
        return exact ? telling::exact : telling::wrong;
    }
    const bool output = file.as == use::written || file.as == use::printed;
    if (!here.running || output != is_output(failed.kind)) return telling::wrong;
    if (!file.announced.empty() && here.announced != with_number(file.announced, number)) return telling::wrong;
    const auto found = files.find(failed.path);
    const std::string content = found == files.end() ? "" : found->second;
    const bool exact = file.as == use::lines ? failed.place != place_unknown &&
                                                   message == message_of_line(file.name, content, failed.place)
                                             : tells_the_item(message, file, number, failed, content);
    if (!exact) return telling::wrong;
    return file.as == use::printed ? telling::left_open : telling::exact;
}

} // namespace

telling told(const std::string& said, const std::string& message, const failed_call& failed, const file_contents& files)
{
    const standing here = standing_of(said);
    if (failed.kind == call::allocate) return told_of_array(message, here);
    const layout_of_file called = layout_of(failed.path, files);
    telling best = telling::wrong;
    for (const stage& of : stages) {
        if (of.heading != here.heading) continue;
        for (const file_of_stage& file : of.files)
            if (file.name == called.name)
                best = std::max(best, told_of_file(message, failed, files, here, file, called.number));
    }
    return best;
}

std::string stage_of(const std::string& said)
{
    return standing_of(said).heading;
}

} // namespace tarnel_test
