// A small file cut at every byte, and with every byte changed: the check ends, stays inside the file, and does not
// call sound what is not. Meant to be run with sanitizers, too.
#include "checked_file.h"

#include <filesystem>
#include <tuple>

namespace inspect_test
{

namespace
{

template <class T> class every_byte : public testing::Test
{
protected:
    std::string path() const
    {
        return directory_.file("a.raw");
    }
    const trox_test::temp_directory directory_;
    trox_test::data_file<T> file_ = make_file<T>(path());
};

using generations = testing::Types<trox_test::channel_legacy, trox_test::channel_2010, trox_test::channel_2024>;
TYPED_TEST_SUITE(every_byte, generations);

TYPED_TEST(every_byte, cut_off_with_all_behind_is_an_error)
{
    ti::doctor_options options;
    options.threads = 1;
    for (std::size_t length = this->file_.bytes().size(); length-- > 0;) {
        std::filesystem::resize_file(this->path(), length);
        const auto report = ti::check_file(this->path(), options);
        ASSERT_GT(report.errors, 0U) << length << " bytes";
        ASSERT_EQ(report.file_size, length);
    }
}

/// Changes byte by byte in place, and checks each time.
template <class T, class Change, class Look>
void change_every_byte(const std::string& path, const trox_test::data_file<T>& whole, Change change, Look look)
{
    ti::doctor_options options;
    options.threads = 1;
    auto file = whole;
    std::fstream stream(path, std::ios::in | std::ios::out | std::ios::binary);
    for (std::size_t i = 0; i < file.bytes().size() && !testing::Test::HasFatalFailure(); ++i) {
        const auto put = [&](unsigned char byte) {
            stream.seekp(static_cast<std::streamoff>(i));
            stream.put(static_cast<char>(byte));
            stream.flush();
        };
        const unsigned char byte = file.bytes()[i];
        put(change(byte));
        look(i, ti::check_file(path, options));
        put(byte);
    }
}

/// Bytes that have no meaning that could be wrong: values, masks and names that nothing else tells.
TYPED_TEST(every_byte, flipped_is_found_in_tables_and_heads)
{
    const auto& map = this->file_.map();
    const auto within = [](const tw::file_range& range, std::size_t byte) {
        return byte >= range.position && byte - range.position < range.length;
    };
    change_every_byte<TypeParam>(
        this->path(), this->file_, [](unsigned char byte) { return static_cast<unsigned char>(~byte); },
        [&](std::size_t byte, const ti::check_report& report) {
            const bool has_to_be_found = within(map.references, byte) || within(map.trailer, byte) ||
                                         within(map.pointers, byte) || within(map.event_index, byte) ||
                                         within(map.descriptions, byte) || within(map.environment, byte) || byte < 16;
            if (has_to_be_found) {
                ASSERT_NE(codes_of(report), "") << "byte " << byte;
            }
            std::uint64_t good = 0;
            for (const auto& channel : report.channels) {
                ASSERT_EQ(channel.checked, channel.good + channel.damaged + channel.unchecked);
                good += channel.good;
            }
            ASSERT_LE(good, 3U * (channel_count - 1)) << "byte " << byte;
        });
}

TYPED_TEST(every_byte, with_its_lowest_bit_flipped_is_checked_to_an_end)
{
    change_every_byte<TypeParam>(
        this->path(), this->file_, [](unsigned char byte) { return static_cast<unsigned char>(byte ^ 1U); },
        [&](std::size_t byte, const ti::check_report& report) {
            ASSERT_EQ(report.file_size, this->file_.bytes().size()) << byte;
        });
}

TYPED_TEST(every_byte, of_the_tables_set_to_all_ones_in_words_is_checked_to_an_end)
{
    const auto& map = this->file_.map();
    ti::doctor_options options;
    options.threads = 1;
    for (const auto& table : {map.references, map.event_index, map.pointers, map.channel_dictionary, map.environment,
                              map.event_headers, map.server_blocks, map.trailer, map.channels[0]}) {
        for (std::uint64_t at = table.position; at + 4 <= table.position + table.length; at += 4) {
            auto file = this->file_;
            file.put(at, std::uint32_t{0xFFFFFFFF});
            write_anew(file, this->path());
            ASSERT_EQ(ti::check_file(this->path(), options).file_size, file.bytes().size());
            file.put(at, std::uint32_t{0x7FFFFFF0});
            write_anew(file, this->path());
            ASSERT_EQ(ti::check_file(this->path(), options).file_size, file.bytes().size());
        }
    }
}

} // namespace

} // namespace inspect_test
