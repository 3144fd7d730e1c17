// A field as a number: the verdict and the value of the C library's scan of the field followed by " 0" with "%le %d" or
// "%d %d" in the "C" locale, whatever locale the host has set. The trailing 0 makes the scan report two items only when
// the whole field is a number, or a number and then an integer (3-4 is 3).
#pragma once

#include <cstdint>

namespace tarnel
{

// Characters [first, last), at most 17 of them.
//   returns false when the scan does not report two items
bool scan_double_field(const char* first, const char* last, double& value);

// Characters [first, last), at most 9 of them.
bool scan_integer_field(const char* first, const char* last, std::int32_t& value);

} // namespace tarnel
