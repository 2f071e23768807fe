#include "check/XmlPath.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "check/CommandLine.h"

namespace zumra::check {

void RequireWritable(const std::string& path) {
    if (path == "-")  // Check's name for standard output
        return;
    // Non-blocking, so that a pipe without a reader is refused instead of waited for.
    int file = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0 && errno == ENOENT) {
        file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file >= 0)
            unlink(path.c_str());
    }
    if (file < 0)
        throw CommandLineError("cannot write the XML log '" + path +
                               "': " + std::generic_category().message(errno));
    close(file);
}

}  // namespace zumra::check
