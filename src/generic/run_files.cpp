#include "generic/run_files.h"

#include "generic/data_files.h"
#include "trox_xml.h"

#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>

namespace trox_detail
{

namespace
{

/// Above this the list of the runs' numbers would take more than the catalogue itself.
constexpr int most_listed_runs = 1000000;

/// What a lookup hands out: one entry per run with files, which are the caller's.
struct catalogue_answers {
    std::vector<trox_root_xml_files*> runs;

    catalogue_answers() = default;
    catalogue_answers(const catalogue_answers&) = delete;
    catalogue_answers& operator=(const catalogue_answers&) = delete;
    ~catalogue_answers()
    {
        for (const trox_root_xml_files* run : runs) {
            delete run;
        }
    }
};

/// Names of the files of the runs that `wanted` takes.
template <class Wanted> std::vector<std::string> names_of(const catalogue_answers& answers, Wanted wanted)
{
    std::vector<std::string> names;
    for (const trox_root_xml_files* run : answers.runs) {
        if (!wanted(*run)) {
            continue;
        }
        for (const std::string* name : run->rfiles) {
            names.push_back(*name);
        }
    }
    return names;
}

bool takes_all(const trox_root_xml_files& /*run*/)
{
    return true;
}

/// Names of the files of the period in the runs that `wanted` takes; none when the catalogue cannot be read.
template <class Wanted>
std::vector<std::string> names_for_period(const std::string& directory, std::string key, long start_s, long stop_s,
                                          Wanted wanted)
{
    catalogue_answers answers;
    std::string catalogue_file;
    const int status = get_files_for_period(start_s, stop_s, &answers.runs, &catalogue_file, &key, directory.c_str(),
                                            TROX_DAQ_DATA_RAW_FORMAT);
    return status == 0 ? names_of(answers, wanted) : std::vector<std::string>{};
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
    catalogue_answers answers;
    std::string catalogue_file;
    std::string key = key_;
    const int status =
        get_files_for_runs(numbers, &answers.runs, &catalogue_file, &key, directory_.c_str(), TROX_DAQ_DATA_RAW_FORMAT);
    return status == 0 ? names_of(answers, takes_all) : std::vector<std::string>{};
}

/// Asks for all runs there are, whose number the catalogue files' names tell, and keeps those of the range.
std::vector<std::string> run_files::of_wide_range(run_range runs) const
{
    return names_for_period(directory_, key_, 0, 0, [&](const trox_root_xml_files& run) {
        return run.xmlfile != nullptr && is_of_runs(base_name(*run.xmlfile), runs.first, runs.last);
    });
}

std::vector<std::string> run_files::of_period(long start_s, long stop_s) const
{
    return names_for_period(directory_, key_, start_s, stop_s, takes_all);
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
