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

/// Copies every field of a request. False on success; true when an argument is null (or memory ends: then the
/// destination's fields are unspecified, but sound). Both may be the same request.
bool trox_copy_daq_request(const trox_daq_request* source, trox_daq_request* destination);
bool trox_copy_daq_request_2024(const trox_daq_request_2024* source, trox_daq_request_2024* destination);

/// Data files of runs, from the run catalogue in directory `cdir`: one entry per run with at least one file, in
/// order of run number whatever the order of `runs` (then of experiment and stream), each run once, the files in
/// order of their start. File names are base names, as in the catalogue.
///
/// `format`: TROX_DAQ_DATA_RAW_FORMAT takes raw and raw64 files, TROX_DAQ_DATA_RAW64_FORMAT raw64,
/// TROX_DAQ_DATA_ROOT_FORMAT root, TROX_DAQ_DATA_BOTH_FORMAT all. `key` limits the search on entry: empty,
/// `<experiment>` or `<experiment>/<stream>`, compared exactly; an empty part limits nothing.
///
/// The entries are appended to `lists` and owned by the caller. `xml_name` receives the path of the last
/// catalogue file used; `key` keeps its text. `xml_name` and `key` may be null.
///
/// 0, or non-zero when `lists` or `cdir` is null, `format` is unknown, the directory cannot be read, nothing
/// matches, or memory ends: then `key` receives the reason, one line for a person, and the rest is as before.
/// A damaged catalogue file (not well-formed, incomplete, of another run, experiment or stream than its name says,
/// over 8 MiB, no regular file) is passed over, so that one of them does not hide the other runs; when nothing else
/// matches, the reason names it. The times in its name and in its content are not compared: the name tells whether
/// a period needs the file, the content tells everything else. Files under other names are no catalogue files. Only
/// files of the given runs are opened.
int get_files_for_runs(const std::vector<int>& runs, std::vector<trox_root_xml_files*>* lists, std::string* xml_name,
                       std::string* key, const char* cdir, int format);

/// The same for the files whose span overlaps a period, both ends included. Seconds since the epoch; 0 is open
/// on that side, and a run or file that still goes on reaches up to any time. Only catalogue files whose name
/// overlaps the period are opened.
int get_files_for_period(long start_s, long stop_s, std::vector<trox_root_xml_files*>* lists, std::string* xml_name,
                         std::string* key, const char* cdir, int format);

/// First and last second of a run, since the epoch; `stop_s` is 0 for a run that still goes on. Either may be
/// null. Of runs of the same number in several experiments or streams that `key` lets through, the first by
/// experiment, then stream. 0, or non-zero with the two as before when the catalogue has no such run or its file
/// is damaged; `key` as above.
int get_time_for_run(int run, long* start_s, long* stop_s, std::string* key, const char* cdir);

/// The archive directory of a data file: with the environment variable TROX_DAQ_ARCHIVE_ROOT set, the
/// directory <root>/<experiment>/<YYYY>/<MM> of the time in the file's name (UTC; `file` is a path or a base
/// name), when it exists and fits `buffer` of `*length` bytes with its closing NUL: false. Otherwise, also for
/// null arguments or an `experiment` that is no plain name, true, and `buffer` is as before. `*length` is not
/// changed, the last argument not used. Reads the environment: no other thread may change it meanwhile.
bool get_pnfs_dir(const char* experiment, const char* file, char* buffer, int* length, void* reserved);

#pragma GCC visibility pop

#endif
