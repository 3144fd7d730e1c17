#include "faults/campaign.h"

#include "faults/expected_messages.h"
#include "faults/file_items.h"

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
    prepared.left = contents_of_directory();
    for (const auto& [name, content] : prepared.left)
        if (!prepared.inputs.contains(name)) prepared.stale[name] = content + content;
    prepared.clean = run_watched(prepared, {}).record; // as the runs with a fault, among the stale files
    if (contents_of_directory() != prepared.left) throw std::runtime_error(model.name + " leaves parts of older files");
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

static std::string log_before(const std::string& log, const std::string& message)
{
    return log.substr(0, log.size() - message.size());
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
    std::vector<failed_call> failed;
    for (std::size_t k = 0; k < failures_kept && k < static_cast<std::size_t>(run.record.failures); ++k)
        failed.push_back({planned.kind, run.record.failed_path[k], run.record.failed_place[k]});
    const bool log_alone = planned.kind == call::close && run.outcome.log.ends_with(end_of_run);
    if (failed[0].path == "tarnel.log" || (planned.lasting && (planned.kind == call::write || log_alone)))
        return judge_without_log(model, run);
    const std::string& log = run.outcome.log;
    if (log.find(end_of_run) != std::string::npos)
        return {verdict::violation, "the log of a failed run has the end line"};
    if (!run.outcome.output.empty()) return {verdict::violation, "said on standard output: " + run.outcome.output};
    const std::string message = message_of(log), said = log_before(log, message);
    if (!planned.lasting && !model.left.at("tarnel.log").starts_with(without_times(said)))
        return {verdict::violation, "the log goes another way before \"" + message + "\""};
    if (!planned.lasting) failed.resize(1);
    for (const failed_call& one : failed) {
        const telling how = told(said, message, one, model.left);
        if (how == telling::exact) return {verdict::named, message};
        if (how == telling::left_open) return {verdict::named, message, stage_of(said)};
    }
    std::string cause = failed[0].path.empty() ? "an array" : failed[0].path;
    if (failed[0].place != place_unknown) cause += " at byte " + std::to_string(failed[0].place);
    return {verdict::violation, "in " + stage_of(said) + ", a failure of " + cause + " is told as \"" + message + "\""};
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
    const std::string message = message_of(run.outcome.log), said = log_before(run.outcome.log, message);
    for (const auto& [name, content] : model.left)
        for (const call kind : {call::open, call::write})
            if (told(said, message, {kind, name}, model.left) != telling::wrong) return {verdict::named, message};
    return {verdict::violation, "in " + stage_of(said) + ", the log ends with \"" + message + "\""};
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

// A message without the input line that it shows, which ends the log without a line end.
static std::string without_echo(const std::string& message)
{
    return message.ends_with("\n") ? message : message.substr(0, message.find('\n') + 1);
}

static void count(const std::string& cause, const std::string& what, const judgement& judged, campaign_counts& counts)
{
    ++counts.runs[cause][static_cast<std::size_t>(judged.is)];
    if (judged.is == verdict::named || judged.is == verdict::on_standard_output)
        ++counts.messages[without_echo(judged.text)];
    if (!judged.left_open.empty()) ++counts.left_open[judged.left_open + ": " + judged.text];
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

static std::vector<std::size_t> places_to_stop(const std::string& layout, const std::string& content,
                                               stopping_places which)
{
    std::vector<file_item> items = items_of_file(layout, content);
    // Lines, and records that nothing tells apart.
    if (items.size() == 1 && which == stopping_places::all) {
        items.clear();
        for (std::size_t end = 23; end < content.size() + 23; end += 23) items.push_back({0, end});
    }
    std::vector<std::size_t> places;
    std::set<int> kinds;
    std::size_t begin = 0;
    for (const file_item& item : items) {
        const bool first = kinds.insert(item.kind).second;
        if (first || which == stopping_places::all) places.push_back(begin);
        if (which == stopping_places::all && item.end > begin + 1) places.push_back(item.end - 1);
        begin = item.end;
    }
    return places;
}

void stop_reading(const prepared_model& model, stopping_places which, std::size_t most, campaign_counts& counts)
{
    for (const auto& [name, content] : model.left) {
        const std::vector<std::size_t> places = places_to_stop(layout_of(name, model.left).name, content, which);
        const std::size_t step = std::max<std::size_t>((places.size() + most - 1) / most, 1);
        damage done = {.path = {}, .unreadable = true};
        std::snprintf(done.path, sizeof done.path, "%s", name.c_str());
        for (bool opened = !content.empty(); opened; ++done.opening)
            for (std::size_t k = 0; k < places.size() && opened; k += step) {
                done.offset = places[k];
                const watched_run run = run_watched(model, {}, done);
                opened = run.record.damaged;
                if (!opened || run.record.failures == 0) continue; // opened less often, or never read
                count("unreadable",
                      model.name + ", " + name + " from byte " + std::to_string(places[k]) + " on, opening " +
                          std::to_string(done.opening),
                      judge_fault(model, {call::read, 0, false}, run), counts);
            }
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
        const watched_run run = run_watched(model, {}, {}, before);
        judgement judged = judge_shortage(model, run);
        if (judged.is == verdict::harmless) judged = {verdict::violation, "nobody saw that it was full"};
        const std::string said = log_before(run.outcome.log, judged.text);
        if (judged.is == verdict::named && told(said, judged.text, {call::write, name}, model.left) == telling::wrong)
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
