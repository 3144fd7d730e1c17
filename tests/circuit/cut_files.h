// Files cut at every byte: which item a short file ends in, and what the stage has said until then.
#pragma once

#include "support/stage.h"

#include <functional>
#include <string>
#include <vector>

namespace tarnel_test
{

struct file_item {
    std::string tag; // "(r:NAME)"
    std::size_t bytes;
    std::string said; // what the log holds more once the item is read
};

inline std::string said_by(const std::vector<file_item>& items)
{
    std::string said;
    for (const file_item& item : items) said += item.said;
    return said;
}

// Runs the stage on every proper beginning of a file; `before` is the log up to its first read.
inline void expect_short_reads(const std::string& name, const std::vector<file_item>& items, const std::string& before,
                               const std::function<stage_outcome()>& stage)
{
    const std::string whole = read_file(name);
    std::string said = before;
    std::size_t at = 0;
    for (const file_item& item : items) {
        for (std::size_t byte = 0; byte < item.bytes; byte += byte == 0 || byte + 2 >= item.bytes ? 1 : 3) {
            write_file(name, whole.substr(0, at + byte));
            const stage_outcome outcome = stage();
            EXPECT_TRUE(outcome.failed) << name << " cut at " << at + byte;
            EXPECT_EQ(outcome.log, said + "      Error. in " + name + "(" + item.tag + ").\n")
                << name << " cut at " << at + byte;
        }
        at += item.bytes;
        said += item.said;
    }
    EXPECT_EQ(at, whole.size());
    write_file(name, whole);
    EXPECT_FALSE(stage().failed);
}

} // namespace tarnel_test
