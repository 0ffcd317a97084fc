// Records and file structures of the DAQ: what a program asks for, what a reader hands back, and how the
// tables, baskets and records of a data file look.
//
// Layer: the lowest; depends on nothing. Everything here is a plain record. The structures under "On disk"
// are the layouts of the file: big-endian there, and at any byte, so a reader copies bytes into them and
// swaps, and never casts a file buffer. Every size and offset is asserted at the end of this header.
//
// Three generations exist. Records without a suffix belong to the legacy generation (32-bit numbers, short
// names), `_2010` widens names to 256 characters, `_2024` widens numbers and positions to 64 bits. Character
// fields are ASCII, padded with NULs; a field without a NUL ends with the field.
#ifndef TROX_EVENT_H
#define TROX_EVENT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

// ---------------------------------------------------------------------------------------------------
// Time and event identity
// ---------------------------------------------------------------------------------------------------

/// A point in time (UTC), or a duration where a member says so.
struct time_stamp {
    std::uint32_t timeup;  ///< whole seconds since the Unix epoch
    std::uint32_t timelow; ///< microseconds within the second, 0 to 999999
};

/// Adds a duration to a time; microseconds that reach 1000000 carry into the seconds.
constexpr time_stamp operator+(time_stamp a, time_stamp b) noexcept
{
    constexpr std::uint32_t second_us = 1000000U;
    const std::uint64_t us = std::uint64_t{a.timelow} + b.timelow;
    return {static_cast<std::uint32_t>(a.timeup + b.timeup + us / second_us),
            static_cast<std::uint32_t>(us % second_us)};
}

/// Identity of one event: the machine's event (pulse) number and its time. Number 0 means "unknown".
struct trox_time_id {
    std::uint32_t event_number;
    time_stamp time;
};

/// Identity of one event of the 2024 generation, whose event numbers have 64 bits.
struct trox_time_id_2024 {
    std::uint64_t event_number;
    time_stamp time;
};

// ---------------------------------------------------------------------------------------------------
// Channel selection
// ---------------------------------------------------------------------------------------------------

/// Which samples of a channel's array a caller wants. Carried along and printed by the readers.
struct trox_chan_prms {
    std::int32_t start;  ///< first sample
    std::int32_t inc;    ///< sample increment
    std::int32_t length; ///< number of samples
    std::int32_t func;   ///< function selector, shown in hexadecimal
    float tstart;        ///< the same range on the channel's time axis
    float tinc;
    float tlength;
};

/// One channel of a caller's list. `name` is `<name>[:<sub-channel>][;<nickname>]`, owned by the caller.
struct daq_channel_entry {
    const char* name;
    trox_chan_prms prms;
};

/// A requested channel inside a result entry (legacy).
struct trox_daq_chan_param {
    char name[80];        ///< full name as stored in the file
    char nname[80];       ///< nickname under which the caller asked for it
    std::int32_t subchan; ///< sub-channel, -1 for the whole channel
    trox_chan_prms prms;
};

/// A requested channel inside a result entry (2010 and 2024).
struct trox_daq_chan_param_2010 {
    char name[256];
    char nname[256];
    std::int32_t subchan;
    trox_chan_prms prms;
};

// ---------------------------------------------------------------------------------------------------
// On disk: event records
// ---------------------------------------------------------------------------------------------------

/// Header of one event (legacy and 2010; `pattern` tells them apart).
struct trox_eventheader {
    std::uint32_t pattern;      ///< 0xFFEEFFEE legacy, any other value 2010 (a writer puts 0xFFEEFF10)
    std::uint32_t event_length; ///< bytes: this header and its server blocks' `ltotal`
    std::uint32_t event_number;
    std::int32_t event_type; ///< a TROX_EVTYPE
    time_stamp event_time;
    std::int32_t tmask;
    std::int32_t status;
    std::int32_t num_svr_block; ///< number of server blocks
};

/// Header of one event (2024).
struct trox_eventheader_2024 {
    std::uint32_t pattern; ///< 0xFFEEFF24
    std::int32_t event_type;
    std::int64_t event_length;
    std::uint64_t event_number;
    time_stamp event_time;
    std::int32_t tmask;
    std::int32_t status;
    std::int32_t num_svr_block;
    std::int32_t padding;
};

/// Head of one front-end server's block in an event (legacy).
struct trox_serv_block_head {
    time_stamp time;
    std::int32_t ltotal; ///< bytes: this head and its stored records
    std::int32_t mpulse; ///< low bits of the machine pulse number
    char server[48];
    std::int32_t tmask;
    std::int32_t status; ///< TROX_SBLOCK_ERROR bits
    std::int32_t nchan;  ///< number of channels
};

/// Head of one front-end server's block in an event (2010).
struct trox_serv_block_head_2010 {
    time_stamp time;
    std::int32_t ltotal;
    std::int32_t mpulse;
    char server[256];
    std::int32_t tmask;
    std::int32_t status;
    std::int32_t nchan;
};

/// Head of one front-end server's block in an event (2024).
struct trox_serv_block_head_2024 {
    std::uint64_t pattern; ///< 0xFFBBFF24
    std::int64_t ltotal;
    std::int64_t mpulse;
    time_stamp time;
    char server[256];
    std::int32_t tmask;
    std::int32_t status;
    std::int32_t nchan;
    std::int32_t padding;
};

/// Head of one channel's record (legacy); the payload, or a zip header and the compressed payload, follows.
struct trox_serv_block_subhead {
    char chname[32];
    std::int32_t dtype; ///< a TROX_SUBBLOCK_TYPE; upper 16 bits set: a block cut to one sub-channel
    std::int32_t error; ///< TROX_SBLOCK_ERROR bits; TROX_CHAN_ZIP_FLAG marks a compressed payload
    std::int32_t ldata; ///< bytes, this head included
};

/// Head of one channel's record (2010 and 2024).
struct trox_serv_block_subhead_2010 {
    char chname[256];
    std::int32_t dtype;
    std::int32_t error;
    std::int32_t ldata;
};

/// Stands directly behind the sub-head of a compressed record; the compressed bytes follow.
struct trox_zip_header {
    std::uint32_t zip_flags;   ///< 1 zlib stream, 2 LZO1X
    std::uint32_t orig_length; ///< bytes of payload after decompression
    std::uint32_t zipp_length; ///< bytes of the compressed payload
};

// ---------------------------------------------------------------------------------------------------
// On disk: tables. Those of the legacy and 2010 generations differ in name widths only.
// ---------------------------------------------------------------------------------------------------

/// Number of event types, the width of `eite_pos_ref`. Also TROX_EV_EVMAX below.
inline constexpr int trox_event_type_count = 32;

/// Locates all other tables (legacy). A position 0 means "absent".
struct trox_file_reference_table {
    std::uint32_t pattern;
    std::int32_t length;
    std::uint32_t eit_pos_ref;                         ///< event index table
    std::uint32_t eite_pos_ref[trox_event_type_count]; ///< event index entry of each event type
    std::uint32_t cdt_ref;                             ///< channel dictionary table
    std::uint32_t ecp_ref;                             ///< event-channel pointers table
    std::uint32_t eidt_ref;                            ///< environment index dictionary table
    std::uint32_t xcd_ref;                             ///< XML channel descriptions
    std::uint32_t evhdb_ref;                           ///< event header basket
    std::uint32_t srvbb_ref;                           ///< server block basket
    std::uint32_t chanb_ref;                           ///< basket of the first channel that has records
};
struct trox_file_reference_table_2010 : trox_file_reference_table {
};

struct trox_file_reference_table_2024 {
    std::uint64_t pattern;
    std::uint64_t length;
    std::uint64_t eit_pos_ref;
    std::uint64_t eite_pos_ref[trox_event_type_count];
    std::uint64_t cdt_ref;
    std::uint64_t ecp_ref;
    std::uint64_t eidt_ref;
    std::uint64_t xcd_ref;
    std::uint64_t evhdb_ref;
    std::uint64_t srvbb_ref;
    std::uint64_t chanb_ref;
};

/// One event of an event index entry. Time and number stay big-endian in a table that was read.
struct trox_event_info_entry {
    time_stamp time;
    std::uint32_t event_number;
    std::uint32_t offset; ///< position of the event's header in the event header basket
};
struct trox_event_info_entry_2024 {
    time_stamp time;
    std::uint64_t event_number;
    std::uint64_t offset;
};

/// Head of the index entry of one event type; its info entries follow. Times and numbers stay big-endian
/// in a table that was read; `event_type` and `length` are in host order.
struct trox_event_index_entry_head {
    std::int32_t event_type;
    time_stamp event_time_first;
    time_stamp event_time_last;
    std::uint32_t event_number_first;
    std::uint32_t event_number_last;
    std::int32_t length; ///< bytes of the whole entry, this head included
};
struct trox_event_index_entry_head_2024 {
    std::int64_t event_type;
    time_stamp event_time_first;
    time_stamp event_time_last;
    std::uint64_t event_number_first;
    std::uint64_t event_number_last;
    std::uint64_t length;
};

struct trox_event_index_entry {
    trox_event_index_entry_head head;
    trox_event_info_entry info[1]; ///< (head.length - sizeof head) / sizeof info[0] of them
};
struct trox_event_index_entry_2024 {
    trox_event_index_entry_head_2024 head;
    trox_event_info_entry_2024 info[1]; ///< (head.length - sizeof head) / sizeof info[0] of them
};

/// Event index table: one entry per event type that has events, one behind the other.
struct trox_event_index_table {
    std::uint32_t pattern;
    std::int32_t nevent_types;
    trox_event_index_entry entries[1];
};
struct trox_event_index_table_2010 : trox_event_index_table {
};
struct trox_event_index_table_2024 {
    std::uint64_t pattern;
    std::uint64_t nevent_types;
    trox_event_index_entry_2024 entries[1];
};

/// One channel of a file.
struct trox_chan_dictionary_entry {
    std::uint32_t key;
    char chan_name[80];
    std::uint32_t ev_mask;    ///< bit per event type that carries the channel
    std::uint32_t dtype_mask; ///< bit `dtype & 31` per block type used
    std::int32_t count;       ///< number of events with the channel
};
struct trox_chan_dictionary_entry_2010 {
    std::uint32_t key;
    char chan_name[256];
    std::uint32_t ev_mask;
    std::uint32_t dtype_mask;
    std::int32_t count;
};
struct trox_chan_dictionary_entry_2024 : trox_chan_dictionary_entry_2010 {
};

struct trox_chan_dictionary_table {
    std::uint32_t pattern;
    std::int32_t length;
    trox_chan_dictionary_entry entries[1];
};
struct trox_chan_dictionary_table_2010 {
    std::uint32_t pattern;
    std::int32_t length;
    trox_chan_dictionary_entry_2010 entries[1];
};
struct trox_chan_dictionary_table_2024 {
    std::uint64_t pattern;
    std::uint64_t length;
    trox_chan_dictionary_entry_2024 entries[1];
};

/// File positions of one channel's record in one event.
struct trox_event_chan_ptr_entry {
    std::uint32_t evhd; ///< event header, in the event header basket
    std::uint32_t sbhd; ///< server block head, in the server block basket
    std::uint32_t chhd; ///< channel sub-head, in the channel's basket
    std::uint32_t data; ///< the record's data, in the channel's basket
};
struct trox_event_chan_ptr_entry_2024 {
    std::int64_t evhd;
    std::int64_t sbhd;
    std::int64_t chhd;
    std::int64_t data;
};

/// Event-channel pointers table: columns of `maxev` rows, one column per channel.
struct trox_event_chan_pointers_table {
    std::uint32_t pattern;
    std::int32_t length;
    std::int32_t maxev;
    trox_event_chan_ptr_entry entries[1];
};
struct trox_event_chan_pointers_table_2024 {
    std::uint64_t pattern;
    std::uint64_t length;
    std::uint64_t maxev;
    trox_event_chan_ptr_entry_2024 entries[1];
};

struct trox_env_dictionary_entry {
    std::uint32_t key;
    std::int32_t index;
};
struct trox_env_dictionary_table {
    std::uint32_t pattern;
    std::int32_t length;
    trox_env_dictionary_entry entries[1];
};
struct trox_env_dictionary_table_2010 : trox_env_dictionary_table {
};
struct trox_env_dictionary_table_2024 {
    std::uint64_t pattern;
    std::uint64_t length;
    trox_env_dictionary_entry entries[1];
};

/// XML channel descriptions: ASCII text without a closing NUL behind the head.
struct trox_xml_chan_descr_header {
    std::uint32_t pattern;
    std::int32_t length; ///< bytes, head included
    char xml[4];         ///< the text's first bytes; it runs to `length`
};
struct trox_xml_chan_descr_header_2010 : trox_xml_chan_descr_header {
};
struct trox_xml_chan_descr_header_2024 {
    std::uint64_t pattern;
    std::uint64_t length;
    char xml[8];
};

// ---------------------------------------------------------------------------------------------------
// On disk: baskets. `length` counts the head; the records follow it.
// ---------------------------------------------------------------------------------------------------

struct trox_event_header_basket {
    std::uint32_t pattern;
    std::int32_t length;
    trox_eventheader evhd[1];
};
struct trox_event_header_basket_2010 : trox_event_header_basket {
};
struct trox_event_header_basket_2024 {
    std::uint64_t pattern;
    std::uint64_t length;
    trox_eventheader_2024 evhd[1];
};

struct trox_server_block_basket {
    std::uint32_t pattern;
    std::int32_t length;
    trox_serv_block_head sbhd[1];
};
struct trox_server_block_basket_2010 {
    std::uint32_t pattern;
    std::int32_t length;
    trox_serv_block_head_2010 sbhd[1];
};
struct trox_server_block_basket_2024 {
    std::uint64_t pattern;
    std::uint64_t length;
    trox_serv_block_head_2024 sbhd[1];
};

struct trox_channel_basket {
    std::uint32_t pattern;
    std::int32_t length;
    trox_serv_block_subhead chhd[1];
};
struct trox_channel_basket_2010 {
    std::uint32_t pattern;
    std::int32_t length;
    trox_serv_block_subhead_2010 chhd[1];
};
struct trox_channel_basket_2024 {
    std::uint64_t pattern;
    std::uint64_t length;
    trox_serv_block_subhead_2010 chhd[1];
};

// ---------------------------------------------------------------------------------------------------
// On disk: payloads
// ---------------------------------------------------------------------------------------------------

/// A slow value (legacy). `upd_prop` is the channel's full name.
struct trox_upd_data_block {
    char upd_prop[80];
    std::int32_t upd_ch_status;
    time_stamp upd_ch_time;
    float upd_ch_data;
};
/// A slow value (2010 and 2024).
struct trox_upd_data_block_2010 {
    char upd_prop[256];
    std::int32_t upd_ch_status;
    time_stamp upd_ch_time;
    float upd_ch_data;
};

/// An environment value.
struct trox_env_data_block {
    std::int32_t env_ch_idx; ///< index into the environment dictionary
    std::int32_t env_ch_status;
    time_stamp env_ch_time;
    float env_ch_data;
};
struct trox_env_data_block_2010 : trox_env_data_block {
};

struct trox_name_value_channel {
    char name[80];
    float value;
};
/// A list of named values; `ndata` entries.
struct trox_name_value_block {
    std::int32_t id;
    char comment[80];
    std::int32_t ndata;
    trox_name_value_channel values[1];
};

/// Head of an image. Some front ends pack offsets into the upper bits of `w`, `h` and `bpp`.
struct trox_image_frame_head {
    std::int32_t w;   ///< pixels
    std::int32_t h;   ///< pixels
    std::int32_t bpp; ///< bytes per pixel
    std::int32_t compr;
    std::uint32_t frame;
    std::int32_t padding;
    std::uint64_t event_nm;
    std::int32_t length; ///< bytes of pixel data
    std::int32_t padding2;
};
struct trox_image_block {
    trox_image_frame_head head;
    unsigned char pixels[8]; ///< the first pixels; they run to `head.length`
};

/// Head of an extended image.
struct trox_image_ext_frame_head {
    std::int32_t width;
    std::int32_t height;
    std::int32_t aoi_width;
    std::int32_t aoi_height;
    std::int32_t x_start;
    std::int32_t y_start;
    std::int32_t bpp;
    std::int32_t ebitpp; ///< effective bits per pixel
    std::int32_t hbin;
    std::int32_t vbin;
    std::int32_t source_format;
    std::int32_t image_format;
    std::uint32_t frame;
    std::uint32_t event;
    float scale_x;
    float scale_y;
    float image_rotation;
    float fspare2;
    float fspare3;
    float fspare4;
    std::int32_t image_flags;
    std::int32_t ispare2;
    std::int32_t ispare3;
    std::int32_t ispare4;
    std::int32_t length; ///< bytes of pixel data
};
struct trox_image_ext_block {
    trox_image_ext_frame_head head;
    unsigned char pixels[4];
};

/// Statistics of one member of a spectrum.
struct trox_spect_statistics_2010 {
    std::uint32_t mask; ///< which of the values are present
    float val[32];
};

/// Head of a spectrum or trace (legacy); nmemb * nsamp floats follow, member by member.
struct trox_spect_head {
    std::int32_t nmemb;
    std::int32_t nsamp;
    float start;
    float inc;
};
/// Head of a spectrum or trace (2010 and 2024). When bit 0 of `flags` is set, `nmemb` statistics follow,
/// then nmemb * groups * nsamp floats, member by member.
struct trox_spect_head_2010 {
    std::int32_t nmemb;
    std::int32_t nsamp;  ///< samples per group
    std::int32_t groups; ///< 0 counts as 1
    std::int32_t code;
    float start;
    float inc;
    float group_inc;
    std::uint32_t flags;
};
/// Stands before the spectrum head of a region of interest.
struct trox_roi_head {
    std::int32_t x;
    std::int32_t y;
    std::int32_t width;
    std::int32_t height;
};
/// Head of a control-system value (TROX_BLOCK_EQDATA); its elements follow.
struct trox_eqdata_head {
    std::int32_t type; ///< an OrvelDataTypeId
    std::int32_t status;
    time_stamp time;
    std::int32_t length; ///< elements; bytes for strings and images
};

// ---------------------------------------------------------------------------------------------------
// Vocabularies
// ---------------------------------------------------------------------------------------------------

/// Event types; index of `eite_pos_ref` and bit of `ev_mask`.
enum TROX_EVTYPE : int {
    TROX_EV_HB = 0,
    TROX_EV_NORMAL = 1,
    TROX_EV_BOR = 2,
    TROX_EV_EOR = 3,
    TROX_EV_ENV = 4,
    TROX_EV_UPD = 5,
    TROX_EV_IMAGE = 6,
    TROX_EV_WS = 7,
    TROX_EV_MCP = 8,
    TROX_EV_WSS = 9,
    TROX_EV_BL1 = 10,
    TROX_EV_BL2 = 11,
    TROX_EV_BL3 = 12,
    TROX_EV_PG0 = 13,
    TROX_EV_PG1 = 14,
    TROX_EV_PG2 = 15,
    TROX_EV_GMD = 16,
    TROX_EV_PHOTEN = 17,
    TROX_EV_PHOTWL = 18,
    TROX_EV_BEAM_ENERGY = 19,
    TROX_EV_LLRF_ML = 20,
    TROX_EV_BEAM_ENERGY_BYPASS = 21,
    TROX_EV_SPECTR_1 = 22,
    TROX_EV_SPECTR_2 = 23,
    TROX_EV_SPECTR_3 = 24,
    TROX_EV_SPECTR_4 = 25,
    TROX_EV_SPECTR_5 = 26,
    TROX_EV_TOROID_ML = 27,
    TROX_EV_28 = 28,
    TROX_EV_29 = 29,
    TROX_EV_30 = 30,
    TROX_EV_31 = 31,
    TROX_EV_EVMAX = 32
};

/// Block types: how a channel's payload is laid out. 30, 32 and 54 to 59 are unassigned.
enum TROX_SUBBLOCK_TYPE : int {
    TROX_UPD_BLOCK = 1,
    TROX_ENV_DICT_BLOCK = 2,
    TROX_ENV_BLOCK = 3,
    TROX_BOR_BLOCK = 4,
    TROX_EOR_BLOCK = 5,
    TROX_BLOCK_BPM = 6,
    TROX_BLOCK_BPM_Z = 7,
    TROX_BLOCK_BPM_S = 8,
    TROX_BLOCK_SINGLE = 9,
    TROX_BLOCK_TOROID = 10,
    TROX_BLOCK_RF_250K = 11,
    TROX_BLOCK_ENERGY = 12,
    TROX_BLOCK_IMAGE = 13,
    TROX_BLOCK_WS_FAST = 14,
    TROX_BLOCK_WS_SLOW = 15,
    TROX_BLOCK_CPLINTL = 16,
    TROX_BLOCK_GUNINTL = 17,
    TROX_BLOCK_MCP = 18,
    TROX_BLOCK_PHM = 19,
    TROX_BLOCK_WSS_RAW = 20,
    TROX_BLOCK_WSS_COR = 21,
    TROX_BLOCK_NAME_VALUE = 22,
    TROX_BLOCK_EQDATA = 23,
    TROX_BLOCK_IMG_ROI1 = 24,
    TROX_BLOCK_IMG_ROI2 = 25,
    TROX_BLOCK_IMG_ROI3 = 26,
    TROX_BLOCK_IMAGE_EXT = 27,
    TROX_BLOCK_GENERIC_SPECT = 28,
    TROX_BLOCK_GENERIC_STRUCT = 29,
    TROX_UPD_BLOCK_DONT_USE_31 = 31,
    TROX_UPD_BLOCK_2010 = 33,
    TROX_ENV_DICT_BLOCK_2010 = 34,
    TROX_ENV_BLOCK_2010 = 35,
    TROX_BOR_BLOCK_2010 = 36,
    TROX_EOR_BLOCK_2010 = 37,
    TROX_BLOCK_BPM_2010 = 38,
    TROX_BLOCK_BPM_Z_2010 = 39,
    TROX_BLOCK_BPM_S_2010 = 40,
    TROX_BLOCK_1CHAN_2010 = 41,
    TROX_BLOCK_TOROID_2010 = 42,
    TROX_BLOCK_RF_250K_2010 = 43,
    TROX_BLOCK_ENERGY_2010 = 44,
    TROX_BLOCK_2CHAN_2010 = 45,
    TROX_BLOCK_WS_2010 = 46,
    TROX_BLOCK_4CHAN_2010 = 47,
    TROX_BLOCK_CPLINTL_2010 = 48,
    TROX_BLOCK_GUNINTL_2010 = 49,
    TROX_BLOCK_MCP_2010 = 50,
    TROX_BLOCK_PHM_2010 = 51,
    TROX_BLOCK_6CHAN_2010 = 52,
    TROX_BLOCK_8CHAN_2010 = 53,
    TROX_BLOCK_3CHAN_2010 = 60,
    TROX_BLOCK_5CHAN_2010 = 61,
    TROX_BLOCK_7CHAN_2010 = 62,
    TROX_BLOCK_MAX_2010 = 63 ///< bound, not a type
};

/// Bits of a server block head's `status` and a sub-head's `error`. Bits 27, 28, 29 and 31 are unassigned.
enum TROX_SBLOCK_ERROR : unsigned {
    TROX_SB_ERR_OK = 0,
    TROX_SB_ERR_NOT_COLLECTED = 0x1,
    TROX_SB_ERR_OUT_MEMORY_SRV = 0x2,
    TROX_SB_ERR_OUT_MEMORY_COL = 0x4,
    TROX_SB_ERR_NO_DMA = 0x8,
    TROX_SB_ERR_NO_SERVER = 0x10,
    TROX_SB_ERR_OLD_DATA = 0x20,
    TROX_SB_ERR_NO_FIRST = 0x40,
    TROX_SB_ERR_NOT_ASSM = 0x80,
    TROX_CH_ERR_EVB_DATA = 0x100,
    TROX_EP_ERR_EVB_SBLK = 0x200,
    TROX_SB_ERR_ML_SKIPPED = 0x400,
    TROX_SB_ERR_ML_NOOUT = 0x800,
    TROX_FE_ADC_OVERLOAD = 0x1000,
    TROX_FE_OUTSIDE_SL = 0x2000,
    TROX_FE_OUTSIDE_LR = 0x4000,
    TROX_FE_CONF = 0x8000,
    TROX_FE_INT_ERR = 0x10000,
    TROX_FE_TIME_INV = 0x20000,
    TROX_FE_EVID_INV = 0x40000,
    TROX_FE_DTYPE_INV = 0x80000,
    TROX_FE_MODE_NOTSUP = 0x100000,
    TROX_FE_SPECT_PARAM_INCONSIST = 0x200000,
    TROX_FE_NO_DATA = 0x400000,
    TROX_FE_DAQ_PARAM_INV = 0x800000,
    TROX_FE_DAQ_DISABLED = 0x1000000,
    TROX_FE_DAQ_BUF_SKIPPED = 0x2000000,
    TROX_SD_ERR_NOT_ASSM = 0x4000000,
    TROX_CHAN_ZIP_FLAG = 0x40000000
};

/// Bits of `trox_zip_header::zip_flags`.
inline constexpr std::uint32_t trox_zip_zlib = 1;
inline constexpr std::uint32_t trox_zip_lzo = 2;

/// How an event's channels are laid out; `get_event_struct_type` gives it for an event type.
enum TROX_EV_STRUCT_TYPE : int {
    TROX_EV_STRUCT_UNKNOWN = 0,
    TROX_EV_STRUCT_LOCAL = 1,
    TROX_EV_STRUCT_GLOBAL = 2,
    TROX_EV_STRUCT_ML = 3,
    TROX_EV_STRUCT_UNDEF = 4
};

/// Data types of the control system that this library looks at; the full list belongs to that system.
enum OrvelDataTypeId : int {
    DATA_INT = 1,
    DATA_FLOAT = 2,
    DATA_STRING = 3,
    DATA_SPECTRUM = 19,
    DATA_IMAGE = 22,
    DATA_A_FLOAT = 100,
    DATA_A_INT = 105
};

// ---------------------------------------------------------------------------------------------------
// Results
// ---------------------------------------------------------------------------------------------------

/// Where one channel's record of one event lies in memory: addresses of the event header, the server block
/// head, the channel sub-head and the payload behind it. 0 means "absent".
struct trox_event_chan_ptr_long_entry {
    std::uint64_t evhd;
    std::uint64_t sbhd;
    std::uint64_t chhd;
    std::uint64_t data;
};

/// One channel's decoded record of one event (legacy and 2010). The first element of `sbchdata` is in use.
struct trox_channel_entry_long {
    trox_time_id event_id;
    trox_event_chan_ptr_long_entry sbchdata[8];
};
struct trox_channel_entry_long_2024 {
    trox_time_id_2024 event_id;
    trox_event_chan_ptr_long_entry sbchdata[8];
};

/// A reader's slot for one requested channel: the channel and its own copies of the last record. Owned by
/// the reader; `res` points at `evhd`, `sbhd` and `data`.
struct trox_daq_reader_result_entry {
    trox_daq_chan_param chan;
    trox_channel_entry_long res;
    trox_eventheader evhd;
    trox_serv_block_head sbhd;
    std::int32_t slow;    ///< the channel has delivered an update block
    std::int32_t updated; ///< the channel took part in the current event
    trox_serv_block_subhead* data;
};
struct trox_daq_reader_result_entry_2010 {
    trox_daq_chan_param_2010 chan;
    trox_channel_entry_long res;
    trox_eventheader evhd;
    trox_serv_block_head_2010 sbhd;
    std::int32_t slow;
    std::int32_t updated;
    trox_serv_block_subhead_2010* data;
};
struct trox_daq_reader_result_entry_2024 {
    trox_daq_chan_param_2010 chan;
    trox_channel_entry_long_2024 res;
    trox_eventheader_2024 evhd;
    trox_serv_block_head_2024 sbhd;
    std::string full_chan_name; ///< `name`, or `name:subchan`
    std::int32_t slow;
    std::int32_t updated;
    trox_serv_block_subhead_2010* data;
};

// ---------------------------------------------------------------------------------------------------
// Requests
// ---------------------------------------------------------------------------------------------------

/// What a caller wants read (legacy and 2010). A zero means "open" or "not given", but for `period`: a reader takes
/// over the whole request, and has no defaults for what is zero in it.
struct trox_daq_request {
    trox_time_id start_time{}; ///< first event or time
    trox_time_id stop_time{};  ///< last event or time
    std::int32_t run_first = 0;
    std::int32_t run_last = 0;
    char exp_name[32]{};    ///< experiment
    char stream_name[32]{}; ///< DAQ stream
    std::string cdir;       ///< directory of the run catalogue
    std::string ddir;       ///< data directory, or a list of them
    time_stamp time_diff{}; ///< tolerance when channels are synchronised by time (a duration)
    /// Distance between events: a number step and a time step; {1, {0, 100000}} is every event, ten a second. Never
    /// zero: a step of 0 leads back to the event at hand, and requests of the next one deliver it for ever.
    trox_time_id period{};
    std::int32_t synch_mode = 0;
};
/// The same for 2024.
struct trox_daq_request_2024 {
    trox_time_id_2024 start_time{};
    trox_time_id_2024 stop_time{};
    std::int32_t run_first = 0;
    std::int32_t run_last = 0;
    char exp_name[32]{};
    char stream_name[32]{};
    std::string cdir;
    std::string ddir;
    time_stamp time_diff{};
    trox_time_id_2024 period{};
    std::int32_t synch_mode = 0;
};

// ---------------------------------------------------------------------------------------------------
// Channel descriptions
// ---------------------------------------------------------------------------------------------------

/// Meaning of one bit of a channel.
struct bit_descr {
    std::int32_t bit = 0;
    char bit_name[64]{};
    char bit_desc[80]{};
};

/// Meaning of one statistics value of a dimension.
struct stat_descr {
    std::int32_t stat = 0;
    char stat_name[64]{};
    char stat_desc[80]{};
    char units[16]{};
};

/// Meaning of one dimension of a channel. Owns its `stats`.
struct dim_descr {
    std::int32_t dim = 0;
    char dim_name[64]{};
    char dim_desc[80]{};
    char units[16]{};
    std::int32_t nstats = 0;
    std::vector<stat_descr*> stats;

    dim_descr() = default;
    dim_descr(const dim_descr&) = delete;
    dim_descr& operator=(const dim_descr&) = delete;
    ~dim_descr()
    {
        for (auto* stat : stats) {
            delete stat;
        }
    }
};

/// A channel's description, from the file's XML channel descriptions. Owns its `bits` and `dims`.
struct chan_descr_2010 {
    std::int32_t stream = 0;
    std::uint32_t ev_type = 0; ///< mask of the event types that carry the channel
    std::int32_t count = 0;    ///< number of events in the file that carry it
    std::uint32_t dtype = 0;   ///< an OrvelDataTypeId
    std::int32_t db_key = 0;
    char prop_name[256]{};
    char daq_name[256]{}; ///< the name under which the file stores it
    char prop_desc[256]{};
    char units[16]{};
    std::int32_t max_size = 0; ///< bytes of the largest payload
    std::int32_t nbits = 0;
    std::vector<bit_descr*> bits;
    std::int32_t ndims = 0;
    std::vector<dim_descr*> dims;
    char sb_name[256]{}; ///< server block
    std::int32_t set_point = 0;
    char subsystem[64]{};

    chan_descr_2010() = default;
    chan_descr_2010(const chan_descr_2010&) = delete;
    chan_descr_2010& operator=(const chan_descr_2010&) = delete;
    ~chan_descr_2010()
    {
        for (auto* bit : bits) {
            delete bit;
        }
        for (auto* dim : dims) {
            delete dim;
        }
    }
};

// ---------------------------------------------------------------------------------------------------
// Front end
// ---------------------------------------------------------------------------------------------------

/// One property that the property front end is asked for.
struct trox_sprop {
    const char* name;
    std::int32_t len;
    const char* prname;
    std::int32_t prlen;
    std::int32_t nmemb;
    std::int32_t dtype;
};

/// The data files of one run and the run catalogue file that names them. Owns its strings.
struct trox_root_xml_files {
    std::vector<std::string*> rfiles;
    std::string* xmlfile = nullptr;

    trox_root_xml_files() = default;
    trox_root_xml_files(const trox_root_xml_files&) = delete;
    trox_root_xml_files& operator=(const trox_root_xml_files&) = delete;
    ~trox_root_xml_files()
    {
        for (auto* file : rfiles) {
            delete file;
        }
        delete xmlfile;
    }
};

// ---------------------------------------------------------------------------------------------------
// Status codes and modes
// ---------------------------------------------------------------------------------------------------

/// What a reader's operations answer.
enum trox_daq_reader_status : int {
    TROX_DAQ_READER_BAD_FILE_FORMAT = -9,
    TROX_DAQ_READER_NOT_ALLOWED = -8,
    TROX_DAQ_READER_INV_PARAM = -7,
    TROX_DAQ_READER_INTERN_ERROR = -6,
    TROX_DAQ_READER_NOT_FOUND = -5,
    TROX_DAQ_READER_FILES_NOT_FOUND = -10, // the youngest code, in the place of its meaning
    TROX_DAQ_READER_NOT_INIT = -4,
    TROX_DAQ_READER_OUT_OF_WINDOW = -3,
    TROX_DAQ_READER_NOT_READY = -2,
    TROX_DAQ_READER_NO_DATA = -1,
    TROX_DAQ_READER_OK = 0
};

/// What a slicer's operations answer.
enum trox_daq_slicer_status : int {
    TROX_DAQ_SLICER_NOT_ALLOWED = -8,
    TROX_DAQ_SLICER_INV_PARAM = -7,
    TROX_DAQ_SLICER_INTERN_ERROR = -6,
    TROX_DAQ_SLICER_NOT_FOUND = -5,
    TROX_DAQ_SLICER_NOT_INIT = -4,
    TROX_DAQ_SLICER_OUT_OF_WINDOW = -3,
    TROX_DAQ_SLICER_NOT_READY = -2,
    TROX_DAQ_SLICER_NO_DATA = -1,
    TROX_DAQ_SLICER_OK = 0
};

/// What a channel reader's operations answer.
enum trox_daq_read_chan_data_status : int {
    TROX_DAQ_READ_CHAN_INV_PARAM = -7,
    TROX_DAQ_READ_CHAN_INTERN_ERROR = -6,
    TROX_DAQ_READ_CHAN_NOT_FOUND = -5,
    TROX_DAQ_READ_CHAN_NOT_INIT = -4,
    TROX_DAQ_READ_CHAN_OUT_OF_WINDOW = -3,
    TROX_DAQ_READ_CHAN_NOT_READY = -2,
    TROX_DAQ_READ_CHAN_NO_DATA = -1,
    TROX_DAQ_READ_CHAN_OK = 0
};

/// Which event a reader is asked for.
enum trox_daq_read_chan_request_type : int {
    TROX_DAQ_READ_CHAN_EVENT_FIRST = -2,
    TROX_DAQ_READ_CHAN_EVENT_PREV = -1,
    TROX_DAQ_READ_CHAN_EVENT_CUR = 0,
    TROX_DAQ_READ_CHAN_EVENT_NEXT = 1,
    TROX_DAQ_READ_CHAN_EVENT_LAST = 2
};

/// How channels are matched to one event.
enum trox_daq_slicer_synch_mode : int {
    TROX_DAQ_SLICER_SYNCH_MODE_EVID = 0, ///< by event number
    TROX_DAQ_SLICER_SYNCH_MODE_TIME = 1  ///< by time, within a tolerance
};

/// Data file formats, as the run catalogue's lookups take them.
enum : int {
    TROX_DAQ_DATA_ROOT_FORMAT = 0,
    TROX_DAQ_DATA_RAW_FORMAT = 1,
    TROX_DAQ_DATA_BOTH_FORMAT = 2,
    TROX_DAQ_DATA_RAW64_FORMAT = 3,
    TROX_DAQ_DATA_FORMAT_MAX = 4 ///< count, not a format
};

#pragma GCC visibility pop

#include "detail/event_layout.h"

#endif
