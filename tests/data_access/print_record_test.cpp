// What the accessor prints of an event and of a channel.
#include "typed_records.h"

using namespace trox_test;

template <class T> class print_record : public record_access<T>
{
protected:
    std::string printed(int index)
    {
        return capture([&] { this->access_.PrintProp(index); }).out;
    }
    /// The lines above a channel's members.
    static std::string heads(const std::string& name, int dtype, int kind, std::size_t payload, int members)
    {
        return " channel " + name + " dtype " + std::to_string(dtype) + " error 4096 proptype " + std::to_string(kind) +
               " mpls 7 time 1339666201-125 tmask(hex) 21 status(hex) 40\n Ldata " +
               std::to_string(sizeof(typename T::subhead) + payload) + " Nmemb= " + std::to_string(members) + "\n";
    }
};
TYPED_TEST_SUITE(print_record, all_access, access_names);

TYPED_TEST(print_record, the_event)
{
    EXPECT_EQ(capture([&] { this->access_.PrintEvent(); }).out, "") << "there is none";
    this->add_trace("FAST");
    this->set_records();
    EXPECT_EQ(capture([&] { this->access_.PrintEvent(); }).out, "event 7 time 1339666200 250000 Nsvrb 2\n");
}

TYPED_TEST(print_record, refuses_without_records_and_outside_them)
{
    EXPECT_EQ(capture([&] { this->access_.PrintProp(0); }).err, "trox_daq_getdata::PrintProp: wrong Status= 0\n");
    this->add_trace("FAST");
    this->set_records();
    for (const int outside : {-1, 1}) {
        EXPECT_EQ(capture([&] { this->access_.PrintProp(outside); }).err,
                  "trox_daq_getdata::PrintProp: wrong ich= " + std::to_string(outside) + " Nchan= 1\n");
    }
}

TYPED_TEST(print_record, selects_the_channel)
{
    this->add_trace("FAST.0");
    this->add_trace("FAST.1");
    this->records_.push_back(nullptr);
    this->set_records();
    this->printed(1);
    EXPECT_EQ(this->access_.GetChanNumb(), 1);
    const auto both = capture([&] { this->access_.PrintProp(2); });
    EXPECT_EQ(both.out, "");
    EXPECT_THAT(both.err, ::testing::HasSubstr("ent = NULL"));
}

TYPED_TEST(print_record, members_of_spectra)
{
    const auto payload = spectrum<TypeParam>(4, 1, {1, 2, 3, 4});
    this->add("XY", TROX_BLOCK_BPM, payload);
    this->add("SHORT", TROX_BLOCK_BPM_S, {0});
    this->set_records();
    const std::string axis =
        " start 500 inc 0.25 ndata 1 groups 1 groups_inc " + std::string(TypeParam::is_legacy ? "0" : "1000") + "\n";
    EXPECT_EQ(this->printed(0),
              this->heads("XY", 6, 3, payload.size(), 4) + "X" + axis + "Y" + axis + "SUM" + axis + "QUALITY" + axis);
    EXPECT_EQ(this->printed(1), this->heads("SHORT", 8, 3, 1, 1) + "SUM\n");
}

TYPED_TEST(print_record, updates)
{
    const auto payload = update<TypeParam>("SLOW", 2.5F);
    this->add_update("SLOW");
    this->set_records();
    EXPECT_EQ(this->printed(0),
              this->heads("SLOW", TypeParam::update_type, 2, payload.size(), 1) + "VALUE value= 2.5\n");
}

TYPED_TEST(print_record, entries_of_lists)
{
    const auto payload = name_values(2, {{"GAIN.P", 0.5F}, {std::string(80, 'n'), -1.5F}});
    this->add("LIST", TROX_BLOCK_NAME_VALUE, payload);
    this->set_records();
    EXPECT_EQ(this->printed(0), this->heads("LIST", 22, 2, payload.size(), 1) + "VALUE GAIN.P value= 0.5\nVALUE " +
                                    std::string(80, 'n') + " value= -1.5\n");
}

TYPED_TEST(print_record, text)
{
    const auto payload =
        payload_bytes().add(trox_eqdata_head{DATA_STRING, 0, {1, 2}, 7}).add_text({"locked\0", 7}).get();
    this->add("TEXT", TROX_BLOCK_EQDATA, payload);
    this->set_records();
    EXPECT_EQ(this->printed(0),
              this->heads("TEXT", 23, 5, payload.size(), 1) +
                  (TypeParam::is_legacy ? "VALUE string: locked len= 6\n" : "VALUE string:  len= 0\n"));
}

TYPED_TEST(print_record, images)
{
    const auto payload = image(100 << 16 | 2, 50 << 16 | 1, 3 << 18 | 5 << 4 | 2, 4, {0, 1, 2, 3});
    this->add("IMAGE", TROX_BLOCK_IMAGE, payload, TROX_EV_IMAGE);
    this->set_records();
    EXPECT_EQ(this->printed(0), this->heads("IMAGE", 13, 4, payload.size(), 1) +
                                    "VALUE xstart 100 xinc 3 ystart 50 yinc 5 nx 2 ny 1 len 4\n");
}

TYPED_TEST(print_record, single_values_that_are_not_there_are_0_and_told)
{
    this->add("WORDS", TROX_ENV_DICT_BLOCK, {1, 2, 3, 4});
    this->add("LIST", TROX_BLOCK_NAME_VALUE, name_values(0, {}));
    this->set_records();
    const auto words = capture([&] { this->access_.PrintProp(0); });
    EXPECT_EQ(words.out, this->heads("WORDS", 2, 2, 4, 1) + "VALUE value= 0\n");
    EXPECT_EQ(words.err, "trox_daq_getdata::GetSingle: 1 DType2\n");
    const auto list = capture([&] { this->access_.PrintProp(1); });
    EXPECT_EQ(list.out, this->heads("LIST", 22, 2, 88, 1) + "VALUE value= 0\n");
    EXPECT_EQ(list.err, "trox_daq_getdata::GetSingle: member number is too big 0 max: 0\n");
}

TYPED_TEST(print_record, the_name_of_an_update_is_that_in_its_payload)
{
    const std::string name(sizeof(TypeParam::update::upd_prop), 'u');
    const auto payload = update<TypeParam>(name, 2.5F);
    this->add("CUT", TypeParam::update_type, payload, TROX_EV_UPD);
    this->set_records();
    EXPECT_EQ(this->printed(0), this->heads(name, TypeParam::update_type, 2, payload.size(), 1) + "VALUE value= 2.5\n");
}
