// Access to the data of spectra, traces and control-system values, and cutting a block to one member.
#include "spectrum.h"

#include "event_util.h"
#include "platform_calls.h"

#include <cstdio>
#include <cstring>

namespace trox_evutl
{

namespace
{

/// Offset of a control-system value's first element in its payload, when all announced elements are there.
template <class Layout> std::optional<std::size_t> measure_equipment(const block_view<Layout>& block) noexcept
{
    if (block.payload_size < sizeof(trox_eqdata_head)) {
        return std::nullopt;
    }
    const auto head = trox_detail::load_record<trox_eqdata_head>(block.payload());
    const bool of_bytes = head.type == DATA_STRING || head.type == DATA_IMAGE;
    const std::size_t room = (block.payload_size - sizeof head) / (of_bytes ? 1 : sizeof(float));
    if (head.length < 0 || static_cast<std::size_t>(head.length) > room) {
        return std::nullopt;
    }
    return sizeof head;
}

template <class Layout> float* pointer_to_data(const typename Layout::subhead* subhead, int member) noexcept
{
    if (subhead == nullptr || member < 0) {
        return nullptr;
    }
    const block_view<Layout> block(subhead);
    std::optional<std::size_t> offset;
    if (layout_of(block.dtype()) == payload_layout::equipment) {
        if (member == 0) {
            offset = measure_equipment(block);
        }
    } else if (const auto shape = measure_spectrum(block); shape && static_cast<std::size_t>(member) < shape->members) {
        offset = shape->member_offset(static_cast<std::size_t>(member));
    }
    if (!offset) {
        return nullptr;
    }
    return const_cast<float*>(reinterpret_cast<const float*>(block.payload() + *offset));
}

/// Stores through an output that the caller may have left out. Outputs may be any variable of the caller, so
/// they are aligned.
template <class Value> void store(Value* output, Value value) noexcept
{
    if (output != nullptr) {
        *output = value;
    }
}

template <class Layout>
std::optional<spectrum_shape<Layout>> shape_with_member(const typename Layout::subhead* subhead, int member) noexcept
{
    if (subhead == nullptr || member < 0) {
        return std::nullopt;
    }
    auto shape = measure_spectrum(block_view<Layout>(subhead));
    if (shape && static_cast<std::size_t>(member) >= shape->members) {
        shape.reset();
    }
    return shape;
}

template <class Layout> unsigned char* mutable_payload(const typename Layout::subhead* subhead) noexcept
{
    return const_cast<unsigned char*>(block_view<Layout>(subhead).payload());
}

/// Which samples of each group are kept, brought into the range that exists: a negative start is the first
/// sample, an increment below 1 is 1, a length below 1 is all that follow.
struct sample_window {
    std::size_t start;
    std::size_t step;
    std::size_t count;

    sample_window(const trox_chan_prms* wanted, std::size_t samples) noexcept : start(0), step(1), count(samples)
    {
        if (wanted == nullptr) {
            return;
        }
        start = std::min(static_cast<std::size_t>(std::max(wanted->start, 0)), samples);
        step = static_cast<std::size_t>(std::max(wanted->inc, 1));
        count = (samples - start + step - 1) / step;
        if (wanted->length > 0) {
            count = std::min(count, static_cast<std::size_t>(wanted->length));
        }
    }
};

template <class Head> void adjust_axis(Head& head, const sample_window& window) noexcept
{
    head.start = static_cast<float>(double{head.start} + static_cast<double>(window.start) * double{head.inc});
    head.inc = static_cast<float>(static_cast<double>(window.step) * double{head.inc});
    head.nsamp = static_cast<std::int32_t>(window.count);
}

/// Copies the windowed samples of one member, group by group; gives the end of what was written.
unsigned char* copy_samples(const unsigned char* source, unsigned char* destination, std::size_t groups,
                            std::size_t samples, const sample_window& window) noexcept
{
    constexpr std::size_t width = sizeof(float);
    if (window.count == 0) {
        return destination; // as many groups as the head likes: no bytes stand behind them
    }
    for (std::size_t group = 0; group < groups; ++group, source += samples * width) {
        if (window.step == 1) {
            std::memcpy(destination, source + window.start * width, window.count * width);
            destination += window.count * width;
            continue;
        }
        for (std::size_t i = 0; i < window.count; ++i, destination += width) {
            std::memcpy(destination, source + (window.start + i * window.step) * width, width);
        }
    }
    return destination;
}

/// The sub-head of a cut block: the name gets the member's number, and is cut to its field.
template <class Layout>
typename Layout::subhead cut_subhead(const block_view<Layout>& block, int member, std::size_t size) noexcept
{
    using record = typename Layout::subhead;
    auto subhead = trox_detail::load_record<record>(block.bytes);
    const record whole = subhead;
    std::memset(subhead.chname, 0, sizeof subhead.chname);
    const int name_length = static_cast<int>(strnlen(whole.chname, sizeof whole.chname));
    // Longer texts are meant to be cut: that is how such a block's name no longer matches.
    const int written =
        std::snprintf(subhead.chname, sizeof subhead.chname, "%.*s:%d", name_length, whole.chname, member);
    static_cast<void>(written);
    subhead.ldata = static_cast<std::int32_t>(size);
    return subhead;
}

template <class Layout>
int cut_to_member(const typename Layout::subhead* whole, int member, const trox_chan_prms* wanted, int* length,
                  typename Layout::subhead** result) noexcept
{
    using subhead_type = typename Layout::subhead;
    const auto shape = shape_with_member<Layout>(whole, member);
    if (result == nullptr || !shape) {
        return TROX_EVUTL_INV_PARAM;
    }
    const block_view<Layout> block(whole);
    const auto index = static_cast<std::size_t>(member);
    const sample_window window(wanted, shape->samples);
    const std::size_t statistics = shape->has_statistics ? sizeof(trox_spect_statistics_2010) : 0;
    const std::size_t size =
        sizeof(subhead_type) + shape->statistics_offset + statistics + shape->groups * window.count * sizeof(float);
    malloc_ptr<subhead_type> cut(static_cast<subhead_type*>(calls().allocate(size)));
    if (!cut) {
        return TROX_EVUTL_OUT_OF_MEMORY;
    }
    auto* out = reinterpret_cast<unsigned char*>(cut.get());
    const subhead_type subhead = cut_subhead(block, member, size);
    std::memcpy(out, &subhead, sizeof subhead);
    out += sizeof subhead;
    std::memcpy(out, block.payload(), shape->head_offset); // a region's head
    out += shape->head_offset;
    auto head = shape->head;
    head.nmemb = 1;
    adjust_axis(head, window);
    std::memcpy(out, &head, sizeof head);
    out += sizeof head;
    std::memcpy(out, block.payload() + shape->statistics_offset + index * statistics, statistics);
    out += statistics;
    copy_samples(block.payload() + shape->member_offset(index), out, shape->groups, shape->samples, window);
    store(length, static_cast<int>(size));
    *result = cut.release();
    return TROX_EVUTL_OK;
}

} // namespace

} // namespace trox_evutl

using trox_evutl::spectrum_2010;
using trox_evutl::spectrum_legacy;

float* get_pointer_to_data_2009(const trox_serv_block_subhead* subhead, int member)
{
    return trox_evutl::pointer_to_data<spectrum_legacy>(subhead, member);
}

float* get_pointer_to_data_2010(const trox_serv_block_subhead_2010* subhead, int member)
{
    return trox_evutl::pointer_to_data<spectrum_2010>(subhead, member);
}

int get_spect_params_for_data_type_2009(const trox_serv_block_subhead* subhead, float* start, float* inc, void** extra,
                                        int* length, int member)
{
    using namespace trox_evutl;
    const auto shape = shape_with_member<spectrum_legacy>(subhead, member);
    if (!shape) {
        return TROX_EVUTL_INV_PARAM;
    }
    store(start, shape->head.start);
    store(inc, shape->head.inc);
    store(extra, static_cast<void*>(mutable_payload<spectrum_legacy>(subhead) + shape->head_offset));
    store(length, static_cast<int>(shape->samples));
    return TROX_EVUTL_OK;
}

int get_spect_params_for_data_type_2010(const trox_serv_block_subhead_2010* subhead, float* start, float* inc,
                                        void** extra, int* length, int* groups, float* group_inc,
                                        trox_spect_statistics_2010** stat, int member)
{
    using namespace trox_evutl;
    const auto shape = shape_with_member<spectrum_2010>(subhead, member);
    if (!shape) {
        return TROX_EVUTL_INV_PARAM;
    }
    unsigned char* const payload = mutable_payload<spectrum_2010>(subhead);
    trox_spect_statistics_2010* statistics = nullptr;
    if (shape->has_statistics) {
        const std::size_t offset =
            shape->statistics_offset + static_cast<std::size_t>(member) * sizeof(trox_spect_statistics_2010);
        statistics = reinterpret_cast<trox_spect_statistics_2010*>(payload + offset);
    }
    store(start, shape->head.start);
    store(inc, shape->head.inc);
    store(extra, static_cast<void*>(payload + shape->head_offset));
    store(length, static_cast<int>(shape->samples));
    store(groups, static_cast<int>(shape->groups));
    store(group_inc, shape->head.group_inc);
    store(stat, statistics);
    return TROX_EVUTL_OK;
}

int get_spect_code_description_2010(const trox_serv_block_subhead_2010* subhead)
{
    using namespace trox_evutl;
    if (subhead == nullptr) {
        return -1;
    }
    const auto shape = measure_spectrum(block_view<spectrum_2010>(subhead));
    return shape ? shape->head.code : -1;
}

int device_to_one_channel(trox_serv_block_subhead* block, int subchan, const trox_chan_prms* window, int* length,
                          trox_serv_block_subhead** result)
{
    return trox_evutl::cut_to_member<spectrum_legacy>(block, subchan, window, length, result);
}

int device_to_one_channel_2010(trox_serv_block_subhead_2010* block, int subchan, const trox_chan_prms* window,
                               int* length, trox_serv_block_subhead_2010** result)
{
    return trox_evutl::cut_to_member<spectrum_2010>(block, subchan, window, length, result);
}
