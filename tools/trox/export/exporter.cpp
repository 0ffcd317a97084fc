#include "exporter.h"

#include "atomic_file.h"
#include "base/utf8.h"
#include "csv.h"
#include "hdf5.h"
#include "ndjson.h"
#include "npz.h"
#include "png_series.h"
#include "trox/error.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <utility>

namespace trox_export
{
namespace
{

constexpr std::size_t writer_part = 4; // of the budget, its reciprocal

/// The elements of a channel's rows: how few and how many.
class shape_watch
{
public:
    explicit shape_watch(std::size_t channels) : fewest_(channels), most_(channels) {}
    void see(std::size_t channel, const std::vector<row>& rows)
    {
        for (const row& row : rows) {
            if (row.use != role::value || row.form == layout::scalar) {
                continue;
            }
            fewest_[channel] = std::min(fewest_[channel].value_or(row.count()), row.count());
            most_[channel] = std::max(most_[channel], row.count());
            return; // members are of one shape
        }
    }
    std::vector<changed_shape> changed(const std::vector<channel_head>& channels) const
    {
        std::vector<changed_shape> result;
        for (std::size_t i = 0; i < channels.size(); ++i) {
            if (fewest_[i] && *fewest_[i] != most_[i]) {
                result.push_back({channels[i].name, *fewest_[i], most_[i]});
            }
        }
        return result;
    }

private:
    std::vector<std::optional<std::size_t>> fewest_;
    std::vector<std::size_t> most_;
};

std::vector<channel_head> heads_of(const trox::data_set& data, const std::vector<std::size_t>& channels)
{
    using trox_base::valid_utf8;
    std::vector<channel_head> heads;
    std::set<std::string> names;
    for (const std::size_t channel : channels) {
        const trox::channel_info& info = data.channels()[channel];
        std::string name = valid_utf8(info.name);
        for (int copy = 2; !names.insert(name).second; ++copy) { // bytes that are no UTF-8 all look the same
            name = valid_utf8(info.name) + " (" + std::to_string(copy) + ")";
        }
        heads.push_back({name, trox::name_of(data.inspect(channel).kind), valid_utf8(info.unit),
                         valid_utf8(info.description), valid_utf8(info.property), valid_utf8(info.server),
                         valid_utf8(info.subsystem)});
    }
    return heads;
}

/// Fields of a wide table. Throws for a channel that has anything but single values.
std::vector<wide_field> wide_fields(const trox::data_set& data, const std::vector<std::size_t>& channels)
{
    std::vector<wide_field> fields;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const trox::channel_details details = data.inspect(channels[i]);
        switch (details.kind) {
        case trox::channel_kind::single_values:
            if (details.members.size() > 1) {
                for (const std::string& member : details.members) {
                    fields.push_back({i, member});
                }
                break;
            }
            fields.push_back({i, {}});
            break;
        case trox::channel_kind::slow:
        case trox::channel_kind::control_value:
        case trox::channel_kind::unknown:
            fields.push_back({i, {}});
            break;
        case trox::channel_kind::trace:
        case trox::channel_kind::image:
        case trox::channel_kind::region_of_interest:
        case trox::channel_kind::name_value:
            throw trox::error(trox::fault::wrong_use,
                              std::string("is of kind ") + trox::name_of(details.kind) +
                                  ", and a wide table has room for single values only; a table "
                                  "of rows holds every kind",
                              {{}, data.channels()[channels[i]].name, {}, {}});
        }
    }
    return fields;
}

/// A checker for which a file that cannot be read is one that does not hold what it must.
class strict_checker final : public event_consumer
{
public:
    explicit strict_checker(const std::function<std::unique_ptr<event_consumer>()>& make)
    {
        guard([&] { checker_ = make(); });
    }
    void begin_event(const event_head& event) override
    {
        guard([&] { checker_->begin_event(event); });
    }
    void take(std::size_t channel, const trox::record& record, const std::vector<row>& rows) override
    {
        guard([&] { checker_->take(channel, record, rows); });
    }
    void end_event() override
    {
        guard([&] { checker_->end_event(); });
    }
    void finish() override
    {
        guard([&] { checker_->finish(); });
    }

private:
    template <class Call> static void guard(const Call& call)
    {
        try {
            call();
        } catch (const trox::error& reason) {
            throw difference(reason.what());
        }
    }

    std::unique_ptr<event_consumer> checker_;
};

class export_run
{
public:
    export_run(const trox::data_set& data, const trox::selection& what, const trox::reading_options& reading,
               const options& how)
        : data_(data), what_(what), reading_(reading), how_(how), budget_(reading.memory_budget / writer_part)
    {
        reading_.memory_budget -= budget_;
    }

    result run()
    {
        if (how_.write) {
            return run_into_pipe();
        }
        return how_.format == file_format::png ? run_into_series() : run_into_file();
    }

private:
    result run_into_pipe()
    {
        if ((how_.format != file_format::csv && how_.format != file_format::ndjson) || how_.verify) {
            throw trox::error(trox::fault::wrong_use, "only CSV and NDJSON can go anywhere but into a file, and cannot "
                                                      "be verified there");
        }
        write([this](trox::event_reader& events) { return text_writer(events, text_output::to(how_.write)); });
        return std::move(result_);
    }

    result run_into_file()
    {
        atomic_file file(how_.target);
        std::optional<temporary_directory> scratch;
        if (how_.format == file_format::npz) {
            scratch.emplace(how_.target);
        }
        try {
            write([&](trox::event_reader& events) {
                return file_writer(events, file.temporary(), scratch ? scratch->path().string() : std::string());
            });
        } catch (const trox::error& reason) {
            throw with_target(reason, {file.temporary(), scratch ? scratch->path().string() : std::string()});
        }
        scratch.reset();
        if (how_.verify) {
            verify([&](trox::event_reader& events) { return file_checker(events, file.temporary()); });
        }
        if (!result_.difference) {
            check();
            file.commit();
            result_.files = {how_.target};
            result_.file_count = 1;
        }
        return std::move(result_);
    }

    result run_into_series()
    {
        const temporary_directory directory(how_.target);
        const png_setting setting{directory.path().string(), how_.target, how_.compression};
        try {
            write([&](trox::event_reader&) { return make_png_writer(heads_, setting); });
        } catch (const trox::error& reason) {
            throw with_target(reason, {setting.directory});
        }
        if (how_.verify) {
            verify([&](trox::event_reader&) { return make_png_checker(heads_, setting); });
        }
        if (!result_.difference) {
            check();
            placed_files placed = place_png_series(setting.directory, how_.target, inputs());
            result_.files = std::move(placed.first);
            result_.file_count = placed.count;
        }
        return std::move(result_);
    }

    /// The error of what is written beside the target: nobody knows those names.
    trox::error with_target(const trox::error& reason, const std::vector<std::string>& beside) const
    {
        trox::place where = reason.where();
        const bool is_beside = std::any_of(beside.begin(), beside.end(), [&](const std::string& path) {
            return !path.empty() && where.file.starts_with(path);
        });
        where.file = is_beside ? how_.target : where.file;
        return {reason.why(), reason.reason(), where};
    }

    std::vector<std::string> inputs() const
    {
        std::vector<std::string> paths;
        for (const trox::file_info& file : data_.files()) {
            paths.push_back(file.path);
        }
        return paths;
    }
    time_text show_time() const
    {
        return how_.show_time ? how_.show_time : [](trox::time_point time) { return trox::to_text(time); };
    }
    void check() const
    {
        if (how_.check) {
            how_.check();
        }
    }

    using maker = std::function<std::unique_ptr<event_consumer>(trox::event_reader&)>;

    std::unique_ptr<event_consumer> text_writer(trox::event_reader& events, text_output output) const
    {
        if (how_.format == file_format::ndjson) {
            return make_ndjson_writer(heads_, std::move(output));
        }
        return how_.csv == csv_layout::wide
                   ? make_wide_csv_writer(heads_, wide_fields(data_, events.channels()), show_time(), std::move(output))
                   : make_csv_writer(heads_, show_time(), std::move(output));
    }
    std::unique_ptr<event_consumer> file_writer(trox::event_reader& events, const std::string& path,
                                                const std::string& scratch) const
    {
        switch (how_.format) {
        case file_format::csv:
        case file_format::ndjson:
            return text_writer(events, text_output::to_file(path));
        case file_format::npz:
            return make_table_writer(heads_.size(),
                                     make_npz_target(heads_, {path, scratch, how_.compression, budget_, how_.check}));
        case file_format::hdf5:
            return make_table_writer(heads_.size(), make_hdf5_target(heads_, {path, how_.compression, budget_}));
        case file_format::png:
            break;
        }
        throw trox::error(trox::fault::wrong_use, "unknown format");
    }
    std::unique_ptr<event_consumer> file_checker(trox::event_reader& events, const std::string& path) const
    {
        switch (how_.format) {
        case file_format::csv:
            return how_.csv == csv_layout::wide
                       ? make_wide_csv_checker(heads_, wide_fields(data_, events.channels()), show_time(), path)
                       : make_csv_checker(heads_, show_time(), path);
        case file_format::ndjson:
            return make_ndjson_checker(heads_, path);
        case file_format::npz:
            return make_table_checker(heads_, make_npz_source(heads_, path));
        case file_format::hdf5:
            return make_table_checker(heads_, make_hdf5_source(heads_, path));
        case file_format::png:
            break;
        }
        throw trox::error(trox::fault::wrong_use, "unknown format");
    }

    void write(const maker& make)
    {
        trox::event_reader events(data_, what_, reading_);
        heads_ = heads_of(data_, events.channels());
        shape_watch shapes(heads_.size());
        const auto consumer = make(events);
        pass(events, *consumer, [&](std::size_t channel, const trox::record& record, const std::vector<row>& rows) {
            result_.records += record ? 1 : 0;
            shapes.see(channel, rows);
        });
        result_.report = events.report();
        result_.events = result_.report.events;
        result_.changed_shapes = shapes.changed(heads_);
    }

    void verify(const maker& make)
    {
        trox::event_reader events(data_, what_, reading_);
        try {
            strict_checker consumer([&] { return make(events); });
            pass(events, consumer, [](std::size_t, const trox::record&, const std::vector<row>&) {});
            result_.is_verified = true;
        } catch (const difference& found) {
            result_.difference = found.what();
        }
    }

    template <class See> void pass(trox::event_reader& events, event_consumer& consumer, const See& see)
    {
        row_maker rows_of_records;
        std::uint64_t done = 0;
        for (const trox::event& event : events) {
            consumer.begin_event({event.number(), event.time()});
            for (std::size_t channel = 0; channel < event.records().size(); ++channel) {
                const trox::record& record = event[channel];
                const auto& rows = rows_of_records.rows_of(record);
                consumer.take(channel, record, rows);
                see(channel, record, rows);
            }
            consumer.end_event();
            check();
            if (how_.progress) {
                how_.progress(++done);
            }
        }
        consumer.finish();
    }

    const trox::data_set& data_;
    const trox::selection& what_;
    trox::reading_options reading_;
    const options& how_;
    std::size_t budget_;
    std::vector<channel_head> heads_;
    result result_;
};

} // namespace

std::optional<file_format> format_of_name(std::string_view path)
{
    constexpr std::array<std::pair<std::string_view, file_format>, 7> endings{{{".csv", file_format::csv},
                                                                               {".ndjson", file_format::ndjson},
                                                                               {".jsonl", file_format::ndjson},
                                                                               {".npz", file_format::npz},
                                                                               {".h5", file_format::hdf5},
                                                                               {".hdf5", file_format::hdf5},
                                                                               {".png", file_format::png}}};
    for (const auto& [ending, format] : endings) {
        if (path.ends_with(ending)) {
            return format;
        }
    }
    return std::nullopt;
}

bool result::has_lost_data() const noexcept
{
    const bool has_skipped = std::any_of(report.channels.begin(), report.channels.end(),
                                         [](const trox::channel_report& channel) { return channel.skipped != 0; });
    return has_skipped || !report.skipped_files.empty();
}

result export_events(const trox::data_set& data, const trox::selection& what, const trox::reading_options& reading,
                     const options& how)
{
    constexpr int most_compression = 9;
    if (how.compression < 0 || how.compression > most_compression) {
        throw trox::error(trox::fault::wrong_use, "compression goes from 0 to 9");
    }
    return export_run(data, what, reading, how).run();
}

} // namespace trox_export
