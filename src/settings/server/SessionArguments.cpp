#include "settings/server/SessionArguments.h"

#include <utility>

#include "core/IniText.h"
#include "settings/common/LineCodec.h"
#include "settings/common/MatcherLines.h"
#include "settings/server/Session.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::server {
namespace {

bool IsEnd(const LineBuffer::Line& line) noexcept {
    return line.text == common::LineCodec::kEnd;
}

[[noreturn]] void FailLimit(std::string_view what, std::size_t limit, std::string_view unit) {
    throw osa::Exception(OverLimit(what, limit, unit));
}

void CheckLine(const LineBuffer::Line& line, const SessionLimits& limits) {
    if (line.tooLong) {
        FailLimit("line over its", limits.line, "bytes");
    }
}

}  // namespace

std::string OverLimit(std::string_view what, std::size_t limit, std::string_view unit) {
    return std::string(what) + " limit of " + std::to_string(limit) + " " + std::string(unit);
}

void ListCollector::Begin(bool skip) noexcept {
    _entries = 0;
    _bytes = 0;
    _skipping = skip;
}

bool ListCollector::Collect(LineBuffer& in, Argument kind, Request& request) {
    while (const auto line = in.NextLine()) {
        if (IsEnd(*line)) {
            return true;
        }
        // A line that the input's end cut off ends nothing: the request fails for that, not for the line.
        if (!_skipping && !line->cut) {
            Add(*line, kind, request);
        }
    }
    return false;
}

void ListCollector::Add(const LineBuffer::Line& line, Argument kind, Request& request) {
    _skipping = true;
    Count(line);
    if (kind == Argument::kLocators) {
        request.locators.push_back(common::SettingLocator::Parse(line.text));
    } else {
        common::MatcherLines::Add(request.groups, line.text);
    }
    _skipping = false;
}

void ListCollector::Count(const LineBuffer::Line& line) {
    CheckLine(line, _limits);
    _bytes += line.text.size() + 1;
    if (++_entries > _limits.listEntries) {
        FailLimit("list over its", _limits.listEntries, "entries");
    }
    if (_bytes > _limits.document) {
        FailLimit("list over its", _limits.document, "bytes");
    }
}

void DocumentCollector::Begin(Format format, bool last, bool skip) {
    _stage = Stage::kStart;
    _format = format;
    _last = last;
    _skipping = skip;
    _lost = false;
    _bytes = 0;
}

bool DocumentCollector::Collect(LineBuffer& in) {
    if (_stage == Stage::kStart && !Start(in)) {
        return false;
    }
    if (_stage == Stage::kIni) {
        return CollectIni(in);
    }
    if (_stage == Stage::kPhpArray) {
        CollectPhpArray(in);
    }
    if (_stage == Stage::kPhpLineEnd && CollectPhpLineEnd(in)) {
        return true;
    }
    return _stage == Stage::kEndLine && CollectEndLine(in);
}

void DocumentCollector::Skip() noexcept {
    _skipping = true;
    (void)_ini.Take();
    // Within a PHP array and right behind it, only reading on tells where it ends.
    if (_stage == Stage::kPhpArray || _stage == Stage::kPhpLineEnd) {
        _lost = true;
    }
}

core::IniFile DocumentCollector::Take() {
    if (!_phpArray) {
        return _ini.Take();
    }
    core::IniFile document = _phpArray->Take();
    _phpArray.reset();
    return document;
}

/// Finds out which form it is; false when that cannot be seen yet.
bool DocumentCollector::Start(const LineBuffer& in) {
    (void)_ini.Take();
    _phpArray.reset();
    const std::string_view bytes = in.Bytes();
    if (_format == Format::kPhpArray && !_last && bytes.empty()) {
        return false;
    }
    const bool phpArray = _format == Format::kPhpArray && (_last || bytes.front() == 'a');
    if (phpArray) {
        _phpArray.emplace(_limits.document);
    }
    _stage = phpArray ? Stage::kPhpArray : Stage::kIni;
    return true;
}

bool DocumentCollector::CollectIni(LineBuffer& in) {
    while (const auto line = in.NextLine()) {
        if (IsEnd(*line)) {
            return true;
        }
        if (!_skipping && (_last || !line->cut)) {
            AddIniLine(*line);
        }
    }
    return _last && in.Finished();
}

void DocumentCollector::AddIniLine(const LineBuffer::Line& line) {
    _skipping = true;
    CheckLine(line, _limits);
    _bytes += line.text.size() + 1;
    if (_bytes > _limits.document) {
        FailLimit("document over its", _limits.document, "bytes");
    }
    _ini.Feed(line.text);
    _skipping = false;
}

void DocumentCollector::CollectPhpArray(LineBuffer& in) {
    in.Consume(_phpArray->Feed(in.Bytes()));
    if (_phpArray->Done()) {
        _stage = Stage::kPhpLineEnd;
    }
}

bool DocumentCollector::CollectPhpLineEnd(LineBuffer& in) {
    std::string_view bytes = in.Bytes();
    const std::size_t carriageReturn = bytes.starts_with('\r') ? 1 : 0;
    bytes.remove_prefix(carriageReturn);
    if (bytes.empty()) {
        return _last && in.Finished();
    }
    if (bytes.front() != '\n') {
        throw osa::Exception("expected a line end after the phparray document but got: '" +
                             core::Printable(bytes.substr(0, 1)) + "'");
    }
    in.Consume(carriageReturn + 1);
    _stage = Stage::kEndLine;
    return _last;
}

bool DocumentCollector::CollectEndLine(LineBuffer& in) {
    while (const auto line = in.NextLine()) {
        if (IsEnd(*line)) {
            return true;
        }
        if (!_skipping && !line->cut && (line->tooLong || !line->text.empty())) {
            _skipping = true;
            throw osa::Exception("expected the line '.' after the phparray document but got: '" +
                                 core::Printable(line->text) + "'");
        }
    }
    return false;
}

}  // namespace zumra::settings::server
