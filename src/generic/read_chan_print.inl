// Bodies of the channel reader: printing.
#ifndef TROX_GENERIC_READ_CHAN_PRINT_INL
#define TROX_GENERIC_READ_CHAN_PRINT_INL

#include "event_util.h"
#include "generic/read_chan_setup.inl"

#include <ctime>

namespace trox_detail
{

template <class G> void basic_read_chan<G>::print_time_limits()
{
    time_id first;
    time_id last;
    get_time_limits(&first, &last);
    if (subchan_ >= 0) {
        print<common_channel_texts, common_channel_message::first_of_subchannel>(chan_.c_str(), subchan_);
    } else {
        print<common_channel_texts, common_channel_message::first_of_channel>(chan_.c_str());
    }
    print_time_limit(first);
    if (subchan_ >= 0) {
        print<common_channel_texts, common_channel_message::last_of_subchannel>(chan_.c_str(), subchan_);
    } else {
        print<common_channel_texts, common_channel_message::last_of_channel>(chan_.c_str());
    }
    print_time_limit(last);
}

template <class G> void basic_read_chan<G>::print_time_limit(const time_id& event) const
{
    if (event.time.timeup == 0) {
        print<common_channel_texts, common_channel_message::time_limit_unknown>();
        return;
    }
    constexpr std::size_t calendar_size = 32; // ctime_r writes 26 characters
    char text[calendar_size]{};
    const std::time_t seconds = event.time.timeup;
    if (::ctime_r(&seconds, text) != nullptr) {
        text[std::strcspn(text, "\n")] = '\0';
    }
    print<channel_texts<G>, channel_message::time_limit>(event.event_number, text, event.time.timelow);
}

template <class G> void basic_read_chan<G>::print_chan_descr()
{
    if (!has_description()) {
        print<common_channel_texts, common_channel_message::no_description>(chan_.c_str());
        return;
    }
    print_trox_chan_descr(&descr_);
}

template <class G> bool basic_read_chan<G>::has_records_to_print() const
{
    return file_ != nullptr && file_->ecp_tab != nullptr && cdt_ != nullptr && out_ != nullptr;
}

template <class G> void basic_read_chan<G>::print_cdt_entry()
{
    if (has_records_to_print()) {
        print_trox_chan_dictionary_entry(cdt_);
    }
}

template <class G> void basic_read_chan<G>::print_event_chan_pointers_entry()
{
    if (!has_records_to_print()) {
        return;
    }
    for (int i = 0; i < cdt_->count; ++i) {
        const auto* row = get_data_table_pointer(i);
        if (row == nullptr) {
            return; // a count above the table's rows
        }
        print_trox_event_chan_ptr_entry(row);
    }
}

/// Calls `dump` for each record, behind a line with its event; records that were not decoded have nothing to dump.
/// Workers may still publish: when one of them could not be started, the others go on behind the signal.
template <class G> template <class Dump> void basic_read_chan<G>::print_records(Dump dump)
{
    for (int i = 0;; ++i) {
        const mutex_holder lock(mx_);
        if (i >= std::min(static_cast<int>(cdt_->count), out_total_.load())) {
            return;
        }
        const entry& record = out_[i];
        print<channel_texts<G>, channel_message::record_line>(channel_traits<G>::printed(record.event_id.event_number),
                                                              static_cast<int>(record.event_id.time.timeup),
                                                              static_cast<int>(record.event_id.time.timelow));
        dump(record.sbchdata[0]);
    }
}

template <class T> const T* record_at(std::uint64_t address) noexcept
{
    return reinterpret_cast<const T*>(static_cast<std::uintptr_t>(address));
}

template <class G> void basic_read_chan<G>::print_event_headers()
{
    if (!has_records_to_print()) {
        return;
    }
    print<common_channel_texts, common_channel_message::event_headers_begin>();
    print_records([](const auto& at) { print_trox_event_header(record_at<typename G::event_header>(at.evhd)); });
    print<common_channel_texts, common_channel_message::event_headers_end>();
}

template <class G> void basic_read_chan<G>::print_server_block_headers()
{
    if (!has_records_to_print()) {
        return;
    }
    print<common_channel_texts, common_channel_message::server_blocks_begin>();
    print_records(
        [](const auto& at) { print_trox_serv_block_head(record_at<typename G::server_block_head>(at.sbhd)); });
    print<common_channel_texts, common_channel_message::server_blocks_end>();
}

template <class G> void basic_read_chan<G>::print_channel_headers()
{
    if (!has_records_to_print()) {
        return;
    }
    print<common_channel_texts, common_channel_message::subheads_begin>();
    print_records([](const auto& at) { print_trox_serv_block_subhead(record_at<typename G::subhead>(at.chhd)); });
    print<common_channel_texts, common_channel_message::subheads_end>();
}

template <class G> void basic_read_chan<G>::print_channel()
{
    if (!has_records_to_print()) {
        return;
    }
    print<common_channel_texts, common_channel_message::channel_begin>();
    print_records([](const auto& at) { print_trox_channel_data(record_at<typename G::subhead>(at.chhd)); });
    print<common_channel_texts, common_channel_message::channel_end>();
}

} // namespace trox_detail

#endif
