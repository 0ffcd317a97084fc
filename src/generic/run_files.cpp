#include "generic/run_files.h"

#include "generic/data_files.h"
#include "trox_xml.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>
#include <utility>

namespace trox_detail
{

namespace
{

/// Above this the list of the runs' numbers would take more than the catalogue itself.
constexpr int most_listed_runs = 1000000;

using answer = std::unique_ptr<trox_root_xml_files>;

/// Takes over what a lookup has handed out.
std::vector<answer> owned(const std::vector<trox_root_xml_files*>& handed_out)
{
    return {handed_out.begin(), handed_out.end()};
}

std::vector<std::string> names_of(const std::vector<answer>& answers)
{
    std::vector<std::string> names;
    for (const answer& run : answers) {
        for (const std::string* name : run->rfiles) {
            names.push_back(*name);
        }
    }
    return names;
}

/// One entry per run with files of the period; none when there are none or the catalogue cannot be read.
std::vector<answer> answers_for_period(const std::string& directory, std::string key, long start_s, long stop_s)
{
    std::vector<trox_root_xml_files*> handed_out;
    std::string catalogue_file;
    const int status = get_files_for_period(start_s, stop_s, &handed_out, &catalogue_file, &key, directory.c_str(),
                                            TROX_DAQ_DATA_RAW_FORMAT);
    std::vector<answer> answers = owned(handed_out);
    if (status != 0) {
        answers.clear();
    }
    return answers;
}

/// A second as a time stamp holds it; 0, unknown, for any other.
long known_second(long second)
{
    return second >= 0 && second <= long{std::numeric_limits<std::uint32_t>::max()} ? second : 0;
}

} // namespace

run_files::run_files(std::string directory, const std::string& experiment, const std::string& stream)
    : directory_(std::move(directory)), key_(experiment + "/" + stream)
{
}

std::vector<std::string> run_files::of_runs(run_range runs) const
{
    return runs.last - runs.first < most_listed_runs ? of_listed_runs(runs) : of_wide_range(runs);
}

std::vector<std::string> run_files::of_listed_runs(run_range runs) const
{
    std::vector<int> numbers(static_cast<std::size_t>(runs.last - runs.first) + 1);
    std::iota(numbers.begin(), numbers.end(), runs.first);
    std::vector<trox_root_xml_files*> handed_out;
    std::string catalogue_file;
    std::string key = key_;
    const int status =
        get_files_for_runs(numbers, &handed_out, &catalogue_file, &key, directory_.c_str(), TROX_DAQ_DATA_RAW_FORMAT);
    const std::vector<answer> answers = owned(handed_out);
    return status == 0 ? names_of(answers) : std::vector<std::string>{};
}

/// Asks for all runs there are, whose number the catalogue files' names tell, and keeps those of the range.
std::vector<std::string> run_files::of_wide_range(run_range runs) const
{
    std::vector<answer> answers = answers_for_period(directory_, key_, 0, 0);
    std::erase_if(answers, [&](const answer& run) {
        return run->xmlfile == nullptr || !is_of_runs(base_name(*run->xmlfile), runs.first, runs.last);
    });
    return names_of(answers);
}

std::vector<std::string> run_files::of_period(long start_s, long stop_s) const
{
    return names_of(answers_for_period(directory_, key_, start_s, stop_s));
}

std::optional<run_span> run_files::span_of(int run) const
{
    run_span span;
    std::string key = key_;
    if (get_time_for_run(run, &span.start_s, &span.stop_s, &key, directory_.c_str()) != 0) {
        return std::nullopt;
    }
    return run_span{known_second(span.start_s), known_second(span.stop_s)};
}

} // namespace trox_detail
