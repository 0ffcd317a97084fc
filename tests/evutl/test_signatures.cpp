// The parameter types of the functions: they are part of the names that a linker looks for, and another
// library of this interface has these and no others.
#include "event_util.h"
#include "trox_xml.h"

#include <cstddef>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>
#include <vector>

namespace
{

/// Compiles only where the argument names a function of exactly this type; of overloaded ones it picks that.
template <class Function> constexpr bool has_type(Function*)
{
    return std::is_function_v<Function>;
}

using names = const std::vector<std::string>&;
using descriptions = std::vector<chan_descr_2010*>*;
using catalogue = std::vector<trox_root_xml_files*>*;
using text = const char*;

/// The table readers of one generation.
template <class Size, class References> struct readers {
    template <class Table> using whole = int(Size, References*, int, Table**);
    template <class Dictionary, class Table> using by_list = int(Size, References*, int, names, Dictionary*, Table**);
    using references = int(unsigned char*, Size, Size, int, References**);
};

using legacy = readers<unsigned long, trox_file_reference_table>;
static_assert(has_type<legacy::references>(&get_trox_file_reference_table_m));
static_assert(has_type<legacy::whole<trox_event_index_table>>(&trox_get_event_index_table_m));
static_assert(has_type<legacy::whole<trox_chan_dictionary_table>>(&trox_get_channel_dictionary_table_m));
static_assert(has_type<legacy::whole<trox_event_chan_pointers_table>>(&trox_get_event_chan_pointers_table_m));
static_assert(has_type<legacy::whole<trox_env_dictionary_table>>(&trox_get_env_index_dictionary_table_m));
static_assert(has_type<legacy::whole<trox_xml_chan_descr_header>>(&trox_get_chan_descr_table_m));
static_assert(has_type<legacy::by_list<trox_chan_dictionary_table, trox_event_chan_pointers_table>>(
    &trox_get_event_chan_pointers_table_by_list_m));

using g2010 = readers<unsigned long, trox_file_reference_table_2010>;
static_assert(has_type<g2010::references>(&get_trox_file_reference_table_m_2010));
static_assert(has_type<g2010::whole<trox_event_index_table_2010>>(&trox_get_event_index_table_m_2010));
static_assert(has_type<g2010::whole<trox_chan_dictionary_table_2010>>(&trox_get_channel_dictionary_table_m_2010));
static_assert(has_type<g2010::whole<trox_event_chan_pointers_table>>(&trox_get_event_chan_pointers_table_m_2010));
static_assert(has_type<g2010::whole<trox_env_dictionary_table_2010>>(&trox_get_env_index_dictionary_table_m_2010));
static_assert(has_type<g2010::whole<trox_xml_chan_descr_header_2010>>(&trox_get_chan_descr_table_m_2010));
static_assert(has_type<g2010::by_list<trox_chan_dictionary_table_2010, trox_event_chan_pointers_table>>(
    &trox_get_event_chan_pointers_table_by_list_m_2010));

using g2024 = readers<std::size_t, trox_file_reference_table_2024>;
static_assert(has_type<g2024::references>(&get_trox_file_reference_table_m_2024));
static_assert(has_type<g2024::whole<trox_event_index_table_2024>>(&trox_get_event_index_table_m_2024));
static_assert(has_type<g2024::whole<trox_chan_dictionary_table_2024>>(&trox_get_channel_dictionary_table_m_2024));
static_assert(has_type<g2024::whole<trox_event_chan_pointers_table_2024>>(&trox_get_event_chan_pointers_table_m_2024));
static_assert(has_type<g2024::whole<trox_env_dictionary_table_2024>>(&trox_get_env_index_dictionary_table_m_2024));
static_assert(has_type<g2024::whole<trox_xml_chan_descr_header_2024>>(&trox_get_chan_descr_table_m_2024));
static_assert(has_type<g2024::by_list<trox_chan_dictionary_table_2024, trox_event_chan_pointers_table_2024>>(
    &trox_get_event_chan_pointers_table_by_list_m_2024));

static_assert(has_type<int(trox_chan_dictionary_table*, text, trox_chan_dictionary_entry**)>( //
    &trox_find_channel_by_name));
static_assert(has_type<int(trox_chan_dictionary_table_2010*, text, trox_chan_dictionary_entry_2010**)>(
    &trox_find_channel_by_name_2010));
static_assert(has_type<int(trox_chan_dictionary_table_2024*, text, trox_chan_dictionary_entry_2024**)>(
    &trox_find_channel_by_name_2024));
static_assert(has_type<int(trox_xml_chan_descr_header*, descriptions)>(&trox_load_chan_descr));
static_assert(has_type<int(trox_xml_chan_descr_header_2010*, descriptions)>(&trox_load_chan_descr));
static_assert(has_type<int(trox_xml_chan_descr_header_2024*, descriptions)>(&trox_load_chan_descr));
static_assert(has_type<long(long, long, long*)>(&trox_get_page_offset));

static_assert(has_type<void(int*, int*, int)>(&trox_swap4));
static_assert(has_type<int(void*, void*, int, int)>(&trox_convert_data));
static_assert(has_type<void(bool)>(&set_data_format_2010));
static_assert(has_type<void(bool)>(&set_data_format_2024));

static_assert(has_type<bool(int)>(&is_slow_event));
static_assert(has_type<int(int)>(&get_event_struct_type));
static_assert(has_type<bool(time_stamp*, time_stamp*)>(&trox_time_stamp_eq));
static_assert(has_type<bool(time_stamp*, time_stamp*, double, int*, double*)>(&trox_time_stamp_eq));
static_assert(has_type<unsigned long(time_stamp*)>(&trox_get_event_id));

using block_legacy = trox_serv_block_subhead;
using block_2010 = trox_serv_block_subhead_2010;
using statistics = trox_spect_statistics_2010;
static_assert(has_type<int(int, const block_legacy*)>(&get_channel_number));
static_assert(has_type<int(int, const block_2010*)>(&get_channel_number));
static_assert(has_type<int(int, std::nullptr_t)>(&get_channel_number));
static_assert(has_type<text(int, int)>(&get_chan_name));
static_assert(has_type<float*(const block_legacy*, int)>(&get_pointer_to_data_2009));
static_assert(has_type<float*(const block_2010*, int)>(&get_pointer_to_data_2010));
static_assert(has_type<int(const block_legacy*, float*, float*, void**, int*, int)>( //
    &get_spect_params_for_data_type_2009));
static_assert(has_type<int(const block_2010*, float*, float*, void**, int*, int*, float*, statistics**, int)>(
    &get_spect_params_for_data_type_2010));
static_assert(has_type<int(const block_2010*)>(&get_spect_code_description_2010));
static_assert(has_type<int(block_legacy*, int, const trox_chan_prms*, int*, block_legacy**)>(&device_to_one_channel));
static_assert(has_type<int(block_2010*, int, const trox_chan_prms*, int*, block_2010**)>(&device_to_one_channel_2010));

static_assert(has_type<int(text, time_stamp*)>(&get_time_from_file_name));
static_assert(has_type<void(std::vector<std::string>&)>(&sort_files));

// The request library.
static_assert(has_type<int(const std::vector<int>&, catalogue, std::string*, std::string*, text, int)>( //
    &get_files_for_runs));
static_assert(has_type<int(long, long, catalogue, std::string*, std::string*, text, int)>(&get_files_for_period));
static_assert(has_type<int(int, long*, long*, std::string*, text)>(&get_time_for_run));
static_assert(has_type<bool(text, text, char*, int*, void*)>(&get_pnfs_dir));

/// A function as the linker knows it, spelt by hand after the rules of the platform's binary interface.
class symbol : public ::testing::TestWithParam<const char*>
{
};

TEST_P(symbol, is_in_the_loaded_libraries)
{
    EXPECT_NE(dlsym(RTLD_DEFAULT, GetParam()), nullptr) << dlerror();
}

INSTANTIATE_TEST_SUITE_P(
    event_utility, symbol,
    ::testing::Values(
        "_Z25trox_find_channel_by_nameP26trox_chan_dictionary_tablePKcPP26trox_chan_dictionary_entry",
        "_Z30trox_find_channel_by_name_2010P31trox_chan_dictionary_table_2010PKcPP31trox_chan_dictionary_entry_2010",
        "_Z30trox_find_channel_by_name_2024P31trox_chan_dictionary_table_2024PKcPP31trox_chan_dictionary_entry_2024",
        "_Z20trox_load_chan_descrP26trox_xml_chan_descr_headerPSt6vectorIP15chan_descr_2010SaIS3_EE",
        "_Z20trox_load_chan_descrP31trox_xml_chan_descr_header_2010PSt6vectorIP15chan_descr_2010SaIS3_EE",
        "_Z20trox_load_chan_descrP31trox_xml_chan_descr_header_2024PSt6vectorIP15chan_descr_2010SaIS3_EE",
        "_Z10trox_swap4PiS_i", "_Z17trox_convert_dataPvS_ii", "_Z18trox_time_stamp_eqP10time_stampS0_",
        "_Z18trox_time_stamp_eqP10time_stampS0_dPiPd", "_Z17trox_get_event_idP10time_stamp",
        "_Z21device_to_one_channelP23trox_serv_block_subheadiPK14trox_chan_prmsPiPS0_",
        "_Z26device_to_one_channel_2010P28trox_serv_block_subhead_2010iPK14trox_chan_prmsPiPS0_",
        "_Z20trox_get_page_offsetllPl", "_Z13is_slow_eventi", "_Z21get_event_struct_typei"));

INSTANTIATE_TEST_SUITE_P(
    request, symbol,
    ::testing::Values("_Z16get_time_for_runiPlS_PNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPKc",
                      "_Z12get_pnfs_dirPKcS0_PcPiPv"));

TEST(read_only_overloads, hand_const_arguments_on)
{
    const time_stamp early{100, 0};
    const time_stamp late{100, 5};
    time_stamp changeable{100, 0};
    EXPECT_TRUE(trox_time_stamp_eq(&early, &early));
    EXPECT_TRUE(trox_time_stamp_eq(&changeable, &early));
    EXPECT_FALSE(trox_time_stamp_eq(&early, &late));
    int sign = 0;
    double distance = 0;
    EXPECT_FALSE(trox_time_stamp_eq(&early, &late, 4, &sign, &distance));
    EXPECT_EQ(sign, -1);
    EXPECT_EQ(distance, 5);

    const unsigned char stored[] = {0xFF, 0x11, 0x22, 0x33, 0x44};
    unsigned char words[] = {0xFF, 0, 0, 0, 0};
    trox_swap4(stored + 1, words + 1, 1);
    EXPECT_EQ(std::vector<int>(words, words + 5), (std::vector<int>{0xFF, 0x44, 0x33, 0x22, 0x11}));
    EXPECT_EQ(trox_convert_data(words + 1, words + 1, TROX_BLOCK_1CHAN_2010, 4), 0);
    EXPECT_EQ(std::vector<int>(words, words + 5), (std::vector<int>{0xFF, 0x11, 0x22, 0x33, 0x44}));
}

TEST(read_only_overloads, leave_null_to_the_functions_of_the_library)
{
    time_stamp* const no_time = nullptr;
    unsigned char word[4] = {};
    trox_chan_dictionary_entry_2010* entry = nullptr;
    trox_serv_block_subhead_2010* cut = nullptr;
    EXPECT_EQ(trox_get_event_id(nullptr), 0U);
    EXPECT_FALSE(trox_time_stamp_eq(nullptr, nullptr));
    EXPECT_FALSE(trox_time_stamp_eq(nullptr, no_time, 1, nullptr, nullptr));
    EXPECT_NE(trox_convert_data(nullptr, word, TROX_BLOCK_1CHAN_2010, 4), 0);
    EXPECT_LT(trox_find_channel_by_name_2010(nullptr, "A", &entry), 0);
    EXPECT_NE(device_to_one_channel_2010(nullptr, 0, nullptr, nullptr, &cut), 0);
    trox_swap4(nullptr, nullptr, 1);
}

} // namespace
