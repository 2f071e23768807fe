// Changing settings in an editor.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include "settings/client/IBackend.h"
#include "storage/FileCalls.h"
#include "storage/ReplaceFile.h"
#include "zumra-settings/Documents.h"
#include "zumra-settings/Shell.h"
#include "zumra-settings/Verbs.h"
#include "zumra/osa/Exception.h"

namespace zumra::cli {

namespace {

constexpr std::string_view kHeader =
    "# Settings, one 'name = value' a line below their '[group]'. Lines like this one are ignored.\n"
    "# Save and leave the editor to put them in place; leave the text as it is to change nothing.\n\n";

[[noreturn]] void CannotWrite(const std::string& path, int error) {
    throw osa::Exception("cannot write '" + path + "': " + std::generic_category().message(error));
}

/// A text in a file that nobody else can read, in a folder of its own, for editors leave other files beside
/// it. Gone with this, unless it is to be kept.
class EditedFile {
public:
    explicit EditedFile(std::string_view text) {
        std::string folder = std::filesystem::temp_directory_path().string() + "/zumra-settings-XXXXXX";
        if (::mkdtemp(folder.data()) == nullptr) {
            CannotWrite(folder, errno);
        }
        _folder = folder;
        _path = folder + "/settings.ini";
        Write(text);
    }
    ~EditedFile() {
        if (!_kept) {
            std::error_code ignored;
            std::filesystem::remove_all(_folder, ignored);
        }
    }
    EditedFile(const EditedFile&) = delete;
    EditedFile& operator=(const EditedFile&) = delete;

    [[nodiscard]] const std::string& Path() const { return _path; }
    /// Absent when an editor removed it.
    [[nodiscard]] std::optional<std::string> Read() const {
        storage::SystemFileCalls calls;
        return storage::ReadFile(calls, _path);
    }
    void Keep() { _kept = true; }

private:
    void Write(std::string_view text) const {
        const int file = ::open(_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (file < 0) {
            CannotWrite(_path, errno);
        }
        ssize_t written = 0;
        while (!text.empty() && (written = ::write(file, text.data(), text.size())) > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        const int error = text.empty() ? 0 : errno;
        if (::close(file) != 0 || error != 0) {
            CannotWrite(_path, error != 0 ? error : errno);
        }
    }

    std::string _folder;
    std::string _path;
    bool _kept = false;
};

std::string Editor() {
    for (const char* name : {"VISUAL", "EDITOR"}) {
        const char* editor = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody writes it
        if (editor != nullptr && *editor != '\0') {
            return editor;
        }
    }
    return "vi";
}

/// What is typed to stop the editor's doing must not stop this process.
class InterruptsIgnored {
public:
    InterruptsIgnored() : _interrupt(std::signal(SIGINT, SIG_IGN)), _quit(std::signal(SIGQUIT, SIG_IGN)) {}
    ~InterruptsIgnored() {
        std::signal(SIGINT, _interrupt);
        std::signal(SIGQUIT, _quit);
    }
    InterruptsIgnored(const InterruptsIgnored&) = delete;
    InterruptsIgnored& operator=(const InterruptsIgnored&) = delete;

private:
    void (*const _interrupt)(int);
    void (*const _quit)(int);
};

/// The editor may be a whole command ("code --wait"); the path is handed over as one word, whatever is in it.
void RunEditor(const std::string& path) {
    const std::string editor = Editor();
    const InterruptsIgnored ignored;
    ShellCommand command;
    command.script = editor + " \"$@\"";
    command.arguments = {path};
    const int status = RunShell(command);
    if (status != 0) {
        throw osa::Exception("the editor '" + editor + "' ended with status " + std::to_string(status));
    }
}

core::IniFile Parse(const std::string& text) {
    core::IniFile document;
    document.LoadFromString(text);
    return document;
}

void CopyGroup(const core::IniFile& from, const std::string& group, core::IniFile& to) {
    if (const auto* values = from.FindGroup(group)) {
        to.SetGroup(group, *values);
    }
}

/// Puts the groups that were edited, and no others, in place, if nobody else changed these meanwhile.
void WriteBack(Context& context, const core::IniFile& read, const core::IniFile& edited) {
    Matcher touched;
    core::IniFile before;
    core::IniFile after;
    for (const Change& change : Changes(read, edited)) {
        touched.AddName(change.group);
        CopyGroup(read, change.group, before);
        CopyGroup(edited, change.group, after);
    }
    settings::ZumraSettingsClient::Difference difference;
    if (!touched.empty() &&
        !context.client().Backend().TestExactlyAndOverwrite(touched, before, after, &difference)) {
        throw osa::Exception("refused, for it was changed meanwhile: " + Describe(difference));
    }
}

int Edit(Context& context, const Matcher& groups) {
    core::IniFile read;
    context.client().Backend().Get(groups, read);
    const std::string text = std::string(kHeader) + read.SaveToString();
    EditedFile file(text);
    try {
        RunEditor(file.Path());
        const std::optional<std::string> left = file.Read();
        if (!left) {
            throw osa::Exception("nothing was changed, for the editor removed the text");
        }
        const std::string& edited = *left;
        if (edited == text) {
            context.Complain("nothing was changed");
            return kDone;
        }
        if (edited.find_first_not_of(" \t\r\n") == std::string::npos) {
            throw osa::Exception("nothing was changed, for the text is empty; 'erase' removes groups");
        }
        WriteBack(context, read, Parse(edited));
        return kDone;
    } catch (const osa::Exception& error) {
        const std::optional<std::string> left = file.Read();
        if (!left || *left == text) {
            throw;
        }
        file.Keep();
        throw osa::Exception(std::string(error.what()) + "; the edited text is kept in '" + file.Path() +
                             "'");
    }
}

}  // namespace

Action AddEdit(CLI::App& app) {
    auto patterns = std::make_shared<std::vector<std::string>>();
    app.add_option("patterns", *patterns, std::string(kGroupsHelp) + "; everything when there is none");
    return [patterns](Context& context) { return Edit(context, AsMatcherOrAll(*patterns)); };
}

}  // namespace zumra::cli
