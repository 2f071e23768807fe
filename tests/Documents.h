#pragma once

/// Short ways to the documents that checks are made of. Include before the frame's headers, see
/// CheckAssertions.h.

#include <initializer_list>
#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::tests {

/// The document that an INI text holds.
inline core::IniFile LoadDocument(const std::string& text) {
    core::IniFile ini;
    ini.LoadFromString(text);
    return ini;
}

struct DocumentValue {
    const char* group;
    const char* name;
    const char* value;
};

/// A document of the listed values.
inline core::IniFile MakeDocument(std::initializer_list<DocumentValue> values) {
    core::IniFile ini;
    for (const DocumentValue& entry : values)
        ini[entry.group][entry.name] = entry.value;
    return ini;
}

}  // namespace zumra::tests
