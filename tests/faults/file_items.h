// Where the items of a binary file stand: the lengths that its layout gives, followed through one file's counts.
#pragma once

#include "run/models.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tarnel_test
{

// Files of one layout go by one name: with %05d for the number of a circuit edge, "work file for sky-line" for those
// that "t-skylin.txt" names.
struct layout_of_file {
    std::string name;
    int number = 0; // of the edge or of the block, from 1
};
layout_of_file layout_of(const std::string& path, const file_contents& files);

struct file_item {
    int kind = 0;        // from 0, in the order in which a file can first hold them
    std::size_t end = 0; // bytes of the file up to its end
};

// The items of a file in a row; a single one where messages tell none from another, as in a list of records.
std::vector<file_item> items_of_file(const std::string& layout, const std::string& content);

} // namespace tarnel_test
