// The sizes in which the generations differ: of mappings, baskets, records and what is cleared of them. Built on the
// library's objects, whose system calls it watches.
#include "channel_scenario.h"
#include "channel_types.h"
#include "failing_calls.h"
#include "open_channel.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <vector>

using namespace trox_test;

namespace
{

/// Sizes of a generation, in bytes.
struct generation_sizes {
    std::uint64_t trailer;
    std::uint64_t event_header_probe;
    std::uint64_t server_block_probe;
    std::uint64_t channel_probe;
    std::uint64_t basket_head; ///< between a channel basket's start and its first sub-head
    std::uint64_t event_header;
    std::uint64_t server_block_head;
    std::uint64_t server_name;
    std::uint64_t subhead;
    std::uint64_t update_block; ///< with its sub-head
};

template <class T> constexpr generation_sizes sizes{};
template <> constexpr generation_sizes sizes<channel_legacy>{4, 44, 84, 52, 8, 36, 76, 48, 44, 140};
template <> constexpr generation_sizes sizes<channel_2010>{12, 44, 292, 276, 8, 36, 284, 256, 268, 540};
template <> constexpr generation_sizes sizes<channel_2024>{24, 64, 320, 288, 16, 48, 304, 256, 268, 540};

struct mapped_range {
    std::uint64_t offset;
    std::uint64_t length;
    bool operator==(const mapped_range&) const = default;
};

[[maybe_unused]] std::ostream& operator<<(std::ostream& out, const mapped_range& it)
{
    return out << it.length << " bytes at " << it.offset;
}

/// Notes what the library maps, and fills the memory that it takes, as long as it lives.
class watched_calls
{
public:
    watched_calls() : kept_(trox_detail::os())
    {
        real() = kept_;
        mapped.clear();
        trox_detail::os().mmap = [](void* address, std::size_t length, int protection, int flags, int fd,
                                    off_t offset) {
            mapped.push_back({static_cast<std::uint64_t>(offset), length});
            return real().mmap(address, length, protection, flags, fd, offset);
        };
        trox_detail::os().malloc = [](std::size_t size) { return filled(real().malloc(size), size); };
        trox_detail::os().take_pages = [](std::size_t& size) {
            void* pages = real().take_pages(size);
            return filled(pages, size);
        };
    }
    watched_calls(const watched_calls&) = delete;
    watched_calls& operator=(const watched_calls&) = delete;
    ~watched_calls()
    {
        trox_detail::os() = kept_;
    }

    static constexpr unsigned char filling = 0xA5;
    static inline std::vector<mapped_range> mapped;

private:
    static trox_detail::os_calls& real()
    {
        static trox_detail::os_calls calls;
        return calls;
    }
    static void* filled(void* block, std::size_t size)
    {
        return block == nullptr ? nullptr : std::memset(block, filling, size);
    }
    trox_detail::os_calls kept_;
};

template <class T> class sizes_of_generation : public ::testing::Test
{
protected:
    static constexpr std::uint64_t page = 4096;

    /// A mapping of `length` bytes from `position`, widened to the page in front.
    static mapped_range whole_pages(std::uint64_t position, std::uint64_t length)
    {
        return {position / page * page, position % page + length};
    }

    /// Where overflows are looked for, each block of a record is a separate one.
#if defined(__SANITIZE_ADDRESS__)
    static constexpr bool blocks_lie_together = false;
#else
    static constexpr bool blocks_lie_together = true;
#endif
    static bool is_untouched(std::uint64_t begin, std::uint64_t end)
    {
        const auto* bytes = reinterpret_cast<const unsigned char*>(begin);
        return std::all_of(bytes, bytes + (end - begin),
                           [](unsigned char byte) { return byte == watched_calls::filling; });
    }

    scenario_file<T> scenario_;
    watched_calls calls_;
    typename T::loader loader_{0};
};
TYPED_TEST_SUITE(sizes_of_generation, channel_generations);

} // namespace

TYPED_TEST(sizes_of_generation, map_the_tail_the_heads_and_the_baskets_of_a_file)
{
    constexpr generation_sizes size = sizes<TypeParam>;
    const auto& map = this->scenario_.file().map();
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    const auto tail = this->whole_pages(map.file_size - size.trailer, size.trailer);
    const auto& headers = map.event_headers;
    const auto& blocks = map.server_blocks;
    EXPECT_EQ(this->calls_.mapped,
              (std::vector<mapped_range>{tail, this->whole_pages(headers.position, size.event_header_probe),
                                         this->whole_pages(headers.position, headers.length),
                                         this->whole_pages(blocks.position, size.server_block_probe),
                                         this->whole_pages(blocks.position, blocks.length)}));
}

TYPED_TEST(sizes_of_generation, map_the_page_in_which_the_trailer_begins)
{
    constexpr std::uint64_t trailer = sizes<TypeParam>.trailer;
    scenario_options<TypeParam> options;
    const std::uint64_t size = this->scenario_.file().map().file_size;
    const auto gap = static_cast<std::uint32_t>(this->page - size % this->page);
    // The trailer at the begin of a page, and over the end of one: its first byte decides.
    for (const std::uint64_t in_last_page : {trailer, trailer - 1}) {
        options.layout.trailer_gap = gap + static_cast<std::uint32_t>(in_last_page);
        this->scenario_.renew(options);
        const std::uint64_t whole = this->scenario_.file().map().file_size;
        ASSERT_EQ(whole % this->page, in_last_page);
        this->calls_.mapped.clear();
        ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
        const std::uint64_t length = in_last_page == trailer ? trailer : this->page + trailer - 1;
        EXPECT_EQ(this->calls_.mapped.front(), (mapped_range{whole - length, length}));
    }
}

TYPED_TEST(sizes_of_generation, map_the_head_of_a_channels_basket_and_keep_the_mapping_in_legacy)
{
    constexpr generation_sizes size = sizes<TypeParam>;
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    const std::size_t before = mappings_of(this->scenario_.path());
    EXPECT_EQ(before, 2U) << "the event baskets";
    this->calls_.mapped.clear();
    typename TypeParam::reader reader(&this->loader_, "TEST/MEMBERS", -1, nullptr);
    ASSERT_TRUE(start_and_wait(reader));
    const auto basket = this->scenario_.file().map().channels[members_channel];
    EXPECT_EQ(basket.position, this->scenario_.file().row(members_channel, 0).chhd - size.basket_head);
    std::vector<mapped_range> expected{this->whole_pages(basket.position, size.channel_probe)};
    if (TypeParam::maps_channel_baskets) {
        expected.push_back(this->whole_pages(basket.position, basket.length));
    }
    EXPECT_EQ(this->calls_.mapped, expected);
    EXPECT_EQ(mappings_of(this->scenario_.path()), before + (TypeParam::maps_channel_baskets ? 1 : 0));
    reader.clean();
    EXPECT_EQ(mappings_of(this->scenario_.path()), before);
    EXPECT_EQ(reader.get_chn_basket(), nullptr);
}

TYPED_TEST(sizes_of_generation, never_copy_event_baskets_in_legacy)
{
    const std::vector<std::string> fast{"TEST/PLAIN"};
    ASSERT_EQ(this->loader_.get_all_tables(this->scenario_.path(), 0, &fast), 0);
    const bool copies = TypeParam::may_copy_baskets;
    EXPECT_EQ(this->loader_.are_baskets_copied(), copies);
    EXPECT_EQ(mappings_of(this->scenario_.path()), copies ? 0U : 2U);
    const auto position = this->scenario_.file().map().event_headers.position;
    EXPECT_EQ(static_cast<std::uint64_t>(this->loader_.get_evh_offset()),
              copies ? position : position / this->page * this->page);
}

TYPED_TEST(sizes_of_generation, clear_part_of_the_record_array_before_2024_and_all_of_it_since)
{
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/PLAIN");
    const auto* records = find_by_number(open.reader, scenario_first_number, TROX_DAQ_READ_CHAN_EVENT_CUR, nullptr);
    constexpr std::size_t record_size = 272;
    static_assert(sizeof *records == record_size);
    const auto* bytes = reinterpret_cast<const unsigned char*>(records);
    const std::size_t cleared = scenario_events * (TypeParam::clears_all_records ? record_size : 140);
    constexpr std::size_t written = offsetof(typename TypeParam::entry, sbchdata) + 32;
    for (std::size_t at = 0; at < scenario_events * record_size; ++at) {
        if (at % record_size >= written) {
            ASSERT_EQ(bytes[at], at < cleared ? 0 : watched_calls::filling) << "byte " << at;
        }
    }
}

TYPED_TEST(sizes_of_generation, of_heads_are_those_of_the_copies_that_are_handed_out)
{
    constexpr generation_sizes size = sizes<TypeParam>;
    EXPECT_EQ(sizeof(typename TypeParam::event_header), size.event_header);
    EXPECT_EQ(sizeof(typename TypeParam::server_block_head), size.server_block_head);
    EXPECT_EQ(sizeof(TypeParam::server_block_head::server), size.server_name);
    EXPECT_EQ(sizeof(typename TypeParam::subhead), size.subhead);
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/UPDATE", -1, nullptr,
                                 [](auto& reader) { reader.set_number_of_threads(1); });
    typename TypeParam::entry* record = nullptr;
    ASSERT_EQ(open.reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST), 0);
    EXPECT_EQ(block_of<TypeParam>(*record)->ldata, static_cast<int>(size.update_block));
    EXPECT_EQ(record->sbchdata[0].data - record->sbchdata[0].chhd, size.subhead);
    EXPECT_STREQ(server_block_of<TypeParam>(*record)->server, "TEST.SVR");
    if (this->blocks_lie_together) {
        const auto rounded = [](std::uint64_t bytes) { return (bytes + 7) / 8 * 8; };
        const auto& at = record->sbchdata[0];
        ASSERT_EQ(at.sbhd - at.evhd, rounded(size.event_header));
        ASSERT_EQ(at.chhd - at.sbhd, rounded(size.server_block_head));
        EXPECT_TRUE(this->is_untouched(at.evhd + size.event_header, at.sbhd)) << "nothing is written behind a copy";
        EXPECT_TRUE(this->is_untouched(at.sbhd + size.server_block_head, at.chhd));
    }
}

TYPED_TEST(sizes_of_generation, of_slow_values_are_the_same_for_environment_values)
{
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/ENVIRONMENT");
    typename TypeParam::entry* record = nullptr;
    ASSERT_EQ(open.reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST), 0);
    EXPECT_EQ(block_of<TypeParam>(*record)->ldata, static_cast<int>(sizes<TypeParam>.update_block));
    EXPECT_EQ(block_of<TypeParam>(*record)->dtype, TypeParam::samples == sample_generation::legacy ? 1 : 33);
}

TYPED_TEST(sizes_of_generation, put_the_zip_header_behind_the_sub_head)
{
    const auto first = this->scenario_.file().row(zlib_channel, 0).chhd;
    const auto& bytes = this->scenario_.file().bytes();
    const std::uint64_t zip_header = first + sizes<TypeParam>.subhead;
    EXPECT_EQ(this->scenario_.file().template get<std::uint32_t>(zip_header), 1U) << "zlib";
    EXPECT_EQ(bytes.at(zip_header + 12), 0x78) << "where a zlib stream begins";
    open_channel<TypeParam> open(this->scenario_.path(), "TEST/ZLIB");
    typename TypeParam::entry* record = nullptr;
    ASSERT_EQ(open.reader.get_chan_data(nullptr, &record, TROX_DAQ_READ_CHAN_EVENT_FIRST), 0);
    EXPECT_EQ(floats_of<TypeParam>(*record), samples_of(zlib_channel, 0, 1));
}
