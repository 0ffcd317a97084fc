// Files of the writer, read with the event utility library: its tables, conversions and descriptions must agree
// with what was written.
#include "detail/big_endian.h"
#include "evutl_api.h"
#include "file_checker.h"
#include "scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace writer_test;

namespace
{

template <class Api> tw::generation generation_of()
{
    switch (Api::generation) {
    case trox_test::sample_generation::legacy:
        return tw::generation::legacy;
    case trox_test::sample_generation::g2010:
        return tw::generation::v2010;
    case trox_test::sample_generation::g2024:
        return tw::generation::v2024;
    }
    throw std::logic_error("no such generation");
}

template <class Api> class evutl_reads : public testing::Test
{
protected:
    void write(const tw::layout_options& layout)
    {
        tw::file_options options;
        options.layout = layout;
        write_scenario(path_, generation_of<Api>(), options);
        file_ = check_file(path_);
        bytes_ = read_file(path_);
        fd_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(fd_, 0);
        read_tables();
    }
    ~evutl_reads() override
    {
        ::close(fd_);
    }
    void read_tables()
    {
        using trox_test::take;
        const auto length = bytes_.size();
        auto* tail = bytes_.data() + length - Api::trailer_size;
        ASSERT_EQ(take(tables_.references, Api::read_references, tail, Api::trailer_size, length, fd_), 0);
        auto* references = tables_.references.get();
        ASSERT_EQ(take(tables_.event_index, Api::read_event_index, length, references, fd_), 0);
        ASSERT_EQ(take(tables_.dictionary, Api::read_dictionary, length, references, fd_), 0);
        ASSERT_EQ(take(tables_.pointers, Api::read_pointers, length, references, fd_), 0);
        ASSERT_EQ(take(tables_.environment, Api::read_environment, length, references, fd_), 0);
        ASSERT_EQ(take(tables_.descriptions, Api::read_descriptions, length, references, fd_), 0);
    }

    scratch_directory directory_;
    std::string path_ = directory_.path("a.raw");
    checked_file file_;
    std::vector<unsigned char> bytes_;
    int fd_ = -1;
    trox_test::file_tables<Api> tables_;
};

TYPED_TEST_SUITE(evutl_reads, trox_test::all_generations, trox_test::generation_name);

tw::layout_options wild_layout()
{
    tw::layout_options layout;
    layout.seed = 3;
    layout.baskets = layout.tables = layout.records = tw::arrangement::shuffled;
    layout.max_gap = 7;
    layout.odd_positions = true;
    layout.updates = tw::update_layout::away;
    layout.trailer_gap = 9000;
    return layout;
}

TYPED_TEST(evutl_reads, the_dictionary_and_the_columns_of_every_channel)
{
    ASSERT_NO_FATAL_FAILURE(this->write(wild_layout()));
    const auto rows = static_cast<std::size_t>(this->tables_.pointers->maxev);
    ASSERT_EQ(rows, this->file_.rows);
    for (std::size_t i = 0; i < this->file_.channels.size(); ++i) {
        const auto& channel = this->file_.channels[i];
        typename TypeParam::dictionary_entry* entry = nullptr;
        ASSERT_EQ(TypeParam::find_channel(this->tables_.dictionary.get(), channel.name.c_str(), &entry),
                  static_cast<int>(i));
        EXPECT_EQ(entry->key, channel.key);
        EXPECT_EQ(entry->ev_mask, channel.event_mask);
        EXPECT_EQ(entry->dtype_mask, channel.dtype_mask);
        ASSERT_EQ(static_cast<std::size_t>(entry->count), channel.records.size());
        for (std::size_t k = 0; k < channel.records.size(); ++k) {
            const auto row = trox_detail::load_record<typename TypeParam::pointers_entry>(
                reinterpret_cast<const char*>(this->tables_.pointers.get()) +
                offsetof(typename TypeParam::pointers_table, entries) +
                (i * rows + k) * sizeof(typename TypeParam::pointers_entry));
            EXPECT_EQ(static_cast<std::uint64_t>(row.evhd), channel.records[k].event_position);
            EXPECT_EQ(static_cast<std::uint64_t>(row.sbhd), channel.records[k].block_position);
            EXPECT_EQ(static_cast<std::uint64_t>(row.chhd), channel.records[k].head_position);
            EXPECT_EQ(static_cast<std::uint64_t>(row.data), channel.records[k].data_position);
        }
    }
}

TYPED_TEST(evutl_reads, the_event_index_and_the_environment_dictionary)
{
    ASSERT_NO_FATAL_FAILURE(this->write({}));
    EXPECT_EQ(static_cast<int>(this->tables_.event_index->nevent_types), 5);
    EXPECT_EQ(static_cast<int>(this->tables_.event_index->entries[0].head.event_type), TROX_EV_NORMAL);
    EXPECT_EQ(this->tables_.environment->entries[0].key, 5005U);
    EXPECT_EQ(this->tables_.environment->entries[0].index, 4);
}

TYPED_TEST(evutl_reads, the_channel_descriptions)
{
    ASSERT_NO_FATAL_FAILURE(this->write({}));
    std::vector<chan_descr_2010*> list;
    ASSERT_EQ(trox_load_chan_descr(this->tables_.descriptions.get(), &list), 0);
    ASSERT_EQ(list.size(), 1U);
    const std::unique_ptr<chan_descr_2010> description(list[0]);
    EXPECT_STREQ(description->daq_name, "TEST.DIAG/MEMBERS");
    EXPECT_EQ(std::string(description->prop_desc).rfind("x & y < \"z\" > ", 0), 0U);
    EXPECT_EQ(description->ev_type, 2U);
    EXPECT_EQ(description->count, 20);
    EXPECT_EQ(description->db_key, 3);
    ASSERT_EQ(description->bits.size(), 1U);
    EXPECT_STREQ(description->bits[0]->bit_name, "ready");
    ASSERT_EQ(description->dims.size(), 1U);
    ASSERT_EQ(description->dims[0]->stats.size(), 1U);
    EXPECT_STREQ(description->dims[0]->stats[0]->stat_name, "mean");
}

// The writer turned host order into file order; the library's conversion must undo it for every block type.
TYPED_TEST(evutl_reads, payloads_back_into_host_order)
{
    const auto format = generation_of<TypeParam>();
    tw::file_writer writer(this->path_, format);
    std::vector<std::pair<std::string, std::vector<unsigned char>>> written;
    writer.begin_event({1, {}});
    writer.begin_server_block({"S"});
    for (int dtype = 1; dtype < TROX_BLOCK_MAX_2010; ++dtype) {
        if (get_channel_number(dtype, nullptr) == 0) {
            continue;
        }
        std::vector<unsigned char> host(403); // more than any fixed head, and bytes left over
        for (std::size_t i = 0; i < host.size(); ++i) {
            host[i] = static_cast<unsigned char>(i * 7 + static_cast<std::size_t>(dtype));
        }
        if (dtype == TROX_BLOCK_NAME_VALUE) {
            const std::int32_t entries = 3;
            std::memcpy(host.data() + offsetof(trox_name_value_block, ndata), &entries, sizeof entries);
        }
        const auto name = "T" + std::to_string(dtype);
        writer.add_record(writer.add_channel(name, tw::storage::zlib), tw::record{dtype, host});
        written.emplace_back(name, host);
    }
    writer.end_event();
    writer.finish();
    const auto file = check_file(this->path_);
    ASSERT_THAT(file.problems, testing::IsEmpty());
    ASSERT_EQ(file.channels.size(), written.size());
    EXPECT_EQ(written.size(), 54U);
    for (std::size_t i = 0; i < written.size(); ++i) {
        auto payload = file.channels[i].records.at(0).payload;
        const auto dtype = file.channels[i].records[0].dtype;
        ASSERT_EQ(trox_convert_data(payload.data(), payload.data(), dtype, static_cast<int>(payload.size())), 0);
        EXPECT_EQ(payload, written[i].second) << written[i].first;
    }
}

TEST(evutl_finds, times_in_the_names_of_data_files)
{
    time_stamp time{};
    const auto name = tw::data_file_name({"linac", "main", 12}, 3, {1709611194, 250000}, 3);
    ASSERT_EQ(get_time_from_file_name(name.c_str(), &time), 0);
    EXPECT_EQ(time.timeup, 1709611194U);
    EXPECT_EQ(time.timelow, 250000U);
}

} // namespace
