// Blocks typed by hand, for tests of the functions that take payloads apart.
#ifndef TROX_TEST_SPECTRUM_BLOCK_H
#define TROX_TEST_SPECTRUM_BLOCK_H

#include "event_util.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace trox_test
{

inline bool is_unassigned(int type)
{
    return type < 1 || type == 30 || type == 32 || (type >= 54 && type <= 59) || type >= 63;
}

inline bool is_spectrum_type(int type)
{
    return (type >= 6 && type <= 12) || (type >= 14 && type <= 21) || (type >= 24 && type <= 26) || type == 28 ||
           (type >= 38 && type <= 53) || (type >= 60 && type <= 62);
}

inline bool is_region_type(int type)
{
    return type >= 24 && type <= 26;
}

/// Both layouts of a spectrum behind one interface.
struct layout_legacy {
    using subhead = trox_serv_block_subhead;
    using head = trox_spect_head;
    static constexpr bool has_groups = false;

    static float* data(const subhead* block, int member)
    {
        return get_pointer_to_data_2009(block, member);
    }
    static int parameters(const subhead* block, int member)
    {
        return get_spect_params_for_data_type_2009(block, nullptr, nullptr, nullptr, nullptr, member);
    }
    static int cut(const subhead* block, int member, const trox_chan_prms* window, int* length, subhead** result)
    {
        return device_to_one_channel(block, member, window, length, result);
    }
};

struct layout_2010 {
    using subhead = trox_serv_block_subhead_2010;
    using head = trox_spect_head_2010;
    static constexpr bool has_groups = true;

    static float* data(const subhead* block, int member)
    {
        return get_pointer_to_data_2010(block, member);
    }
    static int parameters(const subhead* block, int member)
    {
        return get_spect_params_for_data_type_2010(block, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                   member);
    }
    static int cut(const subhead* block, int member, const trox_chan_prms* window, int* length, subhead** result)
    {
        return device_to_one_channel_2010(block, member, window, length, result);
    }
};

/// A block in host order in a heap block of exactly its size, at an odd address unless told otherwise.
template <class Layout> class test_block
{
public:
    explicit test_block(int dtype, std::string_view name = "LINAC.X") : bytes_(1 + sizeof(typename Layout::subhead))
    {
        typename Layout::subhead subhead{};
        std::memcpy(subhead.chname, name.data(), std::min(name.size(), sizeof subhead.chname));
        subhead.dtype = dtype;
        subhead.error = 0x1000;
        std::memcpy(bytes_.data() + 1, &subhead, sizeof subhead);
        set_length(static_cast<std::int32_t>(sizeof subhead));
    }

    template <class Record> test_block& add(const Record& record)
    {
        const auto* at = reinterpret_cast<const unsigned char*>(&record);
        bytes_.insert(bytes_.end(), at, at + sizeof record);
        set_length(static_cast<std::int32_t>(bytes_.size() - 1));
        return *this;
    }

    test_block& add_floats(std::size_t count, float first)
    {
        for (std::size_t i = 0; i < count; ++i) {
            add(first + static_cast<float>(i));
        }
        return *this;
    }

    void set_length(std::int32_t length)
    {
        std::memcpy(bytes_.data() + 1 + offsetof(typename Layout::subhead, ldata), &length, sizeof length);
    }

    std::int32_t length() const
    {
        return static_cast<std::int32_t>(bytes_.size() - 1);
    }

    const typename Layout::subhead* get()
    {
        bytes_.shrink_to_fit();
        return reinterpret_cast<const typename Layout::subhead*>(bytes_.data() + 1);
    }

    const unsigned char* payload()
    {
        return reinterpret_cast<const unsigned char*>(get()) + sizeof(typename Layout::subhead);
    }

private:
    std::vector<unsigned char> bytes_;
};

template <class Record> Record load(const void* source)
{
    Record record;
    std::memcpy(&record, source, sizeof record);
    return record;
}

template <class Layout> typename Layout::head spectrum_head(int members, int samples)
{
    typename Layout::head head{};
    head.nmemb = members;
    head.nsamp = samples;
    head.start = 100;
    head.inc = 0.5;
    return head;
}

/// A block of 3 members x 4 samples, whose floats count up from 0; axis from 100 in steps of 0.5.
template <class Layout> test_block<Layout> make_spectrum(int dtype)
{
    test_block<Layout> block(dtype);
    if (is_region_type(dtype & 0xFFFF)) {
        block.add(trox_roi_head{1, 2, 3, 4});
    }
    block.add(spectrum_head<Layout>(3, 4)).add_floats(12, 0);
    return block;
}

/// 2 members x 3 groups x 2 samples with statistics; floats count up from 0.
inline test_block<layout_2010> grouped_block(std::uint32_t flags = 1)
{
    test_block<layout_2010> block(28);
    trox_spect_head_2010 head{2, 2, 3, 12, 120, 0.5, 1000, flags};
    block.add(head);
    if ((flags & 1U) != 0) {
        for (std::uint32_t member = 0; member < 2; ++member) {
            trox_spect_statistics_2010 statistics{};
            statistics.mask = 15 + member;
            statistics.val[31] = 7.0F + static_cast<float>(member);
            block.add(statistics);
        }
    }
    block.add_floats(12, 0);
    return block;
}

} // namespace trox_test

#endif
