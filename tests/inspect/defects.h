// Defects, each made on its own, and what a check must find for it.
#ifndef TROX_TESTS_INSPECT_DEFECTS_H
#define TROX_TESTS_INSPECT_DEFECTS_H

#include "checked_file.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <type_traits>

namespace inspect_test
{

using ti::finding_code;
using ti::item_kind;

struct expected_finding {
    finding_code code;
    std::uint64_t count = 1;
    std::optional<std::uint64_t> offset{}; ///< of the first one
    std::string channel{};
    std::optional<std::uint64_t> event{};
    std::optional<std::uint64_t> record{};
};

template <class T> struct defect {
    const char* name;
    std::function<void(trox_test::data_file<T>&)> damage;
    std::function<std::vector<expected_finding>(const trox_test::data_file<T>&)> found;
    std::uint64_t damaged = 0; ///< records that the summary must call damaged
};

template <class T> class defect_table
{
public:
    using file = trox_test::data_file<T>;
    using word = typename T::word;
    using subhead = typename T::subhead;
    using references = typename T::reference_table;
    static constexpr bool has_checks = T::has_trailer_checks;
    static constexpr bool is_wide = sizeof(word) == 8;
    static constexpr std::size_t word_size = sizeof(word);
    static constexpr std::size_t basket_head = 2 * word_size;

    std::vector<defect<T>> all()
    {
        add_of_the_file();
        add_of_references();
        add_of_tables();
        add_of_the_index();
        add_of_event_headers();
        add_of_the_dictionary();
        add_of_rows();
        add_of_blocks();
        add_of_baskets();
        add_of_records();
        add_of_streams();
        add_of_values();
        return std::move(table_);
    }

private:
    using damage = std::function<void(file&)>;
    using found = std::function<std::vector<expected_finding>(const file&)>;

    void add(const char* name, damage how, found what, std::uint64_t damaged = 0)
    {
        table_.push_back({name, std::move(how), std::move(what), damaged});
    }
    void add(const char* name, damage how, std::vector<expected_finding> what, std::uint64_t damaged = 0)
    {
        add(
            name, std::move(how), [what](const file&) { return what; }, damaged);
    }

    // Where things are.
    static std::uint64_t subhead_at(const file& f, std::size_t column, std::size_t row)
    {
        return f.row(column, row).chhd;
    }
    static std::uint64_t payload_at(const file& f, std::size_t column, std::size_t row)
    {
        return subhead_at(f, column, row) + sizeof(subhead);
    }
    static std::uint64_t event_at(const file& f, std::size_t row)
    {
        return f.row(plain_trace, row).evhd;
    }
    static std::uint64_t block_at(const file& f, std::size_t row)
    {
        return f.row(plain_trace, row).sbhd;
    }
    static std::uint64_t index_entry_at(const file& f)
    {
        return f.map().event_index.position + 2 * word_size; // events of type NORMAL
    }
    static constexpr std::size_t index_head = is_wide ? 48 : 32;
    static constexpr std::size_t index_info = is_wide ? 24 : 16;
    static std::uint64_t info_at(const file& f, std::size_t i)
    {
        return index_entry_at(f) + index_head + i * index_info;
    }
    static std::uint64_t basket_at(const file& f, std::size_t column)
    {
        return f.map().channels[column].position;
    }
    static std::uint64_t dictionary_field(const file& f, std::size_t column, std::size_t offset)
    {
        return f.dictionary_position(column) + offset;
    }

    template <class Integer> static void increase(file& f, std::uint64_t at, std::int64_t by)
    {
        f.put(at, static_cast<Integer>(static_cast<std::int64_t>(f.template get<Integer>(at)) + by));
    }
    static void flip(file& f, std::uint64_t at)
    {
        f.bytes().at(at) ^= 0x55;
    }

    static void set_byte(file& f, std::uint64_t at, int value)
    {
        f.bytes().at(at) = static_cast<std::uint8_t>(value);
    }

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

    void add_of_rows()
    {
        add("number of rows", [](file& f) { increase<word>(f, f.map().pointers.position + 2 * word_size, 1); },
            {{finding_code::pointers_columns}});
        add("fewer rows than records",
            [](file& f) { increase<word>(f, f.map().pointers.position + 2 * word_size, -1); },
            {{finding_code::pointers_columns}});
        add(
            "row of zeros", [](file& f) { f.put_row(plain_trace, 1, {}); },
            [](const file& f) {
                return std::vector<expected_finding>{
                    {finding_code::row_empty, 1, f.row_position(plain_trace, 1), "T/PLAIN", {}, 1}};
            });
        add("byte in a spare row", [](file& f) { f.put_word(f.row_position(no_records, 2), 77); },
            {{finding_code::row_unused, 1, {}, "T/NONE", {}, 2}});
        const auto change = [](std::size_t column, std::size_t row, auto how) {
            return [=](file& f) {
                auto positions = f.row(column, row);
                how(positions, f);
                f.put_row(column, row, positions);
            };
        };
        const auto at_row = [](finding_code code, std::size_t column, std::uint64_t row) {
            return [=](const file& f) {
                return std::vector<expected_finding>{
                    {code, 1, f.row_position(column, row), channel_names[column], {}, row}};
            };
        };
        add("event header of a row", change(plain_trace, 1, [](auto& row, const file&) { row.evhd += 2; }),
            at_row(finding_code::row_event, plain_trace, 1), 1);
        add("server block of a row", change(plain_trace, 1, [](auto& row, const file&) { row.sbhd += 2; }),
            at_row(finding_code::row_block, plain_trace, 1), 1);
        add("server block of a row outside its basket",
            change(plain_trace, 1, [](auto& row, const file&) { row.sbhd = 17; }),
            at_row(finding_code::row_block, plain_trace, 1), 1);
        add("server block of another event",
            change(plain_trace, 1, [](auto& row, const file& f) { row.sbhd = f.row(plain_trace, 2).sbhd; }),
            at_row(finding_code::row_block, plain_trace, 1), 1);
        add("event of a row", change(plain_trace, 1, [](auto& row, const file& f) { row.evhd = f.row(slow, 2).evhd; }),
            at_row(finding_code::row_block, plain_trace, 1), 1);
        add(
            "sub-head of a row", change(plain_trace, 1, [](auto& row, const file&) { row.chhd += 1; }),
            [=](const file& f) {
                auto what = at_row(finding_code::row_subhead, plain_trace, 1)(f);
                return what;
            },
            1);
        add("sub-head of the first row", change(plain_trace, 0, [](auto& row, const file&) { row.chhd = 17; }),
            at_row(finding_code::row_subhead, plain_trace, 0), 1);
        add("value of a slow record outside its basket", change(slow, 1, [](auto& row, const file&) { row.data = 20; }),
            at_row(finding_code::row_data, slow, 1), 1);
        add("data position of a plain record", change(plain_trace, 1, [](auto& row, const file&) { row.data += 4; }),
            at_row(finding_code::row_data_offset, plain_trace, 1));
        add("two records in one event",
            change(names, 1,
                   [](auto& row, const file& f) {
                       row.evhd = f.row(names, 0).evhd;
                       row.sbhd = f.row(names, 0).sbhd;
                   }),
            {{finding_code::row_repeated, 1, {}, "T/NAMES", first_number, 1},
             {finding_code::block_channels, 1, {}, {}, first_number}});
        add("same record in two rows",
            change(plain_trace, 2,
                   [](auto& row, const file& f) {
                       row.chhd = f.row(plain_trace, 1).chhd;
                       row.data = f.row(plain_trace, 1).data;
                   }),
            {{finding_code::record_overlap, 1, {}, "T/PLAIN", first_number + 2, 2}});
    }

    void add_of_blocks()
    {
        using head = typename T::server_block_head;
        const auto at_block = [](finding_code code) {
            return [=](const file& f) {
                return std::vector<expected_finding>{{code, 1, block_at(f, 1), {}, first_number + 1}};
            };
        };
        if constexpr (is_wide) {
            add(
                "pattern of a server block", [](file& f) { flip(f, block_at(f, 1) + 7); },
                at_block(finding_code::block_pattern));
            add(
                "padding of a server block", [](file& f) { flip(f, block_at(f, 1) + sizeof(head) - 1); },
                at_block(finding_code::padding));
        }
        add(
            "length of a server block",
            [](file& f) {
                increase<std::conditional_t<is_wide, std::int64_t, std::int32_t>>(
                    f, block_at(f, 1) + offsetof(head, ltotal), 8);
            },
            at_block(finding_code::block_length));
        add(
            "impossible length of a server block",
            [](file& f) {
                f.put(block_at(f, 1) + offsetof(head, ltotal),
                      std::conditional_t<is_wide, std::int64_t, std::int32_t>{-5});
            },
            at_block(finding_code::block_head));
        add(
            "number of channels in a server block",
            [](file& f) { increase<std::int32_t>(f, block_at(f, 1) + offsetof(head, nchan), 1); },
            at_block(finding_code::block_channels));
        add(
            "too few channels in a server block",
            [](file& f) { increase<std::int32_t>(f, block_at(f, 1) + offsetof(head, nchan), -1); },
            at_block(finding_code::block_channels));
        add(
            "impossible number of channels",
            [](file& f) { f.put(block_at(f, 1) + offsetof(head, nchan), std::int32_t{-1}); },
            at_block(finding_code::block_head));
        add(
            "name of a server", [](file& f) { set_byte(f, block_at(f, 1) + offsetof(head, server), 7); },
            at_block(finding_code::block_head));
        add(
            "bytes behind the name of a server",
            [](file& f) { set_byte(f, block_at(f, 1) + offsetof(head, server) + 20, 7); },
            at_block(finding_code::padding));
        add(
            "time of a server block",
            [](file& f) { increase<std::uint32_t>(f, block_at(f, 1) + offsetof(head, time), 3600); },
            at_block(finding_code::block_time));
        add(
            "microseconds of a server block",
            [](file& f) { increase<std::uint32_t>(f, block_at(f, 1) + offsetof(head, time) + 4, 1000000); },
            at_block(finding_code::microseconds));
    }

    void add_of_baskets()
    {
        const auto at_basket = [](finding_code code) {
            return [=](const file& f) {
                return std::vector<expected_finding>{{code, 1, basket_at(f, plain_trace), "T/PLAIN"}};
            };
        };
        add(
            "pattern of a basket", [](file& f) { flip(f, basket_at(f, plain_trace) + word_size - 1); },
            at_basket(finding_code::basket_pattern));
        add(
            "length of a basket behind the end",
            [](file& f) { f.put_word(basket_at(f, plain_trace) + word_size, f.bytes().size()); },
            at_basket(finding_code::basket_length));
        add(
            "length of a basket in front of its records",
            [](file& f) { f.put_word(basket_at(f, plain_trace) + word_size, 100); },
            at_basket(finding_code::basket_length));
        add(
            "length of a basket into the next",
            [](file& f) { increase<word>(f, basket_at(f, plain_trace) + word_size, 20); },
            [](const file& f) {
                return std::vector<expected_finding>{{finding_code::item_overlap, 1, basket_at(f, names), "T/NAMES"}};
            });
        add(
            "no head of a basket",
            [](file& f) {
                f.put_word(basket_at(f, plain_trace), 0);
                f.put_word(basket_at(f, plain_trace) + word_size, 0);
            },
            [](const file& f) {
                return std::vector<expected_finding>{
                    {finding_code::basket_position, 1, f.row_position(plain_trace, 0), "T/PLAIN"}};
            });
    }

    /// A finding at record 1 of a channel.
    static found at_record(finding_code code, channel one, std::uint64_t behind = 0)
    {
        return [=](const file& f) {
            return std::vector<expected_finding>{
                {code, 1, subhead_at(f, one, 1) + behind, channel_names[one], first_number + 1, 1}};
        };
    }

    void add_of_records()
    {
        add(
            "name in a sub-head", [](file& f) { set_byte(f, subhead_at(f, plain_trace, 1), 'X'); },
            at_record(finding_code::record_name, plain_trace), 1);
        add(
            "bytes behind the name in a sub-head",
            [](file& f) { set_byte(f, subhead_at(f, plain_trace, 1) + 20, 'X'); },
            at_record(finding_code::padding, plain_trace));
        add(
            "block type", [](file& f) { f.put(subhead_at(f, plain_trace, 1) + offsetof(subhead, dtype), 30); },
            at_record(finding_code::record_type, plain_trace), 1);
        add(
            "mark in a block type",
            [](file& f) {
                const auto at = subhead_at(f, plain_trace, 1) + offsetof(subhead, dtype);
                f.put(at, f.template get<std::uint32_t>(at) | 0x90000U);
            },
            at_record(finding_code::record_mark, plain_trace));
        add(
            "unassigned error bit",
            [](file& f) { f.put(subhead_at(f, plain_trace, 1) + offsetof(subhead, error), 0x08000000U); },
            at_record(finding_code::record_error_bits, plain_trace));
        add(
            "length of a record behind its basket",
            [](file& f) { f.put(subhead_at(f, plain_trace, 1) + offsetof(subhead, ldata), 0x7FFFFFFF); },
            at_record(finding_code::record_length, plain_trace), 1);
        add(
            "negative length of a record",
            [](file& f) { f.put(subhead_at(f, zlib_trace, 1) + offsetof(subhead, ldata), -1); },
            at_record(finding_code::record_length, zlib_trace), 1);
        add(
            "length of a compressed record",
            [](file& f) { increase<std::int32_t>(f, subhead_at(f, zlib_trace, 1) + offsetof(subhead, ldata), 1); },
            at_record(finding_code::record_length_inexact, zlib_trace));
        add(
            "length of a slow record",
            [](file& f) { increase<std::int32_t>(f, subhead_at(f, slow, 1) + offsetof(subhead, ldata), -1); },
            at_record(finding_code::record_length_inexact, slow));
        add(
            "length of a record into the next",
            [](file& f) { increase<std::int32_t>(f, subhead_at(f, plain_trace, 1) + offsetof(subhead, ldata), 30); },
            [](const file& f) {
                return std::vector<expected_finding>{
                    {finding_code::record_overlap, 1, subhead_at(f, plain_trace, 2), "T/PLAIN", {}, 2}};
            });
    }

    void add_of_streams()
    {
        constexpr std::size_t zip = sizeof(subhead);
        constexpr std::size_t stream = zip + sizeof(trox_zip_header);
        for (const channel one : {zlib_trace, lzo_trace}) {
            if (one == lzo_trace && !tw::has_lzo()) {
                continue;
            }
            add(
                "compressor", [=](file& f) { f.put(subhead_at(f, one, 1) + zip, 4U); },
                at_record(finding_code::record_zip, one, zip), 1);
            add(
                "compressed length behind the basket",
                [=](file& f) { f.put(subhead_at(f, one, 1) + zip + 8, 0x7FFFFFFFU); },
                at_record(finding_code::record_zip, one, zip), 1);
            add(
                "decompressed length that cannot be",
                [=](file& f) { f.put(subhead_at(f, one, 1) + zip + 4, 0x10000000U); },
                at_record(finding_code::record_zip, one, zip), 1);
            add(
                "decompressed length too small",
                [=](file& f) { increase<std::uint32_t>(f, subhead_at(f, one, 1) + zip + 4, -1); },
                at_record(finding_code::record_stream_length, one, stream), 1);
            add(
                "decompressed length too large",
                [=](file& f) { increase<std::uint32_t>(f, subhead_at(f, one, 1) + zip + 4, 1); },
                at_record(finding_code::record_stream_length, one, stream), 1);
        }
        add(
            "byte of a zlib stream",
            [](file& f) { flip(f, payload_at(f, zlib_trace, 1) + sizeof(trox_zip_header) + 4); },
            at_record(finding_code::record_stream, zlib_trace, stream), 1);
        add(
            "checksum of a zlib stream",
            [](file& f) {
                const auto at = payload_at(f, zlib_trace, 1);
                flip(f, at + sizeof(trox_zip_header) + f.template get<std::uint32_t>(at + 8) - 1);
            },
            at_record(finding_code::record_stream, zlib_trace, stream), 1);
        if (tw::has_lzo()) {
            // A match at the very begin, where there is nothing to repeat.
            add(
                "first byte of an LZO stream",
                [](file& f) { set_byte(f, payload_at(f, lzo_trace, 1) + sizeof(trox_zip_header), 0x10); },
                at_record(finding_code::record_stream, lzo_trace, stream), 1);
        }
    }

    void add_of_values()
    {
        add(
            "samples announced", [](file& f) { increase<std::int32_t>(f, payload_at(f, plain_trace, 1) + 4, 1); },
            at_record(finding_code::record_announced, plain_trace), 1);
        add(
            "negative number of members", [](file& f) { f.put(payload_at(f, plain_trace, 1), -1); },
            at_record(finding_code::record_announced, plain_trace), 1);
        add(
            "named values announced",
            [](file& f) { f.put(payload_at(f, names, 1) + offsetof(trox_name_value_block, ndata), 3); },
            at_record(finding_code::record_announced, names), 1);
        add(
            "name of a slow value", [](file& f) { set_byte(f, f.row(slow, 1).data, 'X'); },
            at_record(finding_code::record_value_name, slow, sizeof(subhead)), 1);
        add("microseconds of a slow value",
            [](file& f) {
                increase<std::uint32_t>(f, f.row(slow, 1).data + offsetof(typename T::update_block, upd_ch_time) + 4,
                                        1000000);
            },
            {{finding_code::microseconds, 1, {}, "T/SLOW", {}, 1}});
        add(
            "index of an environment value", [](file& f) { f.put(f.row(environment, 1).data, 6); },
            at_record(finding_code::record_value_index, environment, sizeof(subhead)), 1);
        add("character of the descriptions",
            [](file& f) { set_byte(f, f.map().descriptions.position + basket_head, 'x'); },
            {{finding_code::descriptions_text}});
        add("name in the descriptions",
            [](file& f) {
                const std::string wanted = "T/NONE";
                const auto begin = f.bytes().begin() + static_cast<std::ptrdiff_t>(f.map().descriptions.position);
                const auto end = begin + static_cast<std::ptrdiff_t>(f.map().descriptions.length);
                *std::search(begin, end, wanted.begin(), wanted.end()) = 'X';
            },
            {{finding_code::descriptions_channel, 1, {}, "X/NONE"}});
        add(
            "key in the environment dictionary",
            [](file& f) { f.put(f.map().environment.position + basket_head, 77U); },
            {{finding_code::record_value_index, 3, {}, "T/ENV"}, {finding_code::environment_key}}, 3);
    }

    std::vector<defect<T>> table_;
};

} // namespace inspect_test

#endif
