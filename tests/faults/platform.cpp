#include "faults/platform.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace tarnel_test
{

// Stand-ins are called by the platform's names alone, so what they share has no other place.
static platform_record* armed = nullptr;
static fault plan;
static damage damaging;
static int openings = 0; // of the file to be damaged

void arm_platform(platform_record& record, const fault& planned, const damage& done)
{
    record = {};
    plan = planned;
    damaging = done;
    openings = 0;
    armed = &record;
}

void disarm_platform()
{
    armed = nullptr;
}

static void keep_failure(const char* path, std::int64_t place)
{
    const auto kept = static_cast<std::size_t>(armed->failures);
    const bool again = kept > 0 && kept <= failures_kept && std::strcmp(armed->failed_path[kept - 1], path) == 0;
    if (!again) ++armed->failures;
    if (!again && kept >= failures_kept) return;
    const std::size_t at = again ? kept - 1 : kept;
    std::snprintf(armed->failed_path[at], sizeof armed->failed_path[at], "%s", path);
    armed->failed_place[at] = place;
}

// Counts a call; true when it is to fail.
static bool fails(call kind, const char* path, std::int64_t place = place_unknown)
{
    const int number = ++armed->calls[static_cast<std::size_t>(kind)];
    if (plan.number == 0 || kind != plan.kind) return false;
    if (number != plan.number && !(plan.lasting && number > plan.number)) return false;
    keep_failure(path, place);
    return true;
}

// A file behind a stream of the C library's, which calls these four functions for its bytes.
struct opened_file {
    int descriptor = -1;
    char path[80] = {};
    bool reading = false;
    std::int64_t readable = std::numeric_limits<std::int64_t>::max(); // bytes
    std::FILE* stream = nullptr;
    opened_file* next = nullptr;
};
static opened_file* all_opened = nullptr;

static const opened_file& file_of(const std::FILE* stream)
{
    static const opened_file none;
    for (const opened_file* file = all_opened; file != nullptr; file = file->next)
        if (file->stream == stream) return *file;
    return none;
}

static const opened_file* file_behind(int descriptor)
{
    const opened_file* file = all_opened;
    while (file != nullptr && file->descriptor != descriptor) file = file->next;
    return file;
}

static std::int64_t place_of(const opened_file& file)
{
    return file.descriptor < 0 ? place_unknown : static_cast<std::int64_t>(lseek64(file.descriptor, 0, SEEK_CUR));
}

static void forget(opened_file* file)
{
    opened_file** link = &all_opened;
    while (*link != file) link = &(*link)->next;
    *link = file->next;
    delete file;
}

static ssize_t read_file_bytes(void* cookie, char* to, std::size_t n)
{
    const auto* file = static_cast<opened_file*>(cookie);
    const std::int64_t place = place_of(*file);
    bool failing = armed != nullptr && fails(call::read, file->path, place);
    if (armed != nullptr && place >= file->readable) {
        keep_failure(file->path, place);
        failing = true;
    }
    if (failing) {
        errno = EIO;
        return -1;
    }
    return read(file->descriptor, to, std::min(n, static_cast<std::size_t>(file->readable - place)));
}

static ssize_t write_file_bytes(void* cookie, const char* from, std::size_t n)
{
    const auto* file = static_cast<opened_file*>(cookie);
    const bool failing =
        armed != nullptr && fails(call::write, file->path, place_of(*file) + static_cast<std::int64_t>(n));
    if (failing) armed->output_failed = true;
    const std::size_t accepted = failing ? n / 2 : n;
    std::size_t done = 0;
    while (done < accepted) {
        const ssize_t now = write(file->descriptor, from + done, accepted - done);
        if (now <= 0) break;
        done += static_cast<std::size_t>(now);
    }
    if (failing) errno = ENOSPC;
    return static_cast<ssize_t>(done);
}

static int seek_file(void* cookie, off64_t* offset, int whence)
{
    const auto* file = static_cast<opened_file*>(cookie);
    if (armed != nullptr && fails(call::seek, file->path)) {
        errno = EIO;
        return -1;
    }
    *offset = lseek64(file->descriptor, *offset, whence);
    return *offset < 0 ? -1 : 0;
}

static int close_file(void* cookie)
{
    auto* file = static_cast<opened_file*>(cookie);
    bool failing = false;
    if (armed != nullptr) {
        --armed->streams;
        failing = fails(call::close, file->path, place_of(*file));
        if (failing && !file->reading) armed->output_failed = true;
    }
    const int closed = close(file->descriptor);
    forget(file);
    if (!failing) return closed;
    errno = EIO;
    return -1;
}

static bool is_damaged_now(const char* path)
{
    return std::strcmp(path, damaging.path) == 0 && ++openings == damaging.opening;
}

static void put_value(const char* path)
{
    const int file = open(path, O_WRONLY);
    if (file < 0) return;
    armed->damaged = pwrite(file, &damaging.value, sizeof damaging.value, static_cast<off_t>(damaging.offset)) ==
                     static_cast<ssize_t>(sizeof damaging.value);
    close(file);
}

extern "C" {

std::FILE* __real_fopen(const char* path, const char* mode);
int __real_setvbuf(std::FILE* f, char* buffer, int mode, std::size_t n);
int __real_fflush(std::FILE* f);
int __real_fileno(std::FILE* f);
int __real_ftruncate(int descriptor, off_t size);
int __real_remove(const char* path);
int __real_rename(const char* from, const char* to);
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t n, std::size_t size);
void* __real_realloc(void* p, std::size_t size);
void __real_free(void* p);
[[noreturn]] void __real_exit(int status);

std::FILE* __wrap_fopen(const char* path, const char* mode)
{
    if (armed == nullptr) return __real_fopen(path, mode);
    if (fails(call::open, path)) {
        errno = EMFILE;
        return nullptr;
    }
    const bool over = std::strchr(mode, '+') != nullptr, reading = mode[0] == 'r' && !over;
    const bool damaged = reading && is_damaged_now(path);
    if (damaged && !damaging.unreadable) put_value(path);
    const int descriptor = open(path, reading ? O_RDONLY : over ? O_RDWR : O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (descriptor < 0) return nullptr;
    auto* file = new opened_file{.descriptor = descriptor, .reading = reading, .next = all_opened};
    all_opened = file;
    std::snprintf(file->path, sizeof file->path, "%s", path);
    if (damaged && damaging.unreadable) {
        file->readable = static_cast<std::int64_t>(damaging.offset);
        armed->damaged = true;
    }
    file->stream = fopencookie(file, mode, {read_file_bytes, write_file_bytes, seek_file, close_file});
    if (file->stream != nullptr) {
        ++armed->streams;
        return file->stream;
    }
    close(descriptor);
    forget(file);
    return nullptr;
}

// A stream of this kind reads byte by byte when it is unbuffered; a real one hands a long read to the system whole.
int __wrap_setvbuf(std::FILE* f, char* buffer, int mode, std::size_t n)
{
    if (armed == nullptr) return __real_setvbuf(f, buffer, mode, n);
    const opened_file& file = file_of(f);
    if (fails(call::buffer, file.path)) return EOF;
    if (file.reading && mode == _IONBF) return __real_setvbuf(f, nullptr, _IOFBF, 65536);
    return __real_setvbuf(f, buffer, mode, n);
}

int __wrap_fflush(std::FILE* f)
{
    if (armed == nullptr) return __real_fflush(f);
    const opened_file& file = file_of(f);
    if (!fails(call::flush, file.path, place_of(file))) return __real_fflush(f);
    armed->output_failed = true;
    errno = EIO;
    return EOF;
}

int __wrap_fileno(std::FILE* f)
{
    const opened_file& file = file_of(f);
    return file.stream == nullptr ? __real_fileno(f) : file.descriptor;
}

int __wrap_ftruncate(int descriptor, off_t size)
{
    const opened_file* file = armed == nullptr ? nullptr : file_behind(descriptor);
    if (file == nullptr || !fails(call::cut, file->path, place_of(*file))) return __real_ftruncate(descriptor, size);
    armed->output_failed = true;
    errno = EIO;
    return -1;
}

int __wrap_remove(const char* path)
{
    if (armed == nullptr || !fails(call::remove, path)) return __real_remove(path);
    errno = EACCES;
    return -1;
}

int __wrap_rename(const char* from, const char* to)
{
    if (armed == nullptr || !fails(call::rename, to)) return __real_rename(from, to);
    errno = EACCES;
    return -1;
}

// Sizes are what the platform made of those asked for.
static void* count_array(void* made, std::size_t before)
{
    if (made == nullptr) return nullptr;
    if (before == 0) ++armed->arrays;
    armed->bytes += malloc_usable_size(made) - before;
    armed->peak_bytes = std::max(armed->peak_bytes, armed->bytes);
    return made;
}

// A compiler makes this of realloc(nullptr, size).
void* __wrap_malloc(std::size_t size)
{
    if (armed == nullptr) return __real_malloc(size);
    if (fails(call::allocate, "")) return nullptr;
    return count_array(__real_malloc(size), 0);
}

void* __wrap_calloc(std::size_t n, std::size_t size)
{
    if (armed == nullptr) return __real_calloc(n, size);
    if (fails(call::allocate, "")) return nullptr;
    return count_array(__real_calloc(n, size), 0);
}

void* __wrap_realloc(void* p, std::size_t size)
{
    if (armed == nullptr) return __real_realloc(p, size);
    if (fails(call::allocate, "")) return nullptr;
    const std::size_t before = p == nullptr ? 0 : malloc_usable_size(p);
    return count_array(__real_realloc(p, size), before);
}

void __wrap_free(void* p)
{
    if (armed != nullptr && p != nullptr) {
        --armed->arrays;
        armed->bytes -= malloc_usable_size(p);
    }
    __real_free(p);
}

[[noreturn]] void __wrap_exit(int status)
{
    if (armed != nullptr) {
        armed->ended_itself = true;
        armed->arrays_at_exit = armed->arrays;
        armed->streams_at_exit = armed->streams;
        armed = nullptr;
    }
    __real_exit(status);
}

} // extern "C"

} // namespace tarnel_test
