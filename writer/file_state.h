// A file that is being written: checks of what is added, and the step from events to spooled records.
#ifndef TROX_WRITER_FILE_STATE_H
#define TROX_WRITER_FILE_STATE_H

#include "compressor.h"
#include "contents.h"
#include "trox_writer.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace trox::writer
{

class file_writer::state
{
public:
    state(const std::string& path, generation format, const file_options& options);

    channel_id add_channel(const channel_settings& settings);
    std::optional<channel_id> find_channel(const std::string& name) const;
    channel_id require_channel(const std::string& name) const;
    void add_environment_entry(std::uint32_t key, std::int32_t index);
    void begin_event(const event_info& event);
    void begin_server_block(const server_block_info& block);
    void add_record(channel_id id, const record& record);
    void add_record(channel_id id, const stored_record& record);
    void end_event();
    const file_map& finish();
    void abandon() noexcept;

    const std::string& path() const noexcept
    {
        return path_;
    }
    std::uint64_t projected_size() const noexcept;
    std::uint64_t size_limit() const noexcept
    {
        return limit_;
    }
    std::uint64_t event_count() const noexcept
    {
        return event_count_;
    }

private:
    enum class phase { open, finished, given_up };

    struct open_block {
        server_head_values head;
        std::string name;
        std::optional<std::int32_t> nchan; ///< the caller gave it
    };
    struct open_event {
        event_info info;
        std::uint64_t length;
        std::vector<open_block> blocks;
    };
    /// A record ready to be spooled.
    struct prepared {
        subhead_values head;
        std::optional<trox_zip_header> zip;
        bytes_view bytes;
        std::uint64_t payload; ///< bytes of the uncompressed payload
        bool own_ldata;        ///< the caller gave it
    };

    void require_open() const;
    channel& require_record_place(channel_id id);
    void check_record(const channel& channel, const record& record) const;
    void check_room(const channel& channel, std::uint64_t length, std::uint64_t payload) const;
    void check_file_size(std::uint64_t growth, const char* what) const;
    std::uint64_t environment_growth(bool entry) const noexcept;
    prepared prepare(const channel& channel, const record& record);
    void commit(channel& channel, const prepared& record, std::uint64_t length);
    bool is_slow(const prepared& record) const noexcept;
    std::uint32_t next_key(const channel_settings& settings) const;
    void check_channel(const channel_settings& settings, std::uint32_t key) const;
    std::uint64_t stored_length(const prepared& record) const noexcept;

    /// Runs what must not be interrupted: any exception gives the file up.
    template <class Step> void all_or_nothing(Step step)
    {
        try {
            step();
        } catch (...) {
            abandon();
            throw;
        }
    }

    [[noreturn]] void refuse(fault why, const std::string& text) const;
    [[noreturn]] void refuse(fault why, const channel& channel, const std::string& text) const;

    std::string path_;
    std::optional<contents> file_; ///< empty once finished or given up: that removes the spool
    phase phase_ = phase::open;
    std::unordered_map<std::string, channel_id> names_;
    std::unordered_set<std::uint32_t> keys_;
    std::unordered_set<std::uint32_t> environment_keys_;
    std::optional<open_event> event_;
    std::uint64_t limit_ = 0;
    std::uint64_t channel_bytes_ = 0; ///< basket heads and stored records
    std::uint64_t event_count_ = 0;
    std::uint32_t last_key_ = 0;
    compressor compressor_;
    std::vector<unsigned char> converted_;
    std::vector<unsigned char> compressed_;
    byte_buffer heads_;
    file_map map_;
};

} // namespace trox::writer

#endif
