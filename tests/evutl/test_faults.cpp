// What an exhausted memory and a broken disk do to the library, and its inner parts on their own.
#include "byte_swap.h"
#include "platform_calls.h"
#include "spectrum_block.h"
#include "table_file.h"
#include "xml_document.h"

#include <cerrno>
#include <numeric>

namespace
{

using namespace trox_test;

/// Which call fails, counted from 1; 0 for none. Shared with the failing functions, which take no context.
int calls_until_failure = 0;
int pieces_of = 0;
int interruptions_left = 0;

void* failing_allocate(std::size_t size)
{
    return --calls_until_failure == 0 ? nullptr : std::malloc(size);
}

ssize_t failing_read(int descriptor, void* destination, std::size_t size, off_t position)
{
    if (--calls_until_failure == 0) {
        errno = EIO;
        return -1;
    }
    return ::pread(descriptor, destination, size, position);
}

/// Gives a few bytes at a time, and is interrupted before each piece.
ssize_t slow_read(int descriptor, void* destination, std::size_t size, off_t position)
{
    if (interruptions_left-- > 0) {
        errno = EINTR;
        return -1;
    }
    interruptions_left = 1;
    return ::pread(descriptor, destination, std::min(size, static_cast<std::size_t>(pieces_of)), position);
}

/// Replaces the platform's calls while it lives.
class replaced_calls
{
public:
    explicit replaced_calls(trox_evutl::platform_calls calls) : before_(trox_evutl::calls())
    {
        trox_evutl::calls() = calls;
    }
    replaced_calls(const replaced_calls&) = delete;
    replaced_calls& operator=(const replaced_calls&) = delete;
    ~replaced_calls()
    {
        trox_evutl::calls() = before_;
    }

private:
    trox_evutl::platform_calls before_;
};

template <class Api> class faults : public ::testing::Test
{
protected:
    /// Reads every table and gives the statuses, in a fixed order.
    static std::vector<int> read_all(int descriptor, std::size_t size, const typename Api::reference_table& references,
                                     typename Api::dictionary_table* dictionary)
    {
        auto copy = references;
        table_ptr<typename Api::reference_table> read_references;
        table_ptr<typename Api::event_index_table> event_index;
        table_ptr<typename Api::dictionary_table> channels;
        table_ptr<typename Api::pointers_table> pointers;
        table_ptr<typename Api::pointers_table> by_list;
        table_ptr<typename Api::environment_table> environment;
        table_ptr<typename Api::description_table> descriptions;
        std::uint8_t nothing_mapped = 0;
        return {take(read_references, Api::read_references, &nothing_mapped, std::size_t{0}, size, descriptor),
                take(event_index, Api::read_event_index, size, &copy, descriptor),
                take(channels, Api::read_dictionary, size, &copy, descriptor),
                take(pointers, Api::read_pointers, size, &copy, descriptor),
                take(by_list, Api::read_pointers_by_list, size, &copy, descriptor,
                     std::vector<std::string>{"A", "C/LONGER.NAME"}, dictionary),
                take(environment, Api::read_environment, size, &copy, descriptor),
                take(descriptions, Api::read_descriptions, size, &copy, descriptor)};
    }
};

TYPED_TEST_SUITE(faults, all_generations, generation_name);

/// Lets call number 1, 2, ... fail in turn until all tables are read; each failure shows once, as `status`.
template <class Fixture, class Api>
void expect_each_failure_once(const trox_evutl::platform_calls& calls, int status, int expected_calls)
{
    table_file<Api> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename Api::dictionary_table> dictionary;
    ASSERT_EQ(take(dictionary, Api::read_dictionary, file.builder().size(), &references, memory.descriptor()), 0);
    const replaced_calls replaced(calls);
    for (int failing = 1; failing <= expected_calls; ++failing) {
        calls_until_failure = failing;
        const auto statuses =
            Fixture::read_all(memory.descriptor(), file.builder().size(), references, dictionary.get());
        EXPECT_EQ(std::count(statuses.begin(), statuses.end(), status), 1) << "call " << failing;
        EXPECT_EQ(std::count(statuses.begin(), statuses.end(), 0), 6) << "call " << failing;
    }
    calls_until_failure = 0;
    const auto statuses = Fixture::read_all(memory.descriptor(), file.builder().size(), references, dictionary.get());
    EXPECT_EQ(std::count(statuses.begin(), statuses.end(), 0), 7);
    EXPECT_EQ(-calls_until_failure, expected_calls) << "calls that all tables take";
}

template <class Api> class faults_fixture : public faults<Api>
{
public:
    using faults<Api>::read_all;
};

TYPED_TEST(faults, an_exhausted_memory_is_code_5)
{
    expect_each_failure_once<faults_fixture<TypeParam>, TypeParam>({&failing_allocate, &::pread}, 5, 7);
}

TYPED_TEST(faults, a_failing_read_is_code_2_whichever_read_it_is)
{
    // References: trailer, table. Index: head, two entries, all. Dictionary, environment, descriptions: head, all.
    // Pointers: head, rows, all; by list: head, rows, two columns.
    expect_each_failure_once<faults_fixture<TypeParam>, TypeParam>({&std::malloc, &failing_read}, 2,
                                                                   2 + 4 + 2 + 3 + 4 + 2 + 2);
}

TYPED_TEST(faults, interrupted_reads_and_short_pieces_are_put_together)
{
    table_file<TypeParam> file;
    const memory_file memory(file.builder().bytes());
    auto references = file.references();
    table_ptr<typename TypeParam::dictionary_table> expected;
    ASSERT_EQ(take(expected, TypeParam::read_dictionary, file.builder().size(), &references, memory.descriptor()), 0);
    for (const int piece : {1, 3, 7, 1000}) {
        pieces_of = piece;
        interruptions_left = 3;
        const replaced_calls replaced({&std::malloc, &slow_read});
        table_ptr<typename TypeParam::dictionary_table> table;
        ASSERT_EQ(take(table, TypeParam::read_dictionary, file.builder().size(), &references, memory.descriptor()), 0);
        EXPECT_EQ(std::memcmp(table.get(), expected.get(), static_cast<std::size_t>(expected->length)), 0);
    }
}

std::size_t largest_allocation = 0;

void* recording_allocate(std::size_t size)
{
    largest_allocation = std::max(largest_allocation, size);
    return std::malloc(size);
}

TYPED_TEST(faults, damaged_counts_never_allocate_more_than_the_file_holds)
{
    constexpr std::size_t word = sizeof(typename TypeParam::word);
    const auto at = table_file<TypeParam>().at();
    const replaced_calls replaced({&recording_allocate, &::pread});
    for (const std::size_t position :
         {at.event_index + word, at.second_index_entry - word, at.dictionary + word, at.pointers + word,
          at.pointers + 2 * word, at.environment + word, at.descriptions + word}) {
        for (const std::uint64_t value : {std::uint64_t{0x7FFFFFFF}, std::uint64_t{0x7FFFFFF0}, std::uint64_t{1} << 40U,
                                          UINT64_MAX, std::uint64_t{1000000}, std::uint64_t{700}}) {
            table_file<TypeParam> file;
            file.patch_word(position, value);
            const memory_file memory(file.builder().bytes());
            typename TypeParam::dictionary_table dictionary{};
            largest_allocation = 0;
            TestFixture::read_all(memory.descriptor(), file.builder().size(), file.references(), &dictionary);
            EXPECT_LE(largest_allocation, file.builder().size()) << position << " " << value;
        }
    }
}

TEST(cutting_faults, an_exhausted_memory_is_an_error)
{
    auto block = make_spectrum<layout_2010>(41);
    calls_until_failure = 1;
    const replaced_calls replaced({&failing_allocate, &::pread});
    trox_serv_block_subhead_2010* cut = nullptr;
    EXPECT_EQ(device_to_one_channel_2010(block.get(), 0, nullptr, nullptr, &cut), 5);
    EXPECT_EQ(cut, nullptr);
}

TEST(swap_kernels, of_this_machine_agree_with_reversing_by_hand)
{
    std::vector<unsigned char> source(1000);
    std::iota(source.begin(), source.end(), static_cast<unsigned char>(7));
    int kernels = 0;
    for (const auto* kernel = trox_evutl::available_swap_kernels(); kernel->name != nullptr; ++kernel, ++kernels) {
        for (const auto& [swap, width] :
             {std::pair{kernel->swap_4, std::size_t{4}}, {kernel->swap_8, std::size_t{8}}}) {
            for (std::size_t size = 0; size <= 600; size += width) {
                std::vector<unsigned char> copied(size + 1, 0xA5);
                std::vector<unsigned char> in_place(source.begin() + 3, source.begin() + 3 + static_cast<long>(size));
                const std::size_t done = swap(source.data() + 3, copied.data(), size);
                ASSERT_EQ(swap(in_place.data(), in_place.data(), size), done) << kernel->name;
                ASSERT_LE(done, size);
                ASSERT_EQ(done % width, 0U);
                ASSERT_LT(size - done, 32U);
                for (std::size_t i = 0; i < done; ++i) {
                    const unsigned char expected = source[3 + i / width * width + width - 1 - i % width];
                    ASSERT_EQ(copied[i], expected) << kernel->name;
                    ASSERT_EQ(in_place[i], expected) << kernel->name;
                }
                for (std::size_t i = done; i < copied.size(); ++i) {
                    ASSERT_EQ(copied[i], 0xA5) << kernel->name;
                }
            }
        }
    }
    EXPECT_GE(kernels, 1);
}

TEST(xml_document, gives_elements_and_attributes_in_order)
{
    std::string error;
    const auto root = trox_platform::parse_xml("<a x='1'><b/>text<c y='&lt;'/><b z=''/></a>", &error);
    ASSERT_TRUE(root) << error;
    EXPECT_EQ(root->name, "a");
    EXPECT_EQ(root->attribute("x"), "1");
    EXPECT_EQ(root->attribute("missing"), "");
    EXPECT_FALSE(root->has_attribute("missing"));
    ASSERT_EQ(root->children.size(), 3U);
    EXPECT_EQ(root->children[1].name, "c");
    EXPECT_EQ(root->children[1].attribute("y"), "<");
    EXPECT_TRUE(root->children[2].has_attribute("z"));
}

TEST(xml_document, tells_where_and_why_a_text_is_refused)
{
    std::string error;
    EXPECT_FALSE(trox_platform::parse_xml("<a>\n  <b>\n</a>", &error));
    EXPECT_EQ(error, "line 3, column 2: mismatched tag");
    EXPECT_FALSE(trox_platform::parse_xml("<!DOCTYPE a><a/>", &error));
    EXPECT_EQ(error, "line 1, column 11: document type declarations are not accepted");
    EXPECT_FALSE(trox_platform::parse_xml("", &error));
    EXPECT_EQ(error, "line 1, column 0: no element found");
    EXPECT_FALSE(trox_platform::parse_xml("", nullptr));
}

TEST(xml_document, is_accepted_down_to_the_depth_limit)
{
    const auto nested = [](std::size_t depth) {
        std::string text;
        for (std::size_t i = 0; i < depth; ++i) {
            text += "<a>";
        }
        for (std::size_t i = 0; i < depth; ++i) {
            text += "</a>";
        }
        return text;
    };
    std::string error;
    EXPECT_TRUE(trox_platform::parse_xml(nested(trox_platform::xml_depth_limit), &error)) << error;
    EXPECT_FALSE(trox_platform::parse_xml(nested(trox_platform::xml_depth_limit + 1), &error));
    EXPECT_NE(error.find("elements are nested too deeply"), std::string::npos);
}

} // namespace
