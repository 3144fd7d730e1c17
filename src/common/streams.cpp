#include "common/streams.h"

#include <algorithm>
#include <utility>

#if defined(__unix__)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace tarnel
{

static bool open_stream(owned_file& stream, char (&stored)[file_name_characters], const char* path, const char* name,
                        const char* mode)
{
    std::snprintf(stored, sizeof stored, "%s", name);
    stream.reset(std::fopen(path, mode));
    if (stream == nullptr) return false;
    return std::setvbuf(stream.get(), nullptr, _IONBF, 0) == 0;
}

void remove_file(const char* path)
{
#if defined(__unix__)
    unlink(path); // remove takes empty directories too
#else
    std::remove(path);
#endif
}

bool open_input(std::FILE* log, input_file& file, const char* path, const char* name)
{
    if (!open_stream(file.stream, file.name, path, name, "rb")) return false;
    file.buffer = empty_array<char>(log, "stream", 2 * stream_buffer_bytes);
    file.at = file.filled = 0;
    return true;
}

// A plain file that is there is written over and cut at its end: to give its pages back and fetch fresh ones costs more
// than the copy of what they hold, and some file systems bring a file that was cut to nothing and written again to the
// disk when it is closed.
//   returns its size, 0 for one that can only be made, emptied or written through
static std::uint64_t bytes_to_write_over([[maybe_unused]] const char* path)
{
#if defined(__unix__)
    struct stat old;
    if (stat(path, &old) == 0 && S_ISREG(old.st_mode) && faccessat(AT_FDCWD, path, R_OK | W_OK, AT_EACCESS) == 0)
        return static_cast<std::uint64_t>(old.st_size);
#endif
    return 0;
}

// Cuts off what is left of the old file.
static bool cut_old_end(output_file& file)
{
    const std::uint64_t old_bytes = std::exchange(file.old_bytes, 0);
#if defined(__unix__)
    if (file.written < old_bytes) return ftruncate(fileno(file.stream.get()), static_cast<off_t>(file.written)) == 0;
#endif
    return file.written >= old_bytes;
}

bool open_output(std::FILE* log, output_file& file, const char* path, const char* name, content kind)
{
    file.filled = 0;
    file.written = 0;
    file.old_bytes = bytes_to_write_over(path);
    const char* mode = file.old_bytes > 0 ? "r+b" : kind == content::text ? "w" : "wb";
    if (!open_stream(file.stream, file.name, path, name, mode)) return false;
    file.buffer = empty_array<char>(log, "stream", stream_buffer_bytes);
    return true;
}

std::size_t fill_buffer(input_file& file, std::size_t want)
{
    const std::size_t left = file.filled - file.at;
    if (left >= want) return left;
    if (file.kept == 0) {
        // What is left goes before the place that the system fills, so that its copies are whole and aligned.
        std::memmove(file.buffer.get() + stream_buffer_bytes - left, file.buffer.get() + file.at, left);
        file.at = stream_buffer_bytes - left;
        file.filled = stream_buffer_bytes;
    }
    const std::size_t room = file.kept > 0 ? file.kept : 2 * stream_buffer_bytes;
    while (file.filled - file.at < want) {
        const std::size_t most = std::min(file.piece, room - file.filled);
        const std::size_t got = std::fread(file.buffer.get() + file.filled, 1, most, file.stream.get());
        if (got == 0) break;
        file.filled += got;
    }
    return file.filled - file.at;
}

// Where a stream stands, and taking it elsewhere, in 64 bits; -1 or other than 0 where the system does not.
static std::int64_t tell(std::FILE* f)
{
#if defined(_WIN32)
    return _ftelli64(f);
#else
    return ftello(f);
#endif
}

static int seek(std::FILE* f, std::int64_t place, int whence)
{
#if defined(_WIN32)
    return _fseeki64(f, place, whence);
#else
    return fseeko(f, place, whence);
#endif
}

std::uint64_t bytes_left(input_file& file)
{
    const std::uint64_t buffered = file.filled - file.at;
    std::FILE* f = file.stream.get();
    const std::int64_t here = tell(f);
    if (here < 0 || seek(f, 0, SEEK_END) != 0) return unknown_size;
    const std::int64_t end = tell(f);
    if (seek(f, here, SEEK_SET) != 0 || end < here) return unknown_size;
    return static_cast<std::uint64_t>(end - here) + buffered;
}

void keep_rest(std::FILE* log, input_file& file, std::size_t most)
{
    const std::uint64_t bytes = bytes_left(file);
    if (bytes == 0 || bytes > most) return; // a device may give bytes although it has no size
    file.kept = static_cast<std::size_t>(bytes);
    owned_array<char> buffer = empty_array<char>(log, "stream", file.kept);
    file.filled -= file.at;
    std::memcpy(buffer.get(), file.buffer.get() + std::exchange(file.at, 0), file.filled);
    file.buffer = std::move(buffer);
    file.piece = 2 * stream_buffer_bytes;
}

bool seek_to(input_file& file, std::uint64_t place)
{
    file.at = file.filled = 0;
    return seek(file.stream.get(), static_cast<std::int64_t>(place), SEEK_SET) == 0;
}

bool read_bytes_slowly(input_file& file, void* to, std::size_t n)
{
    char* target = static_cast<char*>(to);
    const std::size_t left = file.filled - file.at;
    if (n < stream_buffer_bytes || file.kept > 0) {
        if (fill_buffer(file, n) < n) return false;
        std::memcpy(target, file.buffer.get() + file.at, n);
        file.at += n;
        return true;
    }
    std::memcpy(target, file.buffer.get() + file.at, left);
    file.at = file.filled = 0;
    return std::fread(target + left, 1, n - left, file.stream.get()) == n - left;
}

void fail_in_file(std::FILE* log, const char* name, const char* tag)
{
    fail(log, "      Error. in %s(%s).\n", name, tag);
}

bool pass_to_system(output_file& file, const void* from, std::size_t n)
{
    const std::size_t taken = n > 0 ? std::fwrite(from, 1, n, file.stream.get()) : 0;
    file.written += taken;
    return taken == n;
}

output_file::~output_file()
{
    if (stream == nullptr) return;
    pass_to_system(*this, buffer.get(), filled);
    cut_old_end(*this);
}

void write_bytes_slowly(std::FILE* log, output_file& file, const void* from, std::size_t n)
{
    // The system takes whole buffers, so that its pages are filled one by one.
    const char* bytes = static_cast<const char*>(from);
    const std::size_t fits = stream_buffer_bytes - file.filled;
    std::memcpy(file.buffer.get() + file.filled, bytes, fits);
    file.filled = 0;
    const std::size_t whole = (n - fits) / stream_buffer_bytes * stream_buffer_bytes;
    if (!pass_to_system(file, file.buffer.get(), stream_buffer_bytes) || !pass_to_system(file, bytes + fits, whole))
        fail_in_file(log, file.name, file.tag);
    file.filled = n - fits - whole;
    std::memcpy(file.buffer.get(), bytes + fits + whole, file.filled);
}

void flush_output(std::FILE* log, output_file& file)
{
    if (!pass_to_system(file, file.buffer.get(), std::exchange(file.filled, 0)) ||
        std::fflush(file.stream.get()) != 0 || !cut_old_end(file))
        fail_in_file(log, file.name, file.tag);
}

void close_output(std::FILE* log, output_file& file)
{
    flush_output(log, file);
    if (std::fclose(file.stream.release()) != 0) fail_in_file(log, file.name, file.tag);
    file.buffer.reset();
}

} // namespace tarnel
