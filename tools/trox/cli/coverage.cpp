#include "coverage.h"

#include "summary.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <unordered_set>

namespace trox_cli
{
namespace
{

/// The middle one, of an even number the lower of the two; none of none.
template <class Value> std::optional<Value> median(std::vector<Value> values)
{
    if (values.empty()) {
        return std::nullopt;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// What a channel's records usually do from one to the next.
struct usual_steps {
    std::optional<trox::microseconds> step{};
    std::optional<double> us_per_number{};
};

usual_steps find_usual_steps(const std::vector<trox::record_stamp>& records)
{
    std::vector<trox::microseconds> steps;
    std::vector<double> rates;
    for (std::size_t i = 1; i < records.size(); ++i) {
        const auto step = records[i].time - records[i - 1].time;
        if (step.count() <= 0) {
            continue;
        }
        steps.push_back(step);
        if (records[i].number > records[i - 1].number) {
            const std::uint64_t numbers = records[i].number - records[i - 1].number;
            rates.push_back(static_cast<double>(step.count()) / static_cast<double>(numbers));
        }
    }
    return {median(std::move(steps)), median(std::move(rates))};
}

/// By how much the time went on farther than the number says; none where the numbers cannot tell.
std::optional<trox::microseconds> disagreement(const trox::record_stamp& before, const trox::record_stamp& record,
                                               double us_per_number)
{
    const bool rises = record.number >= before.number;
    const auto numbers = static_cast<double>(rises ? record.number - before.number : before.number - record.number) *
                         (rises ? 1.0 : -1.0);
    const double difference = static_cast<double>((record.time - before.time).count()) - numbers * us_per_number;
    constexpr double most = 9e18;
    return std::abs(difference) < most ? std::optional(trox::microseconds(std::llround(difference))) : std::nullopt;
}

void find_duplicates(const std::vector<trox::record_stamp>& records, std::vector<coverage_finding>& findings)
{
    std::unordered_set<std::uint64_t> numbers;
    std::unordered_set<std::int64_t> times;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const bool is_new_number = numbers.insert(records[i].number).second;
        const bool is_new_time = times.insert(records[i].time.time_since_epoch().count()).second;
        if (!is_new_number || !is_new_time) {
            const auto step = i == 0 ? trox::microseconds(0) : records[i].time - records[i - 1].time;
            findings.push_back({irregularity::duplicate, records[i], step});
        }
    }
}

void find_steps(const std::vector<trox::record_stamp>& records, const usual_steps& usual,
                std::vector<coverage_finding>& findings)
{
    constexpr double gap_from = 1.5; // of the median step
    constexpr double jump_from = 0.5;
    const auto step = static_cast<double>(usual.step->count());
    for (std::size_t i = 1; i < records.size(); ++i) {
        const auto length = records[i].time - records[i - 1].time;
        if (static_cast<double>(length.count()) > gap_from * step) {
            findings.push_back({irregularity::gap, records[i], length});
        }
        const auto off =
            usual.us_per_number ? disagreement(records[i - 1], records[i], *usual.us_per_number) : std::nullopt;
        if (off && std::abs(static_cast<double>(off->count())) > jump_from * step) {
            findings.push_back({irregularity::clock_jump, records[i], *off});
        }
    }
}

} // namespace

const char* name_of(irregularity what) noexcept
{
    switch (what) {
    case irregularity::gap:
        return "gap";
    case irregularity::duplicate:
        return "duplicate";
    case irregularity::clock_jump:
        return "clock jump";
    }
    return "";
}

std::uint64_t channel_coverage::count(irregularity what) const
{
    return static_cast<std::uint64_t>(std::count_if(
        findings.begin(), findings.end(), [what](const coverage_finding& found) { return found.what == what; }));
}

std::optional<trox::microseconds> channel_coverage::longest_gap() const
{
    std::optional<trox::microseconds> longest;
    for (const coverage_finding& found : findings) {
        if (found.what == irregularity::gap) {
            longest = longest ? std::max(*longest, found.length) : found.length;
        }
    }
    return longest;
}

bool has_fast_events(const trox::channel_info& channel)
{
    return (channel.event_types & ~slow_event_types()) != 0;
}

std::optional<trox::microseconds> median_step(const std::vector<trox::record_stamp>& records)
{
    return find_usual_steps(records).step;
}

channel_coverage find_coverage(const std::vector<trox::record_stamp>& records, bool is_regular)
{
    channel_coverage result;
    find_duplicates(records, result.findings);
    const usual_steps usual = is_regular ? find_usual_steps(records) : usual_steps{};
    if (usual.step) {
        result.step = usual.step;
        find_steps(records, usual, result.findings);
        const auto [first, last] = std::minmax_element(records.begin(), records.end(),
                                                       [](const auto& a, const auto& b) { return a.time < b.time; });
        const auto span = static_cast<double>((last->time - first->time).count());
        result.expected = static_cast<std::uint64_t>(std::llround(span / static_cast<double>(usual.step->count()))) + 1;
    }
    std::stable_sort(result.findings.begin(), result.findings.end(), [](const auto& a, const auto& b) {
        return a.at.file != b.at.file ? a.at.file < b.at.file : a.at.time < b.at.time;
    });
    return result;
}

std::vector<std::uint64_t> count_over_time(const std::vector<trox::record_stamp>& records, trox::time_point begin,
                                           trox::time_point end, std::size_t bins)
{
    std::vector<std::uint64_t> counts(bins);
    const auto span = static_cast<std::uint64_t>(std::max<std::int64_t>((end - begin).count(), 1));
    for (const trox::record_stamp& record : records) {
        if (bins > 0 && record.time >= begin && record.time <= end) {
            // Microseconds of all times that files can hold, times 1000 parts, fit into 64 bits.
            const auto offset = static_cast<std::uint64_t>((record.time - begin).count());
            ++counts[std::min<std::uint64_t>(bins - 1, offset * bins / span)];
        }
    }
    return counts;
}

std::string strip_of(const std::vector<std::uint64_t>& counts)
{
    constexpr std::array<const char*, 9> blocks{" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    const std::uint64_t most = counts.empty() ? 0 : *std::max_element(counts.begin(), counts.end());
    std::string strip;
    for (const std::uint64_t count : counts) {
        // Anything shows: what is there must not look like a gap.
        const std::size_t height =
            count == 0 ? 0 : std::max<std::size_t>(1, static_cast<std::size_t>(count * (blocks.size() - 1) / most));
        strip += blocks[height];
    }
    return strip;
}

} // namespace trox_cli
