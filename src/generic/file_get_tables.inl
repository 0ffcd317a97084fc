// Bodies of the table loader; included by the source of each generation.
#ifndef TROX_GENERIC_FILE_GET_TABLES_INL
#define TROX_GENERIC_FILE_GET_TABLES_INL

#include "detail/basic_file_get_tables.h"
#include "event_util.h"
#include "generation/messages_channel.h"
#include "generic/clock.h"
#include "generic/dictionary_entries.h"
#include "generic/host_order.h"
#include "generic/loaded_file.h"
#include "generic/os_calls.h"
#include "generic/print.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <new>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <unordered_set>
#include <utility>

namespace trox_detail
{

/// Codes of `get_all_tables`.
enum load_status : int {
    load_ok = 0,
    load_no_name = 1,
    load_reference_table_failed = 2,
    load_index_or_dictionary_failed = 3, // one code for both, which callers know
    load_env_dictionary_failed = 5,
    load_descriptions_failed = 6,
    load_decoding_failed = 7,
    load_no_memory = TROX_EVUTL_OUT_OF_MEMORY, // the table readers' code for it
    load_open_failed = -2,
    load_tail_failed = -3,
    load_event_headers_failed = -4, // -5 when the basket's body fails
    load_server_blocks_failed = -6  // -7 when the basket's body fails
};

template <class G> basic_file_get_tables<G>::basic_file_get_tables(int mode) : descr_mode_(mode) {}

template <class G> basic_file_get_tables<G>::~basic_file_get_tables()
{
    clean_up();
}

template <class G> int basic_file_get_tables<G>::get_all_tables(const char* file, int mode, std::vector<char*>* chans)
{
    if (file == nullptr) {
        return load_no_name;
    }
    return with_memory([&] {
        std::vector<std::string> names;
        if (chans != nullptr) {
            for (const char* chan : *chans) {
                if (chan != nullptr) {
                    names.emplace_back(chan);
                }
            }
        }
        return load_anew(file, mode, std::move(names));
    });
}

template <class G>
int basic_file_get_tables<G>::get_all_tables(const std::string& file, int mode, const std::vector<std::string>* chans)
{
    // Copies: `file` and `chans` may be the loader's own, which are emptied.
    return with_memory([&] { return load_anew(file, mode, chans != nullptr ? *chans : std::vector<std::string>()); });
}

/// Runs a load, and answers a lack of memory as the table readers do.
template <class G> template <class Load> int basic_file_get_tables<G>::with_memory(Load load)
try {
    return load();
} catch (const std::bad_alloc&) {
    clean_up();
    if (debug_ != 0) {
        errno = ENOMEM;
        std::perror("malloc");
    }
    lacks_listed_channels_ = false;
    status_ = load_no_memory;
    return status_;
}

template <class G> int basic_file_get_tables<G>::load_anew(std::string name, int mode, std::vector<std::string> chans)
{
    const long start = now_us();
    clean_up();
    lacks_listed_channels_ = false;
    descr_mode_ = mode;
    if (name.empty()) {
        return load_no_name;
    }
    chans_ = std::move(chans);
    file_ = std::make_shared<loaded_file<G>>();
    file_->name = std::move(name);
    file_->debug = debug_;
    const int status = load(*file_);
    if (status != load_ok) {
        clean_up();
    } else if (debug_ < 0) {
        print<channel_texts<G>, channel_message::tables_timing>(elapsed_ms(start), file_->name.c_str());
    }
    status_ = status;
    return status;
}

template <class G> int basic_file_get_tables<G>::load(loaded_file<G>& file)
{
    const auto fail = [this](const char* call, int status) {
        if (debug_ != 0) {
            std::perror(call);
        }
        return status;
    };
    file.fd = os().open(file.name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file.fd < 0) {
        return fail("open", load_open_failed);
    }
    file.length = ::lseek(file.fd, 0, SEEK_END);
    ::lseek(file.fd, 0, SEEK_SET);
    const long length = static_cast<long>(file.length);
    long delta = 0;
    const long page = trox_get_page_offset(length, length - channel_traits<G>::trailer_size, &delta);
    if (debug_ != 0) {
        print<common_channel_texts, common_channel_message::file_mapped>(length - page, page, file.fd);
    }
    if (page < 0) {
        errno = EINVAL;
        return fail("mmap", load_tail_failed);
    }
    const auto tail_length = static_cast<std::size_t>(length - page);
    void* tail = os().mmap(nullptr, tail_length, PROT_READ, MAP_SHARED, file.fd, page);
    if (tail == MAP_FAILED) {
        return fail("mmap", load_tail_failed);
    }
    typename G::file_reference_table* table = nullptr;
    const int error = channel_traits<G>::read_reference_table(static_cast<unsigned char*>(tail), tail_length,
                                                              static_cast<std::size_t>(length), file.fd, &table);
    ::munmap(tail, tail_length);
    if (error != 0) {
        if (debug_ != 0) {
            print<channel_texts<G>, channel_message::reference_table_failed>(error);
        }
        return load_reference_table_failed;
    }
    file.ref_tbl.reset(table);
    const int status = load_tables(file);
    return status != load_ok ? status : load_baskets(file);
}

template <class G> int basic_file_get_tables<G>::load_tables(loaded_file<G>& file)
{
    const auto read = [&](auto reader, auto& owner) {
        typename std::decay_t<decltype(owner)>::pointer table = nullptr;
        const int error = reader(static_cast<std::size_t>(file.length), file.ref_tbl.get(), file.fd, &table);
        owner.reset(error == 0 ? table : nullptr);
        return error;
    };
    using traits = channel_traits<G>;
    if (const int error = read(traits::read_event_index, file.eit_tab); error != 0) {
        if (debug_ != 0) {
            print<channel_texts<G>, channel_message::event_index_failed>(error);
        }
        return load_index_or_dictionary_failed;
    }
    if (const int error = read(traits::read_dictionary, file.cdt_tab); error != 0) {
        if (debug_ != 0) {
            print<channel_texts<G>, channel_message::dictionary_failed>(error);
        }
        return load_index_or_dictionary_failed;
    }
    if (const int error = load_pointers_table(file); error != 0) {
        return error;
    }
    if (const int error = read(traits::read_env_dictionary, file.eidt_tab); error != 0) {
        if (debug_ != 0) {
            // The dictionary's text, as users of the log know it.
            print<channel_texts<G>, channel_message::dictionary_failed>(error);
        }
        return load_env_dictionary_failed;
    }
    if (const int error = read(traits::read_descriptions, file.xcd_tab); error != 0) {
        if (debug_ != 0) {
            print<channel_texts<G>, channel_message::descriptions_failed>(error);
        }
        return load_descriptions_failed;
    }
    if (descr_mode_ == 0) {
        return load_ok;
    }
    if (const int error = trox_load_chan_descr(file.xcd_tab.get(), &descr_list_); error != 0) {
        if (debug_ != 0) {
            print<channel_texts<G>, channel_message::decoding_descriptions_failed>(error);
        }
        return load_decoding_failed;
    }
    return load_ok;
}

inline bool has_fast_event_type(std::uint32_t ev_mask)
{
    for (int bit = 0; bit < TROX_EV_EVMAX; ++bit) {
        if ((ev_mask >> bit & 1U) != 0 && !is_slow_event(bit)) {
            return true;
        }
    }
    return false;
}

/// True when one of the listed channels lies on a fast event type. Of entries with one name the first counts.
template <class G>
bool has_fast_channel(const typename G::chan_dictionary_table& dictionary, std::unordered_set<std::string_view> wanted)
{
    const std::size_t count = dictionary_size(dictionary);
    const typename G::chan_dictionary_entry* entries = dictionary.entries;
    for (std::size_t i = 0; i < count && !wanted.empty(); ++i) {
        const auto& entry = entries[i];
        if (wanted.erase({entry.chan_name, text_length(entry.chan_name)}) != 0 && has_fast_event_type(entry.ev_mask)) {
            return true;
        }
    }
    return false;
}

template <class G> int basic_file_get_tables<G>::load_pointers_table(loaded_file<G>& file)
{
    using traits = channel_traits<G>;
    using table_type = typename G::chan_pointers_table;
    table_type* table = nullptr;
    const auto length = static_cast<std::size_t>(file.length);
    if (chans_.empty()) {
        const int error = traits::read_pointers_table(length, file.ref_tbl.get(), file.fd, &table);
        if (error != 0) {
            if (debug_ != 0) {
                print<channel_texts<G>, channel_message::pointers_table_failed>(error);
            }
            return error;
        }
        constexpr std::size_t head = offsetof(table_type, entries);
        const auto rows = static_cast<std::uint64_t>(table->maxev);
        const auto bytes = static_cast<std::uint64_t>(table->length);
        file.ecp_columns = rows == 0 || bytes < head ? 0 : (bytes - head) / sizeof(typename G::chan_ptr_entry) / rows;
    } else {
        const int error = traits::read_pointers_table_by_list(length, file.ref_tbl.get(), file.fd, chans_,
                                                              file.cdt_tab.get(), &table);
        if (error != 0) {
            lacks_listed_channels_ = error == TROX_EVUTL_NO_CHANNEL;
            if (debug_ != 0) {
                print<channel_texts<G>, channel_message::pointers_table_by_list_failed>(error);
            }
            return error;
        }
        file.ecp_columns = chans_.size();
    }
    file.ecp_tab.reset(table);
    if constexpr (traits::may_copy_baskets) {
        file.baskets_copied = has_fast_channel<G>(*file.cdt_tab, {chans_.begin(), chans_.end()});
    }
    return load_ok;
}

template <class G> int basic_file_get_tables<G>::load_baskets(loaded_file<G>& file)
{
    using traits = channel_traits<G>;
    const auto load = [&](basket_memory& basket, auto position, std::size_t fixed, std::uint64_t pattern, int failed) {
        const basket_shape shape{traits::basket_word, fixed, pattern};
        const auto length = static_cast<std::uint64_t>(file.length);
        const basket_status status = file.baskets_copied ? basket.load_copy(file.fd, length, position, shape)
                                                         : basket.load_mapped(file.fd, length, position, shape);
        if (status == basket_status::loaded) {
            return static_cast<int>(load_ok);
        }
        if (debug_ != 0) {
            std::perror("mmap");
        }
        return status == basket_status::head_failed ? failed : failed - 1;
    };
    const int status = load(file.event_headers, file.ref_tbl->evhdb_ref, sizeof(typename G::event_header_basket),
                            traits::event_header_basket_pattern, load_event_headers_failed);
    if (status != load_ok) {
        return status;
    }
    return load(file.server_blocks, file.ref_tbl->srvbb_ref, sizeof(typename G::server_block_basket),
                traits::server_block_basket_pattern, load_server_blocks_failed);
}

template <class G> void basic_file_get_tables<G>::release_descriptions()
{
    for (chan_descr_2010* descr : descr_list_) {
        if (debug_ != 0 && descr->nbits == 0 && !descr->bits.empty()) {
            print<common_channel_texts, common_channel_message::bits_without_count>(descr->bits.size());
        }
        if (debug_ != 0 && descr->ndims == 0 && !descr->dims.empty()) {
            print<common_channel_texts, common_channel_message::dims_without_count>(descr->dims.size());
        }
        delete descr; // with all bits and dimensions of its lists
    }
    descr_list_.clear();
}

template <class G> void basic_file_get_tables<G>::clean_up()
{
    const std::lock_guard lock(mx_);
    release_descriptions();
    file_.reset(); // ends here, or with the last channel reader that still uses it
    chans_.clear();
    clientsn_ = 0;
    status_ = load_no_name;
}

template <class G> bool basic_file_get_tables<G>::is_ecp_tab_full() const
{
    return chans_.empty();
}

template <class G> int basic_file_get_tables<G>::get_ecp_tab_entry_index(const char* name) const
{
    if (name == nullptr) {
        return -1;
    }
    const auto found = std::find(chans_.begin(), chans_.end(), name);
    return found == chans_.end() ? -1 : static_cast<int>(found - chans_.begin());
}

template <class G> bool basic_file_get_tables<G>::lacks_listed_channels() const
{
    return lacks_listed_channels_;
}

template <class G> int basic_file_get_tables<G>::status() const
{
    return status_;
}

template <class G> typename G::event_header_basket* basic_file_get_tables<G>::get_evh_basket() const
{
    return file_ ? reinterpret_cast<typename G::event_header_basket*>(file_->event_headers.data()) : nullptr;
}

template <class G> typename G::server_block_basket* basic_file_get_tables<G>::get_sbh_basket() const
{
    return file_ ? reinterpret_cast<typename G::server_block_basket*>(file_->server_blocks.data()) : nullptr;
}

template <class G> unsigned char* basic_file_get_tables<G>::get_evh_base() const
{
    return file_ ? file_->event_headers.base() : nullptr;
}

template <class G> unsigned char* basic_file_get_tables<G>::get_sbh_base() const
{
    return file_ ? file_->server_blocks.base() : nullptr;
}

template <class G> typename G::file_offset basic_file_get_tables<G>::get_evh_offset() const
{
    return file_ ? file_->event_headers.offset() : 0;
}

template <class G> typename G::file_offset basic_file_get_tables<G>::get_sbh_offset() const
{
    return file_ ? file_->server_blocks.offset() : 0;
}

template <class G> bool basic_file_get_tables<G>::are_baskets_copied() const
{
    return file_ != nullptr && file_->baskets_copied;
}

template <class G> typename G::file_reference_table* basic_file_get_tables<G>::get_ref_tbl() const
{
    return file_ ? file_->ref_tbl.get() : nullptr;
}

template <class G> typename G::event_index_table* basic_file_get_tables<G>::get_eit_table() const
{
    return file_ ? file_->eit_tab.get() : nullptr;
}

template <class G> typename G::chan_dictionary_table* basic_file_get_tables<G>::get_cdt_table() const
{
    return file_ ? file_->cdt_tab.get() : nullptr;
}

template <class G> typename G::chan_pointers_table* basic_file_get_tables<G>::get_ecp_table() const
{
    return file_ ? file_->ecp_tab.get() : nullptr;
}

template <class G> typename G::env_dictionary_table* basic_file_get_tables<G>::get_eidt_table() const
{
    return file_ ? file_->eidt_tab.get() : nullptr;
}

template <class G> typename G::xml_descr_header* basic_file_get_tables<G>::get_xcd_table() const
{
    return file_ ? file_->xcd_tab.get() : nullptr;
}

template <class G> std::vector<chan_descr_2010*>* basic_file_get_tables<G>::get_descr_list()
{
    return &descr_list_;
}

template <class G> const char* basic_file_get_tables<G>::get_file_name() const
{
    return file_ ? file_->name.c_str() : "";
}

template <class G> typename G::file_length basic_file_get_tables<G>::get_file_len() const
{
    return static_cast<typename G::file_length>(file_ ? file_->length : 0);
}

template <class G> int basic_file_get_tables<G>::get_file_descr() const
{
    return file_ ? file_->fd : -1;
}

template <class G> int basic_file_get_tables<G>::get_client_counter() const
{
    return clientsn_;
}

template <class G> void basic_file_get_tables<G>::inc_client_counter()
{
    ++clientsn_;
}

template <class G> void basic_file_get_tables<G>::set_debug(int level)
{
    debug_ = level;
    if (file_) {
        file_->debug = level;
    }
}

template <class G> int basic_file_get_tables<G>::get_debug() const
{
    return debug_;
}

template <class G> std::shared_ptr<const loaded_file<G>> basic_file_get_tables<G>::get_loaded_file() const
{
    return file_;
}

} // namespace trox_detail

#endif
