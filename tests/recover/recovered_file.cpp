#include "recovered_file.h"

#include <fstream>
#include <stdexcept>

namespace recover_test
{

namespace
{

std::string describe(const record_name& name)
{
    return std::get<0>(name) + " of event " + std::to_string(std::get<1>(name)) + ", type " +
           std::to_string(std::get<2>(name));
}

bool is_equal(const writer_test::checked_event& a, const writer_test::checked_event& b, bool with_masks)
{
    return a.number == b.number && a.seconds == b.seconds && a.microseconds == b.microseconds && a.type == b.type &&
           (!with_masks || (a.tmask == b.tmask && a.status == b.status));
}

bool is_equal(const writer_test::checked_block& a, const writer_test::checked_block& b)
{
    return a.server == b.server && a.seconds == b.seconds && a.microseconds == b.microseconds && a.mpulse == b.mpulse &&
           a.tmask == b.tmask && a.status == b.status; // it counts the records that it still has
}

bool is_equal(const writer_test::checked_record& a, const writer_test::checked_record& b)
{
    return a.dtype == b.dtype && a.error == b.error && a.zip_flags == b.zip_flags && a.payload == b.payload;
}

} // namespace

full_file parse(const std::string& path)
{
    full_file result;
    result.file = writer_test::check_file(path);
    for (const auto& channel : result.file.channels) {
        for (const auto& record : channel.records) {
            const record_name name{channel.name, record.event_number, record.event_type};
            full_record full{record, result.file.events.at(record.event_position),
                             result.file.blocks.at(record.block_position)};
            if (!result.records.emplace(name, std::move(full)).second) {
                throw std::logic_error(describe(name) + " is there twice");
            }
        }
    }
    return result;
}

std::vector<std::string> find_differences(const full_file& original, const full_file& recovered, const comparison& what)
{
    std::vector<std::string> differences;
    for (const auto& [name, now] : recovered.records) {
        const auto before = original.records.find(name);
        if (before == original.records.end()) {
            differences.push_back(describe(name) + " is invented");
            continue;
        }
        if (!is_equal(before->second.record, now.record)) {
            differences.push_back(describe(name) + ": the record is another");
        }
        if (!is_equal(before->second.event, now.event, what.event_fields)) {
            differences.push_back(describe(name) + ": the event is another");
        }
        if (what.blocks && !is_equal(before->second.block, now.block)) {
            differences.push_back(describe(name) + ": the server block is another");
        }
    }
    differences.insert(differences.end(), recovered.file.problems.begin(), recovered.file.problems.end());
    std::map<std::string, std::uint32_t> keys;
    for (const auto& channel : original.file.channels) {
        keys[channel.name] = channel.key;
    }
    for (const auto& channel : recovered.file.channels) {
        if (keys.count(channel.name) == 0) {
            differences.push_back("channel " + channel.name + " is invented");
        } else if (what.keys && keys[channel.name] != channel.key) {
            differences.push_back("channel " + channel.name + " has another key");
        }
    }
    return differences;
}

std::vector<record_name> missing_records(const full_file& original, const full_file& recovered)
{
    std::vector<record_name> missing;
    for (const auto& [name, record] : original.records) {
        if (recovered.records.count(name) == 0) {
            missing.push_back(name);
        }
    }
    return missing;
}

std::uint64_t lost_count(const tr::report& report)
{
    std::uint64_t lost = 0;
    for (const auto& channel : report.channels) {
        lost += channel.lost;
    }
    return lost;
}

void write_bytes(const std::string& path, const bytes& content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

damaged_scenario::damaged_scenario(tw::generation format, const tw::layout_options& layout) : format_(format)
{
    tw::file_options options;
    options.layout = layout;
    map_ = writer_test::write_scenario(input(), format, options);
    content = writer_test::read_file(input());
    original_ = parse(input());
}

damaged_scenario::damaged_scenario(const std::string& path) : content(writer_test::read_file(path))
{
    original_ = parse(path);
    format_ = static_cast<tw::generation>(original_.file.generation);
}

void damaged_scenario::destroy(std::uint64_t position, std::uint64_t length, unsigned char with)
{
    for (auto at = position; at < position + length; ++at) {
        content.at(at) = with;
    }
}

tr::report damaged_scenario::recover(const tr::recover_options& options)
{
    write_bytes(input(), content);
    auto with_replacing = options;
    with_replacing.replace_existing = true;
    return tr::recover_file(input(), output(), with_replacing);
}

full_file damaged_scenario::recovered() const
{
    return parse(output());
}

std::string damaged_scenario::input() const
{
    return directory_.path("damaged.raw");
}

std::string damaged_scenario::output() const
{
    return directory_.path("recovered.raw");
}

} // namespace recover_test
