#include "assembler.h"

#include "file_io.h"
#include "placement.h"

#include <string_view>

namespace trox::writer
{
namespace
{

constexpr unsigned char gap_byte = 0xA5;

std::uint64_t dictionary_length(const contents& file)
{
    return file.sizes().table_head + file.channels.size() * file.sizes().dictionary_entry;
}

std::uint64_t environment_length(const contents& file)
{
    return file.sizes().table_head + file.environment.size() * environment_entry_size;
}

// Two steps: `plan` finds the position of everything, `write` writes it in the order of positions.
class assembler
{
public:
    explicit assembler(contents& file)
        : file_(file), sizes_(file.sizes()), layout_(file.options.layout), random_(layout_.seed)
    {
    }

    file_map run()
    {
        file_.data.flush();
        xml_ = descriptions_text(file_);
        plan();
        write();
        return std::move(map_);
    }

private:
    // A table or basket: where it lies, how it is written, and how errors call it.
    struct planned {
        file_range* range;
        void (assembler::*write)(const planned&);
        std::string_view name;
        std::size_t channel = 0;
    };

    void plan()
    {
        map_.channels.resize(file_.channels.size());
        end_ = file_head_size;
        auto baskets = baskets_of_file();
        arrange(baskets.begin(), baskets.end(), layout_.baskets, random_);
        auto tables = tables_of_file();
        arrange(tables.begin(), tables.end(), layout_.tables, random_);
        items_ = std::move(baskets);
        items_.insert(items_.end(), tables.begin(), tables.end());
        for (const auto& item : items_) {
            place(item);
        }
        map_.references = {next_place(end_, layout_, random_), sizes_.references};
        end_ = map_.references.position + map_.references.length + layout_.trailer_gap;
        map_.trailer = {next_place(end_, layout_, random_), sizes_.trailer};
        map_.file_size = map_.trailer.position + map_.trailer.length;
        const auto limit = std::min(sizes_.max_file, file_.options.max_file_bytes.value_or(sizes_.max_file));
        if (map_.file_size > limit) {
            throw error(fault::too_large, file_.path + ": the file would have " + std::to_string(map_.file_size) +
                                              " bytes, with the gaps of its layout; the limit is " +
                                              std::to_string(limit));
        }
    }

    std::vector<planned> baskets_of_file()
    {
        map_.event_headers.length = sizes_.table_head + file_.data.size(file_.event_stream);
        map_.server_blocks.length = sizes_.table_head + file_.data.size(file_.block_stream);
        std::vector<planned> items = {{&map_.event_headers, &assembler::write_event_headers, "event headers"},
                                      {&map_.server_blocks, &assembler::write_server_blocks, "server block heads"}};
        for (std::size_t i = 0; i < file_.channels.size(); ++i) {
            if (!file_.channels[i].rows.empty()) {
                items.push_back({&map_.channels[i], &assembler::write_channel, file_.channels[i].name, i});
            }
        }
        return items;
    }

    std::vector<planned> tables_of_file()
    {
        map_.channel_dictionary.length = dictionary_length(file_);
        map_.event_index.length = event_index_length(file_);
        map_.pointers.length = pointers_length(file_);
        std::vector<planned> items = {
            {&map_.channel_dictionary, &assembler::write_dictionary, "the channel dictionary"},
            {&map_.event_index, &assembler::write_event_index, "the event index table"},
            {&map_.pointers, &assembler::write_pointers, "the pointers table"},
        };
        if (!file_.environment.empty() || layout_.empty_tables) {
            map_.environment.length = environment_length(file_);
            items.push_back({&map_.environment, &assembler::write_environment, "the environment dictionary"});
        }
        if (!xml_.empty() || layout_.empty_tables) {
            map_.descriptions.length = sizes_.table_head + xml_.size();
            items.push_back({&map_.descriptions, &assembler::write_descriptions, "the channel descriptions"});
        }
        return items;
    }

    void place(const planned& item)
    {
        item.range->position = next_place(end_, layout_, random_);
        if (item.write == &assembler::write_channel) {
            item.range->length = place_channel(file_, item.channel, item.range->position).end - item.range->position;
        }
        if (item.range->length > sizes_.max_table) {
            throw error(fault::too_large, file_.path + ": " + std::string(item.name) + " would have " +
                                              std::to_string(item.range->length) + " bytes; the limit is " +
                                              std::to_string(sizes_.max_table));
        }
        end_ = item.range->position + item.range->length;
    }

    void write()
    {
        atomic_file target(file_.path);
        out_ = &target.out();
        bytes_.put_bytes("TROXDAQ", 8);
        bytes_.put(static_cast<std::uint32_t>(file_.file_generation));
        bytes_.put(std::uint32_t{0});
        put_out();
        for (const auto& item : items_) {
            go_to(item.range->position);
            (this->*item.write)(item);
        }
        write_end();
        target.commit(file_.options.replace_existing, file_.options.sync);
    }

    void go_to(std::uint64_t position)
    {
        out_->fill(gap_byte, position - out_->position());
    }

    void put_out()
    {
        out_->write(bytes_.data(), bytes_.size());
        bytes_.clear();
    }

    void put_head(table_pattern pattern, const planned& item)
    {
        file_.encoding.put_table_head(bytes_, pattern, item.range->length);
        put_out();
    }

    void write_event_headers(const planned& item)
    {
        put_head(table_pattern::event_headers, item);
        file_.data.copy(file_.event_stream, 0, file_.data.size(file_.event_stream), *out_);
    }

    void write_server_blocks(const planned& item)
    {
        put_head(table_pattern::server_blocks, item);
        file_.data.copy(file_.block_stream, 0, file_.data.size(file_.block_stream), *out_);
    }

    void write_channel(const planned& item)
    {
        put_head(table_pattern::channel, item);
        const auto stream = file_.channels[item.channel].stream;
        const auto placed = place_channel(file_, item.channel, item.range->position);
        if (placed.fragments.empty()) {
            file_.data.copy(stream, 0, file_.data.size(stream), *out_);
            return;
        }
        for (const auto& part : placed.fragments) {
            go_to(part.position);
            write_fragment(stream, part);
        }
        go_to(placed.end);
    }

    void write_fragment(std::size_t stream, const fragment& part)
    {
        auto source = part.source;
        auto length = part.length;
        if (part.ldata >= 0) {
            const auto before = sizes_.subhead - sizeof(std::int32_t);
            file_.data.copy(stream, source, before, *out_);
            bytes_.put(part.ldata);
            put_out();
            source += sizes_.subhead;
            length -= sizes_.subhead;
        }
        file_.data.copy(stream, source, length, *out_);
    }

    void write_dictionary(const planned& item)
    {
        put_head(table_pattern::channel_dictionary, item);
        for (const auto& channel : file_.channels) {
            file_.encoding.put_dictionary_entry(bytes_,
                                                {channel.key, channel.name, channel.event_mask, channel.dtype_mask,
                                                 static_cast<std::int32_t>(channel.rows.size())});
            put_out();
        }
    }

    void write_event_index(const planned&)
    {
        std::uint64_t types = 0;
        for (const auto& events : file_.events) {
            types += events.empty() ? 0 : 1;
        }
        file_.encoding.put_table_head(bytes_, table_pattern::event_index, types);
        put_out();
        for (std::size_t type = 0; type < file_.events.size(); ++type) {
            if (!file_.events[type].empty()) {
                references_.event_entries[type] = out_->position();
                write_event_entry(static_cast<std::int32_t>(type), file_.events[type]);
            }
        }
    }

    void write_event_entry(std::int32_t type, const std::vector<indexed_event>& events)
    {
        const auto earlier = [](const indexed_event& a, const indexed_event& b) {
            return std::pair(a.time.timeup, a.time.timelow) < std::pair(b.time.timeup, b.time.timelow);
        };
        const auto first = std::min_element(events.begin(), events.end(), earlier);
        const auto last = std::max_element(events.begin(), events.end(), earlier);
        file_.encoding.put_index_head(bytes_, {type, first->time, last->time, first->number, last->number,
                                               sizes_.index_head + events.size() * sizes_.index_info});
        for (const auto& event : events) {
            file_.encoding.put_index_info(bytes_, event.time, event.number, event_position(event.index));
            put_out();
        }
    }

    std::uint64_t event_position(std::uint32_t index) const
    {
        return map_.event_headers.position + sizes_.table_head + std::uint64_t{index} * sizes_.event_header;
    }

    std::uint64_t block_position(std::uint32_t index) const
    {
        return map_.server_blocks.position + sizes_.table_head + std::uint64_t{index} * sizes_.server_head;
    }

    void write_pointers(const planned& item)
    {
        const auto rows = file_.largest_count + layout_.spare_rows;
        file_.encoding.put_table_head(bytes_, table_pattern::pointers, item.range->length);
        file_.encoding.put_word(bytes_, rows);
        put_out();
        for (std::size_t i = 0; i < file_.channels.size(); ++i) {
            const auto& channel = file_.channels[i];
            if (!channel.rows.empty()) {
                write_column(channel, place_channel(file_, i, map_.channels[i].position));
            }
            out_->fill(0, (rows - channel.rows.size()) * sizes_.pointers_entry);
        }
    }

    void write_column(const channel& channel, const placement& placed)
    {
        for (std::size_t i = 0; i < channel.rows.size(); ++i) {
            const auto& row = channel.rows[i];
            file_.encoding.put_pointers(bytes_, {event_position(row.event), block_position(row.block),
                                                 placed.rows[i].first, placed.rows[i].second});
            put_out();
        }
    }

    void write_environment(const planned& item)
    {
        put_head(table_pattern::environment, item);
        for (const auto& entry : file_.environment) {
            bytes_.put(entry.key);
            bytes_.put(entry.index);
        }
        put_out();
    }

    void write_descriptions(const planned& item)
    {
        put_head(table_pattern::descriptions, item);
        out_->write(xml_.data(), xml_.size());
    }

    void write_end()
    {
        references_.event_index = map_.event_index.position;
        references_.dictionary = map_.channel_dictionary.position;
        references_.pointers = map_.pointers.position;
        references_.environment = map_.environment.position;
        references_.descriptions = map_.descriptions.position;
        references_.event_headers = map_.event_headers.position;
        references_.server_blocks = map_.server_blocks.position;
        for (const auto& basket : map_.channels) {
            if (basket.length > 0) {
                references_.channel = basket.position;
                break;
            }
        }
        go_to(map_.references.position);
        byte_buffer references;
        file_.encoding.put_references(references, references_);
        out_->write(references.data(), references.size());
        go_to(map_.trailer.position);
        file_.encoding.put_trailer(bytes_, map_.references.position, references);
        put_out();
    }

    contents& file_;
    const format_sizes& sizes_;
    const layout_options& layout_;
    random_numbers random_;
    std::string xml_;
    std::vector<planned> items_;
    std::uint64_t end_ = 0;
    file_map map_;
    reference_values references_{};
    buffered_output* out_ = nullptr;
    byte_buffer bytes_;
};

} // namespace

std::uint64_t event_index_length(const contents& file)
{
    const auto& sizes = file.sizes();
    std::uint64_t length = sizes.table_head;
    for (const auto& events : file.events) {
        length += events.empty() ? 0 : sizes.index_head + events.size() * sizes.index_info;
    }
    return length;
}

std::uint64_t pointers_length(const contents& file)
{
    const auto rows = file.largest_count + file.options.layout.spare_rows;
    return file.sizes().pointers_head + file.channels.size() * rows * file.sizes().pointers_entry;
}

file_map assemble(contents& file)
{
    return assembler(file).run();
}

} // namespace trox::writer
