#include "file_state.h"

namespace trox::writer
{

file_writer::file_writer(const std::string& path, generation format, const file_options& options)
    : state_(std::make_unique<state>(path, format, options))
{
}
file_writer::~file_writer() = default;
file_writer::file_writer(file_writer&&) noexcept = default;
file_writer& file_writer::operator=(file_writer&&) noexcept = default;

channel_id file_writer::add_channel(const channel_settings& settings)
{
    return state_->add_channel(settings);
}

channel_id file_writer::add_channel(const std::string& name)
{
    return state_->add_channel({name, {}, {}, {}, {}});
}

channel_id file_writer::add_channel(const std::string& name, storage stored)
{
    return state_->add_channel({name, {}, stored, {}, {}});
}

std::optional<channel_id> file_writer::find_channel(const std::string& name) const
{
    return state_->find_channel(name);
}

void file_writer::add_environment_entry(std::uint32_t key, std::int32_t index)
{
    state_->add_environment_entry(key, index);
}

void file_writer::begin_event(const event_info& event)
{
    state_->begin_event(event);
}

void file_writer::begin_server_block(const server_block_info& block)
{
    state_->begin_server_block(block);
}

void file_writer::add_record(channel_id channel, const record& record)
{
    state_->add_record(channel, record);
}

void file_writer::add_record(channel_id channel, const payload& payload, std::uint32_t error)
{
    state_->add_record(channel, record{payload.dtype, payload.bytes, error, byte_order::host, {}});
}

void file_writer::add_record(const std::string& channel, const record& record)
{
    state_->add_record(state_->require_channel(channel), record);
}

void file_writer::add_record(const std::string& channel, const payload& payload, std::uint32_t error)
{
    add_record(state_->require_channel(channel), payload, error);
}

void file_writer::add_record(channel_id channel, const stored_record& record)
{
    state_->add_record(channel, record);
}

void file_writer::end_event()
{
    state_->end_event();
}

const file_map& file_writer::finish()
{
    return state_->finish();
}

void file_writer::abandon() noexcept
{
    state_->abandon();
}

const std::string& file_writer::path() const noexcept
{
    return state_->path();
}

std::uint64_t file_writer::projected_size() const noexcept
{
    return state_->projected_size();
}

std::uint64_t file_writer::size_limit() const noexcept
{
    return state_->size_limit();
}

std::uint64_t file_writer::event_count() const noexcept
{
    return state_->event_count();
}

} // namespace trox::writer
