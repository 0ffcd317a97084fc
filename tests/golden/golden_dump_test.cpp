// Every table and every record of the sample files, read through the table loader and the channel reader.
#include "expected_file.h"

#include <gtest/gtest.h>

namespace
{

using namespace trox_golden;

const std::string data_root = TROX_TEST_DATA_DIR;

/// The files of a generation's sample run, in run order.
template <class G> std::vector<std::string> sample_files()
{
    const json list = load_json(data_root + "/expected/" + G::name + "_evid_all.json");
    return list.at("files").get<std::vector<std::string>>();
}

template <class G> json expected_dump(const std::string& file)
{
    return load_json(data_root + "/expected/" + file.substr(0, file.rfind(".raw")) + ".dump.json");
}

template <class G> void expect_equal(const dump_options& options)
{
    const auto files = sample_files<G>();
    ASSERT_EQ(files.size(), 3U);
    for (const auto& file : files) {
        const auto found = dump_differences<G>(expected_dump<G>(file), data_root, options);
        EXPECT_TRUE(found.empty()) << file << ":\n" << summary(found);
    }
}

template <class G> class golden_dump : public testing::Test
{
};
using generations = testing::Types<golden_legacy, golden_2010, golden_2024>;
TYPED_TEST_SUITE(golden_dump, generations, );

TYPED_TEST(golden_dump, tables_and_records_are_those_of_the_sample_files)
{
    expect_equal<TypeParam>({loaded_columns::all, 0});
}

TYPED_TEST(golden_dump, a_list_of_channels_gives_the_same_records_from_copied_baskets)
{
    expect_equal<TypeParam>({loaded_columns::reversed, 0});
}

TYPED_TEST(golden_dump, one_worker_decodes_the_same_records)
{
    expect_equal<TypeParam>({loaded_columns::reversed, 1});
}

TYPED_TEST(golden_dump, two_workers_decode_the_same_records)
{
    expect_equal<TypeParam>({loaded_columns::reversed, 2});
}

TYPED_TEST(golden_dump, ten_workers_decode_the_same_records)
{
    expect_equal<TypeParam>({loaded_columns::reversed, 10});
}

} // namespace
