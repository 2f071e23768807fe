#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "zumra/settings/server/IIncludeFilter.h"

namespace zumra::settings::server {

/// Lets a document from an include source say how important each of its groups is, so that a source that is
/// read later does not override a more important one.
///
/// A document declares priorities in its group "ZumraSettings/LoadPriority", as values named after other
/// groups of the document: a decimal integer, optionally with a minus sign, within 64 bits; blanks around it
/// are ignored. A group that it does not declare has priority 0, so a negative one yields to what declares
/// nothing. The filter remembers the highest priority with which each group was accepted:
///
/// - a group that comes with a lower one is removed from the document;
/// - with an equal or a higher one it passes, so that of equals the later source wins, and the priority is
///   remembered;
/// - a priority for a group that the document does not hold means nothing;
/// - the declaring group itself is always removed.
///
/// What passes is combined with what was accepted before value by value, as all documents are.
///
/// Thread-safety: one thread at a time.
///
///     [ZumraSettings/LoadPriority]
///     Network/Lan = 10
///     [Network/Lan]
///     Mtu = 1500
class ZUMRA_EXPORT LoadPriorityIncludeFilter : public IIncludeFilter {
public:
    LoadPriorityIncludeFilter();
    ~LoadPriorityIncludeFilter() override;
    using IIncludeFilter::Filter;
    /// Throws `zumra::osa::Exception` "<source>: load priority line '<group> = <text>': expected a decimal
    /// integer" (without "<source>: " when `source` is empty); nothing is changed or remembered then.
    void Filter(core::IniFile& document, const std::string& source) override;
    void Reset() override;

private:
    std::map<std::string, std::int64_t, std::less<>> _accepted;
};

}  // namespace zumra::settings::server
