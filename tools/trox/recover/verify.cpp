#include "detail/big_endian.h"
#include "detail/decompressors.h"
#include "detail/generation_2010.h"
#include "detail/generation_2024.h"
#include "detail/generation_legacy.h"
#include "event_util.h"
#include "trox_daq_read_chan.h"
#include "trox_daq_read_chan_2010.h"
#include "trox_daq_read_chan_2024.h"
#include "write.h"

#include <algorithm>
#include <cstring>

namespace trox::recovery
{
namespace
{

std::string at(const char* what, std::uint64_t position)
{
    return std::string(what) + " at " + std::to_string(position);
}

// Compares the new file with the old one, by what the reader library makes of its tables.
template <class Generation> class verifier
{
public:
    verifier(found& file, const written_file& written, const std::string& path)
        : file_(file), written_(written), out_(path), path_(path), tables_(0)
    {
    }

    std::string run()
    {
        const int code = tables_.get_all_tables(path_, 0, nullptr);
        if (code != 0) {
            return "its tables do not load, code " + std::to_string(code);
        }
        std::string wrong = check_events();
        for (std::size_t i = 0; wrong.empty() && i < written_.channels.size(); ++i) {
            wrong = check_channel(i);
        }
        return wrong.empty() ? check_other_tables() : wrong;
    }

private:
    using row = typename Generation::chan_ptr_entry;

    // Every event stands in the index once, in the order that it was written in.
    std::string check_events()
    {
        const auto* index = tables_.get_eit_table();
        const auto* entry = reinterpret_cast<const unsigned char*>(index->entries);
        std::size_t events = 0;
        for (decltype(index->nevent_types) i = 0; i < index->nevent_types; ++i) {
            const auto head = trox_detail::load_record<typename Generation::event_index_head>(entry);
            std::vector<std::uint32_t> expected;
            std::copy_if(written_.events.begin(), written_.events.end(), std::back_inserter(expected),
                         [&](std::uint32_t event) { return file_.events[event].head.type == head.event_type; });
            const auto length = static_cast<std::uint64_t>(head.length);
            const auto count = (length - sizeof head) / sizeof(typename Generation::event_info);
            if (count != expected.size()) {
                return "its event index has another number of events";
            }
            for (std::size_t k = 0; k < count; ++k) {
                const auto info = trox_detail::load_record<typename Generation::event_info>(
                    entry + sizeof head + k * sizeof(typename Generation::event_info));
                const auto& event = file_.events[expected[k]].head;
                const bool is_equal = trox_detail::big_endian(info.event_number) == event.number &&
                                      trox_detail::big_endian(info.time.timeup) == event.time.timeup &&
                                      trox_detail::big_endian(info.time.timelow) == event.time.timelow;
                if (!is_equal || !has_event(static_cast<std::uint64_t>(info.offset), event)) {
                    return "event " + std::to_string(event.number) + " differs";
                }
            }
            entry += length;
            events += count;
        }
        return events == written_.events.size() ? std::string() : "its event index has another number of events";
    }

    bool has_event(std::uint64_t position, const event_values& expected)
    {
        bytes_.resize(file_.layout.sizes().event_header);
        if (!out_.read(position, bytes_.data(), bytes_.size())) {
            return false;
        }
        const auto stored = file_.layout.event(bytes_.data());
        return stored.number == expected.number && same_time(stored.time, expected.time) &&
               stored.type == expected.type && stored.tmask == expected.tmask && stored.status == expected.status;
    }

    bool has_block(std::uint64_t position, const block& expected)
    {
        bytes_.resize(file_.layout.sizes().server_head);
        if (!out_.read(position, bytes_.data(), bytes_.size())) {
            return false;
        }
        const auto stored = file_.layout.block(bytes_.data());
        return stored.server.text == expected.head.server.text && same_time(stored.time, expected.head.time) &&
               stored.mpulse == expected.head.mpulse && stored.tmask == expected.head.tmask &&
               stored.status == expected.head.status;
    }

    std::string check_channel(std::size_t which)
    {
        const auto& expected = file_.channels[written_.channels[which]];
        const auto& entry = tables_.get_cdt_table()->entries[which];
        const auto* pointers = tables_.get_ecp_table();
        const auto& records = written_.records[which];
        const std::string name(entry.chan_name, strnlen(entry.chan_name, sizeof entry.chan_name));
        if (name != expected.name || entry.key != written_.keys[which] ||
            static_cast<std::uint64_t>(entry.count) != records.size()) {
            return "channel " + expected.name + ": its dictionary entry differs";
        }
        const auto column = which * static_cast<std::size_t>(pointers->maxev);
        for (std::size_t i = 0; i < records.size(); ++i) {
            file_.advance(file_.records[records[i]].stored);
            const auto wrong = check_record(pointers->entries[column + i], file_.records[records[i]]);
            if (!wrong.empty()) {
                return "channel " + expected.name + ", event " +
                       std::to_string(file_.events[file_.records[records[i]].event].head.number) + ": " + wrong;
            }
        }
        return {};
    }

    std::string check_record(const row& pointers, const record& expected)
    {
        const auto subhead = static_cast<std::uint64_t>(pointers.chhd);
        const auto data = static_cast<std::uint64_t>(pointers.data);
        if (!has_event(static_cast<std::uint64_t>(pointers.evhd), file_.events[expected.event].head)) {
            return at("the event header differs from the one", file_.events[expected.event].position);
        }
        if (!has_block(static_cast<std::uint64_t>(pointers.sbhd), file_.blocks[expected.block])) {
            return at("the server block head differs from the one", file_.blocks[expected.block].position);
        }
        subhead_values old_head;
        subhead_values new_head;
        if (!read_subhead(file_.file, expected.subhead, old_head) || !read_subhead(out_, subhead, new_head) ||
            new_head.name.text != old_head.name.text || new_head.dtype != old_head.dtype ||
            new_head.error != old_head.error || data != subhead + file_.layout.sizes().subhead) {
            return at("the sub-head differs from the one", expected.subhead);
        }
        const auto skipped = new_head.is_zipped() ? sizeof(trox_zip_header) : 0;
        const bool is_empty = !expected.is_slow && expected.stored == 0;
        const auto length = is_empty ? static_cast<std::uint64_t>(old_head.ldata)
                                     : file_.layout.sizes().subhead + skipped + expected.stored;
        if (static_cast<std::uint64_t>(new_head.ldata) != length) {
            return at("the length differs from that of the record", expected.subhead);
        }
        if (!has_equal_bytes(expected.data - skipped, data, expected.stored + skipped)) {
            return at("the payload differs from the one", expected.data);
        }
        return decodes(new_head, data, expected.stored) ? std::string() : "it does not decode";
    }

    bool read_subhead(source_file& from, std::uint64_t position, subhead_values& head)
    {
        bytes_.resize(file_.layout.sizes().subhead);
        if (!from.read(position, bytes_.data(), bytes_.size())) {
            return false;
        }
        head = file_.layout.subhead(bytes_.data());
        if (&from == &file_.file && file_.unmarked.count(position) > 0) {
            head.error |= TROX_CHAN_ZIP_FLAG;
        }
        return true;
    }

    bool has_equal_bytes(std::uint64_t old_position, std::uint64_t new_position, std::uint64_t size)
    {
        constexpr std::uint64_t piece = std::uint64_t{256} << 10;
        std::vector<unsigned char> left(static_cast<std::size_t>(std::min(piece, size)));
        std::vector<unsigned char> right(left.size());
        while (size > 0) {
            const auto count = static_cast<std::size_t>(std::min(piece, size));
            if (!file_.file.read(old_position, left.data(), count) || !out_.read(new_position, right.data(), count) ||
                std::memcmp(left.data(), right.data(), count) != 0) {
                return false;
            }
            old_position += count;
            new_position += count;
            size -= count;
        }
        return true;
    }

    bool decodes(const subhead_values& head, std::uint64_t data, std::uint32_t stored)
    {
        const auto skipped = head.is_zipped() ? sizeof(trox_zip_header) : 0;
        std::vector<unsigned char> in(stored + skipped);
        if (!out_.read(data, in.data(), in.size())) {
            return false;
        }
        if (!head.is_zipped()) {
            return in.empty() || file_.options.keep_unknown_types ||
                   trox_convert_data(in.data(), in.data(), head.dtype, static_cast<int>(in.size())) == 0;
        }
        const auto flags = trox_detail::load_big_endian<std::uint32_t>(in.data());
        const auto length = trox_detail::load_big_endian<std::uint32_t>(in.data() + sizeof flags);
        std::vector<unsigned char> plain(length);
        auto produced = static_cast<int>(length);
        auto* const zipped = in.data() + skipped;
        const int failed = (flags & trox_zip_zlib) != 0
                               ? make_zlib(zipped, static_cast<int>(stored), plain.data(), &produced)
                               : make_lzo(zipped, static_cast<int>(stored), plain.data(), &produced, plain.data());
        return failed == 0 && static_cast<std::uint32_t>(produced) == length &&
               trox_convert_data(plain.data(), plain.data(), head.dtype, produced) == 0;
    }

    std::string check_other_tables()
    {
        const auto* environment = tables_.get_eidt_table();
        const auto bytes = static_cast<std::uint64_t>(environment->length) - file_.layout.sizes().table_head;
        if (bytes / sizeof environment->entries[0] != file_.environment.size()) {
            return "its environment dictionary differs";
        }
        for (std::size_t i = 0; i < file_.environment.size(); ++i) {
            if (environment->entries[i].key != file_.environment[i].first ||
                environment->entries[i].index != file_.environment[i].second) {
                return "its environment dictionary differs";
            }
        }
        const auto* xml = tables_.get_xcd_table();
        const std::string text(reinterpret_cast<const char*>(xml->xml),
                               static_cast<std::size_t>(xml->length) - file_.layout.sizes().table_head);
        return text == file_.descriptions ? std::string() : "its channel descriptions differ";
    }

    found& file_;
    const written_file& written_;
    source_file out_;
    std::string path_;
    typename Generation::table_loader tables_;
    std::vector<unsigned char> bytes_;
};

} // namespace

std::string verify_file(found& file, const written_file& written, const std::string& path)
{
    switch (file.layout.generation()) {
    case writer::generation::legacy:
        return verifier<trox_detail::generation_legacy>(file, written, path).run();
    case writer::generation::v2010:
        return verifier<trox_detail::generation_2010>(file, written, path).run();
    case writer::generation::v2024:
        return verifier<trox_detail::generation_2024>(file, written, path).run();
    }
    return "its generation is not known";
}

} // namespace trox::recovery
