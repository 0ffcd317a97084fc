// The run catalogue: one directory with one file per run.
#ifndef TROX_PLATFORM_XML_RUN_CATALOGUE_H
#define TROX_PLATFORM_XML_RUN_CATALOGUE_H

#include "catalogue_file.h"
#include "catalogue_name.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace trox_xml
{

/// A lookup that has no answer; `what()` is the reason that a caller is shown.
class lookup_error : public std::exception
{
public:
    explicit lookup_error(std::string reason) : reason_(std::move(reason)) {}
    const char* what() const noexcept override
    {
        return reason_.c_str();
    }

private:
    std::string reason_;
};

/// A run that was found and read.
struct found_run {
    std::string path; ///< of the catalogue file
    run_record record;
};

/// One lookup: lists the directory once, then opens only the files that the lookup needs. Keeps no handle.
///
///     run_catalogue catalogue("/catalogue", "linac/main");
///     for (const found_run& run : catalogue.select([](const catalogue_name& name) { return name.run == 7; })) ...
class run_catalogue
{
public:
    /// Lists the catalogue files of `directory` whose experiment and stream fit `key`. Throws lookup_error when
    /// the directory cannot be read.
    run_catalogue(const std::string& directory, std::string_view key);

    /// Reads the runs that `wanted` takes by name, in order of run number, experiment and stream. A run
    /// whose file is damaged is left out. Where a run has two files (a DAQ replaces the open one when the run
    /// ends), the one of the closed run is asked, and the other only when that is damaged.
    std::vector<found_run> select(const std::function<bool(const catalogue_name&)>& wanted);

    /// Throws lookup_error with `reason`, and what was wrong with files that `select` left out.
    [[noreturn]] void fail(const std::string& reason) const;

private:
    std::string directory_; ///< with a closing "/"
    std::vector<catalogue_name> names_;
    std::size_t damaged_count_ = 0;
    std::string first_damage_;
};

} // namespace trox_xml

#endif
