// The types of the 2024 generation: what the generic layers are instantiated with.
#ifndef TROX_DETAIL_GENERATION_2024_H
#define TROX_DETAIL_GENERATION_2024_H

#include "../event.h"
#include "channel_index.h"

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

class trox_file_get_tables_2024;
class trox_daq_read_chan_2024;
class trox_daq_slicer_2024;

#pragma GCC visibility push(default)

namespace trox_detail
{

struct generation_2024 {
    // The classes of the layers.
    using table_loader = trox_file_get_tables_2024;
    using channel_reader = trox_daq_read_chan_2024;
    using slicer = trox_daq_slicer_2024;

    // Records.
    using event_number = std::uint64_t;
    using time_id = trox_time_id_2024;
    using channel_entry = trox_channel_entry_long_2024;
    using chan_param = trox_daq_chan_param_2010;
    using result_entry = trox_daq_reader_result_entry_2024;
    using request = trox_daq_request_2024;
    using channel_index = channel_name_index;

    // File structures.
    using file_length = std::size_t;
    using reader_length = std::size_t;
    using file_offset = off_t;
    using file_reference_table = trox_file_reference_table_2024;
    using event_index_table = trox_event_index_table_2024;
    using event_index_head = trox_event_index_entry_head_2024;
    using event_info = trox_event_info_entry_2024;
    using chan_dictionary_table = trox_chan_dictionary_table_2024;
    using chan_dictionary_entry = trox_chan_dictionary_entry_2024;
    using chan_pointers_table = trox_event_chan_pointers_table_2024;
    using chan_ptr_entry = trox_event_chan_ptr_entry_2024;
    using env_dictionary_table = trox_env_dictionary_table_2024;
    using xml_descr_header = trox_xml_chan_descr_header_2024;
    using event_header_basket = trox_event_header_basket_2024;
    using server_block_basket = trox_server_block_basket_2024;
    using channel_basket = trox_channel_basket_2024;
    using event_header = trox_eventheader_2024;
    using server_block_head = trox_serv_block_head_2024;
    using subhead = trox_serv_block_subhead_2010;
    using update_block = trox_upd_data_block_2010;
};

} // namespace trox_detail

#pragma GCC visibility pop

#endif
