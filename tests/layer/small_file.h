// Small data files for tests with known answers.
#ifndef TROX_TESTS_LAYER_SMALL_FILE_H
#define TROX_TESTS_LAYER_SMALL_FILE_H

#include "trox/trox.h"
#include "trox_writer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace layer_test
{

inline constexpr std::uint32_t small_file_second = 1'339'666'200;

inline constexpr trox::writer::generation all_formats[] = {
    trox::writer::generation::legacy, trox::writer::generation::v2010, trox::writer::generation::v2024};

inline int trace_type(trox::writer::generation format)
{
    return format == trox::writer::generation::legacy ? static_cast<int>(TROX_BLOCK_SINGLE)
                                                      : static_cast<int>(TROX_BLOCK_1CHAN_2010);
}

/// The time so many tenths of a second behind the second in which small files begin.
inline trox::time_point tenth(std::uint64_t tenths)
{
    return trox::time_point(std::chrono::seconds(small_file_second)) +
           trox::microseconds(100000) * static_cast<std::int64_t>(tenths);
}

inline time_stamp stamp_of(trox::time_point time)
{
    const auto us = static_cast<std::uint64_t>(time.time_since_epoch().count());
    return {static_cast<std::uint32_t>(us / 1000000), static_cast<std::uint32_t>(us % 1000000)};
}

/// One file, event by event.
class small_file
{
public:
    explicit small_file(std::string path, trox::writer::generation format = trox::writer::generation::v2010)
        : path_(std::move(path)), format_(format), file_(path_, format)
    {
    }
    /// An event of the machine in which each channel has one sample.
    small_file& machine(std::uint64_t number, trox::time_point time,
                        const std::vector<std::pair<std::string, float>>& values)
    {
        file_.begin_event({number, stamp_of(time)});
        file_.begin_server_block({"SVR"});
        for (const auto& [name, value] : values) {
            file_.add_record(id(name), trox::writer::spectrum_payload(format_, trace_type(format_), {value}));
        }
        file_.end_event();
        return *this;
    }
    /// An update of one slow value.
    small_file& update(std::uint64_t number, trox::time_point time, const std::string& name, float value)
    {
        file_.begin_event({number, stamp_of(time), TROX_EV_UPD});
        file_.begin_server_block({"SLOW"});
        file_.add_record(id(name), trox::writer::update_payload(format_, name, value, stamp_of(time)));
        file_.end_event();
        return *this;
    }
    small_file& channel(const std::string& name)
    {
        id(name);
        return *this;
    }
    std::string finish()
    {
        file_.finish();
        return path_;
    }

private:
    trox::writer::channel_id id(const std::string& name)
    {
        const auto known = file_.find_channel(name);
        return known ? *known : file_.add_channel(name);
    }

    std::string path_;
    trox::writer::generation format_;
    trox::writer::file_writer file_;
};

/// One file with the channel T/A, whose value is the number; number n lies `n + offset` tenths of a second behind the
/// second in which small files begin.
inline std::string write_numbers(const std::string& path, trox::writer::generation format,
                                 const std::vector<std::uint64_t>& numbers, std::uint64_t offset = 0)
{
    small_file file(path, format);
    for (const std::uint64_t number : numbers) {
        file.machine(number, tenth(number + offset), {{"T/A", static_cast<float>(number)}});
    }
    return file.finish();
}

inline std::optional<std::uint64_t> number_of(const std::optional<trox::event>& event)
{
    return event ? std::optional<std::uint64_t>(event->number()) : std::nullopt;
}

/// Numbers of all events, forward.
inline std::vector<std::uint64_t> numbers_of(trox::event_reader& reader)
{
    std::vector<std::uint64_t> numbers;
    for (const trox::event& event : reader) {
        numbers.push_back(event.number());
    }
    return numbers;
}

/// The error of a call that must throw one.
template <class Call> trox::error error_of(Call call)
{
    try {
        call();
    } catch (const trox::error& failure) {
        return failure;
    }
    return {trox::fault::wrong_use, "nothing was thrown"};
}

} // namespace layer_test

#endif
