// The reader on a table loader whose tables are not what the table readers of this project let through: a site may have
// table readers of its own.
#include "reader_fixture.h"

#include "generation/traits_reader_2010.h"
#include "generation/traits_reader_2024.h"
#include "generation/traits_reader_legacy.h"
#include "generic/reader_discovery.inl"
#include "generic/reader_events.inl"
#include "generic/reader_files.inl"
#include "generic/reader_inspection.inl"
#include "generic/reader_report.inl"
#include "generic/reader_request.inl"

#include <cstdint>

namespace trox_test
{

enum class oddity { none, no_table, wrong_pattern };

/// What is odd about the tables of all loaders.
inline oddity event_index_is = oddity::none;
inline oddity dictionary_is = oddity::none;

template <class Table> const Table* made_odd(const Table* table, Table& other, oddity how)
{
    switch (how) {
    case oddity::none:
        return table;
    case oddity::no_table:
        return nullptr;
    case oddity::wrong_pattern:
        other = *table; // its head, and one entry
        ++other.pattern;
        return &other;
    }
    return nullptr;
}

template <class T> class odd_loader : public T::table_loader
{
public:
    using T::table_loader::table_loader;

    const auto* get_eit_table() const
    {
        return made_odd(T::table_loader::get_eit_table(), event_index_, event_index_is);
    }
    const auto* get_cdt_table() const
    {
        return made_odd(T::table_loader::get_cdt_table(), dictionary_, dictionary_is);
    }

private:
    mutable typename T::event_index_table event_index_{};
    mutable typename T::chan_dictionary_table dictionary_{};
};

template <class T> struct generation_of_odd_tables : T {
    using table_loader = odd_loader<T>;
};

} // namespace trox_test

namespace trox_detail
{

template <class T>
struct reader_traits<trox_test::generation_of_odd_tables<T>> : reader_traits<typename T::generation> {
};
template <class T> struct reader_texts<trox_test::generation_of_odd_tables<T>> : reader_texts<typename T::generation> {
};

} // namespace trox_detail

namespace
{

using trox_test::dictionary_is;
using trox_test::event_index_is;
using trox_test::oddity;
using trox_test::printed_by;

template <class T> class odd_tables : public trox_test::reader_test<T>
{
protected:
    odd_tables() : file(this->write_file(this->dir / "linac_main_run1_file1_20120614T093000.raw", 1000, 1004))
    {
        event_index_is = oddity::none;
        dictionary_is = oddity::none;
    }
    /// What printing the event index prints; it answers this.
    std::string index_printed(int status)
    {
        return printed_by([&] { EXPECT_EQ(reader.print_event_index_table(file.c_str(), 77), status); });
    }

    std::string file;
    trox_detail::basic_reader<trox_test::generation_of_odd_tables<T>> reader;
};
TYPED_TEST_SUITE(odd_tables, trox_test::reader_types, trox_test::reader_type_names);

TYPED_TEST(odd_tables, without_an_event_index_say_so)
{
    EXPECT_EQ(this->index_printed(0), "") << "as it is";
    event_index_is = oddity::no_table;
    EXPECT_EQ(this->index_printed(TROX_DAQ_READER_INTERN_ERROR), "No event index table\n");
    EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
    EXPECT_EQ(this->reader.get_number_of_files(), 0);
}

TYPED_TEST(odd_tables, with_an_event_index_of_a_wrong_pattern_say_so)
{
    event_index_is = oddity::wrong_pattern;
    EXPECT_EQ(this->index_printed(TROX_DAQ_READER_INTERN_ERROR), "Wrong pattern for index table\n");
    EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
    EXPECT_EQ(this->reader.get_number_of_files(), 0);
}

TYPED_TEST(odd_tables, without_a_dictionary_have_no_channels)
{
    for (const oddity how : {oddity::no_table, oddity::wrong_pattern}) {
        dictionary_is = how;
        int n = 7;
        std::vector<chan_descr_2010*> list;
        EXPECT_EQ(printed_by([&] {
                      EXPECT_EQ(this->reader.get_number_of_channels(this->file.c_str(), &n, 0),
                                TROX_DAQ_READER_INTERN_ERROR);
                      EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
                      EXPECT_EQ(this->reader.print_all_channels(this->file.c_str()), TROX_DAQ_READER_INTERN_ERROR);
                      EXPECT_EQ(this->reader.fill_chan_descr(this->file.c_str(), &list), TROX_DAQ_READER_INTERN_ERROR);
                  }),
                  "");
        EXPECT_EQ(n, 7);
        EXPECT_TRUE(list.empty());
        EXPECT_EQ(this->reader.get_channel_name(0, nullptr, nullptr, nullptr), nullptr);
        EXPECT_EQ(this->reader.get_number_of_files(), 0);
    }
    dictionary_is = oddity::none;
    int n = 0;
    EXPECT_EQ(this->reader.get_number_of_channels(this->file.c_str(), &n, 0), 0);
    EXPECT_EQ(n, 4);
}

TYPED_TEST(odd_tables, without_an_event_index_have_no_time_period)
{
    ASSERT_EQ(this->reader.add_file(this->file.c_str(), true), 0);
    event_index_is = oddity::no_table;
    this->reader.set_debug(1);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(this->reader.get_time_period_us(), -3.0); }).find("No events in event index"),
              0U);
    EXPECT_STREQ(this->reader.get_last_error(), "No required data");
}

} // namespace
