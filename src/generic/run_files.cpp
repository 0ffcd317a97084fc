#include "generic/run_files.h"

#include "trox_xml.h"

#include <memory>
#include <numeric>
#include <utility>

namespace trox_detail
{

namespace
{

/// The names in the answers, which are released.
std::vector<std::string> names_of(const std::vector<trox_root_xml_files*>& answers)
{
    std::vector<std::string> names;
    for (trox_root_xml_files* answer : answers) {
        const std::unique_ptr<trox_root_xml_files> owned(answer);
        for (const std::string* name : owned->rfiles) {
            names.push_back(*name);
        }
    }
    return names;
}

} // namespace

run_files::run_files(std::string directory, const std::string& experiment, const std::string& stream)
    : directory_(std::move(directory)), key_(experiment + "/" + stream)
{
}

std::vector<std::string> run_files::of_runs(run_range runs) const
{
    std::vector<int> numbers(static_cast<std::size_t>(runs.last - runs.first) + 1);
    std::iota(numbers.begin(), numbers.end(), runs.first);
    std::vector<trox_root_xml_files*> answers;
    std::string catalogue_file;
    std::string key = key_;
    const int status =
        get_files_for_runs(numbers, &answers, &catalogue_file, &key, directory_.c_str(), TROX_DAQ_DATA_RAW_FORMAT);
    std::vector<std::string> names = names_of(answers);
    return status == 0 ? names : std::vector<std::string>{};
}

std::vector<std::string> run_files::of_period(long start_s, long stop_s) const
{
    std::vector<trox_root_xml_files*> answers;
    std::string catalogue_file;
    std::string key = key_;
    const int status = get_files_for_period(start_s, stop_s, &answers, &catalogue_file, &key, directory_.c_str(),
                                            TROX_DAQ_DATA_RAW_FORMAT);
    std::vector<std::string> names = names_of(answers);
    return status == 0 ? names : std::vector<std::string>{};
}

std::optional<run_span> run_files::span_of(int run) const
{
    run_span span;
    std::string key = key_;
    if (get_time_for_run(run, &span.start_s, &span.stop_s, &key, directory_.c_str()) != 0) {
        return std::nullopt;
    }
    return span;
}

} // namespace trox_detail
