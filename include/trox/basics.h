// Views of memory, times, and the vocabulary of channels: what the other headers speak of.
#ifndef TROX_TROX_BASICS_H
#define TROX_TROX_BASICS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#pragma GCC visibility push(default)

namespace trox
{

/// Borrowed elements that lie one behind the other. Converts to std::span by itself.
template <class T> class array_view
{
public:
    using value_type = std::remove_cv_t<T>;

    constexpr array_view() = default;
    constexpr array_view(T* data, std::size_t size) : data_(data), size_(size) {}

    constexpr T* data() const noexcept
    {
        return data_;
    }
    constexpr std::size_t size() const noexcept
    {
        return size_;
    }
    constexpr bool empty() const noexcept
    {
        return size_ == 0;
    }
    constexpr T& operator[](std::size_t i) const
    {
        return data_[i];
    }
    constexpr T* begin() const noexcept
    {
        return data_;
    }
    constexpr T* end() const noexcept
    {
        return data_ + size_;
    }

private:
    T* data_ = nullptr;
    std::size_t size_ = 0;
};

/// Which samples of an array: `first`, `first + step`, ..., `count` of them at most.
struct sample_window {
    std::size_t first = 0;
    std::size_t count = static_cast<std::size_t>(-1);
    std::size_t step = 1; ///< 0 is taken for 1
};

/// Borrowed samples, every `stride`-th of an array. Random access.
class sample_view
{
public:
    class iterator
    {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = float;
        using difference_type = std::ptrdiff_t;
        using pointer = const float*;
        using reference = const float&;

        iterator() = default;
        iterator(const float* data, std::size_t stride, std::size_t at) : data_(data), stride_(stride), at_(at) {}
        reference operator*() const
        {
            return data_[at_ * stride_];
        }
        reference operator[](difference_type n) const
        {
            return *(*this + n);
        }
        iterator& operator++()
        {
            ++at_;
            return *this;
        }
        iterator operator++(int)
        {
            return {data_, stride_, at_++};
        }
        iterator& operator--()
        {
            --at_;
            return *this;
        }
        iterator operator--(int)
        {
            return {data_, stride_, at_--};
        }
        iterator& operator+=(difference_type n)
        {
            at_ += static_cast<std::size_t>(n);
            return *this;
        }
        iterator& operator-=(difference_type n)
        {
            at_ -= static_cast<std::size_t>(n);
            return *this;
        }
        friend iterator operator+(iterator it, difference_type n)
        {
            return it += n;
        }
        friend iterator operator+(difference_type n, iterator it)
        {
            return it += n;
        }
        friend iterator operator-(iterator it, difference_type n)
        {
            return it -= n;
        }
        friend difference_type operator-(iterator a, iterator b)
        {
            return static_cast<difference_type>(a.at_) - static_cast<difference_type>(b.at_);
        }
        friend bool operator==(iterator a, iterator b)
        {
            return a.at_ == b.at_;
        }
        friend bool operator!=(iterator a, iterator b)
        {
            return a.at_ != b.at_;
        }
        friend bool operator<(iterator a, iterator b)
        {
            return a.at_ < b.at_;
        }
        friend bool operator>(iterator a, iterator b)
        {
            return b < a;
        }
        friend bool operator<=(iterator a, iterator b)
        {
            return !(b < a);
        }
        friend bool operator>=(iterator a, iterator b)
        {
            return !(a < b);
        }

    private:
        const float* data_ = nullptr;
        std::size_t stride_ = 1;
        std::size_t at_ = 0;
    };

    sample_view() = default;
    sample_view(const float* data, std::size_t size, std::size_t stride = 1) : data_(data), size_(size), stride_(stride)
    {
    }
    const float* data() const noexcept
    {
        return data_;
    }
    std::size_t size() const noexcept
    {
        return size_;
    }
    std::size_t stride() const noexcept
    {
        return stride_;
    }
    bool empty() const noexcept
    {
        return size_ == 0;
    }
    /// True when the samples lie one behind the other: [data(), data() + size()).
    bool is_contiguous() const noexcept
    {
        return stride_ == 1;
    }
    const float& operator[](std::size_t i) const
    {
        return data_[i * stride_];
    }
    iterator begin() const
    {
        return {data_, stride_, 0};
    }
    iterator end() const
    {
        return {data_, stride_, size_};
    }

private:
    const float* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t stride_ = 1;
};

/// Microseconds, and a point in time in UTC: microseconds since 1970-01-01 00:00:00.
using microseconds = std::chrono::microseconds;
using time_point = std::chrono::time_point<std::chrono::system_clock, microseconds>;

/// ISO 8601 in UTC, "2012-06-14T09:30:00.250123Z".
std::string to_text(time_point time);
/// Reads ISO 8601 (date alone, or with a time; with "Z", an offset, or nothing for UTC), "20120614T093000[.digits]" or
/// seconds since 1970 ("@1339666200.25"). Throws error (wrong_use).
time_point time_from_text(std::string_view text);

/// File generations; the value is the number in the file's head.
enum class generation : std::uint32_t { legacy = 2009, v2010 = 2010, v2024 = 2024 };
/// "legacy", "2010" or "2024".
const char* name_of(generation format) noexcept;

/// Event types 0 to 31 by name ("NORMAL", "IMAGE", "UPD", ...); "28" and the like for those without one.
std::string event_type_name(int type);

/// What the records of a channel hold.
enum class channel_kind {
    unknown,            ///< no record to tell by, or a block type without a layout
    trace,              ///< arrays of samples: one or several members with more than one sample
    single_values,      ///< one sample per member
    image,              ///< pixels
    region_of_interest, ///< arrays of samples cut out of an image
    name_value,         ///< a list of named numbers
    slow,               ///< a value that is recorded when it changes: updates, environment, begin and end of run
    control_value       ///< a value of the control system: number, text or array
};
/// "trace", "single values", "image", "region of interest", "name/value", "slow", "control value" or "unknown".
const char* name_of(channel_kind kind) noexcept;

/// How payloads are stored.
enum class compression { none, zlib, lzo };
/// "none", "zlib" or "lzo".
const char* name_of(compression stored) noexcept;

/// Insertions, removals, replacements and swaps of neighbours that lead from one text to the other, capital letters
/// aside.
std::size_t edit_distance(std::string_view a, std::string_view b);

} // namespace trox

#pragma GCC visibility pop

#endif
