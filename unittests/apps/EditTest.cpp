// Settings in an editor, which here is a shell command.
#include <filesystem>

#include "apps/CommandLineFixture.h"

namespace zumra::settingsd {
namespace {

class EditTest : public CommandLineTest {
protected:
    void SetUp() override {
        CommandLineTest::SetUp();
        std::filesystem::create_directory(_temporary);
    }
    /// `script` finds the text to edit as "$1".
    [[nodiscard]] Result Edit(const std::string& script, const std::string& arguments = "") const {
        const std::string editor = _directory.Write("editor.sh", script);
        return Run("edit " + arguments, "", "TMPDIR='" + _temporary + "' EDITOR=\"sh '" + editor + "'\"");
    }
    [[nodiscard]] std::string All() const { return Out("export"); }
    /// The files that editing left.
    [[nodiscard]] std::vector<std::string> Left() const {
        std::vector<std::string> left;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(_temporary)) {
            if (entry.is_regular_file()) {
                left.push_back(entry.path().string());
            }
        }
        return left;
    }
    /// The program as a shell takes it, for what happens while the editor is open.
    [[nodiscard]] std::string Program() const {
        return "ZUMRA_SETTINGS_SOCKET='" + _socket + "' " + ZUMRA_EMULATOR + " '" + ZUMRA_SETTINGS_PROGRAM +
               "' ";
    }
    void ExpectKept(const Result& result, const std::string& because) const {
        EXPECT_EQ(1, result.status);
        ASSERT_EQ(1u, Left().size());
        EXPECT_EQ("zumra-settings: " + because + "; the edited text is kept in '" + Left().front() + "'\n",
                  result.err);
        EXPECT_EQ("", result.out);
    }

    const std::string _temporary = _directory.File("a $HOME of \"blanks\"");
};

TEST_F(EditTest, PutsTheEditedTextInPlace) {
    const Result done = Edit("sed -i 's/80/90/; /contrast/d' \"$1\"; printf '[New]\\nx = 1\\n' >> \"$1\"");
    EXPECT_EQ(0, done.status) << done.err;
    EXPECT_EQ("", done.out + done.err);
    EXPECT_EQ("[New]\nx = 1\n\n[Screen]\nbrightness = 90\n\n", All());
    EXPECT_EQ(0, Edit("sed -i '/Screen/,$d' \"$1\"", "'S*'").status);
    EXPECT_EQ("[New]\nx = 1\n\n", All());
    EXPECT_TRUE(std::filesystem::is_empty(_temporary));
}

TEST_F(EditTest, ShowsOnlyWhatIsAskedForAndNobodyElse) {
    EXPECT_EQ("", Out("set '[Other]x' 1"));
    const Result done = Edit("cp \"$1\" '" + _directory.File("seen") +
                                 "'; stat -c %a \"$1\" \"${1%/*}\" > '" + _directory.File("modes") + "'",
                             "Screen");
    EXPECT_EQ(0, done.status);
    EXPECT_EQ("zumra-settings: nothing was changed\n", done.err);
    const std::string seen = Text("seen");
    EXPECT_NE(std::string::npos, seen.find("\n\n[Screen]\nbrightness = 80\ncontrast = 50\n")) << seen;
    EXPECT_EQ(std::string::npos, seen.find("Other"));
    EXPECT_EQ("600\n700\n", Text("modes"));
}

TEST_F(EditTest, PrefersTheVisualEditor) {
    const Result done = Run("edit", "", "TMPDIR='" + _temporary + "' EDITOR=false VISUAL='sed -i s/80/91/'");
    EXPECT_EQ(0, done.status) << done.err;
    EXPECT_EQ("91\n", Out("get '[Screen]brightness'"));
}

TEST_F(EditTest, KeepsWhatOthersChangedMeanwhile) {
    const Result fine = Edit(Program() + "set '[Other]x' 1 && sed -i s/80/90/ \"$1\"");
    EXPECT_EQ(0, fine.status) << fine.err;
    EXPECT_EQ("[Other]\nx = 1\n\n[Screen]\nbrightness = 90\ncontrast = 50\n\n", All());
    const Result refused = Edit(Program() + "set '[Screen]contrast' 1 && sed -i s/90/99/ \"$1\"");
    ExpectKept(refused, "refused, for it was changed meanwhile: [Screen]contrast: expected '50', found '1'");
    EXPECT_EQ("[Other]\nx = 1\n\n[Screen]\nbrightness = 90\ncontrast = 1\n\n", All());
}

TEST_F(EditTest, RefusesANewGroupThatSomebodyMadeMeanwhile) {
    const Result refused =
        Edit(Program() + "set '[New]x' 1 && printf '[New]\\ny = 2\\n' >> \"$1\"", "Screen");
    ExpectKept(refused, "refused, for it was changed meanwhile: [New] is there");
    EXPECT_EQ("1\n", Out("get '[New]x'"));
}

TEST_F(EditTest, TakesAGroupThatEndsInAStarForItself) {
    EXPECT_EQ("", Out("merge", "[a*]\nx = 1\n[abc]\nx = 1\n"));
    EXPECT_EQ(0, Edit("sed -i '/a\\*/,$s/x = 1/x = 2/; /abc/,$s/x = 2/x = 1/' \"$1\"").status);
    EXPECT_EQ("2\n", Out("get '[a*]x'"));
    EXPECT_EQ("1\n", Out("get '[abc]x'"));
}

TEST_F(EditTest, KeepsATextThatIsNoDocument) {
    const std::string before = All();
    const Result broken = Edit("printf '[a]\\nnonsense\\n' > \"$1\"");
    ExpectKept(broken,
               "INI line 2: expected a group \"[name]\", a value \"name = value\", a comment or an empty "
               "line: 'nonsense'");
    EXPECT_EQ(before, All());
    ASSERT_EQ(1u, Left().size());
    std::ifstream file(Left().front());
    EXPECT_EQ("[a]\nnonsense\n", std::string(std::istreambuf_iterator<char>(file), {}));
}

TEST_F(EditTest, KeepsTheTextWhenTheServerIsGone) {
    const Result gone = Edit("kill -KILL " + std::to_string(_daemon->Process()) + "; sed -i s/80/90/ \"$1\"");
    EXPECT_EQ(4, gone.status) << gone.err;
    EXPECT_EQ(1u, Left().size());
    EXPECT_NE(std::string::npos, gone.err.find("; the edited text is kept in '")) << gone.err;
}

TEST_F(EditTest, ChangesNothingWhenTheEditorFailsOrLeavesNothing) {
    const std::string before = All();
    const Result failed = Edit("exit 3");
    EXPECT_EQ(1, failed.status);
    EXPECT_NE(std::string::npos, failed.err.find("ended with status 3\n")) << failed.err;
    EXPECT_EQ(1, Edit("sed -i s/80/90/ \"$1\"; exit 1").status);
    EXPECT_EQ(1u, Left().size()) << "what was typed is not thrown away";
    EXPECT_EQ(1, Edit(": > \"$1\"").status);
    const std::size_t left = Left().size();
    const Result removed = Edit("rm \"$1\"");
    EXPECT_EQ(1, removed.status);
    EXPECT_EQ("zumra-settings: nothing was changed, for the editor removed the text\n", removed.err);
    EXPECT_EQ(left, Left().size());
    EXPECT_EQ(before, All());
}

}  // namespace
}  // namespace zumra::settingsd
