#include "settings/client/connection/Notification.h"

#include <string>
#include <utility>

#include "core/IniText.h"
#include "settings/client/commands/ReplyDocument.h"
#include "settings/client/commands/ReplyLine.h"
#include "settings/common/LineCodec.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

std::shared_ptr<const common::Change> ReadNotification(std::istream& in, std::uint64_t revision) {
    auto change = std::make_shared<common::Change>();
    change->revision = revision;
    std::string line;
    for (ReadReplyLine(in, line); line != common::LineCodec::kEnd; ReadReplyLine(in, line)) {
        change->groups.try_emplace(change->groups.end(), common::LineCodec::Decode(line));
    }
    core::IniFile document = ReadReplyDocument(in);
    for (const auto& [name, values] : document) {
        const auto found = change->groups.find(name);
        if (found == change->groups.end()) {
            throw osa::Exception("group '" + core::Printable(name) +
                                 "' in a notification that does not list it");
        }
        found->second = common::SharedGroup(std::move(document[name]));
    }
    return change;
}

}  // namespace zumra::settings::client
