// The types of the legacy generation: what the generic layers are instantiated with.
#ifndef TROX_DETAIL_GENERATION_LEGACY_H
#define TROX_DETAIL_GENERATION_LEGACY_H

#include "../event.h"
#include "channel_index.h"

#include <cstdint>

class trox_file_get_tables;
class trox_daq_read_chan;
class trox_daq_slicer;

#pragma GCC visibility push(default)

namespace trox_detail
{

struct generation_legacy {
    // The classes of the layers.
    using table_loader = trox_file_get_tables;
    using channel_reader = trox_daq_read_chan;
    using slicer = trox_daq_slicer;

    // Records.
    using event_number = std::uint32_t;
    using time_id = trox_time_id;
    using channel_entry = trox_channel_entry_long;
    using chan_param = trox_daq_chan_param;
    using result_entry = trox_daq_reader_result_entry;
    using request = trox_daq_request;
    using channel_index = no_channel_index;

    // File structures.
    using file_length = std::int64_t;
    using reader_length = int; // what a channel reader keeps of the length: the low 32 bits
    using file_offset = unsigned long;
    using file_reference_table = trox_file_reference_table;
    using event_index_table = trox_event_index_table;
    using event_index_head = trox_event_index_entry_head;
    using event_info = trox_event_info_entry;
    using chan_dictionary_table = trox_chan_dictionary_table;
    using chan_dictionary_entry = trox_chan_dictionary_entry;
    using chan_pointers_table = trox_event_chan_pointers_table;
    using chan_ptr_entry = trox_event_chan_ptr_entry;
    using env_dictionary_table = trox_env_dictionary_table;
    using xml_descr_header = trox_xml_chan_descr_header;
    using event_header_basket = trox_event_header_basket;
    using server_block_basket = trox_server_block_basket;
    using channel_basket = trox_channel_basket;
    using event_header = trox_eventheader;
    using server_block_head = trox_serv_block_head;
    using subhead = trox_serv_block_subhead;
    using update_block = trox_upd_data_block;
};

} // namespace trox_detail

#pragma GCC visibility pop

#endif
