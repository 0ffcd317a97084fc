// trox: the command line.
#include "cli/output.h"
#include "cli/program.h"

#include <cerrno>
#include <clocale>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

/// Whoever starts the program may have closed standard input, output or error: the next file that is opened would take
/// the place, and diagnostics would be written into it. What stands there instead refuses to be written.
void fill_standard_descriptors()
{
    for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
            ::open("/dev/null", O_RDONLY); // takes the lowest free place
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    fill_standard_descriptors();
    std::setlocale(LC_CTYPE, "C.UTF-8"); // widths of characters; everything else stays as in the C locale
    trox_cli::install_signal_handlers();
    return trox_cli::run_program(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
