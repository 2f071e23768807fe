#pragma once

#include "zumra/settings/server/ISettingsSerializer.h"

namespace zumra::settings::server {

/// PHP's serialized-array notation: an array of groups, each an array of strings.
///
///     document = array of group entries        a:<count>:{ <group> ... }
///     group    = string, array of values       <string> a:<count>:{ <value> ... }
///     value    = string, string                <string> <string>
///     string   = s:<length>:"<bytes>";
///
/// Sizes are decimal numbers; lengths count bytes. The bytes of a string are taken as they are, found by
/// counting, never by looking for a quote. `Serialize` writes the document and two line ends.
///
///     a:1:{s:5:"group";a:1:{s:4:"name";s:5:"value";}}
///
/// `Deserialize` reads exactly the document: nothing after its closing brace is taken from the stream. Names
/// may come in any order. A name that comes twice keeps its last value; a group that comes twice, the values
/// of both. What is announced is not believed: memory grows with the bytes that are there. It throws
/// `zumra::osa::Exception`:
///
/// - "phparray missing data (expected '<character>')": the input ended where this character must stand;
/// - "expected: '<character>' but got: '<character>'": another character stands there (a control character is
///   shown as an escape such as \n or \x1b);
/// - "failed to read size specification": no decimal number stands where a size must, or it is greater than
///   2147483647 or has more than ten digits;
/// - "phparray failed to read <length> characters for string": the input ended within a string.
///
/// For PHP programs: `unserialize` reads what this writes. PHP turns array keys such as "5" and "-12" into
/// integers, and `serialize` then writes them as `i:5;`, which is no string and is refused ("expected: 's'
/// but got: 'i'"). A program that uses such names for groups or values writes them itself; `docs/php.md` has
/// a function for it. Values must be strings too: `(string)$number`.
///
/// Thread-safety: no state; any thread may use it.
class ZUMRA_EXPORT PhpArraySettingsSerializer : public ISettingsSerializer {
public:
    void Serialize(const core::IniFile& document, const common::GroupNameMatcher& groups,
                   std::ostream& out) override;
    void Deserialize(std::istream& in, core::IniFile& document) override;
};

}  // namespace zumra::settings::server
