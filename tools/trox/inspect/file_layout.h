// Where the tables and baskets of a file lie, as far as its references lead there. Internal to the inspecting tools.
#ifndef TROX_INSPECT_FILE_LAYOUT_H
#define TROX_INSPECT_FILE_LAYOUT_H

#include "dump.h"
#include "file_format.h"
#include "file_probe.h"
#include "input_file.h"
#include "items.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trox::inspect
{

/// One entry of the dictionary.
struct layout_channel {
    std::string name{};
    std::int64_t count = 0;
    std::uint64_t offset = 0; ///< of the entry
    std::uint64_t basket = 0; ///< 0: none that is found
};

/// The layout of a file; what cannot be found is left out, with a remark.
template <class Generation> class file_layout
{
public:
    using format = file_format<Generation>;
    using word = typename format::word;
    using row = typename Generation::chan_ptr_entry;
    using references_table = typename Generation::file_reference_table;

    explicit file_layout(const input_file& file) : window_(file), file_(file)
    {
        find_ends();
        if (references_) {
            find_tables();
            find_channels();
        }
        sort_and_fill(items_, file.size());
    }

    file_items summary() const
    {
        file_items all{format::id, file_.size(), items_, {}, remarks_};
        for (const layout_channel& channel : channels_) {
            all.channels.push_back(channel.name);
        }
        return all;
    }
    const std::vector<item>& items() const noexcept
    {
        return items_;
    }
    const std::vector<layout_channel>& channels() const noexcept
    {
        return channels_;
    }
    std::uint64_t rows() const noexcept ///< of each column, as far as the file holds them
    {
        return rows_;
    }
    std::uint64_t row_position(std::size_t channel, std::uint64_t index) const noexcept
    {
        return references_->ecp_ref + sizeof(pointers_head<word>) + (channel * rows_ + index) * sizeof(row);
    }

private:
    void find_ends()
    {
        if (file_.size() >= sizeof(file_head)) {
            items_.push_back({item_kind::file_head, {}, 0, sizeof(file_head)});
        }
        const auto at = trailer_position<Generation>(file_);
        const auto trailer = at ? file_.load<typename format::trailer>(*at) : std::nullopt;
        auto position = trailer && is_references<Generation>(file_, trailer->references)
                            ? std::optional<std::uint64_t>(trailer->references)
                            : std::nullopt;
        if (position) {
            items_.push_back({item_kind::trailer, {}, *at, sizeof *trailer});
        } else {
            remarks_.push_back("the trailer does not lead to a file reference table");
            position = search_references<Generation>(file_);
        }
        if (!position) {
            remarks_.push_back("there is no file reference table near the end of the file");
            return;
        }
        references_ = file_.load<references_table>(*position);
        items_.push_back({item_kind::references, {}, *position, sizeof(references_table)});
    }

    /// Adds an item whose length stands in its head.
    void add(item_kind kind, std::uint64_t position, std::uint64_t pattern, std::string channel = {})
    {
        const auto head = position == 0 ? std::nullopt : window_.load<table_head<word>>(position);
        if (position == 0) {
            return;
        }
        item one{kind, std::move(channel), position, 0};
        if (!head) {
            remarks_.push_back(one.title() + ": position " + hex(position) + " is outside the file");
            return;
        }
        if (head->pattern != pattern) {
            remarks_.push_back(one.title() + " at " + hex(position) + ": pattern " + hex(head->pattern));
        }
        one.length = head->length;
        if (one.length < sizeof *head || one.length > file_.size() - position) {
            remarks_.push_back(one.title() + " at " + hex(position) + ": length " + std::to_string(one.length) +
                               " does not fit the file");
            one.length = sizeof *head;
        }
        items_.push_back(std::move(one));
    }

    void find_tables()
    {
        add(item_kind::event_headers, references_->evhdb_ref, event_headers_pattern);
        add(item_kind::server_blocks, references_->srvbb_ref, server_blocks_pattern);
        add(item_kind::dictionary, references_->cdt_ref, dictionary_pattern);
        add(item_kind::pointers, references_->ecp_ref, pointers_pattern);
        add(item_kind::environment, references_->eidt_ref, environment_pattern);
        add(item_kind::descriptions, references_->xcd_ref, descriptions_pattern);
        find_index();
    }

    void find_index()
    {
        using entry_head = typename Generation::event_index_head;
        const std::uint64_t position = references_->eit_pos_ref;
        const auto head = position == 0 ? std::nullopt : window_.load<index_head<word>>(position);
        if (!head) {
            return;
        }
        std::uint64_t end = position + sizeof *head;
        for (std::uint64_t i = 0; i < std::min<std::uint64_t>(head->nevent_types, trox_event_type_count); ++i) {
            const auto entry = window_.load<entry_head>(end);
            const std::uint64_t length = entry ? static_cast<word>(entry->length) : 0;
            if (length < sizeof(entry_head) || length > file_.size() - end) {
                remarks_.push_back("index: entry " + std::to_string(i) + " at " + hex(end) + " does not fit the file");
                break;
            }
            end += length;
        }
        items_.push_back({item_kind::index, {}, position, end - position});
    }

    void find_channels()
    {
        using entry = typename Generation::chan_dictionary_entry;
        const auto dictionary = std::find_if(items_.begin(), items_.end(),
                                             [](const item& one) { return one.kind == item_kind::dictionary; });
        const std::uint64_t count =
            dictionary == items_.end() ? 0 : (dictionary->length - head_size<Generation>) / sizeof(entry);
        const std::uint64_t begin = references_->cdt_ref + head_size<Generation>;
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto loaded = window_.load<entry>(begin + i * sizeof(entry));
            if (!loaded) {
                break;
            }
            channels_.push_back({{loaded->chan_name, strnlen(loaded->chan_name, sizeof loaded->chan_name)},
                                 loaded->count,
                                 begin + i * sizeof(entry),
                                 0});
        }
        const auto head =
            references_->ecp_ref == 0 ? std::nullopt : window_.load<pointers_head<word>>(references_->ecp_ref);
        if (!head || channels_.empty()) {
            return;
        }
        const std::uint64_t room = (file_.size() - references_->ecp_ref - sizeof *head) / sizeof(row);
        rows_ = std::min<std::uint64_t>(head->maxev, room / channels_.size());
        for (std::size_t i = 0; i < channels_.size(); ++i) {
            find_basket(i);
        }
    }

    void find_basket(std::size_t index)
    {
        const auto first = rows_ == 0 ? std::nullopt : window_.load<row>(row_position(index, 0));
        const auto position = first ? static_cast<std::uint64_t>(first->chhd) : 0;
        if (position > head_size<Generation>) {
            const std::size_t before = items_.size();
            add(item_kind::channel, position - head_size<Generation>, channel_pattern, channels_[index].name);
            channels_[index].basket = items_.size() > before ? position - head_size<Generation> : 0;
        }
    }

    file_window window_;
    const input_file& file_;
    std::optional<references_table> references_;
    std::vector<item> items_;
    std::vector<std::string> remarks_;
    std::vector<layout_channel> channels_;
    std::uint64_t rows_ = 0;
};

} // namespace trox::inspect

#endif
