#include "driver/diagnostics/messages.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "support/allocations.h"
#include "support/process.h"

namespace {

struct IdAndSeverity {
    int number;
    MessageId id;
    const char* severity;
};

// The numbers that administrators and their scripts look for.
constexpr IdAndSeverity everyMessage[] = {
    {0x16B4812C, MESSAGE_NO_MEMORY, "ERROR"},
    {0x16B4812D, MESSAGE_POSITION_FAILED, "ERROR"},
    {0x16B4812E, MESSAGE_PROCESSING_FAILED, "ERROR"},
    {0x16B4812F, MESSAGE_SLOT_OCCUPIED, "ERROR"},
    {0x16B48130, MESSAGE_CANNOT_OPEN, "ERROR"},
    {0x16B48131, MESSAGE_STAGING_FAILED, "ERROR"},
    {0x16B48132, MESSAGE_CANNOT_WRITE, "ERROR"},
    {0x16B48133, MESSAGE_CANNOT_READ, "ERROR"},
    {0x16B48134, MESSAGE_STAGING_BEGINS, "NOTICE"},
    {0x16B48135, MESSAGE_STAGING_WHERE, "NOTICE"},
    {0x16B48136, MESSAGE_STAGING_DONE, "NOTICE"},
    {0x16B48137, MESSAGE_PROCESSING_BEGINS, "NOTICE"},
    {0x16B48138, MESSAGE_PASS_BEGINS, "NOTICE"},
    {0x16B48139, MESSAGE_WRITING, "NOTICE"},
    {0x16B4813A, MESSAGE_USAGE, "ERROR"},
    {0x16B4813B, MESSAGE_COMPLETE, "NOTICE"},
    {0x16B4813C, MESSAGE_WORK_FILE_LEFT_BEHIND, "WARNING"},
    {0x16B4813D, MESSAGE_INTERRUPTED, "ERROR"},
    {0x16B4813E, MESSAGE_WORK_FILE_STAYS, "WARNING"},
};

class EveryMessage : public testing::TestWithParam<IdAndSeverity> {};

TEST_P(EveryMessage, BeginsWithIdAndSeverityOnItsStream) {
    const auto& [number, id, severity] = GetParam();
    const Ending ending = endingOf([message = Message{id, {}}] { zr_printf_utf8(message); });
    const bool isError = severity != std::string("NOTICE");
    const std::string& printed = isError ? ending.errors : ending.output;
    const std::string start = std::to_string(number) + ' ' + severity + ": ";
    EXPECT_EQ(printed.substr(0, start.size()), start);
    EXPECT_GT(printed.size(), start.size() + 1);
    EXPECT_EQ(printed.back(), '\n');
    EXPECT_EQ(isError ? ending.output : ending.errors, "");
}

TEST_P(EveryMessage, NeedsNoMemoryWithoutArguments) {
    const Ending ending = endingOf([message = Message{GetParam().id, {}}] {
        const AllocationLimit none(0);
        zr_printf_utf8(message);
    });
    EXPECT_EQ(ending.status, 0);
}

INSTANTIATE_TEST_SUITE_P(Catalogue, EveryMessage, testing::ValuesIn(everyMessage));

std::string printed(const Message& message) {
    const Ending ending = endingOf([&message] { zr_printf_utf8(message); });
    return ending.output + ending.errors;
}

TEST(Messages, ArgumentsReplaceTheirPlaceholders) {
    EXPECT_EQ(printed({MESSAGE_CANNOT_OPEN, {"export.ldif", "No such file or directory"}}),
              "380928304 ERROR: cannot open \"export.ldif\": No such file or directory\n");
}

TEST(Messages, EveryArgumentIsShown) {
    const Message messages[] = {
        {MESSAGE_POSITION_FAILED, {"fgetpos()", "-1", "reason"}},
        {MESSAGE_PROCESSING_FAILED, {"export.ldif", "what went wrong", "what to do"}},
        {MESSAGE_SLOT_OCCUPIED, {"export.ldif", "new entry", "old entry", "what to do"}},
        {MESSAGE_STAGING_FAILED, {"export.ldif", "reason"}},
        {MESSAGE_CANNOT_WRITE, {"migrated.ldif", "reason"}},
        {MESSAGE_CANNOT_READ, {"export.ldif.tmp", "reason"}},
        {MESSAGE_WORK_FILE_LEFT_BEHIND, {"export.ldif.tmp"}},
        {MESSAGE_INTERRUPTED, {"migrated.ldif", "export.ldif.tmp"}},
        {MESSAGE_WORK_FILE_STAYS, {"export.ldif.tmp", "reason"}},
    };
    for (const Message& message : messages) {
        const std::string text = printed(message);
        for (const std::string& argument : message.arguments) {
            EXPECT_NE(text.find(argument), std::string::npos) << text;
        }
        EXPECT_EQ(text.find('%'), std::string::npos) << text;
    }
}

TEST(Messages, PercentSignsOfAnArgumentAreText) {
    EXPECT_EQ(printed({MESSAGE_CANNOT_OPEN, {"100%s.ldif", "%d"}}),
              "380928304 ERROR: cannot open \"100%s.ldif\": %d\n");
}

TEST(Messages, ArgumentsHoldNothingThatATerminalObeys) {
    EXPECT_EQ(printed({MESSAGE_CANNOT_OPEN, {"a\x1b[2J\n\xe2\x80\xae\xff.ldif", "reason"}}),
              "380928304 ERROR: cannot open \"a?[2J???.ldif\": reason\n");
}

TEST(Messages, NoMessagePrintsNothing) {
    EXPECT_EQ(printed({NO_MESSAGE, {}}), "");
}

TEST(Messages, LineIsWhatIsPrinted) {
    const Message message = {MESSAGE_CANNOT_OPEN, {"export.ldif", "No such file or directory"}};
    EXPECT_EQ(lineOf(message), printed(message));
    EXPECT_EQ(lineOf({NO_MESSAGE, {}}), "");
}

TEST(Messages, ArePrintedAtOnce) {
    const Ending ending = endingOf([] {
        zr_printf_utf8({MESSAGE_COMPLETE, {}});
        _exit(7);  // nothing that is still in a buffer gets out
    });
    EXPECT_EQ(ending.output.find("380928315 NOTICE: "), 0U);
}

// The result of one routing request, and where errors and notices go afterwards.
struct Routed {
    int status;
    bool errorsToOutput;
    bool noticesToErrors;
};

Routed routed(const char* route) {
    const Ending ending = endingOf([route] {
        int status = 99;
        zr_svc_routing(route, status);
        zr_printf_utf8({MESSAGE_NO_MEMORY, {}});
        zr_printf_utf8({MESSAGE_COMPLETE, {}});
        std::exit(status == 0 ? 0 : 1);
    });
    return {ending.status, ending.output.find("ERROR: ") != std::string::npos,
            ending.errors.find("NOTICE: ") != std::string::npos};
}

bool operator==(const Routed& first, const Routed& second) {
    return first.status == second.status && first.errorsToOutput == second.errorsToOutput &&
           first.noticesToErrors == second.noticesToErrors;
}

TEST(Routing, StartUpRoutesConfirmWhereMessagesGo) {
    EXPECT_EQ(routed("ERROR:STDERR"), (Routed{0, false, false}));
    EXPECT_EQ(routed("WARNING:STDERR"), (Routed{0, false, false}));
    EXPECT_EQ(routed("NOTICE:STDOUT"), (Routed{0, false, false}));
}

TEST(Routing, MovesOneSeverityAlone) {
    EXPECT_EQ(routed("ERROR:STDOUT"), (Routed{0, true, false}));
    EXPECT_EQ(routed("NOTICE:STDERR"), (Routed{0, false, true}));
    EXPECT_EQ(routed("WARNING:STDOUT"), (Routed{0, false, false}));
}

TEST(Routing, UnknownRoutesAreRefusedAndChangeNothing) {
    for (const char* route : {"", "ERROR", "ERROR:", "ERROR:FILE", "ERRORS:STDOUT", "STDOUT",
                              "error:STDOUT", "NOTICE STDERR", "ERROR:STDOUT "}) {
        EXPECT_EQ(routed(route), (Routed{1, false, false})) << route;
    }
}

TEST(SystemReason, IsTheSystemsOwnWording) {
    EXPECT_EQ(systemReason(ENOENT), "No such file or directory");
    EXPECT_EQ(systemReason(ENOSPC), "No space left on device");
}

}  // namespace
