// Defects of rows, server blocks, baskets and records, and what a check must find.
#ifndef TROX_TESTS_INSPECT_DEFECTS_OF_RECORDS_H
#define TROX_TESTS_INSPECT_DEFECTS_OF_RECORDS_H

#include "defect.h"

#include <algorithm>

namespace inspect_test
{

template <class T> class defects_of_records : public defect_list<T>
{
public:
    defects_of_records()
    {
        add_of_rows();
        add_of_blocks();
        add_of_baskets();
        add_of_records();
        add_of_streams();
        add_of_values();
    }

private:
    TROX_DEFECT_NAMES

    void add_of_rows()
    {
        add("number of rows", [](file& f) { increase<word>(f, f.map().pointers.position + 2 * word_size, 1); },
            {{finding_code::pointers_columns}});
        add("fewer rows than records",
            [](file& f) { increase<word>(f, f.map().pointers.position + 2 * word_size, -1); },
            {{finding_code::pointers_columns}});
        for (const std::int64_t columns : {-1, -2, -5}) {
            add("length of the pointers table some columns short",
                [=](file& f) {
                    const auto column = static_cast<std::int64_t>(4 * word_size * f.rows());
                    increase<word>(f, f.map().pointers.position + word_size, columns * column);
                },
                {{finding_code::pointers_columns}});
        }
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
            "unassigned status bit of a server block",
            [](file& f) { f.put(block_at(f, 1) + offsetof(head, status), 0x80000000U); },
            at_block(finding_code::block_status));
        add(
            "pulse number of a server block",
            [](file& f) { flip(f, block_at(f, 1) + offsetof(head, mpulse) + sizeof(head::mpulse) - 1); },
            at_block(finding_code::block_pulse));
        add(
            "microseconds of a server block, more than a minute of them",
            [](file& f) { f.put(block_at(f, 1) + offsetof(head, time) + 4, 0xF0000000U); },
            at_block(finding_code::microseconds));
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
                "another flag beside the compressor",
                [=](file& f) {
                    const auto at = subhead_at(f, one, 1) + zip;
                    f.put(at, f.template get<std::uint32_t>(at) | 8U);
                },
                at_record(finding_code::record_zip_flags, one, zip));
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
        for (const channel one : {picture, wide_picture}) {
            constexpr std::size_t extended_width = offsetof(trox_image_ext_frame_head, aoi_width);
            const std::size_t width = one == picture ? offsetof(trox_image_frame_head, w) : extended_width;
            const std::size_t length =
                one == picture ? offsetof(trox_image_frame_head, length) : offsetof(trox_image_ext_frame_head, length);
            add(
                "width of an image", [=](file& f) { increase<std::int32_t>(f, payload_at(f, one, 1) + width, 1); },
                at_record(finding_code::record_image, one), 1);
            add(
                "half the length of an image", [=](file& f) { f.put(payload_at(f, one, 1) + length, 12); },
                at_record(finding_code::record_image, one), 1);
            add(
                "no length of an image", [=](file& f) { f.put(payload_at(f, one, 1) + length, 0); },
                at_record(finding_code::record_longer, one));
        }
        for (const std::size_t padding :
             {offsetof(trox_image_frame_head, padding), offsetof(trox_image_frame_head, padding2)}) {
            add(
                "padding of an image", [=](file& f) { f.put(payload_at(f, picture, 1) + padding, 3); },
                at_record(finding_code::padding, picture));
        }
        add(
            "fewer samples announced",
            [](file& f) { increase<std::int32_t>(f, payload_at(f, plain_trace, 1) + 4, -1); },
            at_record(finding_code::record_longer, plain_trace));
        add(
            "fewer named values announced",
            [](file& f) { f.put(payload_at(f, names, 1) + offsetof(trox_name_value_block, ndata), 1); },
            at_record(finding_code::record_longer, names));
        add(
            "fewer characters announced",
            [](file& f) { increase<std::int32_t>(f, payload_at(f, text, 1) + offsetof(trox_eqdata_head, length), -2); },
            at_record(finding_code::record_longer, text));
        add(
            "name of a slow value", [](file& f) { set_byte(f, f.row(slow, 1).data, 'X'); },
            at_record(finding_code::record_value_name, slow, sizeof(subhead)), 1);
        add(
            "bytes behind the name of a slow value", [](file& f) { set_byte(f, f.row(slow, 1).data + 50, 'X'); },
            at_record(finding_code::padding, slow, sizeof(subhead)));
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
        for (const std::string attribute : {"db_key=\"", "count=\"", "ev_type=\""}) {
            add("number in the descriptions",
                [=](file& f) {
                    const auto begin = f.bytes().begin() + static_cast<std::ptrdiff_t>(f.map().descriptions.position);
                    const auto end = begin + static_cast<std::ptrdiff_t>(f.map().descriptions.length);
                    *(std::search(begin, end, attribute.begin(), attribute.end()) +
                      static_cast<std::ptrdiff_t>(attribute.size())) = '5';
                },
                {{finding_code::descriptions_differ, 1, {}, "T/ZLIB", {}, 0}});
        }
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
};

} // namespace inspect_test

#endif
