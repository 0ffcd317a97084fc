// Event-by-event reading of a whole run with one channel list, in the form of the expected files'
// `<generation>_<list>.json`.
#ifndef TROX_GOLDEN_EVENT_LIST_H
#define TROX_GOLDEN_EVENT_LIST_H

#include "payload_values.h"

#include <bit>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace trox_golden
{

/// How the reader learns which files to read.
enum class file_source {
    list,    ///< from a list of paths
    request, ///< from the run catalogue, by a request for the run
};

struct reading_options {
    std::string data_root; ///< folder with data_<generation>/, catalogue/ and expected/
    file_source source = file_source::list;
    bool skip_bad_records = false;
};

/// One record in an expected dump: [index of the file, index of the record].
class record_positions
{
public:
    record_positions(const std::string& data_root, const std::vector<std::string>& files)
    {
        for (std::size_t file = 0; file < files.size(); ++file) {
            const std::string stem = files[file].substr(0, files[file].rfind(".raw"));
            const json dump = load_json(data_root + "/expected/" + stem + ".dump.json");
            for (const auto& channel : dump.at("channels")) {
                add(channel, file);
            }
        }
    }

    json find(const std::string& channel, std::uint64_t number, time_stamp time) const
    {
        const auto found = positions_.find({channel, number, time.timeup, time.timelow});
        if (found == positions_.end()) {
            throw std::runtime_error(channel + ": no file has a record of event " + std::to_string(number));
        }
        return json::array({found->second.first, found->second.second});
    }

private:
    using key = std::tuple<std::string, std::uint64_t, std::uint32_t, std::uint32_t>;

    void add(const json& channel, std::size_t file)
    {
        const auto& records = channel.at("records");
        for (std::size_t i = 0; i < records.size(); ++i) {
            const auto& record = records[i];
            positions_[{channel.at("name"), record.at("ev"), record.at("t").at(0), record.at("t").at(1)}] = {file, i};
        }
    }

    std::map<key, std::pair<std::size_t, std::size_t>> positions_;
};

template <class G> class event_list
{
public:
    event_list(const json& expected, const reading_options& options)
        : expected_(&expected), options_(options), files_(expected.at("files").get<std::vector<std::string>>()),
          request_(expected.at("request").get<std::vector<std::string>>()), positions_(options.data_root, files_)
    {
    }

    json read()
    {
        reader_.set_skip_bad_records(options_.skip_bad_records);
        initialise();
        json list{{"generation", G::name},
                  {"list", expected_->at("list")},
                  {"request", request_},
                  {"settings", settings_json()}};
        list["files"] = base_names();
        list["start_status"] = reader_.start();
        list["files_read"] = base_names();
        list["not_found"] = not_found_channels();
        list["events"] = json::array();
        add_channels(list);
        list["end_status"] = read_events(list);
        list["evs"] = reader_.get_number_of_events();
        list["evs_empty"] = reader_.get_number_of_empty_events();
        add_slow_flags(list);
        reader_.clean_up();
        return list;
    }

private:
    using time_id = typename G::time_id;
    using entry = typename G::channel_entry;
    using result_entry = typename G::result_entry;

    // --- set-up ---------------------------------------------------------------------------------------

    const json& setting(const char* name) const
    {
        return expected_->at("settings").at(name);
    }

    static time_id time_id_of(const json& value)
    {
        return {value.at(0), {value.at(1), value.at(2)}};
    }

    time_stamp time_diff() const
    {
        return {setting("time_diff").at(0), setting("time_diff").at(1)};
    }

    int synch_mode() const
    {
        return setting("mode") == "time" ? TROX_DAQ_SLICER_SYNCH_MODE_TIME : TROX_DAQ_SLICER_SYNCH_MODE_EVID;
    }

    std::string data_directory() const
    {
        return options_.data_root + "/" + G::data_folder + "/";
    }

    void initialise()
    {
        std::vector<daq_channel_entry> entries;
        for (const auto& name : request_) {
            entries.push_back({name.c_str(), {}});
        }
        std::vector<daq_channel_entry*> channels;
        for (auto& channel : entries) {
            channels.push_back(&channel);
        }
        const int status = options_.source == file_source::list ? init_by_list(&channels) : init_by_request(&channels);
        if (status != 0) {
            throw std::runtime_error("init answers " + std::to_string(status) + ", " + reader_.get_last_error());
        }
        set_range();
    }

    int init_by_list(std::vector<daq_channel_entry*>* channels)
    {
        std::vector<std::string> paths;
        for (const auto& file : files_) {
            paths.push_back(data_directory() + file);
        }
        G::set_time_diff(reader_, time_diff());
        reader_.set_synch_mode(synch_mode());
        return reader_.init(paths, channels);
    }

    int init_by_request(std::vector<daq_channel_entry*>* channels)
    {
        typename G::request request;
        request.run_first = G::run;
        const std::string experiment = "linac";
        experiment.copy(request.exp_name, sizeof request.exp_name - 1);
        const std::string stream = "main";
        stream.copy(request.stream_name, sizeof request.stream_name - 1);
        request.cdir = options_.data_root + "/catalogue/";
        request.ddir = data_directory();
        request.time_diff = time_diff();
        request.synch_mode = synch_mode();
        return reader_.init(&request, channels);
    }

    void set_range()
    {
        time_id period = time_id_of(setting("period"));
        time_id start = time_id_of(setting("start"));
        time_id stop = time_id_of(setting("stop"));
        if (reader_.set_period(&period) != 0 || reader_.set_start_point(&start) != 0 ||
            reader_.set_stop_point(&stop) != 0) {
            throw std::runtime_error("the range cannot be set");
        }
    }

    json settings_json()
    {
        const auto id_json = [](const time_id& id) {
            return json::array({id.event_number, id.time.timeup, id.time.timelow});
        };
        const bool by_time = reader_.get_synch_mode() == TROX_DAQ_SLICER_SYNCH_MODE_TIME;
        const char* const clock = std::getenv("TROX_EVENT_CLOCK");
        return {{"mode", by_time ? "time" : "evid"},          {"period", id_json(*reader_.get_period())},
                {"time_diff", setting("time_diff")},          {"start", id_json(*reader_.get_start_point())},
                {"stop", id_json(*reader_.get_stop_point())}, {"clock", clock == nullptr ? json() : json(clock)}};
    }

    json base_names() const
    {
        json names = json::array();
        for (int i = 0; i < reader_.get_number_of_files(); ++i) {
            const std::string path = reader_.get_file_name(i);
            names.push_back(path.substr(path.rfind('/') + 1));
        }
        return names;
    }

    /// A reader names these channels only when it cannot start; its slicer always does.
    std::string not_found_channels()
    {
        std::vector<std::string> files;
        for (int i = 0; i < reader_.get_number_of_files(); ++i) {
            files.emplace_back(reader_.get_file_name(i));
        }
        std::vector<typename G::chan_param> params(static_cast<std::size_t>(reader_.get_number_of_channels()));
        std::vector<typename G::chan_param*> pointers;
        for (std::size_t i = 0; i < params.size(); ++i) {
            const std::string name = reader_.get_channel_name(static_cast<int>(i), &params[i].subchan);
            name.copy(params[i].name, sizeof params[i].name - 1);
            pointers.push_back(&params[i]);
        }
        typename G::slicer slicer;
        time_stamp tolerance = time_diff();
        time_id period = time_id_of(setting("period"));
        G::init_slicer(slicer, files, pointers);
        slicer.set_synch_mode(synch_mode());
        slicer.set_time_diff(&tolerance);
        slicer.set_event_step(&period);
        slicer.start();
        std::string names = slicer.get_not_found_channels();
        slicer.clean_up();
        return names;
    }

    // --- events ---------------------------------------------------------------------------------------

    void add_channels(json& list)
    {
        for (int i = 0; i < reader_.get_number_of_channels(); ++i) {
            int subchannel = 0;
            const std::string name = reader_.get_channel_name(i, &subchannel);
            list["channels"].push_back(
                {{"name", name}, {"subchan", subchannel}, {"nick", ""}, {"records", json::array()}});
        }
        indices_.resize(list["channels"].size());
        slots_.resize(list["channels"].size());
    }

    int read_events(json& list)
    {
        const std::size_t bound = 2 * expected_->at("events").size() + 100;
        std::vector<entry*> result;
        int status = reader_.get_data(nullptr, &result, TROX_DAQ_READ_CHAN_EVENT_NEXT);
        while (status == 0 && list["events"].size() < bound) {
            list["events"].push_back(event_json(list, result));
            status = reader_.get_data(nullptr, &result, TROX_DAQ_READ_CHAN_EVENT_NEXT);
        }
        return status;
    }

    /// The reader's slot that a delivered record is part of.
    static const result_entry& slot_of(const entry* record)
    {
        const auto address = std::bit_cast<std::uintptr_t>(record) - offsetof(result_entry, res);
        return *std::bit_cast<const result_entry*>(address);
    }

    static const typename G::subhead& block_of(const result_entry& slot)
    {
        return *std::bit_cast<const typename G::subhead*>(slot.res.sbchdata[0].chhd);
    }

    json event_json(json& list, const std::vector<entry*>& result)
    {
        json entries = json::array();
        const result_entry* reference = nullptr;
        const result_entry* reference_update = nullptr;
        for (const entry* record : result) {
            const result_entry& slot = slot_of(record);
            check_addresses(slot);
            const std::size_t channel = channel_of(list, slot);
            entries.push_back(json::array({channel, index_of(list, channel, slot), slot.updated}));
            if (!G::is_update(block_of(slot).dtype)) {
                reference = reference == nullptr ? &slot : reference;
            } else if (slot.updated != 0) {
                reference_update = reference_update == nullptr ? &slot : reference_update;
            }
        }
        const result_entry* const named = reference != nullptr ? reference : reference_update;
        const time_id id = named == nullptr ? time_id{} : named->res.event_id;
        return json::array({id.event_number, id.time.timeup, id.time.timelow, entries});
    }

    /// A delivered record points at the copies in its own slot, which tell the same event.
    static void check_addresses(const result_entry& slot)
    {
        const auto& address = slot.res.sbchdata[0];
        const auto block = std::bit_cast<std::uint64_t>(slot.data);
        if (address.evhd != std::bit_cast<std::uint64_t>(&slot.evhd) ||
            address.sbhd != std::bit_cast<std::uint64_t>(&slot.sbhd) || address.chhd != block ||
            address.data != block + sizeof(typename G::subhead) ||
            slot.evhd.event_number != slot.res.event_id.event_number) {
            throw std::runtime_error(field_text(slot.chan.name) + ": record with wrong addresses");
        }
    }

    std::size_t channel_of(const json& list, const result_entry& slot) const
    {
        const auto& channels = list.at("channels");
        for (std::size_t i = 0; i < channels.size(); ++i) {
            if (channels[i].at("name") == field_text(slot.chan.name) &&
                channels[i].at("subchan") == slot.chan.subchan) {
                return i;
            }
        }
        throw std::runtime_error(field_text(slot.chan.name) + ": a channel that was not asked for");
    }

    /// Index of the slot's record among the channel's delivered records; adds it when it is new.
    std::size_t index_of(json& list, std::size_t channel, const result_entry& slot)
    {
        slots_[channel] = &slot;
        const auto& id = slot.res.event_id;
        json record = positions_.find(field_text(slot.chan.name), id.event_number, id.time);
        record.push_back(id.event_number);
        record.push_back(id.time.timeup);
        record.push_back(id.time.timelow);
        const json published = published_json<G>(&block_of(slot));
        for (const char* key : {"dtype", "error", "ldata", "sha"}) {
            record.push_back(published.at(key));
        }
        json& delivered = list["channels"][channel];
        delivered["nick"] = field_text(slot.chan.nname);
        const auto [at, is_new] = indices_[channel].emplace(record, delivered["records"].size());
        if (is_new) {
            delivered["records"].push_back(record);
        }
        return at->second;
    }

    void add_slow_flags(json& list) const
    {
        list["slow"] = json::array();
        for (const auto* slot : slots_) {
            list["slow"].push_back(slot == nullptr ? 0 : slot->slow);
        }
    }

    const json* expected_;
    reading_options options_;
    std::vector<std::string> files_;
    std::vector<std::string> request_;
    record_positions positions_;
    typename G::daq_reader reader_;
    std::vector<std::map<json, std::size_t>> indices_; // per channel: delivered record -> its index
    std::vector<const result_entry*> slots_;           // per channel: the reader's slot, once it was delivered
};

/// Reads the run as an expected list says. The environment variable TROX_EVENT_CLOCK must be that of the list's
/// settings, see `clock_of`. Throws std::runtime_error when the run cannot be read or contradicts itself.
template <class G> json read_list(const json& expected, const reading_options& options)
{
    return event_list<G>(expected, options).read();
}

} // namespace trox_golden

#endif
