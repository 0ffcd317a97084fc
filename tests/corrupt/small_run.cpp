#include "small_run.h"

#include "detail/big_endian.h"
#include "trox_daq_read_chan_2010.h"
#include "trox_daq_reader_2010.h"
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

constexpr std::uint32_t first_number = 1000;
constexpr std::uint32_t first_second = 1'339'666'200;
constexpr int events = 3;

std::string text_of(const std::vector<unsigned char>& bytes)
{
    return {bytes.begin(), bytes.end()};
}

} // namespace

small_run::small_run()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "trox_corrupt_XXXXXX").string();
    directory_ = ::mkdtemp(pattern.data());
    path_ = directory_ + "/" + tw::data_file_name({"linac", "main", 1}, 1, {first_second, 0});
    channels_ = {"T/ZLIB", "T/LZO", "T/PLAIN", "T/SLOW"};
    write();
    find_ranges();
}

small_run::~small_run()
{
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void small_run::write()
{
    tw::file_writer file(path_, tw::generation::v2010);
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
            add(channel, tw::spectrum_payload(tw::generation::v2010, TROX_BLOCK_1CHAN_2010, samples));
        }
        file.end_event();
        file.begin_event({number, {time.timeup, time.timelow + 5000}, TROX_EV_UPD});
        file.begin_server_block({"SLOW", {}, {}, 0, 0});
        add(3, tw::update_payload(tw::generation::v2010, channels_[3], static_cast<float>(event), time));
        file.end_event();
    }
    const tw::file_map map = file.finish();
    std::ifstream in(path_, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(in), {});

    constexpr std::uint64_t basket_head = 8;
    constexpr std::uint64_t pointers_head = 12;
    vital_ = {{map.event_headers.position, basket_head},      {map.server_blocks.position, basket_head},
              {map.channel_dictionary.position, basket_head}, {map.event_index.position, map.event_index.length},
              {map.pointers.position, pointers_head},         {map.environment.position, map.environment.length},
              {map.descriptions.position, basket_head},       {map.references.position, map.references.length},
              {map.trailer.position, map.trailer.length}};
}

void small_run::find_ranges()
{
    trox_file_get_tables_2010 tables(0);
    ASSERT_EQ(tables.get_all_tables(path_, 0, nullptr), 0);
    const auto& references = *tables.get_ref_tbl();
    const auto rows = static_cast<std::size_t>(tables.get_ecp_table()->maxev);
    const trox_event_chan_ptr_entry* entries = tables.get_ecp_table()->entries;
    for (std::size_t channel = 0; channel < channels_.size(); ++channel) {
        for (std::size_t row = 0; row < events; ++row) {
            const std::size_t index = channel * rows + row;
            const trox_event_chan_ptr_entry& at = entries[index];
            const record_id id{static_cast<int>(channel), first_number + static_cast<std::uint32_t>(row)};
            const auto ldata = trox_detail::load_big_endian<std::uint32_t>(
                bytes_.data() + at.chhd + offsetof(trox_serv_block_subhead_2010, ldata));
            const range ranges[] = {
                {at.evhd, sizeof(trox_eventheader)},
                {at.sbhd, sizeof(trox_serv_block_head_2010)},
                {at.chhd, ldata},
                {references.ecp_ref + offsetof(trox_event_chan_pointers_table, entries) + index * sizeof at, sizeof at},
                {references.cdt_ref + offsetof(trox_chan_dictionary_table_2010, entries) +
                     channel * sizeof(trox_chan_dictionary_entry_2010),
                 sizeof(trox_chan_dictionary_entry_2010)}};
            for (const range& one : ranges) {
                of_record_.emplace_back(one, id);
            }
            // An event whose time is damaged may lie outside the requested range, with all its records.
            const range time{at.evhd + offsetof(trox_eventheader, event_time), sizeof(time_stamp)};
            for (int other = 0; other < static_cast<int>(channels_.size()); ++other) {
                of_record_.emplace_back(time, record_id{other, id.second});
            }
        }
    }
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
        std::ofstream out(path_, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    }
    trox_daq_reader_2010 reader;
    reader.set_skip_bad_records(true);
    EXPECT_EQ(reader.add_file(path_.c_str(), true), 0);
    for (const std::string& name : channels_) {
        daq_channel_entry entry{name.c_str(), {-1, -1, -1, -1, 0, 0, 0}};
        EXPECT_EQ(reader.add_channel(&entry), 0);
    }
    records found;
    if (reader.start() != TROX_DAQ_READER_OK) {
        return found;
    }
    constexpr int most_calls = 100; // each record may at worst be an event of its own
    std::vector<trox_channel_entry_long*> result;
    int calls = 0;
    while (reader.get_data(nullptr, &result, TROX_DAQ_READ_CHAN_EVENT_NEXT) == TROX_DAQ_READER_OK) {
        if (++calls > most_calls) {
            ADD_FAILURE() << "the events do not end";
            break;
        }
        for (const trox_channel_entry_long* entry : result) {
            const auto* head = reinterpret_cast<const trox_serv_block_subhead_2010*>(entry->sbchdata[0].chhd);
            const auto* payload = reinterpret_cast<const char*>(head + 1);
            const auto size = static_cast<std::size_t>(
                std::max<std::int64_t>(0, head->ldata - static_cast<std::int64_t>(sizeof *head)));
            for (std::size_t i = 0; i < channels_.size(); ++i) {
                const bool update = head->dtype == TROX_UPD_BLOCK_2010;
                if (channels_[i] == std::string(update ? payload : head->chname)) {
                    found[{static_cast<int>(i), entry->event_id.event_number}] = std::string(payload, size);
                }
            }
        }
    }
    return found;
}

} // namespace corrupt
