// Channels of the slicer: how they start, move from file to file, and go.
#include "slicer_files.h"

#include <chrono>
#include <memory>
#include <thread>
#include <unistd.h>

namespace slicer_test
{

template <class T> class slicer_channels : public slicer_files<T>
{
protected:
    /// Three files, 1 to 3, 4 to 6 and 7 to 9, with channels A and B.
    void add_three_files()
    {
        for (std::uint64_t begin = 1; begin < 9; begin += 3) {
            this->add_file("events" + std::to_string(begin),
                           {{"A", events(begin, begin + 2)}, {"B", events(begin, begin + 2)}});
        }
    }
    /// "fentry after" that a move prints, or -99.
    static int file_index_of_move(slicer_of<T>& slicer, int direction)
    {
        slicer.set_debug(1);
        const std::string text = printed_by([&] { slicer.change_config(0, direction, 1); });
        slicer.set_debug(0);
        const std::string mark = "Channel[0] switching to the next file fentry after: ";
        const auto at = text.find(mark);
        return at == std::string::npos ? -99 : std::atoi(text.c_str() + at + mark.size());
    }
};
TYPED_TEST_SUITE(slicer_channels, slicer_generations, slicer_generation_names);

TYPED_TEST(slicer_channels, arguments_out_of_range_are_invalid)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    auto* table = slicer.find_ready_table(this->files[0].c_str());
    for (const int i : {-1, 2, 1000}) {
        EXPECT_EQ(slicer.create_channel(i, table), -7);
        EXPECT_EQ(slicer.start_channel(i, first), -7);
        EXPECT_EQ(slicer.change_config(i, next, 1), -7);
        slicer.remove_channel(i);
    }
    for (const int direction : {-3, 3}) {
        EXPECT_EQ(slicer.start_channel(0, direction), -7);
        EXPECT_EQ(slicer.change_config(0, direction, 1), -7);
    }
    EXPECT_EQ(slicer.create_channel(0, nullptr), -7);
    records_of<TypeParam> found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@1", "B@1")) << "nothing has changed";
}

TYPED_TEST(slicer_channels, a_removed_channel_has_no_data)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    EXPECT_STREQ(slicer.get_name_of_empty_channel(), "No channels known without events");
    ASSERT_NE(slicer.find_ready_table(this->files[2].c_str()),
              nullptr); // the thread is done, and prints nothing in between
    slicer.set_debug(1);
    EXPECT_THAT(printed_by([&] { slicer.remove_channel(1); }), testing::StartsWith("DELETING read_chans[1] "));
    EXPECT_EQ(printed_by([&] { slicer.remove_channel(1); }), "") << "nothing left to remove";
    slicer.set_debug(0);
    EXPECT_EQ(slicer.start_channel(1, first), -1);
    EXPECT_EQ(slicer.change_config(1, next, 1), -1);
    EXPECT_STREQ(slicer.get_name_of_empty_channel(), "B");
    EXPECT_STREQ(slicer.get_not_found_channels(), "") << "removed, not missing";
}

TYPED_TEST(slicer_channels, a_new_reader_replaces_the_old_and_is_to_be_started)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    slicer.set_debug(1);
    auto* table = slicer.find_ready_table(this->files[1].c_str());
    int status = 1;
    const std::string text = printed_by([&] { status = slicer.create_channel(0, table); });
    EXPECT_EQ(status, 0);
    EXPECT_THAT(text, HasSubstr(TypeParam::creating_channel("A", -1, this->files[1])));
    EXPECT_THAT(text, HasSubstr("DELETING read_chans[0] "));
    slicer.set_debug(0);
    EXPECT_STREQ(slicer.get_name_of_empty_channel(), "A") << "not started yet";
    EXPECT_EQ(slicer.start_channel(0, current), 0);
    EXPECT_STREQ(slicer.get_name_of_empty_channel(), "No channels known without events");
    records_of<TypeParam> found;
    const time_id_of<TypeParam> target{4, time_of(4)};
    EXPECT_EQ(slicer.get_data(&target, &found, current), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@4"));
}

TYPED_TEST(slicer_channels, a_channel_enters_a_file_at_the_end_that_it_comes_from)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    slicer.set_debug(2);
    for (const int direction : {previous, last}) {
        ASSERT_EQ(slicer.create_channel(0, slicer.find_ready_table(this->files[0].c_str())), 0);
        EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.start_channel(0, direction), 0); }),
                    HasSubstr("Calling get_chan_data() start channel (low)\n"));
    }
    for (const int direction : {first, current, next}) {
        ASSERT_EQ(slicer.create_channel(0, slicer.find_ready_table(this->files[0].c_str())), 0);
        EXPECT_THAT(printed_by([&] { EXPECT_EQ(slicer.start_channel(0, direction), 0); }),
                    HasSubstr(TypeParam::entered_at_first));
    }
    slicer.set_debug(-1);
    ASSERT_EQ(slicer.create_channel(0, slicer.find_ready_table(this->files[0].c_str())), 0);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.start_channel(0, first), 0); });
    EXPECT_EQ(text.find("slicer_2010->start() for channel took: ") != std::string::npos, TypeParam::has_timing_traces);
}

TYPED_TEST(slicer_channels, a_channel_without_data_in_the_first_file_starts_in_the_first_that_has)
{
    this->add_file("0", {{"A", events(1, 3)}, {"B", {}}});
    this->add_file("1", {{"A", events(4, 6)}, {"B", {}}});
    this->add_file("2", {{"A", events(7, 9)}, {"B", events(8, 9)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    EXPECT_STREQ(slicer.get_not_found_channels(), "");
    std::vector<std::vector<std::string>> all;
    records_of<TypeParam> found;
    while (slicer.get_data(nullptr, &found, next) == 0) {
        all.push_back(this->labels(found));
    }
    ASSERT_EQ(all.size(), 9U);
    EXPECT_THAT(all[0], ElementsAre("A@1"));
    EXPECT_THAT(all[6], ElementsAre("A@7"));
    EXPECT_THAT(all[7], ElementsAre("A@8", "B@8"));
    EXPECT_THAT(all[8], ElementsAre("A@9", "B@9"));
}

TYPED_TEST(slicer_channels, channels_without_data_anywhere_are_listed_and_ignored)
{
    this->add_file("0", {{"A", events(1, 3)}, {"B", {}}, {"C", {}}});
    this->add_file("1", {{"A", events(4, 6)}, {"B", {}}, {"C", {}}});
    slicer_of<TypeParam> slicer;
    const channel_list<TypeParam> channels{"B", "A", "C"};
    ASSERT_EQ(init(slicer, this->files, channels), 0);
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
    slicer.set_debug(0);
    EXPECT_THAT(text, HasSubstr("NO FILES can be found [2] we'll lose the channel[0] B\n"));
    EXPECT_THAT(text, HasSubstr("ERROR with channel (no cfgs) B:-1\n"));
    EXPECT_EQ(text.find("ERROR with channel (no cfgs) B:-1\nCalling clean_descr()\n") != std::string::npos,
              TypeParam::has_life_cycle_traces);
    EXPECT_EQ(text.find("Calling clean_descr()") != std::string::npos, TypeParam::has_life_cycle_traces);
    EXPECT_THAT(text, HasSubstr("ERROR with channel (no cfgs) C:-1\n"));
    EXPECT_STREQ(slicer.get_not_found_channels(), "B;C");
    EXPECT_STREQ(slicer.get_name_of_empty_channel(), "B");
    records_of<TypeParam> found;
    ASSERT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@1"));
    slicer.clean_up();
    EXPECT_STREQ(slicer.get_not_found_channels(), "");
}

TYPED_TEST(slicer_channels, a_channel_that_the_first_file_does_not_know_is_dropped)
{
    this->add_file("0", {{"A", events(1, 3)}});
    this->add_file("1", {{"A", events(4, 6)}, {"B", events(4, 6)}});
    slicer_of<TypeParam> slicer;
    channel_list<TypeParam> channels{"A"};
    channels.add("B", 2);
    ASSERT_EQ(init(slicer, this->files, channels), 0);
    slicer.set_debug(1);
    const std::string text = printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
    EXPECT_THAT(text, HasSubstr("Start failed for read_chans[1] for B:2  erro: -5\n"));
    EXPECT_THAT(text, HasSubstr("ERROR with channel (start) B:2 error: -5\n"));
    EXPECT_THAT(text, Not(HasSubstr("Calling clean_descr()\n")));
    EXPECT_STREQ(slicer.get_not_found_channels(), "B");
}

TYPED_TEST(slicer_channels, files_that_do_not_know_a_channel_are_passed_over_when_bad_records_are_skipped)
{
    this->add_file("0", {{"A", events(1, 3)}});
    this->add_file("1", {{"A", events(4, 6)}, {"B", events(4, 6)}});
    this->add_file("2", {{"A", events(7, 9)}});
    this->add_file("3", {{"A", events(10, 11)}, {"B", events(10, 11)}});
    slicer_of<TypeParam> slicer;
    slicer.set_skip_bad_records(true);
    std::vector<std::string> of_b;
    printed_by([&] {
        this->start(slicer, {"A", "B"});
        EXPECT_STREQ(slicer.get_not_found_channels(), "");
        records_of<TypeParam> found;
        while (slicer.get_data(nullptr, &found, next) == 0) {
            for (const auto& label : this->labels(found)) {
                if (label[0] == 'B') {
                    of_b.push_back(label);
                }
            }
        }
    });
    EXPECT_THAT(of_b, ElementsAre("B@4", "B@5", "B@6", "B@10", "B@11"));
    slicer.set_skip_bad_records(true);
    const channel_list<TypeParam> nowhere{"A", "C"};
    ASSERT_EQ(init(slicer, this->files, nowhere), 0);
    printed_by([&] { EXPECT_EQ(slicer.start(), 0); });
    EXPECT_STREQ(slicer.get_not_found_channels(), "C");
}

TYPED_TEST(slicer_channels, directions_lead_to_their_files)
{
    this->add_three_files();
    const std::vector<std::pair<int, int>> from_the_middle{{next, 2}, {previous, 0}, {first, 0}, {last, 2}};
    for (const auto& [direction, file] : from_the_middle) {
        slicer_of<TypeParam> slicer;
        this->start(slicer, {"A", "B"}); // B keeps the first file loaded
        ASSERT_EQ(slicer.change_config(0, next, 1), 0);
        EXPECT_EQ(this->file_index_of_move(slicer, direction), file);
    }
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    EXPECT_EQ(this->file_index_of_move(slicer, current), 0) << "the same file anew";
    EXPECT_EQ(slicer.start_channel(0, current), 0);
}

TYPED_TEST(slicer_channels, a_move_tells_what_it_does)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    ASSERT_NE(slicer.find_ready_table(this->files[2].c_str()),
              nullptr); // the thread is done, and prints nothing in between
    slicer.set_debug(1);
    int status = 1;
    const std::string text = printed_by([&] { status = slicer.change_config(1, next, 1); });
    EXPECT_EQ(status, 0);
    EXPECT_THAT(text, HasSubstr("Channel B switching to the next file " + this->files[0] + "\n" +
                                TypeParam::leaving_file(1, "B", 0) +
                                "Channel[1] switching to the next file fentry after: 1\n"));
    EXPECT_THAT(text, HasSubstr("change_config is OK fentry:1  " + this->files[1] + "\n"));
}

TYPED_TEST(slicer_channels, going_back_from_the_first_file_drops_the_channel)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    slicer.set_debug(1);
    int status = 1;
    const std::string text = printed_by([&] { status = slicer.change_config(0, previous, 1); });
    EXPECT_EQ(status, -1);
    EXPECT_THAT(text, HasSubstr("NO FILES can be found [-1] we'll lose the channel[0] A\n"));
    EXPECT_EQ(slicer.start_channel(0, first), -1) << "dropped";
    EXPECT_EQ(slicer.change_config(1, next, 1), 0) << "the other one is there";
}

TYPED_TEST(slicer_channels, a_shared_loader_lives_until_the_last_channel_leaves_its_file)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    const auto loader = slicer.find_ready_table(this->files[0].c_str())->weak_from_this();
    ASSERT_EQ(slicer.change_config(0, next, 1), 0);
    ASSERT_FALSE(loader.expired());
    EXPECT_EQ(loader.lock()->get_client_counter(), 1);
    EXPECT_NE(slicer.find_ready_table(this->files[0].c_str()), nullptr) << "still in its slot";
    ASSERT_EQ(slicer.change_config(1, next, 1), 0);
    EXPECT_TRUE(loader.expired());
    EXPECT_EQ(slicer.find_ready_table(this->files[1].c_str())->get_client_counter(), 0);
}

TYPED_TEST(slicer_channels, a_loader_that_a_dropped_channel_never_left_stays_until_clean_up)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    slicer.remove_channel(1);
    const auto loader = slicer.find_ready_table(this->files[0].c_str())->weak_from_this();
    ASSERT_EQ(slicer.change_config(0, next, 1), 0);
    EXPECT_FALSE(loader.expired()) << "one of two channels has left";
    slicer.clean_up();
    EXPECT_TRUE(loader.expired());
}

TYPED_TEST(slicer_channels, channels_on_the_same_file_share_its_loader)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    ASSERT_EQ(slicer.change_config(0, next, 1), 0);
    ASSERT_EQ(slicer.change_config(1, next, 1), 0);
    const auto loader = slicer.find_ready_table(this->files[1].c_str())->weak_from_this();
    ASSERT_EQ(slicer.change_config(0, next, 1), 0);
    ASSERT_FALSE(loader.expired());
    EXPECT_EQ(loader.lock()->get_client_counter(), 1);
    ASSERT_EQ(slicer.change_config(1, next, 1), 0);
    EXPECT_TRUE(loader.expired());
}

TYPED_TEST(slicer_channels, without_tables_of_the_new_file_the_old_reader_stays)
{
    this->add_file("0", {{"A", events(1, 3)}});
    this->add_damaged_file("bad");
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    slicer.set_debug(1);
    int status = 1;
    std::string text = printed_by([&] { status = slicer.change_config(0, next, 1); });
    EXPECT_EQ(status, -1);
    EXPECT_THAT(text, HasSubstr("A failed to find get_tbl for  " + this->files[1] + "\n"));
    slicer.set_debug(0);
    records_of<TypeParam> found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, current), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@1")) << "its loader lives although it left the slots";
    EXPECT_EQ(this->value_in(*found[0]), value_of(1));
    text = printed_by([&] { status = slicer.change_config(0, next, 1); });
    EXPECT_EQ(status, -1);
    EXPECT_EQ(text, "STRANGE trox_file_get_tables not found in the table... removing it anyway\n"
                    "STRANGE no files found we'll lose the channel[0] A\n");
    EXPECT_EQ(slicer.start_channel(0, first), -1);
}

TYPED_TEST(slicer_channels, a_loader_of_the_caller_is_not_in_the_slots)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    typename TypeParam::loader table(0);
    ASSERT_EQ(table.get_all_tables(this->files[1], 0, nullptr), 0);
    ASSERT_EQ(slicer.create_channel(0, &table), 0);
    ASSERT_EQ(slicer.create_channel(1, &table), 0);
    ASSERT_EQ(slicer.start_channel(0, first), 0);
    ASSERT_EQ(slicer.start_channel(1, first), 0);
    for (const int channel : {0, 1}) { // shared by another channel, and not
        int status = 1;
        const std::string text = printed_by([&] { status = slicer.change_config(channel, next, 1); });
        EXPECT_EQ(status, -1);
        EXPECT_THAT(text, testing::StartsWith("STRANGE trox_file_get_tables not found in the table"));
        EXPECT_THAT(text, HasSubstr("STRANGE no files found we'll lose the channel[" + std::to_string(channel)));
    }
    EXPECT_EQ(table.get_file_name(), this->files[1]) << "the caller's loader stays the caller's";
}

TYPED_TEST(slicer_channels, a_reader_keeps_its_loader_when_it_is_made_anew_on_it)
{
    this->add_file("0", {{"A", events(1, 3)}});
    this->add_damaged_file("bad");
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    auto* table = slicer.find_ready_table(this->files[0].c_str());
    ASSERT_EQ(slicer.change_config(0, next, 1), -1); // the reader is now the only owner
    ASSERT_EQ(slicer.create_channel(0, table), 0);
    EXPECT_EQ(slicer.start_channel(0, last), 0);
}

TYPED_TEST(slicer_channels, bad_files_are_passed_over_in_the_direction_of_the_move)
{
    this->add_damaged_file("bad0");
    this->add_file("1", {{"A", events(1, 3)}, {"B", events(1, 3)}});
    this->add_damaged_file("bad2");
    this->add_damaged_file("bad3");
    this->add_file("4", {{"A", events(4, 6)}, {"B", events(4, 6)}});
    this->add_damaged_file("bad5");
    const auto started = [&](slicer_of<TypeParam>& slicer) {
        slicer.set_skip_bad_records(true);
        this->start(slicer, {"A", "B"});
        ASSERT_EQ(slicer.change_config(0, next, 1), 0);
        ASSERT_EQ(slicer.start_channel(0, next), 0);
    };
    const time_id_of<TypeParam> four{4, time_of(4)};
    {
        slicer_of<TypeParam> slicer;
        started(slicer);
        records_of<TypeParam> found;
        ASSERT_EQ(slicer.get_data(&four, &found, current), 0);
        EXPECT_THAT(this->labels(found), ElementsAre("A@4"));
        EXPECT_EQ(slicer.change_config(0, previous, 1), 0) << "over two bad this->files, back to the first good one";
        EXPECT_EQ(slicer.change_config(0, previous, 1), -1) << "dropped: only a bad file is left there";
        EXPECT_EQ(slicer.start_channel(0, first), -1);
        EXPECT_EQ(slicer.change_config(1, last, 1), 0) << "inwards from the last file";
        EXPECT_EQ(slicer.start_channel(1, last), 0);
        EXPECT_EQ(slicer.change_config(1, next, 1), -1);
        EXPECT_EQ(slicer.start_channel(1, first), -1);
    }
    slicer_of<TypeParam> slicer;
    started(slicer);
    EXPECT_EQ(slicer.change_config(0, first, 1), 0) << "inwards from the first file";
    // The last file is looked at in the background.
    for (int tries = 0; tries < 10000 && slicer.get_number_of_bad_files() < 4; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(slicer.get_number_of_bad_files(), 4);
}

TYPED_TEST(slicer_channels, damaged_records_are_left_out_and_counted)
{
    std::vector<sample> mixed = events(1, 6);
    mixed[1].what = kind::undecoded;
    mixed[4].what = kind::undecoded;
    this->add_file("0", {{"A", mixed}, {"B", events(1, 6)}});
    std::vector<sample> damaged = events(7, 9);
    for (auto& one : damaged) {
        one.what = kind::undecoded;
    }
    this->add_file("1", {{"A", damaged}, {"B", events(7, 9)}});
    this->add_file("2", {{"A", events(10, 12)}, {"B", events(10, 12)}});
    slicer_of<TypeParam> slicer;
    slicer.set_skip_bad_records(true);
    std::vector<typename TypeParam::event_number> numbers;
    printed_by([&] {
        this->start(slicer, {"A", "B"});
        EXPECT_EQ(slicer.get_number_of_bad_records(), 2);
        records_of<TypeParam> found;
        while (slicer.get_data(nullptr, &found, next) == 0) {
            if (!found.empty() && this->name_in(*found[0]) == "A") {
                numbers.push_back(found[0]->event_id.event_number);
            }
        }
    });
    EXPECT_THAT(numbers, ElementsAre(1, 3, 4, 6, 10, 11, 12)) << "a file without a sound record is passed over";
    EXPECT_EQ(slicer.get_number_of_bad_records(), 5) << "also those of readers that are gone";
    slicer.clean_up();
    EXPECT_EQ(slicer.get_number_of_bad_records(), 5);
    const channel_list<TypeParam> channels{"A"};
    init(slicer, this->files, channels);
    EXPECT_EQ(slicer.get_number_of_bad_records(), 0);
}

TYPED_TEST(slicer_channels, clean_up_tells_what_it_ends)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    ASSERT_NE(slicer.find_ready_table(this->files[2].c_str()),
              nullptr); // the thread is done, and prints nothing in between
    slicer.set_debug(1);
    EXPECT_EQ(printed_by([&] { slicer.clean_up(); }), TypeParam::has_life_cycle_traces
                                                          ? "THREAD joined table_thread: \n"
                                                            "slicer clean_up read_chans[0]\n"
                                                            "slicer clean_up read_chans[1]\n"
                                                          : "");
    EXPECT_EQ(printed_by([&] { slicer.clean_up(); }), "") << "harmless when repeated";
    EXPECT_EQ(slicer.start(), -1);
    EXPECT_EQ(slicer.get_debug(), 1) << "settings survive";
}

TYPED_TEST(slicer_channels, a_second_start_is_refused)
{
    this->add_three_files();
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A"});
    EXPECT_EQ(slicer.start(), -8);
    records_of<TypeParam> found;
    EXPECT_EQ(slicer.get_data(nullptr, &found, next), 0);
    EXPECT_THAT(this->labels(found), ElementsAre("A@1"));
}

TYPED_TEST(slicer_channels, a_file_that_is_listed_twice_does_not_hold_a_channel_for_ever)
{
    const std::string name = this->add_file("0", {{"A", events(1, 3)}, {"B", {}}});
    this->files.push_back(name);
    this->add_file("1", {{"A", events(4, 6)}, {"B", events(4, 6)}});
    slicer_of<TypeParam> slicer;
    this->start(slicer, {"A", "B"});
    EXPECT_STREQ(slicer.get_not_found_channels(), "B");
}

TYPED_TEST(slicer_channels, nothing_is_left_open)
{
    this->add_three_files();
    const auto descriptors = [] {
        int count = 0;
        for (int fd = 0; fd < 256; ++fd) {
            count += ::lseek(fd, 0, SEEK_CUR) >= 0 ? 1 : 0;
        }
        return count;
    };
    const int before = descriptors();
    for (int repetition = 0; repetition < 3; ++repetition) {
        slicer_of<TypeParam> slicer;
        this->start(slicer, {"A", "B"});
        slicer.change_config(0, next, 1);
        EXPECT_GT(descriptors(), before);
    }
    EXPECT_EQ(descriptors(), before);
}

} // namespace slicer_test
