// Every way in which loading a file can fail because of the file: code, text, and a loader that is empty again.
#include "captured_output.h"
#include "channel_scenario.h"
#include "channel_types.h"

#include <cstring>
#include <filesystem>

using namespace trox_test;

namespace
{

template <class T> class failing_load : public ::testing::Test
{
protected:
    using loader_type = typename T::loader;

    /// Damages the file, loads it silently and with debugging through both forms of the call, and compares; `list` may
    /// be null.
    void expect(int code, const std::string& text, const std::string& system_text, int mode = 0,
                const std::vector<std::string>* list = nullptr)
    {
        scenario_.rewrite();
        const std::string path = scenario_.path();
        expect_of([&](loader_type& loader) { return loader.get_all_tables(path, mode, list); }, code, text,
                  system_text);
        std::vector<std::string> names = list != nullptr ? *list : std::vector<std::string>();
        std::vector<char*> pointers;
        for (std::string& name : names) {
            pointers.push_back(name.data());
        }
        expect_of(
            [&](loader_type& loader) {
                return loader.get_all_tables(path.c_str(), mode, list != nullptr ? &pointers : nullptr);
            },
            code, text, system_text);
    }

    template <class Load>
    static void expect_of(Load load, int code, const std::string& text, const std::string& system_text)
    {
        loader_type loader(0);
        int got = 0;
        captured_output printed = capture([&] { got = load(loader); });
        EXPECT_EQ(got, code);
        EXPECT_EQ(printed.out + printed.err, "") << "silent without debugging";
        loader.set_debug(1);
        printed = capture([&] { got = load(loader); });
        EXPECT_EQ(got, code);
        EXPECT_EQ(loader.status(), code);
        EXPECT_EQ(without_first_line(printed.out), text);
        EXPECT_EQ(printed.err.rfind(system_text, 0), 0U) << printed.err;
        EXPECT_EQ(printed.err.empty(), system_text.empty()) << printed.err;
        EXPECT_EQ(loader.get_file_descr(), -1);
        EXPECT_STREQ(loader.get_file_name(), "");
        EXPECT_EQ(loader.get_cdt_table(), nullptr);
        EXPECT_EQ(loader.get_evh_basket(), nullptr);
        EXPECT_EQ(loader.get_xcd_table(), nullptr);
        EXPECT_TRUE(loader.get_descr_list()->empty());
        EXPECT_TRUE(loader.is_ecp_tab_full());
    }

    /// The line about the mapped tail is not part of a failure.
    static std::string without_first_line(const std::string& text)
    {
        const std::size_t end = text.rfind("Length: ", 0) == 0 ? text.find('\n') + 1 : 0;
        return text.substr(end);
    }

    scenario_file<T> scenario_;
};
TYPED_TEST_SUITE(failing_load, channel_generations);

} // namespace

TYPED_TEST(failing_load, of_a_file_that_is_not_there_is_minus_2)
{
    typename TypeParam::loader loader(0);
    loader.set_debug(1);
    int code = 0;
    const std::string missing = this->scenario_.other_path("missing.raw");
    const auto expect_of = [&](auto load) {
        loader.set_debug(1);
        const captured_output printed = capture([&] { code = load(); });
        EXPECT_EQ(code, -2);
        EXPECT_EQ(printed.out, "");
        EXPECT_EQ(printed.err, "open: No such file or directory\n");
        loader.set_debug(0);
        const captured_output silent = capture([&] { code = load(); });
        EXPECT_EQ(code, -2);
        EXPECT_EQ(silent.err, "");
    };
    expect_of([&] { return loader.get_all_tables(missing, 0, nullptr); });
    expect_of([&] { return loader.get_all_tables(missing.c_str(), 0, nullptr); });
}

TYPED_TEST(failing_load, of_a_directory_is_minus_3)
{
    typename TypeParam::loader loader(0);
    const std::string directory = this->scenario_.other_path("");
    EXPECT_EQ(loader.get_all_tables(directory, 0, nullptr), -3);
    EXPECT_EQ(loader.get_all_tables(directory.c_str(), 0, nullptr), -3);
}

TYPED_TEST(failing_load, of_a_file_shorter_than_its_trailer_is_minus_3)
{
    for (std::size_t length = 0; length < TypeParam::trailer_size; ++length) {
        this->scenario_.file().bytes().resize(length);
        this->expect(-3, "", "mmap: ");
    }
}

TYPED_TEST(failing_load, of_a_wrong_trailer_is_2)
{
    if (!TypeParam::has_trailer_checks) {
        GTEST_SKIP() << "the trailer is a position";
    }
    auto& file = this->scenario_.file();
    file.put_word(file.map().trailer.position + 2 * sizeof(typename TypeParam::word), 1);
    this->expect(2, TypeParam::reference_table_failed(3), "");
}

TYPED_TEST(failing_load, of_no_reference_table_where_the_trailer_points_is_2)
{
    auto& file = this->scenario_.file();
    file.put_reference(0, 0x12345678);
    this->expect(2, TypeParam::reference_table_failed(3), "");
}

TYPED_TEST(failing_load, of_a_reference_table_outside_the_file_is_2)
{
    auto& file = this->scenario_.file();
    file.put_word(file.map().trailer.position, file.map().file_size);
    this->expect(2, TypeParam::reference_table_failed(4), "");
}

TYPED_TEST(failing_load, of_the_event_index_is_3)
{
    auto& file = this->scenario_.file();
    file.put_word(file.map().event_index.position, 0x12345678);
    this->expect(3, TypeParam::event_index_failed(3), "");
}

TYPED_TEST(failing_load, of_the_dictionary_is_3_as_well)
{
    auto& file = this->scenario_.file();
    file.put_word(file.map().channel_dictionary.position, 0x12345678);
    this->expect(3, TypeParam::dictionary_failed(3), "");
}

TYPED_TEST(failing_load, of_an_absent_dictionary_is_3)
{
    this->scenario_.file().put_reference(offsetof(typename TypeParam::reference_table, cdt_ref), 0);
    this->expect(3, TypeParam::dictionary_failed(4), "");
}

TYPED_TEST(failing_load, of_the_pointers_table_is_the_table_readers_own_code)
{
    auto& file = this->scenario_.file();
    file.put_word(file.map().pointers.position, 0x12345678);
    this->expect(3, TypeParam::pointers_failed(3), "");
    file.put_word(file.map().pointers.position, 0xECAECAF3);
    this->scenario_.file().put_reference(offsetof(typename TypeParam::reference_table, ecp_ref), 0);
    this->expect(4, TypeParam::pointers_failed(4), "");
}

TYPED_TEST(failing_load, of_a_list_without_any_channel_of_the_file_is_minus_5)
{
    const std::vector<std::string> list{"ABSENT", "ABSENT.TOO"};
    this->expect(-5, TypeParam::pointers_by_list_failed(-5), "", 0, &list);
}

TYPED_TEST(failing_load, of_the_environment_dictionary_is_5_with_the_dictionarys_text)
{
    auto& file = this->scenario_.file();
    file.put_reference(offsetof(typename TypeParam::reference_table, eidt_ref), file.map().channel_dictionary.position);
    this->expect(5, TypeParam::dictionary_failed(3), "");
}

TYPED_TEST(failing_load, of_the_descriptions_is_6)
{
    auto& file = this->scenario_.file();
    file.put_reference(offsetof(typename TypeParam::reference_table, xcd_ref), file.map().file_size);
    this->expect(6, TypeParam::descriptions_failed(4), "");
}

TYPED_TEST(failing_load, of_decoding_the_descriptions_is_7_and_only_when_they_are_decoded)
{
    scenario_options<TypeParam> options;
    options.descriptions_xml = "<channels><channel daq_name=\"A\"></channels>";
    const scenario_file<TypeParam> broken(options);
    typename TypeParam::loader loader(0);
    EXPECT_EQ(loader.get_all_tables(broken.path(), 0, nullptr), 0);
    EXPECT_EQ(loader.get_all_tables(broken.path().c_str(), 0, nullptr), 0);
    const std::string path = broken.path();
    const std::string text = TypeParam::decoding_failed(3); // as for a wrong pattern
    this->expect_of([&](auto& loading) { return loading.get_all_tables(path, 1, nullptr); }, 7, text, "");
    this->expect_of([&](auto& loading) { return loading.get_all_tables(path.c_str(), 1, nullptr); }, 7, text, "");
}

TYPED_TEST(failing_load, of_an_event_header_basket_that_is_absent_or_outside_or_none_is_minus_4)
{
    auto& file = this->scenario_.file();
    for (const std::uint64_t position :
         {std::uint64_t{0}, file.map().file_size, file.map().file_size - 1, file.map().server_blocks.position}) {
        file.put_reference(offsetof(typename TypeParam::reference_table, evhdb_ref), position);
        this->expect(-4, "", "mmap: ");
    }
}

TYPED_TEST(failing_load, of_an_event_header_basket_whose_length_does_not_fit_is_minus_5)
{
    auto& file = this->scenario_.file();
    const auto position = file.map().event_headers.position;
    for (const std::uint64_t length : {file.map().file_size - position + 1, std::uint64_t{0}, std::uint64_t{7},
                                       std::uint64_t{0xFFFFFFFF}, std::uint64_t{0x80000000}}) {
        file.put_word(position + sizeof(typename TypeParam::word), length);
        this->expect(-5, "", "mmap: ");
    }
}

TYPED_TEST(failing_load, of_a_server_block_basket_that_is_absent_or_outside_or_none_is_minus_6)
{
    auto& file = this->scenario_.file();
    for (const std::uint64_t position :
         {std::uint64_t{0}, file.map().file_size + 4096, file.map().event_headers.position}) {
        file.put_reference(offsetof(typename TypeParam::reference_table, srvbb_ref), position);
        this->expect(-6, "", "mmap: ");
    }
}

TYPED_TEST(failing_load, of_a_server_block_basket_whose_length_does_not_fit_is_minus_7)
{
    auto& file = this->scenario_.file();
    const auto position = file.map().server_blocks.position;
    file.put_word(position + sizeof(typename TypeParam::word), file.map().file_size);
    this->expect(-7, "", "mmap: ");
    const std::vector<std::string> copied{"TEST/PLAIN"};
    this->expect(-7, "", "mmap: ", 0, &copied);
}

TYPED_TEST(failing_load, accepts_a_basket_that_ends_with_the_file_and_one_without_records)
{
    auto& file = this->scenario_.file();
    const auto position = file.map().event_headers.position;
    typename TypeParam::loader loader(0);
    for (const std::uint64_t length :
         {file.map().file_size - position, std::uint64_t{2 * sizeof(typename TypeParam::word)}}) {
        file.put_word(position + sizeof(typename TypeParam::word), length);
        this->scenario_.rewrite();
        EXPECT_EQ(loader.get_all_tables(this->scenario_.path(), 0, nullptr), 0);
    }
}

TYPED_TEST(failing_load, empties_a_loader_that_held_another_file)
{
    const scenario_file<TypeParam> good;
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(good.path(), 0, nullptr), 0);
    EXPECT_EQ(loader.get_all_tables(this->scenario_.other_path("missing.raw"), 0, nullptr), -2);
    EXPECT_EQ(loader.get_file_descr(), -1);
    EXPECT_EQ(loader.get_cdt_table(), nullptr);
    ASSERT_EQ(loader.get_all_tables(good.path(), 0, nullptr), 0);
}

TYPED_TEST(failing_load, of_a_file_cut_anywhere_gives_a_code_and_no_more)
{
    typename TypeParam::loader loader(1);
    const std::size_t whole = this->scenario_.file().bytes().size();
    constexpr std::size_t near_the_end = 600; // every length there, every 97th of the rest
    for (std::size_t length = whole; length > 0;) {
        length -= whole - length < near_the_end ? 1 : std::min<std::size_t>(length, 97);
        std::filesystem::resize_file(this->scenario_.path(), length);
        ASSERT_NE(loader.get_all_tables(this->scenario_.path(), 1, nullptr), 0) << "cut to " << length;
        ASSERT_EQ(loader.get_file_descr(), -1);
    }
}
