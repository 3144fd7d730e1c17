#include "common/number_text.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace tarnel
{

// Writes mantissa and exponent and returns the end; to_chars rounds exactly, as the C library does.
static char* put_scientific(char* to, double value, int decimals)
{
    if (std::signbit(value)) {
        *to++ = '-';
        value = -value;
    }
    if (std::isnan(value)) return put_text(to, "nan");
    if (std::isinf(value)) return put_text(to, "inf");
    return std::to_chars(to, to + 32, value, std::chars_format::scientific, decimals).ptr;
}

number_text as_e(double value)
{
    number_text number;
    *put_scientific(number.text, value, 6) = '\0';
    return number;
}

static char* put_padded(char* to, const char* text, std::size_t length, std::size_t width)
{
    if (length < width) {
        std::memset(to, ' ', width - length);
        to += width - length;
    }
    std::memcpy(to, text, length);
    return to + length;
}

char* put_e15_5(char* to, double value)
{
    char text[40];
    return put_padded(to, text, static_cast<std::size_t>(put_scientific(text, value, 5) - text), 15);
}

char* put_int(char* to, std::int32_t value, int width)
{
    char text[16];
    const char* end = std::to_chars(text, text + sizeof text, value).ptr;
    return put_padded(to, text, static_cast<std::size_t>(end - text), static_cast<std::size_t>(width));
}

} // namespace tarnel
