// A whole run: files one after the other, and the catalogue.
#include "file_io.h"
#include "names.h"

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

namespace trox::writer
{
namespace
{

void check_directory(const std::string& path)
{
    struct stat status {
    };
    if (::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        throw error(fault::bad_name, "\"" + path + "\" is no directory");
    }
}

// Whole seconds that enclose the times seen.
struct time_span {
    std::int64_t start = 0;
    std::int64_t stop = 0;
    bool empty = true;

    void include(time_stamp time)
    {
        const auto up = std::int64_t{time.timeup} + (time.timelow > 0 ? 1 : 0);
        include_seconds(time.timeup, up);
    }
    void include_seconds(std::int64_t first, std::int64_t last)
    {
        start = empty ? first : std::min(start, first);
        stop = empty ? last : std::max(stop, last);
        empty = false;
    }
};

} // namespace

class run_writer::state
{
public:
    explicit state(const run_settings& settings) : settings_(settings), file_number_(settings.first_file_number)
    {
        check_identity(settings.run);
        check_directory(settings.data_directory);
        if (!settings.catalogue_directory.empty()) {
            check_directory(settings.catalogue_directory);
        }
        data_file_name(settings.run, file_number_, {0, 0}, settings.fraction_digits);
        // Holds the channels for checks before the first event, and is never finished.
        const auto probe = settings.data_directory + "/" + data_file_name(settings.run, file_number_, {0, 0});
        auto options = settings.file;
        options.replace_existing = true;
        file_.emplace(probe, settings.format, options);
    }

    channel_id add_channel(const channel_settings& settings)
    {
        require_open();
        const auto id = file_->add_channel(settings);
        channels_.push_back(settings);
        return id;
    }

    void add_environment_entry(std::uint32_t key, std::int32_t index)
    {
        require_open();
        file_->add_environment_entry(key, index);
        entries_.emplace_back(key, index);
    }

    void begin_event(const event_info& event)
    {
        require_open();
        if (in_event_) {
            file_->begin_event(event); // refuses
        }
        if (is_full()) {
            next_file();
        }
        if (!started_ || file_->event_count() == 0) {
            open_file(event.time); // anew also when the event before was refused: it gave the file its name
        }
        file_->begin_event(event);
        in_event_ = true;
        pending_ = event.time;
    }

    file_writer& file()
    {
        require_open();
        if (!started_) {
            throw error(fault::wrong_use, settings_.run.experiment + " run " + std::to_string(settings_.run.number) +
                                              ": no event is open");
        }
        return *file_;
    }

    void end_event()
    {
        file().end_event();
        in_event_ = false;
        file_span_.include(pending_);
    }

    void next_file()
    {
        require_open();
        if (!started_) {
            return;
        }
        if (file_->event_count() == 0 && !in_event_) {
            reset_file();
            return;
        }
        file_->finish();
        paths_.push_back(file_->path());
        entry_.files.push_back(
            {base_name_of(file_->path()), catalogue_format(settings_.format), file_span_.start, file_span_.stop});
        run_span_.include_seconds(file_span_.start, file_span_.stop);
        ++file_number_;
        ++settings_.file.layout.seed;
        reset_file();
        if (settings_.open_catalogue) {
            put_catalogue(0);
        }
    }

    void set_layout(const layout_options& layout)
    {
        require_open();
        settings_.file.layout = layout;
    }

    void finish()
    {
        require_open();
        next_file();
        if (paths_.empty()) {
            throw error(fault::wrong_use, settings_.run.experiment + " run " + std::to_string(settings_.run.number) +
                                              ": a run without events");
        }
        const auto open_catalogue = catalogue_;
        put_catalogue(run_span_.stop);
        if (!open_catalogue.empty() && open_catalogue != catalogue_) {
            ::unlink(open_catalogue.c_str());
        }
        done_ = true;
    }

    void abandon() noexcept
    {
        file_.reset();
        done_ = true;
    }

    std::uint64_t projected_size() const noexcept
    {
        return started_ ? file_->projected_size() : 0;
    }

    const std::vector<std::string>& files() const noexcept
    {
        return paths_;
    }
    const std::string& catalogue() const noexcept
    {
        return catalogue_;
    }

private:
    void require_open() const
    {
        if (done_) {
            throw error(fault::wrong_use, settings_.run.experiment + " run " + std::to_string(settings_.run.number) +
                                              ": the run is finished or was given up");
        }
    }

    bool is_full() const
    {
        return started_ &&
               ((settings_.max_events_per_file > 0 && file_->event_count() >= settings_.max_events_per_file) ||
                (settings_.max_bytes_per_file > 0 && file_->projected_size() >= settings_.max_bytes_per_file));
    }

    void fill(file_writer& file) const
    {
        for (const auto& channel : channels_) {
            file.add_channel(channel);
        }
        for (const auto& [key, index] : entries_) {
            file.add_environment_entry(key, index);
        }
    }

    void open_file(time_stamp time)
    {
        const auto path = settings_.data_directory + "/" +
                          data_file_name(settings_.run, file_number_, time, settings_.fraction_digits);
        file_writer next(path, settings_.format, settings_.file);
        fill(next);
        file_.emplace(std::move(next));
        file_span_ = {};
        started_ = true;
    }

    // Back to a file without a name, which only checks channels.
    void reset_file()
    {
        started_ = false;
        in_event_ = false;
        const auto probe = settings_.data_directory + "/" + data_file_name(settings_.run, file_number_, {0, 0});
        auto options = settings_.file;
        options.replace_existing = true;
        file_writer next(probe, settings_.format, options);
        fill(next);
        file_.emplace(std::move(next));
    }

    void put_catalogue(std::int64_t stop)
    {
        if (settings_.catalogue_directory.empty()) {
            return;
        }
        entry_.run = settings_.run;
        entry_.start = run_span_.start;
        entry_.stop = stop;
        catalogue_ = write_catalogue(settings_.catalogue_directory, entry_, settings_.file.sync);
    }

    run_settings settings_;
    std::int32_t file_number_;
    std::vector<channel_settings> channels_;
    std::vector<std::pair<std::uint32_t, std::int32_t>> entries_;
    std::optional<file_writer> file_;
    bool started_ = false;
    bool in_event_ = false;
    bool done_ = false;
    time_stamp pending_{};
    time_span file_span_;
    time_span run_span_;
    catalogue_run entry_;
    std::vector<std::string> paths_;
    std::string catalogue_;
};

run_writer::run_writer(const run_settings& settings) : state_(std::make_unique<state>(settings)) {}
run_writer::~run_writer() = default;
run_writer::run_writer(run_writer&&) noexcept = default;
run_writer& run_writer::operator=(run_writer&&) noexcept = default;

channel_id run_writer::add_channel(const channel_settings& settings)
{
    return state_->add_channel(settings);
}

channel_id run_writer::add_channel(const std::string& name)
{
    return state_->add_channel({name, {}, {}, {}, {}});
}

channel_id run_writer::add_channel(const std::string& name, storage stored)
{
    return state_->add_channel({name, {}, stored, {}, {}});
}

void run_writer::add_environment_entry(std::uint32_t key, std::int32_t index)
{
    state_->add_environment_entry(key, index);
}

void run_writer::begin_event(const event_info& event)
{
    state_->begin_event(event);
}

void run_writer::begin_server_block(const server_block_info& block)
{
    state_->file().begin_server_block(block);
}

void run_writer::add_record(channel_id channel, const record& record)
{
    state_->file().add_record(channel, record);
}

void run_writer::add_record(channel_id channel, const payload& payload, std::uint32_t error)
{
    state_->file().add_record(channel, payload, error);
}

void run_writer::add_record(channel_id channel, const stored_record& record)
{
    state_->file().add_record(channel, record);
}

void run_writer::end_event()
{
    state_->end_event();
}

void run_writer::next_file()
{
    state_->next_file();
}

void run_writer::set_layout(const layout_options& layout)
{
    state_->set_layout(layout);
}

void run_writer::finish()
{
    state_->finish();
}

void run_writer::abandon() noexcept
{
    state_->abandon();
}

std::uint64_t run_writer::projected_size() const noexcept
{
    return state_->projected_size();
}

const std::vector<std::string>& run_writer::files() const noexcept
{
    return state_->files();
}

const std::string& run_writer::catalogue() const noexcept
{
    return state_->catalogue();
}

} // namespace trox::writer
