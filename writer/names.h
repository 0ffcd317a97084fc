// Parts of file names.
#ifndef TROX_WRITER_NAMES_H
#define TROX_WRITER_NAMES_H

#include "trox_writer.h"

namespace trox::writer
{

/// Throws error(bad_name) for what run_identity does not allow.
void check_identity(const run_identity& run);

/// <YYYYMMDD>T<hhmmss>, UTC.
std::string time_text(std::int64_t seconds);

} // namespace trox::writer

#endif
