#include "check/Journal.h"

#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

namespace zumra::check {

Journal journal;

namespace {

/// Everything from the file's beginning.
std::string Content(int descriptor) {
    std::string content;
    char buffer[1 << 16];
    for (;;) {
        const ssize_t count = pread(descriptor, buffer, sizeof buffer, static_cast<off_t>(content.size()));
        if (count <= 0)
            return content;
        content.append(buffer, static_cast<std::size_t>(count));
    }
}

iovec Part(const char* text) {
    return {const_cast<char*>(text), std::strlen(text) + 1};  // NOLINT: writing reads it
}

/// Takes the bytes up to the next NUL off `rest`; false when there is none.
bool TakeField(std::string_view& rest, std::string& field) {
    const std::size_t end = rest.find('\0');
    if (end == std::string_view::npos)
        return false;
    field = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return true;
}

}  // namespace

// A record is its event's letter and its fields, each ended by a NUL: all texts come from NUL-ended ones.
void Journal::Write(Event event, const char* first, const char* second, const char* third,
                    const char* fourth) noexcept {
    if (_descriptor < 0)
        return;
    char letter = static_cast<char>(event);
    const iovec parts[] = {{&letter, 1}, Part(first), Part(second), Part(third), Part(fourth)};
    while (writev(_descriptor, parts, sizeof parts / sizeof *parts) < 0 && errno == EINTR)
        continue;
}

int Journal::NewFile() {
    const int descriptor = memfd_create("journal", MFD_CLOEXEC);
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "cannot keep a journal of the run");
    return descriptor;
}

std::vector<Journal::Record> Journal::Read(int descriptor) {
    const std::string content = Content(descriptor);
    std::vector<Record> records;
    for (std::string_view rest = content; !rest.empty();) {
        Record record{static_cast<Event>(rest.front()), {}};
        rest.remove_prefix(1);
        for (std::string& field : record.fields)
            if (!TakeField(rest, field))
                return records;
        records.push_back(std::move(record));
    }
    return records;
}

}  // namespace zumra::check
