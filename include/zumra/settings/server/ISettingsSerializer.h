#pragma once

#include <iosfwd>

#include "zumra/core/IniFile.h"
#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::server {

/// One text form of a settings document.
///
/// Thread-safety: the serializers of this library have no state; any thread may use them, also the same one
/// at the same time.
///
///     PhpArraySettingsSerializer form;
///     ISettingsSerializer& serializer = form;
///     serializer.Serialize(document, common::GroupNameMatcher("*"), out);
class ZUMRA_EXPORT ISettingsSerializer {
public:
    virtual ~ISettingsSerializer();
    /// Writes the groups of the document that match, in the document's order, each with all its values.
    /// Whether `out` took it all is seen in the state of `out`.
    virtual void Serialize(const core::IniFile& document, const common::GroupNameMatcher& groups,
                           std::ostream& out) = 0;
    /// Reads one document and adds its groups and values to `document`, replacing equal-named values. Throws
    /// `zumra::osa::Exception` when the text is malformed; `document` is then as it was.
    virtual void Deserialize(std::istream& in, core::IniFile& document) = 0;
};

}  // namespace zumra::settings::server
