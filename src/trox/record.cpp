#include "trox/record.h"

#include "detail/big_endian.h"
#include "event_util.h"
#include "generic/host_order.h"
#include "generic/image_shape.h"
#include "trox/decoded.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace trox
{

namespace
{

using old_head = trox_serv_block_subhead;
using new_head = trox_serv_block_subhead_2010;

/// Calls with the sub-head in the layout of its generation.
template <class Call> auto with_head(const detail::decoded_record& decoded, Call call)
{
    return decoded.format == generation::legacy ? call(*static_cast<const old_head*>(decoded.block))
                                                : call(*static_cast<const new_head*>(decoded.block));
}

struct payload_bytes {
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    int type = 0; ///< block type without the mark of a cut block
};

payload_bytes payload_of(const detail::decoded_record& decoded)
{
    constexpr int type_mask = 0xFFFF;
    return with_head(decoded, [](const auto& head) {
        const std::size_t size = head.ldata < 0 ? 0 : static_cast<std::size_t>(head.ldata);
        return payload_bytes{reinterpret_cast<const unsigned char*>(&head + 1),
                             size > sizeof head ? size - sizeof head : 0, head.dtype & type_mask};
    });
}

/// Types 1, 4 and 5 of the old generation are delivered as 1, those of the others as 33.
bool is_update(const detail::decoded_record& decoded, int type)
{
    return type == (decoded.format == generation::legacy ? TROX_UPD_BLOCK : TROX_UPD_BLOCK_2010);
}

bool is_region(int type)
{
    return type == TROX_BLOCK_IMG_ROI1 || type == TROX_BLOCK_IMG_ROI2 || type == TROX_BLOCK_IMG_ROI3;
}

time_point time_of(const time_stamp& stamp)
{
    return time_point(std::chrono::seconds(stamp.timeup) + microseconds(stamp.timelow));
}

template <std::size_t N> std::string_view text_in(const char (&field)[N])
{
    return {field, trox_detail::text_length(field)};
}

/// Axis and samples of a member, as the event utility library gives them.
struct member_samples {
    const float* data = nullptr;
    float start = 0;
    float increment = 0;
    int length = 0;
    int groups = 1;
    float group_increment = 0;
    trox_spect_statistics_2010* statistics = nullptr;
};

bool load_member(const old_head& head, int member, member_samples& samples)
{
    samples.data = get_pointer_to_data_2009(&head, member);
    return samples.data != nullptr && get_spect_params_for_data_type_2009(&head, &samples.start, &samples.increment,
                                                                          nullptr, &samples.length, member) == 0;
}

bool load_member(const new_head& head, int member, member_samples& samples)
{
    samples.data = get_pointer_to_data_2010(&head, member);
    return samples.data != nullptr && get_spect_params_for_data_type_2010(
                                          &head, &samples.start, &samples.increment, nullptr, &samples.length,
                                          &samples.groups, &samples.group_increment, &samples.statistics, member) == 0;
}

/// Samples of the first member of a record that has some; 0 for others.
std::size_t samples_of(const detail::decoded_record& decoded)
{
    member_samples samples;
    const bool has = with_head(decoded, [&](const auto& head) { return load_member(head, 0, samples); });
    return has ? static_cast<std::size_t>(std::max(samples.length, 0)) *
                     static_cast<std::size_t>(std::max(samples.groups, 1))
               : 0;
}

/// Payload types that hold no samples, though the event utility library may count members for them.
bool has_samples(int type)
{
    switch (type) {
    case TROX_BLOCK_IMAGE:
    case TROX_BLOCK_IMAGE_EXT:
    case TROX_BLOCK_NAME_VALUE:
    case TROX_BLOCK_EQDATA:
        return false;
    default:
        return true;
    }
}

} // namespace

std::uint32_t image_view::value(std::size_t i) const noexcept
{
    const std::size_t size = bytes_per_pixel;
    if (size == 0 || i >= pixels.size() / size) {
        return 0;
    }
    std::uint32_t result = 0;
    for (std::size_t byte = 0; byte < size; ++byte) {
        result = result << 8 | std::to_integer<std::uint32_t>(pixels[i * size + byte]);
    }
    return result;
}

/// An empty record answers from one without a payload.
const detail::decoded_record& record::contents() const noexcept
{
    static const new_head no_head{};
    static const detail::decoded_record none{&no_head};
    return record_ == nullptr ? none : *record_;
}

channel_kind record::kind() const noexcept
{
    const int type = payload_of(contents()).type;
    if (is_update(contents(), type)) {
        return channel_kind::slow;
    }
    if (type == TROX_BLOCK_IMAGE || type == TROX_BLOCK_IMAGE_EXT) {
        return channel_kind::image;
    }
    if (type == TROX_BLOCK_NAME_VALUE) {
        return channel_kind::name_value;
    }
    if (type == TROX_BLOCK_EQDATA) {
        return channel_kind::control_value;
    }
    const std::size_t samples = samples_of(contents());
    if (samples == 0) {
        return channel_kind::unknown;
    }
    return is_region(type) ? channel_kind::region_of_interest
           : samples > 1   ? channel_kind::trace
                           : channel_kind::single_values;
}

std::uint64_t record::event_number() const noexcept
{
    return contents().number;
}

time_point record::time() const noexcept
{
    return contents().time;
}

int record::event_type() const noexcept
{
    return contents().event_type;
}

std::string_view record::server() const noexcept
{
    return contents().server;
}

std::uint32_t record::server_status() const noexcept
{
    return contents().server_status;
}

std::uint32_t record::errors() const noexcept
{
    const auto bits = with_head(contents(), [](const auto& head) { return static_cast<std::uint32_t>(head.error); });
    return bits & ~static_cast<std::uint32_t>(TROX_CHAN_ZIP_FLAG);
}

std::string_view record::stored_name() const noexcept
{
    return with_head(contents(), [](const auto& head) { return text_in(head.chname); });
}

int record::block_type() const noexcept
{
    return payload_of(contents()).type;
}

generation record::format() const noexcept
{
    return contents().format;
}

array_view<const std::byte> record::payload() const noexcept
{
    const payload_bytes bytes = payload_of(contents());
    return {reinterpret_cast<const std::byte*>(bytes.data), bytes.size};
}

std::string_view record::file() const noexcept
{
    return contents().file;
}

std::uint64_t record::offset() const noexcept
{
    return contents().offset;
}

std::size_t record::members() const noexcept
{
    const int type = payload_of(contents()).type;
    if (!has_samples(type) || is_update(contents(), type) || samples_of(contents()) == 0) {
        return 0;
    }
    return static_cast<std::size_t>(
        with_head(contents(), [](const auto& head) { return std::max(get_channel_number(head.dtype, &head), 0); }));
}

std::optional<trace_view> record::trace(std::size_t member, const sample_window& window) const
{
    if (member >= members()) {
        return std::nullopt;
    }
    member_samples samples;
    const auto index = static_cast<int>(member);
    if (!with_head(contents(), [&](const auto& head) { return load_member(head, index, samples); }) ||
        samples.length < 0) {
        return std::nullopt;
    }
    trace_view view;
    const char* name = with_head(contents(), [&](const auto& head) { return get_chan_name(head.dtype, index); });
    view.name = name == nullptr ? std::string_view() : std::string_view(name);
    view.group_size = static_cast<std::size_t>(samples.length);
    view.groups = static_cast<std::size_t>(std::max(samples.groups, 1));
    view.start = static_cast<double>(samples.start);
    view.increment = static_cast<double>(samples.increment);
    view.group_increment = static_cast<double>(samples.group_increment);
    if (samples.statistics != nullptr) {
        view.statistics =
            statistics_view{samples.statistics->mask, {samples.statistics->val, std::size(samples.statistics->val)}};
    }
    const std::size_t total = view.group_size * view.groups;
    if (window.first == 0 && window.count >= total && window.step <= 1) {
        view.samples = {samples.data, total};
        return view;
    }
    const std::size_t step = std::max<std::size_t>(window.step, 1);
    const std::size_t first = std::min(window.first, total);
    const std::size_t there = first == total ? 0 : (total - first - 1) / step + 1;
    const std::size_t count = std::min(window.count, there);
    view.samples = {samples.data + first, count, step};
    if (view.group_size != 0) {
        view.start += static_cast<double>(first / view.group_size) * view.group_increment +
                      static_cast<double>(first % view.group_size) * view.increment;
    }
    view.increment *= static_cast<double>(step);
    view.group_size = count;
    view.groups = 1;
    return view;
}

std::optional<region> record::region_of_interest() const
{
    const payload_bytes bytes = payload_of(contents());
    if (!is_region(bytes.type) || bytes.size < sizeof(trox_roi_head)) {
        return std::nullopt;
    }
    const auto head = trox_detail::load_record<trox_roi_head>(bytes.data);
    return region{head.x, head.y, head.width, head.height};
}

std::optional<image_view> record::image() const
{
    const payload_bytes bytes = payload_of(contents());
    trox_detail::image_shape shape;
    const bool is_extended = bytes.type == TROX_BLOCK_IMAGE_EXT;
    if ((bytes.type != TROX_BLOCK_IMAGE && !is_extended) ||
        !trox_detail::load_shape(bytes.data, bytes.size, is_extended, shape) || shape.nx < 0 || shape.ny < 0 ||
        shape.bpp < 1 || shape.bpp > static_cast<int>(sizeof(std::uint32_t)) || shape.length < 0) {
        return std::nullopt;
    }
    const auto size = static_cast<std::uint64_t>(shape.nx) * static_cast<std::uint64_t>(shape.ny) *
                      static_cast<std::uint64_t>(shape.bpp);
    if (static_cast<std::uint64_t>(shape.length) > bytes.size - shape.head_size ||
        size > static_cast<std::uint64_t>(shape.length)) {
        return std::nullopt;
    }
    image_view view;
    view.width = static_cast<std::uint32_t>(shape.nx);
    view.height = static_cast<std::uint32_t>(shape.ny);
    view.bytes_per_pixel = static_cast<std::uint32_t>(shape.bpp);
    view.frame = static_cast<std::uint32_t>(shape.frame);
    view.x = shape.xstart;
    view.y = shape.ystart;
    view.pixels = {reinterpret_cast<const std::byte*>(bytes.data + shape.head_size), static_cast<std::size_t>(size)};
    return view;
}

std::optional<name_value_list> record::values() const
{
    constexpr std::size_t head = offsetof(trox_name_value_block, values);
    const payload_bytes bytes = payload_of(contents());
    if (bytes.type != TROX_BLOCK_NAME_VALUE || bytes.size < head) {
        return std::nullopt;
    }
    const auto* block = reinterpret_cast<const trox_name_value_block*>(bytes.data);
    if (block->ndata < 0 ||
        static_cast<std::size_t>(block->ndata) > (bytes.size - head) / sizeof(trox_name_value_channel)) {
        return std::nullopt;
    }
    name_value_list list{block->id, text_in(block->comment), {}};
    const trox_name_value_channel* entries = block->values;
    for (std::int32_t i = 0; i < block->ndata; ++i) {
        list.entries.push_back({text_in(entries[i].name), entries[i].value});
    }
    return list;
}

std::optional<slow_value> record::slow() const
{
    const payload_bytes bytes = payload_of(contents());
    const auto load = [&](auto block) -> std::optional<slow_value> {
        if (!is_update(contents(), bytes.type) || bytes.size < sizeof block) {
            return std::nullopt;
        }
        std::memcpy(&block, bytes.data, sizeof block);
        return slow_value{block.upd_ch_data, block.upd_ch_status, time_of(block.upd_ch_time)};
    };
    return contents().format == generation::legacy ? load(trox_upd_data_block()) : load(trox_upd_data_block_2010());
}

std::optional<control_value> record::control() const
{
    const payload_bytes bytes = payload_of(contents());
    if (bytes.type != TROX_BLOCK_EQDATA || bytes.size < sizeof(trox_eqdata_head)) {
        return std::nullopt;
    }
    const auto head = trox_detail::load_record<trox_eqdata_head>(bytes.data);
    const unsigned char* data = bytes.data + sizeof head;
    const std::size_t room = bytes.size - sizeof head;
    const std::size_t length = head.length < 0 ? 0 : static_cast<std::size_t>(head.length);
    control_value value;
    value.type = head.type;
    value.status = head.status;
    value.time = time_of(head.time);
    if (head.type == DATA_STRING) {
        if (length > room) {
            return std::nullopt;
        }
        value.text = std::string_view(reinterpret_cast<const char*>(data),
                                      ::strnlen(reinterpret_cast<const char*>(data), length));
    } else if (head.type == DATA_FLOAT || head.type == DATA_A_FLOAT || head.type == DATA_INT ||
               head.type == DATA_A_INT) {
        if (length > room / sizeof(float)) {
            return std::nullopt;
        }
        if (head.type == DATA_FLOAT || head.type == DATA_A_FLOAT) {
            value.floats = {reinterpret_cast<const float*>(data), length};
        } else {
            value.integers = {reinterpret_cast<const std::int32_t*>(data), length};
        }
    }
    return value;
}

std::optional<double> record::number() const
{
    if (const auto value = slow()) {
        return static_cast<double>(value->value);
    }
    if (const auto value = control()) {
        if (value->floats.size() == 1) {
            return static_cast<double>(value->floats[0]);
        }
        return value->integers.size() == 1 ? std::optional<double>(value->integers[0]) : std::nullopt;
    }
    if (members() == 1) {
        const auto view = trace();
        if (view && view->samples.size() == 1) {
            return static_cast<double>(view->samples[0]);
        }
    }
    return std::nullopt;
}

} // namespace trox
