#include "block_types.h"

#include "event_util.h"
#include "spectrum.h"

#include <array>
#include <cstddef>

namespace trox_evutl
{

namespace
{

using enum payload_layout;

constexpr std::size_t type_count = TROX_BLOCK_MAX_2010;

/// Layout of every block type, in the order of TROX_SUBBLOCK_TYPE.
constexpr std::array<payload_layout, type_count> layouts{
    unassigned, // 0
    update,
    words,
    environment,
    update,
    update, // 1 to 5
    spectrum,
    spectrum,
    spectrum,
    spectrum,
    spectrum,
    spectrum, // 6 to 11
    spectrum,
    image,
    spectrum,
    spectrum,
    spectrum,
    spectrum, // 12 to 17
    spectrum,
    spectrum,
    spectrum,
    spectrum, // 18 to 21
    name_value,
    equipment, // 22, 23
    spectrum_of_region,
    spectrum_of_region,
    spectrum_of_region, // 24 to 26
    image_extended,
    spectrum,
    words, // 27 to 29
    unassigned,
    words,
    unassigned, // 30 to 32
    update_2010,
    words,
    environment,
    update_2010,
    update_2010, // 33 to 37
    spectrum,
    spectrum,
    spectrum,
    spectrum,
    spectrum,
    spectrum, // 38 to 43
    spectrum,
    spectrum,
    spectrum,
    spectrum,
    spectrum,
    spectrum, // 44 to 49
    spectrum,
    spectrum,
    spectrum,
    spectrum, // 50 to 53
    unassigned,
    unassigned,
    unassigned,
    unassigned,
    unassigned,
    unassigned, // 54 to 59
    spectrum,
    spectrum,
    spectrum // 60 to 62
};

struct member_list {
    std::array<const char*, 8> names;
    std::size_t count;
};

constexpr member_list value{{"VALUE"}, 1};
constexpr member_list position_and_quality{{"X", "Y", "SUM", "QUALITY"}, 4};
constexpr member_list height_and_sum{{"Z", "SUM"}, 2};
constexpr member_list sum{{"SUM"}, 1};
constexpr member_list charge_and_time{{"CHARGE", "TIME"}, 2};
constexpr member_list wave{{"I", "Q", "AMPLITUDE", "PHASE"}, 4};
constexpr member_list energy{{"ENERGY"}, 1};
constexpr member_list position_and_signal{{"POSITION", "SIGNAL"}, 2};

template <std::size_t Count>
constexpr member_list channels{{"CH0", "CH1", "CH2", "CH3", "CH4", "CH5", "CH6", "CH7"}, Count};

/// Members of an assigned block type as far as the type tells: a generic spectrum's block may have more.
const member_list& members_of(int type) noexcept
{
    switch (type) {
    case TROX_BLOCK_BPM:
    case TROX_BLOCK_BPM_2010:
        return position_and_quality;
    case TROX_BLOCK_BPM_Z:
    case TROX_BLOCK_BPM_Z_2010:
        return height_and_sum;
    case TROX_BLOCK_BPM_S:
    case TROX_BLOCK_BPM_S_2010:
        return sum;
    case TROX_BLOCK_TOROID:
    case TROX_BLOCK_TOROID_2010:
        return charge_and_time;
    case TROX_BLOCK_RF_250K:
    case TROX_BLOCK_RF_250K_2010:
        return wave;
    case TROX_BLOCK_ENERGY:
    case TROX_BLOCK_ENERGY_2010:
        return energy;
    case TROX_BLOCK_WS_FAST:
    case TROX_BLOCK_WS_SLOW:
    case TROX_BLOCK_WS_2010:
        return position_and_signal;
    case TROX_BLOCK_GENERIC_SPECT:
        return channels<1>;
    case TROX_BLOCK_2CHAN_2010:
        return channels<2>;
    case TROX_BLOCK_3CHAN_2010:
        return channels<3>;
    case TROX_BLOCK_4CHAN_2010:
        return channels<4>;
    case TROX_BLOCK_5CHAN_2010:
        return channels<5>;
    case TROX_BLOCK_6CHAN_2010:
        return channels<6>;
    case TROX_BLOCK_7CHAN_2010:
        return channels<7>;
    case TROX_BLOCK_8CHAN_2010:
        return channels<8>;
    default: // an int, not an enumeration: every other block type is one value
        return value;
    }
}

/// The names CH0, CH1, ... of a generic spectrum's members: constants, since callers keep the pointers. Members
/// beyond these have no name.
constexpr std::size_t generic_name_count = 4096;
using channel_text = std::array<char, 8>;

constexpr std::array<channel_text, generic_name_count> make_generic_names() noexcept
{
    std::array<channel_text, generic_name_count> names{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        names[i][0] = 'C';
        names[i][1] = 'H';
        std::size_t digits = 1;
        for (std::size_t rest = i / 10; rest > 0; rest /= 10) {
            ++digits;
        }
        std::size_t rest = i;
        for (std::size_t digit = digits; digit > 0; --digit) {
            names[i][1 + digit] = static_cast<char>('0' + rest % 10);
            rest /= 10;
        }
    }
    return names;
}

constexpr auto generic_names = make_generic_names();

int count_members(int dtype) noexcept
{
    if (layout_of(dtype) == unassigned) {
        return 0;
    }
    return is_cut_block(dtype) ? 1 : static_cast<int>(members_of(block_type(dtype)).count);
}

bool is_whole_generic_spectrum(int dtype) noexcept
{
    return dtype == TROX_BLOCK_GENERIC_SPECT;
}

template <class Layout> int count_members(int dtype, const typename Layout::subhead* subhead) noexcept
{
    return subhead != nullptr && is_whole_generic_spectrum(dtype) ? announced_members<Layout>(subhead)
                                                                  : count_members(dtype);
}

} // namespace

payload_layout layout_of(int dtype) noexcept
{
    const auto type = static_cast<std::size_t>(block_type(dtype));
    return type < layouts.size() ? layouts[type] : unassigned;
}

std::size_t fixed_head_size(payload_layout layout) noexcept
{
    switch (layout) {
    case payload_layout::update:
        return sizeof(trox_upd_data_block);
    case payload_layout::update_2010:
        return sizeof(trox_upd_data_block_2010);
    case payload_layout::environment:
        return sizeof(trox_env_data_block);
    case payload_layout::image:
        return sizeof(trox_image_frame_head);
    case payload_layout::image_extended:
        return sizeof(trox_image_ext_frame_head);
    case payload_layout::name_value:
        return offsetof(trox_name_value_block, values);
    case payload_layout::equipment:
        return sizeof(trox_eqdata_head);
    case payload_layout::spectrum:
    case payload_layout::spectrum_of_region:
    case payload_layout::words:
    case payload_layout::unassigned:
        return 0;
    }
    return 0;
}

} // namespace trox_evutl

int get_channel_number(int dtype, const trox_serv_block_subhead* subhead)
{
    return trox_evutl::count_members<trox_evutl::spectrum_legacy>(dtype, subhead);
}

int get_channel_number(int dtype, const trox_serv_block_subhead_2010* subhead)
{
    return trox_evutl::count_members<trox_evutl::spectrum_2010>(dtype, subhead);
}

int get_channel_number(int dtype, std::nullptr_t)
{
    return trox_evutl::count_members(dtype);
}

const char* get_chan_name(int dtype, int i)
{
    using namespace trox_evutl;
    if (i < 0 || layout_of(dtype) == payload_layout::unassigned) {
        return nullptr;
    }
    const auto index = static_cast<std::size_t>(i);
    if (is_whole_generic_spectrum(dtype)) {
        return index < generic_names.size() ? generic_names[index].data() : nullptr;
    }
    const member_list& members = is_cut_block(dtype) ? value : members_of(block_type(dtype));
    return index < members.count ? members.names[index] : nullptr;
}
