// Tables of many channels: names are found by hash, and long tables are read in pieces.
#include "byte_builder.h"
#include "evutl_api.h"
#include "memory_file.h"

namespace
{

using namespace trox_test;

constexpr std::size_t channel_count = 3000;

std::string channel_name(std::size_t index)
{
    return "LINAC.RF/ADC/A" + std::to_string(10000 + index) + ".M1/TRACE." + std::string(index % 40, 'Z');
}

/// A file of one row per channel: row field f of channel c holds 4 c + f. Behind the NUL that closes a name stands
/// what must not count.
template <class Api> class many_channels : public ::testing::Test
{
protected:
    using word = typename Api::word;

    many_channels()
    {
        byte_builder build;
        build.fill(7);
        references.cdt_ref = static_cast<word>(build.size());
        constexpr std::size_t head = 2 * sizeof(word);
        using entry = typename Api::dictionary_entry;
        build.integer(word{0xDCADCAF3}).integer(static_cast<word>(head + channel_count * sizeof(entry)));
        constexpr std::size_t field = sizeof(entry::chan_name);
        for (std::size_t i = 0; i < channel_count; ++i) {
            std::string name = channel_name(i) + '\0';
            name.resize(field, static_cast<char>('a' + i % 20));
            build.word(static_cast<std::uint32_t>(i)).text(name, field).word(2).word(512).word(1);
        }
        references.ecp_ref = static_cast<word>(build.size());
        const std::size_t rows = channel_count * sizeof(typename Api::pointers_entry);
        build.integer(word{0xECAECAF3}).integer(static_cast<word>(3 * sizeof(word) + rows)).integer(word{1});
        for (std::size_t i = 0; i < 4 * channel_count; ++i) {
            build.integer(static_cast<word>(i));
        }
        size = build.size();
        file = std::make_unique<memory_file>(build.bytes());
    }

    void SetUp() override
    {
        ASSERT_EQ(take(dictionary, Api::read_dictionary, size, &references, file->descriptor()), 0);
    }

    typename Api::reference_table references{};
    std::size_t size = 0;
    std::unique_ptr<memory_file> file;
    table_ptr<typename Api::dictionary_table> dictionary;
};

TYPED_TEST_SUITE(many_channels, all_generations, generation_name);

TYPED_TEST(many_channels, are_read_with_every_entry_in_host_order)
{
    const auto* entries = this->dictionary->entries;
    for (std::size_t i = 0; i < channel_count; ++i) {
        ASSERT_EQ(entries[i].key, i);
        ASSERT_EQ(entries[i].chan_name, channel_name(i));
        ASSERT_EQ(entries[i].dtype_mask, 512U);
        ASSERT_EQ(entries[i].count, 1);
    }
}

TYPED_TEST(many_channels, are_found_by_name)
{
    for (std::size_t i = 0; i < channel_count; i += 100) {
        EXPECT_EQ(TypeParam::find_channel(this->dictionary.get(), channel_name(i).c_str(), nullptr),
                  static_cast<int>(i));
    }
    EXPECT_LT(TypeParam::find_channel(this->dictionary.get(), channel_name(channel_count).c_str(), nullptr), 0);
}

TYPED_TEST(many_channels, have_their_columns_read_by_list_whatever_its_length)
{
    for (const std::size_t step : {1U, 7U, 999U}) {
        std::vector<std::string> list;
        std::vector<std::size_t> expected;
        for (std::size_t i = 0; i < channel_count; i += step) {
            list.push_back(channel_name(channel_count - 1 - i));
            expected.push_back(channel_count - 1 - i);
        }
        table_ptr<typename TypeParam::pointers_table> table;
        ASSERT_EQ(take(table, TypeParam::read_pointers_by_list, this->size, &this->references, this->file->descriptor(),
                       list, this->dictionary.get()),
                  0);
        const auto* entries = table->entries;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            ASSERT_EQ(static_cast<std::size_t>(entries[i].evhd), 4 * expected[i]) << list[i];
            ASSERT_EQ(static_cast<std::size_t>(entries[i].data), 4 * expected[i] + 3) << list[i];
        }
    }
}

} // namespace
