// What the property front end prints of files, properties and events.
#include "front_end_fixture.h"

#include <cstring>

using namespace trox_test;
namespace tw = trox::writer;

/// A run of one event with a channel of each class, written in a generation.
class front_end_prints : public front_end, public ::testing::WithParamInterface<tw::generation>
{
protected:
    static constexpr time_stamp time{1339666200, 250};

    static bool is_legacy()
    {
        return GetParam() == tw::generation::legacy;
    }
    static bool is_2024()
    {
        return GetParam() == tw::generation::v2024;
    }
    static std::size_t head_size()
    {
        return is_legacy() ? sizeof(trox_serv_block_subhead) : sizeof(trox_serv_block_subhead_2010);
    }
    static tw::payload trace()
    {
        tw::spectrum_head head;
        head.start = 500.0F;
        head.inc = 0.25F;
        const int type = is_legacy() ? int{TROX_BLOCK_SINGLE} : int{TROX_BLOCK_1CHAN_2010};
        return tw::spectrum_payload(GetParam(), type, {1.5F, 2.5F, 3.5F}, head);
    }
    static tw::payload list_of_values()
    {
        return tw::name_value_payload(11, "a comment", {{"GAIN.P", 0.5F}, {"GAIN.I", -1.5F}});
    }
    static tw::payload basic_image()
    {
        trox_image_frame_head head{};
        head.w = 2;
        head.h = 1;
        head.bpp = 2;
        head.event_nm = 4711;
        const std::vector<unsigned char> pixels{0, 1, 0, 2};
        return tw::image_payload(head, pixels);
    }
    static tw::payload extended_image()
    {
        trox_image_ext_frame_head head{};
        std::int32_t number = 1;
        for (auto* field : {&head.width, &head.height, &head.aoi_width, &head.aoi_height, &head.x_start, &head.y_start,
                            &head.bpp, &head.ebitpp, &head.hbin, &head.vbin, &head.source_format, &head.image_format,
                            &head.image_flags, &head.ispare2, &head.ispare3, &head.ispare4}) {
            *field = number++;
        }
        head.frame = 21;
        head.event = 22;
        float fraction = 0.5F;
        for (auto* field :
             {&head.scale_x, &head.scale_y, &head.image_rotation, &head.fspare2, &head.fspare3, &head.fspare4}) {
            *field = fraction;
            fraction += 1.0F;
        }
        const std::vector<unsigned char> pixels(6, 1);
        return tw::image_payload(head, pixels);
    }
    /// Writes the run, reads its event.
    void read_event()
    {
        const std::string path = directory_.file("linac_main_run1_file1_20120614T093000.raw");
        tw::file_writer file(path, GetParam());
        const auto fast = file.add_channel("A/TRACE");
        const auto values = file.add_channel("A/LIST");
        const auto slow = file.add_channel("A/SLOW");
        const auto basic = file.add_channel("A/IMAGE");
        const auto extended = file.add_channel("A/IMAGEX");
        file.begin_event({10, time, TROX_EV_NORMAL, 0, 3});
        file.begin_server_block({"SVR"});
        file.add_record(fast, trace());
        file.add_record(values, list_of_values());
        file.add_record(basic, basic_image());
        file.add_record(extended, extended_image());
        file.end_event();
        file.begin_event({10, {time.timeup, time.timelow + 1}, TROX_EV_UPD});
        file.begin_server_block({"SVR"});
        file.add_record(slow, tw::update_payload(GetParam(), "A/SLOW", 2.5F, {1339666199, 0}, 4));
        file.end_event();
        file.finish();
        for (const char* name : {"A/TRACE", "A/LIST", "A/SLOW", "A/IMAGE", "A/IMAGEX"}) {
            want(name);
        }
        lines_ = list(path + "\n");
        capture([&] {
            ASSERT_EQ(is_2024() ? init_2024(lines_) : init(lines_), 0);
            ASSERT_EQ(data_.GetData(), 0);
        });
    }
    template <class Print> static std::string printed(Print print)
    {
        const auto both = capture(print);
        EXPECT_EQ(both.err, "");
        return both.out;
    }
    static std::string type_and_length(const tw::payload& payload)
    {
        return " dtype " + std::to_string(payload.dtype) + " error 0 length " +
               std::to_string(head_size() + payload.bytes.size());
    }

    static std::string header_line()
    {
        const std::size_t block = is_legacy() ? sizeof(trox_serv_block_head)
                                  : is_2024() ? sizeof(trox_serv_block_head_2024)
                                              : sizeof(trox_serv_block_head_2010);
        std::size_t length = block + (is_2024() ? sizeof(trox_eventheader_2024) : sizeof(trox_eventheader));
        for (const auto& payload : {trace(), list_of_values(), basic_image(), extended_image()}) {
            length += head_size() + payload.bytes.size();
        }
        return std::string("trox_daq_data::") + (is_2024() ? "PrintHeader2024" : "PrintHeader") +
               ": nprop= 5 event 10 type 1 status 3 Nsvrb 1 len " + std::to_string(length) + " time 1339666200 - 250\n";
    }
    static std::string fast_line()
    {
        return " fast: A/TRACE" + type_and_length(trace()) + " start 500 inc 0.25 ndata 3 arr 1.5 2.5 3.5\n";
    }
    static std::string list_line()
    {
        return " NameValue: A/LIST" + type_and_length(list_of_values()) +
               " start 0 inc 1 ndata 2 arr GAIN.P=0.5 GAIN.I=-1.5\n";
    }
    static std::string slow_line()
    {
        return " slow: A/SLOW dtype " + std::to_string(is_legacy() ? TROX_UPD_BLOCK : TROX_UPD_BLOCK_2010) +
               " stat 4 time 1339666199 - 1339666200 value 2.5\n";
    }
    static std::string image_lines()
    {
        return " image: A/IMAGE error 0 length 4 x 2 y 1 bpp 2 ev_num 4711\n"
               " image_ext: A/IMAGEX error 0 ev_num 22 len 6 width 1 height 2 aoi_width 3 aoi_height 4 x_start 5 "
               "y_start 6 bpp 7 ebitpp 8 hbin 9 vbin 10 source_format 11 image_format 12 frame 21 scale_x 0.5 scale_y "
               "1.5 image_rotation 2.5 fspare2 3.5 fspare3 4.5 fspare4 5.5 image_flags 13 ispare2 14 ispare3 15 "
               "ispare4 16\n";
    }

    std::string lines_;
};

INSTANTIATE_TEST_SUITE_P(generations, front_end_prints,
                         ::testing::Values(tw::generation::legacy, tw::generation::v2010, tw::generation::v2024),
                         [](const auto& each) {
                             return "of_" + std::to_string(static_cast<std::uint32_t>(each.param));
                         });

TEST_P(front_end_prints, files_and_properties)
{
    read_event();
    EXPECT_EQ(printed([&] { data_.PrintFiles(); }), "trox_daq_data: Nfile= 1\n0 = " + data_.GetFiles()->front() + "\n");
    EXPECT_EQ(printed([&] { data_.PrintProp(); }), "trox_daq_data: Nprop= 5\n"
                                                   "A/TRACE len 5 prlen 8 nmemb 1 dtype 9\n"
                                                   "A/LIST len 5 prlen 7 nmemb 1 dtype 9\n"
                                                   "A/SLOW len 5 prlen 7 nmemb 1 dtype 9\n"
                                                   "A/IMAGE len 5 prlen 8 nmemb 1 dtype 9\n"
                                                   "A/IMAGEX len 5 prlen 9 nmemb 1 dtype 9\n");
}

TEST_P(front_end_prints, each_class_of_channels)
{
    read_event();
    EXPECT_EQ(printed([&] { data_.PrintHeader(); }), header_line());
    EXPECT_EQ(printed([&] { data_.PrintFast(); }), fast_line());
    EXPECT_EQ(printed([&] { data_.PrintNameVal(); }), list_line());
    EXPECT_EQ(printed([&] { data_.PrintSlow(); }), slow_line());
    EXPECT_EQ(printed([&] { data_.PrintImage(); }), image_lines());
}

TEST_P(front_end_prints, all_of_an_event)
{
    read_event();
    EXPECT_EQ(printed([&] { data_.PrintAll(); }),
              header_line() + fast_line() + list_line() + slow_line() + image_lines());
}

TEST_P(front_end_prints, nothing_of_an_event_without_one)
{
    const auto print_all = [&] { data_.PrintAll(); };
    EXPECT_EQ(capture(print_all).out, "");
    EXPECT_EQ(printed([&] { data_.PrintFiles(); }), "trox_daq_data: Nfile= 0\n");
    EXPECT_EQ(printed([&] { data_.PrintProp(); }), "trox_daq_data: Nprop= 0\n");
    read_event();
    capture([&] { EXPECT_EQ(is_2024() ? init_2024(lines_) : init(lines_), 0); });
    EXPECT_EQ(capture(print_all).out, "") << "initialised, but nothing read yet";
}

TEST_F(front_end, prints_names_as_far_as_Init_takes_them)
{
    // Heap blocks of exactly the size that the length says, less what ends the name.
    const auto text = std::make_unique<char[]>(4);
    std::memcpy(text.get(), "NAME", 4);
    const auto letter = std::make_unique<char[]>(1);
    letter[0] = 'N';
    trox_sprop named{"label", 5, text.get(), 5, 1, 9};
    trox_sprop unnamed{"label", 5, nullptr, 4, 1, 9};
    trox_sprop shortest{"label", 5, letter.get(), 2, 1, 9};
    trox_sprop empty{"label", 5, letter.get(), 1, 1, 9};
    trox_sprop negative{"label", 5, letter.get(), INT32_MIN, 1, 9};
    properties_ = {&named, nullptr, &unnamed, &shortest, &empty, &negative};
    const std::string path = list("/no/file.raw\n");
    capture([&] { EXPECT_EQ(init(path), -5); });
    EXPECT_EQ(capture([&] { data_.PrintProp(); }).out, "trox_daq_data: Nprop= 1\nNAME len 5 prlen 5 nmemb 1 dtype 9\n"
                                                       " len 5 prlen 4 nmemb 1 dtype 9\n"
                                                       "N len 5 prlen 2 nmemb 1 dtype 9\n"
                                                       " len 5 prlen 1 nmemb 1 dtype 9\n"
                                                       " len 5 prlen -2147483648 nmemb 1 dtype 9\n");
}
