#include "file_state.h"

#include "assembler.h"
#include "file_io.h"
#include "payload_codec.h"

#include <algorithm>
#include <climits>
#include <sys/stat.h>
#include <utility>

namespace trox::writer
{
namespace
{

constexpr std::uint32_t max_microseconds = 999999;
constexpr std::uint32_t max_index = std::numeric_limits<std::uint32_t>::max();

bool is_printable_ascii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// For error texts: what cannot be printed becomes '?'.
std::string printable(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

void check_path(const std::string& path, bool replace)
{
    const auto name = base_name_of(path);
    if (name.empty() || name == "." || name == ".." || name.size() > NAME_MAX || path.find('\0') != std::string::npos) {
        throw error(fault::bad_name, "\"" + printable(path) + "\" is no name of a file");
    }
    // The name itself is given away in the end, not what a link leads to.
    struct stat status {
    };
    if (::lstat(path.c_str(), &status) != 0) {
        return;
    }
    struct stat reached {
    };
    if (S_ISLNK(status.st_mode) && ::stat(path.c_str(), &reached) == 0) {
        status = reached;
    }
    if (S_ISDIR(status.st_mode)) {
        throw error(fault::bad_name, path + ": is a directory");
    }
    if (!replace) {
        throw error(fault::bad_name, path + ": a file of that name exists");
    }
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        throw error(fault::bad_name, path + ": is no regular file");
    }
}

const file_options& checked_options(const std::string& path, const file_options& options)
{
    check_path(path, options.replace_existing);
    if (options.stored == storage::lzo && !has_lzo()) {
        throw error(fault::unsupported, path + ": this build writes no LZO records");
    }
    return options;
}

} // namespace

file_writer::state::state(const std::string& path, generation format, const file_options& options) : path_(path)
{
    file_.emplace(path, format, checked_options(path, options));
    const auto largest = file_->sizes().max_file;
    limit_ = options.max_file_bytes.value_or(largest);
    if (limit_ > largest) {
        refuse(fault::bad_value,
               "a limit of " + std::to_string(limit_) + " bytes is above the generation's, " + std::to_string(largest));
    }
}

void file_writer::state::refuse(fault why, const std::string& text) const
{
    const auto event = event_ ? ": event " + std::to_string(event_->info.number) : std::string();
    throw error(why, path_ + event + ": " + text);
}

void file_writer::state::refuse(fault why, const channel& channel, const std::string& text) const
{
    refuse(why, "channel " + channel.name + ": " + text);
}

void file_writer::state::require_open() const
{
    switch (phase_) {
    case phase::open:
        return;
    case phase::finished:
        refuse(fault::wrong_use, "the file is finished");
    case phase::given_up:
        refuse(fault::wrong_use, "the file was given up");
    }
}

void file_writer::state::abandon() noexcept
{
    if (phase_ == phase::open) {
        phase_ = phase::given_up;
        event_.reset();
        file_.reset();
    }
}

// --- channels ------------------------------------------------------------------------------------------

std::uint32_t file_writer::state::next_key(const channel_settings& settings) const
{
    if (settings.key) {
        return *settings.key;
    }
    auto key = last_key_ + 1;
    while (keys_.count(key) != 0) {
        ++key;
    }
    return key;
}

void file_writer::state::check_channel(const channel_settings& settings, std::uint32_t key) const
{
    const auto& name = settings.name;
    const auto& sizes = file_->sizes();
    const auto refuse_name = [&](const std::string& why) {
        refuse(fault::bad_name, "channel name \"" + printable(name) + "\": " + why);
    };
    const auto head = name.substr(0, name.find(':'));
    if (head.empty() || !is_printable_ascii(name)) {
        refuse_name("a name is printable ASCII, and not empty");
    }
    if (name.size() >= sizes.dictionary_width || head.size() >= sizes.subhead_width) {
        const auto widest = head.size() >= sizes.subhead_width ? sizes.subhead_width : sizes.dictionary_width;
        refuse_name("longer than " + std::to_string(widest - 1) + " characters");
    }
    if (names_.count(name) != 0) {
        refuse_name("the file has a channel of that name");
    }
    if (keys_.count(key) != 0) {
        refuse_name("the file has a channel with key " + std::to_string(key));
    }
    if (settings.environment_index && environment_keys_.count(key) != 0) {
        refuse_name("the environment dictionary has key " + std::to_string(key));
    }
    if (settings.stored == storage::lzo && !has_lzo()) {
        refuse(fault::unsupported, "channel " + name + ": this build writes no LZO records");
    }
    const auto column = (file_->largest_count + file_->options.layout.spare_rows) * sizes.pointers_entry;
    if (pointers_length(*file_) + column > sizes.max_table) {
        refuse(fault::too_large, "channel " + name + ": the pointers table has no room for it");
    }
    const auto entry = settings.environment_index ? environment_growth(true) : 0;
    check_file_size(sizes.dictionary_entry + column + entry, "a further channel");
}

channel_id file_writer::state::add_channel(const channel_settings& settings)
{
    require_open();
    const auto key = next_key(settings);
    check_channel(settings, key);
    channel added;
    added.name = settings.name;
    added.key = key;
    added.stored = settings.stored.value_or(file_->options.stored);
    added.description = settings.description;
    added.event_mask = settings.event_mask;
    added.dtype_mask = settings.dtype_mask;
    if (added.description) {
        description_text(added); // refuses now what could not be written at the end
    }
    const auto id = channel_id{static_cast<std::uint32_t>(file_->channels.size())};
    all_or_nothing([&] {
        added.stream = file_->data.add_stream();
        file_->channels.push_back(std::move(added));
        names_.emplace(settings.name, id);
        keys_.insert(key);
        last_key_ = key;
        if (settings.environment_index) {
            file_->environment.push_back({key, *settings.environment_index});
            environment_keys_.insert(key);
        }
    });
    return id;
}

std::optional<channel_id> file_writer::state::find_channel(const std::string& name) const
{
    const auto found = names_.find(name);
    return found == names_.end() ? std::nullopt : std::optional(found->second);
}

channel_id file_writer::state::require_channel(const std::string& name) const
{
    require_open();
    const auto found = find_channel(name);
    if (!found) {
        refuse(fault::bad_value, "the file has no channel " + printable(name));
    }
    return *found;
}

void file_writer::state::add_environment_entry(std::uint32_t key, std::int32_t index)
{
    require_open();
    if (environment_keys_.count(key) != 0) {
        refuse(fault::bad_name, "the environment dictionary has key " + std::to_string(key));
    }
    check_file_size(environment_growth(true), "an entry of the environment dictionary");
    all_or_nothing([&] {
        file_->environment.push_back({key, index});
        environment_keys_.insert(key);
    });
}

// --- events --------------------------------------------------------------------------------------------

void file_writer::state::begin_event(const event_info& event)
{
    require_open();
    const auto& sizes = file_->sizes();
    const auto what = "event " + std::to_string(event.number) + ": ";
    if (event_) {
        refuse(fault::wrong_use, what + "begins before the open event has ended");
    }
    if (event.type < 0 || event.type >= trox_event_type_count) {
        refuse(fault::bad_value, what + "type " + std::to_string(event.type) + " is no event type");
    }
    if (event.time.timelow > max_microseconds) {
        refuse(fault::bad_value, what + "more than 999999 microseconds");
    }
    if (event.number > sizes.max_number) {
        refuse(fault::too_large, what + "the number is above " + std::to_string(sizes.max_number));
    }
    const auto events = file_->events[static_cast<std::size_t>(event.type)].size();
    const auto entry = sizes.index_info + (events == 0 ? sizes.index_head : 0);
    if (file_->event_count == max_index || sizes.index_head + (events + 1) * sizes.index_info > sizes.max_table ||
        (std::uint64_t{file_->event_count} + 1) * sizes.event_header + sizes.table_head > sizes.max_table) {
        refuse(fault::too_large, what + "the tables of events have no room for it");
    }
    check_file_size(sizes.event_header + entry, "a further event");
    event_ = open_event{event, sizes.event_header, {}};
}

void file_writer::state::begin_server_block(const server_block_info& block)
{
    require_open();
    if (!event_) {
        refuse(fault::wrong_use, "server block " + printable(block.name) + " begins outside an event");
    }
    const auto& sizes = file_->sizes();
    const auto refuse_block = [&](fault why, const std::string& text) {
        refuse(why, "server block \"" + printable(block.name) + "\": " + text);
    };
    if (!is_printable_ascii(block.name) || block.name.size() >= sizes.server_width) {
        refuse_block(fault::bad_name, "a server name is printable ASCII of at most " +
                                          std::to_string(sizes.server_width - 1) + " characters");
    }
    const auto time = block.time.value_or(event_->info.time);
    if (time.timelow > max_microseconds) {
        refuse_block(fault::bad_value, "more than 999999 microseconds");
    }
    constexpr std::uint64_t low_31_bits = 0x7FFFFFFF;
    const auto mpulse = block.mpulse.value_or(static_cast<std::int64_t>(event_->info.number & low_31_bits));
    if (mpulse < sizes.min_mpulse || mpulse > sizes.max_mpulse) {
        refuse_block(fault::too_large, "pulse number " + std::to_string(mpulse) + " has more than 32 bits");
    }
    const auto blocks = std::uint64_t{file_->block_count} + event_->blocks.size() + 1;
    if (blocks >= max_index || blocks * sizes.server_head + sizes.table_head > sizes.max_table ||
        sizes.server_head > sizes.max_event - event_->length) {
        refuse_block(fault::too_large, "the server block heads have no room for it");
    }
    check_file_size(sizes.server_head, "a further server block");
    event_->blocks.push_back(
        {{{}, time, sizes.server_head, mpulse, block.tmask, block.status, 0}, block.name, block.nchan});
    event_->length += sizes.server_head;
}

void file_writer::state::end_event()
{
    require_open();
    if (!event_) {
        refuse(fault::wrong_use, "no event is open");
    }
    all_or_nothing([&] {
        auto& file = *file_;
        const auto& info = event_->info;
        heads_.clear();
        file.encoding.put_event_header(heads_,
                                       {info, event_->length, static_cast<std::uint32_t>(event_->blocks.size())});
        file.data.append(file.event_stream, heads_.data(), heads_.size());
        for (auto& block : event_->blocks) {
            heads_.clear();
            block.head.name = block.name;
            if (block.nchan) {
                block.head.channels = static_cast<std::uint32_t>(*block.nchan);
            }
            file.encoding.put_server_head(heads_, block.head);
            file.data.append(file.block_stream, heads_.data(), heads_.size());
        }
        file.events[static_cast<std::size_t>(info.type)].push_back({info.number, info.time, file.event_count});
        file.block_count += static_cast<std::uint32_t>(event_->blocks.size());
        ++file.event_count;
        ++event_count_;
        event_.reset();
    });
}

const file_map& file_writer::state::finish()
{
    require_open();
    if (event_) {
        refuse(fault::wrong_use, "the event is still open");
    }
    try {
        map_ = assemble(*file_);
    } catch (const error& failure) {
        if (failure.why() == fault::input_output) {
            abandon();
        }
        throw;
    } catch (...) {
        abandon();
        throw;
    }
    phase_ = phase::finished;
    file_.reset();
    return map_;
}

} // namespace trox::writer
