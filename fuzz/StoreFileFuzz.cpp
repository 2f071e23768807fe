// A store's INI file with any bytes in it, and the one kept beside it: either is read whole or refused, as a
// file of a system would be; what is read comes back after saving, also as the settings of a server.
//
// The first byte 1 in the input separates the file from the previous one; without it there is none.
#include <optional>
#include <string>

#include "Fuzz.h"
#include "Memory.h"
#include "storage/FakeFiles.h"
#include "storage/IniFileStore.h"
#include "zumra/settings/server/ISettingsPersister.h"
#include "zumra/settings/server/SettingsCombiner.h"
#include "zumra/settings/server/SettingsManager.h"

namespace {

using namespace zumra;
using core::IniFile;
using settings::server::SettingsCombiner;
using settings::server::SettingsManager;
using storage::FakeFiles;
using storage::IniFileStore;

constexpr const char* kPath = "settings.ini";

std::string Framed(std::string_view content) {
    return "# zumra settings 1\n" + std::string(content) + "\n# end\n";
}

/// The files of a directory with this input in them.
void Put(FakeFiles& files, std::string_view input, bool framed) {
    const std::size_t end = std::min(input.find('\1'), input.size());
    const std::string_view content = input.substr(0, end);
    files.Put(kPath, framed ? Framed(content) : std::string(content));
    if (end < input.size()) {
        files.Put(std::string(kPath) + ".previous", Framed(input.substr(end + 1)));
    }
}

class FilePersister : public settings::server::ISettingsPersister {
public:
    explicit FilePersister(IniFileStore& store) : _store(store) {
        _defaults["group"]["val"] = "abcd";
        _defaults["group2"]["val"] = "abcdefg";
    }
    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(_defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(_store.Load()); }
    void SaveSettings(const IniFile& document) override { _store.Save(document); }

private:
    IniFile _defaults;
    IniFileStore& _store;
};

IniFile Everything(const SettingsManager& manager) {
    IniFile all;
    manager.GetSettings(settings::common::GroupNameMatcher("*"), all);
    return all;
}

/// The document, unless the files are refused; then no more than a file's name may have changed.
std::optional<IniFile> Load(FakeFiles& files) {
    std::size_t warnings = 0;
    const std::string before = files.Get(kPath);
    IniFileStore store(files, kPath, [&warnings](const std::string& text) {
        fuzz::Require(!text.empty(), "a warning has a text");
        ++warnings;
    });
    std::optional<IniFile> document;
    const auto outcome = fuzz::OutcomeOf([&](IniFile&) { document = store.Load(); });
    const bool setAside = files.Exists(std::string(kPath) + ".broken");
    fuzz::Require(outcome.error.empty() == document.has_value(), "there is a document or an error");
    fuzz::Require(warnings == (setAside ? 2U : 0U), "the previous file is not used without a warning");
    fuzz::Require((setAside ? files.Get(std::string(kPath) + ".broken") : files.Get(kPath)) == before,
                  "the file itself is kept");
    fuzz::Require(files.OpenDescriptors() == 0, "no descriptor stays open");
    return document;
}

void RequireComesBack(FakeFiles& files, const IniFile& document) {
    IniFileStore store(files, kPath, [](const std::string&) {});
    store.Save(document);
    fuzz::Require(store.Load() == document, "what is saved is loaded");
}

/// What a server makes of the file: the settings survive it being saved and started again.
void RunServer(FakeFiles& files) {
    IniFileStore store(files, kPath, [](const std::string&) {});
    FilePersister persister(store);
    IniFile settings;
    {
        SettingsManager manager(&persister);
        manager.SetValue("group", "val", "changed");
        manager.EraseGroups(settings::common::GroupNameMatcher("group2"));
        settings = Everything(manager);
    }
    fuzz::Require(Everything(SettingsManager(&persister)) == settings, "what was saved is the store");
}

void Run(std::string_view input, bool framed) {
    FakeFiles files;
    Put(files, input, framed);
    std::optional<IniFile> document;
    {
        const fuzz::MemoryBound bound(input.size());
        document = Load(files);
    }
    if (document) {
        RequireComesBack(files, *document);
        RunServer(files);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input = fuzz::Input(data, size);
    Run(input, false);
    Run(input, true);
    return 0;
}
