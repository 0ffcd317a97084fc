// The dump of a file's items, field by field. Included by dump.cpp.
#ifndef TROX_INSPECT_DUMP_ITEMS_INL
#define TROX_INSPECT_DUMP_ITEMS_INL

#include "dump.h"
#include "field_text.h"
#include "file_layout.h"
#include "payload_check.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <unordered_map>

namespace trox::inspect
{

template <class Generation> class file_dump
{
public:
    using format = file_format<Generation>;
    using word = typename format::word;
    using row = typename Generation::chan_ptr_entry;
    using subhead = typename Generation::subhead;

    file_dump(const input_file& file, const dump_options& options, const dump_sink& out)
        : file_(file), options_(options), out_(out), layout_(file), window_(file)
    {
    }

    file_items run()
    {
        for (const item& one : layout_.items()) {
            const bool is_wanted = !options_.item || *options_.item == one.kind;
            const bool is_of_channel =
                one.kind == item_kind::channel || one.kind == item_kind::dictionary || one.kind == item_kind::pointers;
            const bool is_left_out = (one.kind == item_kind::channel && !is_wanted_channel(one.channel)) ||
                                     (!options_.channel.empty() && !options_.item && !is_of_channel);
            if (is_wanted && !is_left_out) {
                item_ = &one;
                dump_item(one);
            }
        }
        return layout_.summary();
    }

    /// True when the index lists the wanted event, or a row leads to it.
    bool has_event()
    {
        for (const item& one : layout_.items()) {
            std::vector<std::uint64_t> positions;
            if (one.kind == item_kind::index && collect_headers(one, positions)) {
                return true;
            }
        }
        bool is_found = false;
        for (std::size_t c = 0; c < layout_.channels().size() && !is_found; ++c) {
            for_rows(c, [&](std::uint64_t, const row&) { is_found = true; });
        }
        return is_found;
    }

private:
    bool is_wanted_channel(const std::string& name) const
    {
        return options_.channel.empty() || options_.channel == name;
    }

    void dump_item(const item& one)
    {
        switch (one.kind) {
        case item_kind::file_head:
            show<file_head>("head", one.position);
            return;
        case item_kind::trailer:
            show<typename format::trailer>("trailer", one.position);
            return;
        case item_kind::references:
            show<typename Generation::file_reference_table>("table", one.position);
            return;
        case item_kind::dictionary:
            show_dictionary();
            return;
        case item_kind::index:
            show_index(one);
            return;
        case item_kind::pointers:
            show_pointers(one);
            return;
        case item_kind::environment:
            show_environment(one);
            return;
        case item_kind::descriptions:
            show_descriptions(one);
            return;
        case item_kind::event_headers:
            show<table_head<word>>("head", one.position);
            show_event_headers();
            return;
        case item_kind::server_blocks:
            show<table_head<word>>("head", one.position);
            show_server_blocks();
            return;
        case item_kind::channel:
            show_basket(one);
            return;
        case item_kind::unused:
            remark("", one.position, std::to_string(one.length) + " bytes that nothing leads to");
            return;
        }
    }

    // Fields.

    void emit(std::uint64_t offset, std::string record, std::string name, std::string raw, std::string value,
              std::string meaning)
    {
        out_({offset, item_->kind, item_->channel, std::move(record), std::move(name), std::move(raw), std::move(value),
              std::move(meaning)});
    }
    void remark(std::string record, std::uint64_t offset, std::string text)
    {
        emit(offset, std::move(record), "", "", "", std::move(text));
    }

    /// Shows a record's fields; of arrays, the elements that are not zero. False when it is not inside the file.
    template <class Record> bool show(const std::string& name, std::uint64_t position)
    {
        const unsigned char* bytes = window_.at(position, sizeof(Record));
        if (bytes == nullptr) {
            remark(name, position, "outside the file");
            return false;
        }
        unsigned char copy[sizeof(Record)]; // the window moves on while meanings are looked up
        std::memcpy(copy, bytes, sizeof copy);
        for (const field& one : record_fields<Record>::list) {
            for (std::size_t i = 0; i < one.count; ++i) {
                const unsigned char* element = copy + one.offset + i * one.size;
                if (one.count == 1 || value_of(one, element) != 0) {
                    const std::string index = one.count == 1 ? "" : "[" + std::to_string(i) + "]";
                    emit(position + one.offset + i * one.size, name, one.name + index, hex_bytes(element, one.size),
                         value_text(one, element), meaning_of(one, element, i));
                }
            }
        }
        return true;
    }

    std::string meaning_of(const field& one, const unsigned char* bytes, std::size_t index) const
    {
        const std::string_view name = one.name;
        const std::uint64_t value = value_of(one, bytes);
        if (one.kind == field_kind::time) {
            return time_text({trox_detail::load_big_endian<std::uint32_t>(bytes),
                              trox_detail::load_big_endian<std::uint32_t>(bytes + sizeof(std::uint32_t))});
        }
        if (name == "pattern" || name == "checksum") {
            return hex(value);
        }
        if (name == "event_type") {
            return value < trox_event_type_count ? event_type_name(static_cast<int>(value)) : "no event type";
        }
        if (name == "ev_mask") {
            return event_mask_text(static_cast<std::uint32_t>(value));
        }
        if (name == "dtype_mask") {
            return hex(value);
        }
        if (name == "dtype") {
            return block_type_text(static_cast<int>(value));
        }
        const bool is_status_of_block = name == "status" && item_->kind == item_kind::server_blocks;
        if (name == "error" || is_status_of_block) {
            return error_bits_text(static_cast<std::uint32_t>(value));
        }
        if (name == "zip_flags") {
            return (value & trox_zip_zlib) != 0 ? "zlib" : (value & trox_zip_lzo) != 0 ? "LZO1X" : "unknown";
        }
        if (name.ends_with("_ref") || name == "references" || name == "offset" || name == "evhd" || name == "sbhd" ||
            name == "chhd" || name == "data") {
            return place_of(value, name == "eite_pos_ref" ? event_type_name(static_cast<int>(index)) : "");
        }
        return "";
    }

    /// The item that a position lies in.
    std::string place_of(std::uint64_t position, const std::string& prefix) const
    {
        std::string text = hex(position);
        if (!prefix.empty()) {
            text = prefix + ": " + text;
        }
        if (position == 0) {
            return "absent";
        }
        const auto after = std::upper_bound(layout_.items().begin(), layout_.items().end(), position,
                                            [](std::uint64_t at, const item& one) { return at < one.position; });
        if (after == layout_.items().begin() || position >= file_.size()) {
            return text + ", outside the file";
        }
        const item& one = *std::prev(after);
        return position < one.end() ? text + ", in " + one.title() : text;
    }

    // Tables.

    void show_dictionary()
    {
        show<table_head<word>>("head", item_->position);
        std::uint64_t shown = 0;
        for (std::size_t i = 0; i < layout_.channels().size() && shown < options_.rows; ++i) {
            if (is_wanted_channel(layout_.channels()[i].name)) {
                show<typename Generation::chan_dictionary_entry>("entry " + std::to_string(i),
                                                                 layout_.channels()[i].offset);
                ++shown;
            }
        }
    }

    void show_index(const item& index)
    {
        using entry_head = typename Generation::event_index_head;
        using info = typename Generation::event_info;
        show<index_head<word>>("head", index.position);
        std::uint64_t at = index.position + sizeof(index_head<word>);
        for (std::uint64_t i = 0; at < index.end(); ++i) {
            const auto head = window_.load<entry_head>(at);
            const std::string name = "entry " + std::to_string(i);
            if (!head || static_cast<word>(head->length) < sizeof(entry_head) || !show<entry_head>(name, at)) {
                return;
            }
            const std::uint64_t count = (static_cast<word>(head->length) - sizeof(entry_head)) / sizeof(info);
            std::uint64_t shown = 0;
            for (std::uint64_t k = 0; k < count && shown < options_.rows; ++k) {
                const std::uint64_t position = at + sizeof(entry_head) + k * sizeof(info);
                const auto loaded = window_.load<info>(position);
                if (loaded && (!options_.event || *options_.event == loaded->event_number)) {
                    show<info>(name + " event " + std::to_string(k), position);
                    ++shown;
                }
            }
            at += static_cast<word>(head->length);
        }
    }

    /// Calls `use(index, row)` for the rows of a column in use that lead to the wanted event.
    template <class Use> void for_rows(std::size_t channel, Use use)
    {
        std::uint64_t shown = 0;
        for (std::uint64_t i = 0; i < layout_.rows() && shown < options_.rows; ++i) {
            const auto pointers = window_.load<row>(layout_.row_position(channel, i));
            if (!pointers || (pointers->evhd | pointers->sbhd | pointers->chhd | pointers->data) == 0 ||
                !leads_to_event(static_cast<std::uint64_t>(pointers->evhd))) {
                continue;
            }
            use(i, *pointers);
            ++shown;
        }
    }

    bool leads_to_event(std::uint64_t evhd) const
    {
        if (!options_.event) {
            return true;
        }
        const auto header = file_.load<typename Generation::event_header>(evhd);
        return header && header->event_number == *options_.event;
    }

    void show_pointers(const item& table)
    {
        show<pointers_head<word>>("head", table.position);
        for (std::size_t c = 0; c < layout_.channels().size(); ++c) {
            const std::string& name = layout_.channels()[c].name;
            if (is_wanted_channel(name)) {
                for_rows(c, [&](std::uint64_t i, const row&) {
                    show<row>(name + " row " + std::to_string(i), layout_.row_position(c, i));
                });
            }
        }
    }

    void show_environment(const item& table)
    {
        using entry = trox_env_dictionary_entry;
        show<table_head<word>>("head", table.position);
        const std::uint64_t count = (table.length - head_size<Generation>) / sizeof(entry);
        for (std::uint64_t i = 0; i < std::min(count, options_.rows); ++i) {
            show<entry>("entry " + std::to_string(i), table.position + head_size<Generation> + i * sizeof(entry));
        }
    }

    void show_descriptions(const item& table)
    {
        constexpr std::uint64_t most = 240;
        show<table_head<word>>("head", table.position);
        const std::uint64_t at = table.position + head_size<Generation>;
        const auto size = static_cast<std::size_t>(std::min(table.length - head_size<Generation>, most));
        const unsigned char* bytes = window_.at(at, size);
        if (bytes != nullptr && size != 0) {
            const field text{"xml", field_kind::text, 0, size, 1};
            emit(at, "text", text.name, hex_bytes(bytes, size), value_text(text, bytes),
                 table.length - head_size<Generation> > most ? "and so on" : "");
        }
    }

    // Events.

    void show_event_headers()
    {
        std::vector<std::uint64_t> positions;
        for (const item& one : layout_.items()) {
            if (one.kind == item_kind::index) {
                collect_headers(one, positions);
            }
        }
        std::sort(positions.begin(), positions.end());
        std::uint64_t shown = 0;
        for (std::size_t i = 0; i < positions.size() && shown < options_.rows; ++i) {
            if (leads_to_event(positions[i])) {
                show<typename Generation::event_header>("header " + std::to_string(i), positions[i]);
                ++shown;
            }
        }
    }

    /// Positions of all headers; true when the wanted event is among them.
    bool collect_headers(const item& index, std::vector<std::uint64_t>& positions)
    {
        bool is_listed = false;
        using entry_head = typename Generation::event_index_head;
        using info = typename Generation::event_info;
        std::uint64_t at = index.position + sizeof(index_head<word>);
        while (at < index.end()) {
            const auto head = window_.load<entry_head>(at);
            if (!head || static_cast<word>(head->length) < sizeof(entry_head)) {
                return is_listed;
            }
            const std::uint64_t end = at + static_cast<word>(head->length);
            for (at += sizeof(entry_head); at + sizeof(info) <= end; at += sizeof(info)) {
                if (const auto loaded = window_.load<info>(at)) {
                    positions.push_back(loaded->offset);
                    is_listed = is_listed || loaded->event_number == options_.event;
                }
            }
            at = end;
        }
        return is_listed;
    }

    /// Those that the rows of the wanted channels lead to.
    void show_server_blocks()
    {
        std::unordered_map<std::uint64_t, std::uint64_t> headers; // event header of each block
        for (std::size_t c = 0; c < layout_.channels().size(); ++c) {
            if (!is_wanted_channel(layout_.channels()[c].name)) {
                continue;
            }
            for (std::uint64_t i = 0; i < layout_.rows(); ++i) {
                const auto pointers = window_.load<row>(layout_.row_position(c, i));
                if (pointers && pointers->sbhd != 0) {
                    headers.emplace(pointers->sbhd, pointers->evhd);
                }
            }
        }
        std::vector<std::pair<std::uint64_t, std::uint64_t>> blocks(headers.begin(), headers.end());
        std::sort(blocks.begin(), blocks.end());
        std::uint64_t shown = 0;
        for (std::size_t i = 0; i < blocks.size() && shown < options_.rows; ++i) {
            if (leads_to_event(blocks[i].second)) {
                show<typename Generation::server_block_head>("block " + std::to_string(i), blocks[i].first);
                ++shown;
            }
        }
    }

    // Records.

    void show_basket(const item& basket)
    {
        show<table_head<word>>("head", basket.position);
        for (std::size_t c = 0; c < layout_.channels().size(); ++c) {
            if (layout_.channels()[c].basket == basket.position) {
                for_rows(c, [this](std::uint64_t i, const row& pointers) {
                    show_record("record " + std::to_string(i), static_cast<std::uint64_t>(pointers.chhd),
                                static_cast<std::uint64_t>(pointers.data));
                });
            }
        }
    }

    void show_record(const std::string& name, std::uint64_t position, std::uint64_t data)
    {
        const auto head = file_.load<subhead>(position);
        if (!show<subhead>(name + " sub-head", position) || !head) {
            return;
        }
        if ((static_cast<std::uint32_t>(head->error) & TROX_CHAN_ZIP_FLAG) != 0) {
            show<trox_zip_header>(name + " zip header", position + sizeof(subhead));
            return;
        }
        constexpr int type_mask = 0xFFFF;
        const int type = head->dtype & type_mask;
        const bool has_payload = head->ldata > static_cast<std::int64_t>(sizeof(subhead));
        if (may_lie_apart<Generation>(type)) {
            show_payload_heads(name, type, data);
        } else if (has_payload) {
            show_payload_heads(name, type, position + sizeof(subhead));
        }
    }

    void show_payload_heads(const std::string& name, int type, std::uint64_t at)
    {
        const std::string payload = name + " payload";
        switch (family_of(type)) {
        case payload_family::update:
            show<trox_upd_data_block>(payload, at);
            return;
        case payload_family::update_2010:
            show<trox_upd_data_block_2010>(payload, at);
            return;
        case payload_family::environment:
            show<trox_env_data_block>(payload, at);
            return;
        case payload_family::image:
            show<trox_image_frame_head>(payload, at);
            return;
        case payload_family::extended_image:
            show<trox_image_ext_frame_head>(payload, at);
            return;
        case payload_family::name_value:
            show<name_value_head>(payload, at);
            return;
        case payload_family::control_value:
            show<trox_eqdata_head>(payload, at);
            return;
        case payload_family::region:
            show<trox_roi_head>(name + " region", at);
            show<typename format::spectrum_head>(payload, at + sizeof(trox_roi_head));
            return;
        case payload_family::spectrum:
            show<typename format::spectrum_head>(payload, at);
            return;
        case payload_family::words:
        case payload_family::unassigned:
            return;
        }
    }

    const input_file& file_;
    const dump_options& options_;
    const dump_sink& out_;
    const file_layout<Generation> layout_;
    file_window window_;
    const item* item_ = nullptr;
};

} // namespace trox::inspect

#endif
