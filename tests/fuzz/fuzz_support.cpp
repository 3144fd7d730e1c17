#include "fuzz/fuzz_support.h"

#include "common/failure.h"
#include "common/records.h"
#include "damage/models.h"
#include "driver/control_data.h"
#include "driver/run.h"
#include "support/log_end.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>

#include <fcntl.h>
#include <unistd.h>

namespace tarnel_fuzz
{

constexpr std::size_t most_log_bytes = 200000;

static ssize_t take_log(void* cookie, const char* text, std::size_t n)
{
    auto* log = static_cast<std::string*>(cookie);
    if (log->size() + n > most_log_bytes) return 0; // like a full disk
    log->append(text, n);
    return static_cast<ssize_t>(n);
}

[[noreturn]] static void finding(const char* what, const std::string& log)
{
    std::fprintf(stderr, "FINDING: %s\n%s\n", what, log.c_str());
    std::abort();
}

bool runs_through(const std::function<void(std::FILE*)>& stage)
{
    std::string text;
    bool ended = false, full = false;
    {
        const tarnel::owned_file log(fopencookie(&text, "w", {nullptr, take_log, nullptr, nullptr}));
        if (log == nullptr) finding("no log", text);
        try {
            stage(log.get());
        } catch (const tarnel::run_ended&) {
            ended = true;
        }
        full = std::fflush(log.get()) != 0 || std::ferror(log.get()) != 0;
    }
    if (full) return false;
    if (tarnel_test::has_refused_allocation(text)) finding("a count was paid for", text);
    if (ended && !tarnel_test::ends_with_message(text)) finding("the run ended without a message", text);
    if (!ended && tarnel_test::has_error(text)) finding("the run went on after an error", text);
    return !ended;
}

static std::string& work_directory_name()
{
    static std::string name;
    return name;
}

void enter_work_directory()
{
    std::string& name = work_directory_name();
    if (!name.empty()) return;
    // The system's own note of a log that is full.
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
    const std::filesystem::path memory = "/dev/shm";
    const bool in_memory = access(memory.c_str(), W_OK | X_OK) == 0;
    name = ((in_memory ? memory : std::filesystem::temp_directory_path()) / "tarnel-fuzz-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr || chdir(name.c_str()) != 0) std::abort();
    std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(work_directory_name(), ignored);
    });
}

tarnel::control limits_of(std::size_t size)
{
    tarnel::control cntl;
    const std::int32_t limit = size % 2 == 0 ? 20 : 1000000000;
    cntl.maxnog = cntl.maxfelm = cntl.maxprp = cntl.maxedg = limit;
    return cntl;
}

void write_input(const char* name, std::string_view content)
{
    const int file = open(name, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || write(file, content.data(), content.size()) != static_cast<ssize_t>(content.size())) std::abort();
    close(file);
}

void empty_work_directory()
{
    std::vector<std::filesystem::path> old;
    for (const auto& file : std::filesystem::directory_iterator(".")) old.push_back(file.path());
    for (const std::filesystem::path& file : old) unlink(file.c_str());
}

lent_input::lent_input(const char* path, std::FILE* log)
{
    if (!tarnel::open_input(log, *this, path, path)) tarnel::fail(log, "  Error. Can't open %s.\n", path);
}

lent_output::lent_output(const char* path, std::FILE* log)
{
    if (!tarnel::open_output(log, *this, path, path, tarnel::content::binary))
        tarnel::fail(log, "  Error. Can't open %s.\n", path);
}

static std::string read_whole(const std::filesystem::path& path)
{
    std::string content(std::filesystem::file_size(path), '\0');
    const tarnel::owned_file file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr || std::fread(content.data(), 1, content.size(), file.get()) != content.size()) std::abort();
    return content;
}

static void run_or_abort()
{
    if (!runs_through(tarnel::run_analysis)) finding("the base model does not run", "");
}

static void read_files(base_run& base)
{
    for (const auto& file : std::filesystem::directory_iterator("."))
        base.files[file.path().filename().string()] = read_whole(file.path());
}

base_run inputs_of(const char* model)
{
    enter_work_directory();
    empty_work_directory();
    base_run base;
    for (const tarnel_test::small_model& small : tarnel_test::small_models())
        if (std::strcmp(small.name, model) == 0) small.write(run_or_abort);
    read_files(base);
    return base;
}

base_run base_of(const char* model)
{
    base_run base = inputs_of(model);
    run_or_abort();
    read_files(base);
    runs_through([&base](std::FILE* log) {
        lent_input control(tarnel::control_text, log), dimension(tarnel::dimension_text, log);
        tarnel::read_control_data(base.cntl, control, log);
        tarnel::read_dimension_data(base.cntl, dimension, log);
    });
    const auto found = base.files.find(tarnel::circuit2_file);
    if (found != base.files.end()) {
        std::int32_t head[4]; // maxvlt, nvoltg, nvoltv, nvoltve
        std::memcpy(head, found->second.data(), sizeof head);
        base.cntl.maxvlt = head[0];
        base.nvolte = head[1] + head[3];
    }
    empty_work_directory();
    return base;
}

// Numbers that counts and values are tried with.
static std::string notable_word(std::uint8_t which)
{
    constexpr std::int32_t integers[] = {0,  1,  -1,  2,       3,       std::numeric_limits<std::int32_t>::max(),
                                         19, 20, 255, 1 << 16, 1 << 30, std::numeric_limits<std::int32_t>::min()};
    constexpr double doubles[] = {0.0,
                                  -0.0,
                                  1e-300,
                                  1e300,
                                  -1e300,
                                  std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN(),
                                  1.0};
    std::string word;
    const std::size_t k = which % (std::size(integers) + std::size(doubles));
    if (k < std::size(integers)) {
        word.resize(sizeof integers[k]);
        std::memcpy(word.data(), &integers[k], word.size());
    } else {
        const double value = doubles[k - std::size(integers)];
        word.resize(sizeof value);
        std::memcpy(word.data(), &value, word.size());
    }
    return word;
}

static void apply(std::string& content, std::uint8_t what, std::size_t at, std::uint8_t count, std::string_view given)
{
    at = std::min(at, content.size());
    switch (what % 5) {
    case 0:
        content.replace(at, given.size(), given);
        break;
    case 1:
        content.resize(at);
        break;
    case 2:
        content.insert(at, given);
        break;
    case 3:
        content.erase(at, count);
        break;
    default:
        const std::string word = notable_word(count);
        content.replace(at, word.size(), word);
        break;
    }
}

edited_files edit(const base_run& base, const std::vector<std::string>& names, std::string_view edits)
{
    edited_files edited;
    for (const std::string& name : names) {
        const auto found = base.files.find(name);
        if (found != base.files.end()) edited.files[name] = found->second;
    }
    while (edits.size() >= 5) {
        const auto byte = [&edits](std::size_t k) { return static_cast<std::uint8_t>(edits[k]); };
        const std::string& name = names[byte(1) % names.size()];
        const std::size_t at = byte(2) + std::size_t{256} * byte(3);
        const bool with_bytes = byte(0) % 5 == 0 || byte(0) % 5 == 2;
        const std::string_view given = with_bytes ? edits.substr(5, byte(4)) : std::string_view{};
        apply(edited.files[name], byte(0), at, byte(4), given);
        edits.remove_prefix(5 + given.size());
    }
    return edited;
}

void write_edited(const edited_files& edited)
{
    for (const auto& [name, content] : edited.files) write_input(name.c_str(), content);
}

} // namespace tarnel_fuzz
