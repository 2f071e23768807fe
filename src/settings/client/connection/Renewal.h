#pragma once

#include <cstddef>
#include <exception>
#include <list>
#include <utility>

#include "settings/client/commands/GetCommand.h"
#include "settings/client/commands/SilentCommands.h"
#include "settings/client/connection/Connection.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SharedGroup.h"

namespace zumra::settings::client {

/// What a fresh connection has told so far of the groups that are subscribed to anew over it: the replies to
/// parts of what is wanted, kept up to date with what is notified between them. So all of them together are
/// the groups as of one moment, that of the last reply.
///
/// Thread-safety: `Put` and `Take` by one thread at a time, which may be another than the one that does the
/// rest.
class Renewal {
public:
    using Matcher = common::GroupNameMatcher;

    /// Asks for one part: subscribes to it, and reads it.
    struct Part {
        Matcher groups;
        ListCommand subscribe{"subscribe", groups};
        GetCommand get{groups};
        Exchange exchange{subscribe, get};
    };

    explicit Renewal(Matcher wanted) : _wanted(std::move(wanted)) {}

    /// Makes a part of an entry, or adds it to the last one as long as that does not exceed `limit`. `size`
    /// is about what asking for it and answering take, in bytes.
    void Ask(const Matcher& entry, std::size_t size, std::size_t limit);
    [[nodiscard]] std::list<Part>& Parts() noexcept { return _parts; }
    /// The size of the largest part.
    [[nodiscard]] std::size_t Largest() const noexcept { return _largest; }

    /// Sends all parts, one after another without waiting for a reply. What fails is thrown by `Await`.
    void Start(Connection& connection);
    /// Waits for all replies. Where one is not as it should be, ends the connection, and throws why.
    [[nodiscard]] ExchangeEnd Await(Connection& connection);

    /// What a part's groups are; true when it was the last part. When it throws, nothing changed.
    [[nodiscard]] bool Put(const Matcher& groups, common::GroupMap current);
    void Take(const common::Change& change);

    [[nodiscard]] const Matcher& Wanted() const noexcept { return _wanted; }
    [[nodiscard]] const common::GroupMap& Groups() const noexcept { return _groups; }

private:
    void Fail(Connection& connection) noexcept;

    const Matcher _wanted;
    std::list<Part> _parts;
    std::size_t _size = 0;  ///< of the last part
    std::size_t _largest = 0;
    std::size_t _started = 0;  ///< of which the reply is still to be waited for
    std::size_t _answered = 0;
    std::exception_ptr _failure;
    common::GroupMap _groups;
};

}  // namespace zumra::settings::client
