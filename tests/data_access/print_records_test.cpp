// What the property front end prints of records of every kind and class.
#include "front_end_fixture.h"
#include "typed_records.h"

using namespace trox_test;
namespace tw = trox::writer;

/// A front end that has read an event, in place of whose records others are printed.
template <class T> class prints_records : public front_end
{
protected:
    prints_records()
    {
        const auto generation = T::is_legacy ? tw::generation::legacy
                                : T::is_2024 ? tw::generation::v2024
                                             : tw::generation::v2010;
        want("A/CHANNEL");
        const std::string path = list(small_file("linac_main_run1_file1_20120614T093000.raw", generation) + "\n");
        capture([&] {
            EXPECT_EQ(T::is_2024 ? init_2024(path) : init(path), 0);
            EXPECT_EQ(data_.GetData(), 0);
        });
        records().clear();
    }
    std::vector<typename T::record*>& records()
    {
        if constexpr (T::is_2024) {
            return *data_.GetRes_2024();
        } else {
            return *data_.GetRes();
        }
    }
    void add(std::string_view name, int dtype, const std::vector<unsigned char>& payload, int event_type)
    {
        typed_.push_back(std::make_unique<typed_record<T>>(name, dtype, payload, event_type));
        records().push_back(&typed_.back()->record);
    }
    /// A control-system value that announces `length` elements.
    void add_value(std::string_view name, int type, int length, const std::vector<unsigned char>& elements)
    {
        auto payload = payload_bytes().add(trox_eqdata_head{type, 0, {1, 2}, length}).get();
        payload.insert(payload.end(), elements.begin(), elements.end());
        add(name, TROX_BLOCK_EQDATA, payload, TROX_EV_NORMAL);
    }
    static std::string heads(const std::string& label, const std::string& name, int dtype, std::size_t payload)
    {
        return " " + label + ": " + name + " dtype " + std::to_string(dtype) + " error 4096 length " +
               std::to_string(sizeof(typename T::subhead) + payload);
    }
    std::string fast()
    {
        return capture([&] { this->data_.PrintFast(); }).out;
    }
    std::string slow()
    {
        return capture([&] { this->data_.PrintSlow(); }).out;
    }

    std::vector<std::unique_ptr<typed_record<T>>> typed_;
};
TYPED_TEST_SUITE(prints_records, all_access, access_names);

TYPED_TEST(prints_records, control_system_values_with_their_elements)
{
    this->add_value("INTS", DATA_A_INT, 2, payload_bytes().add(77).add(-5).get());
    this->add_value("FLOATS", DATA_A_FLOAT, 2, payload_bytes().add(0.5F).add(-1.5F).get());
    this->add_value("INT", DATA_INT, 1, payload_bytes().add(4711).get());
    this->add_value("FLOAT", DATA_FLOAT, 1, payload_bytes().add(2.5F).get());
    this->add_value("TEXT", DATA_STRING, 6, payload_bytes().add_text("locked").get()); // no closing NUL
    const std::string none = " start 0 inc 1 ndata 0 arr\n";
    const std::string two = " start 0 inc 1 ndata 2 arr ";
    const std::string one = " start 0 inc 1 ndata 1 arr ";
    EXPECT_EQ(this->fast(), this->heads("fast", "INTS", 23, 28) + two + "77 -5\n" +
                                this->heads("fast", "FLOATS", 23, 28) + two + "0.5 -1.5\n" +
                                this->heads("fast", "INT", 23, 24) + one + "4711\n" +
                                this->heads("fast", "FLOAT", 23, 24) + one + "2.5\n" +
                                this->heads("fast", "TEXT", 23, 26) + " start 0 inc 1 ndata 6 arr locked\n");
    this->records().clear();
    this->add_value("ODD", DATA_SPECTRUM, 1, payload_bytes().add(77).get());
    this->add_value("LONG", DATA_A_INT, 3, payload_bytes().add(77).add(-5).get());
    this->add_value("NEGATIVE", DATA_STRING, -1, {});
    this->add("SHORT", TROX_BLOCK_EQDATA, std::vector<unsigned char>(19), TROX_EV_NORMAL);
    this->add("EMPTY", TROX_BLOCK_EQDATA, {}, TROX_EV_NORMAL);
    EXPECT_EQ(this->fast(), this->heads("fast", "ODD", 23, 24) + none + this->heads("fast", "LONG", 23, 28) + none +
                                this->heads("fast", "NEGATIVE", 23, 20) + none + this->heads("fast", "SHORT", 23, 19) +
                                none + this->heads("fast", "EMPTY", 23, 0) + none)
        << "elements that are not there, or of which nothing is known";
}

TYPED_TEST(prints_records, fast_channels_of_single_values)
{
    const auto payload = update<TypeParam>("FULL.NAME", 2.5F);
    this->add("CUT", TypeParam::update_type, payload, TROX_EV_NORMAL);
    this->add("WORDS", TROX_ENV_DICT_BLOCK, {1, 2, 3, 4}, TROX_EV_NORMAL);
    EXPECT_EQ(this->fast(), this->heads("fast", "FULL.NAME", TypeParam::update_type, payload.size()) +
                                " start 0 inc 1 ndata 1 arr 2.5\n" + this->heads("fast", "WORDS", 2, 4) +
                                " start 0 inc 1 ndata 0 arr\n");
}

TYPED_TEST(prints_records, fast_channels_whose_list_or_image_is_not_there)
{
    this->add("LIST", TROX_BLOCK_NAME_VALUE, name_values(3, {{"A", 1.0F}}), TROX_EV_NORMAL);
    this->add("IMAGE", TROX_BLOCK_IMAGE, {1, 2, 3}, TROX_EV_IMAGE);
    this->add("WHOLE.LIST", TROX_BLOCK_NAME_VALUE, name_values(1, {{"A", 1.0F}}), TROX_EV_NORMAL);
    this->add("WHOLE.IMAGE", TROX_BLOCK_IMAGE, image(1, 1, 1, 1, {5}), TROX_EV_IMAGE);
    EXPECT_EQ(this->fast(), this->heads("fast", "LIST", 22, 88 + 84) + " start 0 inc 1 ndata 0 arr\n" +
                                this->heads("fast", "IMAGE", 13, 3) + " start 0 inc 1 ndata 0 arr\n")
        << "the others are printed by PrintNameVal and PrintImage";
}

TYPED_TEST(prints_records, slow_channels_that_are_no_updates)
{
    const auto samples = spectrum<TypeParam>(1, 1, {1.5F});
    this->add("TRACE", TypeParam::trace_type, samples, TROX_EV_UPD);
    this->add("WORDS", TROX_ENV_DICT_BLOCK, payload_bytes().add_text(std::string(300, 'w')).get(), TROX_EV_ENV);
    this->add("SHORT", TypeParam::update_type, {1, 2, 3, 4}, TROX_EV_UPD);
    this->add("LIST", TROX_BLOCK_NAME_VALUE, name_values(1, {{"A", 1.0F}}), TROX_EV_UPD);
    EXPECT_EQ(this->slow(), this->heads("slow", "TRACE", TypeParam::trace_type, samples.size()) + "\n" +
                                this->heads("slow", "WORDS", 2, 300) + "\n" +
                                this->heads("slow", "SHORT", TypeParam::update_type, 4) + "\n");
    EXPECT_EQ(this->fast(), "");
    EXPECT_NE(capture([&] { this->data_.PrintNameVal(); }).out.find(" NameValue: LIST "), std::string::npos);
}

TYPED_TEST(prints_records, updates_under_the_name_in_their_payload)
{
    const std::string name(sizeof(TypeParam::update::upd_prop), 'u'); // fills its field
    this->add("CUT", TypeParam::update_type, update<TypeParam>(name, 2.5F), TROX_EV_UPD);
    EXPECT_EQ(this->slow(), " slow: " + name + " dtype " + std::to_string(TypeParam::update_type) +
                                " stat 4 time 1339666199 - 1339666200 value 2.5\n");
}

TYPED_TEST(prints_records, every_record_once)
{
    this->add("FAST", TypeParam::trace_type, spectrum<TypeParam>(1, 1, {1.5F}), TROX_EV_NORMAL);
    this->add("VALUE", TROX_BLOCK_EQDATA, {1, 2, 3, 4}, TROX_EV_NORMAL);
    this->add("WORDS", TROX_ENV_DICT_BLOCK, {1, 2, 3, 4}, TROX_EV_NORMAL);
    this->add("LIST", TROX_BLOCK_NAME_VALUE, name_values(1, {{"A", 1.0F}}), TROX_EV_NORMAL);
    this->add("SLOW.LIST", TROX_BLOCK_NAME_VALUE, name_values(1, {{"A", 1.0F}}), TROX_EV_UPD);
    this->add("SLOW", TypeParam::update_type, update<TypeParam>("SLOW", 2.5F), TROX_EV_UPD);
    this->add("SLOW.WORDS", TROX_ENV_DICT_BLOCK, {1, 2, 3, 4}, TROX_EV_UPD);
    this->add("IMAGE", TROX_BLOCK_IMAGE, image(1, 1, 1, 1, {5}), TROX_EV_IMAGE);
    this->add("SLOW.IMAGE", TROX_BLOCK_IMAGE, image(1, 1, 1, 1, {5}), TROX_EV_UPD);
    const std::string all = capture([&] { this->data_.PrintAll(); }).out;
    for (const auto& record : this->typed_) {
        const std::string name = std::string(": ") + record->head().chname + " ";
        const std::size_t at = all.find(name);
        ASSERT_NE(at, std::string::npos) << name;
        EXPECT_EQ(all.find(name, at + 1), std::string::npos) << name;
    }
}
