#include "driver/diagnostics/failure.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <new>
#include <string>

#include "support/allocations.h"
#include "support/process.h"
#include "support/trace_fixture.h"

namespace {

using Failure = TraceFixture;

constexpr const char* messageStart =
    "380928302 ERROR: cannot migrate \"export.ldif\": the entry is broken. ";

Message brokenEntry() {
    return {MESSAGE_PROCESSING_FAILED, {"export.ldif", "the entry is broken", "export.ldif.tmp"}};
}

TEST_F(Failure, ReportWritesTraceAndEcho) {
    startTrace();
    debugError = true;
    EXPECT_EQ(outputOf([] { report("traced\n", "echoed\n"); }), "echoed\n");
    EXPECT_EQ(traced(), "traced\n");
}

TEST_F(Failure, TraceAndEchoDoNotDependOnEachOther) {
    debugError = true;
    EXPECT_EQ(outputOf([] { report("traced\n", "echoed\n"); }), "echoed\n");

    startTrace();
    debugError = false;
    EXPECT_EQ(outputOf([] { report("traced\n", "echoed\n"); }), "");
    EXPECT_EQ(traced(), "traced\n");
}

TEST_F(Failure, ReportWritesNothingWhenBothAreOff) {
    startTrace();
    debug = false;
    EXPECT_EQ(outputOf([] { report("traced\n", "echoed\n"); }), "");
    EXPECT_EQ(traced(), "");
}

TEST_F(Failure, EndsTheProcessWithStatus255AndTheMessage) {
    const Ending ending = endingOf([] { fail("traced\n", "echoed\n", brokenEntry()); });
    EXPECT_THAT(ending, FailsWith(380928302));
    EXPECT_THAT(ending.errors, testing::StartsWith(messageStart));
    EXPECT_EQ(ending.output, "");
}

TEST_F(Failure, OrderIsTraceEchoMessage) {
    debugError = true;
    const Ending ending = endingOf([] {
        debug = true;
        tfp = File(dup(STDOUT_FILENO));
        int status = 0;
        zr_svc_routing("ERROR:STDOUT", status);
        fail("traced\n", "echoed\n", brokenEntry());
    });
    EXPECT_THAT(ending.output, testing::StartsWith("traced\nechoed\n" + std::string(messageStart)));
}

TEST_F(Failure, WithoutMessageOnlyTheStatusRemains) {
    const Ending ending = endingOf([] { fail("traced\n", "echoed\n", {NO_MESSAGE, {}}); });
    EXPECT_EQ(ending.status, 255);
    EXPECT_EQ(ending.output + ending.errors, "");
}

TEST_F(Failure, AnotherProgramSaysHowItFails) {
    const Ending ending = endingOf([] {
        failureForm = {
            [](const Message& message) { std::fputs(message.id == 7 ? "7\n" : "", stderr); }, 3};
        fail({}, {}, {MessageId{7}, {}});
    });
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(ending.errors, "7\n");
}

// Asks for memory when there is none.
void runOutOfMemory() {
    const AllocationLimit none(0);
    const auto block = std::make_unique<int>(1);
    std::exit(*block);
}

TEST_F(Failure, MissingMemoryEndsTheProcess) {
    debugError = true;
    const Ending ending = endingOf([] {
        endProcessWithoutMemory();
        runOutOfMemory();
    });
    EXPECT_THAT(ending, FailsWith(380928300));
    EXPECT_EQ(ending.output, "");
}

TEST_F(Failure, MissingMemoryIsAnExceptionUntilThen) {
    const AllocationLimit none(0);
    EXPECT_THROW(operator delete(operator new(1)), std::bad_alloc);
}

TEST_F(Failure, InnermostLineIsTracedWhenMemoryIsMissing) {
    startTrace();
    endingOf([] {
        endProcessWithoutMemory();
        const OutOfMemoryLine outer("outer():  malloc() failure.  EXITING. \n");
        const OutOfMemoryLine inner("inner():  malloc() failure.  EXITING. \n");
        runOutOfMemory();
    });
    EXPECT_EQ(traced(), "inner():  malloc() failure.  EXITING. \n");
}

TEST_F(Failure, OuterLineCountsAgainAfterTheInnerOne) {
    startTrace();
    endingOf([] {
        endProcessWithoutMemory();
        const OutOfMemoryLine outer("outer():  malloc() failure.  EXITING. \n");
        { const OutOfMemoryLine inner("inner():  malloc() failure.  EXITING. \n"); }
        runOutOfMemory();
    });
    EXPECT_EQ(traced(), "outer():  malloc() failure.  EXITING. \n");
}

TEST_F(Failure, NothingIsTracedForMissingMemoryWithoutALine) {
    startTrace();
    EXPECT_THAT(endingOf([] { failWithoutMemory(); }), FailsWith(380928300));
    EXPECT_EQ(traced(), "");
}

TEST_F(Failure, SizeThatCannotBeAskedForCountsAsMissingMemory) {
    startTrace();
    const Ending ending = endingOf([] {
        const OutOfMemoryLine line("append():  malloc() failure.  EXITING. \n");
        failWithoutMemory();
    });
    EXPECT_THAT(ending, FailsWith(380928300));
    EXPECT_EQ(traced(), "append():  malloc() failure.  EXITING. \n");
}

}  // namespace
