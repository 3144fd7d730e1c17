// Numbers as text in the fixed "C" form: neither the host's locale nor its rounding mode shows in a result file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tarnel
{

struct number_text {
    char text[40];
};

// The value as "%e" gives it: 6 decimals, an exponent of at least two digits.
number_text as_e(double value);

// Appends the value as "%15.5e" (padded with blanks on the left) and moves `to` past it; room for 40 characters.
char* put_e15_5(char* to, double value);

// Appends the value as "%*d" and moves `to` past it; room for the width or 11 characters.
char* put_int(char* to, std::int32_t value, int width);

// Appends a text of known length.
template <std::size_t n> char* put_text(char* to, const char (&text)[n])
{
    std::memcpy(to, text, n - 1);
    return to + n - 1;
}

} // namespace tarnel
