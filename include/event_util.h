// Event utility library (libTROXevutl): reading the tables of a data file, byte order and payload
// conversion, what each block type holds, times, file names, and printing.
//
// Layer: platform, below the readers. A site may link its own library of the same name and interface.
// Suffixes name the generation: none legacy, `_2010`, `_2024`.
//
// All functions are thread-safe: they keep no state but the two format switches, which are atomic. None
// throws. None looks outside the memory or the file that its arguments describe.
//
// The linker knows a function by its parameter types, so those here are the ones that every library of this
// interface has: some take what they only read through a pointer to non-const. Overloads at the end of this
// header take the same arguments as const.
#ifndef TROX_EVENT_UTIL_H
#define TROX_EVENT_UTIL_H

#include "event.h"

#include <cstddef>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

// ---------------------------------------------------------------------------------------------------
// Error codes
// ---------------------------------------------------------------------------------------------------

/// What the table readers and `trox_load_chan_descr` answer. Where several fit, any of them is given.
enum trox_evutl_status : int {
    TROX_EVUTL_OK = 0,
    TROX_EVUTL_INV_PARAM = 1,     ///< null or invalid argument
    TROX_EVUTL_READ_ERROR = 2,    ///< a read failed; errno is kept
    TROX_EVUTL_BAD_PATTERN = 3,   ///< wrong pattern, or wrong checksum in the trailer
    TROX_EVUTL_DOES_NOT_FIT = 4,  ///< a position, length or count that does not fit the file
    TROX_EVUTL_OUT_OF_MEMORY = 5, ///< a block could not be allocated
    TROX_EVUTL_NO_CHANNEL = -5    ///< no listed channel is in the dictionary
};

// ---------------------------------------------------------------------------------------------------
// Table readers
//
// Each answers 0 and a table in one malloc'd block, which the caller frees, or an error code and leaves
// the last argument as it was. `filelen` is the file's length in bytes, `fd` an open descriptor; its
// position is neither used nor moved. Tables are in host order, except that times and event numbers of the
// event index table stay big-endian: swap them where they are read. `length` of a table keeps its meaning
// (bytes, head included); a pointers table read by list counts the columns it was given. An absent
// environment dictionary or XML description gives an empty table; an absent dictionary, event index or
// pointers table is TROX_EVUTL_DOES_NOT_FIT.
// ---------------------------------------------------------------------------------------------------

/// Reads the file reference table from the trailer. `map` holds the file's last `maplen` bytes; a table that
/// lies before them is read through `fd`. Checks the trailer's pattern and CRC-32 (2010, 2024).
int get_trox_file_reference_table_m(unsigned char* map, unsigned long maplen, unsigned long filelen, int fd,
                                    trox_file_reference_table** table);
int get_trox_file_reference_table_m_2010(unsigned char* map, unsigned long maplen, unsigned long filelen, int fd,
                                         trox_file_reference_table_2010** table);
int get_trox_file_reference_table_m_2024(unsigned char* map, std::size_t maplen, std::size_t filelen, int fd,
                                         trox_file_reference_table_2024** table);

/// Event index table.
int trox_get_event_index_table_m(unsigned long filelen, trox_file_reference_table* ref, int fd,
                                 trox_event_index_table** table);
int trox_get_event_index_table_m_2010(unsigned long filelen, trox_file_reference_table_2010* ref, int fd,
                                      trox_event_index_table_2010** table);
int trox_get_event_index_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                      trox_event_index_table_2024** table);

/// Channel dictionary table.
int trox_get_channel_dictionary_table_m(unsigned long filelen, trox_file_reference_table* ref, int fd,
                                        trox_chan_dictionary_table** table);
int trox_get_channel_dictionary_table_m_2010(unsigned long filelen, trox_file_reference_table_2010* ref, int fd,
                                             trox_chan_dictionary_table_2010** table);
int trox_get_channel_dictionary_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                             trox_chan_dictionary_table_2024** table);

/// Event-channel pointers table with the columns of all channels, in dictionary order.
int trox_get_event_chan_pointers_table_m(unsigned long filelen, trox_file_reference_table* ref, int fd,
                                         trox_event_chan_pointers_table** table);
int trox_get_event_chan_pointers_table_m_2010(unsigned long filelen, trox_file_reference_table_2010* ref, int fd,
                                              trox_event_chan_pointers_table** table);
int trox_get_event_chan_pointers_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                              trox_event_chan_pointers_table_2024** table);

/// Event-channel pointers table with the columns of the listed channels, in list order; reads only these
/// columns. A listed channel that the dictionary lacks gets an all-zero column; when the dictionary has none
/// of them the answer is TROX_EVUTL_NO_CHANNEL.
int trox_get_event_chan_pointers_table_by_list_m(unsigned long filelen, trox_file_reference_table* ref, int fd,
                                                 const std::vector<std::string>& chans,
                                                 trox_chan_dictionary_table* dictionary,
                                                 trox_event_chan_pointers_table** table);
int trox_get_event_chan_pointers_table_by_list_m_2010(unsigned long filelen, trox_file_reference_table_2010* ref,
                                                      int fd, const std::vector<std::string>& chans,
                                                      trox_chan_dictionary_table_2010* dictionary,
                                                      trox_event_chan_pointers_table** table);
int trox_get_event_chan_pointers_table_by_list_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                                      const std::vector<std::string>& chans,
                                                      trox_chan_dictionary_table_2024* dictionary,
                                                      trox_event_chan_pointers_table_2024** table);

/// Environment index dictionary table.
int trox_get_env_index_dictionary_table_m(unsigned long filelen, trox_file_reference_table* ref, int fd,
                                          trox_env_dictionary_table** table);
int trox_get_env_index_dictionary_table_m_2010(unsigned long filelen, trox_file_reference_table_2010* ref, int fd,
                                               trox_env_dictionary_table_2010** table);
int trox_get_env_index_dictionary_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                               trox_env_dictionary_table_2024** table);

/// XML channel descriptions, undecoded.
int trox_get_chan_descr_table_m(unsigned long filelen, trox_file_reference_table* ref, int fd,
                                trox_xml_chan_descr_header** table);
int trox_get_chan_descr_table_m_2010(unsigned long filelen, trox_file_reference_table_2010* ref, int fd,
                                     trox_xml_chan_descr_header_2010** table);
int trox_get_chan_descr_table_m_2024(std::size_t filelen, trox_file_reference_table_2024* ref, int fd,
                                     trox_xml_chan_descr_header_2024** table);

/// Decodes XML channel descriptions and appends one record per channel, owned by the caller, to `list`; on
/// failure `list` is as before. An empty table gives 0 and adds nothing. Text too long is cut. The table is
/// only read.
int trox_load_chan_descr(trox_xml_chan_descr_header* table, std::vector<chan_descr_2010*>* list);
int trox_load_chan_descr(trox_xml_chan_descr_header_2010* table, std::vector<chan_descr_2010*>* list);
int trox_load_chan_descr(trox_xml_chan_descr_header_2024* table, std::vector<chan_descr_2010*>* list);

/// Index of the dictionary entry named `name`, and a pointer to it through `entry` (may be null); negative,
/// and `entry` untouched, when there is none. Borrowed: valid as long as the dictionary, which is only read.
int trox_find_channel_by_name(trox_chan_dictionary_table* dictionary, const char* name,
                              trox_chan_dictionary_entry** entry);
int trox_find_channel_by_name_2010(trox_chan_dictionary_table_2010* dictionary, const char* name,
                                   trox_chan_dictionary_entry_2010** entry);
int trox_find_channel_by_name_2024(trox_chan_dictionary_table_2024* dictionary, const char* name,
                                   trox_chan_dictionary_entry_2024** entry);

/// The largest page-aligned offset not above `pos`, and through `delta` the rest; -1 when `pos` is below 0 or
/// not below `len`.
long trox_get_page_offset(long len, long pos, long* delta);

// ---------------------------------------------------------------------------------------------------
// Byte order and conversion
// ---------------------------------------------------------------------------------------------------

/// Copies `nwords` 32-bit words from `source` to `destination`, each with its bytes reversed. Any alignment:
/// the words are moved as bytes. The two may be equal but must not overlap otherwise; else `source` is only read.
void trox_swap4(int* source, int* destination, int nwords);

/// The same for `n` 64-bit words.
void swap8bytes(const void* source, void* destination, int n);

/// Brings a 2024 event header (48 bytes) into host order; in place allowed.
void trox_convert_event_head(const void* source, void* destination);

/// Brings a 2024 server block head (304 bytes) into host order; its text is kept. In place allowed.
void trox_convert_event_serv_block_head(const void* source, void* destination);

/// Brings a payload of block type `dtype` (its low 16 bits count) and `len` bytes into host order; in place
/// allowed. 0, or non-zero with nothing written for a null pointer, a negative length, an unassigned type
/// or a length below the type's fixed head. A length of 0 of an assigned type is 0 and writes nothing. A
/// count inside the payload that runs past its end converts what lies inside. Any alignment; `source` is only
/// read, unless it is `destination`.
int trox_convert_data(void* source, void* destination, int dtype, int len);

/// Process-wide switches: which generation's layout the print functions assume where a record does not tell.
void set_data_format_2010(bool on);
void set_data_format_2024(bool on);

// ---------------------------------------------------------------------------------------------------
// Events and time
// ---------------------------------------------------------------------------------------------------

/// True for begin-of-run, end-of-run, environment and update events.
bool is_slow_event(int type);

/// How an event type's channels are laid out: a TROX_EV_STRUCT_TYPE.
int get_event_struct_type(int type);

/// True when the two stamps are equal in both words. False for a null argument. The stamps are only read.
bool trox_time_stamp_eq(time_stamp* a, time_stamp* b);

/// True when |a - b| <= `tolerance_us` microseconds. `sign` receives 0 then, else -1 when `a` lies before `b`
/// and +1 when it lies behind; `distance_us` receives |a - b|. Each output may be null.
bool trox_time_stamp_eq(time_stamp* a, time_stamp* b, double tolerance_us, int* sign, double* distance_us);

/// The event number at a time, from the machine clock in the environment variable TROX_EVENT_CLOCK,
/// "SECONDS:EVENT:HZ": event number EVENT at SECONDS, HZ events a second, rounded down. 0 without a valid
/// clock, before SECONDS, and for a null or zero time. The time is only read.
unsigned long trox_get_event_id(time_stamp* time);

// ---------------------------------------------------------------------------------------------------
// Block types. All look at the low 16 bits of `dtype`; a `dtype` with upper bits set marks a block that was
// cut to one channel: it has one member, VALUE. Sub-heads and payloads are in host order.
// ---------------------------------------------------------------------------------------------------

/// Number of members of a block type; 0 for an unassigned one. TROX_BLOCK_GENERIC_SPECT takes it from the
/// block (1 without a sub-head).
int get_channel_number(int dtype, const trox_serv_block_subhead* subhead);
int get_channel_number(int dtype, const trox_serv_block_subhead_2010* subhead);
int get_channel_number(int dtype, std::nullptr_t);

/// Name of member `i` of a block type, or null. The text lives as long as the program.
const char* get_chan_name(int dtype, int i);

/// The first float of a member (TROX_BLOCK_EQDATA: the first element), inside the block. Null for a type
/// without such data, a member out of range, or a payload too short for what its head announces. A member may have
/// no samples: nothing may be read then, so ask for their number first.
float* get_pointer_to_data_2009(const trox_serv_block_subhead* subhead, int member);
float* get_pointer_to_data_2010(const trox_serv_block_subhead_2010* subhead, int member);

/// Axis of a spectrum or trace: first value, increment, address of the spectrum head, samples (per group),
/// number of groups, distance of groups, the member's statistics or null. Every output may be null. 0, or
/// non-zero, with nothing written, in the cases in which the data pointer is null.
int get_spect_params_for_data_type_2009(const trox_serv_block_subhead* subhead, float* start, float* inc, void** extra,
                                        int* length, int member);
int get_spect_params_for_data_type_2010(const trox_serv_block_subhead_2010* subhead, float* start, float* inc,
                                        void** extra, int* length, int* groups, float* group_inc,
                                        trox_spect_statistics_2010** stat, int member);

/// The `code` of a spectrum's head, or -1.
int get_spect_code_description_2010(const trox_serv_block_subhead_2010* subhead);

/// Cuts a block to one member: a new malloc'd block, owned by the caller, of `length` bytes (may be null):
/// sub-head named `<chname>:<subchan>`, head with one member, its statistics when present, its floats. A
/// window keeps samples start, start + inc, ... (length of them) and adjusts the axis; null keeps all.
/// Non-zero, with nothing written, for a type without members, a member out of range, or a payload too short.
/// The block given is only read.
int device_to_one_channel(trox_serv_block_subhead* block, int subchan, const trox_chan_prms* window, int* length,
                          trox_serv_block_subhead** result);
int device_to_one_channel_2010(trox_serv_block_subhead_2010* block, int subchan, const trox_chan_prms* window,
                               int* length, trox_serv_block_subhead_2010** result);

// ---------------------------------------------------------------------------------------------------
// Printers: one line per field on standard output, names as in the records. Null prints nothing.
// ---------------------------------------------------------------------------------------------------

void print_trox_channel_dictionary_table(const trox_chan_dictionary_table* table);
void print_trox_channel_dictionary_table(const trox_chan_dictionary_table_2010* table);
void print_trox_channel_dictionary_table(const trox_chan_dictionary_table_2024* table);
/// One event type's entry of an event index table (times and numbers still big-endian).
void print_trox_event_index_table(const trox_event_index_entry* entry);
void print_trox_event_index_table(const trox_event_index_entry_2024* entry);
void print_trox_event_chan_ptr_entry(const trox_event_chan_ptr_entry* entry);
void print_trox_event_chan_ptr_entry(const trox_event_chan_ptr_entry_2024* entry);
void print_trox_chan_dictionary_entry(const trox_chan_dictionary_entry* entry);
void print_trox_chan_dictionary_entry(const trox_chan_dictionary_entry_2010* entry);
void print_trox_zip_header(const trox_zip_header* header);
void print_trox_event_header(const trox_eventheader* header);
void print_trox_event_header(const trox_eventheader_2024* header);
void print_trox_serv_block_head(const trox_serv_block_head* head);
void print_trox_serv_block_head(const trox_serv_block_head_2010* head);
void print_trox_serv_block_head(const trox_serv_block_head_2024* head);
void print_trox_serv_block_subhead(const trox_serv_block_subhead* subhead);
void print_trox_serv_block_subhead(const trox_serv_block_subhead_2010* subhead);
/// Sub-head and decoded payload of a block in host order.
void print_trox_channel_data(const trox_serv_block_subhead* block);
void print_trox_channel_data(const trox_serv_block_subhead_2010* block);
void print_trox_chan_descr(const chan_descr_2010* descr);

// ---------------------------------------------------------------------------------------------------
// File names: <experiment>_<stream>_run<R>_file<N>_<YYYYMMDD>T<hhmmss>[.<1 to 6 digits>].raw, time in UTC
// ---------------------------------------------------------------------------------------------------

/// The time coded in a data file's name (path or base name): 0 on success, non-zero when it has none.
int get_time_from_file_name(const char* name, time_stamp* time);

/// Sorts paths into reading order: those whose name carries a time first, by time, then file number, then
/// text; those without one last, by text.
void sort_files(std::vector<std::string>& files);

#pragma GCC visibility pop

// ---------------------------------------------------------------------------------------------------
// The same functions for const arguments. Each hands its arguments on to the library's function above, which
// only reads them. They are no part of the library: a program that uses them needs nothing more of it. To take
// the address of one of these functions, name the type of the pointer.
// ---------------------------------------------------------------------------------------------------

namespace trox_detail
{

/// A pointer to const on its way to a function that lacks the const but only reads. Being made from a pointer
/// is a conversion that a call uses last: pointers to non-const and null go to the library's function directly.
template <class Type> class read_only
{
public:
    read_only(const Type* pointer) noexcept : pointer_(pointer) {}

    Type* get() const noexcept
    {
        return const_cast<Type*>(pointer_);
    }

private:
    const Type* pointer_;
};

} // namespace trox_detail

/// Plain pointers here, since one head is the base of another.
inline int trox_load_chan_descr(const trox_xml_chan_descr_header* table, std::vector<chan_descr_2010*>* list)
{
    return trox_load_chan_descr(const_cast<trox_xml_chan_descr_header*>(table), list);
}
inline int trox_load_chan_descr(const trox_xml_chan_descr_header_2010* table, std::vector<chan_descr_2010*>* list)
{
    return trox_load_chan_descr(const_cast<trox_xml_chan_descr_header_2010*>(table), list);
}
inline int trox_load_chan_descr(const trox_xml_chan_descr_header_2024* table, std::vector<chan_descr_2010*>* list)
{
    return trox_load_chan_descr(const_cast<trox_xml_chan_descr_header_2024*>(table), list);
}

inline int trox_find_channel_by_name(trox_detail::read_only<trox_chan_dictionary_table> dictionary, const char* name,
                                     trox_chan_dictionary_entry** entry)
{
    return trox_find_channel_by_name(dictionary.get(), name, entry);
}
inline int trox_find_channel_by_name_2010(trox_detail::read_only<trox_chan_dictionary_table_2010> dictionary,
                                          const char* name, trox_chan_dictionary_entry_2010** entry)
{
    return trox_find_channel_by_name_2010(dictionary.get(), name, entry);
}
inline int trox_find_channel_by_name_2024(trox_detail::read_only<trox_chan_dictionary_table_2024> dictionary,
                                          const char* name, trox_chan_dictionary_entry_2024** entry)
{
    return trox_find_channel_by_name_2024(dictionary.get(), name, entry);
}

/// Takes words of any type and alignment.
inline void trox_swap4(trox_detail::read_only<void> source, void* destination, int nwords)
{
    trox_swap4(static_cast<int*>(source.get()), static_cast<int*>(destination), nwords);
}

inline int trox_convert_data(trox_detail::read_only<void> source, void* destination, int dtype, int len)
{
    return trox_convert_data(source.get(), destination, dtype, len);
}

inline bool trox_time_stamp_eq(trox_detail::read_only<time_stamp> a, trox_detail::read_only<time_stamp> b)
{
    return trox_time_stamp_eq(a.get(), b.get());
}
inline bool trox_time_stamp_eq(trox_detail::read_only<time_stamp> a, trox_detail::read_only<time_stamp> b,
                               double tolerance_us, int* sign, double* distance_us)
{
    return trox_time_stamp_eq(a.get(), b.get(), tolerance_us, sign, distance_us);
}

inline unsigned long trox_get_event_id(trox_detail::read_only<time_stamp> time)
{
    return trox_get_event_id(time.get());
}

inline int device_to_one_channel(trox_detail::read_only<trox_serv_block_subhead> block, int subchan,
                                 const trox_chan_prms* window, int* length, trox_serv_block_subhead** result)
{
    return device_to_one_channel(block.get(), subchan, window, length, result);
}
inline int device_to_one_channel_2010(trox_detail::read_only<trox_serv_block_subhead_2010> block, int subchan,
                                      const trox_chan_prms* window, int* length, trox_serv_block_subhead_2010** result)
{
    return device_to_one_channel_2010(block.get(), subchan, window, length, result);
}

#endif
