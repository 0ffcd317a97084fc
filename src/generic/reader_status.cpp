#include "generic/reader_status.h"

#include "event.h"

namespace trox_detail
{

const char* reader_status_text(int code) noexcept
{
    switch (static_cast<trox_daq_reader_status>(code)) {
    case TROX_DAQ_READER_OK:
        return "OK";
    case TROX_DAQ_READER_NO_DATA:
        return "No required data";
    case TROX_DAQ_READER_NOT_READY:
        return "Some entries are not ready";
    case TROX_DAQ_READER_OUT_OF_WINDOW:
        return "Time is out of file";
    case TROX_DAQ_READER_NOT_INIT:
        return "Not Initialized";
    case TROX_DAQ_READER_NOT_FOUND:
        return "Channel not found";
    case TROX_DAQ_READER_INTERN_ERROR:
        return "Intern error";
    case TROX_DAQ_READER_INV_PARAM:
        return "Invalid Parameter";
    case TROX_DAQ_READER_NOT_ALLOWED:
        return "Not allowed";
    case TROX_DAQ_READER_BAD_FILE_FORMAT:
        return "Invalid file format";
    case TROX_DAQ_READER_FILES_NOT_FOUND:
        return "Files not found";
    }
    return "Unknown error";
}

} // namespace trox_detail
