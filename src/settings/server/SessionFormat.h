#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/IniWriter.h"
#include "settings/server/PhpArrayWriter.h"
#include "zumra/core/IniFile.h"

namespace zumra::settings::server {

/// The text form of documents on a connection.
enum class Format : std::uint8_t { kIni, kPhpArray };

/// Writes a document group by group, straight from wherever the groups are.
class GroupsWriter {
public:
    /// `count`: how many groups there will be.
    GroupsWriter(Format format, std::size_t count, std::string& out) : _format(format), _out(out) {
        if (_format == Format::kPhpArray) {
            PhpArray::AppendArrayStart(_out, count);
        }
    }

    void Add(std::string_view name, const core::IniFile::Group& values) {
        if (_format == Format::kPhpArray) {
            PhpArray::AppendGroup(_out, name, values);
        } else {
            core::AppendGroup(_out, name, values);
        }
    }

    void End() {
        if (_format == Format::kPhpArray) {
            _out += PhpArray::kArrayEnd;
            _out += PhpArray::kDocumentEnd;
        }
    }

private:
    const Format _format;
    std::string& _out;
};

}  // namespace zumra::settings::server
