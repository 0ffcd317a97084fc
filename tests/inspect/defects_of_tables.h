// Defects of the file as a whole, its tables and event headers, and what a check must find.
#ifndef TROX_TESTS_INSPECT_DEFECTS_OF_TABLES_H
#define TROX_TESTS_INSPECT_DEFECTS_OF_TABLES_H

#include "defect.h"

#include <algorithm>

namespace inspect_test
{

template <class T> class defects_of_tables : public defect_list<T>
{
public:
    defects_of_tables()
    {
        add_of_the_file();
        add_of_references();
        add_of_tables();
        add_of_the_index();
        add_of_event_headers();
        add_of_the_dictionary();
    }

private:
    TROX_DEFECT_NAMES

    void add_of_the_file()
    {
        add("file head", [](file& f) { flip(f, 2); }, {{finding_code::file_head, 1, 0}});
        add("reserved word of the file head", [](file& f) { flip(f, 12); }, {{finding_code::padding, 1, 0}});
        add(
            "trailer position", [](file& f) { f.put_word(f.map().trailer.position, 7); },
            [](const file& f) {
                return std::vector<expected_finding>{{finding_code::trailer_position, 1, f.map().trailer.position}};
            });
        if constexpr (has_checks) {
            add(
                "trailer pattern", [](file& f) { flip(f, f.bytes().size() - 1); },
                [](const file& f) {
                    return std::vector<expected_finding>{{finding_code::trailer_pattern, 1, f.map().trailer.position}};
                });
            add(
                "trailer checksum", [](file& f) { flip(f, f.map().trailer.position + word_size); },
                [](const file& f) {
                    return std::vector<expected_finding>{{finding_code::trailer_crc, 1, f.map().references.position}};
                });
        }
        add("reference table pattern", [](file& f) { flip(f, f.map().references.position); },
            {{finding_code::references_pattern}});
        add("reference table length",
            [](file& f) { f.put_reference(offsetof(references, length), sizeof(references) + 8); },
            {{finding_code::references_length}});
        add("no reference table",
            [](file& f) {
                f.put_word(f.map().trailer.position, 7);
                flip(f, f.map().references.position);
            },
            {{finding_code::trailer_position}, {finding_code::references_missing}});
    }

    void add_of_references()
    {
        add("reference of an event type without events",
            [](file& f) { f.put_reference(offsetof(references, eite_pos_ref) + 9 * word_size, 1234); },
            {{finding_code::reference_index_entry, 1, {}, {}, {}, 9}});
        add("reference of an event type lost",
            [](file& f) { f.put_reference(offsetof(references, eite_pos_ref) + 1 * word_size, 0); },
            {{finding_code::reference_index_entry, 1, {}, {}, {}, 1}});
        add("reference of the first basket", [](file& f) { f.put_reference(offsetof(references, chanb_ref), 99); },
            {{finding_code::reference_channel}});
        add("no dictionary", [](file& f) { f.put_reference(offsetof(references, cdt_ref), 0); },
            {{finding_code::table_missing}});
        add("no event index", [](file& f) { f.put_reference(offsetof(references, eit_pos_ref), 0); },
            {{finding_code::table_missing}});
        add("no pointers table", [](file& f) { f.put_reference(offsetof(references, ecp_ref), 0); },
            {{finding_code::table_missing}});
        for (const std::size_t reference :
             {offsetof(references, cdt_ref), offsetof(references, ecp_ref), offsetof(references, eit_pos_ref),
              offsetof(references, eidt_ref), offsetof(references, xcd_ref)}) {
            add(
                "reference behind the end", [=](file& f) { f.put_reference(reference, f.bytes().size() + 5); },
                [](const file& f) {
                    return std::vector<expected_finding>{{finding_code::table_position, 1, f.map().file_size + 5}};
                });
            add("reference into other bytes", [=](file& f) { f.put_reference(reference, 3); },
                {{finding_code::table_position, 1, 3}});
        }
        for (const std::size_t reference : {offsetof(references, evhdb_ref), offsetof(references, srvbb_ref)}) {
            add("reference of a basket behind the end",
                [=](file& f) { f.put_reference(reference, f.bytes().size() + 5); }, {{finding_code::table_position}});
        }
    }

    void add_of_tables()
    {
        using place = std::function<std::uint64_t(const file&)>;
        const std::vector<place> places{[](const file& f) { return f.map().channel_dictionary.position; },
                                        [](const file& f) { return f.map().pointers.position; },
                                        [](const file& f) { return f.map().environment.position; },
                                        [](const file& f) { return f.map().descriptions.position; },
                                        [](const file& f) { return f.map().event_headers.position; },
                                        [](const file& f) { return f.map().server_blocks.position; }};
        for (const place& at : places) {
            add(
                "pattern of a table", [=](file& f) { flip(f, at(f) + word_size - 1); },
                [=](const file& f) {
                    return std::vector<expected_finding>{{finding_code::table_pattern, 1, at(f)}};
                });
            add(
                "length of a table below its head", [=](file& f) { f.put_word(at(f) + word_size, 3); },
                [=](const file& f) {
                    return std::vector<expected_finding>{{finding_code::table_length, 1, at(f)}};
                });
            add(
                "length of a table behind the end", [=](file& f) { f.put_word(at(f) + word_size, f.bytes().size()); },
                [=](const file& f) {
                    return std::vector<expected_finding>{{finding_code::table_length, 1, at(f)}};
                });
        }
        for (std::size_t i = 0; i < 3; ++i) {
            add(
                "length of a table with part of an entry",
                [=, at = places[i]](file& f) { increase<word>(f, at(f) + word_size, -1); },
                [=, at = places[i]](const file& f) {
                    return std::vector<expected_finding>{{finding_code::table_entries, 1, at(f)}};
                });
        }
        add("length of the event header basket one header short",
            [](file& f) {
                increase<word>(f, f.map().event_headers.position + word_size,
                               -static_cast<std::int64_t>(sizeof(typename T::event_header)));
            },
            {{finding_code::table_length}});
        add("pattern of the event index", [](file& f) { flip(f, f.map().event_index.position + word_size - 1); },
            {{finding_code::table_pattern}});
    }

    void add_of_the_index()
    {
        add("one event type too many", [](file& f) { increase<word>(f, f.map().event_index.position + word_size, 1); },
            {{finding_code::index_types}});
        add("one event type too few", [](file& f) { increase<word>(f, f.map().event_index.position + word_size, -1); },
            {{finding_code::index_types}});
        add(
            "event type of an entry", [](file& f) { f.put_word(index_entry_at(f), 12); },
            [](const file& f) {
                return std::vector<expected_finding>{{finding_code::index_types, 1, index_entry_at(f)}};
            });
        add(
            "length of an entry",
            [](file& f) { f.put_word(index_entry_at(f) + index_head - word_size, index_head + index_info); },
            [](const file& f) {
                return std::vector<expected_finding>{{finding_code::index_entry, 1, index_entry_at(f)}};
            });
        add(
            "first time of an entry", [](file& f) { increase<std::uint32_t>(f, index_entry_at(f) + word_size, 1); },
            [](const file& f) {
                return std::vector<expected_finding>{{finding_code::index_first, 1, index_entry_at(f)}};
            });
        add(
            "microseconds of the first time of an entry",
            [](file& f) { f.put(index_entry_at(f) + word_size + 4, 0xF0000000U); },
            [](const file& f) {
                return std::vector<expected_finding>{{finding_code::index_first, 1, index_entry_at(f)}};
            });
        add(
            "last number of an entry", [](file& f) { increase<word>(f, index_entry_at(f) + 2 * word_size + 16, 1); },
            [](const file& f) {
                return std::vector<expected_finding>{{finding_code::index_last, 1, index_entry_at(f)}};
            });
        add(
            "offset of an event", [](file& f) { increase<word>(f, info_at(f, 1) + 8 + word_size, 3); },
            [](const file& f) {
                return std::vector<expected_finding>{
                    {finding_code::index_offset, 1, info_at(f, 1), {}, first_number + 1}};
            });
        add("offset of another event", [](file& f) { f.put_word(info_at(f, 1) + 8 + word_size, event_at(f, 0)); },
            {{finding_code::index_offset, 1, {}, {}, first_number + 1}});
        add("order of events",
            [](file& f) {
                auto& bytes = f.bytes();
                const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(info_at(f, 0));
                std::swap_ranges(at, at + index_info, at + index_info);
            },
            {{finding_code::index_order}, {finding_code::event_order, 2, {}, {}, first_number}});
        add("event twice",
            [](file& f) {
                const auto at = f.bytes().begin() + static_cast<std::ptrdiff_t>(info_at(f, 0));
                std::copy(at, at + index_info, at + index_info);
            },
            {{finding_code::event_shared, 1, {}, {}, first_number},
             {finding_code::event_unlisted, 1, {}, {}, first_number + 1}});
        add("microseconds of an event in index and header",
            [](file& f) {
                f.put(info_at(f, 1) + 4, std::uint32_t{1'250'000});
                f.put(event_at(f, 1) + offsetof(typename T::event_header, event_time) + 4, std::uint32_t{1'250'000});
            },
            {{finding_code::microseconds, 1, {}, {}, first_number + 1}});
    }

    void add_of_event_headers()
    {
        using header = typename T::event_header;
        add(
            "pattern of an event header, that of the legacy generation or none",
            [](file& f) {
                const bool is_legacy = f.template get<std::uint32_t>(event_at(f, 1)) == 0xFFEEFFEE;
                f.put(event_at(f, 1), std::uint32_t{is_legacy ? 0x11111111U : 0xFFEEFFEEU});
            },
            [](const file& f) {
                return std::vector<expected_finding>{
                    {finding_code::event_pattern, 1, event_at(f, 1), {}, first_number + 1}};
            });
        if constexpr (!is_wide && has_checks) {
            add("unusual pattern of an event header", [](file& f) { f.put(event_at(f, 1), 0x11111111U); },
                {{finding_code::event_mark, 1, {}, {}, first_number + 1}});
        }
        add(
            "number in an event header",
            [](file& f) { increase<word>(f, event_at(f, 1) + offsetof(header, event_number), 1); },
            [](const file& f) {
                return std::vector<expected_finding>{
                    {finding_code::event_mismatch, 1, event_at(f, 1), {}, first_number + 1}};
            });
        add("time in an event header",
            [](file& f) { increase<std::uint32_t>(f, event_at(f, 1) + offsetof(header, event_time), 600); },
            {{finding_code::event_mismatch, 1, {}, {}, first_number + 1}});
        add("length of an event",
            [](file& f) { increase<word>(f, event_at(f, 2) + offsetof(header, event_length), 4); },
            {{finding_code::event_length, 1, {}, {}, first_number + 2}});
        add("too many server blocks",
            [](file& f) { increase<std::int32_t>(f, event_at(f, 2) + offsetof(header, num_svr_block), 1); },
            {{finding_code::event_blocks, 1, {}, {}, first_number + 2}});
        add("too few server blocks",
            [](file& f) { increase<std::int32_t>(f, event_at(f, 2) + offsetof(header, num_svr_block), -1); },
            {{finding_code::event_blocks, 1, {}, {}, first_number + 2}});
        if constexpr (is_wide) {
            add("padding of an event header", [](file& f) { flip(f, event_at(f, 1) + sizeof(header) - 1); },
                {{finding_code::padding, 1, {}, {}, first_number + 1}});
        }
    }

    void add_of_the_dictionary()
    {
        using entry = typename T::dictionary_entry;
        add(
            "name of a channel",
            [](file& f) { set_byte(f, dictionary_field(f, plain_trace, offsetof(entry, chan_name)), 'X'); },
            [](const file& f) {
                return std::vector<expected_finding>{
                    {finding_code::dictionary_name, 1, f.dictionary_position(plain_trace), {}, {}, plain_trace}};
            });
        add("unprintable name of a channel",
            [](file& f) { set_byte(f, dictionary_field(f, plain_trace, offsetof(entry, chan_name)), 1); },
            {{finding_code::dictionary_name, 1, {}, {}, {}, plain_trace}});
        add("name of a slow channel",
            [](file& f) { set_byte(f, dictionary_field(f, slow, offsetof(entry, chan_name)), 'X'); },
            {{finding_code::dictionary_name, 1, {}, {}, {}, slow}});
        add("bytes behind a name",
            [](file& f) { set_byte(f, dictionary_field(f, slow, offsetof(entry, chan_name) + 40), 'X'); },
            {{finding_code::padding, 1, {}, "T/SLOW"}});
        add("name twice",
            [](file& f) {
                const auto at = f.bytes().begin();
                const auto offset = static_cast<std::ptrdiff_t>(offsetof(entry, chan_name));
                const auto from = at + static_cast<std::ptrdiff_t>(f.dictionary_position(plain_trace)) + offset;
                const auto to = at + static_cast<std::ptrdiff_t>(f.dictionary_position(no_records)) + offset;
                std::copy_n(from, 20, to);
            },
            {{finding_code::dictionary_name_repeated, 1, {}, "T/PLAIN", {}, no_records},
             {finding_code::descriptions_channel, 1, {}, "T/NONE"}});
        add("key twice",
            [](file& f) { f.put(f.dictionary_position(2), f.template get<std::uint32_t>(f.dictionary_position(1))); },
            {{finding_code::dictionary_key_repeated, 1, {}, "T/PLAIN"}});
        add("event mask", [](file& f) { f.put(dictionary_field(f, 1, offsetof(entry, ev_mask)), 0U); },
            {{finding_code::dictionary_event_mask, 1, {}, "T/LZO"}});
        add("type mask", [](file& f) { f.put(dictionary_field(f, 1, offsetof(entry, dtype_mask)), 0U); },
            {{finding_code::dictionary_type_mask, 1, {}, "T/LZO"}});
        for (const std::int32_t by : {-1, 1, -100, 100}) {
            add("count",
                [=](file& f) { increase<std::int32_t>(f, dictionary_field(f, 2, offsetof(entry, count)), by); },
                {{finding_code::dictionary_count, 1, {}, "T/PLAIN", {}, plain_trace}});
        }
    }
};

} // namespace inspect_test

#endif
