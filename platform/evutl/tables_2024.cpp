// The table readers of the 2024 generation: its traits, the shared bodies.
#include "event_util.h"
#include "generation.h"
#include "read_dictionaries.h"
#include "read_event_index.h"
#include "read_pointers.h"
#include "read_reference_table.h"

using generation = trox_evutl::generation_2024;

int get_trox_file_reference_table_m_2024(unsigned char* map, std::size_t maplen, std::size_t filelen, int fd,
                                         trox_file_reference_table_2024** table)
{
    return trox_evutl::read_reference_table<generation>(map, maplen, filelen, fd, table);
}

int trox_get_event_index_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                      trox_event_index_table_2024** table)
{
    return trox_evutl::read_event_index_table<generation>(filelen, ref, fd, table);
}

int trox_get_channel_dictionary_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                             trox_chan_dictionary_table_2024** table)
{
    return trox_evutl::read_channel_dictionary<generation>(filelen, ref, fd, table);
}

int trox_get_event_chan_pointers_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                              trox_event_chan_pointers_table_2024** table)
{
    return trox_evutl::read_pointers_table<generation>(filelen, ref, fd, table);
}

int trox_get_env_index_dictionary_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                               trox_env_dictionary_table_2024** table)
{
    return trox_evutl::read_environment_dictionary<generation>(filelen, ref, fd, table);
}

int trox_get_chan_descr_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                     trox_xml_chan_descr_header_2024** table)
{
    return trox_evutl::read_channel_descriptions<generation>(filelen, ref, fd, table);
}

int trox_get_event_chan_pointers_table_by_list_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                                      const std::vector<std::string>& chans,
                                                      trox_chan_dictionary_table_2024* dictionary,
                                                      trox_event_chan_pointers_table_2024** table)
{
    return trox_evutl::without_exceptions([&] {
        return trox_evutl::read_pointers_table_by_list<generation>(filelen, ref, fd, chans, dictionary, table);
    });
}

int trox_find_channel_by_name_2024(trox_chan_dictionary_table_2024* dictionary, const char* name,
                                   trox_chan_dictionary_entry_2024** entry)
{
    return trox_evutl::find_channel(dictionary, name, entry);
}
