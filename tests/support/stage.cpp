#include "support/stage.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

namespace tarnel_test
{

work_directory::work_directory() : before_(std::filesystem::current_path())
{
    std::string name = (std::filesystem::temp_directory_path() / "tarnel-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    path_ = name;
    std::filesystem::current_path(path_);
}

work_directory::~work_directory()
{
    std::error_code ignored;
    std::filesystem::current_path(before_, ignored);
    std::filesystem::remove_all(path_, ignored);
}

void write_file(const std::string& name, const std::string& content)
{
    // A new file: some file systems write a truncated one through to the disk.
    if (std::filesystem::is_regular_file(std::filesystem::symlink_status(name))) std::filesystem::remove(name);
    std::ofstream file(name, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file) ADD_FAILURE() << "cannot write " << name;
}

std::string read_file(const std::string& name)
{
    const std::ifstream file(name, std::ios::binary);
    if (!file) ADD_FAILURE() << "cannot read " << name;
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

stage_outcome run_stage(const std::function<void(std::FILE*)>& stage)
{
    stage_outcome outcome;
    const std::string name = "stage-under-test.log";
    tarnel::owned_file log(std::fopen(name.c_str(), "wb"));
    if (log == nullptr) {
        ADD_FAILURE() << "cannot open " << name;
        return outcome;
    }
    try {
        stage(log.get());
    } catch (const tarnel::run_ended&) {
        outcome.failed = true;
    }
    log.reset();
    outcome.log = read_file(name);
    std::filesystem::remove(name);
    return outcome;
}

opened_input::opened_input(const std::string& path, const std::string& called)
{
    if (!tarnel::open_input(stderr, *this, path.c_str(), called.c_str())) throw std::runtime_error("no file " + path);
}

opened_output::opened_output(const std::string& path, const std::string& called)
{
    if (!tarnel::open_output(stderr, *this, path.c_str(), called.c_str(), tarnel::content::binary))
        throw std::runtime_error("no file " + path);
}

tarnel::control small_control()
{
    tarnel::control cntl;
    cntl.maxnog = cntl.maxfelm = cntl.maxbelm = cntl.maxprp = cntl.maxdim = cntl.maxedg = 100;
    cntl.maxnzero = 30;
    return cntl;
}

} // namespace tarnel_test
