// The tables of the sample run, loaded, beside what an independent writer says about the files.
#include "channel_types.h"
#include "detail/big_endian.h"

#include <cstddef>

using namespace trox_test;

namespace
{

template <class T> class sample_tables : public ::testing::Test
{
};
TYPED_TEST_SUITE(sample_tables, channel_generations);

/// Calls `check(loader, dump)` for each sample file, loaded with its descriptions.
template <class T, class Check> void for_each_sample(const std::vector<std::string>* list, Check check)
{
    for (const std::string& name : sample_names(T::samples)) {
        SCOPED_TRACE(name);
        typename T::loader loader(0);
        ASSERT_EQ(loader.get_all_tables(sample_directory(T::samples) + name, 1, list), 0);
        check(loader, read_dump(name));
    }
}

} // namespace

TYPED_TEST(sample_tables, have_the_references_and_lengths_of_the_dump)
{
    for_each_sample<TypeParam>(nullptr, [](auto& loader, const auto& dump) {
        EXPECT_EQ(loader.get_file_len(), dump["size"]);
        const auto& references = *loader.get_ref_tbl();
        EXPECT_EQ(references.length, dump["frt"]["length"]);
        EXPECT_EQ(references.cdt_ref, dump["frt"]["cdt"]);
        EXPECT_EQ(references.eit_pos_ref, dump["frt"]["eit"]);
        EXPECT_EQ(references.evhdb_ref, dump["frt"]["evhb"]);
        EXPECT_EQ(references.srvbb_ref, dump["frt"]["srvb"]);
        EXPECT_EQ(loader.get_ecp_table()->maxev, dump["maxev"]);
        const auto& eidt = dump["eidt"];
        for (std::size_t i = 0; i < eidt.size(); ++i) {
            EXPECT_EQ(loader.get_eidt_table()->entries[i].key, eidt[i][0]);
            EXPECT_EQ(loader.get_eidt_table()->entries[i].index, eidt[i][1]);
        }
    });
}

TYPED_TEST(sample_tables, have_the_dictionary_and_descriptions_of_the_dump)
{
    for_each_sample<TypeParam>(nullptr, [](auto& loader, const auto& dump) {
        const auto* entries = loader.get_cdt_table()->entries;
        for (std::size_t i = 0; i < dump["cdt"].size(); ++i) {
            const auto& expected = dump["cdt"][i];
            EXPECT_EQ(entries[i].key, expected["key"]);
            EXPECT_EQ(entries[i].chan_name, expected["name"]);
            EXPECT_EQ(entries[i].ev_mask, expected["ev_mask"]);
            EXPECT_EQ(entries[i].dtype_mask, expected["dtype_mask"]);
            EXPECT_EQ(entries[i].count, expected["count"]);
        }
        const auto& descriptions = *loader.get_descr_list();
        ASSERT_EQ(descriptions.size(), dump["descriptions"].size());
        for (std::size_t i = 0; i < descriptions.size(); ++i) {
            const auto& expected = dump["descriptions"][i];
            EXPECT_EQ(descriptions[i]->daq_name, expected["daq_name"]);
            EXPECT_EQ(descriptions[i]->prop_desc, expected["desc"]);
            EXPECT_EQ(descriptions[i]->bits.size(), expected["bits"].size());
            EXPECT_EQ(descriptions[i]->dims.size(), expected["dims"].size());
        }
    });
}

TYPED_TEST(sample_tables, hold_the_positions_of_the_dump_in_the_columns_asked_for)
{
    const std::vector<std::string> list{"LINAC.CTRL/FB/ORBIT/SETTINGS", "LINAC.DIAG/TOROID/3.UNDU/CHARGE"};
    for_each_sample<TypeParam>(&list, [&](auto& loader, const auto& dump) {
        const auto rows = static_cast<std::size_t>(loader.get_ecp_table()->maxev);
        for (const auto& channel : dump["channels"]) {
            const int column = loader.get_ecp_tab_entry_index(channel["name"].template get<std::string>().c_str());
            for (std::size_t row = 0; column >= 0 && row < channel["records"].size(); ++row) {
                const auto& entry = loader.get_ecp_table()->entries[static_cast<std::size_t>(column) * rows + row];
                const auto& position = channel["records"][row]["pos"];
                EXPECT_EQ(entry.evhd, position[0]);
                EXPECT_EQ(entry.sbhd, position[1]);
                EXPECT_EQ(entry.chhd, position[2]);
                EXPECT_EQ(entry.data, position[3]);
            }
        }
    });
}

TYPED_TEST(sample_tables, hold_every_basket_head_where_the_dump_says)
{
    using word = typename TypeParam::word;
    for_each_sample<TypeParam>(nullptr, [](auto& loader, const auto& dump) {
        const auto* headers = reinterpret_cast<const unsigned char*>(loader.get_evh_basket());
        EXPECT_EQ(trox_detail::load_big_endian<word>(headers), 0xEBAEBAF3);
        EXPECT_EQ(trox_detail::load_big_endian<word>(headers + sizeof(word)), dump["evhb"][1]);
        const auto* blocks = reinterpret_cast<const unsigned char*>(loader.get_sbh_basket());
        EXPECT_EQ(trox_detail::load_big_endian<word>(blocks), 0xBBABBAF3);
        EXPECT_EQ(trox_detail::load_big_endian<word>(blocks + sizeof(word)), dump["srvb"][1]);
    });
}
