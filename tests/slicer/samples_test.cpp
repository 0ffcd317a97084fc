// The sample run, event by event: every machine event holds exactly the records that its files hold.
#include "sample_files.h"
#include "sha256.h"
#include "slicer_files.h"

namespace slicer_test
{

using trox_test::sample_directory;
using trox_test::sample_names;

/// Per event number, "channel sum" of every record of these channels, in channel order.
using event_sums = std::map<std::uint64_t, std::vector<std::string>>;

event_sums expected_sums(trox_test::sample_generation generation, const std::vector<std::string>& names)
{
    event_sums all;
    for (const auto& name : names) {
        for (const auto& file : sample_names(generation)) {
            const auto dump = trox_test::read_dump(file);
            for (const auto& channel : dump.at("channels")) {
                if (channel.at("name") != name) {
                    continue;
                }
                for (const auto& record : channel.at("records")) {
                    all[record.at("ev")].push_back(name + " " + std::string(record.at("out").at("sha")));
                }
            }
        }
    }
    return all;
}

template <class T> class slicer_samples : public testing::Test
{
};
TYPED_TEST_SUITE(slicer_samples, slicer_generations, slicer_generation_names);

TYPED_TEST(slicer_samples, every_event_has_the_records_that_its_files_hold)
{
    const std::vector<std::string> names{
        "LINAC.DIAG/TOROID/3.UNDU/CHARGE", "LINAC.RF/ADC/A07.M1/TRACE.Z",  "LINAC.RF/ADC/A07.M2/TRACE.L",
        "LINAC.RF/ADC/A07.M3/TRACE.P",     "LINAC.DIAG/BPM/12.L2/XY",      "LINAC.RF/LLRF/C3.ACC5/PROBE",
        "LINAC.DIAG/DUMP/2.EN/GEN",        "LINAC.DIAG/CAM/SCR.4/IMG",     "LINAC.DIAG/CAM/SCR.9/IMGX",
        "LINAC.CTRL/FB/ORBIT/SETTINGS",    "LINAC.DIAG/WIRE/W2.BC2/SIGNAL"};
    const event_sums expected = expected_sums(TypeParam::samples, names);
    ASSERT_EQ(expected.size(), 120U);
    std::vector<std::string> files;
    for (const auto& name : sample_names(TypeParam::samples)) {
        files.push_back(sample_directory(TypeParam::samples) + name);
    }
    channel_list<TypeParam> channels{};
    for (const auto& name : names) {
        channels.add(name);
    }
    slicer_of<TypeParam> slicer;
    ASSERT_EQ(init(slicer, files, channels), 0);
    ASSERT_EQ(slicer.start(), 0);
    EXPECT_STREQ(slicer.get_not_found_channels(), "");
    event_sums found;
    records_of<TypeParam> all;
    while (slicer.get_data(nullptr, &all, next) == 0) {
        ASSERT_THAT(all, Not(IsEmpty()));
        for (const auto* record : all) {
            const auto& block = *reinterpret_cast<const typename TypeParam::subhead*>(record->sbchdata[0].chhd);
            const auto size = static_cast<std::size_t>(block.ldata) - sizeof(block);
            const std::string sum = trox_test::sha256(reinterpret_cast<const void*>(record->sbchdata[0].data), size);
            found[record->event_id.event_number].push_back(std::string(block.chname) + " " + sum.substr(0, 12));
        }
    }
    EXPECT_EQ(found, expected);
}

} // namespace slicer_test
