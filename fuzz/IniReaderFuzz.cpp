// INI text: every way of reading it gives the same, in memory bounded by the text, and what was read comes
// back from what is written.
#include <sstream>

#include "Fuzz.h"
#include "Memory.h"
#include "core/IniReader.h"

namespace {

using namespace zumra;
using core::IniFile;

void ReadByLines(std::string_view text, IniFile& document) {
    core::IniReader reader;
    std::size_t end = 0;
    do {
        end = text.find('\n');
        reader.Feed(text.substr(0, end));
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
    } while (end != text.npos);
    document = reader.Take();
}

/// Reading and writing, in memory bounded by the text.
void RunBounded(std::string_view text) {
    const fuzz::MemoryBound bound(text.size());
    const auto read = fuzz::OutcomeOf([text](IniFile& document) { document.LoadFromString(text); });
    static_cast<void>(read.document.SaveToString());
}

void RequireComesBack(const IniFile& document) {
    const std::string text = document.SaveToString();
    IniFile read;
    read.LoadFromString(text);
    fuzz::Require(read == document, "what is written is read as the same document");
    fuzz::Require(read.SaveToString() == text, "it is written in the same way again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzz::Input(data, size);
    RunBounded(text);
    const auto whole = fuzz::OutcomeOf([text](IniFile& document) { document.LoadFromString(text); });
    const auto lines = fuzz::OutcomeOf([text](IniFile& document) { ReadByLines(text, document); });
    const auto stream = fuzz::OutcomeOf([text](IniFile& document) {
        std::istringstream in{std::string(text)};
        document.LoadFromStream(in);
    });
    fuzz::Require(whole == lines, "lines read one by one give what the whole text gives");
    fuzz::Require(whole == stream, "a stream gives what the whole text gives");
    RequireComesBack(whole.document);
    IniFile everywhere;
    everywhere[text][std::string(text)] = text;
    RequireComesBack(everywhere);
    return 0;
}
