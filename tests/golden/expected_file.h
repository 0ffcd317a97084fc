// An expected file, of whichever kind, beside what our library reads.
#ifndef TROX_GOLDEN_EXPECTED_FILE_H
#define TROX_GOLDEN_EXPECTED_FILE_H

#include "environment.h"
#include "event_list.h"
#include "file_dump.h"

namespace trox_golden
{

/// The machine clock that a list's settings name, as a value of TROX_EVENT_CLOCK.
inline std::optional<std::string> clock_of(const json& expected)
{
    const json& clock = expected.at("settings").at("clock");
    return clock.is_null() ? std::nullopt : std::optional(clock.get<std::string>());
}

/// Reads the run as an expected list says and answers the differences.
template <class G> std::vector<std::string> list_differences(const json& expected, const reading_options& options)
{
    const environment_variable clock("TROX_EVENT_CLOCK", clock_of(expected));
    const environment_variable fresh_files("TROX_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1");
    return differences(expected, read_list<G>(expected, options));
}

/// Reads the data file of an expected dump and answers the differences.
template <class G>
std::vector<std::string> dump_differences(const json& expected, const std::string& data_root,
                                          const dump_options& options)
{
    const std::string path = data_root + "/" + G::data_folder + "/" + expected.at("file").get<std::string>();
    return differences(expected, dump_file<G>(path, options));
}

} // namespace trox_golden

#endif
