// Puts the report of a recovery together.
#ifndef TROX_RECOVER_RESULT_H
#define TROX_RECOVER_RESULT_H

#include "found.h"
#include "write.h"

namespace trox::recovery
{

/// Fills what became of events and records, and how the recovery ended.
void complete_report(found& file, const written_file& written);

} // namespace trox::recovery

#endif
