// Lines of CSV as fields.
#ifndef TROX_EXPORT_CSV_INPUT_H
#define TROX_EXPORT_CSV_INPUT_H

#include "text_output.h"

#include <string>
#include <vector>

namespace trox_export
{

/// Fields in quotes may hold ends of lines.
class csv_input
{
public:
    /// Throws error (input_output).
    explicit csv_input(const std::string& path) : input_(path) {}
    /// False behind the last line.
    bool next(std::vector<std::string>& fields);

private:
    line_input input_;
};

} // namespace trox_export

#endif
