// The property front end: what Init refuses, which readers go on, and events.
#include "front_end_fixture.h"

#include "event_util.h"
#include "trox_daq_reader.h"
#include "trox_daq_reader_2010.h"
#include "trox_daq_reader_2024.h"

using namespace trox_test;
using ::testing::HasSubstr;

// --- what is refused --------------------------------------------------------------------------------------

TEST_F(front_end, a_new_one_has_nothing)
{
    EXPECT_EQ(data_.GetStatus(), 0);
    EXPECT_EQ(data_.GetNfile(), 0);
    EXPECT_EQ(data_.GetNprop(), 0);
    EXPECT_EQ(data_.GetDebug(), 0);
    EXPECT_STREQ(data_.GetFileName(), "");
    EXPECT_EQ(data_.GetFiles(), nullptr);
    EXPECT_EQ(data_.GetLprop(), nullptr);
    EXPECT_EQ(data_.GetPeriod(), nullptr);
    EXPECT_EQ(data_.GetStart(), nullptr);
    EXPECT_EQ(data_.GetStop(), nullptr);
    EXPECT_EQ(data_.GetPeriod_2024(), nullptr);
    EXPECT_EQ(data_.GetStart_2024(), nullptr);
    EXPECT_EQ(data_.GetStop_2024(), nullptr);
    EXPECT_EQ(data_.GetRes(), nullptr);
    EXPECT_EQ(data_.GetRes_2024(), nullptr);
    EXPECT_EQ(data_.GetReader(), nullptr);
    EXPECT_EQ(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(data_.GetReader_2024(), nullptr);
}

TEST_F(front_end, needs_a_list_file_and_properties)
{
    want(charge);
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.Init(nullptr, &properties_, 0, &period_, &start_, &stop_), -1); }),
              "trox_daq_data::Init: no input files\n");
    EXPECT_EQ(told([&] {
                  EXPECT_EQ(data_.Init2024(nullptr, &properties_, 0, &period_2024_, &start_2024_, &stop_2024_), -1);
              }),
              "trox_daq_data::Init2024: no input files\n");
    const std::string path = list("/no/file.raw\n");
    std::vector<trox_sprop*> none;
    for (auto* properties : {static_cast<std::vector<trox_sprop*>*>(nullptr), &none}) {
        EXPECT_EQ(told([&] { EXPECT_EQ(data_.Init(path.c_str(), properties, 0, &period_, &start_, &stop_), -1); }),
                  "trox_daq_data::Init: no list of properties\n");
        EXPECT_EQ(told([&] {
                      EXPECT_EQ(data_.Init2024(path.c_str(), properties, 0, &period_2024_, &start_2024_, &stop_2024_),
                                -1);
                  }),
                  "trox_daq_data::Init2024: no list of properties\n");
    }
}

TEST_F(front_end, a_refused_call_leaves_what_was_there)
{
    want(charge);
    ASSERT_EQ(init(sample_generation::g2010), 0);
    told([&] { EXPECT_EQ(data_.Init(nullptr, &properties_, 0, &period_, &start_, &stop_), -1); });
    EXPECT_EQ(data_.GetStatus(), 1);
    EXPECT_EQ(data_.GetData(), 0);
}

TEST_F(front_end, null_ranges_are_refused_by_name)
{
    want(charge);
    const std::string path = list("/no/file.raw\n");
    const auto refused = [](const std::string& what) {
        return "trox_daq_data::Init: can not " + what + " Reader\ntrox_daq_data::Init: can not " + what +
               " Reader2010\n";
    };
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.Init(path.c_str(), &properties_, 0, nullptr, &start_, &stop_), -6); }),
              refused("set period"));
    EXPECT_EQ(data_.GetReader(), nullptr);
    EXPECT_EQ(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(data_.GetStatus(), 0);
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.Init(path.c_str(), &properties_, 0, &period_, nullptr, &stop_), -7); }),
              refused("set start point"));
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.Init(path.c_str(), &properties_, 0, &period_, &start_, nullptr), -8); }),
              refused("set stop point"));
}

TEST_F(front_end, null_ranges_of_2024_are_refused_without_a_reader_s_name)
{
    want(charge);
    const std::string path = list("/no/file.raw\n");
    const auto init = [&](auto* period, auto* start, auto* stop) {
        return data_.Init2024(path.c_str(), &properties_, 0, period, start, stop);
    };
    trox_time_id_2024* const none = nullptr;
    EXPECT_EQ(told([&] { EXPECT_EQ(init(none, &start_2024_, &stop_2024_), -6); }),
              "trox_daq_data::Init2024: can not set period\n");
    EXPECT_EQ(data_.GetReader_2024(), nullptr);
    EXPECT_EQ(told([&] { EXPECT_EQ(init(&period_2024_, none, &stop_2024_), -7); }),
              "trox_daq_data::Init2024: can not set start point\n");
    EXPECT_EQ(told([&] { EXPECT_EQ(init(&period_2024_, &start_2024_, none), -8); }),
              "trox_daq_data::Init2024: can not set stop point\n");
}

TEST_F(front_end, files_that_are_not_there_are_refused)
{
    ::unsetenv("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    want(charge);
    const std::string path = list("/no/file.raw\n");
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), -9); }),
              "trox_daq_data::Init: can not add file Reader\ntrox_daq_data::Init: can not add file Reader2010\n");
    EXPECT_EQ(data_.GetNfile(), 0);
    EXPECT_EQ(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(told([&] { EXPECT_EQ(init_2024(path), -9); }), "trox_daq_data::Init2024: can not add file\n");
    EXPECT_EQ(data_.GetReader_2024(), nullptr);
}

TEST_F(front_end, properties_of_length_2_and_less_are_passed_over)
{
    const std::string path = sample_list(sample_generation::g2010);
    for (const int prlen : {2, 1, 0, -1, INT32_MIN}) {
        want(charge, prlen);
    }
    properties_.push_back(nullptr);
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), -4); }), "trox_daq_data::Init: no properties\n");
    EXPECT_EQ(told([&] { EXPECT_EQ(init_2024(path), -4); }), "trox_daq_data::Init2024: no properties\n");
    EXPECT_EQ(data_.GetNprop(), 0);
    EXPECT_EQ(data_.GetStatus(), 0);
    want(charge);
    told([&] { EXPECT_EQ(init(path), 0); });
    EXPECT_EQ(data_.GetNprop(), 1);
    EXPECT_EQ(data_.GetLprop(), &properties_);
}

TEST_F(front_end, a_property_s_name_is_its_text_without_the_last_character_that_prlen_counts)
{
    const std::string path = small_file("linac_main_run1_file1_20120614T093000.raw");
    const auto name_of = [&](const std::string& text, int prlen) {
        properties_.clear();
        want(text, prlen);
        told([&] { init(list(path + "\n")); });
        int subchannel = 0;
        return data_.GetReader_2010() == nullptr ? std::string("no reader")
                                                 : data_.GetReader_2010()->get_channel_name(0, &subchannel);
    };
    EXPECT_EQ(name_of("A/CHANNEL", 10), "A/CHANNEL");
    EXPECT_EQ(name_of("A/CHANNEL and more", 10), "A/CHANNEL") << "the text need not end there";
    EXPECT_EQ(name_of("A/CHANNEL", 100), "A/CHANNEL") << "nor reach so far";
    EXPECT_EQ(name_of("A/CHANNEL", 100000000), "A/CHANNEL");
    EXPECT_EQ(data_.GetStatus(), 1);
    EXPECT_EQ(name_of("A/CHANNEL", 9), "no reader") << "A/CHANNE is not in the file: nothing starts";
}

TEST_F(front_end, channels_without_a_name_are_refused)
{
    const std::string path = sample_list(sample_generation::g2010);
    want("", 5);
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), -10); }),
              "trox_daq_data::Init: can not add channel Reader\ntrox_daq_data::Init: can not add channel Reader2010\n");
    EXPECT_EQ(told([&] { EXPECT_EQ(init_2024(path), -10); }), "trox_daq_data::Init2024: can not add channel\n");
    EXPECT_EQ(data_.GetReader_2024(), nullptr);
    EXPECT_EQ(data_.GetNprop(), 0);
}

TEST_F(front_end, files_that_no_reader_can_start_with_are_refused)
{
    want(charge);
    const std::string path = list("/no/linac_main_run1_file1_20120614T093000.raw\n");
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), -5); }), "trox_daq_data::Init: can not start Reader\n");
    EXPECT_EQ(data_.GetReader(), nullptr);
    EXPECT_EQ(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(told([&] { EXPECT_EQ(init_2024(path), -5); }), "");
    EXPECT_EQ(data_.GetReader_2024(), nullptr);
    EXPECT_EQ(data_.GetStatus(), 0);
}

// --- which readers go on ----------------------------------------------------------------------------------

TEST_F(front_end, a_legacy_reader_that_refuses_a_file_leaves_the_2010_reader_alone)
{
    // A bare name: the legacy reader searches it along an empty list, the 2010 reader takes it in its data directory.
    // The time in its name lies behind the stop point, so that only the other files are read.
    ::setenv("TROX_DAQ_DATA_PATH_LIST", ":", 1);
    stop_.time = {1339666300, 0};
    want(charge);
    const std::string path =
        list(sample_lines(sample_generation::g2010) + "linac_main_run1_file1_20200101T000000.raw\n");
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), 0); }), "trox_daq_data::Init: can not add file Reader\n");
    ::unsetenv("TROX_DAQ_DATA_PATH_LIST");
    EXPECT_EQ(data_.GetReader(), nullptr);
    ASSERT_NE(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(data_.GetNfile(), 4);
    EXPECT_EQ(data_.GetData(), 0);
    EXPECT_EQ(data_.GetRes()->size(), 1U);
}

TEST_F(front_end, a_legacy_reader_that_can_not_start_leaves_the_2010_reader_alone)
{
    want(charge);
    const std::string path = sample_list(sample_generation::g2010);
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), 0); }), "trox_daq_data::Init: can not start Reader\n");
    EXPECT_EQ(data_.GetReader(), nullptr);
    EXPECT_NE(data_.GetReader_2010(), nullptr);
}

TEST_F(front_end, an_unstarted_2010_reader_beside_a_legacy_one_is_no_failure)
{
    want(charge);
    EXPECT_EQ(told([&] { EXPECT_EQ(init(sample_generation::legacy), 0); }), "");
    ASSERT_NE(data_.GetReader(), nullptr);
    ASSERT_NE(data_.GetReader_2010(), nullptr);
    trox_daq_getdata::records none;
    EXPECT_EQ(data_.GetReader_2010()->get_data(nullptr, &none, TROX_DAQ_READ_CHAN_EVENT_NEXT),
              TROX_DAQ_READER_NOT_INIT);
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), 0); }), "");
    EXPECT_EQ(data_.GetRes()->size(), 1U);
}

TEST_F(front_end, hands_debug_level_range_and_mode_to_the_readers)
{
    want(charge);
    const std::string path = sample_list(sample_generation::legacy);
    start_ = {12045310, {0, 0}};
    capture([&] { ASSERT_EQ(data_.Init(path.c_str(), &properties_, -1, &period_, &start_, &stop_), 0); });
    EXPECT_EQ(data_.GetDebug(), -1);
    EXPECT_EQ(data_.GetReader()->get_debug(), -1);
    EXPECT_EQ(data_.GetReader_2010()->get_debug(), -1);
    EXPECT_EQ(data_.GetReader()->get_synch_mode(), TROX_DAQ_SLICER_SYNCH_MODE_EVID);
    EXPECT_EQ(data_.GetReader()->get_period()->time.timelow, 100000U);
    EXPECT_EQ(data_.GetReader()->get_start_point()->event_number, 12045310U);
    EXPECT_EQ(data_.GetPeriod(), nullptr) << "the caller's are handed on";
    EXPECT_EQ(data_.GetStart(), nullptr);
    EXPECT_EQ(data_.GetStop(), nullptr);
    EXPECT_EQ(data_.GetFileName(), path);
}

// --- events -----------------------------------------------------------------------------------------------

TEST_F(front_end, GetData_before_Init_is_refused)
{
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), -1); }), "trox_daq_data::GetData: wrong status= 0\n");
}

TEST_F(front_end, reads_legacy_and_2010_and_2024_runs_to_their_end)
{
    want(charge);
    want(magnet);
    for (const auto generation : {sample_generation::legacy, sample_generation::g2010, sample_generation::g2024}) {
        SCOPED_TRACE(sample_directory(generation));
        const bool is_2024 = generation == sample_generation::g2024;
        const std::string label = is_2024 ? "2024" : generation == sample_generation::g2010 ? "2010" : "legacy";
        std::ifstream file(std::string(TROX_TEST_DATA_DIR) + "/expected/" + label + "_evid_all.json");
        const auto expected = nlohmann::json::parse(file).at("channels").at(0).at("records");
        capture([&] { ASSERT_EQ(init(generation), 0); });
        EXPECT_EQ(data_.GetStatus(), 1);
        EXPECT_EQ(data_.GetNfile(), 3);
        EXPECT_EQ(data_.GetNprop(), 2);
        EXPECT_EQ(data_.GetRes() == nullptr, is_2024);
        EXPECT_EQ(data_.GetRes_2024() != nullptr, is_2024);
        EXPECT_EQ(data_.GetReader_2024() != nullptr, is_2024);
        trox_daq_getdata event(is_2024);
        std::size_t i = 0;
        for (; data_.GetData() == 0; ++i) {
            event.Clean(is_2024);
            ASSERT_GT(is_2024 ? event.SetRes_2024(data_.GetRes_2024()) : event.SetRes(data_.GetRes()), 0);
            ASSERT_EQ(event.SetProp(charge), 3);
            const std::uint64_t number =
                is_2024 ? event.GetEventHead_2024()->event_number : event.GetEventHead()->event_number;
            ASSERT_EQ(number, expected.at(i).at(2).get<std::uint64_t>());
        }
        EXPECT_EQ(i, expected.size());
        EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), -2); }),
                  std::string("trox_daq_data::GetData: data are not read ") +
                      (is_2024                                  ? "Reader2024"
                       : generation == sample_generation::g2010 ? "Reader2010"
                                                                : "Reader") +
                      "\n");
        EXPECT_EQ(data_.GetStatus(), 1);
    }
}

TEST_F(front_end, events_without_any_record_are_told)
{
    // An update that carries another name than its channel's: it belongs to no channel that was asked for.
    namespace tw = trox::writer;
    want("A/SLOW");
    for (const auto& [format, reader] : {std::pair{tw::generation::legacy, "Reader"},
                                         {tw::generation::v2010, "Reader2010"},
                                         {tw::generation::v2024, "Reader2024"}}) {
        const std::string path =
            directory_.file("linac_main_run1_file1_20120614T09300" + std::to_string(std::strlen(reader) % 10) + ".raw");
        {
            tw::file_options options;
            options.replace_existing = true;
            tw::file_writer file(path, format, options);
            const auto channel = file.add_channel("A/SLOW");
            file.begin_event({10, {1339666205, 0}, TROX_EV_UPD});
            file.begin_server_block({"SVR"});
            const auto payload = tw::update_payload(format, "B/SLOW", 1.0F, {1339666205, 0});
            std::vector<unsigned char> stored(payload.bytes.size());
            ASSERT_EQ(
                trox_convert_data(payload.bytes.data(), stored.data(), payload.dtype, static_cast<int>(stored.size())),
                0);
            tw::stored_record record;
            record.dtype = payload.dtype;
            record.bytes = stored;
            file.add_record(channel, record);
            file.end_event();
            file.finish();
        }
        const std::string lines = list(path + "\n");
        capture([&] { ASSERT_EQ(format == tw::generation::v2024 ? init_2024(lines) : init(lines), 0); });
        EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), -2); }),
                  std::string("trox_daq_data::GetData: wrong data from ") + reader + " size= 0\n");
    }
}

TEST_F(front_end, readers_that_the_caller_has_cleaned_up_read_nothing)
{
    want(charge);
    capture([&] { ASSERT_EQ(init(sample_generation::legacy), 0); });
    ASSERT_EQ(data_.GetData(), 0);
    data_.GetReader()->clean_up();
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), -2); }), "trox_daq_data::GetData: data are not read Reader\n");
    capture([&] { ASSERT_EQ(init(sample_generation::g2010), 0); });
    ASSERT_EQ(data_.GetData(), 0);
    data_.GetReader_2010()->clean_up();
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), -2); }), "trox_daq_data::GetData: data are not read Reader2010\n")
        << "without a legacy reader it has to read";
}

TEST_F(front_end, Init_again_begins_anew)
{
    want(charge);
    capture([&] {
        ASSERT_EQ(init(sample_generation::g2010), 0);
        ASSERT_EQ(data_.GetData(), 0);
        ASSERT_EQ(init(sample_generation::g2024), 0);
    });
    EXPECT_EQ(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(data_.GetRes(), nullptr);
    EXPECT_EQ(data_.GetNfile(), 3);
    EXPECT_EQ(data_.GetData(), 0);
    // Also with the front end's own copy of the list file's name.
    capture([&] {
        ASSERT_EQ(data_.Init2024(data_.GetFileName(), data_.GetLprop(), 0, &period_2024_, &start_2024_, &stop_2024_),
                  0);
    });
    trox_daq_getdata event(true);
    ASSERT_EQ(data_.GetData(), 0);
    ASSERT_EQ(event.SetRes_2024(data_.GetRes_2024()), 1);
    EXPECT_EQ(event.GetEventHead_2024()->event_number, 81604378624000U) << "the first event again";
    capture([&] { EXPECT_EQ(init(directory_.file("absent")), -2); });
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), -1); }), "trox_daq_data::GetData: wrong status= 0\n");
}

TEST_F(front_end, Clean_forgets_everything)
{
    want(charge);
    capture([&] { ASSERT_EQ(init(sample_generation::legacy), 0); });
    ASSERT_EQ(data_.GetData(), 0);
    data_.Clean();
    EXPECT_EQ(data_.GetStatus(), 0);
    EXPECT_EQ(data_.GetNfile(), 0);
    EXPECT_EQ(data_.GetFiles(), nullptr);
    EXPECT_STREQ(data_.GetFileName(), "");
    EXPECT_EQ(data_.GetNprop(), 0);
    EXPECT_EQ(data_.GetLprop(), nullptr);
    EXPECT_EQ(properties_.size(), 1U) << "the caller's own";
    EXPECT_EQ(data_.GetRes(), nullptr);
    EXPECT_EQ(data_.GetReader(), nullptr);
    EXPECT_EQ(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(data_.GetDebug(), 0);
    EXPECT_EQ(told([&] { EXPECT_EQ(data_.GetData(), -1); }), "trox_daq_data::GetData: wrong status= 0\n");
}
