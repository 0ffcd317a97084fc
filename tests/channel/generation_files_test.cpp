// The same logical events in files of three generations, and the names that each generation can hold.
#include "captured_output.h"
#include "channel_contents.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "open_channel.h"

#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

using namespace trox_test;

namespace
{

// --- equal events -----------------------------------------------------------------------------------------

/// What a record means, whatever its layout.
struct logical_record {
    std::uint64_t number = 0;
    std::uint64_t time_us = 0;
    int event_type = 0;
    std::string server;
    std::int64_t pulse = 0;
    std::string channel;
    std::uint32_t error = 0;
    std::vector<float> floats; ///< of a trace
    std::string name;          ///< and the rest: of a slow value
    int status = 0;
    std::uint64_t value_time_us = 0;
    float value = 0;
    bool operator==(const logical_record&) const = default;
};

constexpr std::uint64_t microseconds(time_stamp time)
{
    return time.timeup * std::uint64_t{1000000} + time.timelow;
}

template <class T> logical_record logical(const typename T::entry& record)
{
    const auto& header = *event_header_of<T>(record);
    const auto& server = *server_block_of<T>(record);
    const auto& block = *block_of<T>(record);
    EXPECT_EQ(header.event_number, record.event_id.event_number);
    logical_record out;
    out.number = record.event_id.event_number;
    out.time_us = microseconds(record.event_id.time);
    out.event_type = header.event_type;
    out.server = server.server;
    out.pulse = server.mpulse;
    out.channel = block.chname;
    out.error = static_cast<std::uint32_t>(block.error);
    if (block.dtype == T::update_type) {
        typename T::update_block update;
        std::memcpy(&update, &block + 1, sizeof update);
        out.name = update.upd_prop;
        out.status = update.upd_ch_status;
        out.value_time_us = microseconds(update.upd_ch_time);
        out.value = update.upd_ch_data;
    } else {
        out.floats = floats_of<T>(record);
    }
    return out;
}

/// All records of a channel of the scenario, from first to last by the steps of `get_chan_data`.
template <class T> std::vector<logical_record> read_logical(std::size_t channel, int subchan, bool listed)
{
    const scenario_file<T> scenario;
    const std::vector<std::string> list{scenario_names[channel]};
    open_channel<T> open(scenario.path(), scenario_names[channel], subchan, listed ? &list : nullptr);
    std::vector<logical_record> records;
    typename T::entry* record = nullptr;
    int type = TROX_DAQ_READ_CHAN_EVENT_FIRST;
    while (open.reader.get_chan_data(nullptr, &record, type) == TROX_DAQ_READ_CHAN_OK) {
        records.push_back(logical<T>(*record));
        type = TROX_DAQ_READ_CHAN_EVENT_NEXT;
    }
    return records;
}

} // namespace

TEST(same_events_in_three_generations, read_equal_channel_by_channel)
{
    const std::pair<std::size_t, int> channels[] = {
        {plain_channel, -1},  {zlib_channel, -1},    {lzo_channel, -1},    {members_channel, 0},
        {members_channel, 3}, {members_channel, -1}, {update_channel, -1}, {environment_channel, -1}};
    for (const auto& [channel, subchan] : channels) {
        for (const bool listed : {false, true}) {
            SCOPED_TRACE(scenario_names[channel] + (":" + std::to_string(subchan)));
            const auto legacy = read_logical<channel_legacy>(channel, subchan, listed);
            ASSERT_EQ(legacy.size(), static_cast<std::size_t>(scenario_events));
            EXPECT_EQ(legacy[4].number, 105U);
            EXPECT_EQ(legacy[4].time_us, 1000800000U);
            const bool is_slow = channel == update_channel || channel == environment_channel;
            EXPECT_EQ(legacy[4].value, is_slow ? 4.5F : 0.0F);
            EXPECT_EQ(legacy[4].floats.size(), is_slow                      ? 0U
                                               : channel != members_channel ? 64U
                                               : subchan < 0                ? 256U
                                                                            : 64U);
            EXPECT_TRUE(legacy == read_logical<channel_2010>(channel, subchan, listed));
            EXPECT_TRUE(legacy == read_logical<channel_2024>(channel, subchan, listed));
        }
    }
}

// --- names ------------------------------------------------------------------------------------------------

namespace
{

template <class T> class names_of_generation : public ::testing::Test
{
protected:
    /// The longest name that a file of the generation holds; a legacy one only with a sub-channel.
    static std::string longest_in_file()
    {
        if (sizeof(T::subhead::chname) < sizeof(T::dictionary_entry::chan_name)) {
            return std::string(31, 'N') + ":" + std::string(47, 'S');
        }
        return std::string(255, 'N');
    }
    /// A file with a channel of that name; `damaged` leaves its basket without its mark.
    std::string write_file(const std::string& name, bool damaged)
    {
        const std::string path = directory_.file(damaged ? "damaged.raw" : "names.raw");
        tw::file_writer file(path, T::format);
        const auto channel = file.add_channel(name);
        for (int i = 0; i < 3; ++i) {
            file.begin_event({event_number_of(i), event_time_of(i)});
            file.begin_server_block({"TEST.SVR"});
            file.add_record(channel, tw::spectrum_payload(T::format, T::trace_type, samples_of(0, i, 1)));
            file.end_event();
        }
        data_file<T> bytes(path, file.finish());
        if (damaged) {
            bytes.put_word(bytes.map().channels[0].position, 0);
            bytes.write(path);
        }
        return path;
    }

    temp_directory directory_;
};
TYPED_TEST_SUITE(names_of_generation, channel_generations);

} // namespace

TYPED_TEST(names_of_generation, are_cut_to_what_a_reader_holds)
{
    const scenario_file<TypeParam> scenario;
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(scenario.path(), 0, nullptr), 0);
    for (const std::size_t length :
         {std::size_t{79}, std::size_t{80}, std::size_t{255}, std::size_t{256}, std::size_t{1000}}) {
        const std::string name(length, 'X');
        typename TypeParam::reader reader(&loader, name.c_str(), -1, nullptr);
        EXPECT_EQ(reader.get_chan_name(nullptr), name.substr(0, TypeParam::longest_name)) << length;
        start_signal signal;
        EXPECT_EQ(capture([&] { EXPECT_EQ(start(reader, signal), TROX_DAQ_READ_CHAN_NOT_FOUND); }).out,
                  TypeParam::channel_not_found());
    }
}

TYPED_TEST(names_of_generation, can_be_as_long_as_the_dictionary_allows)
{
    const std::string name = this->longest_in_file();
    EXPECT_EQ(name.size(), sizeof(TypeParam::dictionary_entry::chan_name) - 1);
    const std::string path = this->write_file(name, false);
    const std::vector<std::string> list{name};
    for (const std::vector<std::string>* listed : {static_cast<const std::vector<std::string>*>(nullptr), &list}) {
        open_channel<TypeParam> open(path, name.c_str(), -1, listed);
        EXPECT_EQ(open.reader.get_chan_name(nullptr), name);
        typename TypeParam::entry* record = nullptr;
        ASSERT_EQ(open.reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_LAST), 0);
        EXPECT_EQ(floats_of<TypeParam>(*record), samples_of(0, 2, 1));
    }
}

TYPED_TEST(names_of_generation, find_the_records_of_a_damaged_basket_with_and_without_a_sub_channel)
{
    for (const std::string& name : {this->longest_in_file(), std::string("TEST/PLAIN"), std::string("TEST/PLAIN:3")}) {
        SCOPED_TRACE(name);
        std::filesystem::remove(this->directory_.file("damaged.raw"));
        const std::string path = this->write_file(name, true);
        open_channel<TypeParam> open(path, name.c_str(), -1, nullptr,
                                     [](auto& reader) { reader.set_skip_bad_records(true); });
        EXPECT_EQ(open.reader.get_number_of_bad_records(), 0);
        ASSERT_EQ(open.reader.get_number_of_records(), 3);
        typename TypeParam::entry* record = nullptr;
        ASSERT_EQ(open.reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_LAST), 0);
        EXPECT_EQ(floats_of<TypeParam>(*record), samples_of(0, 2, 1));
    }
}

// --- look-ups without data --------------------------------------------------------------------------------

namespace
{

template <class T> class lookup_without_data : public ::testing::Test
{
};
TYPED_TEST_SUITE(lookup_without_data, channel_generations);

} // namespace

TYPED_TEST(lookup_without_data, says_so_in_2024_when_there_are_no_records_at_all)
{
    scenario_file<TypeParam> scenario;
    for (std::size_t i = 0; i < scenario_events; ++i) {
        const auto zip_head = scenario.file().row(zlib_channel, i).chhd + sizeof(typename TypeParam::subhead);
        scenario.file().put(zip_head, std::uint32_t{8}); // no such compressor
    }
    scenario.rewrite();
    std::unique_ptr<open_channel<TypeParam>> open;
    capture([&] {
        open = std::make_unique<open_channel<TypeParam>>(scenario.path(), "TEST/ZLIB", -1, nullptr,
                                                         [](auto& reader) { reader.set_skip_bad_records(true); });
    });
    const auto find = [&](int debug) {
        open->loader.set_debug(debug);
        const std::string printed =
            capture([&] {
                int status = 0;
                EXPECT_EQ(find_by_number(open->reader, 103, TROX_DAQ_READ_CHAN_EVENT_CUR, &status), nullptr);
                EXPECT_EQ(status, TROX_DAQ_READ_CHAN_NO_DATA);
            }).out;
        return without_worker_lines(printed);
    };
    EXPECT_EQ(find(0), "");
    EXPECT_EQ(find(1), TypeParam::lookup_without_records());
    EXPECT_EQ(find(-1), TypeParam::lookup_without_records());
}
