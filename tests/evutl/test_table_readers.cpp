// The table readers on a file typed by hand: what they give. Reference table: its error codes too.
#include "table_file.h"

#include <cerrno>
#include <functional>
#include <unistd.h>

namespace
{

using namespace trox_test;

/// Big-endian 32-bit words stay as in the file where the reader leaves them alone.
std::uint32_t big(std::uint32_t value)
{
    return __builtin_bswap32(value);
}

template <class Word> Word big_word(Word value)
{
    return sizeof value == 8 ? static_cast<Word>(__builtin_bswap64(value))
                             : static_cast<Word>(__builtin_bswap32(static_cast<std::uint32_t>(value)));
}

template <class Api> class table_readers : public ::testing::Test
{
protected:
    using file_type = table_file<Api>;

    /// Reads the reference table of a file whose last `mapped` bytes are at hand.
    static int read_references(const std::vector<std::uint8_t>& bytes, std::size_t mapped,
                               table_ptr<typename Api::reference_table>& table)
    {
        const memory_file file(bytes);
        std::vector<std::uint8_t> tail(bytes.end() - static_cast<long>(mapped), bytes.end());
        tail.reserve(1);
        return take(table, Api::read_references, tail.data(), mapped, bytes.size(), file.descriptor());
    }

    static int read_references(const std::vector<std::uint8_t>& bytes)
    {
        table_ptr<typename Api::reference_table> table;
        return read_references(bytes, bytes.size(), table);
    }
};

TYPED_TEST_SUITE(table_readers, all_generations, generation_name);

TYPED_TEST(table_readers, reference_table_has_all_references_in_host_order)
{
    table_file<TypeParam> file;
    table_ptr<typename TypeParam::reference_table> table;
    ASSERT_EQ(TestFixture::read_references(file.builder().bytes(), file.builder().size(), table), 0);
    EXPECT_EQ(table->pattern, TypeParam::reference_pattern);
    EXPECT_EQ(static_cast<std::size_t>(table->length), sizeof(typename TypeParam::reference_table));
    EXPECT_EQ(table->eit_pos_ref, file.at().event_index);
    EXPECT_EQ(table->eite_pos_ref[0], 0U);
    EXPECT_EQ(table->eite_pos_ref[1], file.at().first_index_entry);
    EXPECT_EQ(table->eite_pos_ref[5], file.at().second_index_entry);
    EXPECT_EQ(table->cdt_ref, file.at().dictionary);
    EXPECT_EQ(table->ecp_ref, file.at().pointers);
    EXPECT_EQ(table->eidt_ref, file.at().environment);
    EXPECT_EQ(table->xcd_ref, file.at().descriptions);
    EXPECT_EQ(table->evhdb_ref, 901U);
    EXPECT_EQ(table->srvbb_ref, 902U);
    EXPECT_EQ(table->chanb_ref, 903U);
}

TYPED_TEST(table_readers, reference_table_before_the_mapped_tail_is_read_through_the_descriptor)
{
    table_file<TypeParam> file;
    constexpr std::size_t trailer = TypeParam::trailer_size;
    for (const std::size_t mapped : {trailer, trailer + 1, trailer + 100, std::size_t{0}}) {
        SCOPED_TRACE(mapped);
        table_ptr<typename TypeParam::reference_table> table;
        ASSERT_EQ(TestFixture::read_references(file.builder().bytes(), mapped, table), 0);
        EXPECT_EQ(table->chanb_ref, 903U);
    }
}

TYPED_TEST(table_readers, reference_table_in_a_mapped_tail_needs_no_descriptor)
{
    table_file<TypeParam> file;
    std::vector<std::uint8_t> bytes = file.builder().bytes();
    table_ptr<typename TypeParam::reference_table> table;
    EXPECT_EQ(take(table, TypeParam::read_references, bytes.data(), bytes.size(), bytes.size(), -1), 0);
    EXPECT_EQ(table->cdt_ref, file.at().dictionary);
}

TYPED_TEST(table_readers, reference_table_refuses_invalid_arguments)
{
    table_file<TypeParam> file;
    std::vector<std::uint8_t> bytes = file.builder().bytes();
    const std::size_t size = bytes.size();
    typename TypeParam::reference_table* table = nullptr;
    EXPECT_EQ(TypeParam::read_references(nullptr, size, size, -1, &table), 1);
    EXPECT_EQ(TypeParam::read_references(bytes.data(), size, size, -1, nullptr), 1);
    EXPECT_EQ(TypeParam::read_references(bytes.data(), size + 1, size, -1, &table), 1);
    EXPECT_EQ(table, nullptr);
}

TYPED_TEST(table_readers, reference_table_that_cannot_be_read_is_a_read_error_with_errno)
{
    table_file<TypeParam> file;
    std::vector<std::uint8_t> bytes = file.builder().bytes();
    typename TypeParam::reference_table* table = nullptr;
    errno = 0;
    EXPECT_EQ(TypeParam::read_references(bytes.data(), 0, bytes.size(), -1, &table), 2);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(table, nullptr);
}

TYPED_TEST(table_readers, reference_table_refuses_a_damaged_trailer_or_table)
{
    struct damage {
        const char* what;
        std::function<void(table_file<TypeParam>&)> apply;
        int status;
    };
    constexpr std::size_t word = sizeof(typename TypeParam::word);
    std::vector<damage> cases{
        {"position 0", [](auto& file) { file.patch_word(file.at().trailer, 0); }, 4},
        {"position behind the file", [](auto& file) { file.patch_word(file.at().trailer, 1U << 30U); }, 4},
        {"largest position", [](auto& file) { file.patch_word(file.at().trailer, UINT64_MAX); }, 4},
        {"table reaching into the trailer",
         [](auto& file) { file.patch_word(file.at().trailer, file.at().references + 1); }, 4},
        {"wrong pattern of the table",
         [](auto& file) {
             file.patch_word(file.at().references, 0xFAEFAEF0);
             file.update_checksum();
         },
         3},
        {"wrong length of the table",
         [](auto& file) {
             file.patch_word(file.at().references + word, sizeof(typename TypeParam::reference_table) - 4);
             file.update_checksum();
         },
         4},
    };
    if (TypeParam::trailer_size > word) {
        cases.push_back({"wrong checksum", [](auto& file) { file.patch_word(file.at().trailer + word, 1); }, 3});
        cases.push_back({"changed table", [](auto& file) { file.patch_word(file.at().references + 20 * word, 7); }, 3});
        cases.push_back(
            {"wrong trailer pattern", [](auto& file) { file.patch_word(file.at().trailer + 2 * word, 7); }, 3});
    }
    for (const damage& damage : cases) {
        SCOPED_TRACE(damage.what);
        table_file<TypeParam> file;
        damage.apply(file);
        EXPECT_EQ(TestFixture::read_references(file.builder().bytes()), damage.status);
    }
}

TYPED_TEST(table_readers, a_file_shorter_than_its_trailer_does_not_fit)
{
    for (std::size_t size = 1; size < TypeParam::trailer_size; ++size) {
        EXPECT_EQ(TestFixture::read_references(std::vector<std::uint8_t>(size, 0)), 4) << size;
    }
}

TYPED_TEST(table_readers, event_index_keeps_times_and_numbers_big_endian)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename TypeParam::event_index_table> table;
    ASSERT_EQ(take(table, TypeParam::read_event_index, file.builder().size(), &references, memory.descriptor()), 0);
    EXPECT_EQ(table->pattern, 0xEDAEDAF3U);
    EXPECT_EQ(static_cast<int>(table->nevent_types), 2);
    const auto* bytes = reinterpret_cast<const unsigned char*>(table.get());
    using head_type = typename TypeParam::event_index_head;
    using info_type = typename TypeParam::event_info;
    head_type head{};
    std::memcpy(&head, bytes + file.at().first_index_entry - file.at().event_index, sizeof head);
    EXPECT_EQ(head.event_type, 1);
    EXPECT_EQ(static_cast<std::size_t>(head.length), sizeof head + 2 * sizeof(info_type));
    EXPECT_EQ(head.event_time_first.timeup, big(1000));
    EXPECT_EQ(head.event_time_first.timelow, big(250000));
    EXPECT_EQ(head.event_time_last.timeup, big(1001));
    EXPECT_EQ(big_word(head.event_number_first), 71U);
    EXPECT_EQ(big_word(head.event_number_last), 72U);
    info_type info{};
    std::memcpy(&info, bytes + file.at().first_index_entry - file.at().event_index + sizeof head + sizeof info,
                sizeof info);
    EXPECT_EQ(info.time.timelow, big(750000));
    EXPECT_EQ(big_word(info.event_number), 72U);
    EXPECT_EQ(info.offset, 60U);
    std::memcpy(&head, bytes + file.at().second_index_entry - file.at().event_index, sizeof head);
    EXPECT_EQ(head.event_type, 5);
}

TYPED_TEST(table_readers, dictionary_is_in_host_order)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename TypeParam::dictionary_table> table;
    ASSERT_EQ(take(table, TypeParam::read_dictionary, file.builder().size(), &references, memory.descriptor()), 0);
    constexpr std::size_t field = sizeof(TypeParam::dictionary_entry::chan_name);
    EXPECT_EQ(table->pattern, 0xDCADCAF3U);
    EXPECT_EQ(static_cast<std::size_t>(table->length), offsetof(typename TypeParam::dictionary_table, entries) +
                                                           3 * sizeof(typename TypeParam::dictionary_entry));
    const auto* entries = table->entries;
    EXPECT_EQ(entries[0].key, 11U);
    EXPECT_STREQ(entries[0].chan_name, "A");
    EXPECT_EQ(entries[0].ev_mask, 2U);
    EXPECT_EQ(entries[0].dtype_mask, 0x200U);
    EXPECT_EQ(entries[0].count, 2);
    EXPECT_EQ(std::string(entries[1].chan_name, field), std::string(field, 'B'));
    EXPECT_EQ(entries[2].key, 0xFFFFFFFFU);
    EXPECT_EQ(entries[2].count, 0);
}

TYPED_TEST(table_readers, a_channel_is_found_by_its_exact_name)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename TypeParam::dictionary_table> table;
    ASSERT_EQ(take(table, TypeParam::read_dictionary, file.builder().size(), &references, memory.descriptor()), 0);
    constexpr std::size_t field = sizeof(TypeParam::dictionary_entry::chan_name);
    typename TypeParam::dictionary_entry* entry = nullptr;
    EXPECT_EQ(TypeParam::find_channel(table.get(), "C/LONGER.NAME", &entry), 2);
    EXPECT_EQ(entry, table->entries + 2);
    EXPECT_EQ(TypeParam::find_channel(table.get(), "A", nullptr), 0);
    EXPECT_EQ(TypeParam::find_channel(table.get(), std::string(field, 'B').c_str(), &entry), 1);
    const auto* const before = entry;
    for (const std::string& absent : {std::string("a"), std::string("A "), std::string("C"), std::string(),
                                      std::string(field - 1, 'B'), std::string(field + 1, 'B')}) {
        EXPECT_LT(TypeParam::find_channel(table.get(), absent.c_str(), &entry), 0) << absent;
    }
    EXPECT_LT(TypeParam::find_channel(table.get(), nullptr, &entry), 0);
    EXPECT_LT(TypeParam::find_channel(nullptr, "A", &entry), 0);
    EXPECT_EQ(entry, before);
}

TYPED_TEST(table_readers, pointers_table_has_all_columns)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename TypeParam::pointers_table> table;
    ASSERT_EQ(take(table, TypeParam::read_pointers, file.builder().size(), &references, memory.descriptor()), 0);
    EXPECT_EQ(table->pattern, 0xECAECAF3U);
    EXPECT_EQ(static_cast<int>(table->maxev), 2);
    const auto* entries = table->entries;
    for (unsigned i = 0; i < 6; ++i) {
        const unsigned base = 1000 * (i / 2) + 10 * (i % 2);
        EXPECT_EQ(static_cast<unsigned>(entries[i].evhd), base + 1);
        EXPECT_EQ(static_cast<unsigned>(entries[i].sbhd), base + 2);
        EXPECT_EQ(static_cast<unsigned>(entries[i].chhd), base + 3);
        EXPECT_EQ(static_cast<unsigned>(entries[i].data), base + 4);
    }
}

TYPED_TEST(table_readers, pointers_table_by_list_has_the_columns_in_list_order)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename TypeParam::dictionary_table> dictionary;
    ASSERT_EQ(take(dictionary, TypeParam::read_dictionary, file.builder().size(), &references, memory.descriptor()), 0);
    constexpr std::size_t field = sizeof(TypeParam::dictionary_entry::chan_name);
    const std::vector<std::string> list{"C/LONGER.NAME",         "not there", "A",
                                        std::string(field, 'B'), "A",         std::string(field + 1, 'B')};
    table_ptr<typename TypeParam::pointers_table> table;
    ASSERT_EQ(take(table, TypeParam::read_pointers_by_list, file.builder().size(), &references, memory.descriptor(),
                   list, dictionary.get()),
              0);
    EXPECT_EQ(static_cast<int>(table->maxev), 2);
    EXPECT_EQ(static_cast<std::size_t>(table->length),
              offsetof(typename TypeParam::pointers_table, entries) +
                  list.size() * 2 * sizeof(typename TypeParam::pointers_entry));
    const auto* entries = table->entries;
    const std::vector<unsigned> first_fields{2001, 2011, 0, 0, 1, 11, 1001, 1011, 1, 11, 0, 0};
    for (std::size_t i = 0; i < first_fields.size(); ++i) {
        EXPECT_EQ(static_cast<unsigned>(entries[i].evhd), first_fields[i]) << i;
        EXPECT_EQ(static_cast<unsigned>(entries[i].data), first_fields[i] == 0 ? 0 : first_fields[i] + 3) << i;
    }
}

TYPED_TEST(table_readers, pointers_table_by_list_without_a_known_channel_is_minus_5)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename TypeParam::dictionary_table> dictionary;
    ASSERT_EQ(take(dictionary, TypeParam::read_dictionary, file.builder().size(), &references, memory.descriptor()), 0);
    typename TypeParam::pointers_table* table = nullptr;
    for (const std::vector<std::string>& list : {std::vector<std::string>{}, {"x"}, {"", "a", "AA"}}) {
        EXPECT_EQ(TypeParam::read_pointers_by_list(file.builder().size(), &references, memory.descriptor(), list,
                                                   dictionary.get(), &table),
                  -5);
    }
    EXPECT_EQ(table, nullptr);
}

TYPED_TEST(table_readers, environment_dictionary_is_in_host_order)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename TypeParam::environment_table> table;
    ASSERT_EQ(take(table, TypeParam::read_environment, file.builder().size(), &references, memory.descriptor()), 0);
    EXPECT_EQ(table->pattern, 0xEAAEAAF3U);
    const auto* entries = table->entries;
    EXPECT_EQ(entries[0].key, 501U);
    EXPECT_EQ(entries[0].index, 1);
    EXPECT_EQ(entries[1].key, 502U);
    EXPECT_EQ(entries[1].index, -2);
}

TYPED_TEST(table_readers, descriptions_are_the_text_as_in_the_file)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename TypeParam::description_table> table;
    ASSERT_EQ(take(table, TypeParam::read_descriptions, file.builder().size(), &references, memory.descriptor()), 0);
    constexpr std::size_t head = offsetof(typename TypeParam::description_table, xml);
    EXPECT_EQ(table->pattern, 0xCDACDAF3U);
    ASSERT_EQ(static_cast<std::size_t>(table->length), head + description_text.size());
    EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(table.get()) + head, description_text.size()),
              description_text);
    std::vector<chan_descr_2010*> channels;
    ASSERT_EQ(trox_load_chan_descr(table.get(), &channels), 0);
    ASSERT_EQ(channels.size(), 1U);
    EXPECT_STREQ(channels[0]->daq_name, "A");
    delete channels[0];
}

TYPED_TEST(table_readers, absent_environment_and_descriptions_are_empty_tables)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    references.eidt_ref = 0;
    references.xcd_ref = 0;
    table_ptr<typename TypeParam::environment_table> environment;
    table_ptr<typename TypeParam::description_table> descriptions;
    ASSERT_EQ(take(environment, TypeParam::read_environment, file.builder().size(), &references, memory.descriptor()),
              0);
    ASSERT_EQ(take(descriptions, TypeParam::read_descriptions, file.builder().size(), &references, memory.descriptor()),
              0);
    EXPECT_EQ(static_cast<std::size_t>(environment->length), 2 * sizeof(typename TypeParam::word));
    EXPECT_EQ(static_cast<std::size_t>(descriptions->length), 2 * sizeof(typename TypeParam::word));
    EXPECT_EQ(environment->pattern, 0xEAAEAAF3U);
    EXPECT_EQ(descriptions->pattern, 0xCDACDAF3U);
    std::vector<chan_descr_2010*> channels;
    EXPECT_EQ(trox_load_chan_descr(descriptions.get(), &channels), 0);
    EXPECT_TRUE(channels.empty());
}

TEST(page_offset, is_the_page_of_a_position_and_the_rest)
{
    const long page = ::sysconf(_SC_PAGESIZE);
    long delta = -7;
    EXPECT_EQ(trox_get_page_offset(10 * page, 0, &delta), 0);
    EXPECT_EQ(delta, 0);
    EXPECT_EQ(trox_get_page_offset(10 * page, page - 1, &delta), 0);
    EXPECT_EQ(delta, page - 1);
    EXPECT_EQ(trox_get_page_offset(10 * page, 3 * page, &delta), 3 * page);
    EXPECT_EQ(delta, 0);
    EXPECT_EQ(trox_get_page_offset(10 * page, 3 * page + 5, nullptr), 3 * page);
}

TEST(page_offset, is_minus_1_outside_the_file)
{
    long delta = -7;
    EXPECT_EQ(trox_get_page_offset(100, -1, &delta), -1);
    EXPECT_EQ(trox_get_page_offset(100, 100, &delta), -1);
    EXPECT_EQ(trox_get_page_offset(0, 0, &delta), -1);
    EXPECT_EQ(delta, -7);
    EXPECT_EQ(trox_get_page_offset(100, 99, &delta), 0);
}

} // namespace
