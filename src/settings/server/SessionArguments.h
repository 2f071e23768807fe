#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "core/IniReader.h"
#include "settings/server/PhpArrayParser.h"
#include "settings/server/SessionCommands.h"
#include "settings/server/SessionFormat.h"
#include "settings/server/SessionInput.h"

namespace zumra::settings::server {

struct SessionLimits;

// Both collectors take their argument from the input as it arrives. When what they read is malformed or over
// a limit they throw `zumra::osa::Exception`. After `Skip`, which must follow, they look for the argument's
// end without keeping anything.

/// Reads one list.
class ListCollector {
public:
    explicit ListCollector(const SessionLimits& limits) : _limits(limits) {}

    void Begin(bool skip) noexcept;
    /// True once the list's end was read; entries go into the request.
    bool Collect(LineBuffer& in, Argument kind, Request& request);
    void Skip() noexcept { _skipping = true; }

private:
    void Add(const LineBuffer::Line& line, Argument kind, Request& request);
    void Count(const LineBuffer::Line& line);

    const SessionLimits& _limits;
    std::size_t _entries = 0;
    std::size_t _bytes = 0;
    bool _skipping = false;
};

/// Reads one document in either text form.
class DocumentCollector {
public:
    explicit DocumentCollector(const SessionLimits& limits) : _limits(limits) {}

    /// `format` is the connection's; `last` says that the end of the input may end the document.
    void Begin(Format format, bool last, bool skip);
    /// True once the document's end was read.
    bool Collect(LineBuffer& in);
    void Skip() noexcept;
    /// Where the document ends, and with it the request, cannot be known any more.
    [[nodiscard]] bool Lost() const noexcept { return _lost; }
    [[nodiscard]] core::IniFile Take();

private:
    enum class Stage : std::uint8_t { kStart, kIni, kPhpArray, kPhpLineEnd, kEndLine };

    bool Start(const LineBuffer& in);
    bool CollectIni(LineBuffer& in);
    void AddIniLine(const LineBuffer::Line& line);
    void CollectPhpArray(LineBuffer& in);
    bool CollectPhpLineEnd(LineBuffer& in);
    bool CollectEndLine(LineBuffer& in);

    const SessionLimits& _limits;
    Stage _stage = Stage::kStart;
    Format _format = Format::kIni;
    bool _last = false;
    bool _skipping = false;
    bool _lost = false;
    std::size_t _bytes = 0;
    core::IniReader _ini;
    std::optional<PhpArrayParser> _phpArray;
};

/// The error of something that is greater than its limit.
[[nodiscard]] std::string OverLimit(std::string_view what, std::size_t limit, std::string_view unit);

}  // namespace zumra::settings::server
