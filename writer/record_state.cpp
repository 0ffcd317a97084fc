// Adding records to a file that is being written.
#include "assembler.h"
#include "file_state.h"
#include "payload_codec.h"

#include <algorithm>

namespace trox::writer
{

std::uint64_t file_writer::state::environment_growth(bool entry) const noexcept
{
    const bool is_first = file_->environment.empty() && !file_->options.layout.empty_tables;
    return (entry ? environment_entry_size : 0) + (is_first ? file_->sizes().table_head : 0);
}

std::uint64_t file_writer::state::projected_size() const noexcept
{
    if (!file_) {
        return map_.file_size;
    }
    const auto& sizes = file_->sizes();
    auto size = file_head_size + channel_bytes_ + sizes.references + file_->options.layout.trailer_gap + sizes.trailer;
    size += sizes.table_head + file_->data.size(file_->event_stream);
    size += sizes.table_head + file_->data.size(file_->block_stream);
    size += sizes.table_head + file_->channels.size() * sizes.dictionary_entry;
    size += event_index_length(*file_) + pointers_length(*file_);
    if (!file_->environment.empty() || file_->options.layout.empty_tables) {
        size += sizes.table_head + file_->environment.size() * environment_entry_size;
    }
    if (file_->options.layout.empty_tables) {
        size += sizes.table_head; // of the descriptions
    }
    if (event_) {
        const auto first = file_->events[static_cast<std::size_t>(event_->info.type)].empty();
        size += sizes.event_header + event_->blocks.size() * sizes.server_head + sizes.index_info;
        size += first ? sizes.index_head : 0;
    }
    return size;
}

void file_writer::state::check_file_size(std::uint64_t growth, const char* what) const
{
    const auto size = projected_size();
    if (size > limit_ || growth > limit_ - size) {
        refuse(fault::too_large,
               std::string(what) + " would pass the file's limit of " + std::to_string(limit_) + " bytes");
    }
}

channel& file_writer::state::require_record_place(channel_id id)
{
    require_open();
    const auto index = static_cast<std::uint32_t>(id);
    if (index >= file_->channels.size()) {
        refuse(fault::bad_value, "the file has no channel number " + std::to_string(index));
    }
    auto& channel = file_->channels[index];
    if (!event_ || event_->blocks.empty()) {
        refuse(fault::wrong_use, channel, "a record outside a server block");
    }
    if (!channel.rows.empty() && channel.rows.back().event == file_->event_count) {
        refuse(fault::wrong_use, channel, "a second record in one event");
    }
    return channel;
}

void file_writer::state::check_record(const channel& channel, const record& record) const
{
    const auto type = "block type " + std::to_string(record.dtype);
    if (!is_assigned_type(record.dtype)) {
        refuse(fault::bad_value, channel, type + " is not assigned");
    }
    if ((record.error & TROX_CHAN_ZIP_FLAG) != 0) {
        refuse(fault::bad_value, channel, "the error bits hold the mark of compressed records");
    }
    const auto head = fixed_head_size(record.dtype);
    if (record.data.size() < head && (record.data.size() != 0 || needs_payload(record.dtype))) {
        refuse(fault::bad_value, channel,
               "a payload of " + std::to_string(record.data.size()) + " bytes, " + type + " begins with " +
                   std::to_string(head));
    }
    if (record.data.size() != 0 && record.data.data() == nullptr) {
        refuse(fault::bad_value, channel, "a payload without bytes");
    }
    if (record.stored.value_or(channel.stored) == storage::lzo && !has_lzo()) {
        refuse(fault::unsupported, channel, "this build writes no LZO records");
    }
}

void file_writer::state::check_room(const channel& channel, std::uint64_t length, std::uint64_t payload) const
{
    const auto& sizes = file_->sizes();
    if (length > max_record_length || payload > max_record_length - sizes.subhead) {
        refuse(fault::too_large, channel,
               "a payload of " + std::to_string(payload) + " bytes is too long for a record");
    }
    if (length > sizes.max_block - event_->blocks.back().head.ltotal || length > sizes.max_event - event_->length) {
        refuse(fault::too_large, channel, "the server block, or the event, has no room for the record");
    }
    const auto basket = sizes.table_head + file_->data.size(channel.stream);
    if (length > sizes.max_table - basket) {
        refuse(fault::too_large, channel,
               "the channel's basket has no room for the record; its limit is " + std::to_string(sizes.max_table) +
                   " bytes");
    }
    const auto rows = channel.rows.size() == file_->largest_count ? file_->channels.size() * sizes.pointers_entry : 0;
    if (rows > sizes.max_table - pointers_length(*file_) || channel.rows.size() >= max_record_length) {
        refuse(fault::too_large, channel, "the pointers table has no room for the record");
    }
    const auto head = channel.rows.empty() ? sizes.table_head : 0;
    const auto size = projected_size();
    if (size > limit_ || length + rows + head > limit_ - size) {
        refuse(fault::too_large, channel,
               "the record would pass the file's limit of " + std::to_string(limit_) + " bytes");
    }
}

file_writer::state::prepared file_writer::state::prepare(const channel& channel, const record& record)
{
    const auto how = record.data.size() == 0 ? storage::plain : record.stored.value_or(channel.stored);
    prepared result{{channel.name, record.dtype, record.error, 0}, {}, record.data, record.data.size(), false};
    switch (record.order) {
    case byte_order::host:
        to_file_order(record.dtype, record.data.data(), record.data.size(), converted_);
        result.bytes = converted_;
        break;
    case byte_order::file:
        break;
    }
    if (how == storage::plain) {
        return result;
    }
    const auto flags = compressor_.compress(how, result.bytes.data(), result.bytes.size(), compressed_);
    result.zip = trox_zip_header{flags, static_cast<std::uint32_t>(record.data.size()),
                                 static_cast<std::uint32_t>(compressed_.size())};
    result.bytes = compressed_;
    return result;
}

void file_writer::state::add_record(channel_id id, const record& record)
{
    auto& channel = require_record_place(id);
    check_record(channel, record);
    if (record.data.size() > max_record_length - file_->sizes().subhead) {
        check_room(channel, record.data.size(), record.data.size());
    }
    auto ready = prepare(channel, record);
    const auto length = stored_length(ready);
    check_room(channel, length, ready.payload);
    ready.head.ldata = static_cast<std::int32_t>(length);
    commit(channel, ready, length);
}

void file_writer::state::add_record(channel_id id, const stored_record& record)
{
    auto& channel = require_record_place(id);
    if (record.bytes.size() != 0 && record.bytes.data() == nullptr) {
        refuse(fault::bad_value, channel, "a record without bytes");
    }
    prepared ready{
        {channel.name, record.dtype, record.error, 0}, {}, record.bytes, record.bytes.size(), record.ldata.has_value()};
    // The original length may be nonsense here: only what is stored must fit.
    const auto length = file_->sizes().subhead + (record.zip ? zip_head_size : 0) + std::uint64_t{record.bytes.size()};
    check_room(channel, length, 0);
    if (record.zip) {
        const auto zipped = record.zip->zipp_length.value_or(static_cast<std::uint32_t>(record.bytes.size()));
        ready.zip = trox_zip_header{record.zip->flags, record.zip->orig_length, zipped};
        ready.head.error |= TROX_CHAN_ZIP_FLAG;
        ready.payload = std::min<std::uint64_t>(record.zip->orig_length, max_record_length);
    }
    ready.head.ldata = record.ldata.value_or(static_cast<std::int32_t>(length));
    commit(channel, ready, length);
}

std::uint64_t file_writer::state::stored_length(const prepared& record) const noexcept
{
    return file_->sizes().subhead + (record.zip ? zip_head_size : 0) + std::uint64_t{record.bytes.size()};
}

bool file_writer::state::is_slow(const prepared& record) const noexcept
{
    const auto& sizes = file_->sizes();
    if (record.zip || record.own_ldata) {
        return false;
    }
    if (record.head.dtype == TROX_ENV_BLOCK) {
        return record.bytes.size() == fixed_head_size(TROX_ENV_BLOCK);
    }
    const auto& types = sizes.update_types;
    return std::find(types.begin(), types.end(), record.head.dtype) != types.end() &&
           record.bytes.size() == sizes.update_size;
}

void file_writer::state::commit(channel& channel, const prepared& record, std::uint64_t length)
{
    all_or_nothing([&] {
        auto& file = *file_;
        const bool slow = is_slow(record);
        const auto block = file.block_count + static_cast<std::uint32_t>(event_->blocks.size()) - 1;
        heads_.clear();
        auto head = record.head;
        if (record.zip) {
            head.error |= TROX_CHAN_ZIP_FLAG;
        }
        file.encoding.put_subhead(heads_, head);
        if (record.zip) {
            heads_.put(record.zip->zip_flags);
            heads_.put(record.zip->orig_length);
            heads_.put(record.zip->zipp_length);
        }
        channel_bytes_ += length + (channel.rows.empty() ? file.sizes().table_head : 0);
        channel.rows.push_back({file.event_count, block, static_cast<std::uint32_t>(length) & 0x7FFFFFFFU, slow});
        file.data.append(channel.stream, heads_.data(), heads_.size());
        if (record.bytes.size() != 0) {
            file.data.append(channel.stream, record.bytes.data(), record.bytes.size());
        }
        file.largest_count = std::max<std::uint64_t>(file.largest_count, channel.rows.size());
        channel.event_mask |= 1U << event_->info.type;
        channel.dtype_mask |= 1U << (static_cast<std::uint32_t>(head.dtype) & 31U);
        channel.largest_payload = std::max(channel.largest_payload, static_cast<std::uint32_t>(record.payload));
        channel.has_slow_rows = channel.has_slow_rows || slow;
        auto& open = event_->blocks.back().head;
        open.ltotal += length;
        ++open.channels;
        event_->length += length;
    });
}

} // namespace trox::writer
