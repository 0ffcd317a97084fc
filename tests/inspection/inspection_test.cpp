// Looking into one file with a reader that has no request.
#include "inspection_fixture.h"

#include <filesystem>

using namespace trox_test;

namespace
{

template <class Reader>
concept dumps_channels = requires(Reader& reader)
{
    reader.print_channel_event_headers("", "");
}
|| requires(Reader& reader)
{
    reader.print_channel_server_block_headers("", "");
}
|| requires(Reader& reader)
{
    reader.print_channel_channel_headers("", "");
}
|| requires(Reader& reader)
{
    reader.print_channel_channel("", "");
};

} // namespace

TYPED_TEST(inspection, counts_the_channels_of_every_sample)
{
    for (std::size_t i = 0; i < 3; ++i) {
        int n = 0;
        EXPECT_EQ(this->reader_.get_number_of_channels(this->file(i).c_str(), &n, 0), 0);
        EXPECT_EQ(n, static_cast<int>(this->dump(TypeParam::samples, i).at("cdt").size()));
        EXPECT_STREQ(this->reader_.get_last_error(), "OK");
        EXPECT_EQ(this->reader_.get_number_of_files(), 0) << "it stands in the list only meanwhile";
    }
}

TYPED_TEST(inspection, refuses_missing_arguments)
{
    int n = 7;
    EXPECT_EQ(this->reader_.get_number_of_channels(nullptr, &n, 0), TROX_DAQ_READER_INV_PARAM);
    EXPECT_EQ(this->reader_.get_number_of_channels("", &n, 0), TROX_DAQ_READER_INV_PARAM);
    EXPECT_EQ(this->reader_.get_number_of_channels("x", nullptr, 0), TROX_DAQ_READER_INV_PARAM);
    EXPECT_EQ(n, 7);
    std::vector<chan_descr_2010*> list;
    EXPECT_EQ(this->reader_.fill_chan_descr(nullptr, &list), TROX_DAQ_READER_INV_PARAM);
    EXPECT_EQ(this->reader_.fill_chan_descr("", &list), TROX_DAQ_READER_INV_PARAM);
    EXPECT_EQ(this->reader_.fill_chan_descr("x", nullptr), TROX_DAQ_READER_INV_PARAM);
    EXPECT_EQ(this->reader_.print_event_index_table(nullptr, -1), TROX_DAQ_READER_INV_PARAM);
    EXPECT_EQ(this->reader_.print_event_index_table("", -1), TROX_DAQ_READER_INV_PARAM);
    EXPECT_EQ(this->reader_.print_all_channels(nullptr), TROX_DAQ_READER_INV_PARAM);
    EXPECT_STREQ(this->reader_.get_last_error(), "Invalid Parameter");
}

TYPED_TEST(inspection, answers_as_add_file_for_a_file_that_is_not_there)
{
    ::unsetenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    const std::string missing = this->directory_.file("linac_main_run1_file1_20120614T093000.raw");
    int n = 0;
    std::vector<chan_descr_2010*> list;
    capture([&] {
        EXPECT_EQ(this->reader_.get_number_of_channels(missing.c_str(), &n, 0), TROX_DAQ_READER_FILES_NOT_FOUND);
        EXPECT_EQ(this->reader_.print_all_channels(missing.c_str()), TROX_DAQ_READER_FILES_NOT_FOUND);
        EXPECT_EQ(this->reader_.fill_chan_descr(missing.c_str(), &list), TROX_DAQ_READER_FILES_NOT_FOUND);
        EXPECT_EQ(this->reader_.print_event_index_table(missing.c_str(), -1), TROX_DAQ_READER_FILES_NOT_FOUND);
    });
    EXPECT_STREQ(this->reader_.get_last_error(), "Files not found");
}

TYPED_TEST(inspection, answers_no_data_for_a_file_that_does_not_load)
{
    const std::string path = this->directory_.file("linac_main_run1_file1_20120614T093000.raw");
    std::ofstream(path) << "not a data file, but longer than any trailer";
    int n = 0;
    EXPECT_EQ(this->reader_.get_number_of_channels(path.c_str(), &n, 0), TROX_DAQ_READER_NO_DATA);
    EXPECT_EQ(this->reader_.print_event_index_table(path.c_str(), -1), TROX_DAQ_READER_NO_DATA);
    EXPECT_STREQ(this->reader_.get_last_error(), "No required data");
    EXPECT_EQ(this->reader_.get_number_of_files(), 0);
}

TYPED_TEST(inspection, loads_for_the_readers_channels)
{
    this->add_channel("NOT/IN/THE/FILE");
    int n = 0;
    EXPECT_EQ(this->reader_.get_number_of_channels(this->file().c_str(), &n, 0), TROX_DAQ_READER_NO_DATA);
    EXPECT_EQ(this->reader_.print_event_index_table(this->file().c_str(), 99), 0) << "looks at no channels";
}

TYPED_TEST(inspection, a_dictionary_that_is_only_its_head_has_no_data)
{
    using table = typename TypeParam::generation::chan_dictionary_table;
    const std::string path = this->with_dictionary(offsetof(table, length), offsetof(table, entries));
    int n = 0;
    EXPECT_EQ(this->reader_.get_number_of_channels(path.c_str(), &n, 0), TROX_DAQ_READER_NO_DATA);
}

TYPED_TEST(inspection, a_dictionary_of_a_wrong_pattern_does_not_load)
{
    using table = typename TypeParam::generation::chan_dictionary_table;
    const std::string path = this->with_dictionary(offsetof(table, pattern), 0xDCADCAF2);
    int n = 0;
    EXPECT_EQ(this->reader_.get_number_of_channels(path.c_str(), &n, 0), TROX_DAQ_READER_NO_DATA);
}

TYPED_TEST(inspection, prints_the_dictionary)
{
    const std::string printed =
        capture([&] { EXPECT_EQ(this->reader_.print_all_channels(this->file().c_str()), 0); }).out;
    const auto expected_file = this->dump(TypeParam::samples);
    for (const auto& channel : expected_file.at("cdt")) {
        EXPECT_THAT(printed,
                    ::testing::HasSubstr("chan_name: " + channel.at("name").template get<std::string>() + "\n"));
    }
}

TYPED_TEST(inspection, hands_out_the_descriptions_of_the_dictionarys_channels)
{
    for (std::size_t i = 0; i < 3; ++i) {
        const auto expected = this->dump(TypeParam::samples, i);
        std::vector<chan_descr_2010*> list;
        ASSERT_EQ(this->reader_.fill_chan_descr(this->file(i).c_str(), &list), 0);
        ASSERT_EQ(list.size(), expected.at("descriptions").size());
        for (std::size_t k = 0; k < list.size(); ++k) {
            const auto& description = expected.at("descriptions").at(k);
            EXPECT_EQ(list[k]->daq_name, description.at("daq_name").template get<std::string>());
            EXPECT_EQ(list[k]->units, description.at("units").template get<std::string>());
            for (const auto& channel : expected.at("cdt")) {
                if (channel.at("name") == description.at("daq_name")) {
                    EXPECT_EQ(list[k]->count, channel.at("count").template get<int>()) << list[k]->daq_name;
                }
            }
        }
        EXPECT_EQ(this->reader_.get_descr_list()->size(), list.size()) << "the reader's own";
    }
}

TYPED_TEST(inspection, appends_no_descriptions_where_the_file_has_none)
{
    const std::string path = this->directory_.file("linac_main_run1_file1_20120614T093000.raw");
    {
        tw::file_writer file(path, TypeParam::format);
        const auto channel = file.add_channel("A/CHANNEL");
        file.begin_event({1, {1339666200, 0}});
        file.begin_server_block({"SVR"});
        file.add_record(channel, tw::spectrum_payload(TypeParam::format, TypeParam::trace_type, {1.0F}));
        file.end_event();
        file.finish();
    }
    std::vector<chan_descr_2010*> list;
    EXPECT_EQ(this->reader_.fill_chan_descr(path.c_str(), &list), 0);
    EXPECT_TRUE(list.empty());
}

TYPED_TEST(inspection, prints_the_event_index_of_all_types_or_of_one)
{
    const nlohmann::json types = this->dump(TypeParam::samples).at("eit");
    const auto print = [&](int type) {
        return capture([&] { EXPECT_EQ(this->reader_.print_event_index_table(this->file().c_str(), type), 0); }).out;
    };
    const std::string all = print(-1);
    EXPECT_EQ(lines_with(all, "event_type: "), static_cast<int>(types.size()));
    for (const auto& type : types) {
        const auto number = type.at("event_type").template get<int>();
        const std::string one = print(number);
        EXPECT_EQ(lines_with(one, "event_type: " + std::to_string(number)), 1);
        EXPECT_EQ(lines_with(one, "event_type: "), 1);
        EXPECT_EQ(lines_with(one, "info["), 3 * static_cast<int>(type.at("events").size())) << "time, number, offset";
    }
}

TYPED_TEST(inspection, prints_nothing_for_an_event_type_without_events)
{
    const auto printed =
        capture([&] { EXPECT_EQ(this->reader_.print_event_index_table(this->file().c_str(), 77), 0); });
    EXPECT_EQ(printed.out, "");
}

TYPED_TEST(inspection, leaves_the_files_that_were_listed_before)
{
    const std::string other = this->file(1);
    ASSERT_EQ(this->reader_.add_file(other.c_str(), true), 0);
    int n = 0;
    EXPECT_EQ(this->reader_.get_number_of_channels(this->file().c_str(), &n, 0), 0);
    EXPECT_EQ(this->reader_.print_event_index_table(this->file().c_str(), 77), 0);
    ASSERT_EQ(this->reader_.get_number_of_files(), 1);
    EXPECT_EQ(this->reader_.get_file_name(0), other);
}

TYPED_TEST(inspection, keeps_the_order_of_files_that_it_meets_again)
{
    const std::vector<std::string> files{this->file(0), this->file(1)};
    for (const std::string& file : files) {
        ASSERT_EQ(this->reader_.add_file(file.c_str(), true), 0);
    }
    int n = 0;
    EXPECT_EQ(this->reader_.get_number_of_channels(files[0].c_str(), &n, 0), 0);
    EXPECT_EQ(this->reader_.print_event_index_table(files[0].c_str(), 77), 0);
    ASSERT_EQ(this->reader_.get_number_of_files(), 2);
    EXPECT_EQ(this->reader_.get_file_name(0), files[0]);
    EXPECT_EQ(this->reader_.get_file_name(1), files[1]);
}

TYPED_TEST(inspection, looks_at_the_first_file_that_contains_the_name)
{
    // The longer name stands in front; it is no data file, and stays in the list.
    const std::string name = this->directory_.file("linac_main_run1_file1_20120614T093000.raw");
    std::filesystem::copy_file(this->file(), name);
    const std::string longer = name + ".old";
    std::ofstream(longer) << "not a data file, but longer than any trailer";
    ASSERT_EQ(this->reader_.add_file(longer.c_str(), true), 0);
    EXPECT_EQ(this->reader_.print_event_index_table(name.c_str(), 77), TROX_DAQ_READER_NO_DATA);
    ASSERT_EQ(this->reader_.get_number_of_files(), 1);
    EXPECT_EQ(this->reader_.get_file_name(0), longer);
    int n = 0;
    EXPECT_EQ(this->reader_.get_number_of_channels(name.c_str(), &n, 0), 0) << "counted files stand in front";
}

TYPED_TEST(inspection, tells_an_event_index_without_events)
{
    const std::string path = this->directory_.file("linac_main_run1_file1_20120614T093000.raw");
    {
        tw::file_writer file(path, TypeParam::format);
        file.add_channel("A/CHANNEL");
        file.finish();
    }
    const auto printed =
        capture([&] { EXPECT_EQ(this->reader_.print_event_index_table(path.c_str(), -1), TROX_DAQ_READER_NO_DATA); });
    EXPECT_EQ(printed.out, "No events in event index table\n");
}

TYPED_TEST(inspection, is_not_allowed_while_the_reader_runs)
{
    std::vector<std::string> files{this->file()};
    this->add_channel(this->name_of_channel(0));
    ASSERT_EQ(this->reader_.init(files, nullptr), 0);
    ASSERT_EQ(this->reader_.start(), 0);
    int n = 0;
    EXPECT_EQ(this->reader_.get_number_of_channels(this->file().c_str(), &n, 0), TROX_DAQ_READER_NOT_ALLOWED);
    EXPECT_EQ(this->reader_.print_all_channels(this->file().c_str()), TROX_DAQ_READER_NOT_ALLOWED);
    std::vector<chan_descr_2010*> list;
    EXPECT_EQ(this->reader_.fill_chan_descr(this->file().c_str(), &list), TROX_DAQ_READER_NOT_ALLOWED);
    EXPECT_EQ(this->reader_.print_event_index_table(this->file().c_str(), -1), TROX_DAQ_READER_NOT_ALLOWED);
}

TYPED_TEST(channel_dumps, print_every_record)
{
    const std::string name = this->name_of_channel(1);
    const nlohmann::json channels = this->dump(TypeParam::samples).at("cdt");
    const int records = channels.at(1).at("count").template get<int>();
    const std::vector<std::pair<std::string, std::string>> frames{
        {"=================EVENT HEADERS======\n", "==========END=OF=EVENT=HEADERS=======\n"},
        {"=================SB HEADERS======\n", "==========END=OF=SB=HEADERS=======\n"},
        {"=================CHANNEL HEADERS======\n", "==========END=OF=CHANNEL=HEADERS=======\n"},
        {"=================CHANNEL======\n", "==========END=OF=CHANNEL========\n"}};
    const std::vector<std::string> fields{"event_number: ", "server: ", "chname: ", "chname: "};
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const std::string printed = this->printed(this->operations()[i], this->file().c_str(), name.c_str());
        EXPECT_THAT(printed, ::testing::StartsWith(frames[i].first));
        EXPECT_THAT(printed, ::testing::EndsWith(frames[i].second));
        EXPECT_EQ(lines_with(printed, fields[i]), records) << fields[i];
    }
    EXPECT_EQ(this->reader_.get_number_of_files(), 0);
}

TYPED_TEST(channel_dumps, tell_missing_arguments)
{
    for (const auto operation : this->operations()) {
        EXPECT_EQ(this->printed(operation, nullptr, "A"), this->text("check input parameters"));
        EXPECT_EQ(this->printed(operation, "", "A"), this->text("check input parameters"));
        EXPECT_EQ(this->printed(operation, "x", nullptr), this->text("check input parameters"));
    }
}

TYPED_TEST(channel_dumps, tell_a_file_that_is_not_there)
{
    ::unsetenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    const std::string missing = this->directory_.file("linac_main_run1_file1_20120614T093000.raw");
    for (const auto operation : this->operations()) {
        EXPECT_THAT(this->printed(operation, missing.c_str(), "A"),
                    ::testing::EndsWith(this->text("check if file: " + missing + " accesible")));
    }
}

TYPED_TEST(channel_dumps, tell_a_channel_that_the_file_does_not_have)
{
    for (const auto operation : this->operations()) {
        EXPECT_EQ(this->printed(operation, this->file().c_str(), "NO/SUCH"),
                  this->text("channel: NO/SUCH not found in file: " + this->file()));
    }
}

TYPED_TEST(channel_dumps, tell_a_channel_that_cannot_be_started)
{
    // The first channel's row points at nothing: its event headers cannot be read.
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(this->file(), 0, nullptr), 0);
    std::vector<std::uint8_t> bytes = read_bytes(this->file());
    const auto& table = *loader.get_ecp_table();
    using row = std::decay_t<decltype(table.entries[0])>;
    const auto begin =
        static_cast<std::size_t>(loader.get_ref_tbl()->ecp_ref) + offsetof(std::decay_t<decltype(table)>, entries);
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(begin), sizeof(row) * static_cast<std::size_t>(table.maxev),
                std::uint8_t{0});
    const std::string path = this->directory_.file(sample_names(TypeParam::samples).front());
    write_bytes(path, bytes);
    const std::string name = this->name_of_channel(0);
    for (const auto operation : this->operations()) {
        EXPECT_THAT(this->printed(operation, path.c_str(), name.c_str()),
                    ::testing::EndsWith(this->text("failed to initialize channel: " + name)));
    }
}

TYPED_TEST(channel_dumps, leave_a_reader_whose_channels_can_be_changed)
{
    this->add_channel("A");
    this->add_channel("B:1");
    this->printed(this->operations()[0], this->file().c_str(), this->name_of_channel(0).c_str());
    EXPECT_EQ(this->reader_.rem_channel("Bx:1"), 0);
    this->add_channel("C");
    EXPECT_EQ(this->reader_.rem_channel("A"), 0);
    EXPECT_EQ(this->reader_.rem_channel("A"), TROX_DAQ_READER_NOT_FOUND);
    EXPECT_EQ(this->reader_.get_number_of_channels(), 1);
}

TEST(legacy_inspection, offers_no_dumps_of_channels)
{
    EXPECT_FALSE(dumps_channels<trox_daq_reader>);
    EXPECT_TRUE(dumps_channels<trox_daq_reader_2010>);
    EXPECT_TRUE(dumps_channels<trox_daq_reader_2024>);
}
