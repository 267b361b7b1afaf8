#include "ldif/output_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "driver/diagnostics/failure.h"
#include "support/ldif_fixture.h"
#include "support/odd_files.h"
#include "support/process.h"
#include "support/pseudo_terminal.h"

namespace {

// More than one buffer, less than two.
const std::string longText(400000, 'x');

class Output : public LdifFixture {
protected:
    std::string path() const {
        return folder.path("file");
    }
    void open(int flags = O_CREAT | O_TRUNC) {
        ASSERT_EQ(file.open(path(), flags), 0);
    }

    OutputFile file;
};

TEST_F(Output, FileIsCreatedForItsOwnerAlone) {
    open();
    EXPECT_TRUE(file.isOpen());
    EXPECT_EQ(fileMode(path()), 0600);
}

TEST_F(Output, DiscardedTextGoesNowhereUntilAnotherFileIsOpened) {
    open();
    file.discard();
    EXPECT_EQ(file.write("nowhere"), 0);
    EXPECT_EQ(file.write(longText), 0);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(readFile(path()), "");
    open();
    EXPECT_EQ(file.write("somewhere"), 0);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(readFile(path()), "somewhere");
}

TEST_F(Output, FlagsDecideWhetherContentIsKept) {
    writeFile(path(), "old ");
    open(O_CREAT | O_APPEND);
    EXPECT_EQ(file.write("new"), 0);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(readFile(path()), "old new");
    open();
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(readFile(path()), "");
}

TEST_F(Output, FileThatCannotBeOpenedLeavesTheReason) {
    EXPECT_EQ(file.open(folder.path("missing/file"), O_CREAT), ENOENT);
    EXPECT_FALSE(file.isOpen());
}

TEST_F(Output, MayBeATerminal) {
    const PseudoTerminal terminal;
    EXPECT_FALSE(file.isTerminal());
    ASSERT_EQ(file.open("/dev/null", 0), 0);
    EXPECT_FALSE(file.isTerminal());
    ASSERT_EQ(file.open("/proc/self/fd/" + std::to_string(terminal.descriptor()), 0), 0);
    EXPECT_TRUE(file.isTerminal());
}

TEST_F(Output, TextStaysInMemoryUntilFlushed) {
    open();
    EXPECT_EQ(file.write("dn: cn=a\n"), 0);
    EXPECT_EQ(readFile(path()), "");
    EXPECT_EQ(file.flush(), 0);
    EXPECT_EQ(readFile(path()), "dn: cn=a\n");
    EXPECT_EQ(file.flush(), 0);
    EXPECT_EQ(readFile(path()), "dn: cn=a\n");
}

TEST_F(Output, ClosingWritesWhatIsLeftOnce) {
    open();
    EXPECT_EQ(file.write("text"), 0);
    EXPECT_EQ(file.close(), 0);
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(readFile(path()), "text");
}

TEST_F(Output, DestructionWritesWhatIsLeft) {
    {
        OutputFile local;
        ASSERT_EQ(local.open(path(), O_CREAT), 0);
        EXPECT_EQ(local.write("text"), 0);
    }
    EXPECT_EQ(readFile(path()), "text");
}

TEST_F(Output, OpeningAnotherFileWritesTheFirst) {
    open();
    EXPECT_EQ(file.write("first"), 0);
    ASSERT_EQ(file.open(folder.path("other"), O_CREAT), 0);
    EXPECT_EQ(file.write("second"), 0);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(readFile(path()), "first");
    EXPECT_EQ(readFile(folder.path("other")), "second");
}

TEST_F(Output, OrderIsKeptAcrossFullBuffersAndLongTexts) {
    open();
    std::string expected;
    for (int i = 0; i < 40000; ++i) {
        const std::string line = "line: " + std::to_string(i) + '\n';
        ASSERT_EQ(file.write(line), 0);
        expected += line;
    }
    ASSERT_EQ(file.write(longText), 0);
    ASSERT_EQ(file.write("end"), 0);
    ASSERT_EQ(file.close(), 0);
    EXPECT_EQ(readFile(path()), expected + longText + "end");
}

TEST_F(Output, EmptyTextIsWritten) {
    open();
    EXPECT_EQ(file.write(""), 0);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(readFile(path()), "");
}

TEST_F(Output, FullDiskShowsWhenTheBufferIsWritten) {
    ASSERT_EQ(file.open(fullFile, 0), 0);
    EXPECT_EQ(file.write("text"), 0);
    EXPECT_EQ(file.error(), 0);
    EXPECT_EQ(file.flush(), -1);
    EXPECT_EQ(file.error(), ENOSPC);
    EXPECT_EQ(file.close(), -1);
    EXPECT_FALSE(file.isOpen());
}

TEST_F(Output, FullDiskShowsWhenATextIsLargerThanTheBuffer) {
    ASSERT_EQ(file.open(fullFile, 0), 0);
    EXPECT_EQ(file.write(longText), -1);
    EXPECT_EQ(file.error(), ENOSPC);
    EXPECT_EQ(file.close(), 0);  // the text that failed is not kept
}

TEST_F(Output, FullDiskShowsOnClosing) {
    ASSERT_EQ(file.open(fullFile, 0), 0);
    EXPECT_EQ(file.write("text"), 0);
    EXPECT_EQ(file.close(), -1);
    EXPECT_EQ(file.error(), ENOSPC);
}

TEST_F(Output, LateErrorOfTheSystemShowsOnClosing) {
    const int descriptor = nextDescriptor();
    open();
    ::close(descriptor);
    EXPECT_EQ(file.close(), -1);
    EXPECT_EQ(file.error(), EBADF);
}

TEST_F(Output, NextAttemptBeginsWithTheBytesThatWereRefused) {
    open();
    EXPECT_EQ(file.write("0123456789"), 0);
    {
        const FileSizeLimit limit(4);
        EXPECT_EQ(file.flush(), -1);
        EXPECT_EQ(file.error(), EFBIG);
        EXPECT_EQ(file.write(longText), -1);  // not kept
    }
    EXPECT_EQ(readFile(path()), "0123");
    EXPECT_EQ(file.write("abc"), 0);
    EXPECT_EQ(file.close(), 0);
    EXPECT_EQ(readFile(path()), "0123456789abc");
}

TEST_F(Output, FatalErrorElsewhereLosesNothing) {
    const Ending ending = endingOf([this] {
        openOutput();
        ofp.write("dn: cn=a\n");
        fail({}, {}, {MESSAGE_USAGE, {}});
    });
    EXPECT_EQ(ending.status, 255);
    EXPECT_EQ(readFile(output_ldif_filename), "dn: cn=a\n");
}

}  // namespace
