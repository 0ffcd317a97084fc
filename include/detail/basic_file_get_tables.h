// Table loader, generic over the file generation.
#ifndef TROX_DETAIL_BASIC_FILE_GET_TABLES_H
#define TROX_DETAIL_BASIC_FILE_GET_TABLES_H

#include "../event.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace trox_detail
{

template <class Generation> struct loaded_file;

/// Everything that is read once per data file before any of its channels: descriptor and length, the six
/// tables, the event header and server block baskets (mapped, or copied), and on request the channel
/// descriptions.
///
/// Layer: channel reading. One loader serves all channel readers of the same file. Filled by one thread at a
/// time, then read by many without locks; only `clean_up` may be called concurrently with itself.
///
/// Life cycle: empty -> `get_all_tables` -> loaded -> `clean_up` -> empty. `get_all_tables` always empties
/// first, and a failed load leaves the loader empty. What a channel reader took from a loader stays alive until
/// that reader is cleaned, whatever happens to the loader. All other pointers handed out are borrowed and end
/// with the next `clean_up` or `get_all_tables`.
template <class Generation>
class basic_file_get_tables : public std::enable_shared_from_this<typename Generation::table_loader>
{
public:
    /// An empty loader; `mode` non-zero decodes the XML channel descriptions of what it loads.
    explicit basic_file_get_tables(int mode);
    ~basic_file_get_tables();
    basic_file_get_tables(const basic_file_get_tables&) = delete;
    basic_file_get_tables& operator=(const basic_file_get_tables&) = delete;

    /// Loads one file. `chans` restricts the pointers table to these channels (null or empty: all). Answers 0, or
    ///   1 empty (or null) file name     -2 the file cannot be opened       -3 its tail cannot be mapped
    ///   2 reference table               3 event index or dictionary        5 environment dictionary
    ///   6 XML descriptions              7 decoding the descriptions
    ///   -4/-5 event header basket       -6/-7 server block basket          (head / whole)
    /// and for the pointers table the table reader's own code, -5 when the file has none of the channels. Where memory
    /// lacks beside all of these the answer is 5, that of the table readers. A null name answers 1 without touching the
    /// loader; an empty one has emptied it.
    int get_all_tables(const std::string& file, int mode, const std::vector<std::string>* chans);
    int get_all_tables(const char* file, int mode, std::vector<char*>* chans);

    /// Releases everything; may be repeated. Keeps `debug` and the description mode.
    void clean_up();

    /// True when the last load failed because the file has none of the listed channels (its code, -5, is also that of
    /// an event header basket that cannot be mapped).
    bool lacks_listed_channels() const;
    /// True when the pointers table holds all channels of the file; also while empty.
    bool is_ecp_tab_full() const;
    /// Column of a channel in a pointers table loaded by list; -1 when it was not listed, or for null.
    int get_ecp_tab_entry_index(const char* name) const;

    /// 0 while a file is loaded, the code of the last failed load, 1 when none was tried since `clean_up`.
    int status() const;
    /// The baskets: head and records as in the file, big-endian, at any address.
    typename Generation::event_header_basket* get_evh_basket() const;
    typename Generation::server_block_basket* get_sbh_basket() const;
    /// Start of the mapping that holds (or, after a copy, held) the basket.
    unsigned char* get_evh_base() const;
    unsigned char* get_sbh_base() const;
    /// File position that corresponds to the start of the in-memory data: a file position X of the basket lies at
    /// X - offset from the base of a mapped basket, or from the basket itself when it was copied.
    typename Generation::file_offset get_evh_offset() const;
    typename Generation::file_offset get_sbh_offset() const;
    /// True when the baskets were copied to the heap: so for a list with a channel on a fast event type.
    bool are_baskets_copied() const;

    typename Generation::file_reference_table* get_ref_tbl() const;
    typename Generation::event_index_table* get_eit_table() const;
    typename Generation::chan_dictionary_table* get_cdt_table() const;
    typename Generation::chan_pointers_table* get_ecp_table() const;
    typename Generation::env_dictionary_table* get_eidt_table() const;
    typename Generation::xml_descr_header* get_xcd_table() const;
    /// The decoded descriptions, owned by the loader.
    std::vector<chan_descr_2010*>* get_descr_list();

    /// Path of the loaded file, or "".
    const char* get_file_name() const;
    /// Length of the loaded file in bytes, or 0.
    typename Generation::file_length get_file_len() const;
    /// Open descriptor, or -1.
    int get_file_descr() const;

    /// How many users have left the file; counted by the slicer, reset by `clean_up`.
    int get_client_counter() const;
    void inc_client_counter();

    /// 0 silent, other values print failures, negative ones also the time taken.
    void set_debug(int level);
    int get_debug() const;

    /// What channel readers hold on to: shared, so that it outlives this loader. Null while empty.
    std::shared_ptr<const loaded_file<Generation>> get_loaded_file() const;

private:
    template <class Load> int with_memory(Load load);
    int load_anew(std::string name, int mode, std::vector<std::string> chans);
    int load(loaded_file<Generation>& file);
    int load_tables(loaded_file<Generation>& file);
    int load_pointers_table(loaded_file<Generation>& file);
    int load_baskets(loaded_file<Generation>& file);
    void release_descriptions();

    std::vector<std::string> chans_;
    std::shared_ptr<loaded_file<Generation>> file_;
    int clientsn_ = 0;
    std::vector<chan_descr_2010*> descr_list_;
    int descr_mode_;
    int status_ = 1;
    bool lacks_listed_channels_ = false;
    std::mutex mx_;
    int debug_ = 0;
};

} // namespace trox_detail

#pragma GCC visibility pop

#endif
