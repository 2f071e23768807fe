#include "check/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <system_error>

namespace zumra::check {

void OccupyStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) >= 0)
            continue;
        // The lowest free descriptor is this one. It fails as a closed one does.
        const int wrongWay = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        static_cast<void>(open("/dev/null", wrongWay));
    }
}

void RequireWrittenOutput() {
    const std::string fault = "cannot write all to standard output";
    if (std::fflush(stdout) != 0)
        throw std::runtime_error(fault + ": " + std::generic_category().message(errno));
    if (std::ferror(stdout) != 0)
        throw std::runtime_error(fault);
}

}  // namespace zumra::check
