// trox: the command line.
#include "cli/output.h"
#include "cli/program.h"

#include <clocale>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    std::setlocale(LC_CTYPE, "C.UTF-8"); // widths of characters; everything else stays as in the C locale
    trox_cli::install_signal_handlers();
    return trox_cli::run_program(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
