#include "write.h"

#include "detail/big_endian.h"
#include "record_check.h"
#include "trox_writer.h"

#include <algorithm>
#include <map>
#include <new>
#include <numeric>

namespace trox::recovery
{
namespace
{

class file_maker
{
public:
    file_maker(found& file, const std::string& path)
        : file_(file), checker_(file), out_(path, file.layout.generation(), options())
    {
    }

    written_file run()
    {
        add_channels();
        for (const auto& [key, index] : file_.environment) {
            out_.add_environment_entry(key, index);
        }
        order_blocks();
        order_records();
        for (std::uint32_t i = 0; i < file_.events.size(); ++i) {
            if (file_.events[i].lost.empty()) {
                add_event(i);
            }
        }
        out_.finish();
        return std::move(written_);
    }

private:
    writer::file_options options() const
    {
        writer::file_options result;
        result.replace_existing = true; // a name of its own, see recover_file
        result.descriptions_xml = file_.descriptions;
        result.sync = file_.options.sync;
        return result;
    }

    void add_channels()
    {
        new_channel_.assign(file_.channels.size(), no_index);
        for (std::uint32_t i = 0; i < file_.channels.size(); ++i) {
            add_channel(i);
        }
        written_.records.resize(written_.channels.size());
    }

    void add_channel(std::uint32_t which)
    {
        auto& one = file_.channels[which];
        if (one.name.empty() || !one.lost.empty()) {
            if (one.lost.empty()) {
                one.lost = "its dictionary entry cannot be read, and no record tells its name";
                file_.lose("channel dictionary: the entry at " + std::to_string(one.entry) +
                           " cannot be read, and no record tells the channel");
            }
            return;
        }
        writer::channel_settings settings;
        settings.name = one.name;
        settings.key = one.key;
        settings.event_mask = one.event_mask;
        settings.dtype_mask = one.dtype_mask;
        try {
            new_channel_[which] = static_cast<std::uint32_t>(out_.add_channel(settings));
        } catch (const writer::error& refused) {
            give_up_on(refused);
            one.lost = refused.what();
            file_.lose("channel " + one.name + ": " + refused.what());
            return;
        }
        written_.channels.push_back(which);
        written_.keys.push_back(*settings.key);
    }

    // After anything but a refusal the writer is of no more use.
    static void give_up_on(const writer::error& refused)
    {
        if (refused.why() == writer::fault::input_output) {
            throw;
        }
    }

    void order_blocks()
    {
        for (std::uint32_t i = 0; i < file_.blocks.size(); ++i) {
            if (file_.blocks[i].event != no_index) {
                blocks_.push_back(i);
            }
        }
        std::sort(blocks_.begin(), blocks_.end(), [&](std::uint32_t a, std::uint32_t b) {
            return std::pair(file_.blocks[a].event, file_.blocks[a].position) <
                   std::pair(file_.blocks[b].event, file_.blocks[b].position);
        });
    }

    void order_records()
    {
        order_.resize(file_.records.size());
        std::iota(order_.begin(), order_.end(), std::size_t{0});
        std::sort(order_.begin(), order_.end(), [&](std::size_t a, std::size_t b) {
            const auto& left = file_.records[a];
            const auto& right = file_.records[b];
            return std::tuple(left.event, file_.blocks[left.block].position, left.channel, left.data) <
                   std::tuple(right.event, file_.blocks[right.block].position, right.channel, right.data);
        });
    }

    void add_event(std::uint32_t which)
    {
        auto& one = file_.events[which];
        try {
            out_.begin_event({one.head.number, one.head.time, static_cast<std::int32_t>(one.head.type), one.head.tmask,
                              one.head.status});
        } catch (const writer::error& refused) {
            give_up_on(refused);
            one.lost = refused.what();
            return;
        }
        while (next_block_ < blocks_.size() && file_.blocks[blocks_[next_block_]].event < which) {
            ++next_block_;
        }
        for (; next_block_ < blocks_.size() && file_.blocks[blocks_[next_block_]].event == which; ++next_block_) {
            add_block(blocks_[next_block_]);
        }
        out_.end_event();
        written_.events.push_back(which);
    }

    void add_block(std::uint32_t which)
    {
        const auto& one = file_.blocks[which];
        writer::server_block_info info;
        info.name = one.head.server.text;
        info.time = one.head.time;
        info.mpulse = one.head.mpulse;
        info.tmask = one.head.tmask;
        info.status = one.head.status;
        std::string refusal;
        try {
            out_.begin_server_block(info);
        } catch (const writer::error& refused) {
            give_up_on(refused);
            refusal = refused.what();
            file_.result.lost_events.push_back({file_.events[one.event].head.number, one.position, refusal});
        }
        while (next_record_ < order_.size() && file_.records[order_[next_record_]].event < one.event) {
            ++next_record_; // of an event that is lost
        }
        for (; next_record_ < order_.size() && file_.records[order_[next_record_]].block == which; ++next_record_) {
            auto& record = file_.records[order_[next_record_]];
            if (record.damage.empty()) {
                record.damage = refusal.empty() ? add_record(record, order_[next_record_]) : refusal;
            }
        }
    }

    // Why it cannot be written; empty when it is.
    std::string add_record(const record& one, std::size_t index)
    {
        const auto to = new_channel_[one.channel];
        file_.advance(one.stored);
        if (to == no_index) {
            return "its channel is lost";
        }
        subhead_values head;
        writer::stored_record stored;
        try {
            bytes_.resize(one.stored);
        } catch (const std::bad_alloc&) {
            return "no memory for it";
        }
        if (!checker_.read_subhead(one.subhead, head) || !file_.file.read(one.data, bytes_.data(), bytes_.size())) {
            return "it cannot be read";
        }
        stored.dtype = head.dtype;
        stored.error = head.error;
        stored.bytes = bytes_;
        const auto size = static_cast<std::int32_t>(file_.layout.sizes().subhead);
        if (head.is_zipped()) {
            stored.zip = zip_head(one);
        } else if (!one.is_slow && head.ldata < size) {
            stored.ldata = head.ldata; // a record without payload may say so in several ways
        }
        try {
            out_.add_record(writer::channel_id{to}, stored);
        } catch (const writer::error& refused) {
            give_up_on(refused);
            return refused.what();
        }
        written_.records[to].push_back(index);
        return {};
    }

    writer::stored_record::zip_head zip_head(const record& one)
    {
        unsigned char head[sizeof(trox_zip_header)] = {};
        file_.file.read(one.data - sizeof head, head, sizeof head);
        return {trox_detail::load_big_endian<std::uint32_t>(head),
                trox_detail::load_big_endian<std::uint32_t>(head + 4),
                {}};
    }

    found& file_;
    record_checker checker_;
    writer::file_writer out_;
    written_file written_;
    std::vector<std::uint32_t> new_channel_; // index in the new dictionary
    std::vector<std::uint32_t> blocks_;      // by event and position
    std::vector<std::size_t> order_;         // records by event and block
    std::size_t next_block_ = 0;
    std::size_t next_record_ = 0;
    std::vector<unsigned char> bytes_;
};

} // namespace

written_file write_file(found& file, const std::string& path)
{
    return file_maker(file, path).run();
}

} // namespace trox::recovery
