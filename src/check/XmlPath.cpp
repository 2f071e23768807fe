#include "check/XmlPath.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "check/CommandLine.h"

namespace zumra::check {

namespace {

/// What the path names in the end; with more links than the system follows, one of them.
std::filesystem::path FollowLinks(std::filesystem::path path) {
    std::error_code error;
    for (int links = 0; links < 40 && std::filesystem::is_symlink(path, error); ++links)
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    return path;
}

}  // namespace

void RequireWritable(const std::string& path) {
    if (path == "-")  // Check's name for standard output
        return;
    // Non-blocking, so that a pipe without a reader is refused instead of waited for.
    int file = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0 && errno == ENOENT) {
        const std::string target = FollowLinks(path).string();
        file = open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file >= 0)
            unlink(target.c_str());
    }
    if (file < 0)
        throw CommandLineError("cannot write the XML log '" + path +
                               "': " + std::generic_category().message(errno));
    close(file);
}

}  // namespace zumra::check
