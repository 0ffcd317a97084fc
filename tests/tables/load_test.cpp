// Loading the tables of a file: both forms of the call, with and without a list of channels.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"

#include <algorithm>

using namespace trox_test;

namespace
{

template <class T> class table_loader : public ::testing::Test
{
protected:
    scenario_file<T> scenario_;
    typename T::loader loader_{0};
};
TYPED_TEST_SUITE(table_loader, channel_generations);

/// A list of names as the second form of the call takes it.
struct c_names {
    explicit c_names(std::vector<std::string> names) : texts(std::move(names))
    {
        for (std::string& text : texts) {
            pointers.push_back(text.data());
        }
    }
    std::vector<std::string> texts;
    std::vector<char*> pointers;
};

} // namespace

TYPED_TEST(table_loader, is_empty_after_construction)
{
    const auto& loader = this->loader_;
    EXPECT_EQ(loader.get_file_descr(), -1);
    EXPECT_EQ(loader.get_file_len(), 0);
    EXPECT_STREQ(loader.get_file_name(), "");
    EXPECT_EQ(loader.get_evh_basket(), nullptr);
    EXPECT_EQ(loader.get_sbh_basket(), nullptr);
    EXPECT_EQ(loader.get_evh_base(), nullptr);
    EXPECT_EQ(loader.get_sbh_base(), nullptr);
    EXPECT_EQ(loader.get_evh_offset(), 0U);
    EXPECT_EQ(loader.get_sbh_offset(), 0U);
    EXPECT_EQ(loader.get_ref_tbl(), nullptr);
    EXPECT_EQ(loader.get_eit_table(), nullptr);
    EXPECT_EQ(loader.get_cdt_table(), nullptr);
    EXPECT_EQ(loader.get_ecp_table(), nullptr);
    EXPECT_EQ(loader.get_eidt_table(), nullptr);
    EXPECT_EQ(loader.get_xcd_table(), nullptr);
    EXPECT_EQ(loader.get_client_counter(), 0);
    EXPECT_TRUE(loader.is_ecp_tab_full());
    EXPECT_TRUE(this->loader_.get_descr_list()->empty());
    EXPECT_NE(loader.status(), 0);
}

TYPED_TEST(table_loader, loads_all_tables_of_a_file)
{
    auto& loader = this->loader_;
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    EXPECT_EQ(loader.status(), 0);
    EXPECT_EQ(loader.get_file_name(), this->scenario_.path());
    EXPECT_EQ(static_cast<std::uint64_t>(loader.get_file_len()), this->scenario_.file().map().file_size);
    EXPECT_GE(loader.get_file_descr(), 0);
    const auto& map = this->scenario_.file().map();
    EXPECT_EQ(loader.get_ref_tbl()->cdt_ref, map.channel_dictionary.position);
    EXPECT_EQ(loader.get_ref_tbl()->ecp_ref, map.pointers.position);
    EXPECT_EQ(loader.get_ref_tbl()->evhdb_ref, map.event_headers.position);
    EXPECT_EQ(loader.get_eit_table()->nevent_types, 1);
    EXPECT_STREQ(loader.get_cdt_table()->entries[0].chan_name, "TEST/PLAIN");
    EXPECT_EQ(loader.get_ecp_table()->maxev, scenario_events);
    EXPECT_NE(loader.get_eidt_table(), nullptr);
    EXPECT_NE(loader.get_xcd_table(), nullptr);
}

TYPED_TEST(table_loader, answers_1_to_a_null_name_and_leaves_what_is_loaded)
{
    auto& loader = this->loader_;
    const std::vector<std::string> list{"TEST/ZLIB"};
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, &list), 0);
    loader.inc_client_counter();
    const int descriptor = loader.get_file_descr();
    EXPECT_EQ(loader.get_all_tables(static_cast<const char*>(nullptr), 1, nullptr), 1);
    EXPECT_EQ(loader.get_file_descr(), descriptor);
    EXPECT_EQ(loader.get_client_counter(), 1);
    EXPECT_EQ(loader.get_ecp_tab_entry_index("TEST/ZLIB"), 0);
    EXPECT_EQ(loader.get_file_name(), this->scenario_.path());
}

TYPED_TEST(table_loader, answers_1_to_an_empty_name_after_it_has_been_emptied)
{
    auto& loader = this->loader_;
    const std::vector<std::string> list{"TEST/ZLIB"};
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, &list), 0);
    EXPECT_EQ(loader.get_all_tables(std::string(), 0, &list), 1);
    EXPECT_EQ(loader.get_file_descr(), -1);
    EXPECT_STREQ(loader.get_file_name(), "");
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, &list), 0);
    EXPECT_EQ(loader.get_all_tables("", 0, nullptr), 1);
    EXPECT_EQ(loader.get_cdt_table(), nullptr);
}

TYPED_TEST(table_loader, without_a_list_holds_the_whole_pointers_table_and_keeps_the_baskets_mapped)
{
    auto& loader = this->loader_;
    const std::vector<std::string> none;
    for (const std::vector<std::string>* list : {static_cast<const std::vector<std::string>*>(nullptr), &none}) {
        ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, list), 0);
        EXPECT_TRUE(loader.is_ecp_tab_full());
        EXPECT_FALSE(loader.are_baskets_copied());
        EXPECT_EQ(loader.get_ecp_tab_entry_index("TEST/PLAIN"), -1);
        EXPECT_EQ(loader.get_ecp_tab_entry_index(""), -1);
        EXPECT_EQ(loader.get_ecp_tab_entry_index(nullptr), -1);
    }
}

TYPED_TEST(table_loader, with_a_list_holds_the_listed_columns_in_list_order)
{
    auto& loader = this->loader_;
    const std::vector<std::string> list{"TEST/MEMBERS", "ABSENT", "TEST/PLAIN", ""};
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, &list), 0);
    EXPECT_FALSE(loader.is_ecp_tab_full());
    EXPECT_EQ(loader.get_ecp_tab_entry_index("TEST/MEMBERS"), 0);
    EXPECT_EQ(loader.get_ecp_tab_entry_index("ABSENT"), 1);
    EXPECT_EQ(loader.get_ecp_tab_entry_index("TEST/PLAIN"), 2);
    EXPECT_EQ(loader.get_ecp_tab_entry_index(""), 3) << "an empty name matches an empty entry";
    EXPECT_EQ(loader.get_ecp_tab_entry_index("TEST/ZLIB"), -1);
    EXPECT_EQ(loader.get_ecp_tab_entry_index("test/members"), -1) << "letters are told apart by case";
    EXPECT_EQ(loader.get_ecp_tab_entry_index("TEST/MEMBER"), -1);
    EXPECT_EQ(loader.get_ecp_tab_entry_index(nullptr), -1);
    const auto& file = this->scenario_.file();
    const auto* entries = loader.get_ecp_table()->entries;
    const auto first = [&](std::size_t column) { return static_cast<std::uint64_t>(entries[column * 10].chhd); };
    EXPECT_EQ(first(0), file.row(members_channel, 0).chhd);
    EXPECT_EQ(first(1), 0U) << "a channel that the file has not got";
    EXPECT_EQ(first(2), file.row(plain_channel, 0).chhd);
}

TYPED_TEST(table_loader, takes_names_as_plain_text_too)
{
    auto& loader = this->loader_;
    c_names names({"TEST/ZLIB", "TEST/PLAIN"});
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path().c_str(), 0, &names.pointers), 0);
    EXPECT_EQ(loader.get_ecp_tab_entry_index("TEST/PLAIN"), 1);
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path().c_str(), 0, nullptr), 0);
    EXPECT_TRUE(loader.is_ecp_tab_full());
}

TYPED_TEST(table_loader, decodes_descriptions_only_when_asked)
{
    scenario_options<TypeParam> options;
    options.descriptions_xml = "<channels><channel daq_name=\"TEST/PLAIN\" units=\"nC\">"
                               "<bit n=\"3\" name=\"READY\" desc=\"is ready\"/></channel>"
                               "<channel daq_name=\"TEST/ZLIB\"/></channels>";
    const scenario_file<TypeParam> described(options);
    auto& loader = this->loader_;
    ASSERT_EQ(loader.get_all_tables(described.path(), 1, nullptr), 0);
    ASSERT_EQ(loader.get_descr_list()->size(), 2U);
    const chan_descr_2010& first = *loader.get_descr_list()->front();
    EXPECT_STREQ(first.daq_name, "TEST/PLAIN");
    EXPECT_STREQ(first.units, "nC");
    ASSERT_EQ(first.nbits, 1);
    EXPECT_EQ(first.bits[0]->bit, 3);
    ASSERT_EQ(loader.get_all_tables(described.path(), 0, nullptr), 0);
    EXPECT_TRUE(loader.get_descr_list()->empty());
}

TYPED_TEST(table_loader, can_be_used_for_one_file_after_another)
{
    scenario_options<TypeParam> options;
    options.events = 3;
    const scenario_file<TypeParam> other(options);
    auto& loader = this->loader_;
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 1, nullptr), 0);
        EXPECT_EQ(loader.get_ecp_table()->maxev, scenario_events);
        const std::vector<std::string> list{"TEST/UPDATE"};
        ASSERT_EQ(loader.get_all_tables(other.path(), 0, &list), 0);
        EXPECT_EQ(loader.get_ecp_table()->maxev, 3);
        EXPECT_EQ(loader.get_file_name(), other.path());
    }
}

TYPED_TEST(table_loader, takes_its_own_file_name_as_an_argument)
{
    auto& loader = this->loader_;
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    ASSERT_EQ(loader.get_all_tables(loader.get_file_name(), 0, nullptr), 0);
    EXPECT_EQ(loader.get_file_name(), this->scenario_.path());
}

TYPED_TEST(table_loader, closes_the_file_before_it_loads_the_next)
{
    auto& loader = this->loader_;
    ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    const int descriptor = loader.get_file_descr();
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
        EXPECT_EQ(loader.get_file_descr(), descriptor);
    }
}

TYPED_TEST(table_loader, counts_its_clients_until_it_is_cleaned)
{
    auto& loader = this->loader_;
    loader.inc_client_counter();
    loader.inc_client_counter();
    EXPECT_EQ(loader.get_client_counter(), 2);
    loader.clean_up();
    EXPECT_EQ(loader.get_client_counter(), 0);
}

TYPED_TEST(table_loader, tells_the_time_taken_and_what_it_mapped_when_debugging)
{
    auto& loader = this->loader_;
    loader.set_debug(-1);
    EXPECT_EQ(loader.get_debug(), -1);
    const std::string printed = capture([&] { loader.get_all_tables(this->scenario_.path(), 0, nullptr); }).out;
    const long length = static_cast<long>(this->scenario_.file().map().file_size);
    const long page = (length - static_cast<long>(TypeParam::trailer_size)) / 4096 * 4096;
    char mapped[128];
    std::snprintf(mapped, sizeof mapped, "Length: %ld offset: %ld  fd: %x\n", length - page, page,
                  static_cast<unsigned>(loader.get_file_descr()));
    ASSERT_EQ(printed.rfind(mapped, 0), 0U) << printed;
    EXPECT_THAT(printed.substr(std::string(mapped).size()),
                ::testing::MatchesRegex(TypeParam::tables_timing(this->scenario_.path())));
}

TYPED_TEST(table_loader, gives_no_timing_at_a_positive_level_and_nothing_at_0)
{
    auto& loader = this->loader_;
    loader.set_debug(1);
    const std::string printed = capture([&] { loader.get_all_tables(this->scenario_.path(), 0, nullptr); }).out;
    EXPECT_EQ(printed.find("GET ALL TABLES"), std::string::npos);
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1);
    loader.set_debug(0);
    EXPECT_EQ(capture([&] { loader.get_all_tables(this->scenario_.path(), 0, nullptr); }).out, "");
}
