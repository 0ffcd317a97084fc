#include "rows.h"

#include "base/utf8.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace trox_export
{

std::size_t size_of(element type) noexcept
{
    switch (type) {
    case element::u8:
        return 1;
    case element::u16:
        return 2;
    case element::u32:
    case element::i32:
    case element::f32:
        return 4;
    case element::u64:
    case element::f64:
    case element::time:
        return 8;
    case element::text:
        return 0;
    }
    return 0;
}

const char* name_of(element type) noexcept
{
    switch (type) {
    case element::u8:
        return "u8";
    case element::u16:
        return "u16";
    case element::u32:
        return "u32";
    case element::u64:
        return "u64";
    case element::i32:
        return "i32";
    case element::f32:
        return "f32";
    case element::f64:
        return "f64";
    case element::time:
        return "time";
    case element::text:
        return "text";
    }
    return "";
}

presence presence_of(const trox::record& record) noexcept
{
    if (!record) {
        return presence::missing;
    }
    return record.is_updated() ? presence::recorded : presence::carried;
}

/// Memory that lives until the next record; what earlier records needed is used again.
std::byte* row_maker::keep(std::size_t bytes)
{
    if (kept_count_ == kept_.size()) {
        kept_.emplace_back();
    }
    auto& place = kept_[kept_count_++];
    if (place.size() < bytes) {
        place.resize(bytes);
    }
    return place.data();
}

/// The text, or one in UTF-8 that lives until the next record.
std::string_view row_maker::valid(std::string_view text)
{
    if (trox_base::is_utf8(text)) {
        return text;
    }
    if (name_count_ == names_.size()) {
        names_.emplace_back();
    }
    return names_[name_count_++] = trox_base::valid_utf8(text);
}

template <class T> void row_maker::add_scalar(std::string_view name, element type, const T& value, role use)
{
    std::byte* place = keep(sizeof value);
    std::memcpy(place, &value, sizeof value);
    rows_.push_back({name, type, layout::scalar, use, {1, 1}, place, nullptr});
}

/// Borrows the values.
template <class T> void row_maker::add_list(std::string_view name, element type, const T* values, std::size_t count)
{
    rows_.push_back(
        {name, type, layout::vector, role::value, {1, count}, reinterpret_cast<const std::byte*>(values), nullptr});
}

/// The same with a copy of them.
template <class T, std::size_t N>
void row_maker::add_array(std::string_view name, element type, const std::array<T, N>& values)
{
    std::byte* place = keep(sizeof values);
    std::memcpy(place, values.data(), sizeof values);
    rows_.push_back({name, type, layout::vector, role::side, {1, N}, place, nullptr});
}

void row_maker::add_statistics(const trox::trace_view& view)
{
    const std::size_t count = view.statistics->values.size();
    std::byte* place = keep(count * sizeof(float));
    for (std::size_t i = 0; i < count; ++i) {
        const bool is_there = i < 32 && (view.statistics->mask >> i & 1U) != 0;
        const float value = is_there ? view.statistics->values[i] : std::numeric_limits<float>::quiet_NaN();
        std::memcpy(place + i * sizeof value, &value, sizeof value);
    }
    if (name_count_ == names_.size()) {
        names_.emplace_back();
    }
    std::string& name = names_[name_count_++];
    name = std::string(view.name) + ".statistics";
    rows_.push_back({name, element::f32, layout::vector, role::side, {1, count}, place, nullptr});
}

void row_maker::add_members(const trox::record& record)
{
    for (std::size_t member = 0; member < record.members(); ++member) {
        const auto view = record.trace(member);
        if (!view) {
            continue;
        }
        const std::size_t count = view->samples.size();
        if (member == 0) {
            add_scalar("length", element::u32, static_cast<std::uint32_t>(count));
            add_array("axis", element::f64,
                      std::array<double, 4>{view->start, view->increment, view->group_increment,
                                            static_cast<double>(view->groups)});
        }
        add_list(view->name, element::f32, view->samples.data(), count);
        if (view->statistics) {
            add_statistics(*view);
        }
    }
    if (const auto region = record.region_of_interest()) {
        add_array("region", element::i32,
                  std::array<std::int32_t, 4>{region->x, region->y, region->width, region->height});
    }
}

/// Pixels as numbers of type T.
template <class T> const std::byte* row_maker::pixels_as(const trox::image_view& image)
{
    const std::size_t count = image.pixel_count();
    std::byte* place = keep(count * sizeof(T));
    for (std::size_t i = 0; i < count; ++i) {
        const auto value = static_cast<T>(image.value(i));
        std::memcpy(place + i * sizeof value, &value, sizeof value);
    }
    return place;
}

void row_maker::add_image(const trox::image_view& image)
{
    add_array("shape", element::u32, std::array<std::uint32_t, 2>{image.height, image.width});
    row pixels{"image", element::u8, layout::matrix, role::value, {image.height, image.width}, nullptr, nullptr};
    if (image.bytes_per_pixel == 1) {
        pixels.data = image.pixels.data();
    } else if (image.bytes_per_pixel == 2) {
        pixels.type = element::u16;
        pixels.data = pixels_as<std::uint16_t>(image);
    } else {
        pixels.type = element::u32;
        pixels.data = pixels_as<std::uint32_t>(image);
    }
    rows_.push_back(pixels);
    add_scalar("frame", element::u32, image.frame);
    add_array("origin", element::i32, std::array<std::int32_t, 2>{image.x, image.y});
}

void row_maker::add_values(const trox::name_value_list& list)
{
    const std::size_t count = list.entries.size();
    add_scalar("length", element::u32, static_cast<std::uint32_t>(count));
    std::byte* place = keep(count * sizeof(float));
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(place + i * sizeof(float), &list.entries[i].value, sizeof(float));
        texts_.push_back(valid(list.entries[i].name));
    }
    rows_.push_back({"name", element::text, layout::vector, role::side, {1, count}, nullptr, texts_.data()});
    rows_.push_back({"value", element::f32, layout::vector, role::value, {1, count}, place, nullptr});
    add_scalar("id", element::i32, list.id);
    comment_ = valid(list.comment);
    rows_.push_back({"comment", element::text, layout::scalar, role::side, {1, 1}, nullptr, &comment_});
}

void row_maker::add_control(const trox::record& record, const trox::control_value& control)
{
    add_scalar("type", element::i32, control.type);
    add_scalar("status", element::i32, control.status);
    add_scalar("set_time", element::time, control.time.time_since_epoch().count());
    if (control.text) {
        add_scalar("length", element::u32, static_cast<std::uint32_t>(control.text->size()));
        text_ = valid(*control.text);
        rows_.push_back({"text", element::text, layout::scalar, role::value, {1, 1}, nullptr, &text_});
    } else if (!control.integers.empty()) {
        add_scalar("length", element::u32, static_cast<std::uint32_t>(control.integers.size()));
        add_list("integers", element::i32, control.integers.data(), control.integers.size());
    } else if (!control.floats.empty()) {
        add_scalar("length", element::u32, static_cast<std::uint32_t>(control.floats.size()));
        add_list("floats", element::f32, control.floats.data(), control.floats.size());
    } else {
        add_payload(record);
    }
}

void row_maker::add_payload(const trox::record& record)
{
    const auto payload = record.payload();
    add_scalar("length", element::u32, static_cast<std::uint32_t>(payload.size()));
    add_list("payload", element::u8, payload.data(), payload.size());
}

void row_maker::add_kind(const trox::record& record)
{
    if (const auto slow = record.slow()) {
        add_scalar("value", element::f32, slow->value, role::value);
        add_scalar("status", element::i32, slow->status);
        add_scalar("set_time", element::time, slow->time.time_since_epoch().count());
    } else if (const auto image = record.image()) {
        add_image(*image);
    } else if (const auto values = record.values()) {
        add_values(*values);
    } else if (const auto control = record.control()) {
        add_control(record, *control);
    } else if (record.members() != 0) {
        add_members(record);
    } else {
        add_payload(record);
    }
}

const std::vector<row>& row_maker::rows_of(const trox::record& record)
{
    rows_.clear();
    texts_.clear();
    kept_count_ = 0;
    name_count_ = 0;
    add_scalar("present", element::u8, static_cast<std::uint8_t>(presence_of(record)));
    if (record) {
        add_scalar("record_time", element::time, record.time().time_since_epoch().count());
        add_scalar("errors", element::u32, record.errors());
        add_kind(record);
    }
    return rows_;
}

} // namespace trox_export
