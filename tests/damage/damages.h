// What can befall an input file.
#pragma once

#include <functional>
#include <string>

namespace tarnel_test
{

enum class damage_kind { cut, byte, word, field, line };
inline constexpr const char* damage_names[] = {"cuts", "bytes", "words", "fields", "lines"};
inline constexpr int damage_kinds = 5;

using damage_visitor = std::function<void(damage_kind, const std::string& what, const std::string& damaged)>;

// Cuts at every byte; in a text every field replaced by each hostile one, every line dropped, doubled and swapped with
// the next; in a binary file every byte set to 0, 255 and flipped in its top bit, every four bytes set to the largest
// integer and to ones (-1, or the upper half of a NaN). Damage that changes nothing is left out.
enum class content_kind { text, binary };
void for_each_damage(const std::string& content, content_kind kind, const damage_visitor& visit);

} // namespace tarnel_test
