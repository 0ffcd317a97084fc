// A small data file of tables only, typed by hand: three channels, two rows each, two event types.
#ifndef TROX_TEST_TABLE_FILE_H
#define TROX_TEST_TABLE_FILE_H

#include "byte_builder.h"
#include "evutl_api.h"
#include "memory_file.h"

#include <zlib.h>

namespace trox_test
{

inline constexpr std::string_view description_text = "<channels><channel daq_name=\"A\"/></channels>";

/// Where the tables lie, so that a test can damage one word of them.
struct table_positions {
    std::size_t event_index;
    std::size_t first_index_entry;
    std::size_t second_index_entry;
    std::size_t dictionary;
    std::size_t pointers;
    std::size_t environment;
    std::size_t descriptions;
    std::size_t references;
    std::size_t trailer;
};

template <class Api> class table_file
{
public:
    using word = typename Api::word;
    static constexpr std::size_t word_size = sizeof(word);

    table_file()
    {
        build_.text("TROXDAQ", 8).word(2009).word(0);
        add_event_index();
        add_dictionary();
        add_pointers();
        add_environment();
        at_.descriptions = build_.size();
        words(0xCDACDAF3, 2 * word_size + description_text.size());
        build_.raw(description_text);
        build_.fill(1); // so that the reference table begins at an odd position or not, as it comes
        at_.references = build_.size();
        add_references();
        at_.trailer = build_.size();
        add_trailer();
    }

    byte_builder& builder()
    {
        return build_;
    }

    const table_positions& at() const
    {
        return at_;
    }

    void patch_word(std::size_t position, std::uint64_t value)
    {
        build_.patch(position, static_cast<word>(value));
    }

    /// Makes the trailer's checksum right again after a change to the reference table.
    void update_checksum()
    {
        if (Api::trailer_size > word_size) {
            const auto* bytes = build_.bytes().data() + at_.references;
            patch_word(at_.trailer + word_size,
                       crc32(crc32(0, nullptr, 0), bytes, sizeof(typename Api::reference_table)));
        }
    }

    /// The references as a reader would give them, without reading the file.
    typename Api::reference_table references() const
    {
        typename Api::reference_table table{};
        table.pattern = Api::reference_pattern;
        table.length = sizeof table;
        table.eit_pos_ref = static_cast<word>(at_.event_index);
        table.cdt_ref = static_cast<word>(at_.dictionary);
        table.ecp_ref = static_cast<word>(at_.pointers);
        table.eidt_ref = static_cast<word>(at_.environment);
        table.xcd_ref = static_cast<word>(at_.descriptions);
        return table;
    }

private:
    void words(std::uint64_t first, std::uint64_t second)
    {
        build_.integer(static_cast<word>(first)).integer(static_cast<word>(second));
    }

    void add_event_index()
    {
        constexpr std::size_t head = sizeof(typename Api::event_index_head);
        constexpr std::size_t info = sizeof(typename Api::event_info);
        at_.event_index = build_.size();
        words(0xEDAEDAF3, 2);
        at_.first_index_entry = build_.size();
        add_index_head(1, {1000, 250000}, {1001, 750000}, 71, 72, head + 2 * info);
        build_.word(1000).word(250000).integer(word{71}).integer(word{24});
        build_.word(1001).word(750000).integer(word{72}).integer(word{60});
        at_.second_index_entry = build_.size();
        add_index_head(5, {1000, 300000}, {1000, 300000}, 71, 71, head + info);
        build_.word(1000).word(300000).integer(word{71}).integer(word{96});
    }

    void add_index_head(word type, time_stamp first, time_stamp last, word number_first, word number_last,
                        std::size_t length)
    {
        build_.integer(type).word(first.timeup).word(first.timelow).word(last.timeup).word(last.timelow);
        build_.integer(number_first).integer(number_last).integer(static_cast<word>(length));
    }

    void add_dictionary()
    {
        at_.dictionary = build_.size();
        words(0xDCADCAF3, 2 * word_size + 3 * sizeof(typename Api::dictionary_entry));
        constexpr std::size_t field = sizeof(Api::dictionary_entry::chan_name);
        build_.word(11).text("A", field).word(2).word(0x200).word(2);
        build_.word(12).text(std::string(field, 'B'), field).word(0x22).word(0x8000).word(1); // no closing NUL
        build_.word(0xFFFFFFFF).text("C/LONGER.NAME", field).word(32).word(2).word(0);
    }

    /// Row r of column c holds the positions 1000 c + 10 r + (1, 2, 3, 4).
    void add_pointers()
    {
        at_.pointers = build_.size();
        words(0xECAECAF3, 3 * word_size + 6 * sizeof(typename Api::pointers_entry));
        build_.integer(word{2});
        for (unsigned column = 0; column < 3; ++column) {
            for (unsigned row = 0; row < 2; ++row) {
                for (unsigned field = 1; field <= 4; ++field) {
                    build_.integer(static_cast<word>(1000 * column + 10 * row + field));
                }
            }
        }
    }

    void add_environment()
    {
        at_.environment = build_.size();
        words(0xEAAEAAF3, 2 * word_size + 2 * 8);
        build_.word(501).word(1).word(502).word(0xFFFFFFFE);
    }

    void add_references()
    {
        words(Api::reference_pattern, sizeof(typename Api::reference_table));
        build_.integer(static_cast<word>(at_.event_index));
        for (int type = 0; type < 32; ++type) {
            const std::size_t entry = type == 1 ? at_.first_index_entry : type == 5 ? at_.second_index_entry : 0;
            build_.integer(static_cast<word>(entry));
        }
        for (const std::size_t position : {at_.dictionary, at_.pointers, at_.environment, at_.descriptions}) {
            build_.integer(static_cast<word>(position));
        }
        words(901, 902);
        build_.integer(word{903});
    }

    void add_trailer()
    {
        build_.integer(static_cast<word>(at_.references));
        if (Api::trailer_size > word_size) {
            words(0, Api::trailer_pattern);
            update_checksum();
        }
    }

    byte_builder build_;
    table_positions at_{};
};

} // namespace trox_test

#endif
