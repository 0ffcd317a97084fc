// What a data set holds: the files' contents, the channels of all of them, and the files that are open at the moment.
#ifndef TROX_TROX_OPEN_FILES_H
#define TROX_TROX_OPEN_FILES_H

#include "trox/data_file.h"
#include "trox/data_set.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace trox::detail
{

class open_files
{
public:
    /// `skipped`: files that were passed over on the way here.
    open_files(const std::vector<std::string>& paths, const open_options& options,
               std::vector<skipped_file> skipped = {});

    const std::vector<file_info>& files() const noexcept
    {
        return files_;
    }
    const std::vector<skipped_file>& skipped() const noexcept
    {
        return skipped_;
    }
    const std::vector<channel_info>& channels() const noexcept
    {
        return channels_;
    }
    /// Where their events lie.
    const file_sequence& sequence() const noexcept
    {
        return sequence_;
    }
    std::optional<std::size_t> find(std::string_view name) const;
    /// Throws error (wrong_use) for an index that no channel has.
    void expect_channel(std::size_t channel) const;
    /// Whether a file has records of a channel.
    bool has(std::size_t file, std::size_t channel) const;
    /// Loads the rows of channels. Throws error, also when the file was changed or replaced since it was opened.
    std::shared_ptr<const file_rows> load(std::size_t file, const std::vector<std::string>& channels) const;
    std::size_t most_open() const noexcept
    {
        return most_open_;
    }

private:
    void add(file_contents contents);

    std::vector<file_info> files_;
    file_sequence sequence_{{}};
    std::vector<file_identity> identities_; // of the files
    std::vector<skipped_file> skipped_;
    std::vector<channel_info> channels_;
    std::unordered_map<std::string, std::size_t> by_name_;
    std::vector<std::vector<bool>> has_records_; // per file, by index of the channel; shorter ones go on with false
    std::size_t most_open_;
};

/// The rows of a fixed list of channels in the files of a data set; keeps those of the files used last. Thread-safe.
class row_cache
{
public:
    row_cache(std::shared_ptr<const open_files> files, std::vector<std::size_t> channels);

    /// Null when the file cannot be loaded; the first such failure is kept, or thrown when that is wished. Lack of
    /// descriptors or memory is thrown, and not kept. No more files are open than allowed, unless others hold on to
    /// them.
    std::shared_ptr<const file_rows> rows(std::size_t file);
    /// Whether a file is open, or can be opened without that others give one up.
    bool has_room_for(std::size_t file);
    /// `relief` is called when others hold the files that are open: it has them give up some, or returns false when
    /// they hold none that they can do without. It must not call this.
    void ask_for_relief(std::function<bool()> relief)
    {
        relief_ = std::move(relief);
    }
    std::vector<skipped_file> failures() const;
    std::size_t most_open() const noexcept
    {
        return files_->most_open();
    }
    void throw_failures(bool on) noexcept
    {
        throws_ = on;
    }

private:
    using open_entry = std::pair<std::size_t, std::shared_ptr<const file_rows>>;

    std::shared_ptr<const file_rows> take_again(std::size_t file);
    std::size_t open_now();
    bool close_one();
    void make_room();
    void load(std::size_t file);
    bool gets_relief() const;

    std::shared_ptr<const open_files> files_;
    std::vector<std::string> names_;
    bool throws_ = false;
    std::function<bool()> relief_;
    mutable std::mutex mutex_; // guards all below
    std::list<open_entry> recent_;
    std::vector<std::pair<std::size_t, std::weak_ptr<const file_rows>>> given_up_; // may still be held by others
    std::unordered_map<std::size_t, std::string> failures_;
};

} // namespace trox::detail

#endif
