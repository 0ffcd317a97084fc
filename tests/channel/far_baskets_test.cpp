// Files whose baskets and tables lie far from the begin, with nothing but holes between them: beyond 4 GiB in the 2024
// generation, between 2 and 4 GiB in the others, where positions still have 32 bits.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"
#include "open_channel.h"

#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

using namespace trox_test;

namespace
{

constexpr std::uint64_t gib = std::uint64_t{1} << 30;

/// The scenario with its baskets and tables moved apart.
template <class T> class far_file
{
public:
    /// Of `size` bytes, or (0) ending where the last table does.
    explicit far_file(std::uint64_t size = 0) : path_(directory_.file("far.raw"))
    {
        scenario_options<T> options;
        for (int i = 0; i < scenario_events; ++i) {
            options.numbers.push_back(first_number + static_cast<typename T::event_number>(i));
        }
        const std::string near_path = directory_.file("near.raw");
        near_ = data_file<T>(near_path, write_scenario<T>(near_path, options));
        place(size);
        move_references();
        write();
    }

    static constexpr bool is_wide = sizeof(typename T::word) > sizeof(std::uint32_t);
    static constexpr auto first_number = static_cast<typename T::event_number>(is_wide ? 81604378624000 : 0xFFFFFF00);

    const std::string& path() const
    {
        return path_;
    }
    /// Where a byte of the small file lies in the large one.
    std::uint64_t far(std::uint64_t position) const
    {
        for (const moved_piece& piece : pieces_) {
            if (position >= piece.from.position && position - piece.from.position < piece.from.length) {
                return position - piece.from.position + piece.to;
            }
        }
        return position;
    }
    const tw::file_map& near_map() const
    {
        return near_.map();
    }
    std::uint64_t size() const
    {
        return far(near_.map().trailer.position) + T::trailer_size;
    }
    /// Overwrites a word of the file.
    void put(std::uint64_t far_position, std::uint64_t value) const
    {
        byte_builder bytes;
        bytes.integer(static_cast<typename T::word>(value));
        const int fd = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_EQ(::pwrite(fd, bytes.bytes().data(), bytes.size(), static_cast<off_t>(far_position)),
                  static_cast<ssize_t>(sizeof(typename T::word)));
        ::close(fd);
    }

private:
    static constexpr std::uint64_t word = sizeof(typename T::word);
    struct moved_piece {
        tw::file_range from;
        std::uint64_t to;
    };

    /// Each basket and table far from the others, at odd positions.
    void place(std::uint64_t size)
    {
        const tw::file_map& map = near_.map();
        std::uint64_t to = (is_wide ? 4 : 2) * gib + 4093;
        const auto add = [&](const tw::file_range& from) {
            if (from.length != 0) {
                pieces_.push_back({from, to});
                to += is_wide ? gib + 7 : gib / 16 + 7;
            }
        };
        add(map.event_headers);
        add(map.server_blocks);
        for (const tw::file_range& channel : map.channels) {
            add(channel);
        }
        for (const tw::file_range& table : {map.channel_dictionary, map.event_index, map.pointers, map.environment,
                                            map.descriptions, map.references, map.trailer}) {
            add(table);
        }
        if (size != 0) {
            pieces_.back().to = size - T::trailer_size;
        }
    }
    void move(std::uint64_t at)
    {
        near_.put_word(at, far(near_.template get<typename T::word>(at)));
    }
    void move_references()
    {
        const tw::file_map map = near_.map();
        for (std::size_t column = 0; column < scenario_channels; ++column) {
            for (std::size_t row = 0; row < near_.rows(); ++row) {
                const row_positions positions = near_.row(column, row);
                near_.put_row(column, row,
                              {far(positions.evhd), far(positions.sbhd), far(positions.chhd), far(positions.data)});
            }
        }
        // One event type: behind the table's and the entry's heads stand its events.
        using info = typename T::generation::event_info;
        constexpr std::uint64_t heads = 2 * word + sizeof(typename T::generation::event_index_head);
        for (std::uint64_t event = 0; event < scenario_events; ++event) {
            move(map.event_index.position + heads + event * sizeof(info) + offsetof(info, offset));
        }
        for (std::uint64_t at = 2 * word; at < map.references.length; at += word) {
            move(map.references.position + at);
        }
        move(map.trailer.position);
        near_.put_reference(offsetof(typename T::reference_table, chanb_ref), far(map.channels[0].position));
    }
    void write()
    {
        const int fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        for (const moved_piece& piece : pieces_) {
            const auto* bytes = near_.bytes().data() + piece.from.position;
            if (::pwrite(fd, bytes, piece.from.length, static_cast<off_t>(piece.to)) !=
                static_cast<ssize_t>(piece.from.length)) {
                throw std::runtime_error("cannot write the sparse file");
            }
        }
        ::close(fd);
    }

    temp_directory directory_;
    std::string path_;
    data_file<T> near_;
    std::vector<moved_piece> pieces_;
};

template <class T> class far_channel : public ::testing::Test
{
protected:
    static void expect_channel(open_channel<T>& open, std::size_t channel)
    {
        ASSERT_EQ(open.reader.get_number_of_records(), scenario_events);
        typename T::entry* record = nullptr;
        int type = TROX_DAQ_READ_CHAN_EVENT_FIRST;
        for (int i = 0; i < scenario_events; ++i) {
            ASSERT_EQ(open.reader.get_chan_data(nullptr, &record, type), 0);
            EXPECT_EQ(record->event_id.event_number,
                      far_file<T>::first_number + static_cast<typename T::event_number>(i));
            EXPECT_STREQ(server_block_of<T>(*record)->server, "TEST.SVR");
            if (channel == update_channel || channel == environment_channel) {
                EXPECT_EQ(reinterpret_cast<const typename T::update_block*>(record->sbchdata[0].data)->upd_ch_data,
                          static_cast<float>(i) + 0.5F);
            } else {
                EXPECT_EQ(floats_of<T>(*record),
                          samples_of(channel, i, channel == members_channel ? scenario_members : 1));
            }
            type = TROX_DAQ_READ_CHAN_EVENT_NEXT;
        }
    }

    const far_file<T> file_;
};
TYPED_TEST_SUITE(far_channel, channel_generations);

} // namespace

TYPED_TEST(far_channel, is_read_whole_by_mapping_and_by_copy)
{
    for (std::size_t channel = 0; channel < empty_channel; ++channel) {
        SCOPED_TRACE(scenario_names[channel]);
        const std::vector<std::string> list{scenario_names[channel]};
        for (const std::vector<std::string>* listed : {static_cast<const std::vector<std::string>*>(nullptr), &list}) {
            open_channel<TypeParam> open(this->file_.path(), scenario_names[channel], -1, listed);
            EXPECT_EQ(open.loader.are_baskets_copied(), TypeParam::may_copy_baskets && listed != nullptr);
            this->expect_channel(open, channel);
        }
    }
}

TYPED_TEST(far_channel, tells_positions_and_lengths_in_64_bits)
{
    open_channel<TypeParam> open(this->file_.path(), "TEST/ZLIB");
    const tw::file_map& map = this->file_.near_map();
    EXPECT_EQ(open.loader.get_file_len(), this->file_.size());
    constexpr std::uint64_t far = (far_file<TypeParam>::is_wide ? 4 : 2) * gib;
    EXPECT_GT(this->file_.far(map.event_headers.position), far);
    EXPECT_EQ(static_cast<std::uint64_t>(open.loader.get_evh_offset()),
              this->file_.far(map.event_headers.position) / 4096 * 4096);
    EXPECT_EQ(static_cast<std::uint64_t>(open.loader.get_sbh_offset()),
              this->file_.far(map.server_blocks.position) / 4096 * 4096);
    const std::uint64_t basket = this->file_.far(map.channels[zlib_channel].position);
    EXPECT_GT(basket, far);
    EXPECT_EQ(static_cast<std::uint64_t>(open.reader.get_chn_offset()),
              TypeParam::maps_channel_baskets ? basket / 4096 * 4096 : basket);
    EXPECT_EQ(static_cast<std::uint64_t>(open.reader.get_data_table_pointer(0)->chhd),
              basket + 2 * sizeof(typename TypeParam::word));
    typename TypeParam::loader loader(0);
    loader.set_debug(1);
    const std::string printed =
        capture([&] { EXPECT_EQ(loader.get_all_tables(this->file_.path(), 0, nullptr), 0); }).out;
    const std::uint64_t page = (this->file_.size() - TypeParam::trailer_size) / 4096 * 4096;
    EXPECT_THAT(printed, ::testing::HasSubstr(" offset: " + std::to_string(page) + "  fd: "));
}

TYPED_TEST(far_channel, is_read_with_damage_in_its_basket_s_head)
{
    this->file_.put(this->file_.far(this->file_.near_map().channels[plain_channel].position), 0x12345678);
    open_channel<TypeParam> open(this->file_.path(), "TEST/PLAIN", -1, nullptr,
                                 [](auto& reader) { reader.set_skip_bad_records(true); });
    EXPECT_EQ(open.reader.get_number_of_bad_records(), 0);
    this->expect_channel(open, plain_channel);
}

TYPED_TEST(far_channel, of_a_length_without_low_word_does_not_start_where_readers_keep_32_bits)
{
    constexpr bool is_wide = far_file<TypeParam>::is_wide;
    const far_file<TypeParam> file((is_wide ? 32 : 4) * gib);
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(file.path(), 0, nullptr), 0);
    EXPECT_EQ(static_cast<std::uint64_t>(loader.get_file_len()), (is_wide ? 32 : 4) * gib);
    typename TypeParam::reader reader(&loader, "TEST/PLAIN", -1, nullptr);
    start_signal signal;
    const std::string printed =
        capture([&] {
            EXPECT_EQ(start(reader, signal), is_wide ? TROX_DAQ_READ_CHAN_OK : TROX_DAQ_READ_CHAN_NOT_INIT);
        }).out;
    EXPECT_EQ(printed, is_wide ? "" : TypeParam::start_not_initialized("TEST/PLAIN"));
    EXPECT_TRUE(signal.wait());
}
