// Looking into one file: how it is named, what its descriptions are matched with, and damage.
#include "inspection_fixture.h"

#include <filesystem>
#include <functional>

using namespace trox_test;

namespace
{

constexpr const char* file_name = "linac_main_run1_file1_20120614T093000.raw";

/// Every operation that answers a status, of a reader on a file.
template <class Reader> std::vector<std::function<int(Reader&, const char*)>> operations_with_status()
{
    return {[](Reader& reader, const char* file) {
                int n = 0;
                return reader.get_number_of_channels(file, &n, 1);
            },
            [](Reader& reader, const char* file) { return reader.print_all_channels(file); },
            [](Reader& reader, const char* file) {
                std::vector<chan_descr_2010*> list;
                return reader.fill_chan_descr(file, &list);
            },
            [](Reader& reader, const char* file) { return reader.print_event_index_table(file, -1); }};
}

/// Looks into a file by every operation: the status that they all answer, and what they print.
template <class Reader> captured_output expect_from_all(Reader& reader, const char* file, int status)
{
    return capture([&] {
        for (const auto& look : operations_with_status<Reader>()) {
            EXPECT_EQ(look(reader, file), status) << file;
        }
    });
}

/// Puts the process into a directory as long as it lives.
class working_directory
{
public:
    explicit working_directory(const std::string& path) : before_(std::filesystem::current_path())
    {
        std::filesystem::current_path(path);
    }
    working_directory(const working_directory&) = delete;
    working_directory& operator=(const working_directory&) = delete;
    ~working_directory()
    {
        std::filesystem::current_path(before_);
    }

private:
    std::filesystem::path before_;
};

/// Adds events 1 to `count` with one sample of a channel in each.
void add_events(tw::file_writer& file, tw::generation format, int type, tw::channel_id channel, std::uint32_t count)
{
    const std::uint64_t before = file.event_count();
    for (std::uint32_t i = 1; i <= count; ++i) {
        const auto number = static_cast<std::uint32_t>(before) + i;
        file.begin_event({number, {1339666200 + number, 0}});
        file.begin_server_block({"SVR"});
        file.add_record(channel, tw::spectrum_payload(format, type, {static_cast<float>(number)}));
        file.end_event();
    }
}

} // namespace

// --- how a file is named ------------------------------------------------------------------------------

TYPED_TEST(inspection, finds_a_bare_name_in_the_data_directory)
{
    const std::string name = sample_names(TypeParam::samples).front();
    ASSERT_EQ(this->reader_.set_data_dir(sample_directory(TypeParam::samples).c_str()), 0);
    expect_from_all(this->reader_, name.c_str(), 0);
    int n = 0;
    EXPECT_EQ(this->reader_.get_number_of_channels(name.c_str(), &n, 0), 0);
    EXPECT_EQ(n, static_cast<int>(this->dump(TypeParam::samples).at("cdt").size()));
    EXPECT_EQ(this->reader_.get_number_of_files(), 0);
}

TYPED_TEST(inspection, finds_a_bare_name_along_the_path_list)
{
    const std::string name = sample_names(TypeParam::samples).front();
    const std::string directory = sample_directory(TypeParam::samples);
    this->reader_.set_data_path_list(("/no/such/directory:" + directory).c_str());
    expect_from_all(this->reader_, name.c_str(), 0);
    // A list in the data directory goes before: unseen, the last directory counts.
    ASSERT_EQ(this->reader_.set_data_dir((directory + ":").c_str()), 0);
    this->reader_.set_data_path_list("/no/such/directory");
    expect_from_all(this->reader_, name.c_str(), TROX_DAQ_READER_NO_DATA);
    EXPECT_EQ(this->reader_.get_number_of_files(), 0);
}

TYPED_TEST(inspection, refuses_a_file_that_is_still_written)
{
    ::unsetenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    const std::string path = this->directory_.file(file_name);
    std::filesystem::copy_file(this->file(), path); // its status changes now
    const auto printed = expect_from_all(this->reader_, path.c_str(), TROX_DAQ_READER_FILES_NOT_FOUND);
    EXPECT_EQ(lines_with(printed.out,
                         TypeParam::reader_name + std::string("::add_file() file ") + path + " skipped (not closed)"),
              4)
        << printed.out;
    EXPECT_EQ(lines_with(printed.out, ""), 4) << "and nothing else";
    EXPECT_STREQ(this->reader_.get_last_error(), "Files not found");
}

TYPED_TEST(channel_dumps, tell_a_file_that_is_still_written)
{
    ::unsetenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    const std::string path = this->directory_.file(file_name);
    std::filesystem::copy_file(this->file(), path);
    for (const auto operation : this->operations()) {
        EXPECT_EQ(this->printed(operation, path.c_str(), "A"),
                  TypeParam::reader_name + std::string("::add_file() file ") + path + " skipped (not closed)\n" +
                      this->text("check if file: " + path + " accesible"));
    }
}

TYPED_TEST(inspection, takes_the_names_that_it_has_handed_out)
{
    // So short a path lies in the list itself, which grows meanwhile.
    std::filesystem::copy_file(this->file(), this->directory_.file("a.raw"));
    const working_directory here(this->directory_.file(""));
    ASSERT_EQ(this->reader_.add_file("./a.raw", true), 0);
    for (const auto& look : operations_with_status<typename TypeParam::reader>()) {
        capture([&] { EXPECT_EQ(look(this->reader_, this->reader_.get_file_name(0)), 0); });
        ASSERT_EQ(this->reader_.get_number_of_files(), 1);
        EXPECT_STREQ(this->reader_.get_file_name(0), "./a.raw");
    }
}

TYPED_TEST(channel_dumps, take_the_names_that_the_reader_has_handed_out)
{
    int n = 0;
    int count = 0;
    for (const auto operation : this->operations()) {
        this->reader_.clean_up(); // a dump leaves its channel as the reader's only one
        ASSERT_EQ(this->reader_.get_number_of_channels(this->file().c_str(), &n, 0), 0);
        const char* name = this->reader_.get_channel_name(1, &count, nullptr, nullptr); // lies in the loaded table
        ASSERT_NE(name, nullptr);
        const std::string printed = this->printed(operation, this->file().c_str(), name);
        EXPECT_THAT(printed, ::testing::StartsWith("===="));
        EXPECT_GT(count, 0);
    }
}

// --- what fails prints nothing ------------------------------------------------------------------------

TYPED_TEST(inspection, prints_no_dictionary_of_a_file_that_it_cannot_read)
{
    using table = typename TypeParam::generation::chan_dictionary_table;
    const std::string bad = this->directory_.file(file_name);
    std::ofstream(bad) << "not a data file, but longer than any trailer";
    const std::string empty = this->with_dictionary(offsetof(table, length), offsetof(table, entries));
    for (const std::string& path : {bad, empty, std::string("/no/such/file.raw")}) {
        const auto printed = capture(
            [&] { EXPECT_EQ(this->reader_.print_all_channels(path.c_str()), TROX_DAQ_READER_NO_DATA) << path; });
        EXPECT_EQ(printed.out, "") << path;
        EXPECT_EQ(printed.err, "") << path;
    }
}

// --- descriptions -------------------------------------------------------------------------------------

TYPED_TEST(inspection, appends_the_descriptions_of_channels_that_the_dictionary_has)
{
    const std::string path = this->directory_.file(file_name);
    tw::file_options options;
    options.descriptions_xml = "<channels><channel daq_name=\"GONE/BEFORE\" count=\"9\"/>"
                               "<channel daq_name=\"A/CHANNEL\" units=\"nC\" count=\"9\"/>"
                               "<channel daq_name=\"A/CHANNE\"/><channel daq_name=\"A/CHANNEL2\"/></channels>";
    {
        tw::file_writer file(path, TypeParam::format, options);
        add_events(file, TypeParam::format, TypeParam::trace_type, file.add_channel("A/CHANNEL"), 3);
        file.finish();
    }
    chan_descr_2010 earlier;
    std::vector<chan_descr_2010*> list{&earlier};
    ASSERT_EQ(this->reader_.fill_chan_descr(path.c_str(), &list), 0);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0], &earlier);
    EXPECT_STREQ(list[1]->daq_name, "A/CHANNEL");
    EXPECT_STREQ(list[1]->units, "nC");
    EXPECT_EQ(list[1]->count, 3) << "the dictionary's";
    EXPECT_EQ(this->reader_.get_descr_list()->size(), 4U) << "the file has more";
}

TYPED_TEST(inspection, takes_the_first_of_dictionary_entries_with_one_name)
{
    using table = typename TypeParam::generation::chan_dictionary_table;
    using stored = typename TypeParam::generation::chan_dictionary_entry;
    const std::string path = this->directory_.file(file_name);
    std::uint64_t dictionary = 0;
    {
        tw::file_writer file(path, TypeParam::format);
        tw::channel_settings described{"A/ONE"};
        described.description = tw::channel_description{};
        add_events(file, TypeParam::format, TypeParam::trace_type, file.add_channel(described), 2);
        add_events(file, TypeParam::format, TypeParam::trace_type, file.add_channel("A/TWO"), 5);
        dictionary = file.finish().channel_dictionary.position;
    }
    // The second entry becomes one of the first one's name.
    std::vector<std::uint8_t> bytes = read_bytes(path);
    const std::string name = "A/ONE";
    std::copy(name.begin(), name.end(),
              bytes.begin() + static_cast<std::ptrdiff_t>(dictionary + offsetof(table, entries) + sizeof(stored) +
                                                          offsetof(stored, chan_name)));
    write_bytes(path, bytes);
    std::vector<chan_descr_2010*> list;
    ASSERT_EQ(this->reader_.fill_chan_descr(path.c_str(), &list), 0);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0]->count, 2);
    int count = 0;
    EXPECT_STREQ(this->reader_.get_channel_name(1, &count, nullptr, nullptr), "A/ONE");
    EXPECT_EQ(count, 5) << "the file has both";
}

TYPED_TEST(inspection, does_not_append_to_its_own_descriptions)
{
    int n = 0;
    ASSERT_EQ(this->reader_.get_number_of_channels(this->file().c_str(), &n, 1), 0);
    const std::size_t before = this->reader_.get_descr_list()->size();
    EXPECT_GT(before, 0U);
    EXPECT_EQ(this->reader_.fill_chan_descr(this->file().c_str(), this->reader_.get_descr_list()),
              TROX_DAQ_READER_INV_PARAM);
    EXPECT_EQ(this->reader_.get_descr_list()->size(), before);
}

// --- channels with damage, and without records ----------------------------------------------------------

TYPED_TEST(channel_dumps, pass_over_a_damaged_record)
{
    const std::string path = this->directory_.file(file_name);
    {
        tw::file_writer file(path, TypeParam::format);
        const auto channel = file.add_channel("A/CHANNEL", tw::storage::zlib);
        add_events(file, TypeParam::format, TypeParam::trace_type, channel, 2);
        file.begin_event({3, {1339666203, 0}});
        file.begin_server_block({"SVR"});
        const std::vector<unsigned char> no_stream(40, 0xFF);
        tw::stored_record damaged{TypeParam::trace_type, no_stream};
        damaged.zip = tw::stored_record::zip_head{trox_zip_zlib, 100, {}};
        file.add_record(channel, damaged);
        file.end_event();
        add_events(file, TypeParam::format, TypeParam::trace_type, channel, 2);
        file.finish();
    }
    this->reader_.set_skip_bad_records(true);
    const std::vector<std::string> fields{"event_number: ", "server: ", "chname: ", "chname: "};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const std::string printed = this->printed(this->operations()[i], path.c_str(), "A/CHANNEL");
        EXPECT_EQ(lines_with(printed, fields[i]), 4) << printed;
        for (const int number : {1, 2, 4, 5}) {
            EXPECT_EQ(lines_with(printed, std::to_string(number) + " " + std::to_string(1339666200 + number) + ":0\n"),
                      1)
                << printed;
        }
        EXPECT_EQ(lines_with(printed, "3 1339666203:0\n"), 0) << printed;
    }
}

TYPED_TEST(channel_dumps, print_nothing_of_a_channel_without_records)
{
    // In the second file of the run two channels have no events.
    const auto channels = this->dump(TypeParam::samples, 1).at("cdt");
    int seen = 0;
    for (const auto& channel : channels) {
        if (channel.at("count").template get<int>() == 0) {
            const auto name = channel.at("name").template get<std::string>();
            for (const auto operation : this->operations()) {
                EXPECT_EQ(this->printed(operation, this->file(1).c_str(), name.c_str()), "") << name;
            }
            ++seen;
        }
    }
    EXPECT_EQ(seen, 2);
}
