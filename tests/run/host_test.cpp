// What a host may have set, and what a run must leave as it found it.
#include "run/host.h"

#include <tarnel.h>

#include <cfenv>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <set>

#include <link.h>
#include <malloc.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

using namespace tarnel_test;

namespace
{

// Makes a locale of our own in the working directory, with a decimal comma, grouped thousands and other names of days
// and months. False when the machine cannot make locales.
bool make_comma_locale()
{
    write_file("comma.source",
               "comment_char %\n"
               "escape_char /\n"
               "LC_NUMERIC\n"
               "decimal_point \",\"\n"
               "thousands_sep \".\"\n"
               "grouping 3;3\n"
               "END LC_NUMERIC\n"
               "LC_TIME\n"
               "abday \"So\";\"Mo\";\"Di\";\"Mi\";\"Do\";\"Fr\";\"Sa\"\n"
               "day \"sonntag\";\"montag\";\"dienstag\";\"mittwoch\";\"donnerstag\";\"freitag\";\"samstag\"\n"
               "abmon \"1.\";\"2.\";\"3.\";\"4.\";\"5.\";\"6.\";\"7.\";\"8.\";\"9.\";\"10.\";\"11.\";\"12.\"\n"
               "END LC_TIME\n");
    // It complains of the categories left out and makes the others.
    return std::system("localedef -c -i comma.source ./comma >/dev/null 2>&1; test -f comma/LC_NUMERIC") == 0;
}

bool comma_locale_holds()
{
    char number[20], month[20];
    const std::time_t start_of_1970 = 0;
    std::snprintf(number, sizeof number, "%.1f", 1.5);
    std::strftime(month, sizeof month, "%b", std::gmtime(&start_of_1970));
    return std::string(number) == "1,5" && std::string(month) == "1.";
}

} // namespace

TEST_F(host, a_locale_with_a_decimal_comma_neither_shows_in_a_run_nor_is_changed_by_it)
{
    if (!make_comma_locale()) GTEST_SKIP() << "this machine cannot make a locale";
    const process_outcome run = run_in_child([] {
        setenv("LOCPATH", std::filesystem::current_path().c_str(), 1);
        if (std::setlocale(LC_NUMERIC, "comma") == nullptr || std::setlocale(LC_TIME, "comma") == nullptr) return -1;
        const std::string before = std::setlocale(LC_ALL, nullptr);
        if (!comma_locale_holds()) return -1;
        const int value = main_tarnel_n1();
        return value == 0 && comma_locale_holds() && before == std::setlocale(LC_ALL, nullptr) ? 0 : 1;
    });
    expect_results_of(run);
    EXPECT_EQ(plain(run.log), log_of_model()); // English names in the time stamps, points in the iteration lines
}

TEST_F(host, the_rounding_mode_neither_shows_in_a_run_nor_is_changed_by_it)
{
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        SCOPED_TRACE(mode);
        const process_outcome run = run_in_child([mode] {
            if (std::fesetround(mode) != 0) return -1;
            const int value = main_tarnel_n1();
            return value == 0 && std::fegetround() == mode ? 0 : 1;
        });
        expect_results_of(run);
    }
}

TEST_F(host, the_rounding_mode_is_the_hosts_again_when_a_failed_run_calls_its_exit_handlers)
{
    std::filesystem::remove("at-cntl-data.txt");
    const process_outcome run = run_in_child([] {
        std::fesetround(FE_UPWARD);
        std::atexit([] { write_file("at-exit.txt", std::to_string(std::fegetround())); });
        return main_tarnel_n1();
    });
    expect_ended(run);
    EXPECT_EQ(read_file("at-exit.txt"), std::to_string(FE_UPWARD));
}

TEST_F(host, traps_on_floating_point_exceptions_do_not_reach_a_run_and_stay_set)
{
    constexpr int trapped = FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW | FE_UNDERFLOW | FE_INEXACT;
    const process_outcome run = run_in_child([] {
        if (feenableexcept(trapped) == -1) return -1;
        const int value = main_tarnel_n1();
        const int kept = fegetexcept();
        fedisableexcept(trapped);
        return value == 0 && kept == trapped ? 0 : 1;
    });
    expect_results_of(run);
}

#if defined(__x86_64__)
TEST_F(host, flushing_of_tiny_numbers_to_zero_does_not_reach_a_run_and_stays_set)
{
    // One unknown, the middle of a square between potentials of 2e-320 Wb/m, far below the smallest normal number:
    // with flushing they would be taken for zero. The number of that kind next to 2e-320 is 1.99998e-320.
    model m = unit_square();
    for (model_condition& c : m.conditions) c.fai0 = 2e-320;
    write_model(m);
    const process_outcome run = run_in_child([] {
        constexpr unsigned flush_and_zero = 0x8040;
        _mm_setcsr(_mm_getcsr() | flush_and_zero);
        const int value = main_tarnel_n1();
        return value == 0 && (_mm_getcsr() & flush_and_zero) == flush_and_zero ? 0 : 1;
    });
    expect_complete(run);
    const std::string nodes = read_file("at-nresl-struct.tmp");
    EXPECT_EQ(double_at(nodes, 8), 2e-320);
    EXPECT_NE(read_file("at-node-resl.txt").find("1.99998e-320"), std::string::npos);
}
#endif

TEST_F(host, a_failed_run_ends_the_process_by_exit_so_that_the_hosts_handlers_run)
{
    write_file("t-node-data.txt", "");
    const process_outcome run = run_in_child([] {
        std::atexit([] { write_file("at-exit.txt", "was here"); });
        return main_tarnel_n1();
    });
    expect_ended(run);
    EXPECT_EQ(read_file("at-exit.txt"), "was here");
}

TEST_F(host, a_run_says_nothing_on_standard_error)
{
    const process_outcome run = run_library([] {
        if (std::freopen("standard-error.txt", "wb", stderr) == nullptr) _exit(121);
    });
    expect_results_of(run);
    EXPECT_EQ(read_file("standard-error.txt"), "");
}

TEST_F(host, the_time_stamps_are_the_utc_day_and_the_local_clock)
{
    // A zone 13 hours and 7 minutes behind in the first half of the UTC day, ahead in the second: always another day.
    const std::time_t earliest = std::time(nullptr);
    const bool behind = std::gmtime(&earliest)->tm_hour < 12;
    const process_outcome run = run_library([behind] {
        setenv("TZ", behind ? "FAR+13:07" : "FAR-13:07", 1);
        tzset();
    });
    const std::time_t latest = std::time(nullptr);
    expect_results_of(run);
    std::set<std::string> possible;
    for (std::time_t now = earliest; now <= latest; ++now) {
        char day[80], clock[10];
        const std::time_t far = now + (behind ? -1 : 1) * (13 * 3600 + 7 * 60);
        std::strftime(day, sizeof day, "%b %d,%Y(%A)", std::gmtime(&now)); // the tests run in the "C" locale
        std::strftime(clock, sizeof clock, "%H:%M:%S", std::gmtime(&far));
        possible.insert(std::string(day) + " " + clock);
    }
    const std::vector<std::string> heads = {"    ### program START ", "    ### matrix solver START  ",
                                            "    ### matrix solver END    ", "    ### program END   "};
    for (const std::string& head : heads) {
        const std::size_t at = run.log.find(head);
        ASSERT_NE(at, std::string::npos) << head;
        const std::size_t start = at + head.size();
        EXPECT_TRUE(possible.contains(run.log.substr(start, run.log.find('\n', start) - start))) << run.log;
    }
}

TEST_F(host, a_log_on_a_full_device_is_reported_on_standard_output_and_ends_the_run)
{
    std::filesystem::remove("tarnel.log");
    std::filesystem::remove("t-lcs-struct.tmp");
    std::filesystem::create_symlink("/dev/full", "tarnel.log");
    expect_ended(run_library(), "      Error. in tarnel.log(w).\n");
    EXPECT_FALSE(std::filesystem::exists("t-lcs-struct.tmp"));
}

TEST_F(host, a_log_that_fills_up_in_the_middle_is_reported_on_standard_output_and_ends_the_run)
{
    // Up to the first reading heading there are 157 to 160 bytes, by the day's name; the next heading does not fit.
    const process_outcome run = run_library([] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit at_most = {190, 190};
        setrlimit(RLIMIT_FSIZE, &at_most);
    });
    expect_ended(run, "      Error. in tarnel.log(w).\n");
    EXPECT_LE(run.log.size(), 190U);
    EXPECT_TRUE(without_times(run.log).starts_with(log_start() + now_reading("at-cntl-data.txt"))) << run.log;
}

TEST_F(host, an_error_that_no_longer_fits_into_the_log_is_reported_on_standard_output_too)
{
    // The last line that fits is the reading heading; the error behind it does not.
    std::filesystem::remove("at-cntl-data.txt");
    const std::size_t fits = run_library().log.size() - cannot_open("at-cntl-data.txt").size() + 1;
    const process_outcome run = run_library([fits] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit at_most = {fits, fits};
        setrlimit(RLIMIT_FSIZE, &at_most);
    });
    expect_ended(run, "      Error. in tarnel.log(w).\n");
}

TEST_F(host, two_runs_in_one_process_keep_nothing_from_each_other)
{
    // First a larger model with other switches, in a directory of its own.
    std::filesystem::create_directory("large");
    const std::filesystem::path here = std::filesystem::current_path();
    std::filesystem::current_path(here / "large");
    write_model(plate(20, 15, 0));
    std::filesystem::current_path(here);
    const process_outcome run = run_in_child([&here] {
        if (chdir("large") != 0 || main_tarnel_n1() != 0) return -1;
        if (chdir(here.c_str()) != 0 || main_tarnel_n1() != 0) return -2;
        return 0;
    });
    expect_results_of(run);
    EXPECT_EQ(plain(run.log), log_of_model());
    EXPECT_TRUE(plain(read_file("large/tarnel.log")) == whole_log(unknowns_of_plate(20, 15)));
}

TEST_F(host, a_hundred_runs_in_one_process_leave_no_open_file_and_no_memory_behind)
{
    const process_outcome run = run_in_child([] {
        if (main_tarnel_n1() != 0 || main_tarnel_n1() != 0) return 1;
        const int files = open_files();
#if !defined(TARNEL_ADDRESS_SANITIZER)
        const std::size_t in_use = mallinfo2().uordblks;
#endif
        constexpr std::size_t runs = 98;
        for (std::size_t k = 0; k < runs; ++k)
            if (main_tarnel_n1() != 0) return 2;
        if (open_files() != files) return 3;
#if !defined(TARNEL_ADDRESS_SANITIZER)
        // What the allocator keeps for itself settles within a few runs; a lost stream or array would be 64 KiB each.
        if (mallinfo2().uordblks > in_use + runs * 1024) return 4;
#endif
        return 0;
    });
    expect_results_of(run);
}

TEST_F(host, a_run_needs_no_more_than_a_dozen_open_files_at_a_time)
{
    // The assembly lends ten files besides the log.
    const process_outcome run = run_in_child([] {
        const auto now = static_cast<rlim_t>(open_files() - 1); // the count itself holds one open
        const rlimit at_most = {now + 11, now + 11};
        setrlimit(RLIMIT_NOFILE, &at_most);
        return main_tarnel_n1();
    });
    expect_results_of(run);
}

// The names that the library's dynamic symbol table defines, read from the file itself.
static std::set<std::string> exported_names(const std::string& elf)
{
    std::set<std::string> names;
    const auto head = value_at<ElfW(Ehdr)>(elf, 0);
    const auto section = [&](std::size_t k) { return value_at<ElfW(Shdr)>(elf, head.e_shoff + k * head.e_shentsize); };
    for (std::size_t k = 0; k < head.e_shnum; ++k) {
        const ElfW(Shdr) table = section(k);
        if (table.sh_type != SHT_DYNSYM) continue;
        const ElfW(Shdr) strings = section(table.sh_link);
        for (std::size_t at = 0; at < table.sh_size; at += table.sh_entsize) {
            const auto symbol = value_at<ElfW(Sym)>(elf, table.sh_offset + at);
            if (symbol.st_name != 0 && symbol.st_shndx != SHN_UNDEF)
                names.insert(elf.c_str() + strings.sh_offset + symbol.st_name);
        }
    }
    return names;
}

static int note_library(dl_phdr_info* object, std::size_t, void* found)
{
    const std::string path = object->dlpi_name;
    if (path.find("/libtarnel.so") != std::string::npos) *static_cast<std::string*>(found) = path;
    return 0;
}

TEST(library, exports_the_entry_point_and_nothing_else)
{
    std::string path;
    dl_iterate_phdr(note_library, &path);
    ASSERT_NE(path, "");
    EXPECT_EQ(exported_names(read_file(path)), std::set<std::string>{"main_tarnel_n1"});
}
