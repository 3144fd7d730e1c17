// Arrays, named for their allocation message: of a size known before, zeros from calloc; of a size found while reading,
// growing by doubling. Pages that are never touched are never paid for, so an upper bound from a file's size costs
// nothing; large arrays ask for large pages, which come some hundred times less often.
#pragma once

#include "common/failure.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <type_traits>

namespace tarnel
{

struct free_array {
    void operator()(void* p) const { std::free(p); }
};

template <class T> using owned_array = std::unique_ptr<T[], free_array>;

inline constexpr std::size_t large_array_bytes = std::size_t{4} << 20U; // holds a page of 2 MiB wherever it starts

// Lets the system give an array of many pages large ones, if it likes.
void prefer_large_pages(void* array, std::size_t bytes);

// Lets the C library keep what one stage frees, large arrays apart, for the next: by itself it hands pages back to the
// system again and again, and a fresh page costs some two microseconds.
void keep_freed_memory();

// n zeros of T.
//   errors  "      Error. Can't allocate (name).\n"
template <class T> owned_array<T> zero_array(std::FILE* log, const char* name, std::size_t n)
{
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);
    void* zeros = std::calloc(n > 0 ? n : 1, sizeof(T));
    if (zeros == nullptr) fail(log, "      Error. Can't allocate (%s).\n", name);
    prefer_large_pages(zeros, n * sizeof(T));
    return owned_array<T>(static_cast<T*>(zeros));
}

// n places of T that hold nothing yet.
//   errors  "      Error. Can't allocate (name).\n"
template <class T> owned_array<T> empty_array(std::FILE* log, const char* name, std::size_t n)
{
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);
    void* places = n <= static_cast<std::size_t>(-1) / sizeof(T) ? std::malloc(n > 0 ? n * sizeof(T) : 1) : nullptr;
    if (places == nullptr) fail(log, "      Error. Can't allocate (%s).\n", name);
    prefer_large_pages(places, n * sizeof(T));
    return owned_array<T>(static_cast<T*>(places));
}

// An array that grows by doubling; places beyond its size hold nothing yet.
template <class T> struct growing_array {
    owned_array<T> values;
    std::size_t size = 0;
    std::size_t capacity = 0;
};

template <class T>
[[gnu::noinline]] void grow_array(std::FILE* log, const char* name, growing_array<T>& array, std::size_t n)
{
    std::size_t capacity = array.capacity < 8 ? 16 : 2 * array.capacity;
    if (capacity < n) capacity = n;
    if (capacity > static_cast<std::size_t>(-1) / sizeof(T)) fail(log, "      Error. Can't allocate (%s).\n", name);
    void* grown = std::realloc(array.values.get(), capacity * sizeof(T));
    if (grown == nullptr) fail(log, "      Error. Can't allocate (%s).\n", name);
    static_cast<void>(array.values.release());
    array.values.reset(static_cast<T*>(grown));
    prefer_large_pages(grown, capacity * sizeof(T));
    array.capacity = capacity;
}

// Makes room for n places in all.
//   errors  "      Error. Can't allocate (name).\n"
template <class T> void reserve(std::FILE* log, const char* name, growing_array<T>& array, std::size_t n)
{
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);
    if (n > array.capacity) grow_array(log, name, array, n);
}

// Appends one value.
//   errors  "      Error. Can't allocate (name).\n"
template <class T> void append(std::FILE* log, const char* name, growing_array<T>& array, const T& value)
{
    reserve(log, name, array, array.size + 1);
    array.values[array.size++] = value;
}

} // namespace tarnel
