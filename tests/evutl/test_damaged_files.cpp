// Damaged sample files: cut at many lengths, and with bytes of their tables flipped. Every reader must answer an
// error or a table that can be walked from end to end. A sanitizer sees the rest.
#include "evutl_api.h"
#include "memory_file.h"

#include <cstring>

namespace
{

using namespace trox_test;

/// Touches every byte of a table through its own lengths, as a user of it would.
template <class Api> std::size_t walk(const file_tables<Api>& tables, std::size_t file_size)
{
    std::size_t sum = 0;
    const auto touch = [&sum](const void* begin, std::size_t size) {
        const auto* bytes = static_cast<const unsigned char*>(begin);
        for (std::size_t i = 0; i < size; ++i) {
            sum += bytes[i];
        }
    };
    if (tables.event_index) {
        const auto* entry = reinterpret_cast<const unsigned char*>(tables.event_index.get()) +
                            offsetof(typename Api::event_index_table, entries);
        for (auto i = tables.event_index->nevent_types; i > 0; --i) {
            typename Api::event_index_head head{};
            std::memcpy(&head, entry, sizeof head);
            const auto size = static_cast<std::size_t>(head.length);
            EXPECT_GE(size, sizeof head);
            EXPECT_LE(size, file_size);
            touch(entry, size);
            entry += size;
        }
    }
    const auto whole = [&](const auto& table) {
        if (table) {
            EXPECT_LE(static_cast<std::size_t>(table->length), file_size);
            touch(table.get(), static_cast<std::size_t>(table->length));
        }
    };
    whole(tables.references);
    whole(tables.dictionary);
    whole(tables.pointers);
    whole(tables.environment);
    whole(tables.descriptions);
    return sum;
}

/// Reads all tables of a damaged file, as far as the reference table leads; true when every one was read.
template <class Api> bool read_all(const memory_file& file, std::vector<std::uint8_t>& bytes)
{
    const int fd = file.descriptor();
    const std::size_t size = bytes.size();
    const std::size_t mapped = std::min(size, std::size_t{300});
    file_tables<Api> tables;
    table_ptr<typename Api::pointers_table> by_list;
    std::vector<int> statuses{
        take(tables.references, Api::read_references, bytes.data() + size - mapped, mapped, size, fd)};
    if (statuses[0] == 0) {
        auto* references = tables.references.get();
        statuses.push_back(take(tables.event_index, Api::read_event_index, size, references, fd));
        statuses.push_back(take(tables.dictionary, Api::read_dictionary, size, references, fd));
        statuses.push_back(take(tables.pointers, Api::read_pointers, size, references, fd));
        statuses.push_back(take(tables.environment, Api::read_environment, size, references, fd));
        statuses.push_back(take(tables.descriptions, Api::read_descriptions, size, references, fd));
        if (tables.dictionary) {
            const std::vector<std::string> list{"LINAC.DIAG/BPM/12.L2/XY", "LINAC.ENV/TEMP/RACK.17", "none"};
            statuses.push_back(
                take(by_list, Api::read_pointers_by_list, size, references, fd, list, tables.dictionary.get()));
        }
        if (tables.descriptions) {
            std::vector<chan_descr_2010*> channels;
            const int status = trox_load_chan_descr(tables.descriptions.get(), &channels);
            EXPECT_TRUE(status == 0 || channels.empty());
            for (const auto* channel : channels) {
                delete channel;
            }
        }
    }
    for (const int status : statuses) {
        EXPECT_TRUE(status == -5 || (status >= 0 && status <= 5)) << status;
    }
    walk<Api>(tables, size);
    return statuses.size() == 7 && std::all_of(statuses.begin(), statuses.end(), [](int s) { return s == 0; });
}

template <class Api> class damaged_files : public ::testing::Test
{
};

TYPED_TEST_SUITE(damaged_files, all_generations, generation_name);

TYPED_TEST(damaged_files, that_are_cut_are_never_read_whole)
{
    for (const std::string& name : sample_names(TypeParam::generation)) {
        SCOPED_TRACE(name);
        const auto whole = read_bytes(sample_directory(TypeParam::generation) + name);
        auto intact = whole;
        ASSERT_TRUE(read_all<TypeParam>(memory_file(intact), intact));
        // Every length of the last bytes, and lengths all over the file.
        for (std::size_t size = whole.size() - 1; size > 0;) {
            std::vector<std::uint8_t> cut(whole.begin(), whole.begin() + static_cast<long>(size));
            ASSERT_FALSE(read_all<TypeParam>(memory_file(cut), cut)) << size;
            size -= size > whole.size() - 450 ? 1 : std::min(size, size / 97 + 1);
        }
    }
}

/// The bytes of a sample file that tables take: they lie one behind the other in files 1 and 2, and all over
/// the place in file 3.
std::vector<std::size_t> table_bytes(const nlohmann::json& dump, std::size_t trailer_size)
{
    std::vector<std::size_t> places;
    const auto add = [&places](std::size_t begin, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            places.push_back(begin + i);
        }
    };
    const auto& references = dump["frt"];
    add(references["position"], references["length"]);
    add(dump["size"].get<std::size_t>() - trailer_size, trailer_size);
    for (const char* const table : {"eit", "cdt", "ecpt", "eidt", "xcd"}) {
        add(references[table], 120); // heads, and the first entries
    }
    for (const auto& entry : dump["eit"]) {
        add(entry["position"], 64);
    }
    return places;
}

TYPED_TEST(damaged_files, with_flipped_bytes_give_an_error_or_a_table_that_can_be_walked)
{
    std::size_t refused = 0;
    for (const std::string& name : sample_names(TypeParam::generation)) {
        SCOPED_TRACE(name);
        auto bytes = read_bytes(sample_directory(TypeParam::generation) + name);
        memory_file file(bytes);
        for (const std::size_t place : table_bytes(read_dump(name), TypeParam::trailer_size)) {
            const std::uint8_t intact = bytes[place];
            for (const std::uint8_t flip : {std::uint8_t{0x80}, std::uint8_t{0x01}}) {
                bytes[place] = static_cast<std::uint8_t>(intact ^ flip);
                file.write(place, bytes[place]);
                refused += read_all<TypeParam>(file, bytes) ? 0 : 1;
                ASSERT_FALSE(::testing::Test::HasFailure()) << place << " ^ " << int{flip};
            }
            bytes[place] = intact;
            file.write(place, intact);
        }
    }
    EXPECT_GT(refused, 100U);
}

} // namespace
