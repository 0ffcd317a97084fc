// A reader of each generation that looks into single files, and those that dump channels.
#ifndef TROX_TEST_INSPECTION_FIXTURE_H
#define TROX_TEST_INSPECTION_FIXTURE_H

#include "detail/big_endian.h"
#include "inspection_types.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace trox_test
{

template <class T> class inspection : public sample_inspection
{
protected:
    inspection()
    {
        reader_.set_data_dir(nullptr);
    }
    static std::string file(std::size_t i = 0)
    {
        return sample(T::samples, i);
    }
    static std::string name_of_channel(std::size_t i)
    {
        return dump(T::samples).at("cdt").at(i).at("name").template get<std::string>();
    }
    void add_channel(const std::string& name)
    {
        daq_channel_entry channel{name.c_str(), {}};
        ASSERT_EQ(reader_.add_channel(&channel), 0);
    }
    /// A copy of the first sample whose dictionary announces this length, or has another pattern.
    std::string with_dictionary(std::size_t field, std::uint64_t value)
    {
        using table = typename T::generation::chan_dictionary_table;
        using word = decltype(table::length);
        typename T::loader loader(0);
        EXPECT_EQ(loader.get_all_tables(file(), 0, nullptr), 0);
        std::vector<std::uint8_t> bytes = read_bytes(file());
        const auto position = static_cast<std::size_t>(loader.get_ref_tbl()->cdt_ref);
        trox_detail::store_big_endian(&bytes.at(position + field), static_cast<word>(value));
        const std::string path = directory_.file(sample_names(T::samples).front());
        write_bytes(path, bytes);
        return path;
    }

    temp_directory directory_;
    typename T::reader reader_;
};

using all_generations = ::testing::Types<inspected_legacy, inspected_2010, inspected_2024>;
TYPED_TEST_SUITE(inspection, all_generations);

template <class T> class channel_dumps : public inspection<T>
{
protected:
    using print = void (T::reader::*)(const char*, const char*);

    std::string printed(print operation, const char* file, const char* channel)
    {
        return capture([&] { (this->reader_.*operation)(file, channel); }).out;
    }
    static std::string text(const std::string& rest)
    {
        return std::string(T::reader_name) + "::print_channel_event_headers() " + rest + "\n";
    }
    static std::vector<print> operations()
    {
        return {&T::reader::print_channel_event_headers, &T::reader::print_channel_server_block_headers,
                &T::reader::print_channel_channel_headers, &T::reader::print_channel_channel};
    }
};

using dumping_generations = ::testing::Types<inspected_2010, inspected_2024>;
TYPED_TEST_SUITE(channel_dumps, dumping_generations);

} // namespace trox_test

#endif
