#include "field_text.h"

#include "trox/basics.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace trox::inspect
{

namespace
{

struct named_value {
    std::uint32_t value;
    const char* name;
};

#define NAMED(value)                                                                                                   \
    {                                                                                                                  \
        value, #value                                                                                                  \
    }
constexpr named_value block_types[] = {NAMED(TROX_UPD_BLOCK),
                                       NAMED(TROX_ENV_DICT_BLOCK),
                                       NAMED(TROX_ENV_BLOCK),
                                       NAMED(TROX_BOR_BLOCK),
                                       NAMED(TROX_EOR_BLOCK),
                                       NAMED(TROX_BLOCK_BPM),
                                       NAMED(TROX_BLOCK_BPM_Z),
                                       NAMED(TROX_BLOCK_BPM_S),
                                       NAMED(TROX_BLOCK_SINGLE),
                                       NAMED(TROX_BLOCK_TOROID),
                                       NAMED(TROX_BLOCK_RF_250K),
                                       NAMED(TROX_BLOCK_ENERGY),
                                       NAMED(TROX_BLOCK_IMAGE),
                                       NAMED(TROX_BLOCK_WS_FAST),
                                       NAMED(TROX_BLOCK_WS_SLOW),
                                       NAMED(TROX_BLOCK_CPLINTL),
                                       NAMED(TROX_BLOCK_GUNINTL),
                                       NAMED(TROX_BLOCK_MCP),
                                       NAMED(TROX_BLOCK_PHM),
                                       NAMED(TROX_BLOCK_WSS_RAW),
                                       NAMED(TROX_BLOCK_WSS_COR),
                                       NAMED(TROX_BLOCK_NAME_VALUE),
                                       NAMED(TROX_BLOCK_EQDATA),
                                       NAMED(TROX_BLOCK_IMG_ROI1),
                                       NAMED(TROX_BLOCK_IMG_ROI2),
                                       NAMED(TROX_BLOCK_IMG_ROI3),
                                       NAMED(TROX_BLOCK_IMAGE_EXT),
                                       NAMED(TROX_BLOCK_GENERIC_SPECT),
                                       NAMED(TROX_BLOCK_GENERIC_STRUCT),
                                       NAMED(TROX_UPD_BLOCK_DONT_USE_31),
                                       NAMED(TROX_UPD_BLOCK_2010),
                                       NAMED(TROX_ENV_DICT_BLOCK_2010),
                                       NAMED(TROX_ENV_BLOCK_2010),
                                       NAMED(TROX_BOR_BLOCK_2010),
                                       NAMED(TROX_EOR_BLOCK_2010),
                                       NAMED(TROX_BLOCK_BPM_2010),
                                       NAMED(TROX_BLOCK_BPM_Z_2010),
                                       NAMED(TROX_BLOCK_BPM_S_2010),
                                       NAMED(TROX_BLOCK_1CHAN_2010),
                                       NAMED(TROX_BLOCK_TOROID_2010),
                                       NAMED(TROX_BLOCK_RF_250K_2010),
                                       NAMED(TROX_BLOCK_ENERGY_2010),
                                       NAMED(TROX_BLOCK_2CHAN_2010),
                                       NAMED(TROX_BLOCK_WS_2010),
                                       NAMED(TROX_BLOCK_4CHAN_2010),
                                       NAMED(TROX_BLOCK_CPLINTL_2010),
                                       NAMED(TROX_BLOCK_GUNINTL_2010),
                                       NAMED(TROX_BLOCK_MCP_2010),
                                       NAMED(TROX_BLOCK_PHM_2010),
                                       NAMED(TROX_BLOCK_6CHAN_2010),
                                       NAMED(TROX_BLOCK_8CHAN_2010),
                                       NAMED(TROX_BLOCK_3CHAN_2010),
                                       NAMED(TROX_BLOCK_5CHAN_2010),
                                       NAMED(TROX_BLOCK_7CHAN_2010)};

constexpr named_value error_bits[] = {NAMED(TROX_SB_ERR_NOT_COLLECTED),
                                      NAMED(TROX_SB_ERR_OUT_MEMORY_SRV),
                                      NAMED(TROX_SB_ERR_OUT_MEMORY_COL),
                                      NAMED(TROX_SB_ERR_NO_DMA),
                                      NAMED(TROX_SB_ERR_NO_SERVER),
                                      NAMED(TROX_SB_ERR_OLD_DATA),
                                      NAMED(TROX_SB_ERR_NO_FIRST),
                                      NAMED(TROX_SB_ERR_NOT_ASSM),
                                      NAMED(TROX_CH_ERR_EVB_DATA),
                                      NAMED(TROX_EP_ERR_EVB_SBLK),
                                      NAMED(TROX_SB_ERR_ML_SKIPPED),
                                      NAMED(TROX_SB_ERR_ML_NOOUT),
                                      NAMED(TROX_FE_ADC_OVERLOAD),
                                      NAMED(TROX_FE_OUTSIDE_SL),
                                      NAMED(TROX_FE_OUTSIDE_LR),
                                      NAMED(TROX_FE_CONF),
                                      NAMED(TROX_FE_INT_ERR),
                                      NAMED(TROX_FE_TIME_INV),
                                      NAMED(TROX_FE_EVID_INV),
                                      NAMED(TROX_FE_DTYPE_INV),
                                      NAMED(TROX_FE_MODE_NOTSUP),
                                      NAMED(TROX_FE_SPECT_PARAM_INCONSIST),
                                      NAMED(TROX_FE_NO_DATA),
                                      NAMED(TROX_FE_DAQ_PARAM_INV),
                                      NAMED(TROX_FE_DAQ_DISABLED),
                                      NAMED(TROX_FE_DAQ_BUF_SKIPPED),
                                      NAMED(TROX_SD_ERR_NOT_ASSM),
                                      NAMED(TROX_CHAN_ZIP_FLAG)};
#undef NAMED

void append(std::string& list, const std::string& text)
{
    list += (list.empty() ? "" : ", ") + text;
}

std::string real_text(float value)
{
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return {digits.data(), end};
}

/// Text up to its NUL in quotes; characters that are not printable as \xNN.
std::string quoted(const unsigned char* bytes, std::size_t size)
{
    const auto length = strnlen(reinterpret_cast<const char*>(bytes), size);
    std::string text = "\"";
    for (std::size_t i = 0; i < length; ++i) {
        if (bytes[i] >= ' ' && bytes[i] <= '~') {
            text += static_cast<char>(bytes[i]);
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", bytes[i]);
            text += code;
        }
    }
    return text + "\"";
}

} // namespace

std::string hex_bytes(const unsigned char* bytes, std::size_t count)
{
    constexpr std::size_t most = 16;
    std::string text;
    for (std::size_t i = 0; i < std::min(count, most); ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%s%02x", i != 0 && i % 2 == 0 ? " " : "", bytes[i]);
        text += digits;
    }
    return count > most ? text + " ..." : text;
}

std::uint64_t value_of(const field& one, const unsigned char* bytes) noexcept
{
    switch (one.kind) {
    case field_kind::u32:
        return trox_detail::load_big_endian<std::uint32_t>(bytes);
    case field_kind::i32:
        return static_cast<std::uint64_t>(std::int64_t{trox_detail::load_big_endian<std::int32_t>(bytes)});
    case field_kind::u64:
    case field_kind::i64:
        return trox_detail::load_big_endian<std::uint64_t>(bytes);
    case field_kind::f32:
    case field_kind::time:
    case field_kind::text:
        break;
    }
    return 0;
}

std::string value_text(const field& one, const unsigned char* bytes)
{
    switch (one.kind) {
    case field_kind::u32:
    case field_kind::u64:
        return std::to_string(value_of(one, bytes));
    case field_kind::i32:
    case field_kind::i64:
        return std::to_string(static_cast<std::int64_t>(value_of(one, bytes)));
    case field_kind::f32: {
        const auto word = trox_detail::load_big_endian<std::uint32_t>(bytes);
        return real_text(trox_detail::load_record<float>(&word));
    }
    case field_kind::time:
        return std::to_string(trox_detail::load_big_endian<std::uint32_t>(bytes)) + " s " +
               std::to_string(trox_detail::load_big_endian<std::uint32_t>(bytes + sizeof(std::uint32_t))) + " us";
    case field_kind::text:
        return quoted(bytes, one.size);
    }
    return "";
}

std::string block_type_text(int dtype)
{
    constexpr unsigned type_mask = 0xFFFF;
    for (const named_value& one : block_types) {
        if (one.value == (static_cast<unsigned>(dtype) & type_mask)) {
            return one.name;
        }
    }
    return "unassigned";
}

std::string error_bits_text(std::uint32_t bits)
{
    std::string text;
    for (const named_value& one : error_bits) {
        if ((bits & one.value) != 0) {
            append(text, one.name);
            bits &= ~one.value;
        }
    }
    if (bits != 0) {
        append(text, "unassigned bits");
    }
    return text;
}

std::string event_mask_text(std::uint32_t mask)
{
    std::string text;
    for (int type = 0; type < trox_event_type_count; ++type) {
        if ((mask >> type & 1U) != 0) {
            append(text, event_type_name(type));
        }
    }
    return text;
}

std::string time_text(time_stamp time)
{
    constexpr int first_year = 1900;
    const auto seconds = static_cast<std::time_t>(time.timeup);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%06uZ", parts.tm_year + first_year,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, time.timelow);
    return text;
}

} // namespace trox::inspect
