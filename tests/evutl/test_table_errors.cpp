// The readers behind the reference table: every error code of each.
#include "table_file.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <limits>

namespace
{

using namespace trox_test;

template <class Api> class table_errors : public ::testing::Test
{
};

TYPED_TEST_SUITE(table_errors, all_generations, generation_name);

/// The readers behind the reference table, under names that a case can pick.
enum class reader { event_index, dictionary, pointers, by_list, environment, descriptions };

template <class Api>
int read_status(reader which, typename Api::reference_table* references, std::size_t length, int descriptor)
{
    table_ptr<typename Api::event_index_table> event_index;
    table_ptr<typename Api::dictionary_table> dictionary;
    table_ptr<typename Api::pointers_table> pointers;
    table_ptr<typename Api::environment_table> environment;
    table_ptr<typename Api::description_table> descriptions;
    switch (which) {
    case reader::event_index:
        return take(event_index, Api::read_event_index, length, references, descriptor);
    case reader::dictionary:
        return take(dictionary, Api::read_dictionary, length, references, descriptor);
    case reader::pointers:
        return take(pointers, Api::read_pointers, length, references, descriptor);
    case reader::by_list: {
        const table_file<Api> intact;
        const memory_file memory(table_file<Api>(intact).builder().bytes());
        auto own = intact.references();
        EXPECT_EQ(
            take(dictionary, Api::read_dictionary, table_file<Api>(intact).builder().size(), &own, memory.descriptor()),
            0);
        return take(pointers, Api::read_pointers_by_list, length, references, descriptor,
                    std::vector<std::string>{"A", "x"}, dictionary.get());
    }
    case reader::environment:
        return take(environment, Api::read_environment, length, references, descriptor);
    case reader::descriptions:
        return take(descriptions, Api::read_descriptions, length, references, descriptor);
    }
    return -1000;
}

constexpr std::array<reader, 6> all_readers{reader::event_index, reader::dictionary,  reader::pointers,
                                            reader::by_list,     reader::environment, reader::descriptions};

template <class Table> auto& reference_of(reader which, Table& references)
{
    switch (which) {
    case reader::event_index:
        return references.eit_pos_ref;
    case reader::dictionary:
        return references.cdt_ref;
    case reader::environment:
        return references.eidt_ref;
    case reader::descriptions:
        return references.xcd_ref;
    case reader::pointers:
    case reader::by_list:
        break;
    }
    return references.ecp_ref;
}

TYPED_TEST(table_errors, every_reader_accepts_the_intact_file)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    for (const reader which : all_readers) {
        auto references = file.references();
        EXPECT_EQ(read_status<TypeParam>(which, &references, file.builder().size(), memory.descriptor()), 0)
            << static_cast<int>(which);
    }
}

TYPED_TEST(table_errors, every_reader_refuses_invalid_arguments)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    const std::size_t size = file.builder().size();
    const int fd = memory.descriptor();
    auto references = file.references();
    for (const reader which : all_readers) {
        EXPECT_EQ(read_status<TypeParam>(which, nullptr, size, fd), 1) << static_cast<int>(which);
        EXPECT_EQ(read_status<TypeParam>(which, &references, size, -1), 1) << static_cast<int>(which);
    }
    EXPECT_EQ(TypeParam::read_event_index(size, &references, fd, nullptr), 1);
    EXPECT_EQ(TypeParam::read_dictionary(size, &references, fd, nullptr), 1);
    EXPECT_EQ(TypeParam::read_pointers(size, &references, fd, nullptr), 1);
    EXPECT_EQ(TypeParam::read_environment(size, &references, fd, nullptr), 1);
    EXPECT_EQ(TypeParam::read_descriptions(size, &references, fd, nullptr), 1);
    typename TypeParam::dictionary_table dictionary{};
    typename TypeParam::pointers_table* pointers = nullptr;
    EXPECT_EQ(TypeParam::read_pointers_by_list(size, &references, fd, {"A"}, nullptr, &pointers), 1);
    EXPECT_EQ(TypeParam::read_pointers_by_list(size, &references, fd, {"A"}, &dictionary, nullptr), 1);
}

TYPED_TEST(table_errors, a_file_that_cannot_be_read_is_a_read_error_with_errno)
{
    table_file<TypeParam> file;
    const int unreadable = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(unreadable, 0);
    for (const reader which : all_readers) {
        auto references = file.references();
        errno = 0;
        EXPECT_EQ(read_status<TypeParam>(which, &references, file.builder().size(), unreadable), 2);
        EXPECT_EQ(errno, EBADF);
    }
    ::close(unreadable);
}

TYPED_TEST(table_errors, a_file_shorter_than_it_claims_is_a_read_error)
{
    table_file<TypeParam> file;
    for (const reader which : all_readers) {
        auto references = file.references();
        const std::size_t position = reference_of(which, references);
        const auto& whole = file.builder().bytes();
        // Cut inside the head and inside the body.
        for (const std::size_t kept : {position + 3, position + 3 * sizeof(typename TypeParam::word) + 1}) {
            const memory_file memory({whole.begin(), whole.begin() + static_cast<long>(kept)});
            errno = 0;
            EXPECT_EQ(read_status<TypeParam>(which, &references, whole.size(), memory.descriptor()), 2)
                << static_cast<int>(which);
            EXPECT_EQ(errno, EIO);
        }
    }
}

TYPED_TEST(table_errors, a_wrong_pattern_is_code_3)
{
    for (const reader which : all_readers) {
        table_file<TypeParam> file;
        auto references = file.references();
        file.patch_word(reference_of(which, references), 0xDEADBEEF);
        const memory_file memory(file.builder().bytes());
        EXPECT_EQ(read_status<TypeParam>(which, &references, file.builder().size(), memory.descriptor()), 3)
            << static_cast<int>(which);
    }
}

TEST(table_errors_2024, a_pattern_with_upper_bits_is_wrong)
{
    for (const reader which : all_readers) {
        table_file<api_2024> file;
        auto references = file.references();
        file.builder().patch(reference_of(which, references), std::uint8_t{1});
        const memory_file memory(file.builder().bytes());
        EXPECT_EQ(read_status<api_2024>(which, &references, file.builder().size(), memory.descriptor()), 3);
    }
}

TYPED_TEST(table_errors, a_position_outside_the_file_does_not_fit)
{
    using word = typename TypeParam::word;
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    const std::size_t size = file.builder().size();
    for (const reader which : all_readers) {
        for (const word position : {static_cast<word>(size), static_cast<word>(size - 1), static_cast<word>(size + 1),
                                    std::numeric_limits<word>::max(), std::numeric_limits<word>::max() / 2}) {
            auto references = file.references();
            reference_of(which, references) = position;
            EXPECT_EQ(read_status<TypeParam>(which, &references, size, memory.descriptor()), 4)
                << static_cast<int>(which) << " at " << position;
        }
    }
}

TYPED_TEST(table_errors, an_absent_dictionary_index_or_pointers_table_does_not_fit)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    for (const reader which : {reader::event_index, reader::dictionary, reader::pointers, reader::by_list}) {
        auto references = file.references();
        reference_of(which, references) = 0;
        EXPECT_EQ(read_status<TypeParam>(which, &references, file.builder().size(), memory.descriptor()), 4)
            << static_cast<int>(which);
    }
}

/// Changes one word of the intact file and gives what a reader then answers.
template <class Api>
int status_with_word(reader which, std::size_t table_position, std::size_t word, std::uint64_t value)
{
    table_file<Api> file;
    file.patch_word(table_position + word * sizeof(typename Api::word), value);
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    return read_status<Api>(which, &references, file.builder().size(), memory.descriptor());
}

TYPED_TEST(table_errors, a_length_that_does_not_fit_is_code_4)
{
    table_file<TypeParam> file;
    auto references = file.references();
    const std::size_t size = file.builder().size();
    for (const reader which : all_readers) {
        if (which == reader::event_index) {
            continue; // has no length of its own
        }
        const std::size_t position = reference_of(which, references);
        for (const std::uint64_t length :
             {std::uint64_t{0}, std::uint64_t{2 * sizeof(typename TypeParam::word) - 1}, std::uint64_t{0x80000000U},
              UINT64_MAX, std::uint64_t{size - position + 1}, std::uint64_t{0x7FFFFFFFU}}) {
            EXPECT_EQ(status_with_word<TypeParam>(which, position, 1, length), 4)
                << static_cast<int>(which) << " length " << length;
        }
    }
}

TYPED_TEST(table_errors, a_length_with_a_broken_last_entry_is_code_4)
{
    const auto at = table_file<TypeParam>().at();
    constexpr std::size_t head = 2 * sizeof(typename TypeParam::word);
    constexpr std::size_t entry = sizeof(typename TypeParam::dictionary_entry);
    for (const std::size_t length : {head + 1, head + entry - 1, head + entry + 4, head + 3 * entry - 1}) {
        EXPECT_EQ(status_with_word<TypeParam>(reader::dictionary, at.dictionary, 1, length), 4) << length;
    }
    EXPECT_EQ(status_with_word<TypeParam>(reader::dictionary, at.dictionary, 1, head + entry), 0);
    EXPECT_EQ(status_with_word<TypeParam>(reader::environment, at.environment, 1, head + 12), 4);
    EXPECT_EQ(status_with_word<TypeParam>(reader::environment, at.environment, 1, head + 8), 0);
}

TYPED_TEST(table_errors, rows_that_do_not_fill_whole_columns_are_code_4)
{
    const auto at = table_file<TypeParam>().at();
    for (const std::uint64_t rows : {std::uint64_t{0}, std::uint64_t{4}, std::uint64_t{5}, std::uint64_t{7},
                                     std::uint64_t{0x80000000U}, UINT64_MAX, std::uint64_t{0x10000000U}}) {
        EXPECT_EQ(status_with_word<TypeParam>(reader::pointers, at.pointers, 2, rows), 4) << rows;
        EXPECT_EQ(status_with_word<TypeParam>(reader::by_list, at.pointers, 2, rows), 4) << rows;
    }
}

TYPED_TEST(table_errors, pointers_by_list_want_one_column_per_channel_of_the_dictionary)
{
    const auto at = table_file<TypeParam>().at();
    for (const std::uint64_t rows : {std::uint64_t{1}, std::uint64_t{3}, std::uint64_t{6}}) {
        EXPECT_EQ(status_with_word<TypeParam>(reader::pointers, at.pointers, 2, rows), 0) << rows;
        EXPECT_EQ(status_with_word<TypeParam>(reader::by_list, at.pointers, 2, rows), 4) << rows;
    }
}

TYPED_TEST(table_errors, rows_without_columns_allocate_nothing)
{
    // A table of no entries that claims a huge number of rows: valid as a whole, of no use by list.
    using word = typename TypeParam::word;
    table_file<TypeParam> file;
    file.patch_word(file.at().pointers + sizeof(word), 3 * sizeof(word));
    file.patch_word(file.at().pointers + 2 * sizeof(word), 0x7FFFFFFF);
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    const std::size_t size = file.builder().size();
    EXPECT_EQ(read_status<TypeParam>(reader::by_list, &references, size, memory.descriptor()), 4);
    EXPECT_EQ(read_status<TypeParam>(reader::pointers, &references, size, memory.descriptor()), 0);
}

TYPED_TEST(table_errors, event_index_entries_are_walked_inside_the_file_only)
{
    using word = typename TypeParam::word;
    table_file<TypeParam> file;
    const auto at = file.at();
    const std::size_t size = file.builder().size();
    constexpr std::size_t head = sizeof(typename TypeParam::event_index_head);
    constexpr std::size_t info = sizeof(typename TypeParam::event_info);
    constexpr std::size_t length_word = (head - sizeof(word)) / sizeof(word);
    for (const std::uint64_t count : {std::uint64_t{33}, std::uint64_t{0x80000000U}, UINT64_MAX}) {
        EXPECT_EQ(status_with_word<TypeParam>(reader::event_index, at.event_index, 1, count), 4) << count;
    }
    // More entries than there are: what follows is taken for a head and does not fit.
    EXPECT_NE(status_with_word<TypeParam>(reader::event_index, at.event_index, 1, 32), 0);
    EXPECT_EQ(status_with_word<TypeParam>(reader::event_index, at.event_index, 1, 0), 0);
    EXPECT_EQ(status_with_word<TypeParam>(reader::event_index, at.event_index, 1, 1), 0);
    for (const std::uint64_t length :
         {std::uint64_t{0}, std::uint64_t{head - 1}, std::uint64_t{head + 1}, std::uint64_t{head + 2 * info + 4},
          std::uint64_t{size}, std::uint64_t{size - at.first_index_entry + 1}, std::uint64_t{0x80000000U}, UINT64_MAX,
          std::uint64_t{0x7FFFFFF0U}}) {
        EXPECT_EQ(status_with_word<TypeParam>(reader::event_index, at.first_index_entry, length_word, length), 4)
            << length;
        EXPECT_EQ(status_with_word<TypeParam>(reader::event_index, at.second_index_entry, length_word, length), 4)
            << length;
    }
    EXPECT_EQ(status_with_word<TypeParam>(reader::event_index, at.second_index_entry, length_word, head), 0);
}

} // namespace
