#include "zumra-settings/ShellWords.h"

namespace zumra::cli {

namespace {

class Splitter {
public:
    void Take(char c) {
        if (_escaped) {
            // Within double quotes a backslash stands for itself before anything else.
            if (_quote == '"' && std::string_view("\"\\$`").find(c) == std::string_view::npos) {
                Put('\\');
            }
            _escaped = false;
            Put(c);
        } else if (c == '\\' && _quote != '\'') {
            _escaped = true;
            _begun = true;
        } else if (_quote != '\0') {
            TakeQuoted(c);
        } else if (c == '"' || c == '\'') {
            _quote = c;
            _begun = true;
        } else if (c == ' ' || c == '\t' || c == '\n') {
            EndWord();
        } else {
            Put(c);
        }
    }
    std::vector<std::string> TakeWords() {
        _words.push_back(_word);
        return std::move(_words);
    }

private:
    void Put(char c) {
        _word += c;
        _begun = true;
    }
    void TakeQuoted(char c) {
        if (c == _quote) {
            _quote = '\0';
        } else {
            Put(c);
        }
    }
    void EndWord() {
        if (_begun) {
            _words.push_back(_word);
            _word.clear();
            _begun = false;
        }
    }

    std::vector<std::string> _words;
    std::string _word;
    char _quote = '\0';
    bool _escaped = false;
    bool _begun = false;
};

}  // namespace

std::vector<std::string> SplitShellWords(const std::string& line) {
    Splitter splitter;
    for (const char c : line) {
        splitter.Take(c);
    }
    return splitter.TakeWords();
}

}  // namespace zumra::cli
