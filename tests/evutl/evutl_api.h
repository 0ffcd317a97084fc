// The library's table functions by generation, so that one test body runs over all three.
#ifndef TROX_TEST_EVUTL_API_H
#define TROX_TEST_EVUTL_API_H

#include "event_util.h"
#include "sample_files.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace trox_test
{

struct free_block {
    void operator()(void* block) const
    {
        std::free(block);
    }
};
template <class Record> using table_ptr = std::unique_ptr<Record, free_block>;

struct api_legacy {
    static constexpr auto generation = sample_generation::legacy;
    static constexpr const char* name = "legacy";
    using word = std::uint32_t;
    using reference_table = trox_file_reference_table;
    using event_index_table = trox_event_index_table;
    using event_index_head = trox_event_index_entry_head;
    using event_info = trox_event_info_entry;
    using dictionary_table = trox_chan_dictionary_table;
    using dictionary_entry = trox_chan_dictionary_entry;
    using pointers_table = trox_event_chan_pointers_table;
    using pointers_entry = trox_event_chan_ptr_entry;
    using environment_table = trox_env_dictionary_table;
    using description_table = trox_xml_chan_descr_header;
    using subhead = trox_serv_block_subhead;
    static constexpr word reference_pattern = 0xFAEFAEF1;
    static constexpr word trailer_pattern = 0;
    static constexpr std::size_t trailer_size = 4;
    static constexpr auto read_references = &get_trox_file_reference_table_m;
    static constexpr auto read_event_index = &trox_get_event_index_table_m;
    static constexpr auto read_dictionary = &trox_get_channel_dictionary_table_m;
    static constexpr auto read_pointers = &trox_get_event_chan_pointers_table_m;
    static constexpr auto read_pointers_by_list = &trox_get_event_chan_pointers_table_by_list_m;
    static constexpr auto read_environment = &trox_get_env_index_dictionary_table_m;
    static constexpr auto read_descriptions = &trox_get_chan_descr_table_m;
    static constexpr int (*find_channel)(dictionary_table*, const char*,
                                         dictionary_entry**) = &trox_find_channel_by_name;
};

struct api_2010 {
    static constexpr auto generation = sample_generation::g2010;
    static constexpr const char* name = "2010";
    using word = std::uint32_t;
    using reference_table = trox_file_reference_table_2010;
    using event_index_table = trox_event_index_table_2010;
    using event_index_head = trox_event_index_entry_head;
    using event_info = trox_event_info_entry;
    using dictionary_table = trox_chan_dictionary_table_2010;
    using dictionary_entry = trox_chan_dictionary_entry_2010;
    using pointers_table = trox_event_chan_pointers_table;
    using pointers_entry = trox_event_chan_ptr_entry;
    using environment_table = trox_env_dictionary_table_2010;
    using description_table = trox_xml_chan_descr_header_2010;
    using subhead = trox_serv_block_subhead_2010;
    static constexpr word reference_pattern = 0xFAEFAEF2;
    static constexpr word trailer_pattern = 0x7A11F010;
    static constexpr std::size_t trailer_size = 12;
    static constexpr auto read_references = &get_trox_file_reference_table_m_2010;
    static constexpr auto read_event_index = &trox_get_event_index_table_m_2010;
    static constexpr auto read_dictionary = &trox_get_channel_dictionary_table_m_2010;
    static constexpr auto read_pointers = &trox_get_event_chan_pointers_table_m_2010;
    static constexpr auto read_pointers_by_list = &trox_get_event_chan_pointers_table_by_list_m_2010;
    static constexpr auto read_environment = &trox_get_env_index_dictionary_table_m_2010;
    static constexpr auto read_descriptions = &trox_get_chan_descr_table_m_2010;
    static constexpr int (*find_channel)(dictionary_table*, const char*,
                                         dictionary_entry**) = &trox_find_channel_by_name_2010;
};

struct api_2024 {
    static constexpr auto generation = sample_generation::g2024;
    static constexpr const char* name = "2024";
    using word = std::uint64_t;
    using reference_table = trox_file_reference_table_2024;
    using event_index_table = trox_event_index_table_2024;
    using event_index_head = trox_event_index_entry_head_2024;
    using event_info = trox_event_info_entry_2024;
    using dictionary_table = trox_chan_dictionary_table_2024;
    using dictionary_entry = trox_chan_dictionary_entry_2024;
    using pointers_table = trox_event_chan_pointers_table_2024;
    using pointers_entry = trox_event_chan_ptr_entry_2024;
    using environment_table = trox_env_dictionary_table_2024;
    using description_table = trox_xml_chan_descr_header_2024;
    using subhead = trox_serv_block_subhead_2010;
    static constexpr word reference_pattern = 0xFAEFAEF3;
    static constexpr word trailer_pattern = 0x7A11F024;
    static constexpr std::size_t trailer_size = 24;
    static constexpr auto read_references = &get_trox_file_reference_table_m_2024;
    static constexpr auto read_event_index = &trox_get_event_index_table_m_2024;
    static constexpr auto read_dictionary = &trox_get_channel_dictionary_table_m_2024;
    static constexpr auto read_pointers = &trox_get_event_chan_pointers_table_m_2024;
    static constexpr auto read_pointers_by_list = &trox_get_event_chan_pointers_table_by_list_m_2024;
    static constexpr auto read_environment = &trox_get_env_index_dictionary_table_m_2024;
    static constexpr auto read_descriptions = &trox_get_chan_descr_table_m_2024;
    static constexpr int (*find_channel)(dictionary_table*, const char*,
                                         dictionary_entry**) = &trox_find_channel_by_name_2024;
};

using all_generations = ::testing::Types<api_legacy, api_2010, api_2024>;

struct generation_name {
    template <class Api> static std::string GetName(int)
    {
        return Api::name;
    }
};

/// The tables of one file as the readers give them; those that failed are null.
template <class Api> struct file_tables {
    table_ptr<typename Api::reference_table> references;
    table_ptr<typename Api::event_index_table> event_index;
    table_ptr<typename Api::dictionary_table> dictionary;
    table_ptr<typename Api::pointers_table> pointers;
    table_ptr<typename Api::environment_table> environment;
    table_ptr<typename Api::description_table> descriptions;
};

/// Calls a reader and takes what it gives.
template <class Record, class Reader, class... Arguments>
int take(table_ptr<Record>& table, Reader reader, Arguments&&... arguments)
{
    Record* record = nullptr;
    const int status = reader(std::forward<Arguments>(arguments)..., &record);
    table.reset(record);
    return status;
}

} // namespace trox_test

#endif
