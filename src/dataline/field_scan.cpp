#include "dataline/field_scan.h"

#include <charconv>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <type_traits>
#if defined(__unix__)
#include <locale.h>
#endif

namespace tarnel
{

#if defined(__unix__)
// The calling thread speaks the "C" locale while one of these lives.
namespace
{
class c_locale_scope
{
public:
    c_locale_scope() : plain_(newlocale(LC_ALL_MASK, "C", nullptr)), hosts_(uselocale(plain_)) {}
    ~c_locale_scope()
    {
        uselocale(hosts_);
        freelocale(plain_);
    }
    c_locale_scope(const c_locale_scope&) = delete;
    c_locale_scope& operator=(const c_locale_scope&) = delete;

private:
    locale_t plain_;
    locale_t hosts_;
};
} // namespace
#endif

constexpr std::size_t longest_field = 17;

// The scan itself, for the fields that the fast roads below leave.
template <class number> static bool scan_with_sentinel(const char* first, const char* last, number& value)
{
    constexpr const char* format = std::is_same_v<number, double> ? "%le %d" : "%d %d";
    char text[longest_field + 3] = {};
    const auto length = static_cast<std::size_t>(last - first);
    std::memcpy(text, first, length);
    std::memcpy(text + length, " 0", 3);
    int sentinel = 0;
#if defined(_WIN32)
    // No locale of a thread's own, and the system's scan in a given one knows other numbers ("1d5", no "inf", no
    // "0x1p3"): the text follows the process's decimal point.
    const char point = *std::localeconv()->decimal_point;
    for (char& c : text) c = c == '.' ? point : c == point ? '?' : c;
#else
    const c_locale_scope plain;
#endif
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int items = std::sscanf(text, format, &value, &sentinel);
#pragma GCC diagnostic pop
    return items == 2;
}

static bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

bool scan_double_field(const char* first, const char* last, double& value)
{
    value = 0.0;
    // from_chars reads plain decimals and rounds them as the scan does; it takes no leading plus sign, and names and
    // hexadecimal digits are left to the scan.
    const char* digits = first < last && (*first == '+' || *first == '-') ? first + 1 : first;
    if (digits < last && (is_digit(*digits) || *digits == '.')) {
        const auto [end, error] = std::from_chars(*first == '+' ? digits : first, last, value);
        if (error == std::errc{} && end == last) return true;
        value = 0.0;
    }
    return scan_with_sentinel(first, last, value);
}

bool scan_integer_field(const char* first, const char* last, std::int32_t& value)
{
    value = 0;
    const char* digit = first < last && (*first == '+' || *first == '-') ? first + 1 : first;
    if (digit < last) {
        std::int32_t sum = 0; // at most 9 digits: no overflow
        const char* at = digit;
        while (at < last && is_digit(*at)) sum = 10 * sum + (*at++ - '0');
        if (at == last) {
            value = *first == '-' ? -sum : sum;
            return true;
        }
    }
    return scan_with_sentinel(first, last, value);
}

} // namespace tarnel
