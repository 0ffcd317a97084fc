// Payloads, single values, name/value lists, text, and a property in one call.
#include "typed_records.h"

using namespace trox_test;
using ::testing::HasSubstr;

template <class T> class values : public record_access<T>
{
};
TYPED_TEST_SUITE(values, all_access, access_names);

// --- payloads and kinds ---------------------------------------------------------------------------------

TYPED_TEST(values, a_channel_as_long_as_its_head_has_no_payload_and_one_byte_more_keeps_it)
{
    const auto empty_at = [](std::int32_t ldata) { return ldata >= 0 && ldata <= (TypeParam::is_legacy ? 44 : 268); };
    ASSERT_EQ(this->head_size, TypeParam::is_legacy ? 44 : 268);
    for (const int dtype : {int{TROX_UPD_BLOCK}, int{TROX_BLOCK_NAME_VALUE}, int{TROX_BLOCK_EQDATA},
                            int{TROX_BLOCK_IMAGE}, int{TROX_BLOCK_IMAGE_EXT}, TypeParam::trace_type}) {
        auto& record = this->add("A", dtype, {0});
        for (const std::int32_t ldata : {0, 1, 43, 44, 267, 268, this->head_size, this->head_size + 1, -1, INT32_MIN}) {
            if (ldata > this->head_size + 1) {
                continue; // more than there is
            }
            record.head().ldata = ldata;
            this->select_single();
            EXPECT_EQ(this->access_.GetData(), empty_at(ldata) ? nullptr : record.data())
                << "type " << dtype << ", length " << ldata;
        }
        this->records_.clear();
    }
}

TYPED_TEST(values, block_types_have_the_kinds_of_their_generation)
{
    auto& record = this->add("A", 1, {0});
    for (int dtype = -3; dtype < 70; ++dtype) {
        record.head().dtype = dtype;
        this->select_single();
        const bool is_single = dtype <= 5 || dtype == 22 || (dtype >= 33 && dtype <= 37 && !TypeParam::is_legacy);
        const int expected = is_single ? 2 : dtype == 23 ? 5 : dtype == 13 || dtype == 27 ? 4 : 3;
        EXPECT_EQ(this->access_.GetPropType(), expected) << dtype;
        EXPECT_EQ(this->access_.GetDataType(), dtype);
        EXPECT_EQ(this->access_.GetData(), record.data()) << "too short for values: the payload itself, type " << dtype;
    }
}

TYPED_TEST(values, data_are_the_first_float_of_spectra)
{
    auto& record = this->add_trace("A");
    this->select_single();
    EXPECT_EQ(this->access_.GetData(), record.data() + sizeof(typename TypeParam::spectrum_head));
}

TYPED_TEST(values, data_of_control_system_values_begin_with_the_head_but_for_legacy_records)
{
    auto& record =
        this->add("A", TROX_BLOCK_EQDATA, payload_bytes().add(trox_eqdata_head{DATA_INT, 0, {1, 2}, 1}).add(77).get());
    this->select_single();
    EXPECT_EQ(this->access_.GetPropType(), 5);
    EXPECT_EQ(this->access_.GetData(), record.data() + (TypeParam::is_legacy ? sizeof(trox_eqdata_head) : 0));
}

// --- text -----------------------------------------------------------------------------------------------

TYPED_TEST(values, GetString_gives_text_of_legacy_records_only)
{
    this->add("A", TROX_BLOCK_EQDATA,
              payload_bytes().add(trox_eqdata_head{DATA_STRING, 0, {1, 2}, 7}).add_text({"locked\0", 7}).get());
    this->select_single();
    int length = -1;
    const auto ask = [&] { return this->access_.GetString(0, &length); };
    if constexpr (TypeParam::is_legacy) {
        EXPECT_STREQ(ask(), "locked");
        EXPECT_EQ(length, 6);
        EXPECT_STREQ(this->access_.GetString(-5, nullptr), "locked") << "the member is not looked at";
    } else {
        EXPECT_EQ(capture([&] { EXPECT_EQ(ask(), nullptr); }).err, "trox_daq_getdata::GetString: 1\n");
        EXPECT_EQ(length, -1);
    }
}

TYPED_TEST(values, GetString_needs_a_payload_and_a_closing_NUL)
{
    const auto refused = [&] { return capture([&] { EXPECT_EQ(this->access_.GetString(0, nullptr), nullptr); }).err; };
    EXPECT_EQ(refused(), "trox_daq_getdata::GetString: 0\n");
    auto& record = this->add("A", TROX_BLOCK_EQDATA, payload_bytes().add_text("no end").get());
    this->select_single();
    EXPECT_EQ(refused(), "trox_daq_getdata::GetString: 1\n");
    record.head().ldata = this->head_size;
    this->select_single();
    EXPECT_EQ(refused(), "trox_daq_getdata::GetString: 1\n");
    this->records_.clear();
    this->add("A", TROX_BLOCK_EQDATA,
              payload_bytes().add(trox_eqdata_head{DATA_STRING, 0, {1, 2}, 6}).add_text("no end").get());
    this->select_single();
    EXPECT_EQ(refused(), "trox_daq_getdata::GetString: 1\n") << "the NULs of the head in front do not count";
}

// --- updates --------------------------------------------------------------------------------------------

TYPED_TEST(values, updates_give_value_status_and_second)
{
    this->add_update("SLOW", 2.5F);
    this->select_single();
    float value = 0;
    int status = 0;
    long seconds = 0;
    EXPECT_EQ(this->access_.GetSlowPrm(&value, &status, &seconds), 0);
    EXPECT_EQ(value, 2.5F);
    EXPECT_EQ(status, 4);
    EXPECT_EQ(seconds, 1339666199L);
    EXPECT_EQ(this->access_.GetSlowPrm(nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(this->access_.GetSingle(0), 2.5F);
    EXPECT_EQ(this->access_.GetSingle(-1), 2.5F) << "there is one value, whatever is asked for";
}

TYPED_TEST(values, an_update_that_is_too_short_is_missing)
{
    auto payload = update<TypeParam>("SLOW", 2.5F);
    payload.pop_back();
    this->add("SLOW", TypeParam::update_type, payload, TROX_EV_UPD);
    this->select_single();
    EXPECT_NE(this->access_.GetData(), nullptr);
    const std::string printed = capture([&] { EXPECT_EQ(this->access_.GetSlowPrm(nullptr, nullptr, nullptr), 1); }).err;
    EXPECT_EQ(printed, "");
    float value = -1;
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSingle(0), 0.0F); }).err,
              "trox_daq_getdata::GetSingle: 1 DType" + std::to_string(TypeParam::update_type) + "\n");
    if constexpr (!TypeParam::is_2024) { // those of 2024 are looked at with the shorter legacy layout
        EXPECT_EQ(this->access_.GetDataPtrs(nullptr, &value, nullptr, 0), 2);
        EXPECT_EQ(value, -1.0F);
    }
}

TYPED_TEST(values, an_update_without_payload_is_missing)
{
    this->add("SLOW", TypeParam::update_type, {}, TROX_EV_UPD);
    this->select_single();
    EXPECT_EQ(this->access_.GetData(), nullptr);
    float value = 7;
    int status = 7;
    long seconds = 7;
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSlowPrm(&value, &status, &seconds), 1); }).err, "");
    EXPECT_EQ(value, 7.0F);
    EXPECT_EQ(status, 7);
    EXPECT_EQ(seconds, 7);
}

TYPED_TEST(values, update_types_of_the_other_layout_are_no_updates)
{
    const int other = TypeParam::is_legacy ? TROX_UPD_BLOCK_2010 : TROX_UPD_BLOCK;
    this->add("SLOW", other, update<access_2010>("SLOW", 2.5F), TROX_EV_UPD);
    this->select_single();
    EXPECT_EQ(this->access_.GetSlowPrm(nullptr, nullptr, nullptr), 1);
}

// --- name/value lists -----------------------------------------------------------------------------------

TYPED_TEST(values, name_value_lists_give_head_and_entries)
{
    auto& record = this->add("LIST", TROX_BLOCK_NAME_VALUE, name_values(2, {{"GAIN.P", 0.5F}, {"GAIN.I", -1.5F}}));
    this->select_single();
    EXPECT_EQ(this->access_.GetPropType(), 2);
    trox_name_value_block* block = nullptr;
    int id = 0;
    char* comment = nullptr;
    int ndata = 0;
    trox_name_value_channel* entries = nullptr;
    ASSERT_EQ(this->access_.GetValNamPrm(&block, &id, &comment, &ndata, &entries), 0);
    EXPECT_EQ(static_cast<void*>(block), record.data());
    EXPECT_EQ(id, 11);
    EXPECT_STREQ(comment, "a comment");
    ASSERT_EQ(ndata, 2);
    EXPECT_STREQ(entries[1].name, "GAIN.I");
    EXPECT_EQ(entries[1].value, -1.5F);
    EXPECT_EQ(this->access_.GetValNamPrm(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    char* name = nullptr;
    float value = 0;
    EXPECT_EQ(this->access_.GetValNamChan(&name, &value, 0), 0);
    EXPECT_STREQ(name, "GAIN.P");
    EXPECT_EQ(value, 0.5F);
    EXPECT_EQ(this->access_.GetValNamChan(nullptr, nullptr, 1), 0);
    EXPECT_EQ(this->access_.GetSingle(1), -1.5F);
}

TYPED_TEST(values, entries_outside_a_list_are_refused)
{
    this->add("LIST", TROX_BLOCK_NAME_VALUE, name_values(2, {{"GAIN.P", 0.5F}, {"GAIN.I", -1.5F}}));
    this->select_single();
    float value = 7;
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetValNamChan(nullptr, &value, 2), 1); }).err,
              "trox_daq_getdata::GetValNamChan()  channel is too big 2 max: 2\n");
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSingle(2), 0.0F); }).err,
              "trox_daq_getdata::GetSingle: member number is too big 2 max: 2\n");
    EXPECT_EQ(value, 7.0F);
}

TYPED_TEST(values, in_front_of_a_list_its_head_is_taken_for_entries_as_far_as_it_goes)
{
    auto payload = name_values(2, {{"GAIN.P", 0.5F}, {"GAIN.I", -1.5F}});
    const float id = -12.5F; // any words that can be told apart as floats
    std::memcpy(payload.data(), &id, sizeof id);
    this->add("LIST", TROX_BLOCK_NAME_VALUE, payload);
    this->select_single();
    std::int32_t two = 2;
    float count = 0;
    std::memcpy(&count, &two, sizeof count);
    char* name = nullptr;
    float value = 7;
    EXPECT_EQ(this->access_.GetValNamChan(&name, &value, -1), 0);
    EXPECT_STREQ(name, "a comment");
    EXPECT_EQ(value, count);
    EXPECT_EQ(this->access_.GetSingle(-1), count);
    EXPECT_EQ(this->access_.GetSingle(-2), id);
    EXPECT_EQ(this->access_.GetDataPtrs(nullptr, &value, nullptr, -2), 0);
    EXPECT_EQ(value, id);
    // The name of -2 would lie in front of the payload.
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetValNamChan(&name, &value, -2), 1); }).err,
              "trox_daq_getdata::GetValNamChan() 1 DType22\n");
    EXPECT_STREQ(name, "a comment");
    EXPECT_EQ(value, id);
    for (const int farther : {-3, -1000000, INT32_MIN}) {
        EXPECT_EQ(capture([&] {
                      EXPECT_EQ(this->access_.GetValNamChan(nullptr, nullptr, farther), 1);
                      EXPECT_EQ(this->access_.GetSingle(farther), 0.0F);
                  }).err,
                  "trox_daq_getdata::GetValNamChan() 1 DType22\ntrox_daq_getdata::GetSingle: 1 DType22\n");
        EXPECT_EQ(this->access_.GetDataPtrs(nullptr, &value, nullptr, farther), 0);
        EXPECT_EQ(value, 0.0F);
        value = 7;
    }
}

TYPED_TEST(values, GetDataPtrs_gives_what_lies_behind_a_list_inside_its_payload)
{
    auto payload = name_values(1, {{"GAIN.P", 0.5F}, {"GAIN.I", -1.5F}, {"GAIN.D", 3.5F}});
    payload.pop_back(); // the third value is not whole
    this->add("LIST", TROX_BLOCK_NAME_VALUE, payload);
    this->select_single();
    float value = 7;
    EXPECT_EQ(this->access_.GetDataPtrs(nullptr, &value, nullptr, 1), 0);
    EXPECT_EQ(value, -1.5F) << "the count is not looked at";
    for (const int outside : {2, 3, 1000000, INT32_MAX}) {
        value = 7;
        EXPECT_EQ(this->access_.GetDataPtrs(nullptr, &value, nullptr, outside), 0);
        EXPECT_EQ(value, 0.0F);
        EXPECT_EQ(this->access_.GetDataPtrs(nullptr, nullptr, nullptr, outside), 0);
    }
}

TYPED_TEST(values, a_list_that_announces_more_entries_than_there_are_is_missing)
{
    auto payload = name_values(2, {{"GAIN.P", 0.5F}, {"GAIN.I", -1.5F}});
    payload.pop_back();
    this->add("LIST", TROX_BLOCK_NAME_VALUE, payload);
    for (const int announced : {3, INT32_MAX, -1}) {
        this->add("LIST", TROX_BLOCK_NAME_VALUE, name_values(announced, {{"GAIN.P", 0.5F}, {"GAIN.I", -1.5F}}));
    }
    this->add("LIST", TROX_BLOCK_NAME_VALUE, std::vector<unsigned char>(87));
    this->set_records();
    for (int i = 0; i < this->access_.GetNchan(); ++i) {
        ASSERT_EQ(this->access_.SetChan(i), 2);
        EXPECT_EQ(this->access_.GetValNamPrm(nullptr, nullptr, nullptr, nullptr, nullptr), 1);
        EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetValNamChan(nullptr, nullptr, 0), 1); }).err,
                  "trox_daq_getdata::GetValNamChan() 1 DType22\n");
        EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSingle(0), 0.0F); }).err,
                  "trox_daq_getdata::GetSingle: 1 DType22\n");
        EXPECT_EQ(this->access_.GetDataPtrs(nullptr, nullptr, nullptr, 0), 2);
    }
}

TYPED_TEST(values, a_list_of_no_entries_is_a_list)
{
    this->add("LIST", TROX_BLOCK_NAME_VALUE, name_values(0, {}));
    this->select_single();
    int ndata = -1;
    EXPECT_EQ(this->access_.GetValNamPrm(nullptr, nullptr, nullptr, &ndata, nullptr), 0);
    EXPECT_EQ(ndata, 0);
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSingle(0), 0.0F); }).err,
              "trox_daq_getdata::GetSingle: member number is too big 0 max: 0\n");
}

TYPED_TEST(values, single_values_and_entries_of_other_channels_are_refused)
{
    this->add_trace("FAST");
    this->select_single();
    EXPECT_EQ(capture([&] {
                  EXPECT_EQ(this->access_.GetSlowPrm(nullptr, nullptr, nullptr), 1);
                  EXPECT_EQ(this->access_.GetValNamPrm(nullptr, nullptr, nullptr, nullptr, nullptr), 1);
              }).err,
              "");
    const std::string type = std::to_string(TypeParam::trace_type);
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetValNamChan(nullptr, nullptr, 0), 1); }).err,
              "trox_daq_getdata::GetValNamChan() 1 DType" + type + "\n");
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetSingle(0), 0.0F); }).err,
              "trox_daq_getdata::GetSingle: 1 DType" + type + "\n");
}

TYPED_TEST(values, without_a_sub_head_it_is_told_which_one_is_missing)
{
    trox_daq_getdata& event = this->access_;
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.GetSingle(0), 0.0F); }).err,
              "trox_daq_getdata::GetSingle: 0 ChanHeader_2010 == NULL\n");
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.GetValNamChan(nullptr, nullptr, 0), 1); }).err,
              "trox_daq_getdata::GetValNamChan() 0 ChanHeader_2010 == NULL\n");
    // After a record whose sub-head is missing the layout is known from its event header.
    this->add_trace("FAST");
    this->add_trace("HEADLESS").record.sbchdata[0].chhd = 0;
    this->set_records();
    capture([&] { EXPECT_EQ(event.SetChan(1), -1); });
    const std::string missing = TypeParam::is_legacy ? " ChanHeader == NULL\n" : " ChanHeader_2010 == NULL\n";
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.GetSingle(0), 0.0F); }).err, "trox_daq_getdata::GetSingle: 1" + missing);
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.GetValNamChan(nullptr, nullptr, 0), 1); }).err,
              "trox_daq_getdata::GetValNamChan() 1" + missing);
    EXPECT_EQ(capture([&] { EXPECT_EQ(event.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0), -1); }).err,
              "trox_daq_getdata::GetRoiPrm: 1 ChanHeader == NULL\n")
        << "the same for all layouts";
}

// --- a property in one call -----------------------------------------------------------------------------

TYPED_TEST(values, GetDataPtrs_asks_for_records_and_a_payload_first)
{
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetDataPtrs(nullptr, nullptr, nullptr, 0), -1); }).err,
              "trox_daq_getdata::GetDataPtrs: wrong status= 0\n");
    this->add("EMPTY", TypeParam::trace_type);
    this->select_single();
    EXPECT_EQ(this->access_.GetDataPtrs(nullptr, nullptr, nullptr, 0), -2);
}

TYPED_TEST(values, GetDataPtrs_gives_samples_of_the_member_asked_for)
{
    this->add("XY", TypeParam::four_members_type, spectrum<TypeParam>(4, 1, {1, 2, 3, 4}));
    this->add_trace("FAST");
    this->set_records();
    float* data = nullptr;
    EXPECT_EQ(this->access_.GetDataPtrs(nullptr, nullptr, &data, 2), 0);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(*data, 3.0F);
    EXPECT_EQ(this->access_.GetDataPtrs("FAST", nullptr, &data, 0), 0);
    EXPECT_EQ(*data, 1.5F);
    EXPECT_EQ(this->access_.GetChanNumb(), 1) << "the channel is selected";
    EXPECT_EQ(capture([&] { EXPECT_EQ(this->access_.GetDataPtrs(nullptr, nullptr, &data, 1), 0); }).err,
              "GetSpect() invalid memb:1  max: 1\n");
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(this->access_.GetDataPtrs(nullptr, nullptr, nullptr, 0), 0);
}

TYPED_TEST(values, GetDataPtrs_of_a_spectrum_without_members_tells_so)
{
    this->add("ODD", 30, {0, 0, 0, 0});
    this->select_single();
    float* data = nullptr;
    const std::string printed =
        capture([&] { EXPECT_EQ(this->access_.GetDataPtrs(nullptr, nullptr, &data, 0), 0); }).err;
    EXPECT_THAT(printed, HasSubstr("trox_daq_getdata::GetSpectPar: error datatype:30 data_2010: "));
    EXPECT_THAT(printed, HasSubstr("GetSpect() invalid memb:0  max: 0\n"));
    EXPECT_EQ(data, nullptr);
}

TYPED_TEST(values, GetDataPtrs_gives_entries_of_lists)
{
    this->add("LIST", TROX_BLOCK_NAME_VALUE, name_values(2, {{"GAIN.P", 0.5F}, {"GAIN.I", -1.5F}}));
    this->select_single();
    float value = 0;
    EXPECT_EQ(this->access_.GetDataPtrs(nullptr, &value, nullptr, 1), 0);
    EXPECT_EQ(value, -1.5F);
    EXPECT_EQ(this->access_.GetDataPtrs("LIST", nullptr, nullptr, 0), 0) << "a null value is no failure";
}

TYPED_TEST(values, GetDataPtrs_gives_updates)
{
    this->add_update("SLOW", 2.5F);
    this->select_single();
    float value = 0;
    EXPECT_EQ(this->access_.GetDataPtrs("SLOW", &value, nullptr, 0), 0);
    // 2024 records are looked at with the legacy layout, where the name goes on.
    EXPECT_EQ(value, TypeParam::is_2024 ? 0.0F : 2.5F);
    EXPECT_EQ(this->access_.GetDataPtrs("SLOW", nullptr, nullptr, 0), 0);
}

TYPED_TEST(values, GetDataPtrs_by_name_asks_the_channel_selected_before_for_its_payload)
{
    this->add("EMPTY", TypeParam::trace_type);
    this->add_trace("FAST");
    this->set_records();
    float* data = nullptr;
    EXPECT_EQ(this->access_.GetDataPtrs("FAST", nullptr, &data, 0), -2);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(this->access_.GetChanNumb(), 0) << "nothing is selected";
    this->access_.SetChan(1);
    EXPECT_EQ(this->access_.GetDataPtrs("FAST", nullptr, &data, 0), 0);
    EXPECT_NE(data, nullptr);
}

TYPED_TEST(values, GetDataPtrs_by_name_is_3_where_the_search_fails)
{
    this->add_trace("FAST.0");
    this->records_.push_back(nullptr);
    this->add_trace("FAST.1");
    this->set_records();
    float value = 7;
    float* data = &value;
    EXPECT_THAT(capture([&] { EXPECT_EQ(this->access_.GetDataPtrs("FAST.1", &value, &data, 0), 3); }).err,
                HasSubstr("ent = NULL\n"));
    EXPECT_EQ(value, 7.0F);
    EXPECT_EQ(data, &value);
}

TYPED_TEST(values, GetDataPtrs_tells_other_kinds_apart)
{
    this->add_trace("FAST");
    this->add_image("IMAGE");
    this->add("TEXT", TROX_BLOCK_EQDATA, {1, 2, 3, 4});
    this->add("SINGLE", TROX_ENV_DICT_BLOCK, {1, 2, 3, 4});
    this->add("EMPTY", TypeParam::trace_type);
    this->add("EMPTY.SLOW", TypeParam::update_type, {}, TROX_EV_UPD);
    this->set_records();
    float value = 0;
    float* data = &value;
    const auto ask = [&](const char* name) {
        this->access_.SetChan(0);
        return this->access_.GetDataPtrs(name, &value, &data, 0);
    };
    EXPECT_EQ(ask("NOT.THERE"), 3);
    EXPECT_EQ(ask("IMAGE"), 3);
    EXPECT_EQ(ask("TEXT"), 4);
    EXPECT_EQ(ask("SINGLE"), 3) << "a single value of a fast channel is a list, or nothing";
    EXPECT_EQ(ask("EMPTY.SLOW"), 2);
    EXPECT_EQ(ask("EMPTY"), 0);
    EXPECT_EQ(data, nullptr);
    for (const auto& [index, answer] : {std::pair{1, 3}, {2, 4}, {3, 3}, {4, -2}}) {
        this->access_.SetChan(index);
        EXPECT_EQ(this->access_.GetDataPtrs(nullptr, &value, &data, 0), answer) << index;
    }
}
