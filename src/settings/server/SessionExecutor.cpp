#include "settings/server/SessionExecutor.h"

#include <algorithm>
#include <new>
#include <set>
#include <utility>
#include <vector>

#include "core/IniText.h"
#include "settings/common/LineCodec.h"
#include "settings/server/SessionFormat.h"
#include "settings/server/SessionNotifier.h"
#include "settings/server/SessionOutput.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SerializationManager.h"

namespace zumra::settings::server {
namespace {

constexpr std::string_view kOutOfMemory = "out of memory";

void AppendItem(std::string& out, std::string_view label, std::string_view item) {
    out += label;
    common::LineCodec::AppendEncoded(out, item);
    out += '\n';
}

void AppendDifference(std::string& out, const Difference& difference) {
    AppendItem(out, "", difference.group);
    if (difference.name) {
        AppendItem(out, "name ", *difference.name);
    }
    if (difference.expected) {
        AppendItem(out, "expected ", *difference.expected);
    }
    if (difference.actual) {
        AppendItem(out, "actual ", *difference.actual);
    }
}

/// The groups as a document; cut off once it is longer than `limit`.
std::string Document(Format format, const common::GroupMap& groups, std::size_t limit) {
    std::string text;
    GroupsWriter writer(format, groups.size(), text);
    for (const auto& [name, group] : groups) {
        writer.Add(name, *group);
        if (text.size() > limit) {
            return text;
        }
    }
    writer.End();
    return text;
}

using Locators = std::vector<const common::SettingLocator*>;

/// Ascending by group.
Locators ByGroup(const std::vector<common::SettingLocator>& values) {
    Locators sorted;
    sorted.reserve(values.size());
    for (const common::SettingLocator& value : values) {
        sorted.push_back(&value);
    }
    std::ranges::sort(sorted, {},
                      [](const common::SettingLocator* value) { return std::string_view(value->group); });
    return sorted;
}

/// Of the groups, those values alone that are in the list; cut off as the whole groups are. One group's
/// values are copied at a time.
std::string Document(Format format, const common::GroupMap& groups,
                     const std::vector<common::SettingLocator>& values, std::size_t limit) {
    std::string text;
    GroupsWriter writer(format, groups.size(), text);
    const Locators wanted = ByGroup(values);
    auto at = wanted.begin();
    for (const auto& [name, group] : groups) {
        core::IniFile::Group found;
        for (; at != wanted.end() && (*at)->group <= name; ++at) {
            const auto value = (*at)->group == name ? group->find((*at)->name) : group->end();
            if (value != group->end()) {
                found.insert(*value);
            }
        }
        writer.Add(name, found);
        if (text.size() > limit) {
            return text;
        }
    }
    writer.End();
    return text;
}

std::string Document(Format format, const core::IniFile& document) {
    std::string text;
    GroupsWriter writer(format, document.size(), text);
    for (const auto& [name, group] : document) {
        writer.Add(name, group);
    }
    writer.End();
    return text;
}

std::string Delimited(const std::string& document) {
    return "data\n" + document + ".\n";
}

/// Keeps notifications back while a reply that shows the store is made.
class Holding {
public:
    explicit Holding(OutputQueue& output) : _output(output) { _output.Hold(); }
    ~Holding() { _output.Release(); }
    Holding(const Holding&) = delete;
    Holding& operator=(const Holding&) = delete;

private:
    OutputQueue& _output;
};

}  // namespace

RequestExecutor::RequestExecutor(const ServerEnv& env, const Session::Options& options, OutputQueue& output,
                                 SessionNotifier& notifier, std::shared_ptr<Waker> waker)
    : _manager(*env.settingsManager),
      _serializers(env.serializationManager),
      _options(options),
      _who(options.identity.get()),
      _output(output),
      _notifier(notifier),
      _waker(std::move(waker)) {}

template <class Work>
void RequestExecutor::Guard(const Work& work) noexcept {
    try {
        work();
    } catch (const std::bad_alloc&) {
        ReplyError(kOutOfMemory);
    } catch (const std::exception& e) {
        ReplyError(e.what());
    } catch (...) {
        ReplyError("unknown error");
    }
}

void RequestExecutor::Execute(Request request) noexcept {
    Guard([&] { Dispatch(request); });
}

bool RequestExecutor::TryEndWait() noexcept {
    if (!_wait->Done()) {
        return false;
    }
    const std::shared_ptr<SaveWait> wait = std::exchange(_wait, nullptr);
    Guard([&] { _output.Append(wait->TakeReply()); });
    return true;
}

void RequestExecutor::ReplyError(std::string_view message) noexcept {
    try {
        std::string reply = "error\n";
        AppendItem(reply, "", message);
        _output.Append(std::move(reply));
    } catch (const std::bad_alloc&) {
        _output.Abort(kOutOfMemory);
    }
}

void RequestExecutor::Dispatch(Request& request) {
    switch (request.spec->command) {
        case Command::kGet:
            return Get(request, false);
        case Command::kGetDelimited:
            return Get(request, true);
        case Command::kGetValue:
            return GetValues(request);
        case Command::kSubscribe:
            return _notifier.Subscribe(std::move(request.groups));
        case Command::kUnsubscribe:
            _notifier.Unsubscribe(request.groups);
            return _notifier.Settle();
        case Command::kSerialize:
            return Serialize(request.text);
        case Command::kSync:
            _notifier.Settle();
            return _output.Append("synced\n");
        case Command::kFlush:
            return Flush();
        case Command::kRevision:
            return _output.Append("revision\n" + std::to_string(_manager.Revision()) + "\n");
        case Command::kCapabilities:
            return Capabilities();
        case Command::kOther:
            return Other(request.text);
        default:
            return Change(request);
    }
}

/// The requests that change the store. Its own notifications come before whatever is replied later, also
/// when the request failed half-way through a save.
void RequestExecutor::Change(Request& request) {
    struct Settled {
        SessionNotifier& notifier;
        ~Settled() { notifier.Settle(); }
    };
    const Settled settled{_notifier};
    switch (request.spec->command) {
        case Command::kMerge:
            _manager.MergeSettings(std::move(request.settings), _who);
            return;
        case Command::kOverwrite:
            _manager.OverwriteSettings(request.groups, std::move(request.settings), _who);
            return;
        case Command::kRestore:
            _manager.RestoreToDefaults(request.groups, _who);
            return;
        case Command::kErase:
            _manager.EraseGroups(request.groups, _who);
            return;
        case Command::kEraseValue:
            _manager.EraseValues(request.locators, _who);
            return;
        default:
            return Test(request);
    }
}

void RequestExecutor::Get(const Request& request, bool delimited) {
    const Holding holding(_output);
    std::uint64_t revision = 0;
    const common::GroupMap groups = _manager.Read(request.groups, _who, &revision);
    std::string text = Document(_notifier.CurrentFormat(), groups, _options.limits.pendingOutput);
    _notifier.Settle();
    _output.AppendAt(revision, delimited ? Delimited(text) : std::move(text));
}

void RequestExecutor::GetValues(const Request& request) {
    const Holding holding(_output);
    std::uint64_t revision = 0;
    const common::GroupMap groups = _manager.Read(request.locators, _who, &revision);
    const std::string text =
        Document(_notifier.CurrentFormat(), groups, request.locators, _options.limits.pendingOutput);
    _notifier.Settle();
    _output.AppendAt(revision, Delimited(text));
}

TestResult RequestExecutor::RunTest(Request& request) {
    constexpr Durability kDontWait = Durability::kDontWait;
    const core::IniFile& expected = request.expected;
    core::IniFile& settings = request.settings;
    switch (request.spec->command) {
        case Command::kTestExactlyAndMerge:
            return _manager.TestExactlyAndMerge(request.groups, expected, std::move(settings), _who,
                                                kDontWait);
        case Command::kTestExactlyAndOverwrite:
            return _manager.TestExactlyAndOverwrite(request.groups, expected, std::move(settings), _who,
                                                    kDontWait);
        default:
            return _manager.TestAndMerge(expected, std::move(settings), _who, kDontWait);
    }
}

void RequestExecutor::Test(Request& request) {
    const std::string_view end = request.spec->explain ? ".\n" : "";
    std::string ok = std::string("result\nok\n").append(end);
    const TestResult result = RunTest(request);
    if (result.merged) {
        return ReplyMerged(result.revision, std::move(ok));
    }
    std::string refused = "result\nrefused\n";
    if (request.spec->explain && result.difference) {
        AppendDifference(refused, *result.difference);
    }
    _output.Append(std::move(refused.append(end)));
}

/// The request took effect already, so there is no way back: without memory to wait with, the connection ends
/// rather than say something that is not so.
void RequestExecutor::ReplyMerged(std::uint64_t revision, std::string reply) {
    _notifier.Settle();
    try {
        ReplyWhenSaved(revision, std::move(reply));
    } catch (const std::bad_alloc&) {
        _output.Abort(kOutOfMemory);
    }
}

void RequestExecutor::Serialize(const std::string& format) {
    const bool known = _serializers == nullptr || _serializers->Find(format) != nullptr;
    if (known && format == "ini") {
        _notifier.SetFormat(Format::kIni);
    } else if (known && format == "phparray") {
        _notifier.SetFormat(Format::kPhpArray);
    } else {
        _metUnknown = true;
        throw osa::Exception("serialize: unknown format '" + core::Printable(format) + "'");
    }
}

void RequestExecutor::Capabilities() {
    std::set<std::string_view> names{"patterns"};
    for (const CommandSpec& spec : AllCommands()) {
        if (spec.extension) {
            names.insert(spec.line);
        }
    }
    if (_options.reports) {
        for (const auto& [line, report] : *_options.reports) {
            names.insert(line);
        }
    }
    std::string reply = "capabilities\n";
    for (const std::string_view name : names) {
        AppendItem(reply, "", name);
    }
    _output.Append(std::move(reply.append(".\n")));
}

void RequestExecutor::Other(const std::string& line) {
    if (_options.reports) {
        const auto report = _options.reports->find(line);
        if (report != _options.reports->end()) {
            return _output.Append(Delimited(Document(_notifier.CurrentFormat(), report->second(_who))));
        }
    }
    _metUnknown = true;
    throw osa::Exception("unknown command '" + core::Printable(line) + "'");
}

void RequestExecutor::Flush() {
    ReplyWhenSaved(_manager.Revision(), "flushed\n");
}

void RequestExecutor::ReplyWhenSaved(std::uint64_t revision, std::string reply) {
    _wait = SaveWait::Start(_manager, revision, _waker, std::move(reply));
    TryEndWait();
}

}  // namespace zumra::settings::server
