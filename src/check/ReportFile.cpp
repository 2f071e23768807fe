#include "check/ReportFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <set>
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

/// The same for all names of a file, whether it is there or not.
std::filesystem::path OneName(const std::string& path) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::absolute(FollowLinks(path), error);
    const std::filesystem::path name = std::filesystem::weakly_canonical(target, error);
    return error ? std::filesystem::path(path) : name;
}

bool IsPipe(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

std::string CannotWrite(const ReportFile& file, int error) {
    return "cannot write the " + std::string(file.report) + " '" + file.path +
           "': " + std::generic_category().message(error);
}

/// False with `errno` set when not all could be written.
bool WriteAll(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = write(descriptor, content.data(), content.size());
        if (count < 0 && errno != EINTR)
            return false;
        content.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return true;
}

bool WriteFile(const std::string& path, std::string_view content) {
    // Non-blocking as far as a pipe is concerned whose reader has gone.
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, 0666);
    if (descriptor < 0)
        return false;
    fcntl(descriptor, F_SETFL, 0);
    const bool isWritten = WriteAll(descriptor, content);
    const int error = errno;
    if (close(descriptor) != 0)
        return false;
    errno = error;
    return isWritten;
}

}  // namespace

void RequireDifferent(const std::vector<ReportFile>& files) {
    std::set<std::filesystem::path> names;
    for (const ReportFile& file : files)
        if (!names.insert(file.path == "-" ? "-" : OneName(file.path)).second)
            throw CommandLineError("two reports are to be written to '" + file.path + "'");
}

void RequireWritable(const ReportFile& file) {
    if (file.path == "-")
        return;
    // Non-blocking, so that a pipe without a reader is refused instead of waited for.
    int descriptor = open(file.path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0 && errno == ENOENT) {
        const std::string target = FollowLinks(file.path).string();
        descriptor = open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0)
            unlink(target.c_str());
    }
    if (descriptor < 0)
        throw CommandLineError(CannotWrite(file, errno));
    if (!IsPipe(descriptor))
        close(descriptor);
}

void Write(const ReportFile& file, std::string_view content) {
    const bool isWritten = file.path == "-" ? std::fflush(stdout) == 0 && WriteAll(STDOUT_FILENO, content)
                                            : WriteFile(file.path, content);
    if (!isWritten)
        throw std::runtime_error(CannotWrite(file, errno));
}

}  // namespace zumra::check
