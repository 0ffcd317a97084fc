// Taking the records of an event, and selecting channels.
#include "typed_records.h"

#include <stdexcept>

using namespace trox_test;
using ::testing::HasSubstr;

template <class T> class selection : public record_access<T>
{
protected:
    /// trace, image, update, trace, extended image, update.
    void add_two_of_each_class()
    {
        this->add_trace("FAST.0");
        this->add_image("IMAGE.0");
        this->add_update("SLOW.0");
        this->add_trace("FAST.1");
        this->add("IMAGE.1", TROX_BLOCK_IMAGE_EXT, extended_image(1, 1, 1, 1, {5}), TROX_EV_IMAGE);
        this->add_update("SLOW.1");
    }
};
TYPED_TEST_SUITE(selection, all_access, access_names);

TYPED_TEST(selection, a_new_accessor_has_nothing)
{
    const auto& event = this->access_;
    EXPECT_EQ(event.is_data_2024(), TypeParam::is_2024);
    EXPECT_EQ(event.GetRes(), nullptr);
    EXPECT_EQ(event.GetRes_2024(), nullptr);
    EXPECT_EQ(event.GetNchan(), 0);
    EXPECT_EQ(event.GetChanNumb(), 0);
    EXPECT_EQ(event.Get_NFast() + event.Get_NSlow() + event.Get_NImage(), 0);
    EXPECT_EQ(event.GetPropName(), nullptr);
    EXPECT_EQ(event.GetPropType(), 0);
    EXPECT_EQ(event.GetChanType(), 0);
    EXPECT_EQ(event.GetDataType(), 0);
    EXPECT_EQ(event.GetNmemb(), 0);
    EXPECT_EQ(event.GetData(), nullptr);
    EXPECT_EQ(event_head_of<TypeParam>(event), nullptr);
    EXPECT_EQ(block_head_of<TypeParam>(event), nullptr);
    EXPECT_EQ(head_of<TypeParam>(event), nullptr);
    EXPECT_EQ(event.GetImageFloat(), nullptr);
}

TYPED_TEST(selection, SetRes_with_a_null_vector_is_12_and_with_an_empty_one_11)
{
    this->add_trace("FAST.0");
    ASSERT_EQ(this->set_records(), 1);
    EXPECT_EQ(set_records<TypeParam>(this->access_, nullptr), -12);
    EXPECT_EQ(this->access_.GetRes(), nullptr);
    EXPECT_EQ(this->access_.GetRes_2024(), nullptr);
    EXPECT_EQ(this->access_.GetNchan(), 0);
    std::vector<typename TypeParam::record*> empty;
    EXPECT_EQ(set_records<TypeParam>(this->access_, &empty), -11);
}

TYPED_TEST(selection, SetRes_without_records_keeps_what_was_selected_and_nothing_can_be_selected)
{
    this->add_trace("FAST.0");
    this->add_update("SLOW.0");
    this->set_records();
    this->access_.SetChan(1);
    std::vector<typename TypeParam::record*> empty;
    for (auto* none : {static_cast<std::vector<typename TypeParam::record*>*>(nullptr), &empty}) {
        this->set_records();
        this->access_.SetChan(1);
        EXPECT_EQ(set_records<TypeParam>(this->access_, none), none == nullptr ? -12 : -11);
        EXPECT_EQ(this->access_.GetNchan(), none == nullptr ? 0 : 2) << "null alone clears the number";
        EXPECT_EQ(this->access_.GetChanNumb(), 1);
        EXPECT_EQ(this->selected_name(), "SLOW.0");
        EXPECT_EQ(this->access_.GetSingle(0), 2.5F);
        capture([&] {
            EXPECT_EQ(this->access_.SetChan(0), -1);
            EXPECT_EQ(this->access_.SetNextChan(), -1);
            EXPECT_EQ(this->access_.SetFastNext(), -1);
            EXPECT_EQ(this->access_.SetFast(0), -1);
            EXPECT_EQ(this->access_.SetSlow(0), -1);
            EXPECT_EQ(this->access_.SetProp("FAST.0"), -10);
            EXPECT_EQ(this->access_.GetDataPtrs("FAST.0", nullptr, nullptr, 0), -1);
            this->access_.PrintProp(0);
        });
        EXPECT_EQ(this->access_.GetChanNumb(), 1);
    }
    EXPECT_EQ(this->set_records(), 2);
    EXPECT_EQ(this->access_.GetChanNumb(), 0);
}

TYPED_TEST(selection, SetRes_takes_the_records_and_selects_the_first)
{
    this->add_two_of_each_class();
    EXPECT_EQ(this->set_records(), 6);
    const auto& event = this->access_;
    EXPECT_EQ(event.GetNchan(), 6);
    EXPECT_EQ(event.GetChanNumb(), 0);
    EXPECT_EQ(event.GetPropType(), 3);
    EXPECT_EQ(event.GetChanType(), 1);
    EXPECT_EQ(event.Get_NFast(), 2);
    EXPECT_EQ(event.Get_NImage(), 2);
    EXPECT_EQ(event.Get_NSlow(), 2);
    EXPECT_STREQ(event.GetPropName(), "FAST.0");
    if constexpr (TypeParam::is_2024) {
        EXPECT_EQ(event.GetRes_2024(), &this->records_);
    } else {
        EXPECT_EQ(event.GetRes(), &this->records_);
    }
}

TYPED_TEST(selection, two_SetRes_calls_on_three_fast_records_count_six)
{
    for (const char* name : {"A", "B", "C"}) {
        this->add_trace(name);
    }
    this->set_records();
    EXPECT_EQ(this->access_.Get_NFast(), 3);
    EXPECT_EQ(this->set_records(), 3);
    EXPECT_EQ(this->access_.Get_NFast(), 6) << "counts are added up, until Clean";
    EXPECT_EQ(this->access_.SetFast(4), 0) << "within the count, but there is no such record";
    this->access_.Clean(TypeParam::is_2024);
    EXPECT_EQ(this->access_.Get_NFast(), 0);
    this->set_records();
    EXPECT_EQ(this->access_.Get_NFast(), 3);
}

TYPED_TEST(selection, classes_follow_the_event_type)
{
    this->add_trace("ML").header.event_type = TROX_EV_LLRF_ML;
    for (const int type : {TROX_EV_BOR, TROX_EV_EOR, TROX_EV_ENV, TROX_EV_UPD}) {
        this->add_trace("GLOBAL").header.event_type = type;
    }
    EXPECT_EQ(this->set_records(), 5);
    EXPECT_EQ(this->access_.Get_NFast(), 1);
    EXPECT_EQ(this->access_.Get_NSlow(), 4);
}

TYPED_TEST(selection, tells_of_events_without_a_known_structure)
{
    this->add_trace("FAST.0");
    for (const int type : {int{TROX_EV_HB}, 28, -1, 99}) {
        this->add_trace("ODD").header.event_type = type;
    }
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->set_records(), 5); }).err,
              "Unknown event structure !!!! 0\nUnknown event structure !!!! 28\nUnknown event structure !!!! "
              "-1\nUnknown event structure !!!! 99\n");
    EXPECT_EQ(this->access_.Get_NFast(), 1);
    EXPECT_EQ(this->access_.Get_NSlow() + this->access_.Get_NImage(), 0);
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.SetChan(1), 3); }).err, "SetHead() unknown event structure\n");
    EXPECT_EQ(this->access_.GetChanType(), 1) << "that of the record before";
}

TYPED_TEST(selection, records_without_a_sub_head_count_as_far_as_their_class_is_known)
{
    this->add_trace("FAST.0");
    const auto add_headless = [&](int event_type) {
        this->add("HEADLESS", TypeParam::trace_type, {}, event_type).record.sbchdata[0].chhd = 0;
    };
    add_headless(TROX_EV_UPD);
    add_headless(TROX_EV_NORMAL);
    add_headless(99);
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->set_records(), 4); }).err, "Unknown event structure !!!! 99\n");
    EXPECT_EQ(this->access_.Get_NSlow(), 1);
    EXPECT_EQ(this->access_.Get_NFast(), 1) << "without a block type it is neither an image nor none";
    EXPECT_EQ(this->access_.Get_NImage(), 0);
}

TYPED_TEST(selection, a_search_that_finds_nothing_leaves_the_selected_record_as_it_was)
{
    this->add_update("SLOW.0");
    this->add("ODD", TROX_BLOCK_IMAGE, image(1, 1, 1, 1, {5}), 99);
    this->add_trace("FAST.0");
    capture([&] { this->set_records(); });
    const auto check = [&](const char* operation, auto search, int nothing, const std::string& told) {
        this->access_.SetChan(0); // a slow record: the odd one takes its class
        this->access_.SetChan(1);
        EXPECT_EQ(capture([&] { EXPECT_EQ(search(), nothing); }).err, told) << operation;
        EXPECT_EQ(this->access_.GetChanNumb(), 1) << operation;
        EXPECT_EQ(this->access_.GetChanType(), 2) << operation;
        EXPECT_EQ(this->access_.GetPropType(), 4) << operation;
        EXPECT_EQ(this->access_.GetDataType(), TROX_BLOCK_IMAGE) << operation;
        EXPECT_EQ(this->access_.GetNmemb(), 1) << operation;
        EXPECT_EQ(this->access_.GetData(), this->owned_[1]->data()) << operation;
        EXPECT_EQ(this->selected_name(), "ODD") << operation;
        EXPECT_EQ(event_head_of<TypeParam>(this->access_), &this->owned_[1]->header) << operation;
        EXPECT_EQ(block_head_of<TypeParam>(this->access_), &this->owned_[1]->block) << operation;
    };
    auto& event = this->access_;
    const std::string unknown = "SetHead() unknown event structure\n";
    capture([&] { // counted again, so that there seem to be enough of each class
        this->set_records();
        this->set_records();
    });
    check(
        "SetImageNext", [&] { return event.SetImageNext(); }, 0, "");
    check(
        "SetSlowNext", [&] { return event.SetSlowNext(); }, 0, "");
    check(
        "SetFast", [&] { return event.SetFast(1); }, 0, unknown);
    check(
        "SetSlow", [&] { return event.SetSlow(2); }, 0, unknown);
    check(
        "SetProp", [&] { return event.SetProp("NOT.THERE"); }, -11, unknown);
}

TYPED_TEST(selection, SetChan_and_SetNextChan_walk_the_records)
{
    this->add_two_of_each_class();
    this->set_records();
    EXPECT_EQ(this->access_.SetNextChan(), 4);
    EXPECT_EQ(this->access_.GetChanNumb(), 1);
    EXPECT_EQ(this->access_.SetChan(5), 2);
    EXPECT_EQ(this->access_.GetChanType(), 2);
    EXPECT_EQ(this->access_.SetNextChan(), 0);
    EXPECT_EQ(this->access_.GetChanNumb(), 5) << "the last one stays";
    EXPECT_EQ(this->access_.SetChan(-1), 0);
    EXPECT_EQ(this->access_.SetChan(6), 0);
    EXPECT_EQ(this->access_.GetChanNumb(), 5);
}

TYPED_TEST(selection, next_of_a_class_passes_the_others_over)
{
    this->add_two_of_each_class();
    this->set_records();
    EXPECT_EQ(this->access_.SetFastNext(), 3);
    EXPECT_EQ(this->access_.GetChanNumb(), 3);
    EXPECT_EQ(this->access_.SetFastNext(), 0);
    EXPECT_EQ(this->access_.GetChanNumb(), 3);
    this->access_.SetChan(0);
    EXPECT_EQ(this->access_.SetImageNext(), 4);
    EXPECT_EQ(this->access_.GetChanNumb(), 1);
    EXPECT_EQ(this->access_.SetImageNext(), 4);
    EXPECT_EQ(this->access_.GetChanNumb(), 4);
    EXPECT_EQ(this->access_.SetImageNext(), 0);
    this->access_.SetChan(0);
    EXPECT_EQ(this->access_.SetSlowNext(), 2);
    EXPECT_EQ(this->access_.GetChanNumb(), 2);
    EXPECT_EQ(this->access_.SetSlowNext(), 2);
    EXPECT_EQ(this->access_.GetChanNumb(), 5);
    EXPECT_EQ(this->access_.SetSlowNext(), 0);
}

TYPED_TEST(selection, SetFast_0_on_a_fast_first_record_does_not_move)
{
    this->add_two_of_each_class();
    this->set_records();
    EXPECT_EQ(this->access_.SetFast(0), 3);
    EXPECT_EQ(this->access_.GetChanNumb(), 0);
}

TYPED_TEST(selection, nth_of_a_class_counts_from_the_first_record)
{
    this->add_two_of_each_class();
    this->set_records();
    this->access_.SetChan(5);
    EXPECT_EQ(this->access_.SetFast(0), 3);
    EXPECT_EQ(this->access_.GetChanNumb(), 0);
    EXPECT_EQ(this->access_.SetFast(1), 3);
    EXPECT_EQ(this->access_.GetChanNumb(), 3);
    EXPECT_EQ(this->access_.SetImage(0), 4);
    EXPECT_EQ(this->access_.GetChanNumb(), 1);
    EXPECT_EQ(this->access_.SetImage(1), 4);
    EXPECT_EQ(this->access_.GetChanNumb(), 4);
    EXPECT_EQ(this->access_.SetSlow(0), 2);
    EXPECT_EQ(this->access_.GetChanNumb(), 2);
    EXPECT_EQ(this->access_.SetSlow(1), 2);
    EXPECT_EQ(this->access_.GetChanNumb(), 5);
    for (const int outside : {-1, 2, 100}) {
        EXPECT_EQ(this->access_.SetFast(outside), 0);
        EXPECT_EQ(this->access_.SetImage(outside), 0);
        EXPECT_EQ(this->access_.SetSlow(outside), 0);
        EXPECT_EQ(this->access_.GetChanNumb(), 5);
    }
}

TYPED_TEST(selection, SetProp_finds_channels_by_exact_name)
{
    this->add_two_of_each_class();
    this->add_trace("FAST.1"); // a second one of that name is never found
    this->set_records();
    EXPECT_EQ(this->access_.SetProp("FAST.1"), 3);
    EXPECT_EQ(this->access_.GetChanNumb(), 3);
    EXPECT_EQ(this->access_.SetProp("IMAGE.1"), 4);
    EXPECT_EQ(this->access_.GetChanNumb(), 4);
    EXPECT_EQ(this->access_.SetProp("SLOW.0"), 2);
    EXPECT_EQ(this->access_.GetChanNumb(), 2);
    for (const char* other : {"fast.1", "FAST.", "FAST.10", ""}) {
        EXPECT_EQ(this->access_.SetProp(other), -11) << other;
    }
    EXPECT_EQ(this->access_.SetProp(nullptr), -11);
    EXPECT_EQ(this->access_.GetChanNumb(), 2);
}

TYPED_TEST(selection, SetProp_takes_the_name_of_an_update_from_its_payload)
{
    this->add("CUT", TypeParam::update_type, update<TypeParam>("THE.FULL.NAME", 1.0F), TROX_EV_UPD);
    this->set_records();
    EXPECT_EQ(this->access_.SetProp("THE.FULL.NAME"), 2);
    EXPECT_STREQ(this->access_.GetPropName(), "THE.FULL.NAME");
    EXPECT_EQ(this->access_.SetProp("CUT"), -11);
}

TYPED_TEST(selection, names_may_fill_their_fields)
{
    const std::string field(sizeof(TypeParam::subhead::chname), 'c');
    const std::string update_field(sizeof(TypeParam::update::upd_prop), 'u');
    this->add_trace(field);
    this->add_update(update_field);
    this->set_records();
    EXPECT_EQ(this->access_.SetProp(update_field.c_str()), 2) << "in legacy records longer than the sub-head's field";
    EXPECT_EQ(this->access_.SetProp(field.c_str()), 3);
    EXPECT_EQ(this->access_.SetProp((field + "c").c_str()), -11);
    EXPECT_EQ(this->access_.SetProp((update_field + "u").c_str()), -11);
}

TYPED_TEST(selection, an_update_too_short_for_its_name_is_found_by_its_sub_head)
{
    auto payload = update<TypeParam>("IN.PAYLOAD", 1.0F);
    payload.resize(payload.size() - 1);
    this->add("IN.HEAD", TypeParam::update_type, payload, TROX_EV_UPD);
    this->set_records();
    EXPECT_EQ(this->access_.SetProp("IN.PAYLOAD"), -11);
    EXPECT_EQ(this->access_.SetProp("IN.HEAD"), 2);
}

TYPED_TEST(selection, the_name_of_a_slow_channel_ends_inside_its_payload)
{
    this->add("IN.HEAD", TROX_ENV_BLOCK, payload_bytes().add_text("no end").get(), TROX_EV_ENV);
    this->add("IN.HEAD", TROX_ENV_BLOCK, payload_bytes().add_text(std::string_view("END\0x", 5)).get(), TROX_EV_ENV);
    this->add("IN.HEAD", TypeParam::update_type, {}, TROX_EV_UPD);
    this->set_records();
    EXPECT_STREQ(this->access_.GetPropName(), "IN.HEAD");
    this->access_.SetChan(1);
    EXPECT_STREQ(this->access_.GetPropName(), "END");
    this->access_.SetChan(2);
    EXPECT_STREQ(this->access_.GetPropName(), "IN.HEAD");
}

TYPED_TEST(selection, every_operation_asks_for_records_first)
{
    auto& event = this->access_;
    const auto refused = [](const char* operation) {
        return "trox_daq_getdata::" + std::string(operation) + ": Status= 0 Res= (nil) Res2024= (nil) Nchan= 0\n";
    };
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.SetChan(0), -1); }).err, refused("SetChan"));
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.SetNextChan(), -1); }).err, refused("SetNextChan"));
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.SetFastNext(), -1); }).err, refused("SetFastNext"));
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.SetImageNext(), -1); }).err, refused("SetImageNext"));
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.SetSlowNext(), -1); }).err, refused("SetSlowNext"));
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.SetFast(0), -1); }).err, refused("SetFast"));
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.SetImage(0), -1); }).err, refused("SetImage"));
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.SetSlow(0), -1); }).err, refused("SetSlow"));
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.SetProp("A"), -10); }).err, refused("SetProp"));
}

TYPED_TEST(selection, an_empty_list_behind_a_good_one_is_not_ready)
{
    this->add_trace("FAST.0");
    this->set_records();
    std::vector<typename TypeParam::record*> empty;
    set_records<TypeParam>(this->access_, &empty);
    const std::string printed = capture([&] { EXPECT_EQ(this->access_.SetChan(0), -1); }).err;
    EXPECT_THAT(printed, HasSubstr("trox_daq_getdata::SetChan: Status= 1 Res= "));
    EXPECT_THAT(printed, HasSubstr(" Nchan= 1\n"));
}

TYPED_TEST(selection, null_records_and_heads_are_told_and_refused)
{
    const auto message = [&] { return capture([&] { EXPECT_EQ(this->set_records(), -1); }).err; };
    this->records_.push_back(nullptr);
    EXPECT_EQ(message(), TypeParam::is_2024 ? "trox_daq_getdata::SetHead(2024): ent = NULL\n"
                                            : "trox_daq_getdata::SetHead: ent = NULL\n");
    this->records_.clear();
    auto& record = this->add_trace("FAST.0").record.sbchdata[0];
    record.chhd = 0;
    EXPECT_EQ(message(), "trox_daq_getdata::SetHead: channel header pointer = NULL\n");
    record.sbhd = 0;
    EXPECT_EQ(message(), TypeParam::is_2024     ? "trox_daq_getdata::SetHead_2024: srvb pointer = NULL\n"
                         : TypeParam::is_legacy ? "trox_daq_getdata::SetHead: srvb pointer = NULL\n"
                                                : "trox_daq_getdata::SetHead_2010: srvb pointer = NULL\n");
    record.evhd = 0;
    EXPECT_EQ(message(), TypeParam::is_2024 ? "trox_daq_getdata::SetHead: event header(2024) pointer = NULL\n"
                                            : "trox_daq_getdata::SetHead: event header pointer = NULL\n");
    EXPECT_EQ(this->access_.Get_NFast(), 0) << "nothing is counted";
    EXPECT_EQ(this->access_.GetNchan(), 1);
    EXPECT_EQ(
        capture([&] { EXPECT_EQ(this->access_.SetChan(0), -1); }).err.find("trox_daq_getdata::SetChan: Status= 0"), 0U);
}

TYPED_TEST(selection, a_null_record_ends_the_search_of_a_class_or_name)
{
    this->add_trace("FAST.0");
    this->records_.push_back(nullptr);
    this->add_trace("FAST.1");
    this->set_records();
    EXPECT_EQ(this->access_.Get_NFast(), 2);
    capture([&] {
        EXPECT_EQ(this->access_.SetFastNext(), -1);
        EXPECT_EQ(this->access_.SetFast(1), -1);
        EXPECT_EQ(this->access_.SetProp("FAST.1"), -1);
        EXPECT_EQ(this->access_.SetChan(1), -1);
    });
    EXPECT_EQ(head_of<TypeParam>(this->access_), nullptr) << "the heads of the record before are not this one's";
    EXPECT_EQ(this->access_.GetData(), nullptr);
    EXPECT_EQ(this->access_.SetChan(2), 3);
}

TYPED_TEST(selection, an_index_outside_a_list_that_shrank_throws)
{
    this->add_trace("FAST.0");
    this->add_trace("FAST.1");
    this->set_records();
    this->records_.pop_back();
    EXPECT_THROW(this->access_.SetChan(1), std::out_of_range);
}

TYPED_TEST(selection, Clean_forgets_everything)
{
    this->add_two_of_each_class();
    this->set_records();
    this->access_.SetImage(0);
    ASSERT_NE(this->access_.ConvertImage(), nullptr);
    this->access_.Clean(!TypeParam::is_2024);
    EXPECT_EQ(this->access_.is_data_2024(), !TypeParam::is_2024);
    EXPECT_EQ(this->access_.GetRes(), nullptr);
    EXPECT_EQ(this->access_.GetRes_2024(), nullptr);
    EXPECT_EQ(this->access_.GetNchan(), 0);
    EXPECT_EQ(this->access_.Get_NFast() + this->access_.Get_NImage() + this->access_.Get_NSlow(), 0);
    EXPECT_EQ(this->access_.GetImageFloat(), nullptr);
    EXPECT_EQ(this->access_.GetImageNx(), 0);
    EXPECT_EQ(this->access_.GetPropName(), nullptr);
    this->access_.set_data_2024(TypeParam::is_2024);
    EXPECT_EQ(this->access_.is_data_2024(), TypeParam::is_2024);
    EXPECT_EQ(this->set_records(), 6);
}

TYPED_TEST(selection, members_are_found_by_name)
{
    this->add("XY", TROX_BLOCK_BPM, {});
    this->add("GEN", TROX_BLOCK_GENERIC_SPECT, spectrum<TypeParam>(3, 1, {1, 2, 3}));
    this->add("ODD", 30, {});
    this->set_records();
    EXPECT_EQ(this->access_.GetNmemb(), 4);
    EXPECT_EQ(this->access_.GetMembNumb("X"), 0);
    EXPECT_EQ(this->access_.GetMembNumb("QUALITY"), 3);
    EXPECT_EQ(this->access_.GetMembNumb("x"), -1);
    EXPECT_EQ(this->access_.GetMembNumb(nullptr), -1);
    EXPECT_STREQ(this->access_.GetMembName(1), "Y");
    EXPECT_EQ(this->access_.GetMembName(4), nullptr);
    EXPECT_EQ(this->access_.GetMembName(-1), nullptr);
    this->access_.SetChan(1);
    EXPECT_EQ(this->access_.GetNmemb(), 3) << "as the block says";
    EXPECT_EQ(this->access_.GetMembNumb("CH0"), 0);
    EXPECT_EQ(this->access_.GetMembNumb("CH1"), -1) << "names are looked up without the block, which counts as one";
    this->access_.SetChan(2);
    EXPECT_EQ(this->access_.GetNmemb(), 0);
    EXPECT_EQ(this->access_.GetMembNumb("VALUE"), -1);
    EXPECT_EQ(this->access_.GetMembName(0), nullptr);
}

TYPED_TEST(selection, records_are_looked_for_in_the_list_that_the_flag_says)
{
    this->add_trace("FAST.0");
    trox_daq_getdata other(!TypeParam::is_2024);
    EXPECT_EQ(capture([&] { EXPECT_EQ(set_records<TypeParam>(other, &this->records_), -1); }).err,
              TypeParam::is_2024 ? "trox_daq_getdata::SetHead: ent = NULL\n"
                                 : "trox_daq_getdata::SetHead(2024): ent = NULL\n");
    EXPECT_THAT(capture([&] { EXPECT_EQ(other.SetChan(0), -1); }).err, HasSubstr("SetChan: Status= 0 Res= "));
    other.set_data_2024(TypeParam::is_2024);
    EXPECT_EQ(set_records<TypeParam>(other, &this->records_), 1);
}
