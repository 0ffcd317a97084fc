// One channel's record of one event, with typed access to its values.
#ifndef TROX_TROX_RECORD_H
#define TROX_TROX_RECORD_H

#include "basics.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

// Not exported: declared before the pragma.
namespace trox::detail
{
struct decoded_record;
}

#pragma GCC visibility push(default)

namespace trox
{

/// Statistics of one member of a trace: which of the values are there (bit per value), and the values.
struct statistics_view {
    std::uint32_t mask = 0;
    array_view<const float> values{};
};

/// One member of a trace: the value of sample i of group g is samples[g * group_size + i], and stands at
/// start + g * group_increment + i * increment on the channel's axis. A window counts samples through all groups, and
/// leaves one group; start and increment are those of its samples.
struct trace_view {
    std::string_view name{};
    sample_view samples{};
    std::size_t group_size = 0; ///< samples of one group
    std::size_t groups = 0;     ///< at least 1
    double start = 0;
    double increment = 0;
    double group_increment = 0;
    std::optional<statistics_view> statistics{};
};

/// Where a region of interest lies in its image, in pixels.
struct region {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// An image as the camera sent it: row by row, `bytes_per_pixel` bytes a pixel, the most significant one first.
struct image_view {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t bytes_per_pixel = 0;
    std::uint32_t frame = 0; ///< number of the frame
    std::int32_t x = 0;      ///< place of the first pixel on the camera's chip
    std::int32_t y = 0;
    array_view<const std::byte> pixels{};

    std::size_t pixel_count() const noexcept
    {
        return std::size_t{width} * height;
    }
    /// Value of pixel `i`, counted row by row; 0 behind the pixels.
    std::uint32_t value(std::size_t i) const noexcept;
};

/// One entry of a name/value list.
struct name_value {
    std::string_view name{};
    float value = 0;
};
struct name_value_list {
    std::int32_t id = 0;
    std::string_view comment{};
    std::vector<name_value> entries{};
};

/// A slow value: the value, its status, and when it was set.
struct slow_value {
    float value = 0;
    std::int32_t status = 0;
    time_point time{};
};

/// A value of the control system. According to `type` (an OrvelDataTypeId) one of the three is filled.
struct control_value {
    std::int32_t type = 0;
    std::int32_t status = 0;
    time_point time{};
    std::optional<std::string_view> text{};
    array_view<const float> floats{};
    array_view<const std::int32_t> integers{};
};

/// One channel's record of one event. A handle: copies are cheap, and each keeps the record's memory (and that of
/// records decoded together with it) alive, so views taken from it live as long as any copy of it. Const operations
/// may be called by any number of threads. Operations that find another kind of values, or a payload that is shorter
/// than its head announces, answer none.
class record
{
public:
    record() = default;

    /// Whether there is a record at all. Without one everything below answers zero, an empty text, or none.
    explicit operator bool() const noexcept
    {
        return record_ != nullptr;
    }
    /// Position of the channel in the selection.
    std::size_t channel() const noexcept
    {
        return channel_;
    }
    /// False for a slow value that an earlier event brought.
    bool is_updated() const noexcept
    {
        return updated_;
    }
    channel_kind kind() const noexcept;
    std::uint64_t event_number() const noexcept; ///< of the record's own event header
    time_point time() const noexcept;
    int event_type() const noexcept;
    std::string_view server() const noexcept;     ///< name of the server block
    std::uint32_t server_status() const noexcept; ///< TROX_SBLOCK_ERROR bits of the server block
    std::uint32_t errors() const noexcept; ///< TROX_SBLOCK_ERROR bits of the record, without the mark of compression
    std::string_view stored_name() const noexcept; ///< the channel's name as the record has it, may be cut
    int block_type() const noexcept;
    generation format() const noexcept;
    /// The payload in host order.
    array_view<const std::byte> payload() const noexcept;
    /// Path of the file, and position of the record's sub-head in it.
    std::string_view file() const noexcept;
    std::uint64_t offset() const noexcept;

    /// Number of members of a trace, or of single values; 0 for other kinds.
    std::size_t members() const noexcept;
    /// A member; a window limits its samples, and a step of 0 is taken for 1. Regions of interest have members as well.
    /// Nothing for a record without samples, or without all that it announces: what is there has at least one sample,
    /// unless the window leaves none.
    std::optional<trace_view> trace(std::size_t member = 0, const sample_window& window = {}) const;
    std::optional<region> region_of_interest() const;
    std::optional<image_view> image() const;
    std::optional<name_value_list> values() const;
    std::optional<slow_value> slow() const;
    std::optional<control_value> control() const;
    /// The single number of a slow value, a control value of one number, or a trace of one sample.
    std::optional<double> number() const;

    /// For this library's own use.
    record(std::shared_ptr<const detail::decoded_record> decoded, std::size_t channel, bool updated)
        : record_(std::move(decoded)), channel_(channel), updated_(updated)
    {
    }

private:
    const detail::decoded_record& contents() const noexcept;

    std::shared_ptr<const detail::decoded_record> record_;
    std::size_t channel_ = 0;
    bool updated_ = false;
};

} // namespace trox

#pragma GCC visibility pop

#endif
