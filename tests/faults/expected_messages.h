// What the last lines of a log must be when a call of the platform has failed: for each stage, the files it uses, the
// items of each in their order, and the arrays it allocates. The table stands on its own: it shares nothing with the
// library and is not made from what a run has said.
#pragma once

#include "faults/platform.h"
#include "run/models.h"

#include <string>

namespace tarnel_test
{

struct failed_call {
    call kind = call::open;
    std::string path = {};
    std::int64_t place = place_unknown;
};

enum class telling {
    wrong,
    exact,    // the message of this stage for this file and item, or for one of its arrays
    left_open // right, but for a file or an array for which no stage's description has a message
};

//   said     the log before the message
//   files    contents by name, for the places of items
telling told(const std::string& said, const std::string& message, const failed_call& failed,
             const file_contents& files);

// The stage that was running, as its heading calls it.
std::string stage_of(const std::string& said);

} // namespace tarnel_test
