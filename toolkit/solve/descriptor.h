// Owner of a file descriptor.
#pragma once

#include <unistd.h>
#include <utility>

class owned_descriptor
{
public:
    owned_descriptor() = default;
    explicit owned_descriptor(int descriptor) : descriptor_(descriptor) {}
    owned_descriptor(owned_descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    owned_descriptor& operator=(owned_descriptor&& other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~owned_descriptor()
    {
        if (descriptor_ >= 0) close(descriptor_);
    }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

private:
    int descriptor_ = -1;
};
