// Payloads of the block types, in host order.
#include "trox_writer.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace trox::writer
{
namespace
{

constexpr std::size_t max_payload = std::numeric_limits<std::int32_t>::max();

template <class Record> void append(payload& to, const Record& record)
{
    const auto* first = reinterpret_cast<const unsigned char*>(&record);
    to.bytes.insert(to.bytes.end(), first, first + sizeof record);
}

void append_bytes(payload& to, const void* data, std::size_t size)
{
    const auto* first = static_cast<const unsigned char*>(data);
    if (size > 0) {
        to.bytes.insert(to.bytes.end(), first, first + size);
    }
}

void check_length(std::size_t size, const char* what)
{
    if (size > max_payload) {
        throw error(fault::too_large, std::string(what) + ": more bytes than a record can hold");
    }
}

template <std::size_t Width> void copy_text(char (&field)[Width], const std::string& text, const char* what)
{
    if (text.size() >= Width) {
        throw error(fault::bad_name, std::string(what) + " \"" + text + "\" is longer than " +
                                         std::to_string(Width - 1) + " characters");
    }
    std::copy(text.begin(), text.end(), field);
}

std::int32_t samples_per_group(std::size_t values, const spectrum_head& head)
{
    if (head.members < 1 || head.groups < 0) {
        throw error(fault::bad_value, "a spectrum has at least one member, and no negative number of groups");
    }
    const auto groups = static_cast<std::size_t>(std::max(head.groups, 1));
    const auto parts = static_cast<std::size_t>(head.members) * groups;
    if (values % parts != 0) {
        throw error(fault::bad_value, std::to_string(values) + " values of a spectrum cannot be divided among " +
                                          std::to_string(head.members) + " members of " + std::to_string(groups) +
                                          " groups");
    }
    check_length(values > max_payload / sizeof(float) ? max_payload + 1 : values * sizeof(float), "a spectrum");
    return static_cast<std::int32_t>(values / parts);
}

void append_legacy_head(payload& to, const spectrum_head& head, std::int32_t samples)
{
    if (head.groups > 1 || head.group_inc != 0 || head.code != 0 || !head.statistics.empty()) {
        throw error(fault::unsupported, "legacy spectra have no groups, code and statistics");
    }
    append(to, trox_spect_head{head.members, samples, head.start, head.inc});
}

void append_head(payload& to, const spectrum_head& head, std::int32_t samples)
{
    if (!head.statistics.empty() && head.statistics.size() != static_cast<std::size_t>(head.members)) {
        throw error(fault::bad_value, "a spectrum has statistics for every member or for none");
    }
    const std::uint32_t flags = head.statistics.empty() ? 0 : 1;
    append(to, trox_spect_head_2010{head.members, samples, head.groups, head.code, head.start, head.inc, head.group_inc,
                                    flags});
    for (const auto& statistics : head.statistics) {
        append(to, statistics);
    }
}

void append_spectrum(payload& to, generation format, const std::vector<float>& values, const spectrum_head& head)
{
    const auto samples = samples_per_group(values.size(), head);
    if (format == generation::legacy) {
        append_legacy_head(to, head, samples);
    } else {
        append_head(to, head, samples);
    }
    append_bytes(to, values.data(), values.size() * sizeof(float));
}

template <class Head> payload image(std::int32_t dtype, Head head, bytes_view pixels)
{
    check_length(pixels.size(), "an image");
    head.length = static_cast<std::int32_t>(pixels.size());
    payload result{dtype, {}};
    result.bytes.reserve(sizeof head + pixels.size());
    append(result, head);
    append_bytes(result, pixels.data(), pixels.size());
    return result;
}

template <class Block>
payload slow_value(std::int32_t dtype, const std::string& name, float value, time_stamp time, std::int32_t status)
{
    Block block{};
    copy_text(block.upd_prop, name, "the name of a slow value");
    block.upd_ch_status = status;
    block.upd_ch_time = time;
    block.upd_ch_data = value;
    payload result{dtype, {}};
    append(result, block);
    return result;
}

payload slow_value(generation format, std::int32_t legacy_type, std::int32_t type, const std::string& name, float value,
                   time_stamp time, std::int32_t status)
{
    return format == generation::legacy ? slow_value<trox_upd_data_block>(legacy_type, name, value, time, status)
                                        : slow_value<trox_upd_data_block_2010>(type, name, value, time, status);
}

template <class Element>
payload control_elements(std::int32_t type, const Element* elements, std::size_t count, time_stamp time,
                         std::int32_t status)
{
    check_length(count > max_payload / sizeof(Element) ? max_payload + 1 : count * sizeof(Element),
                 "a control-system value");
    return control_payload(type, static_cast<std::int32_t>(count), {elements, count * sizeof(Element)}, time, status);
}

} // namespace

payload spectrum_payload(generation format, std::int32_t dtype, const std::vector<float>& values,
                         const spectrum_head& head)
{
    payload result{dtype, {}};
    append_spectrum(result, format, values, head);
    return result;
}

payload region_payload(generation format, std::int32_t dtype, const trox_roi_head& region,
                       const std::vector<float>& values, const spectrum_head& head)
{
    if (dtype < TROX_BLOCK_IMG_ROI1 || dtype > TROX_BLOCK_IMG_ROI3) {
        throw error(fault::bad_value, "block type " + std::to_string(dtype) + " is no region of interest");
    }
    payload result{dtype, {}};
    append(result, region);
    append_spectrum(result, format, values, head);
    return result;
}

payload image_payload(trox_image_frame_head head, bytes_view pixels)
{
    return image(TROX_BLOCK_IMAGE, head, pixels);
}

payload image_payload(trox_image_ext_frame_head head, bytes_view pixels)
{
    return image(TROX_BLOCK_IMAGE_EXT, head, pixels);
}

payload name_value_payload(std::int32_t id, const std::string& comment,
                           const std::vector<std::pair<std::string, float>>& values)
{
    check_length(values.size() > max_payload / sizeof(trox_name_value_channel) ? max_payload + 1 : 0,
                 "a list of named values");
    trox_name_value_block block{};
    block.id = id;
    copy_text(block.comment, comment, "the comment of a list of named values");
    block.ndata = static_cast<std::int32_t>(values.size());
    payload result{TROX_BLOCK_NAME_VALUE, {}};
    append_bytes(result, &block, offsetof(trox_name_value_block, values));
    for (const auto& [name, value] : values) {
        trox_name_value_channel entry{};
        copy_text(entry.name, name, "the name of a value");
        entry.value = value;
        append(result, entry);
    }
    return result;
}

payload control_payload(std::int32_t type, std::int32_t length, bytes_view elements, time_stamp time,
                        std::int32_t status)
{
    payload result{TROX_BLOCK_EQDATA, {}};
    append(result, trox_eqdata_head{type, status, time, length});
    append_bytes(result, elements.data(), elements.size());
    return result;
}

payload control_payload(std::int32_t value, time_stamp time, std::int32_t status)
{
    return control_elements(DATA_INT, &value, 1, time, status);
}

payload control_payload(float value, time_stamp time, std::int32_t status)
{
    return control_elements(DATA_FLOAT, &value, 1, time, status);
}

payload control_payload(const std::vector<std::int32_t>& values, time_stamp time, std::int32_t status)
{
    return control_elements(DATA_A_INT, values.data(), values.size(), time, status);
}

payload control_payload(const std::vector<float>& values, time_stamp time, std::int32_t status)
{
    return control_elements(DATA_A_FLOAT, values.data(), values.size(), time, status);
}

payload control_payload(const std::string& text, time_stamp time, std::int32_t status)
{
    return control_elements(DATA_STRING, text.data(), text.size(), time, status);
}

payload update_payload(generation format, const std::string& name, float value, time_stamp time, std::int32_t status)
{
    return slow_value(format, TROX_UPD_BLOCK, TROX_UPD_BLOCK_2010, name, value, time, status);
}

payload begin_of_run_payload(generation format, const std::string& name, float value, time_stamp time,
                             std::int32_t status)
{
    return slow_value(format, TROX_BOR_BLOCK, TROX_BOR_BLOCK_2010, name, value, time, status);
}

payload end_of_run_payload(generation format, const std::string& name, float value, time_stamp time,
                           std::int32_t status)
{
    return slow_value(format, TROX_EOR_BLOCK, TROX_EOR_BLOCK_2010, name, value, time, status);
}

payload environment_payload(std::int32_t index, float value, time_stamp time, std::int32_t status)
{
    payload result{TROX_ENV_BLOCK, {}};
    append(result, trox_env_data_block{index, status, time, value});
    return result;
}

} // namespace trox::writer
