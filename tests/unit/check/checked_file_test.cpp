#include "check/checked_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "support/dice.h"
#include "support/process.h"
#include "support/temporary_folder.h"

namespace {

class CheckedFileTest : public testing::Test {
protected:
    void open(const std::string& content) {
        writeFile(name_, content);
        file_.open(name_);
    }

    // Expects that the procedure ends the check for this reason.
    void expectNotChecked(const std::function<void()>& procedure, const std::string& name,
                          std::string_view reason) {
        const Ending ending = endingOf(procedure);
        EXPECT_EQ(ending.status, 2);
        EXPECT_EQ(ending.output, "");
        EXPECT_EQ(ending.errors, "ldif-migrate-check: cannot check \"" + name +
                                     "\": " + std::string(reason) + "\n");
    }

    void expectChanged() {
        expectNotChecked([this] { file_.requireUnchanged(); }, name_, changedMeanwhile);
        expectNotChecked([this] { file_.openAgain(); }, name_, changedMeanwhile);
    }

    TemporaryFolder folder_;
    const std::string name_ = folder_.path("file");
    CheckedFile file_;
};

TEST_F(CheckedFileTest, OnlyRegularFilesAreAccepted) {
    for (const std::string& name :
         {folder_.path(""), makePipe(folder_.path("pipe")), std::string("/dev/null")}) {
        expectNotChecked([&] { file_.open(name); }, name, "it is no regular file");
    }
    expectNotChecked([&] { file_.open(name_); }, name_, "No such file or directory");
}

TEST_F(CheckedFileTest, TextEndsWithTheFile) {
    open(std::string("ab\0cd", 5));
    EXPECT_EQ(file_.size(), 5);
    EXPECT_EQ(file_.textAt(0, 2), "ab");
    EXPECT_EQ(file_.textAt(1, 9), std::string("b\0cd", 4));
    EXPECT_EQ(file_.textAt(5, 1), "");
    EXPECT_EQ(file_.textAt(9, 1), "");
}

TEST_F(CheckedFileTest, AnotherOpeningBeginsAtTheBeginning) {
    open("abc");
    char c = 0;
    EXPECT_EQ(file_.read(&c, 1), 1U);
    const File again = file_.openAgain();
    EXPECT_EQ(readBytes(again.descriptor(), &c, 1), 1);
    EXPECT_EQ(c, 'a');
    EXPECT_EQ(file_.read(&c, 1), 1U);
    EXPECT_EQ(c, 'b');
}

TEST_F(CheckedFileTest, AFailureNamesTheFileAndTheReason) {
    expectNotChecked([this] { file_.textAt(0, 1); }, "", "Bad file descriptor");
    std::string block(1, ' ');
    expectNotChecked([&] { file_.read(block.data(), block.size()); }, "", "Bad file descriptor");
    open("abc");
    expectNotChecked([this] { file_.fail(EIO); }, name_, "Input/output error");
    std::filesystem::remove(name_);
    expectNotChecked([this] { file_.openAgain(); }, name_, "No such file or directory");
}

TEST_F(CheckedFileTest, AFileThatGrowsHasChanged) {
    open("abc");
    file_.requireUnchanged();
    writeFile(name_, "abcd");
    expectChanged();
}

TEST_F(CheckedFileTest, AFileWhoseTimeIsSetBackHasChanged) {
    open("abc");
    const auto time = std::filesystem::last_write_time(name_);
    writeFile(name_, "abd");
    std::filesystem::last_write_time(name_, time);
    expectChanged();
}

TEST_F(CheckedFileTest, AFileThatIsReplacedHasChanged) {
    open("abc");
    std::filesystem::rename(writeFile(folder_.path("other"), "abc"), name_);
    expectChanged();
}

TEST_F(CheckedFileTest, LinesAreCountedFromTheNearestOneNotedBefore) {
    Dice dice(1);
    std::string content;
    std::vector<off_t> starts;
    while (content.size() < 2'500'000) {
        starts.push_back(static_cast<off_t>(content.size()));
        content += std::string(dice.upTo(300), 'x') + '\n';
    }
    open(content);
    CheckedFile counted;
    counted.open(name_);
    for (std::size_t i = 0; i < starts.size(); i += 1 + dice.upTo(20)) {
        file_.noteLine(starts[i], static_cast<std::int64_t>(i) + 1);
    }
    for (std::size_t i = 0; i < starts.size(); i += 1 + dice.upTo(2000)) {
        const auto line = static_cast<std::int64_t>(i) + 1;
        ASSERT_EQ(counted.lineAt(starts[i]), line);
        ASSERT_EQ(file_.lineAt(starts[i]), line);
    }
}

TEST_F(CheckedFileTest, ANotedLineIsNotSearchedForAgain) {
    open("");
    constexpr off_t far = off_t{1} << 39U;
    file_.noteLine(far, 5'000'000'000);
    EXPECT_EQ(file_.lineAt(far), 5'000'000'000);
}

TEST_F(CheckedFileTest, ThereIsNoLineBehindTheEndOfTheFile) {
    open("dn: a\n");
    EXPECT_EQ(file_.lineAt(6), 2);
    EXPECT_EQ(file_.lineAt(7), 0);
}

}  // namespace
