// Channels whose names and nicknames are longer than their fields: cut when they are added, they are still found by the
// text that they were added with.
#include "reader_fixture.h"

namespace
{

template <class T> class long_names : public trox_test::reader_test<T>
{
protected:
    int add(const std::string& name, const trox_chan_prms& prms = {})
    {
        daq_channel_entry channel{name.c_str(), prms};
        return reader.add_channel(&channel);
    }

    static std::string name_of(std::size_t size)
    {
        return "LINAC.TEST/" + std::string(size - 11, 'n');
    }
    static constexpr std::size_t longest = T::longest_name;
    typename T::reader reader;
};
TYPED_TEST_SUITE(long_names, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(long_names, remove_the_channel_that_they_added)
{
    for (const std::size_t size : {this->longest, this->longest + 1, this->longest + 2, std::size_t{400}}) {
        const std::string name = this->name_of(size);
        ASSERT_EQ(this->add("OTHER"), 0);
        ASSERT_EQ(this->add(name), 0);
        EXPECT_EQ(this->add(name), 0) << "there already";
        EXPECT_EQ(this->reader.get_number_of_channels(), 2);
        EXPECT_EQ(this->reader.rem_channel(this->name_of(this->longest - 1).c_str()), -5) << "a shorter one";
        EXPECT_EQ(this->reader.rem_channel(name.c_str()), 0) << size;
        EXPECT_EQ(this->reader.get_number_of_channels(), 1);
        EXPECT_EQ(this->reader.rem_channel("OTHER"), 0);
    }
}

TYPED_TEST(long_names, remove_the_sub_channel_that_they_added)
{
    // Of a name with a sub-channel the last character is no part; that of a long one is cut off anyway.
    for (const std::size_t size : {this->longest + 1, this->longest + 2, std::size_t{400}}) {
        const std::string name = this->name_of(size);
        ASSERT_EQ(this->add(name + ":3"), 0);
        EXPECT_EQ(this->reader.rem_channel((name + ":4").c_str()), -5);
        EXPECT_EQ(this->reader.rem_channel(name.c_str()), -5) << "the whole channel is another one";
        EXPECT_EQ(this->reader.rem_channel((name + ":3").c_str()), 0) << size;
        EXPECT_EQ(this->reader.get_number_of_channels(), 0);
    }
    ASSERT_EQ(this->add(this->name_of(this->longest) + ":3"), 0);
    EXPECT_EQ(this->reader.rem_channel((this->name_of(this->longest) + ":3").c_str()), -5);
}

TYPED_TEST(long_names, find_parameters)
{
    for (const std::size_t size : {this->longest, this->longest + 1, std::size_t{400}}) {
        const std::string name = this->name_of(size);
        const std::string nickname(size, 'k');
        ASSERT_EQ(this->add(name + ";" + nickname, {1, 0, 0, 0, 0, 0, 0}), 0);
        ASSERT_EQ(this->add(name + ":2", {2, 0, 0, 0, 0, 0, 0}), 0);
        ASSERT_EQ(this->add(name + ":31", {31, 0, 0, 0, 0, 0, 0}), 0);
        const auto start_of = [&](const std::string& text) {
            const trox_chan_prms* found = this->reader.get_channel_params(text.c_str());
            return found != nullptr ? found->start : -1;
        };
        EXPECT_EQ(start_of(name), 1) << size;
        EXPECT_EQ(start_of(nickname), 1);
        EXPECT_EQ(start_of(name + ":2"), 2);
        EXPECT_EQ(start_of(name + ":31"), 31);
        EXPECT_EQ(start_of(name + ":4"), -1);
        EXPECT_EQ(start_of("X" + name), -1) << "begins otherwise";
        EXPECT_EQ(start_of(nickname.substr(0, this->longest - 1)), -1);
        this->reader.clean_up();
    }
}

TYPED_TEST(long_names, find_nicknames)
{
    for (const std::size_t size : {this->longest, this->longest + 1, std::size_t{400}}) {
        const std::string name = this->name_of(size);
        ASSERT_EQ(this->add(name + ":2;second"), 0);
        ASSERT_EQ(this->add(name + ":31;other"), 0);
        EXPECT_STREQ(this->reader.get_nickname((name + ":2").c_str()), "second") << size;
        EXPECT_STREQ(this->reader.get_nickname((name + ":31").c_str()), "other");
        EXPECT_STREQ(this->reader.get_nickname(name.c_str()), "second") << "the first of that name";
        EXPECT_EQ(this->reader.get_nickname((name + ":4").c_str()), nullptr);
        EXPECT_EQ(this->reader.get_nickname(("X" + name).c_str()), nullptr);
        this->reader.clean_up();
    }
}

} // namespace
