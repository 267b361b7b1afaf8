#include "driver/diagnostics/trace.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "support/allocations.h"
#include "support/odd_files.h"
#include "support/process.h"
#include "support/trace_fixture.h"

namespace {

using Trace = TraceFixture;

TEST_F(Trace, OpeningSwitchesTheTraceOn) {
    EXPECT_EQ(openTraceFile(folder.path("trace")), 0);
    EXPECT_TRUE(debug);
}

TEST_F(Trace, FileKeepsWhatItHoldsUntilItIsEmptied) {
    const std::string path = writeFile(folder.path("trace"), "from an earlier run");
    ASSERT_EQ(openTraceFile(path), 0);
    trace("first\n");
    EXPECT_EQ(readFile(path), "from an earlier run");
    EXPECT_EQ(emptyTraceFile(), 0);
    trace("second\n");
    EXPECT_EQ(readFile(path), "first\nsecond\n");
}

TEST_F(Trace, NewFileIsWrittenAtOnceAndNotEmptied) {
    startTrace();
    trace("first\n");
    EXPECT_EQ(traced(), "first\n");
    EXPECT_EQ(emptyTraceFile(), 0);
    EXPECT_EQ(traced(), "first\n");
}

TEST_F(Trace, ReopenedFileForgetsWhatWasHeldBack) {
    const std::string path = writeFile(folder.path("old"), "from an earlier run");
    ASSERT_EQ(openTraceFile(path), 0);
    trace("never written\n");
    startTrace();
    EXPECT_EQ(emptyTraceFile(), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(Trace, FileIsCreatedForItsOwnerAlone) {
    startTrace();
    EXPECT_EQ(fileMode(folder.path("trace")), 0600);
}

TEST_F(Trace, FileThatCannotBeOpenedLeavesTheTraceOff) {
    EXPECT_EQ(openTraceFile(folder.path("missing/trace")), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(debug);
}

TEST_F(Trace, LinesArePrintedLikePrintf) {
    startTrace();
    trace("main():  FUNCTION ENTRY  \n");
    trace("   object[%d] = %s", 3, "cn: a\n");
    EXPECT_EQ(traced(), "main():  FUNCTION ENTRY  \n   object[3] = cn: a\n");
}

TEST_F(Trace, NothingIsWrittenWhileTheTraceIsOff) {
    startTrace();
    debug = false;
    trace("main():  FUNCTION ENTRY  \n");
    EXPECT_EQ(traced(), "");
}

TEST_F(Trace, NeedsNoMemoryWhileItIsOff) {
    const std::string longText(1000, 'x');
    const std::size_t before = allocationCount();
    trace("%s", longText);
    EXPECT_EQ(allocationCount(), before);
}

TEST_F(Trace, IsCompleteUpToACrash) {
    startTrace();
    const Ending ending = endingOf([] {
        trace("the last words\n");
        abort();
    });
    EXPECT_EQ(ending.status, -1);
    EXPECT_EQ(traced(), "the last words\n");
}

TEST_F(Trace, WriteTraceDoesNotAskWhetherTheTraceIsOn) {
    startTrace();
    debug = false;
    writeTrace("100%s\n");
    EXPECT_EQ(traced(), "100%s\n");
}

TEST_F(Trace, FailedWritesAreNeverLookedAt) {
    ASSERT_EQ(openTraceFile(fullFile), 0);
    trace("lost\n");
    EXPECT_TRUE(debug);
}

TEST_F(Trace, EchoGoesToStandardOutputWhenErrorsAreEchoed) {
    EXPECT_EQ(outputOf([] { echo("main():  ERROR:  100%s \n"); }), "");
    debugError = true;
    EXPECT_EQ(outputOf([] { echo("main():  ERROR:  100%s \n"); }), "main():  ERROR:  100%s \n");
}

TEST_F(Trace, EchoDoesNotReachTheTraceFile) {
    startTrace();
    debugError = true;
    outputOf([] { echo("main():  ERROR:  \n"); });
    EXPECT_EQ(traced(), "");
}

TEST_F(Trace, StandardOutputIsWrittenAtOnce) {
    const Ending ending = endingOf([] {
        writeStandardOutput("out ");
        echo("not echoed");
        _exit(0);  // nothing that is still in a buffer gets out
    });
    EXPECT_EQ(ending.output, "out ");
}

}  // namespace
