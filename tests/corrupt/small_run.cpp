#include "small_run.h"

#include "channel_types.h"
#include "channel_waiting.h"
#include "detail/big_endian.h"
#include "every_operation.h"
#include "trox/trox.h"
#include "trox_daq_reader.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_reader_2024.h"
#include "trox_writer.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace tw = trox::writer;

namespace corrupt
{

namespace
{

using namespace trox_test;

constexpr std::uint32_t first_number = 1000;
constexpr std::uint32_t first_second = 1'339'666'200;
constexpr int events = 3;

/// The generation as the record accessor knows it.
template <class T> struct access_of;
template <> struct access_of<channel_legacy> {
    using type = access_legacy;
};
template <> struct access_of<channel_2010> {
    using type = access_2010;
};
template <> struct access_of<channel_2024> {
    using type = access_2024;
};

std::string text_of(const std::vector<unsigned char>& bytes)
{
    return {bytes.begin(), bytes.end()};
}

/// The run in the generation of `T` (see channel_types.h).
template <class T> class run_of : public small_run
{
protected:
    run_of()
    {
        write();
        find_ranges();
    }

    /// Keeps a record that was read under the name that it carries.
    static std::string payload_of(const typename T::entry& record)
    {
        const auto* head = reinterpret_cast<const typename T::subhead*>(record.sbchdata[0].chhd);
        const auto size = std::max<std::int64_t>(0, head->ldata - static_cast<std::int64_t>(sizeof *head));
        return {reinterpret_cast<const char*>(head + 1), static_cast<std::size_t>(size)};
    }

    /// Asks everything about records; fails the test when an answer leads outside them.
    static void ask(const std::vector<typename T::entry*>& found)
    {
        if (!found.empty()) {
            EXPECT_EQ(every_operation<typename access_of<T>::type>::ask(found), "");
        }
    }

private:
    void write()
    {
        tw::file_writer file(path_, T::format);
        const tw::storage stored[] = {tw::storage::zlib, tw::has_lzo() ? tw::storage::lzo : tw::storage::zlib,
                                      tw::storage::plain, tw::storage::plain};
        for (std::size_t i = 0; i < channels_.size(); ++i) {
            file.add_channel(channels_[i], stored[i]);
        }
        for (int event = 0; event < events; ++event) {
            const std::uint32_t number = first_number + static_cast<std::uint32_t>(event);
            const time_stamp time{first_second + static_cast<std::uint32_t>(event), 250'000};
            const auto add = [&](int channel, const tw::payload& payload) {
                file.add_record(static_cast<tw::channel_id>(channel), payload);
                written_[{channel, number}] = text_of(payload.bytes);
            };
            file.begin_event({number, time});
            file.begin_server_block({"SVR", {}, {}, 0, 0});
            for (int channel = 0; channel < 3; ++channel) {
                const std::vector<float> samples(16, static_cast<float>(10 * event + channel));
                add(channel, tw::spectrum_payload(T::format, T::trace_type, samples));
            }
            file.end_event();
            file.begin_event({number, {time.timeup, time.timelow + 5000}, TROX_EV_UPD});
            file.begin_server_block({"SLOW", {}, {}, 0, 0});
            add(3, tw::update_payload(T::format, channels_[3], static_cast<float>(event), time));
            file.end_event();
        }
        find_vital(file.finish());
    }

    void find_vital(const tw::file_map& map)
    {
        std::ifstream in(path_, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(in), {});
        constexpr std::uint64_t basket_head = 2 * sizeof(typename T::word);
        constexpr std::uint64_t pointers_head = 3 * sizeof(typename T::word);
        vital_ = {{map.event_headers.position, basket_head},      {map.server_blocks.position, basket_head},
                  {map.channel_dictionary.position, basket_head}, {map.event_index.position, map.event_index.length},
                  {map.pointers.position, pointers_head},         {map.environment.position, map.environment.length},
                  {map.descriptions.position, basket_head},       {map.references.position, map.references.length},
                  {map.trailer.position, map.trailer.length}};
    }

    void find_ranges()
    {
        typename T::loader tables(0);
        ASSERT_EQ(tables.get_all_tables(path_, 0, nullptr), 0);
        const auto& references = *tables.get_ref_tbl();
        const auto rows = static_cast<std::size_t>(tables.get_ecp_table()->maxev);
        for (std::size_t channel = 0; channel < channels_.size(); ++channel) {
            for (std::size_t row = 0; row < events; ++row) {
                const std::size_t index = channel * rows + row;
                const auto& at = tables.get_ecp_table()->entries[index];
                const auto position = [](auto reference) { return static_cast<std::uint64_t>(reference); };
                const auto ldata = trox_detail::load_big_endian<std::uint32_t>(bytes_.data() + at.chhd +
                                                                               offsetof(typename T::subhead, ldata));
                const range ranges[] = {
                    {position(at.evhd), sizeof(typename T::event_header)},
                    {position(at.sbhd), sizeof(typename T::server_block_head)},
                    {position(at.chhd), ldata},
                    {position(references.ecp_ref) + 3 * sizeof(typename T::word) + index * sizeof at, sizeof at},
                    {position(references.cdt_ref) + 2 * sizeof(typename T::word) +
                         channel * sizeof(typename T::dictionary_entry),
                     sizeof(typename T::dictionary_entry)}};
                const record_id id{static_cast<int>(channel), first_number + row};
                for (const range& one : ranges) {
                    of_record_.emplace_back(one, id);
                }
            }
        }
    }
};

/// Read channel by channel.
template <class T> class run_of_channels : public run_of<T>
{
public:
    static std::unique_ptr<small_run> make()
    {
        return std::make_unique<run_of_channels>();
    }

protected:
    records read_file() const override
    {
        records found;
        typename T::loader tables(0);
        if (tables.get_all_tables(this->path_, 0, nullptr) != 0) {
            return found;
        }
        for (std::size_t channel = 0; channel < this->channels_.size(); ++channel) {
            typename T::reader reader(&tables, this->channels_[channel].c_str(), -1, nullptr);
            reader.set_skip_bad_records(true);
            reader.set_number_of_threads(1 + static_cast<int>(channel % 2));
            start_signal signal;
            if (start(reader, signal) != 0) {
                continue;
            }
            if (!signal.wait()) {
                ADD_FAILURE() << "the records do not end";
                continue;
            }
            // Nothing is found by this number: the position before the records is handed out.
            constexpr std::uint32_t nobodys = 0x7A7B7C7D;
            typename T::entry* record = find_by_number(reader, nobodys, TROX_DAQ_READ_CHAN_EVENT_CUR, nullptr);
            std::vector<typename T::entry*> all;
            for (int i = 0; record != nullptr && i < reader.get_number_of_records(); ++i) {
                all.push_back(++record);
                found[{static_cast<int>(channel), record->event_id.event_number}] = this->payload_of(*record);
            }
            this->ask(all);
        }
        return found;
    }
};

/// Read event by event, through the layer that knows all generations.
template <class T> class run_of_layer : public run_of<T>
{
public:
    static std::unique_ptr<small_run> make()
    {
        return std::make_unique<run_of_layer>();
    }

protected:
    records read_file() const override
    try {
        constexpr int most_events = 100; // each record may at worst be an event of its own
        const auto data = trox::data_set::open_files({this->path_});
        trox::selection all; // a damaged dictionary may lack a name
        trox::event_reader reader(data, all, {std::size_t{1} << 20, 1, true});
        records found;
        int delivered = 0;
        for (const trox::event& event : reader) {
            if (++delivered > most_events) {
                ADD_FAILURE() << "the events do not end";
                break;
            }
            for (const trox::record& record : event.records()) {
                keep(record, reader, found);
            }
        }
        return found;
    } catch (const trox::error& refused) {
        return {};
    }

private:
    void keep(const trox::record& record, const trox::event_reader& reader, records& found) const
    {
        if (!record || !record.is_updated()) {
            return;
        }
        const std::string& name = reader.data().channels()[reader.channels()[record.channel()]].name;
        const auto at = std::find(this->channels_.begin(), this->channels_.end(), name);
        if (at != this->channels_.end()) {
            const auto payload = record.payload();
            found[{static_cast<int>(at - this->channels_.begin()), record.event_number()}] =
                std::string(reinterpret_cast<const char*>(payload.data()), payload.size());
        }
    }
};

/// Read event by event.
template <class T, class Reader> class run_of_events : public run_of<T>
{
public:
    run_of_events()
    {
        // An event whose time is damaged may lie outside the requested range, with all its records.
        std::vector<std::pair<small_run::range, record_id>> times;
        for (const auto& [where, id] : this->of_record_) {
            if (where.length == sizeof(typename T::event_header)) {
                const small_run::range time{where.position + offsetof(typename T::event_header, event_time),
                                            sizeof(time_stamp)};
                for (int other = 0; other < static_cast<int>(this->channels_.size()); ++other) {
                    times.emplace_back(time, record_id{other, id.second});
                }
            }
        }
        this->of_record_.insert(this->of_record_.end(), times.begin(), times.end());
    }
    static std::unique_ptr<small_run> make()
    {
        return std::make_unique<run_of_events>();
    }

protected:
    records read_file() const override
    {
        Reader reader;
        reader.set_skip_bad_records(true);
        EXPECT_EQ(reader.add_file(this->path_.c_str(), true), 0);
        for (const std::string& name : this->channels_) {
            daq_channel_entry entry{name.c_str(), {-1, -1, -1, -1, 0, 0, 0}};
            EXPECT_EQ(reader.add_channel(&entry), 0);
        }
        records found;
        if (reader.start() != TROX_DAQ_READER_OK) {
            return found;
        }
        constexpr int most_calls = 100; // each record may at worst be an event of its own
        std::vector<typename T::entry*> result;
        int calls = 0;
        while (reader.get_data(nullptr, &result, TROX_DAQ_READ_CHAN_EVENT_NEXT) == TROX_DAQ_READER_OK) {
            if (++calls > most_calls) {
                ADD_FAILURE() << "the events do not end";
                break;
            }
            for (const typename T::entry* entry : result) {
                keep(*entry, found);
            }
            this->ask(result);
        }
        return found;
    }

private:
    /// Under the channel whose name the record carries.
    void keep(const typename T::entry& record, records& found) const
    {
        const auto* head = reinterpret_cast<const typename T::subhead*>(record.sbchdata[0].chhd);
        const bool update = head->dtype == T::update_type;
        const std::string name = update ? reinterpret_cast<const char*>(head + 1) : head->chname;
        for (std::size_t i = 0; i < this->channels_.size(); ++i) {
            if (this->channels_[i] == name) {
                found[{static_cast<int>(i), record.event_id.event_number}] = this->payload_of(record);
            }
        }
    }
};

} // namespace

std::vector<way_to_read> ways_to_read()
{
    return {{"events_legacy", run_of_events<channel_legacy, trox_daq_reader>::make},
            {"events_2010", run_of_events<channel_2010, trox_daq_reader_2010>::make},
            {"events_2024", run_of_events<channel_2024, trox_daq_reader_2024>::make},
            {"channels_legacy", run_of_channels<channel_legacy>::make},
            {"channels_2010", run_of_channels<channel_2010>::make},
            {"channels_2024", run_of_channels<channel_2024>::make},
            {"layer_legacy", run_of_layer<channel_legacy>::make},
            {"layer_2010", run_of_layer<channel_2010>::make},
            {"layer_2024", run_of_layer<channel_2024>::make}};
}

small_run::small_run()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "trox_corrupt_XXXXXX").string();
    directory_ = ::mkdtemp(pattern.data());
    path_ = directory_ + "/" + tw::data_file_name({"linac", "main", 1}, 1, {first_second, 0});
    channels_ = {"T/ZLIB", "T/LZO", "T/PLAIN", "T/SLOW"};
}

small_run::~small_run()
{
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::set<record_id> small_run::touched(std::size_t byte) const
{
    std::set<record_id> ids;
    for (const auto& [where, id] : of_record_) {
        if (where.holds(byte)) {
            ids.insert(id);
        }
    }
    return ids;
}

bool small_run::is_vital(std::size_t byte) const
{
    return std::any_of(vital_.begin(), vital_.end(), [&](const range& where) { return where.holds(byte); });
}

records small_run::read(const std::vector<unsigned char>& content) const
{
    {
        std::filesystem::remove(path_); // a file written over may have to reach the disk at once
        std::ofstream out(path_, std::ios::binary);
        out.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    }
    return read_file();
}

} // namespace corrupt
