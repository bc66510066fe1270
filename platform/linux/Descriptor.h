#pragma once

#include <utility>

#include <unistd.h>

namespace lanterna
{

/// Owns a file descriptor, or none. For one owner at a time, on any thread.
class Descriptor
{
public:
    Descriptor() = default;
    /// Takes what a system call returned; a negative number is none.
    explicit Descriptor(int number) : m_number(number) { }
    Descriptor(Descriptor &&other) noexcept : m_number(std::exchange(other.m_number, -1)) { }
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(m_number, other.m_number);
        other.reset();
        return *this;
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() { reset(); }

    [[nodiscard]] int get() const { return m_number; }
    explicit operator bool() const { return m_number >= 0; }

    /// Closes now; errno stays what it was.
    void reset();

private:
    int m_number = -1;
};

} // namespace lanterna
