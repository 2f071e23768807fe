// Following changes.
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <ostream>

#include "zumra-settings/Documents.h"
#include "zumra-settings/Verbs.h"
#include "zumra/osa/Exception.h"

namespace zumra::cli {

namespace {

struct Change {
    std::set<std::string> groups;
    core::IniFile data;
};

/// Hands changes from the client's thread to the one that shows them.
class Queue : public settings::IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>& groups, const core::IniFile& data) override {
        const std::lock_guard<std::mutex> lock(_mutex);
        _changes.push_back({groups, data});
        _ready.notify_one();
    }
    Change Next() {
        std::unique_lock<std::mutex> lock(_mutex);
        _ready.wait(lock, [this] { return !_changes.empty(); });
        Change change = std::move(_changes.front());
        _changes.pop_front();
        return change;
    }

private:
    std::mutex _mutex;
    std::condition_variable _ready;
    std::deque<Change> _changes;
};

struct Arguments {
    std::vector<std::string> patterns;
    std::string command;
    unsigned count = 0;
    bool initial = false;
};

/// Runs the command with the changed groups on its standard input, and their names, one a line, in its
/// environment.
int Execute(const std::string& command, const Change& change) {
    std::string names;
    for (const std::string& group : change.groups) {
        names += (names.empty() ? "" : "\n") + group;
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody else reads it
    ::setenv("ZUMRA_CHANGED_GROUPS", names.c_str(), 1);
    std::FILE* pipe = ::popen(command.c_str(), "w");
    if (pipe == nullptr) {
        throw osa::Exception("cannot run '" + command + "'");
    }
    const std::string text = change.data.SaveToString();
    std::fwrite(text.data(), 1, text.size(), pipe);  // A command that does not read it is none the worse.
    const int status = ::pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

void Show(Context& context, const Change& change) {
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
    context.out.flush();
}

int Watch(Context& context, const Arguments& arguments) {
    std::signal(SIGPIPE, SIG_IGN);
    const std::set<std::string> patterns = AsSet(arguments.patterns);
    Queue queue;
    settings::ZumraSettingsClient& client = context.client();
    client.Subscribe(&queue, patterns);
    if (arguments.initial) {
        core::IniFile document;
        client.GetSettings(patterns, document);
        WriteDocument(context.out, context.form, context.style, document);
        context.out.flush();
    }
    int status = kDone;
    for (unsigned seen = 0; arguments.count == 0 || seen < arguments.count; ++seen) {
        const Change change = queue.Next();
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
    app.add_option("patterns", arguments->patterns, "Groups and patterns ('prefix*')")->required();
    app.add_option(
        "--exec", arguments->command,
        "Shell command to run at each change, instead of showing it; the changed groups are its input, "
        "their names are in ZUMRA_CHANGED_GROUPS");
    app.add_option("--count", arguments->count, "End after so many changes");
    app.add_flag("--initial", arguments->initial, "Show what there is first");
    return [arguments](Context& context) { return Watch(context, *arguments); };
}

}  // namespace zumra::cli
