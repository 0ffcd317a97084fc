// Files that end too early: tables and the last baskets are gone, event headers and server blocks are whole.
#include "machine/write_run.h"
#include "recovered_file.h"
#include "sample_files.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <vector>

using namespace recover_test;
using testing::Each;
using testing::IsEmpty;

namespace
{

// A file of which the first bytes are left, and what of its records lies in them.
class truncated
{
public:
    explicit truncated(const std::string& path) : file_(path) {}

    std::uint64_t length() const
    {
        return file_.content.size();
    }
    /// Where the last channel basket begins.
    std::uint64_t last_basket() const
    {
        std::uint64_t begin = 0;
        for (const auto& channel : file_.original().file.channels) {
            auto first = length();
            for (const auto& record : channel.records) {
                first = std::min(first, record.head_position);
            }
            begin = channel.records.empty() ? begin : std::max(begin, first);
        }
        return begin - 2 * file_.word();
    }
    /// Where the event headers begin, in the order of the file.
    std::vector<std::uint64_t> event_headers() const
    {
        std::vector<std::uint64_t> positions;
        for (const auto& [position, event] : file_.original().file.events) {
            positions.push_back(position);
        }
        return positions;
    }
    void cut(std::uint64_t length)
    {
        length_ = length;
        file_.content.resize(length);
    }
    tr::report recover(bool in_order = false)
    {
        tr::recover_options options;
        options.in_order = in_order;
        const auto report = file_.recover(options);
        recovered_ = file_.recovered();
        return report;
    }
    std::vector<std::string> differences() const
    {
        comparison what;
        what.keys = false;
        return find_differences(file_.original(), recovered_, what);
    }
    /// Channels of undamaged records that did not come back.
    std::set<std::string> channels_with_losses() const
    {
        std::set<std::string> channels;
        for (const auto& name : missing_records(file_.original(), recovered_)) {
            const auto& record = file_.original().records.at(name).record;
            if (record.data_position + record.payload.size() <= length_) {
                channels.insert(std::get<0>(name));
            }
        }
        return channels;
    }
    /// Channels of which the cut left some records.
    std::set<std::string> cut_channels() const
    {
        std::set<std::string> begun;
        std::set<std::string> cut;
        for (const auto& [name, one] : file_.original().records) {
            const bool is_left = one.record.data_position + one.record.payload.size() <= length_;
            (is_left ? begun : cut).insert(std::get<0>(name));
        }
        std::set<std::string> both;
        std::set_intersection(begun.begin(), begun.end(), cut.begin(), cut.end(), std::inserter(both, both.end()));
        return both;
    }
    std::size_t all_records() const
    {
        return file_.original().records.size();
    }
    std::size_t recovered_records() const
    {
        return recovered_.records.size();
    }

private:
    damaged_scenario file_;
    std::uint64_t length_ = 0;
    full_file recovered_;
};

bool has_remark(const tr::report& report, const std::string& begin)
{
    return std::any_of(report.remarks.begin(), report.remarks.end(),
                       [&](const std::string& one) { return one.compare(0, begin.size(), begin) == 0; });
}

class truncated_sample : public testing::TestWithParam<trox_test::sample_generation>
{
protected:
    void SetUp() override
    {
        if (!tw::has_lzo()) {
            GTEST_SKIP() << "the sample files hold LZO records";
        }
    }
    static std::string path(std::size_t file = 0)
    {
        return trox_test::sample_directory(GetParam()) + trox_test::sample_names(GetParam()).at(file);
    }
};

TEST_P(truncated_sample, gives_back_all_undamaged_records_of_whole_baskets)
{
    for (const unsigned percent : {95U, 90U, 80U, 70U}) {
        truncated file(path());
        file.cut(file.length() * percent / 100);
        const auto report = file.recover();
        EXPECT_THAT(file.differences(), IsEmpty()) << percent;
        const auto cut = file.cut_channels();
        EXPECT_THAT(file.channels_with_losses(), Each(testing::AnyOfArray(cut))) << percent;
        EXPECT_GT(file.recovered_records(), 190U) << percent;
    }
}

TEST_P(truncated_sample, without_its_last_basket_gives_back_all_the_others)
{
    truncated file(path());
    file.cut(file.last_basket());
    EXPECT_EQ(file.recover().end, tr::outcome::partial);
    EXPECT_THAT(file.differences(), IsEmpty());
    EXPECT_THAT(file.channels_with_losses(), IsEmpty());
}

TEST_P(truncated_sample, accounts_for_every_record_that_its_server_blocks_count)
{
    for (const unsigned percent : {95U, 85U, 70U, 60U, 50U}) {
        truncated file(path());
        file.cut(file.length() * percent / 100);
        const auto report = file.recover();
        EXPECT_EQ(report.lost, file.all_records() - file.recovered_records()) << percent;
    }
}

// Half of the file shows nowhere that its records lie in order.
TEST_P(truncated_sample, that_does_not_show_its_order_gives_back_records_only_when_told_to_assume_it)
{
    truncated file(path());
    file.cut(file.length() / 2);
    const auto certain = file.recover();
    EXPECT_THAT(file.differences(), IsEmpty());
    EXPECT_EQ(certain.records, 0U);
    const auto assumed = file.recover(true);
    EXPECT_EQ(assumed.end, tr::outcome::partial);
    EXPECT_THAT(file.differences(), IsEmpty());
    EXPECT_THAT(file.channels_with_losses(), IsEmpty());
    EXPECT_GE(assumed.records, 120U);
    std::uint64_t marked = 0;
    for (const auto& channel : assumed.channels) {
        EXPECT_EQ(channel.by_row + channel.by_match, 0U) << channel.name;
        marked += channel.by_order;
    }
    EXPECT_EQ(marked, assumed.records);
}

// In the third files the event headers are behind all records and server blocks. A record may be of an event whose
// header is gone: that the others have one place for it proves nothing.
TEST_P(truncated_sample, that_ends_within_its_event_headers_gives_no_record_to_another_event)
{
    const auto headers = truncated(path(2)).event_headers();
    ASSERT_GT(headers.size(), 60U);
    for (std::size_t left = 1; left < headers.size(); ++left) {
        for (const std::uint64_t more : {0U, 20U}) {
            truncated file(path(2));
            file.cut(headers[left] + more);
            const auto report = file.recover();
            EXPECT_EQ(report.end, tr::outcome::partial) << left;
            EXPECT_THAT(file.differences(), IsEmpty()) << left << " + " << more;
            // Server blocks that are left over tell of it, too.
            EXPECT_TRUE(!report.lost_events.empty() || has_remark(report, "event headers: some may be lost")) << left;
        }
    }
}

TEST_P(truncated_sample, that_ends_behind_its_event_headers_gives_back_its_records)
{
    truncated file(path(2));
    const auto headers = file.event_headers();
    file.cut(headers.back() + (headers.back() - headers[headers.size() - 2]));
    const auto report = file.recover();
    EXPECT_THAT(file.differences(), IsEmpty());
    EXPECT_GE(report.records, 302U);
    EXPECT_FALSE(has_remark(report, "event headers: some may be lost"));
}

INSTANTIATE_TEST_SUITE_P(recover, truncated_sample,
                         testing::Values(trox_test::sample_generation::legacy, trox_test::sample_generation::g2010,
                                         trox_test::sample_generation::g2024));

// Plain records: those of a channel all have one length.
class truncated_run : public testing::TestWithParam<tw::generation>
{
protected:
    std::string write()
    {
        trox_machine::machine_settings settings;
        settings.format = GetParam();
        settings.seed = 5;
        settings.stored = tw::storage::plain;
        trox_machine::run_length length;
        length.events = 40;
        length.files = 1;
        tw::run_identity run;
        run.experiment = "linac";
        run.stream = "main";
        return trox_machine::write_run(trox_machine::machine(settings), run, directory_.path(), length).files.front();
    }
    writer_test::scratch_directory directory_;
};

TEST_P(truncated_run, gives_back_all_undamaged_records_as_long_as_one_channel_tells_the_order)
{
    const auto path = write();
    truncated last(path);
    last.cut(last.last_basket());
    last.recover();
    EXPECT_THAT(last.differences(), IsEmpty());
    EXPECT_THAT(last.channels_with_losses(), IsEmpty());
    truncated image(path);
    image.cut(image.length() * 9 / 10); // in the basket of the first camera
    image.recover();
    EXPECT_THAT(image.differences(), IsEmpty());
    EXPECT_THAT(image.channels_with_losses(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(recover, truncated_run, testing::ValuesIn(generations),
                         [](const auto& tested) { return generation_name(tested.param); });

} // namespace
