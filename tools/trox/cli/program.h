// From a command line to an exit code.
#ifndef TROX_CLI_PROGRAM_H
#define TROX_CLI_PROGRAM_H

#include <string>
#include <vector>

namespace trox_cli
{

/// Runs a command line without the program's name. Answers the exit code; nothing is thrown.
int run_program(const std::vector<std::string>& arguments) noexcept;

} // namespace trox_cli

#endif
