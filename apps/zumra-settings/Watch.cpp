// Following changes.
#include <csignal>
#include <deque>
#include <ostream>

#include "settings/client/IBackend.h"
#include "zumra-settings/Documents.h"
#include "zumra-settings/Json.h"
#include "zumra-settings/Shell.h"
#include "zumra-settings/Verbs.h"
#include "zumra/osa/Mutex.h"

namespace zumra::cli {

namespace {

struct Changed {
    std::set<std::string> groups;
    core::IniFile data;
};

/// Hands changes from the client's thread to the one that shows them.
class Queue : public settings::IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>& groups, const core::IniFile& data) override {
        const osa::MutexLock lock(_mutex);
        _changes.push_back({groups, data});
        _ready.NotifyOne();
    }
    Changed Next() {
        const osa::MutexLock lock(_mutex);
        while (_changes.empty()) {
            _ready.Wait(_mutex);
        }
        Changed change = std::move(_changes.front());
        _changes.pop_front();
        return change;
    }

private:
    osa::Mutex _mutex{"changes to show"};
    osa::Condition _ready;
    std::deque<Changed> _changes ZUMRA_GUARDED_BY(_mutex);
};

struct Arguments {
    std::vector<std::string> patterns;
    std::string command;
    unsigned count = 0;
    bool initial = false;
};

/// Runs the command with the changed groups on its standard input, and their names, one a line, in its
/// environment.
int Execute(const std::string& command, const Changed& change) {
    std::string names;
    for (const std::string& group : change.groups) {
        names += (names.empty() ? "" : "\n") + group;
    }
    ShellCommand shell;
    shell.script = command;
    shell.environment.emplace_back("ZUMRA_CHANGED_GROUPS", names);
    shell.input = change.data.SaveToString();
    return RunShell(shell);
}

/// One line a change: what the groups are now, and which there are no more.
void ShowJson(Context& context, const Changed& change) {
    Json removed = Json::array();
    for (const std::string& group : change.groups) {
        if (!change.data.HasGroup(group)) {
            removed.push_back(group);
        }
    }
    const Json line = {{"groups", ToJson(change.data)}, {"removed", removed}};
    WriteJson(context.out, line, "the change", -1);
}

/// How many groups; for each its name and how many values it has ("-" when it was removed), and these.
void ShowNul(Context& context, const Changed& change) {
    WriteNul(context.out, std::to_string(change.groups.size()));
    for (const std::string& group : change.groups) {
        const auto* values = change.data.FindGroup(group);
        WriteNul(context.out, group);
        WriteNul(context.out, values == nullptr ? "-" : std::to_string(values->size()));
        for (const auto& [name, value] : values == nullptr ? core::IniFile::Group() : *values) {
            WriteNul(context.out, name);
            WriteNul(context.out, value);
        }
    }
}

/// INI text in either form; a comment tells of a group that is no more.
void ShowText(Context& context, const Changed& change) {
    for (const std::string& group : change.groups) {
        core::IniFile one;
        const auto* values = change.data.FindGroup(group);
        if (values == nullptr) {
            context.out << context.style.Removed("# removed: " + Visible(group)) << "\n";
            continue;
        }
        one.SetGroup(group, *values);
        WriteDocument(context.out, context.form, context.style, one);
    }
}

void Show(Context& context, const Changed& change) {
    switch (context.form) {
        case Form::kJson:
            ShowJson(context, change);
            break;
        case Form::kNul:
            ShowNul(context, change);
            break;
        default:
            ShowText(context, change);
    }
    context.out.flush();
}

/// What there is, as if all of it had just changed.
void ShowInitial(Context& context, const Matcher& groups) {
    Changed present;
    context.client().Backend().Get(groups, present.data);
    for (const auto& [group, values] : present.data) {
        present.groups.insert(group);
    }
    Show(context, present);
}

int Watch(Context& context, const Arguments& arguments) {
    std::signal(SIGPIPE, SIG_IGN);
    const Matcher groups = AsMatcher(arguments.patterns);
    Queue queue;
    settings::ZumraSettingsClient& client = context.client();
    client.Backend().Subscribe(&queue, groups);
    if (arguments.initial) {
        ShowInitial(context, groups);
    }
    int status = kDone;
    for (unsigned seen = 0; arguments.count == 0 || seen < arguments.count; ++seen) {
        const Changed change = queue.Next();
        if (arguments.command.empty()) {
            Show(context, change);
        } else if (Execute(arguments.command, change) != 0) {
            status = kRefused;
        }
        if (!context.out) {
            break;  // Nobody reads any more.
        }
    }
    client.UnSubscribe(&queue);
    return status;
}

}  // namespace

Action AddWatch(CLI::App& app) {
    auto arguments = std::make_shared<Arguments>();
    app.add_option("patterns", arguments->patterns, kGroupsHelp)->required();
    app.add_option(
           "--exec", arguments->command,
           "Shell command to run at each change, instead of showing it; the changed groups are its input, "
           "their names are in ZUMRA_CHANGED_GROUPS")
        ->type_name("COMMAND");
    app.add_option("--count", arguments->count, "End after so many changes")->type_name("N");
    app.add_flag("--initial", arguments->initial, "Show what there is first");
    return [arguments](Context& context) { return Watch(context, *arguments); };
}

}  // namespace zumra::cli
