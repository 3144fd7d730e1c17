// Runs of a model with one fault each, and what every such run must keep: a log that ends with the end line stands for
// complete and correct files; every other run says in its last lines which call failed.
#pragma once

#include "faults/fault_models.h"
#include "faults/platform.h"
#include "run/models.h"

#include <array>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tarnel_test
{

// A model with what its run without faults does and leaves.
struct prepared_model {
    std::string name;
    file_contents inputs; // of the run
    file_contents stale;  // what an earlier complete run of another model left
    platform_record clean;
    file_contents left;                           // by the run without faults
    std::map<std::string, file_contents> without; // the same when a file that may be missing is missing
};

// Both work in the working directory, which they empty.
prepared_model prepare(const fault_model& model);
void restore_directory(const prepared_model& model);

// Every file of the working directory; the log without time stamps.
file_contents contents_of_directory();

struct watched_run {
    process_outcome outcome;
    platform_record record;
};
// `before` is done in the child.
watched_run run_watched(const prepared_model& model, const fault& planned, const damage& done = {},
                        const std::function<void()>& before = {});

// What a run has come to.
enum class verdict { named, on_standard_output, harmless, other_course, violation };
inline constexpr std::size_t verdicts = 5;
inline constexpr const char* verdict_names[verdicts] = {"named", "on standard output", "harmless", "other course",
                                                        "violation"};
struct judgement {
    verdict is = verdict::violation;
    std::string text;           // the message lines, or what was violated
    std::string left_open = {}; // the stage whose description has no such message, see expected_messages.h
};
judgement judge_fault(const prepared_model& model, const fault& planned, const watched_run& run);

// The same where the cause is not known call by call: a full disk, and a damaged file, which may be taken for a sound
// one but must not be paid for by what it promises.
judgement judge_shortage(const prepared_model& model, const watched_run& run);
judgement judge_damage(const prepared_model& model, const watched_run& run);

// The message lines at the end of a log.
std::string message_of(const std::string& log);

// Runs of a campaign by cause and verdict, the messages and the violations.
struct campaign_counts {
    std::map<std::string, std::array<int, verdicts>> runs;
    std::map<std::string, int> messages, left_open;
    std::vector<std::string> violations;
};

// Every stride-th call of every kind, failing once and, if wanted, with all later ones of its kind.
enum class lasting_faults { left_out, too };
void fail_every_call(const prepared_model& model, int stride, lasting_faults lasting_ones, campaign_counts& counts);

// Every file that the run reads cannot be read beyond a place, whenever it is opened.
//   most    places of a file, evenly spread over those at which an item begins or lacks its last byte
enum class stopping_places { first_of_each_kind, all };
void stop_reading(const prepared_model& model, stopping_places which, std::size_t most, campaign_counts& counts);

// No file may grow beyond a limit, from nothing in steps up to the largest file.
void limit_files(const prepared_model& model, std::size_t step, campaign_counts& counts);

// Each file that the run writes is in turn a disk that is full.
void fill_each_file(const prepared_model& model, campaign_counts& counts);

// A disk (tmpfs) with room for the inputs and a number of pages, and one with a number of files, from none to enough.
//   returns false when nothing can be mounted here
bool fill_disk(const prepared_model& model, int step, campaign_counts& counts);

// Every int32 of the first `most_bytes` of every binary file takes the value of a damaged size when the file is opened
// first; in the head, at every later opening too.
void damage_sizes(const prepared_model& model, std::size_t most_bytes, campaign_counts& counts);

} // namespace tarnel_test
