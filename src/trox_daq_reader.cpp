#include "trox_daq_reader.h"

#include "generation/traits_reader_legacy.h"
#include "generic/reader_discovery.inl"
#include "generic/reader_events.inl"
#include "generic/reader_files.inl"
#include "generic/reader_inspection.inl"
#include "generic/reader_report.inl"
#include "generic/reader_request.inl"
#include "trox_daq_read_chan.h"
#include "trox_daq_slicer.h"

template class trox_detail::basic_reader<trox_detail::generation_legacy>;
