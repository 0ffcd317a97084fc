#include "file_checker.h"

#include "checked_bytes.h"

#include <zlib.h>
#if TROX_WITH_LZO
#include <lzo/lzo1x.h>
#endif

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

namespace writer_test
{
namespace
{

class checker : private checked_bytes
{
public:
    explicit checker(const std::string& path) : checked_bytes(read_file(path)) {}

    checked_file run()
    {
        try {
            parse();
        } catch (const std::exception& failure) {
            problem(failure.what());
        }
        return std::move(file_);
    }

private:
    void parse()
    {
        require(0, 16);
        if (std::string(bytes_.begin(), bytes_.begin() + 8) != std::string("TROXDAQ\0", 8)) {
            problem("the file head is wrong");
        }
        file_.generation = u32(8);
        expect(u32(12), 0, "the second word of the file head");
        s_ = file_.generation == 2009 ? legacy_shape : file_.generation == 2010 ? shape_2010 : shape_2024;
        range("head", 0, 16);
        parse_trailer();
        parse_events();
        parse_blocks();
        parse_dictionary();
        parse_pointers();
        parse_environment();
        parse_descriptions();
        check_blocks();
        check_ranges();
    }

    void parse_trailer()
    {
        const auto at = bytes_.size() - s_.trailer;
        range("trailer", at, s_.trailer);
        references_ = word(at);
        range("references", references_, s_.references);
        if (s_.trailer_pattern != 0) {
            expect(word(at + 2 * s_.word), s_.trailer_pattern, "the trailer's pattern");
            const auto crc = crc32(0, &bytes_[references_], static_cast<uInt>(s_.references));
            expect(word(at + s_.word), crc, "the trailer's CRC");
        }
        expect(word(references_), s_.reference_pattern, "the reference table's pattern");
        expect(word(references_ + s_.word), s_.references, "the reference table's length");
    }

    // Word `index` of the reference table behind its head: 0 event index, 1 to 32 its entries, 33 dictionary,
    // 34 pointers, 35 environment, 36 descriptions, 37 event headers, 38 server blocks, 39 channel.
    std::uint64_t reference(std::uint64_t index) const
    {
        return word(references_ + (2 + index) * s_.word);
    }

    void parse_events()
    {
        event_basket_ = reference(37);
        const auto length = table("event headers", event_basket_, 0xEBAEBAF3);
        const auto first = event_basket_ + 2 * s_.word;
        expect((length - 2 * s_.word) % s_.event, 0, "the rest of the event headers");
        for (auto at = first; at < event_basket_ + length; at += s_.event) {
            parse_event(at);
        }
        const auto index = reference(0);
        expect(word(index), 0xEDAEDAF3U, "the event index table's pattern");
        const auto types = word(index + s_.word);
        auto at = index + 2 * s_.word;
        std::uint64_t indexed = 0;
        std::set<std::uint64_t> seen;
        for (std::uint64_t i = 0; i < types; ++i) {
            at += parse_index_entry(at, indexed, seen);
        }
        range("event index", index, at - index);
        expect(indexed, file_.events.size(), "the number of indexed events");
        for (std::uint64_t type = 0; type < 32; ++type) {
            if (seen.count(type) == 0) {
                expect(reference(1 + type), 0, "the reference of event type " + std::to_string(type));
            }
        }
    }

    void parse_event(std::uint64_t at)
    {
        const bool wide = s_.word == 8;
        checked_event event;
        expect(u32(at), s_.event_pattern, "an event header's pattern");
        event.length = wide ? number(at + 8, 8) : u32(at + 4);
        event.number = wide ? number(at + 16, 8) : u32(at + 8);
        event.type = u32(at + (wide ? 4 : 12));
        const auto rest = at + (wide ? 24 : 16);
        event.seconds = u32(rest);
        event.microseconds = u32(rest + 4);
        event.tmask = i32(rest + 8);
        event.status = i32(rest + 12);
        event.blocks = u32(rest + 16);
        file_.events[at] = event;
    }

    std::uint64_t parse_index_entry(std::uint64_t at, std::uint64_t& indexed, std::set<std::uint64_t>& seen)
    {
        const auto head = 4 * s_.word + 16;
        const auto info = 2 * s_.word + 8;
        const auto type = word(at);
        seen.insert(type);
        expect(reference(1 + type), at, "the reference of event type " + std::to_string(type));
        const auto length = word(at + 3 * s_.word + 16);
        expect((length - head) % info, 0, "the rest of an index entry");
        using moment = std::pair<std::uint64_t, std::uint64_t>; // time, number
        std::vector<moment> events;
        for (auto i = at + head; i < at + length; i += info, ++indexed) {
            const auto position = word(i + 8 + s_.word);
            if (file_.events.count(position) == 0) {
                throw std::runtime_error("an index entry points at no event header");
            }
            const auto& event = file_.events[position];
            expect(event.type, type, "the type of an indexed event");
            expect(event.seconds, u32(i), "the seconds of an indexed event");
            expect(event.microseconds, u32(i + 4), "the microseconds of an indexed event");
            expect(event.number, word(i + 8), "the number of an indexed event");
            events.emplace_back(std::uint64_t{event.seconds} * 1000000 + event.microseconds, event.number);
        }
        const auto by_time = [](const moment& a, const moment& b) { return a.first < b.first; };
        const auto time_at = [&](std::uint64_t p) { return std::uint64_t{u32(p)} * 1000000 + u32(p + 4); };
        const auto first = *std::min_element(events.begin(), events.end(), by_time);
        const auto last = *std::max_element(events.begin(), events.end(), by_time);
        expect(time_at(at + s_.word), first.first, "the first time of an index entry");
        expect(time_at(at + s_.word + 8), last.first, "the last time of an index entry");
        expect(word(at + s_.word + 16), first.second, "the first number of an index entry");
        expect(word(at + 2 * s_.word + 16), last.second, "the last number of an index entry");
        return length;
    }

    // Server block heads lie in the order of the events that they belong to.
    void parse_blocks()
    {
        const auto basket = reference(38);
        const auto length = table("server blocks", basket, 0xBBABBAF3);
        auto at = basket + 2 * s_.word;
        for (const auto& [position, event] : file_.events) {
            std::uint64_t total = s_.event;
            for (std::uint32_t i = 0; i < event.blocks; ++i, at += s_.block) {
                auto block = parse_block(at);
                block.event_position = position;
                total += block.ltotal;
                file_.blocks[at] = block;
            }
            expect(event.length, total, "an event's length");
        }
        expect(at, basket + length, "the end of the server block heads");
    }

    checked_block parse_block(std::uint64_t at)
    {
        const bool wide = s_.word == 8;
        checked_block block;
        if (wide) {
            expect(number(at, 8), 0xFFBBFF24U, "a server block's pattern");
        }
        const auto time = at + (wide ? 24 : 0);
        block.ltotal = wide ? number(at + 8, 8) : u32(at + 8);
        block.mpulse = wide ? static_cast<std::int64_t>(number(at + 16, 8)) : i32(at + 12);
        block.seconds = u32(time);
        block.microseconds = u32(time + 4);
        const auto name = at + (wide ? 32 : 16);
        block.server = text(name, s_.server);
        block.tmask = i32(name + s_.server);
        block.status = i32(name + s_.server + 4);
        block.channels = u32(name + s_.server + 8);
        return block;
    }

    void parse_dictionary()
    {
        const auto at = reference(33);
        const auto length = table("dictionary", at, 0xDCADCAF3);
        std::set<std::uint32_t> keys;
        std::set<std::string> names;
        for (auto i = at + 2 * s_.word; i < at + length; i += s_.entry) {
            checked_channel channel;
            channel.key = u32(i);
            channel.name = text(i + 4, s_.name);
            channel.event_mask = u32(i + 4 + s_.name);
            channel.dtype_mask = u32(i + 8 + s_.name);
            channel.records.resize(u32(i + 12 + s_.name));
            if (!keys.insert(channel.key).second || !names.insert(channel.name).second) {
                problem("channel " + channel.name + " repeats a key or a name");
            }
            file_.channels.push_back(std::move(channel));
        }
        expect(at + 2 * s_.word + file_.channels.size() * s_.entry, at + length, "the end of the dictionary");
    }

    void parse_pointers()
    {
        const auto at = reference(34);
        const auto length = table("pointers", at, 0xECAECAF3);
        file_.rows = word(at + 2 * s_.word);
        const auto row = 4 * s_.word;
        expect(length, 3 * s_.word + file_.channels.size() * file_.rows * row, "the pointers table's length");
        auto column = at + 3 * s_.word;
        std::uint64_t first_basket = 0;
        for (auto& channel : file_.channels) {
            if (channel.records.size() > file_.rows) {
                throw std::runtime_error("more records than rows");
            }
            for (std::size_t i = 0; i < channel.records.size(); ++i) {
                auto& record = channel.records[i];
                record.event_position = word(column + i * row);
                record.block_position = word(column + i * row + s_.word);
                record.head_position = word(column + i * row + 2 * s_.word);
                record.data_position = word(column + i * row + 3 * s_.word);
            }
            const auto rest = part(column + channel.records.size() * row, (file_.rows - channel.records.size()) * row);
            if (std::any_of(rest.begin(), rest.end(), [](unsigned char c) { return c != 0; })) {
                problem("the unused rows of " + channel.name + " are not zero");
            }
            column += file_.rows * row;
            parse_channel(channel);
            first_basket = first_basket == 0 ? channel.basket : first_basket;
        }
        expect(reference(39), first_basket, "the reference of the first channel's basket");
    }

    void parse_channel(checked_channel& channel)
    {
        if (channel.records.empty()) {
            return;
        }
        channel.basket = channel.records.front().head_position - 2 * s_.word;
        channel.basket_length = table("basket of " + channel.name, channel.basket, 0xCBACBAF3);
        std::uint32_t events = 0;
        std::uint32_t types = 0;
        std::set<std::pair<std::uint64_t, std::uint64_t>> parts; // heads once, data once
        for (auto& record : channel.records) {
            parse_record(channel, record, parts);
            events |= 1U << record.event_type;
            types |= 1U << (static_cast<std::uint32_t>(record.dtype) & 31U);
        }
        expect(channel.event_mask, events, "the event mask of " + channel.name);
        expect(channel.dtype_mask, types, "the type mask of " + channel.name);
        std::uint64_t end = channel.basket + 2 * s_.word;
        for (const auto& [position, length] : parts) {
            if (position < end) {
                problem("records of " + channel.name + " overlap at " + std::to_string(position));
            }
            end = position + length;
        }
        if (end > channel.basket + channel.basket_length) {
            problem("records of " + channel.name + " pass their basket");
        }
    }

    std::uint64_t slow_size(std::int32_t dtype) const
    {
        const bool legacy = s_.subhead == 44;
        if (dtype == 3) {
            return 20;
        }
        if (legacy && (dtype == 1 || dtype == 4 || dtype == 5)) {
            return 96;
        }
        return !legacy && (dtype == 33 || dtype == 36 || dtype == 37) ? 272 : 0;
    }

    void parse_record(const checked_channel& channel, checked_record& record,
                      std::set<std::pair<std::uint64_t, std::uint64_t>>& parts)
    {
        const auto at = record.head_position;
        const auto name = channel.name.substr(0, channel.name.find(':')).substr(0, s_.chname - 1);
        if (text(at, s_.chname) != name) {
            problem("a sub-head of " + channel.name + " has another name");
        }
        record.dtype = i32(at + s_.chname);
        record.error = u32(at + s_.chname + 4);
        record.ldata = i32(at + s_.chname + 8);
        std::uint64_t stored = 0;
        const auto slow = slow_size(record.dtype);
        if ((record.error & 0x40000000U) != 0) {
            stored = read_compressed(record);
            parts.emplace(at, stored);
        } else if (slow > 0 && record.ldata >= static_cast<std::int64_t>(s_.subhead + slow)) {
            // One's own data, or data elsewhere, or data behind a shared sub-head.
            record.payload = part(record.data_position, slow);
            stored = s_.subhead + slow;
            parts.emplace(at, s_.subhead);
            parts.emplace(record.data_position, slow);
            expect((static_cast<std::uint64_t>(record.ldata) - s_.subhead) % slow, 0, "the rest of ldata");
        } else {
            stored = static_cast<std::uint64_t>(record.ldata);
            record.payload = part(at + s_.subhead, stored - s_.subhead);
            expect(record.data_position, at + s_.subhead, "a data position of " + channel.name);
            parts.emplace(at, stored);
        }
        link(channel, record, stored);
    }

    std::uint64_t read_compressed(checked_record& record)
    {
        const auto zip = record.head_position + s_.subhead;
        record.zip_flags = u32(zip);
        const auto original = u32(zip + 4);
        const auto zipped = u32(zip + 8);
        expect(record.ldata, s_.subhead + 12 + zipped, "a compressed record's ldata");
        expect(record.data_position, record.head_position + s_.subhead, "a compressed record's data position");
        const auto from = part(zip + 12, zipped);
        record.payload.resize(original);
        if (record.zip_flags == 1) {
            uLongf length = original;
            const auto result = uncompress(record.payload.data(), &length, from.data(), zipped);
            expect(result, Z_OK, "uncompress");
            expect(length, original, "a decompressed length");
        } else {
            decompress_lzo(record, from);
        }
        return s_.subhead + 12 + zipped;
    }

#if TROX_WITH_LZO
    void decompress_lzo(checked_record& record, const std::vector<unsigned char>& from)
    {
        expect(record.zip_flags, 2, "the zip flags");
        lzo_uint length = record.payload.size();
        const auto result = lzo1x_decompress_safe(from.data(), from.size(), record.payload.data(), &length, nullptr);
        expect(result, LZO_E_OK, "lzo1x_decompress_safe");
        expect(length, record.payload.size(), "a decompressed length");
    }
#else
    void decompress_lzo(checked_record& record, const std::vector<unsigned char>&)
    {
        expect(record.zip_flags, 1, "the zip flags");
    }
#endif

    void link(const checked_channel& channel, checked_record& record, std::uint64_t stored)
    {
        const auto event = file_.events.find(record.event_position);
        const auto block = file_.blocks.find(record.block_position);
        if (event == file_.events.end() || block == file_.blocks.end()) {
            throw std::runtime_error("a row of " + channel.name + " points at no event or no server block");
        }
        expect(block->second.event_position, record.event_position, "the event of a server block");
        record.event_number = event->second.number;
        record.seconds = event->second.seconds;
        record.microseconds = event->second.microseconds;
        record.event_type = event->second.type;
        record.server = block->second.server;
        block_sums_[record.block_position].first += 1;
        block_sums_[record.block_position].second += stored;
    }

    void check_blocks()
    {
        for (const auto& [position, block] : file_.blocks) {
            const auto& [records, bytes] = block_sums_[position];
            expect(block.channels, records, "a server block's number of channels");
            expect(block.ltotal, s_.block + bytes, "a server block's ltotal");
        }
    }

    void parse_environment()
    {
        const auto at = reference(35);
        if (at == 0) {
            return;
        }
        const auto length = table("environment", at, 0xEAAEAAF3);
        for (auto i = at + 2 * s_.word; i < at + length; i += 8) {
            file_.environment.emplace_back(u32(i), i32(i + 4));
        }
    }

    void parse_descriptions()
    {
        const auto at = reference(36);
        if (at == 0) {
            return;
        }
        const auto length = table("descriptions", at, 0xCDACDAF3);
        const auto text = part(at + 2 * s_.word, length - 2 * s_.word);
        if (std::any_of(text.begin(), text.end(), [](unsigned char c) { return c == 0 || c > 127; })) {
            problem("the descriptions are not ASCII");
        }
        file_.descriptions.assign(text.begin(), text.end());
    }

    void check_ranges()
    {
        auto& ranges = file_.ranges;
        std::sort(ranges.begin(), ranges.end(), [](const auto& a, const auto& b) { return a.position < b.position; });
        for (std::size_t i = 1; i < ranges.size(); ++i) {
            if (ranges[i].position < ranges[i - 1].position + ranges[i - 1].length) {
                problem(ranges[i - 1].name + " and " + ranges[i].name + " overlap");
            }
        }
    }

    std::uint64_t references_ = 0;
    std::uint64_t event_basket_ = 0;
    std::map<std::uint64_t, std::pair<std::uint64_t, std::uint64_t>> block_sums_;
};

} // namespace

std::vector<unsigned char> read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

checked_file check_file(const std::string& path)
{
    return checker(path).run();
}

} // namespace writer_test
