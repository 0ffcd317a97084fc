#include "record_check.h"

#include "detail/big_endian.h"
#include "event_util.h"
#include "tables.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <zlib.h>

#ifdef TROX_WITH_LZO
#include <lzo/lzo1x.h>
#endif

namespace trox::recovery
{
namespace
{

constexpr std::uint64_t longest_record = std::numeric_limits<std::int32_t>::max();

bool can_expand_to(std::uint64_t zipped, std::uint64_t original, bool lzo) noexcept
{
    constexpr std::uint64_t zlib_ratio = 1032;
    constexpr std::uint64_t lzo_ratio = 256;
    constexpr std::uint64_t allowance = 64;
    return original <= zipped * (lzo ? lzo_ratio : zlib_ratio) + allowance; // both are 32-bit counts
}

// Least bytes of a payload; nothing for a type that no reader knows. Only the type and the length decide whether a
// payload converts, so that a bare length can be asked about.
bool converts(std::int32_t dtype, std::uint64_t length)
{
    constexpr std::size_t longest_head = 512;
    std::array<unsigned char, longest_head> bytes{};
    const auto asked = static_cast<int>(std::min<std::uint64_t>(length, bytes.size()));
    return trox_convert_data(bytes.data(), bytes.data(), dtype, asked) == 0;
}

} // namespace

struct record_checker::stream {
    stream()
    {
        is_ready = inflateInit(&zlib) == Z_OK;
    }
    ~stream()
    {
        if (is_ready) {
            inflateEnd(&zlib);
        }
    }
    stream(const stream&) = delete;
    stream& operator=(const stream&) = delete;
    z_stream zlib{};
    bool is_ready;
};

record_checker::record_checker(found& file)
    : found_(file), stream_(std::make_unique<stream>()), budget_(4 * file.file.length())
{
}
record_checker::~record_checker() = default;

bool record_checker::read_subhead(std::uint64_t position, subhead_values& head)
{
    bytes_.resize(std::max(bytes_.size(), found_.layout.sizes().subhead));
    if (!found_.file.read(position, bytes_.data(), found_.layout.sizes().subhead)) {
        return false;
    }
    head = found_.layout.subhead(bytes_.data());
    if (!head.is_zipped() && (found_.unmarked.count(position) > 0 || proves_mark(position, head))) {
        found_.unmarked.insert(position);
        head.error |= TROX_CHAN_ZIP_FLAG;
    }
    return true;
}

bool record_checker::read_zip_header(std::uint64_t position, trox_zip_header& zip)
{
    unsigned char head[sizeof(trox_zip_header)];
    if (!found_.file.read(position, head, sizeof head)) {
        return false;
    }
    zip.zip_flags = trox_detail::load_big_endian<std::uint32_t>(head);
    zip.orig_length = trox_detail::load_big_endian<std::uint32_t>(head + 4);
    zip.zipp_length = trox_detail::load_big_endian<std::uint32_t>(head + 8);
    return true;
}

// A plain payload that begins with a zip header of exactly its length, and decompresses to what its type demands, is
// a compressed one.
bool record_checker::proves_mark(std::uint64_t position, const subhead_values& head)
{
    const auto size = found_.layout.sizes().subhead;
    const auto skipped = size + sizeof(trox_zip_header);
    checked_record record;
    if (head.ldata < 0 || static_cast<std::uint64_t>(head.ldata) <= skipped ||
        static_cast<std::uint64_t>(head.ldata) > found_.file.rest(position) ||
        !read_zip_header(position + size, record.zip) ||
        record.zip.zipp_length != static_cast<std::uint64_t>(head.ldata) - skipped ||
        (record.zip.zip_flags != trox_zip_zlib && record.zip.zip_flags != trox_zip_lzo) ||
        proven_plain_.count(position) > 0) {
        return false;
    }
    record.head = head;
    record.data = position + skipped;
    record.stored = record.zip.zipp_length;
    record.length = skipped + record.stored;
    unpack(record);
    const bool is_proof = record.damage.empty() && record.fault.empty();
    if (!is_proof) {
        proven_plain_.insert(position);
    }
    return is_proof;
}

bool record_checker::has_value(const subhead_values& head) const noexcept
{
    return found_.layout.is_update_type(head.dtype) || block_type(head.dtype) == TROX_ENV_BLOCK;
}

bool record_checker::is_slow(const subhead_values& head) const noexcept
{
    return !head.is_zipped() && has_value(head);
}

std::size_t record_checker::slow_size(const subhead_values& head) const noexcept
{
    return found_.layout.is_update_type(head.dtype) ? found_.layout.sizes().update : sizeof(trox_env_data_block);
}

bool record_checker::slow_time(const subhead_values& head, std::uint64_t data, time_stamp& time)
{
    const auto size = slow_size(head);
    bytes_.resize(std::max(bytes_.size(), size));
    if (!found_.file.read(data, bytes_.data(), size)) {
        return false;
    }
    if (found_.layout.is_update_type(head.dtype)) {
        time = found_.layout.update(bytes_.data()).time;
        return true;
    }
    const auto block = trox_detail::load_record<trox_env_data_block>(bytes_.data());
    time = {trox_detail::big_endian(block.env_ch_time.timeup), trox_detail::big_endian(block.env_ch_time.timelow)};
    return true;
}

std::string record_checker::check_slow(const channel& of, const subhead_values& head, std::uint64_t data)
{
    const auto size = slow_size(head);
    bytes_.resize(std::max(bytes_.size(), size));
    if (!found_.file.read(data, bytes_.data(), size)) {
        return "its data lie outside the file, or cannot be read";
    }
    return check_value(of, head, bytes_.data());
}

// Name or index of the channel in the value of a slow record.
std::string record_checker::check_value(const channel& of, const subhead_values& head, const unsigned char* value) const
{
    if (found_.layout.is_update_type(head.dtype)) {
        const auto update = found_.layout.update(value);
        if (!of.name.empty() && update.name.text != of.name) {
            return "its data carry the name of another channel";
        }
        return {};
    }
    const auto index = trox_detail::load_big_endian<std::int32_t>(value);
    if (of.environment_index && index != *of.environment_index) {
        return "its data carry the index of another channel";
    }
    return {};
}

checked_record record_checker::check(const channel& of, std::uint64_t subhead, std::uint64_t data, std::uint64_t end)
{
    checked_record record;
    const auto size = found_.layout.sizes().subhead;
    if (subhead > end || size > end - subhead || !read_subhead(subhead, record.head)) {
        record.damage = "its sub-head lies outside the basket, or cannot be read";
        return record;
    }
    found_.advance(static_cast<std::uint64_t>(std::max(record.head.ldata, 0)));
    if (record.head.name.text != of.subhead) {
        record.damage = "its sub-head does not carry the channel's name";
        return record;
    }
    record.is_slow = is_slow(record.head);
    const auto room = end - subhead - size;
    if (record.is_slow) {
        const auto bytes = slow_size(record.head);
        record.data = data;
        record.stored = static_cast<std::uint32_t>(bytes);
        record.length = size + bytes;
        const bool fits = data <= end && bytes <= end - data;
        record.damage = record.head.ldata < 0 ? "its length is negative"
                        : fits                ? check_slow(of, record.head, data)
                                              : std::string("its data lie outside the basket");
        return record;
    }
    if (record.head.ldata < 0 || static_cast<std::uint64_t>(record.head.ldata) > size + room) {
        record.damage = "its length passes the end of the basket";
        return record;
    }
    record.data = subhead + size;
    if (record.head.is_zipped()) {
        check_zipped(of, record, room);
    } else {
        check_plain(record);
    }
    return record;
}

void record_checker::check_type(checked_record& record, std::uint64_t payload) const
{
    if (converts(record.head.dtype, payload)) {
        return;
    }
    const auto type = std::to_string(block_type(record.head.dtype));
    if (converts(record.head.dtype, 0)) {
        record.damage = "its payload is too short for block type " + type;
    } else if (record.head.is_zipped() || !found_.options.keep_unknown_types) {
        record.damage = "block type " + type + " is not known";
    }
}

// Whether the payload has the length that its heads announce; its begin is at hand.
void record_checker::check_payload(checked_record& record, std::uint64_t payload) const
{
    check_type(record, payload);
    if (!record.damage.empty()) {
        return;
    }
    const auto faults = found_.layout.generation() == writer::generation::legacy
                            ? inspect::check_payload<trox_spect_head>(record.head.dtype, begin_, payload)
                            : inspect::check_payload<trox_spect_head_2010>(record.head.dtype, begin_, payload);
    for (const auto& fault : faults) {
        if (inspect::info_of(fault.code).level == inspect::severity::error) {
            record.fault = "its payload has " + fault.found + ", and its heads demand " + fault.expected;
            return;
        }
    }
}

void record_checker::check_plain(checked_record& record)
{
    const auto size = found_.layout.sizes().subhead;
    const auto length = static_cast<std::uint64_t>(record.head.ldata);
    record.stored = static_cast<std::uint32_t>(length > size ? length - size : 0);
    record.length = size + record.stored;
    if (record.stored == 0) {
        check_type(record, 0);
        return;
    }
    begin_.fill(0);
    if (!found_.file.read(record.data, begin_.data(), std::min<std::size_t>(begin_.size(), record.stored))) {
        record.damage = "its payload cannot be read";
        return;
    }
    check_payload(record, record.stored);
}

void record_checker::check_zipped(const channel& of, checked_record& record, std::uint64_t room)
{
    constexpr auto skipped = sizeof(trox_zip_header);
    if (skipped > room || !read_zip_header(record.data, record.zip)) {
        record.damage = "its zip header passes the end of the basket";
        return;
    }
    record.data += skipped;
    record.stored = record.zip.zipp_length;
    if (record.zip.zipp_length > room - skipped) {
        record.damage = "its compressed bytes pass the end of the basket";
        return;
    }
    record.length = found_.layout.sizes().subhead + skipped + record.stored;
    unpack(record);
    if (record.damage.empty() && has_value(record.head)) {
        record.damage = check_value(of, record.head, begin_.data());
    }
}

// Decompresses to see that it works, and looks at what comes out.
void record_checker::unpack(checked_record& record)
{
    const auto size = found_.layout.sizes().subhead;
    const bool zlib = (record.zip.zip_flags & trox_zip_zlib) != 0;
    const bool lzo = !zlib && (record.zip.zip_flags & trox_zip_lzo) != 0;
    begin_.fill(0);
    if (record.stored == 0 || record.zip.orig_length == 0) {
        record.damage = "it is compressed, and empty";
    } else if (!zlib && !lzo) {
        record.damage = "its compressor is not known";
    } else if (record.length > longest_record || record.zip.orig_length > longest_record - size ||
               !can_expand_to(record.zip.zipp_length, record.zip.orig_length, lzo)) {
        record.damage = "its lengths before and after compression do not fit each other";
    } else if (record.stored > budget_) {
        record.damage = "the file holds fewer compressed bytes than its records announce";
    } else {
        budget_ -= record.stored;
        record.damage = zlib ? unpack_zlib(record) : unpack_lzo(record);
    }
    if (record.damage.empty()) {
        check_payload(record, record.zip.orig_length);
    }
}

// Inflates into nowhere: only whether it works, the length, and the begin are asked for.
std::string record_checker::unpack_zlib(const checked_record& record)
{
    constexpr std::size_t piece = std::size_t{64} << 10;
    const std::string failed = "it does not decompress";
    auto& zlib = stream_->zlib;
    if (!stream_->is_ready || inflateReset(&zlib) != Z_OK) {
        return "no memory to decompress it";
    }
    bytes_.resize(std::max(bytes_.size(), 2 * piece));
    auto* const in = bytes_.data();
    auto* const out = in + piece;
    std::uint64_t produced = 0;
    std::uint64_t left = record.stored;
    auto at = record.data;
    int state = Z_OK;
    while (state == Z_OK && left > 0) {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, piece));
        if (!found_.file.read(at, in, count)) {
            return "its compressed bytes cannot be read";
        }
        at += count;
        left -= count;
        zlib.next_in = in;
        zlib.avail_in = static_cast<uInt>(count);
        do {
            zlib.next_out = out;
            zlib.avail_out = piece;
            state = inflate(&zlib, Z_NO_FLUSH);
            const auto more = piece - zlib.avail_out;
            if (produced < begin_.size()) {
                std::copy_n(out, std::min<std::uint64_t>(more, begin_.size() - produced), begin_.data() + produced);
            }
            produced += more;
        } while (state == Z_OK && (zlib.avail_in > 0 || zlib.avail_out == 0) && produced <= record.zip.orig_length);
        if (state == Z_BUF_ERROR && left > 0) {
            state = Z_OK; // wants more
        }
        if (produced > record.zip.orig_length) {
            return "it decompresses to another length";
        }
    }
    if (state != Z_STREAM_END) {
        return failed;
    }
    return produced == record.zip.orig_length ? std::string() : "it decompresses to another length";
}

// Memory then holds the compressed bytes, and the payload behind them.
bool record_checker::expand_lzo([[maybe_unused]] std::uint64_t data, [[maybe_unused]] std::uint32_t stored,
                                [[maybe_unused]] std::uint32_t original,
                                [[maybe_unused]] std::vector<unsigned char>& memory)
{
#ifdef TROX_WITH_LZO
    static const int init_error = lzo_init();
    memory.resize(std::size_t{stored} + original);
    lzo_uint produced = original;
    return init_error == LZO_E_OK && found_.file.read(data, memory.data(), stored) &&
           lzo1x_decompress_safe(memory.data(), stored, memory.data() + stored, &produced, nullptr) == LZO_E_OK &&
           produced == original;
#else
    return false;
#endif
}

std::string record_checker::unpack_lzo([[maybe_unused]] const checked_record& record)
{
#ifdef TROX_WITH_LZO
    std::vector<unsigned char> memory;
    try {
        if (!expand_lzo(record.data, record.stored, record.zip.orig_length, memory)) {
            return "it does not decompress";
        }
        std::copy_n(memory.data() + record.stored, std::min<std::size_t>(begin_.size(), record.zip.orig_length),
                    begin_.data());
        return {};
    } catch (const std::bad_alloc&) {
        return "no memory to decompress it";
    }
#else
    return "this build decompresses no LZO records, so that it cannot be checked";
#endif
}

bool record_checker::inflate_begin(const record& one, unsigned char* out, std::size_t size)
{
    constexpr std::size_t piece = 4096;
    auto& zlib = stream_->zlib;
    if (!stream_->is_ready || inflateReset(&zlib) != Z_OK) {
        return false;
    }
    bytes_.resize(std::max(bytes_.size(), piece));
    zlib.next_out = out;
    zlib.avail_out = static_cast<uInt>(size);
    int state = Z_OK;
    for (std::uint32_t done = 0; state == Z_OK && zlib.avail_out > 0 && done < one.stored;) {
        const auto count = std::min<std::uint32_t>(one.stored - done, piece);
        if (!found_.file.read(one.data + done, bytes_.data(), count)) {
            return false;
        }
        done += count;
        zlib.next_in = bytes_.data();
        zlib.avail_in = count;
        state = inflate(&zlib, Z_NO_FLUSH);
    }
    return zlib.avail_out == 0;
}

bool record_checker::read_payload(const record& one, const subhead_values& head, unsigned char* out, std::size_t size)
{
    if (!head.is_zipped()) {
        return size <= one.stored && found_.file.read(one.data, out, size);
    }
    unsigned char zip[sizeof(trox_zip_header)];
    if (!found_.file.read(one.data - sizeof zip, zip, sizeof zip)) {
        return false;
    }
    if ((trox_detail::load_big_endian<std::uint32_t>(zip) & trox_zip_zlib) != 0) {
        return inflate_begin(one, out, size);
    }
    const auto original = trox_detail::load_big_endian<std::uint32_t>(zip + 4);
    std::vector<unsigned char> memory;
    try {
        if (original < size || !expand_lzo(one.data, one.stored, original, memory)) {
            return false;
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    std::memcpy(out, memory.data() + one.stored, size);
    return true;
}

bool record_checker::read_value(const subhead_values& head, std::uint64_t subhead, std::uint64_t data,
                                unsigned char* out, std::size_t size)
{
    if (!head.is_zipped()) {
        return found_.file.read(data, out, size);
    }
    trox_zip_header zip{};
    record one;
    one.data = subhead + found_.layout.sizes().subhead + sizeof zip;
    if (!read_zip_header(one.data - sizeof zip, zip) || zip.zipp_length > found_.file.rest(one.data)) {
        return false;
    }
    one.stored = zip.zipp_length;
    return can_expand_to(zip.zipp_length, zip.orig_length, (zip.zip_flags & trox_zip_zlib) == 0) &&
           read_payload(one, head, out, size);
}

} // namespace trox::recovery
