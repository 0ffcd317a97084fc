// What a file writer takes: errors, channels, events, records and payloads, and the freedoms of the layout.
// Part of trox_writer.h, which tells how it is used.
#ifndef TROX_WRITER_RECORDS_H
#define TROX_WRITER_RECORDS_H

#include "event.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#pragma GCC visibility push(default)

namespace trox::writer
{

// ---------------------------------------------------------------------------------------------------
// Errors
// ---------------------------------------------------------------------------------------------------

/// Why a call was refused or failed.
enum class fault {
    wrong_use,    ///< the call does not fit the object's state: no event open, after finish, a second record
    bad_name,     ///< a file, channel, server, experiment or stream name, or an entry that repeats one
    bad_value,    ///< a value that the format does not know: block type, event type, payload, channel
    too_large,    ///< more than the generation's fields, tables or files can hold
    unsupported,  ///< a compressor that this build has not got
    input_output, ///< the operating system said no; the text has its words
};

/// The one exception of this library. The text names the file and, where there is one, channel and event.
/// After any fault but input_output the object is as before the call, and goes on; after input_output it
/// only takes `abandon` and destruction.
class error : public std::runtime_error
{
public:
    error(fault why, const std::string& text) : std::runtime_error(text), why_(why) {}
    fault why() const noexcept
    {
        return why_;
    }

private:
    fault why_;
};

// ---------------------------------------------------------------------------------------------------
// What is written
// ---------------------------------------------------------------------------------------------------

/// File generations; the value is the number in the file's head.
enum class generation : std::uint32_t { legacy = 2009, v2010 = 2010, v2024 = 2024 };

/// How a record's payload is stored.
enum class storage {
    plain,
    zlib, ///< zlib stream of the default level
    lzo,  ///< LZO1X-1; only in builds with LZO
};

/// Whether this build writes storage::lzo.
bool has_lzo() noexcept;

/// In which order the bytes of a payload are that a caller hands over.
enum class byte_order {
    host, ///< as a reader delivers it; the writer converts by block type
    file, ///< as in the file; stored as it is
};

/// Borrowed bytes; must outlive the call that they are passed to, no longer.
class bytes_view
{
public:
    bytes_view() = default;
    bytes_view(const void* data, std::size_t size) : data_(static_cast<const unsigned char*>(data)), size_(size) {}
    bytes_view(const std::vector<unsigned char>& bytes) : data_(bytes.data()), size_(bytes.size()) {}
    const unsigned char* data() const noexcept
    {
        return data_;
    }
    std::size_t size() const noexcept
    {
        return size_;
    }

private:
    const unsigned char* data_ = nullptr;
    std::size_t size_ = 0;
};

/// A channel of a file: its index in the channel dictionary, 0 for the first channel added.
enum class channel_id : std::uint32_t {};

/// Meanings of bits, dimensions and statistics in a channel's description; fields as in event.h.
struct bit_description {
    std::int32_t bit = 0;
    std::string name{};
    std::string text{};
};
struct statistic_description {
    std::int32_t stat = 0;
    std::string name{};
    std::string text{};
    std::string units{};
};
struct dimension_description {
    std::int32_t dim = 0;
    std::string name{};
    std::string text{};
    std::string units{};
    std::vector<statistic_description> stats{};
};

/// A channel's description. Text is UTF-8 (stored as ASCII with character references) without control
/// characters other than tab and line ends. The optional members are filled in when they are empty.
struct channel_description {
    std::string property{}; ///< property name
    std::string text{};
    std::string units{};
    std::string server{}; ///< server block
    std::string subsystem{};
    std::int32_t stream = 0;
    std::uint32_t data_type = 0; ///< an OrvelDataTypeId
    std::int32_t set_point = 0;
    std::optional<std::uint32_t> event_types{}; ///< mask; else that of the channel's records
    std::optional<std::int32_t> count{};        ///< else the channel's number of events
    std::optional<std::int32_t> key{};          ///< else the dictionary key
    std::optional<std::int32_t> max_size{};     ///< bytes; else that of the largest payload written
    std::vector<bit_description> bits{};
    std::vector<dimension_description> dimensions{};
};

/// A channel. `name` is printable ASCII of at most 255 characters; legacy: 79, and 31 up to a ':'.
struct channel_settings {
    std::string name{};
    std::optional<std::uint32_t> key{}; ///< dictionary key, unique in the file; else the last one plus 1, from 1
    std::optional<storage> stored{};    ///< else the file's default
    std::optional<std::int32_t> environment_index{}; ///< enters the channel in the environment dictionary
    std::optional<channel_description> description{};
    std::uint32_t event_mask = 0; ///< bits of the dictionary entry beside those of the channel's records
    std::uint32_t dtype_mask = 0;
};

/// An event. `number` has 32 bits in the legacy and 2010 generations; `type` is a TROX_EVTYPE.
struct event_info {
    std::uint64_t number = 0;
    time_stamp time{};
    std::int32_t type = TROX_EV_NORMAL;
    std::int32_t tmask = 0;
    std::int32_t status = 0;
};

/// One front-end server's block in an event. `name` is ASCII of at most 255 characters, legacy 47.
struct server_block_info {
    std::string name{};
    std::optional<time_stamp> time{};     ///< else the event's
    std::optional<std::int64_t> mpulse{}; ///< else the low 31 bits of the event number; 32 bits before 2024
    std::int32_t tmask = 0;
    std::uint32_t status = 0; ///< TROX_SBLOCK_ERROR bits
    /// The count of channels as stored, for a block that was read from another file; else the block's number of
    /// records.
    std::optional<std::int32_t> nchan{};
};

/// A payload with its block type; what the payload functions below return, in host order.
struct payload {
    std::int32_t dtype = 0;
    std::vector<unsigned char> bytes;
};

/// One channel's record. `dtype` is an assigned TROX_SUBBLOCK_TYPE; a payload is empty (a record without
/// payload; not for update and environment types) or at least as long as the type's fixed head.
struct record {
    std::int32_t dtype = 0;
    bytes_view data{};
    std::uint32_t error = 0; ///< TROX_SBLOCK_ERROR bits, all but TROX_CHAN_ZIP_FLAG
    byte_order order = byte_order::host;
    std::optional<storage> stored{}; ///< else the channel's
};

/// A record stored exactly as given, unchecked except that its lengths fit: for what was read from another
/// file, and for odd and damaged records.
struct stored_record {
    /// Zip header in front of the bytes; sets TROX_CHAN_ZIP_FLAG.
    struct zip_head {
        std::uint32_t flags = 0; ///< trox_zip_zlib, trox_zip_lzo, or anything
        std::uint32_t orig_length = 0;
        std::optional<std::uint32_t> zipp_length; ///< else the number of bytes
    };
    std::int32_t dtype = 0;
    bytes_view bytes{};      ///< compressed, or a plain payload in file order
    std::uint32_t error = 0; ///< as stored
    std::optional<zip_head> zip{};
    std::optional<std::int32_t> ldata{}; ///< else the right one
};

// ---------------------------------------------------------------------------------------------------
// How it is laid out
// ---------------------------------------------------------------------------------------------------

/// Order of things whose order the format leaves open.
enum class arrangement { tidy, reversed, shuffled };

/// How plain update, begin-of-run, end-of-run and (type 3) environment records lie in their basket. Only
/// for the generation's own types and records without extra bytes; others always have their own sub-head.
enum class update_layout {
    own,    ///< sub-head, data, sub-head, data, ...
    shared, ///< one sub-head for all records of equal type and error, their data behind it
    away,   ///< sub-heads first, data elsewhere in the basket
};

/// What the sub-head of a shared update block counts in `ldata`.
enum class shared_length { all_records, one_record };

/// The freedoms of the format. The defaults give a tidy file; equal options and seed give equal files.
struct layout_options {
    std::uint64_t seed = 0;
    arrangement baskets = arrangement::tidy; ///< tidy: event headers, server blocks, channels as added
    arrangement tables = arrangement::tidy;  ///< tidy: CDT, EIT, ECPT, EIDT, XCD
    arrangement records = arrangement::tidy; ///< within a channel's basket; row 0 is always first
    std::uint32_t max_gap = 0;               ///< up to so many unused bytes before baskets, tables, records
    bool odd_positions = false;              ///< every basket, table and record begins at an odd position
    update_layout updates = update_layout::own;
    shared_length shared = shared_length::all_records;
    std::uint32_t spare_rows = 0;  ///< rows of the pointers table beyond the largest count
    std::uint32_t trailer_gap = 0; ///< unused bytes between the file reference table and the trailer
    bool empty_tables = false;     ///< writes EIDT and XCD also when they are empty
};

/// Options of one file.
struct file_options {
    storage stored = storage::plain; ///< default of the channels
    layout_options layout{};
    bool replace_existing = false;                   ///< else a file of that name is refused
    bool sync = false;                               ///< `finish` waits until file and name are on the disk
    std::size_t buffer_bytes = std::size_t{8} << 20; ///< records held in memory before they are spooled
    std::string spool_directory{};                   ///< else the file's own directory
    std::optional<std::uint64_t> max_file_bytes{};   ///< a limit below the generation's
    std::string descriptions_xml{}; ///< text of the channel descriptions, as it is, instead of the channels' own
};

/// A piece of a file: its first byte and its length in bytes. Both 0 for what the file has not got.
struct file_range {
    std::uint64_t position = 0;
    std::uint64_t length = 0;
};

/// Where everything lies in a finished file.
struct file_map {
    std::uint64_t file_size = 0;
    file_range event_headers;
    file_range server_blocks;
    std::vector<file_range> channels{}; ///< baskets, in dictionary order
    file_range channel_dictionary;
    file_range event_index;
    file_range pointers;
    file_range environment;
    file_range descriptions;
    file_range references;
    file_range trailer;
};

// ---------------------------------------------------------------------------------------------------
// Payloads, in host order
// ---------------------------------------------------------------------------------------------------

/// Head values of a spectrum or trace. The legacy format has no groups, code and statistics: refused there.
struct spectrum_head {
    std::int32_t members = 1;
    float start = 0;
    float inc = 1;
    std::int32_t groups = 1;
    float group_inc = 0;
    std::int32_t code = 0;
    std::vector<trox_spect_statistics_2010> statistics{}; ///< none, or one per member
};

/// A spectrum or trace: `values` member by member, in each group by group; their number must be a multiple of
/// members x groups. Regions of interest (types 24 to 26) take the second form.
payload spectrum_payload(generation format, std::int32_t dtype, const std::vector<float>& values,
                         const spectrum_head& head = {});
payload region_payload(generation format, std::int32_t dtype, const trox_roi_head& region,
                       const std::vector<float>& values, const spectrum_head& head = {});

/// Images; `length` in the head is set to the number of pixel bytes.
payload image_payload(trox_image_frame_head head, bytes_view pixels);
payload image_payload(trox_image_ext_frame_head head, bytes_view pixels);

/// Named values; comment and names of at most 79 characters.
payload name_value_payload(std::int32_t id, const std::string& comment,
                           const std::vector<std::pair<std::string, float>>& values);

/// Control-system values: DATA_INT, DATA_FLOAT, arrays (also empty), text without a closing NUL; the last form takes
/// any type: `length` elements whose words or bytes are in `elements`.
payload control_payload(std::int32_t value, time_stamp time, std::int32_t status = 0);
payload control_payload(float value, time_stamp time, std::int32_t status = 0);
payload control_payload(const std::vector<std::int32_t>& values, time_stamp time, std::int32_t status = 0);
payload control_payload(const std::vector<float>& values, time_stamp time, std::int32_t status = 0);
payload control_payload(const std::string& text, time_stamp time, std::int32_t status = 0);
payload control_payload(std::int32_t type, std::int32_t length, bytes_view elements, time_stamp time,
                        std::int32_t status);

/// A slow value of the channel `name`, and the records of begin and end of run, which look alike.
payload update_payload(generation format, const std::string& name, float value, time_stamp time,
                       std::int32_t status = 0);
payload begin_of_run_payload(generation format, const std::string& name, float value, time_stamp time,
                             std::int32_t status = 0);
payload end_of_run_payload(generation format, const std::string& name, float value, time_stamp time,
                           std::int32_t status = 0);

/// An environment value; `index` is the channel's in the environment dictionary.
payload environment_payload(std::int32_t index, float value, time_stamp time, std::int32_t status = 0);

} // namespace trox::writer

#pragma GCC visibility pop

#endif
