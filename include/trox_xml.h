// Request library (libTROXXML): copying requests, and the run catalogue.
//
// Layer: platform, below the readers. A site may link its own library of the same name and interface. All
// functions are thread-safe and none throws.
#ifndef TROX_XML_H
#define TROX_XML_H

#include "event.h"

#include <string>
#include <vector>

#pragma GCC visibility push(default)

/// Copies every field of a request; false on success, true when an argument is null.
bool trox_copy_daq_request(const trox_daq_request* source, trox_daq_request* destination);
bool trox_copy_daq_request_2024(const trox_daq_request_2024* source, trox_daq_request_2024* destination);

/// Data files of runs, from the run catalogue in directory `cdir`: 0 and one entry, owned by the caller, per run
/// with at least one file, in run order, files in file order. Non-zero when the directory cannot be read or
/// nothing matches.
///
/// `format`: TROX_DAQ_DATA_RAW_FORMAT takes raw and raw64 files, TROX_DAQ_DATA_RAW64_FORMAT raw64,
/// TROX_DAQ_DATA_ROOT_FORMAT root, TROX_DAQ_DATA_BOTH_FORMAT all. `key` limits the search on entry: empty,
/// `<experiment>` or `<experiment>/<stream>`; on failure it receives the reason. `xml_name` receives the last
/// catalogue file used. Null `runs` or `lists` is a failure; the two strings and `cdir` may be null where noted
/// in the result text.
int get_files_for_runs(const std::vector<int>& runs, std::vector<trox_root_xml_files*>* lists, std::string* xml_name,
                       std::string* key, const char* cdir, int format);

/// The same for the files whose span overlaps a period, both ends included. Seconds since the epoch; 0 is open
/// on that side.
int get_files_for_period(long start_s, long stop_s, std::vector<trox_root_xml_files*>* lists, std::string* xml_name,
                         std::string* key, const char* cdir, int format);

/// First and last second of a run; `stop_s` is 0 for a run that still goes on. 0, or non-zero when the
/// catalogue has no such run; `key` as above.
int get_time_for_run(int run, long* start_s, long* stop_s, std::string* key, const char* cdir);

/// The archive directory of a data file: with the environment variable TROX_DAQ_ARCHIVE_ROOT set, the
/// directory <root>/<experiment>/<YYYY>/<MM> of the file's time, when it exists and fits `buffer` of `*length`
/// bytes: false. Otherwise true, and `buffer` is as before. The last argument is not used.
bool get_pnfs_dir(const char* experiment, const char* file, char* buffer, int* length, void* reserved);

#pragma GCC visibility pop

#endif
