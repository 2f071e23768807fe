#include "settings/server/SessionNotificationText.h"

#include <cstddef>
#include <new>

#include "settings/common/LineCodec.h"

namespace zumra::settings::server {
namespace {

/// A longer text is made anew for each connection: threads must not keep much for long.
constexpr std::size_t kKeptAtMost = std::size_t{16} << 10;

struct LastText {
    std::weak_ptr<const common::Change> change;
    common::CoveredNames names;
    Format format = Format::kIni;
    std::string text;

    [[nodiscard]] bool Fits(const std::shared_ptr<const common::Change>& wanted,
                            const common::CoveredNames& wantedNames, Format wantedFormat) const {
        // The same object, not one that has taken its address: a weak pointer still owns what it owned.
        const bool same = !change.owner_before(wanted) && !wanted.owner_before(change);
        return same && format == wantedFormat && names == wantedNames;
    }
};

thread_local LastText lastText;

std::string Render(const common::Change& change, const common::CoveredNames& names, Format format) {
    std::string text = "async change\n";
    std::size_t left = 0;
    for (const std::string* name : names) {
        common::LineCodec::AppendEncoded(text, *name);
        text += '\n';
        left += change.groups.find(*name)->second ? 1 : 0;
    }
    text += ".\n";
    GroupsWriter writer(format, left, text);
    for (const std::string* name : names) {
        if (const common::SharedGroup& group = change.groups.find(*name)->second) {
            writer.Add(*name, *group);
        }
    }
    writer.End();
    text += ".\n";
    return text;
}

}  // namespace

std::string NotificationText(const std::shared_ptr<const common::Change>& change,
                             const common::CoveredNames& names, Format format) {
    if (lastText.Fits(change, names, format)) {
        return lastText.text;
    }
    std::string text = Render(*change, names, format);
    if (text.size() <= kKeptAtMost) {
        try {
            lastText = LastText{change, names, format, text};
        } catch (const std::bad_alloc&) {
            lastText = LastText();
        }
    }
    return text;
}

}  // namespace zumra::settings::server
