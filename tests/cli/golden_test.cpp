// What the verbs say of the sample files, word for word. The values in the golden files were compared with those of the
// independent writer; truth_test.cpp does so again for names, numbers and times.
#include "run_trox.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace
{

using trox_test::run_trox;

struct golden_case {
    const char* name;
    std::vector<std::string> arguments;
};

const std::vector<golden_case>& cases()
{
    static const std::string charge = "LINAC.DIAG/TOROID/3.UNDU/CHARGE";
    static const std::string image = "LINAC.DIAG/CAM/SCR.4/IMG";
    static const std::vector<golden_case> all{
        {"info_legacy", {"info", "data_legacy"}},
        {"info_2010", {"info", "data_2010"}},
        {"info_2024", {"info", "data_2024"}},
        {"info_2024_json", {"info", "data_2024", "--json"}},
        {"info_run_ndjson",
         {"info", "--run", "1042", "--catalogue", "catalogue", "--data", "data_2010", "--format", "ndjson"}},
        {"info_csv", {"info", "data_2010", "--format", "csv"}},
        {"info_mixed", {"info", "data_legacy", "data_2010", "data_2024"}},
        {"list_legacy", {"list", "data_legacy"}},
        {"list_2010", {"list", "data_2010"}},
        {"list_2024_json", {"list", "data_2024", "--json"}},
        {"list_long", {"list", "data_2010", "--glob", "LINAC.RF/*", "--long"}},
        {"list_csv", {"list", "channels", "data_2010", "--kind", "slow", "--format", "csv"}},
        {"list_unit", {"list", "data_2010", "--unit", "kW", "--unit", "A"}},
        {"list_nothing", {"list", "data_2010", "--glob", "X*"}},
        {"list_nothing_json", {"list", "data_2010", "--glob", "X*", "--json"}},
        {"list_runs", {"list", "runs", "--catalogue", "catalogue"}},
        {"list_runs_json", {"list", "runs", "--catalogue", "catalogue", "--data", "data_2010", "--json"}},
        {"list_runs_zone",
         {"list", "runs", "--catalogue", "catalogue", "--tz", "Asia/Kolkata", "--time-format", "%d.%m.%y %H:%M"}},
        {"list_files", {"list", "files", "data_2010", "--glob", "*_file2_*", "--time-format", "epoch"}},
        {"cover_2010", {"cover", "data_2010", "LINAC.RF/*", "LINAC.DIAG/WIRE/*", "LINAC.VAC/*", "--findings"}},
        {"cover_legacy_json",
         {"cover", "data_legacy", "LINAC.DIAG/WIRE/*", "LINAC.DIAG/CAM/*", "--bins", "6", "--json"}},
        {"sync_2024", {"sync", "data_2024"}},
        {"sync_time_json", {"sync", "data_2010", "LINAC.DIAG/*", "--by-time=10ms", "--json"}},
        {"find_run", {"find", "1042", "--catalogue", "catalogue", "--data", "data_2010"}},
        {"find_time", {"find", "2012-06-14T09:30:05", "--catalogue", "catalogue", "--data", "data_2010"}},
        {"find_period_json",
         {"find", "--from", "2024-03-05T03:59:58.2", "--to", "2024-03-05T04:00:00", "--catalogue", "catalogue",
          "--data", "data_2024", "--json"}},
        {"show_event_legacy", {"show", "data_legacy"}},
        {"show_event_2024_json", {"show", "data_2024", "--last", "--json"}},
        {"show_event_csv", {"show", "data_2010", "-c", "LINAC.RF/*", "--event", "388120050", "--format", "csv"}},
        {"show_charge", {"show", "data_2010", charge}},
        {"show_charge_json", {"show", "data_legacy", charge, "--json"}},
        {"show_charge_csv", {"show", "data_2024", charge, "--format", "csv"}},
        {"show_position", {"show", "data_legacy", "LINAC.DIAG/BPM/12.L2/XY"}},
        {"show_groups_json", {"show", "data_2010", "LINAC.DIAG/DUMP/2.EN/GEN", "--json"}},
        {"show_slice", {"show", "data_2010", "LINAC.RF/ADC/A07.M1/TRACE.Z", "--slice", "100:10:50"}},
        {"show_image", {"show", "data_2010", image, "--slice", "18:4"}},
        {"show_image_json", {"show", "data_2024", image, "--json"}},
        {"show_region", {"show", "data_2024", "LINAC.DIAG/CAM/SCR.4/ROI1"}},
        {"show_names", {"show", "data_2010", "LINAC.CTRL/FB/ORBIT/SETTINGS"}},
        {"show_state", {"show", "data_legacy", "LINAC.LASER/OSC/2/STATUS", "--event", "12045309"}},
        {"show_slow_json", {"show", "data_2010", "LINAC.MAG/QUAD/Q5.BC2/I.RBV", "--json"}},
        {"show_environment", {"show", "data_2024", "LINAC.ENV/TEMP/RACK.17"}}};
    return all;
}

class golden : public testing::TestWithParam<golden_case>
{
};

TEST_P(golden, is_what_the_verb_says)
{
    const auto result = run_trox(GetParam().arguments);
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const std::string path = std::string(TROX_GOLDEN_DIR) + "/" + GetParam().name + ".txt";
    if (std::getenv("TROX_WRITE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << result.out;
        FAIL() << path << " was written: read it, and run the test without TROX_WRITE_GOLDEN";
    }
    std::ifstream file(path, std::ios::binary);
    ASSERT_TRUE(file) << path;
    const std::string expected{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_EQ(result.out, expected);
}

INSTANTIATE_TEST_SUITE_P(samples, golden, testing::ValuesIn(cases()),
                         [](const auto& which) { return which.param.name; });

TEST(golden_files, belong_to_a_case_each)
{
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TROX_GOLDEN_DIR)) {
        files += entry.path().extension() == ".txt" ? 1 : 0;
    }
    EXPECT_EQ(files, cases().size());
}

} // namespace
