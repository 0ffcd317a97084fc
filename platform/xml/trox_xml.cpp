#include "trox_xml.h"

#include "run_catalogue.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <string_view>

namespace
{

using trox_xml::catalogue_name;
using trox_xml::found_run;
using trox_xml::lookup_error;
using trox_xml::run_catalogue;
using trox_xml::run_file;
using trox_xml::time_span;

constexpr int lookup_failed = 1;

/// Runs a lookup; no exception leaves the library, its reason goes to `key`.
template <class Lookup> int guarded(std::string* key, Lookup&& lookup) noexcept
{
    try {
        try {
            lookup();
            return 0;
        } catch (const lookup_error& error) {
            if (key != nullptr) {
                *key = error.what();
            }
        }
    } catch (const std::exception&) {
        if (key != nullptr) {
            *key = "no memory"; // short enough to need none
        }
    }
    return lookup_failed;
}

run_catalogue open_catalogue(const char* cdir, const std::string* key)
{
    if (cdir == nullptr) {
        throw lookup_error("no run catalogue directory given");
    }
    return run_catalogue(cdir, key == nullptr ? std::string_view{} : std::string_view{*key});
}

/// Whether a file of the catalogue's format word belongs to a lookup's `format`.
bool takes_format(int format, std::string_view word)
{
    switch (format) {
    case TROX_DAQ_DATA_ROOT_FORMAT:
        return word == "root";
    case TROX_DAQ_DATA_RAW_FORMAT:
        return word == "raw" || word == "raw64";
    case TROX_DAQ_DATA_BOTH_FORMAT:
        return word == "root" || word == "raw" || word == "raw64";
    case TROX_DAQ_DATA_RAW64_FORMAT:
        return word == "raw64";
    }
    return false;
}

void check_format(int format)
{
    if (format < 0 || format >= TROX_DAQ_DATA_FORMAT_MAX) {
        throw lookup_error("unknown data format " + std::to_string(format));
    }
}

using file_list = std::vector<std::unique_ptr<trox_root_xml_files>>;

/// One entry per run with at least one file that `wanted` takes.
template <class Wanted> file_list list_files(const std::vector<found_run>& runs, Wanted&& wanted)
{
    file_list lists;
    for (const found_run& run : runs) {
        auto list = std::make_unique<trox_root_xml_files>();
        list->rfiles.reserve(run.record.files.size());
        for (const run_file& file : run.record.files) {
            if (wanted(file)) {
                list->rfiles.push_back(std::make_unique<std::string>(file.name).release());
            }
        }
        if (!list->rfiles.empty()) {
            list->xmlfile = std::make_unique<std::string>(run.path).release();
            lists.push_back(std::move(list));
        }
    }
    return lists;
}

/// Gives the lists to the caller; nothing is handed out when memory ends.
void hand_out(file_list found, std::vector<trox_root_xml_files*>& lists, std::string* xml_name)
{
    lists.reserve(lists.size() + found.size());
    if (xml_name != nullptr) {
        *xml_name = *found.back()->xmlfile;
    }
    for (auto& list : found) {
        lists.push_back(list.release());
    }
}

} // namespace

int get_files_for_runs(const std::vector<int>& runs, std::vector<trox_root_xml_files*>* lists, std::string* xml_name,
                       std::string* key, const char* cdir, int format)
{
    return guarded(key, [&] {
        if (lists == nullptr) {
            throw lookup_error("no list to fill");
        }
        check_format(format);
        std::vector<int> numbers = runs;
        std::sort(numbers.begin(), numbers.end());
        run_catalogue catalogue = open_catalogue(cdir, key);
        const auto found = catalogue.select(
            [&](const catalogue_name& name) { return std::binary_search(numbers.begin(), numbers.end(), name.run); });
        auto files = list_files(found, [&](const run_file& file) { return takes_format(format, file.format); });
        if (files.empty()) {
            catalogue.fail("the run catalogue has no files of these runs");
        }
        hand_out(std::move(files), *lists, xml_name);
    });
}

int get_files_for_period(long start_s, long stop_s, std::vector<trox_root_xml_files*>* lists, std::string* xml_name,
                         std::string* key, const char* cdir, int format)
{
    return guarded(key, [&] {
        if (lists == nullptr) {
            throw lookup_error("no list to fill");
        }
        check_format(format);
        const time_span period{start_s, stop_s};
        run_catalogue catalogue = open_catalogue(cdir, key);
        const auto found = catalogue.select([&](const catalogue_name& name) { return overlaps(name.span, period); });
        auto files = list_files(found, [&](const run_file& file) {
            return takes_format(format, file.format) && overlaps(file.span, period);
        });
        if (files.empty()) {
            catalogue.fail("the run catalogue has no files of this period");
        }
        hand_out(std::move(files), *lists, xml_name);
    });
}

int get_time_for_run(int run, long* start_s, long* stop_s, std::string* key, const char* cdir)
{
    return guarded(key, [&] {
        run_catalogue catalogue = open_catalogue(cdir, key);
        const auto found = catalogue.select([&](const catalogue_name& name) { return name.run == run; });
        if (found.empty()) {
            catalogue.fail("the run catalogue has no run " + std::to_string(run));
        }
        const time_span& span = found.front().record.span;
        if (start_s != nullptr) {
            *start_s = span.start;
        }
        if (stop_s != nullptr) {
            *stop_s = span.stop;
        }
    });
}
