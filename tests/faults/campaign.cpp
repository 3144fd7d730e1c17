#include "faults/campaign.h"

#include "common/records.h"

#include <tarnel.h>

#include <algorithm>
#include <csignal>
#include <set>

#include <malloc.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

namespace tarnel_test
{

static const std::string end_of_run = "    === The end. ===\n";
constexpr unsigned most_seconds = 60; // a run takes milliseconds; one that hangs is ended by its alarm

file_contents contents_of_directory()
{
    file_contents contents;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        if (!entry.is_regular_file()) continue;
        const std::string name = entry.path().filename().string();
        const std::string content = read_file(name);
        contents[name] = name == "tarnel.log" ? without_times(content) : content;
    }
    return contents;
}

static void empty_directory()
{
    for (const auto& entry : std::filesystem::directory_iterator(".")) std::filesystem::remove_all(entry.path());
}

void restore_directory(const prepared_model& model)
{
    empty_directory();
    for (const auto& [name, content] : model.stale) write_file(name, content);
    for (const auto& [name, content] : model.inputs) write_file(name, content);
}

// Runs what stands in the working directory.
static watched_run watch(const fault& planned, const damage& done, const std::function<void()>& before,
                         const std::string& output)
{
    void* shared = mmap(nullptr, sizeof(platform_record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) throw std::runtime_error("no shared memory");
    auto* record = static_cast<platform_record*>(shared);
    watched_run run{};
    run.outcome = run_in_child(
        [&] {
            alarm(most_seconds);
            mallopt(M_TRIM_THRESHOLD, 1 << 28); // buffers come and go: their pages stay
            if (before) before();
            arm_platform(*record, planned, done);
            const int value = main_tarnel_n1();
            disarm_platform();
            return value;
        },
        output);
    run.record = *record;
    munmap(shared, sizeof(platform_record));
    return run;
}

watched_run run_watched(const prepared_model& model, const fault& planned, const damage& done,
                        const std::function<void()>& before)
{
    restore_directory(model);
    return watch(planned, done, before, "standard-output.txt");
}

prepared_model prepare(const fault_model& model)
{
    prepared_model prepared{};
    prepared.name = model.name;
    empty_directory();
    model.write();
    prepared.inputs = contents_of_directory();
    const watched_run clean = run_watched(prepared, {});
    if (!clean.outcome.returned) throw std::runtime_error(model.name + " does not end:\n" + clean.outcome.log);
    prepared.clean = clean.record;
    prepared.left = contents_of_directory();
    for (const auto& [name, content] : prepared.left)
        if (!prepared.inputs.contains(name)) prepared.stale[name] = content + content;
    for (const char* name : {"t-volt-data1.tmp", "at-npresl-struct.tmp"}) {
        if (!prepared.inputs.contains(name)) continue;
        prepared_model fewer = prepared;
        fewer.inputs.erase(name);
        if (!run_watched(fewer, {}).outcome.returned) continue;
        prepared.without[name] = contents_of_directory();
    }
    return prepared;
}

std::string message_of(const std::string& log)
{
    std::size_t start = log.size();
    while (start > 0) {
        const std::size_t before = log.rfind('\n', start - 1);
        const std::size_t line = start < 2 ? std::string::npos : log.rfind('\n', start - 2);
        const std::size_t at = line == std::string::npos ? 0 : line + 1;
        const std::string text = log.substr(at, before - at);
        const bool error = text.starts_with("      Error.") || text.starts_with("  Error.");
        if (!error && !text.starts_with("             ")) break;
        start = at;
        if (error && (start == 0 || !log.substr(0, start).ends_with("(2).\n"))) break;
    }
    return log.substr(start);
}

// The names by which messages call a file.
static std::vector<std::string> names_of(const std::string& path)
{
    std::vector<std::string> names = {path};
    for (const char* kind : {"t-femr-vector", "t-femr-solution"})
        if (path.starts_with(std::string(kind) + "-0")) names.push_back(std::string(kind) + ".tmp");
    if (path.starts_with("sky-"))
        names = {"work file for sky-line", "header of work file for sky-line solver", "work file for sky-line solver"};
    return names;
}

static bool names_the_opening(const std::string& message, const std::string& path)
{
    if (path.starts_with("sky-"))
        return message == "      Error. Can't open the work file for sky-line. \n"
                          "             The work file no. === " +
                              path.substr(4, path.find('.') - 4) + " \n";
    const std::string line = "Error. Can't open " + path + ".\n";
    return message == "  " + line || message == "      " + line;
}

static bool names_the_item(const std::string& message, const std::string& path, char direction)
{
    for (const std::string& name : names_of(path)) {
        const std::string start = "      Error. in " + name + "(" + direction;
        if (message.starts_with(start) && message.ends_with(").\n") && message.find('\n') == message.size() - 1)
            return true;
    }
    return false;
}

static bool names_the_line(const std::string& message, const std::string& path, const std::string& log)
{
    const bool in_a_line = message.starts_with("      Error. EOF found in data line. \n             at line : ");
    const bool in_a_name = message.starts_with("      Error. in t-skylin.txt(2).\n");
    const std::size_t reading = log.rfind("Now, reading ");
    return (in_a_line || in_a_name) && reading != std::string::npos &&
           log.compare(reading + 13, path.size(), path) == 0;
}

// Arrays of each stage, as their messages call them; "stream" is the buffer of any file.
static const std::map<std::string, std::set<std::string>> arrays_of_stages = {
    {"t_rd_node_data", {"lcs_data"}},
    {"eat_check_node_data", {"idefng", "ireffe", "irefbe"}},
    {"eat_set_node_struct", {"ggg", "fai0", "acoef", "idefng", "nufai", "ireffe", "ifixc", "noind"}},
    {"eat_set_matrix_index", {"nufai", "nozerot", "mindex"}},
    {"t_set_felm_cntr", {"ggg"}},
    {"eat_set_felm_struct", {"prop_data", "lcs_data"}},
    {"eat_calc_fem_matrix", {"ggg", "aval0", "acoef", "avalp", "nufai", "amatr", "mindex", "nozerot", "uvecr"}},
    {"t_rd_volt_files",
     {"iswvlt_prp", "ngrad_prp", "nvect_prp", "iu_grd", "iu_vlt", "nvect_vlt", "vvectr", "svvecr", "fdiagr", "fvaddr",
      "lcs_data", "fsolr", "ggg", "total_curr", "total_gfai"}},
    {"t_real_mtsolv_iccg", {"amatr", "uvecr", "xvecr", "pvecr", "qvecr", "rvecr", "nozerot", "mindex", "aorgr"}},
    {"t_real_mtsolv_seidel", {"amatr", "uvecr", "xvecr", "xvecr0", "nozerot", "mindex"}},
    {"t_real_mtsolv_skylin1",
     {"amatr", "nozerot", "mindex", "flname_sl", "flname", "aaa", "work1", "work2", "linsky", "iadlin", "iaddiv"}},
    {"t_real_mtsolv_skylin2", {"uvecr", "xvecr", "flname_sl", "flname", "aaa", "work1", "linsky", "iadlin", "iaddiv"}},
    {"t_solve_voltr",
     {"iu_grd", "iu_vlt", "iu_vltm", "fact_vlt", "not_diod_vlt", "table_diod", "notable_diod", "fmatr", "fvecr",
      "chg_vlt", "fmatr_org", "fvecr_org", "xvecr", "vvectr", "hvectr"}},
    {"at_ch_felm_struct_voltr", {"lcs_data", "ggg"}},
    {"eat_calc_node_resl", {"xvecr"}},
    {"eat_calc_felm_resl", {"xvecr", "ggg", "aval", "avalp"}}};

static bool names_an_array(const std::string& message, const std::string& log)
{
    const std::string start = "      Error. Can't allocate (", end = ").\n";
    if (!message.starts_with(start) || !message.ends_with(end)) return false;
    const std::string array = message.substr(start.size(), message.size() - start.size() - end.size());
    if (array == "stream") return true;
    const std::string heading = "=== in func. ";
    const std::size_t at = log.rfind(heading);
    if (at == std::string::npos) return false;
    const std::size_t stage = at + heading.size();
    const auto arrays = arrays_of_stages.find(log.substr(stage, log.find(' ', stage) - stage));
    return arrays != arrays_of_stages.end() && arrays->second.contains(array);
}

static bool names_the_call(const std::string& message, call kind, const std::string& path, const std::string& log)
{
    switch (kind) {
    case call::open:
    case call::buffer:
    case call::rename:
        return names_the_opening(message, path);
    case call::read:
    case call::seek:
        return names_the_item(message, path, 'r') || names_the_line(message, path, log);
    case call::write:
    case call::flush:
    case call::close:
        return names_the_item(message, path, 'w');
    case call::allocate:
        return names_an_array(message, log);
    default:
        return false;
    }
}

// "" when the directory holds exactly what it should, else the first file that differs.
static std::string difference_to(const file_contents& wanted, const std::string& passed_over)
{
    const file_contents left = contents_of_directory();
    for (const auto& [name, content] : left) {
        if (name == passed_over) continue;
        const auto found = wanted.find(name);
        if (found == wanted.end() || found->second != content) return name;
    }
    for (const auto& [name, content] : wanted)
        if (name != passed_over && !left.contains(name)) return name;
    return "";
}

static judgement judge_complete_run(const prepared_model& model, const watched_run& run)
{
    if (run.outcome.value != 0 || !run.outcome.log.ends_with(end_of_run) || !run.outcome.output.empty())
        return {verdict::violation, "came back without the end line, or said something"};
    const std::string differs = difference_to(model.left, "");
    if (differs.empty()) return {verdict::harmless, ""};
    for (const auto& [missing, files] : model.without)
        if (difference_to(files, missing).empty()) return {verdict::other_course, ""};
    return {verdict::violation, "came back with another " + differs};
}

// What holds of every run that has not come back; "" when it does.
static std::string fault_of_ending(const watched_run& run)
{
    if (!run.outcome.exited) return "ended by signal " + std::to_string(run.outcome.status);
    if (run.outcome.status != 0) return "exit status " + std::to_string(run.outcome.status);
    if (!run.record.ended_itself) return "ended neither by exit nor by coming back";
    if (run.record.arrays_at_exit != 0) return std::to_string(run.record.arrays_at_exit) + " arrays not freed";
    if (run.record.streams_at_exit != 0) return std::to_string(run.record.streams_at_exit) + " streams not closed";
    return "";
}

static const std::string log_not_opened = "  Error. Can't open tarnel.log.\n";
static const std::string log_not_written = "      Error. in tarnel.log(w).\n";

// A run that cannot use its log says so on standard output; no log may speak for it.
static judgement judge_without_log(const prepared_model& model, const watched_run& run)
{
    const bool complete = run.outcome.log.ends_with(end_of_run);
    if (complete && (run.outcome.output != log_not_written || !difference_to(model.left, "").empty()))
        return {verdict::violation, "a log that cannot be used has the end line"};
    if (run.outcome.output == log_not_opened || run.outcome.output == log_not_written)
        return {verdict::on_standard_output, run.outcome.output};
    return {verdict::violation, "standard output holds \"" + run.outcome.output + "\""};
}

judgement judge_fault(const prepared_model& model, const fault& planned, const watched_run& run)
{
    if (run.record.failures == 0) return {verdict::violation, "the call was not reached"};
    if (run.outcome.returned && run.record.output_failed) return {verdict::violation, "nobody saw it"};
    if (run.outcome.returned) return judge_complete_run(model, run);
    const std::string ending = fault_of_ending(run);
    if (!ending.empty()) return {verdict::violation, ending};
    std::vector<std::string> paths;
    for (std::size_t k = 0; k < failures_kept && k < static_cast<std::size_t>(run.record.failures); ++k)
        paths.emplace_back(run.record.failed_path[k]);
    const bool log_alone = planned.kind == call::close && run.outcome.log.ends_with(end_of_run);
    if (paths[0] == "tarnel.log" || (planned.lasting && (planned.kind == call::write || log_alone)))
        return judge_without_log(model, run);
    const std::string& log = run.outcome.log;
    if (log.find(end_of_run) != std::string::npos)
        return {verdict::violation, "the log of a failed run has the end line"};
    if (!run.outcome.output.empty()) return {verdict::violation, "said on standard output: " + run.outcome.output};
    const std::string message = message_of(log);
    const std::string said = without_times(log.substr(0, log.size() - message.size()));
    if (!planned.lasting && !model.left.at("tarnel.log").starts_with(said))
        return {verdict::violation, "the log goes another way before \"" + message + "\""};
    if (!planned.lasting) paths.resize(1);
    for (const std::string& path : paths)
        if (names_the_call(message, planned.kind, path, log)) return {verdict::named, message};
    return {verdict::violation, "a failure of " + paths[0] + " is told as \"" + message + "\""};
}

judgement judge_shortage(const prepared_model& model, const watched_run& run)
{
    if (run.outcome.returned) {
        if (run.outcome.value == 0 && run.outcome.log.ends_with(end_of_run) && run.outcome.output.empty() &&
            difference_to(model.left, "").empty())
            return {verdict::harmless, ""};
        return {verdict::violation, "came back incomplete"};
    }
    const std::string ending = fault_of_ending(run);
    if (!ending.empty()) return {verdict::violation, ending};
    if (!run.outcome.output.empty()) return judge_without_log(model, run);
    if (run.outcome.log.find(end_of_run) != std::string::npos)
        return {verdict::violation, "the log of a failed run has the end line"};
    const std::string message = message_of(run.outcome.log);
    if (message.starts_with("      Error. in ") || message.starts_with("  Error. Can't open ") ||
        message.starts_with("      Error. Can't open "))
        return {verdict::named, message};
    return {verdict::violation, "the log ends with \"" + message + "\""};
}

judgement judge_damage(const prepared_model& model, const watched_run& run)
{
    constexpr std::size_t allowance = std::size_t{2}
                                      << 20; // a damaged count may lead to streams that a clean run never opens
    if (run.record.peak_bytes > model.clean.peak_bytes + allowance)
        return {verdict::violation, "allocated " + std::to_string(run.record.peak_bytes) + " bytes"};
    if (run.outcome.returned) {
        if (run.outcome.value == 0 && run.outcome.log.ends_with(end_of_run)) return {verdict::harmless, ""};
        return {verdict::violation, "came back incomplete"};
    }
    const std::string ending = fault_of_ending(run);
    if (!ending.empty()) return {verdict::violation, ending};
    const std::string message = message_of(run.outcome.log);
    if (message.find("Error.") == std::string::npos || !run.outcome.output.empty())
        return {verdict::violation, "the log ends with \"" + message + "\""};
    return {verdict::named, message};
}

static void count(const std::string& cause, const std::string& what, const judgement& judged, campaign_counts& counts)
{
    ++counts.runs[cause][static_cast<std::size_t>(judged.is)];
    if (judged.is == verdict::named || judged.is == verdict::on_standard_output) ++counts.messages[judged.text];
    if (judged.is == verdict::violation) counts.violations.push_back(what + ": " + judged.text);
}

void fail_every_call(const prepared_model& model, int stride, lasting_faults lasting_ones, campaign_counts& counts)
{
    for (std::size_t kind = 0; kind < kinds_of_call; ++kind)
        for (int number = 1; number <= model.clean.calls[kind]; number += stride)
            for (const bool lasting : {false, true}) {
                if (lasting && lasting_ones == lasting_faults::left_out) continue;
                const fault planned = {static_cast<call>(kind), number, lasting};
                count(call_names[kind],
                      model.name + ", " + call_names[kind] + " " + std::to_string(number) +
                          (lasting ? " and all later" : ""),
                      judge_fault(model, planned, run_watched(model, planned)), counts);
            }
}

// Names of the files that the run writes.
static std::vector<std::string> outputs_of(const prepared_model& model)
{
    std::vector<std::string> names;
    for (const auto& [name, content] : model.left) {
        const auto before = model.inputs.find(name);
        if (before == model.inputs.end() || before->second != content) names.push_back(name);
    }
    return names;
}

void limit_files(const prepared_model& model, std::size_t step, campaign_counts& counts)
{
    std::size_t largest = 0;
    for (const std::string& name : outputs_of(model)) largest = std::max(largest, model.left.at(name).size());
    const std::size_t enough = 2 * largest + 4096; // the log is longer than it stands in `left`
    for (std::size_t limit = 0; limit < enough + step; limit += step) {
        const auto before = [limit] {
            std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit fails instead
            const rlimit most = {limit, limit};
            if (setrlimit(RLIMIT_FSIZE, &most) != 0) _exit(121);
        };
        const watched_run run = run_watched(model, {}, {}, before);
        judgement judged = judge_shortage(model, run);
        // Standard output is a file too, and under the same limit.
        if (judged.is == verdict::violation && limit < 64 && run.outcome.log.size() == limit &&
            run.outcome.log.find(end_of_run) == std::string::npos && !run.outcome.returned)
            judged = {verdict::on_standard_output, run.outcome.output};
        const bool last = limit + step >= enough + step;
        if (last && judged.is != verdict::harmless) judged = {verdict::violation, "the limit was never enough"};
        count("file size limit", model.name + ", files of " + std::to_string(limit) + " bytes", judged, counts);
    }
}

void fill_each_file(const prepared_model& model, campaign_counts& counts)
{
    for (const std::string& name : outputs_of(model)) {
        if (name == "at-felm-struct.org") continue; // made by renaming
        const auto before = [&name] {
            std::filesystem::remove(name);
            std::filesystem::create_symlink("/dev/full", name);
        };
        judgement judged = judge_shortage(model, run_watched(model, {}, {}, before));
        if (judged.is == verdict::harmless) judged = {verdict::violation, "nobody saw that it was full"};
        if (judged.is == verdict::named && !names_the_item(judged.text, name, 'w'))
            judged = {verdict::violation, "told as \"" + judged.text + "\""};
        count("full device", model.name + ", full " + name, judged, counts);
    }
}

static std::size_t pages_of(const file_contents& files)
{
    std::size_t pages = 0;
    for (const auto& [name, content] : files) pages += (content.size() + 4095) / 4096;
    return pages;
}

// One run on a tmpfs that `options` size.
static bool run_on_disk(const prepared_model& model, const std::string& options, judgement& judged)
{
    const std::filesystem::path here = std::filesystem::current_path();
    std::filesystem::create_directory("disk");
    if (mount("tmpfs", "disk", "tmpfs", 0, options.c_str()) != 0) return false;
    std::filesystem::current_path("disk");
    for (const auto& [name, content] : model.inputs) write_file(name, content);
    judged = judge_shortage(model, watch({}, {}, {}, (here / "said.txt").string()));
    std::filesystem::current_path(here);
    if (umount("disk") != 0) throw std::runtime_error("the disk is still in use");
    return true;
}

bool fill_disk(const prepared_model& model, int step, campaign_counts& counts)
{
    empty_directory();
    const std::size_t before = pages_of(model.inputs), after = before + 2 * pages_of(model.left);
    for (std::size_t pages = std::max<std::size_t>(before, 1); pages < after; pages += static_cast<std::size_t>(step)) {
        judgement judged;
        if (!run_on_disk(model, "size=" + std::to_string(pages * 4096), judged)) return false;
        count("full disk", model.name + ", disk of " + std::to_string(pages) + " pages", judged, counts);
        if (judged.is == verdict::harmless) break;
        if (pages + static_cast<std::size_t>(step) >= after) throw std::runtime_error("no disk is large enough");
    }
    for (std::size_t files = model.inputs.size() + 1;; ++files) {
        judgement judged;
        if (!run_on_disk(model, "nr_inodes=" + std::to_string(files), judged)) return false;
        count("no file left", model.name + ", disk of " + std::to_string(files) + " files", judged, counts);
        if (judged.is == verdict::harmless) return true;
        if (files > model.left.size() + 10) throw std::runtime_error("no disk is large enough");
    }
}

void damage_sizes(const prepared_model& model, std::size_t most_bytes, campaign_counts& counts)
{
    constexpr std::size_t head_bytes = 24;
    for (const auto& [name, content] : model.left) {
        if (!name.ends_with(".tmp") && !name.ends_with(".org")) continue;
        const std::size_t end = std::min(most_bytes, content.size()) / 4 * 4;
        for (std::size_t at = 0; at < end; at += 4)
            for (const std::int32_t value : {2147483647, 999999999}) {
                damage done = {.path = {}, .opening = 1, .offset = at, .value = value};
                std::snprintf(done.path, sizeof done.path, "%s", name.c_str());
                const int most_openings = at < head_bytes ? 100 : 1;
                for (; done.opening <= most_openings; ++done.opening) {
                    const watched_run run = run_watched(model, {}, done);
                    if (!run.record.damaged) break; // opened less often, or never read
                    count("damaged size",
                          model.name + ", " + std::to_string(value) + " at " + std::to_string(at) + " of " + name +
                              ", opening " + std::to_string(done.opening),
                          judge_damage(model, run), counts);
                }
            }
    }
}

} // namespace tarnel_test
