// A host that writes 1,5 and speaks German: the locale is made on the spot from a source of our own, since none but
// "C" need be installed.
#pragma once

#include "support/stage.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <locale.h>

namespace tarnel_test
{

inline constexpr const char* comma_locale_source = R"(LC_CTYPE
END LC_CTYPE
LC_NUMERIC
decimal_point ","
thousands_sep "."
grouping 3;3
END LC_NUMERIC
LC_TIME
abday "So";"Mo";"Di";"Mi";"Do";"Fr";"Sa"
day "Sonntag";"Montag";"Dienstag";"Mittwoch";"Donnerstag";"Freitag";"Samstag"
abmon "Jan";"Feb";"Mrz";"Apr";"Mai";"Jun";"Jul";"Aug";"Sep";"Okt";"Nov";"Dez"
mon "Januar";"Februar";"Maerz";"April";"Mai";"Juni";"Juli";"August";"September";"Oktober";"November";"Dezember"
am_pm "";""
d_t_fmt "%d"
d_fmt "%d"
t_fmt "%T"
t_fmt_ampm ""
END LC_TIME
)";

// Makes "comma" in the working directory, where LOCPATH then points; a bare machine has no character map either.
inline void make_comma_locale()
{
    std::string map = "<code_set_name> ANSI_X3.4-1968\n<comment_char> %\n<escape_char> /\n<mb_cur_max> 1\nCHARMAP\n";
    for (int code = 0; code < 128; ++code) {
        char line[40];
        std::snprintf(line, sizeof line, "<U%04X> /x%02x c\n", static_cast<unsigned>(code),
                      static_cast<unsigned>(code));
        map += line;
    }
    write_file("map.source", map + "END CHARMAP\n");
    write_file("comma.source", comma_locale_source);
    // The missing categories are warnings, and a status of their own: what counts is whether the locale loads.
    static_cast<void>(std::system("localedef -c -f ./map.source -i ./comma.source ./comma >localedef.txt 2>&1") + 0);
    setenv("LOCPATH", std::filesystem::current_path().c_str(), 1);
}

// The comma locale, of the calling thread or of the whole process, while one of these lives.
enum class set_for { thread, process };
class comma_host
{
public:
    explicit comma_host(set_for whom) : whom_(whom)
    {
        make_comma_locale();
        for (const char* name : {"comma", "de_DE.UTF-8", "de_DE.utf8"}) {
            available_ = setlocale(LC_ALL, name) != nullptr;
            if (available_) break;
            unsetenv("LOCPATH"); // the others are the system's
        }
        if (available_ && whom == set_for::thread) {
            locale_ = duplocale(LC_GLOBAL_LOCALE); // newlocale leaks what it makes of LOCPATH
            setlocale(LC_ALL, "C");
            before_ = uselocale(locale_);
        }
        if (available_) name_ = setlocale(LC_ALL, nullptr);
    }
    ~comma_host()
    {
        if (locale_ != nullptr) {
            uselocale(before_);
            freelocale(locale_);
        }
        setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
    }
    comma_host(const comma_host&) = delete;
    comma_host& operator=(const comma_host&) = delete;

    bool available() const { return available_; }

    // The host finds its own locale again.
    void expect_unchanged() const
    {
        char text[16];
        std::snprintf(text, sizeof text, "%.1f", 1.5);
        EXPECT_STREQ(text, "1,5");
        EXPECT_EQ(setlocale(LC_ALL, nullptr), name_);
        EXPECT_EQ(uselocale(nullptr), whom_ == set_for::thread ? locale_ : LC_GLOBAL_LOCALE);
    }

private:
    set_for whom_;
    bool available_ = false;
    std::string name_;
    locale_t locale_ = nullptr;
    locale_t before_ = nullptr;
};

} // namespace tarnel_test
