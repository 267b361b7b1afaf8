#include "driver/pass_loop.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>

#include "cache/object_cache.h"
#include "support/cache_fixture.h"
#include "support/full_output.h"
#include "support/process.h"
#include "support/trace_pieces.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr int passBegins = 380928312;
constexpr int writing = 380928313;

// The text that a run has written to a standard stream: its messages, and everything else.
struct Said {
    std::vector<int> messages;
    std::string rest;
};

Said saidIn(const std::string& text) {
    Said said;
    for (std::size_t start = 0; start < text.size();) {
        const std::string line = text.substr(start, text.find('\n', start) + 1 - start);
        start += line.size();
        if (line.starts_with("3809283")) {
            said.messages.push_back(std::stoi(line));
        } else {
            said.rest += line;
        }
    }
    return said;
}

// Entries of user or group `name`, and the records that they become.
std::string user(const std::string& name) {
    return "dn: secAuthority=Default,cn=" + name +
           "\nobjectClass: secUser\nprincipalName: " + name + "\n\n";
}
std::string userMapping(const std::string& name) {
    return "dn: secUUID=1,CN=USERS,secAuthority=Default\nobjectClass: secMap\nsecDN: cn=" + name +
           "\n\n";
}
std::string group(const std::string& name) {
    return "dn: secAuthority=Default,cn=" + name + "\nobjectClass: secGroup\ncn: " + name + "\n\n";
}
std::string groupMapping(const std::string& name) {
    return "dn: secUUID=2,cn=Groups,secAuthority=Default\nobjectClass: secMap\nsecDN: cn=" + name +
           "\n\n";
}
std::string bothOf(const std::string& name) {
    return user(name) + userMapping(name);
}
std::string userRecord(const std::string& name) {
    return "dn: principalName=" + name +
           ",cn=Users,secAuthority=default\nobjectClass: secUser\nprincipalName: " + name +
           "\nsecDN: cn=" + name + "\n\n";
}
std::string groupRecord(const std::string& name) {
    return "dn: cn=" + name +
           ",cn=Groups,secAuthority=default\nobjectClass: secGroup\ncn: " + name +
           "\nsecDN: cn=" + name + "\n\n";
}

const std::string credentials =
    "dn: cn=ResCreds,cn=x\nobjectClass: container\n\ndn: cn=y\nobjectClass: secResCreds\n\n";

// The text with everything but line ends blanked, as in the work file.
std::string blanked(std::string text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            if (i > 0 && text[i - 1] == ' ') {
                text[i - 1] = '\r';
            }
        } else {
            text[i] = ' ';
        }
    }
    return text;
}

class PassLoopTest : public CacheFixture {
protected:
    void SetUp() override {
        CacheFixture::SetUp();
        openOutput();
    }

    void setWorkFile(const std::string& content) {
        writeFile(temp_input_ldif_filename, content);
    }

    // Makes the passes and returns their messages.
    static std::vector<int> messagesOfPasses() {
        const Said said = saidIn(outputOf(makePasses));
        EXPECT_EQ(said.rest, "");
        EXPECT_FALSE(tifp.isOpen());
        EXPECT_FALSE(atLeastOneObjectProcessed);
        return said.messages;
    }

    // Makes passes that must end the process with `message`, first silently and then with trace
    // and echo. `echoed` is the echo, `lastTrace` the end of the trace.
    void expectFailure(int message, const std::string& echoed, const std::string& lastTrace) {
        EXPECT_EQ(saidIn(endingOf(makePasses).output).rest, "");
        startTrace();
        const Ending ending = endingOf([] {
            debugError = true;
            makePasses();
        });
        EXPECT_EQ(ending.status, 255);
        EXPECT_EQ(saidIn(ending.errors).messages, std::vector<int>{message});
        EXPECT_EQ(saidIn(ending.output).rest, echoed);
        EXPECT_THAT(traced(), EndsWith(lastTrace));
    }
};

using Messages = std::vector<int>;

// ---- Passes

TEST_F(PassLoopTest, AnEmptyWorkFileTakesOnePassWithoutAMessage) {
    for (const std::string content : {"", "\n   \r\n\n", "# comment\n"}) {
        setWorkFile(content);
        EXPECT_EQ(messagesOfPasses(), Messages{});
    }
    EXPECT_EQ(output(), "");
}

TEST_F(PassLoopTest, ResourceCredentialsAloneTakeOnePassAndStay) {
    setWorkFile(credentials);
    EXPECT_EQ(messagesOfPasses(), Messages{passBegins});
    EXPECT_EQ(workFile(), credentials);
    EXPECT_EQ(output(), "");
    EXPECT_TRUE(hasTheStepOverFilePositionBeenInitialized);
}

TEST_F(PassLoopTest, EntriesThatFitTakeOnePassAndAClosingOne) {
    setWorkFile(group("g") + bothOf("a") + credentials + groupMapping("g") + bothOf("b"));
    EXPECT_EQ(messagesOfPasses(), (Messages{passBegins, writing, passBegins}));
    EXPECT_EQ(output(), userRecord("a") + userRecord("b") + groupRecord("g"));
    EXPECT_EQ(workFile(), blanked(group("g") + bothOf("a")) + credentials +
                              blanked(groupMapping("g") + bothOf("b")));
}

TEST_F(PassLoopTest, AClosingPassThatReadsNothingIsNotAnnounced) {
    setWorkFile(bothOf("a"));
    EXPECT_EQ(messagesOfPasses(), (Messages{passBegins, writing}));
}

TEST_F(PassLoopTest, BlankLinesAreNotReadAgain) {
    const std::string entries = bothOf("a") + credentials + bothOf("b");
    const auto linesRead = [&] {
        setWorkFile(entries);
        hasTheStepOverFilePositionBeenInitialized = false;
        lineNum = 0;
        makePasses();
        return lineNum;
    };
    constexpr std::uint32_t all = 22;
    constexpr std::uint32_t end = 1;
    EXPECT_EQ(linesRead(), all + end);

    // A work file that was left behind is read once more, from the first entry stepped over.
    setWorkFile(entries);
    ASSERT_FALSE(lockWorkFile());
    constexpr std::uint32_t fromCredentials = 14;
    EXPECT_EQ(linesRead(), all + end + fromCredentials + end);
}

TEST_F(PassLoopTest, TracedPassesPrintAndWriteTheSame) {
    max_number_of_secuser_slots = 1;
    const std::string entries = bothOf("a") + credentials + bothOf("b") + credentials + bothOf("c");
    setWorkFile(entries);
    const Messages messages = messagesOfPasses();
    const std::string records = output();
    const std::string left = workFile();

    openOutput();
    setWorkFile(entries);
    hasTheStepOverFilePositionBeenInitialized = false;
    startTrace();
    EXPECT_EQ(messagesOfPasses(), messages);
    EXPECT_EQ(output(), records);
    EXPECT_EQ(workFile(), left);
}

TEST_F(PassLoopTest, ThreeUsersTakeThreePassesWithOneSlot) {
    max_number_of_secuser_slots = 1;
    setWorkFile(bothOf("a") + bothOf("b") + bothOf("c") + credentials);
    EXPECT_EQ(messagesOfPasses(), (Messages{passBegins, writing, passBegins, writing, passBegins,
                                            writing, passBegins}));
    EXPECT_EQ(output(), userRecord("a") + userRecord("b") + userRecord("c"));
    EXPECT_EQ(workFile(), blanked(bothOf("a") + bothOf("b") + bothOf("c")) + credentials);
}

TEST_F(PassLoopTest, SlotCountsOfTwoBillionTakeEverythingInOnePass) {
    max_number_of_secuser_slots = 2000000000;
    max_number_of_secgroup_slots = 2000000000;
    std::string entries;
    std::string records;
    for (int i = 0; i < 200; ++i) {
        entries += bothOf(std::to_string(i));
        records += userRecord(std::to_string(i));
    }
    setWorkFile(entries);
    EXPECT_EQ(messagesOfPasses(), (Messages{passBegins, writing}));
    EXPECT_EQ(output(), records);
}

TEST_F(PassLoopTest, TheKeyOfTheHashesChangesNothing) {
    max_number_of_secuser_slots = 40;
    std::string users;
    std::string mappings;
    std::string records;
    for (int i = 0; i < 100; ++i) {
        const std::string name = (i % 2 != 0 ? "[" : "{") + std::to_string(i);
        users += user(name);
        mappings.insert(0, userMapping(name));
        records += userRecord(name);
    }
    for (std::uint64_t key = 0; key < 10; ++key) {
        openOutput();
        setWorkFile(users + mappings);
        hasTheStepOverFilePositionBeenInitialized = false;
        secUser_dn.prepare(max_number_of_secuser_slots, {key, ~key});
        messagesOfPasses();
        ASSERT_EQ(output(), records) << key;
    }
}

TEST_F(PassLoopTest, ALastEntryWithoutABlankLineIsDispatched) {
    const std::string entries = bothOf("a");
    setWorkFile(entries.substr(0, entries.size() - 1));
    EXPECT_EQ(messagesOfPasses(), (Messages{passBegins, writing}));
    EXPECT_EQ(output(), userRecord("a"));
}

TEST_F(PassLoopTest, APassThatOnlyStepsOverForcesAnother) {
    max_number_of_secuser_slots = 1;
    secUser_dn.open("secAuthority=Default,cn=z\n");
    fillRow(secUser_matrix, 0, {"dn: cn=z\n", "objectClass: secUser\n", "principalName: z\n"});
    fillRow(secMap_for_secUser_matrix, 0, {"dn: cn=map\n", "secDN: cn=z\n"});
    setWorkFile(bothOf("a"));
    EXPECT_EQ(messagesOfPasses(), (Messages{passBegins, writing, passBegins, writing}));
    EXPECT_EQ(output(), userRecord("z") + userRecord("a"));
}

TEST_F(PassLoopTest, APassBeginsAtTheFirstEntryThatTheLastOneHasSteppedOver) {
    max_number_of_secuser_slots = 1;
    setWorkFile(bothOf("a") + bothOf("b"));
    std::string trace;
    outputOf([&] { trace = traceOf(makePasses); });
    const std::string position =
        "getNextObjectFromTemporaryInputLDIFFile():  filePositionBeforeReadingObject = ";
    const std::string pass =
        "main():  Beginning new iteration of outer loop to make another pass on the input file. \n";
    expectPieces(trace, {pass, position + "0  \n", "\n" + pass,
                         position + std::to_string(bothOf("a").size()) + "  \n", "\n" + pass,
                         position + "0  \n", "\nmain():  This is the end of the outer loop \n"});
}

// ---- Dispatch

// Two entries of one kind and one owner.
struct Kind {
    const char* title;
    const char* first;
    const char* second;
    bool isOfGroup;
    const char* name;  // in the error when an entry cannot be stepped over
};

const Kind kinds[] = {
    {"UsersSecUser",
     "dn: a=1,CN=Users,secAuthority=x\nobjectClass: secUser\nsecAuthority: x\nsecDN: cn=a\n\n",
     "dn: a=2,cn=users,secauthority=x\nobjectClass: secUser\nsecAuthority: x\nsecDN: cn=a\n\n",
     false, "Users secUser object"},
    {"SecUser", "dn: cn=a\nobjectClass: secUser\n\n", "dn: CN=A\nobjectClass: secUser\n\n", false,
     "secUser object"},
    {"SecGroup", "dn: cn=a\nobjectClass: secGroup\n\n", "dn: CN=A\nobjectClass: secGroup\n\n", true,
     "secGroup object"},
    {"SecPolicyData", "dn: a=1,cn=a\nobjectClass: secPolicyData\n\n",
     "dn: a=2,cn=a\nobjectClass: secPolicyData\n\n", false, "secPolicyData object"},
    {"SecMapOfUser", "dn: a=1,cn=Users,secAuthority=x\nobjectClass: secMap\nsecDN: cn=a\n\n",
     "dn: a=2,CN=USERS,secAuthority=x\nobjectClass: secMap\nsecDN: cn=a\n\n", false,
     "secMap for secUser object"},
    {"SecMapOfGroup", "dn: a=1,secAuthority=x\nobjectClass: secMap\nsecDN: cn=a\n\n",
     "dn: a=2,secAuthority=x\nobjectClass: secMap\nsecDN: cn=a\n\n", true,
     "secMap for secGroup object"},
    {"SecPolicy", "dn: a=1,cn=a\nobjectClass: secPolicy\n\n",
     "dn: a=2,cn=a\nobjectClass: secPolicy\n\n", false, "secPolicy object"},
};

class EveryKind : public PassLoopTest, public testing::WithParamInterface<Kind> {
protected:
    // Gives the kind's own owners and the others as many slots.
    static void setSlots(int own, int others) {
        max_number_of_secuser_slots = GetParam().isOfGroup ? others : own;
        max_number_of_secgroup_slots = GetParam().isOfGroup ? own : others;
    }
};

INSTANTIATE_TEST_SUITE_P(PassLoopTest, EveryKind, testing::ValuesIn(kinds),
                         [](const auto& instance) { return std::string(instance.param.title); });

TEST_P(EveryKind, TheSecondEntryOfAnOwnerIsSteppedOverWhenItsMatrixIsFull) {
    setSlots(1, 2);
    setWorkFile(std::string(GetParam().first) + GetParam().second);
    // The flush fails, as the owner is not complete; by then the second entry must still be there.
    const Ending ending = endingOf(makePasses);
    EXPECT_EQ(saidIn(ending.output).messages, (Messages{passBegins, writing}));
    EXPECT_EQ(saidIn(ending.errors).messages, Messages{380928302});
    EXPECT_EQ(workFile(), blanked(GetParam().first) + GetParam().second);
}

TEST_P(EveryKind, TheSecondEntryOfAnOwnerEndsTheProcessWhileItsMatrixIsNotFull) {
    setSlots(2, 1);
    setWorkFile(std::string(GetParam().first) + GetParam().second);
    const Ending ending = endingOf(makePasses);
    EXPECT_EQ(ending.status, 255);
    EXPECT_EQ(saidIn(ending.errors).messages, Messages{380928303});
}

TEST_F(PassLoopTest, ASpaceBeforeTheUsersDomainMakesAUserAnOrdinaryOneToTheGate) {
    max_number_of_secuser_slots = 1;
    setWorkFile(
        "dn: a=1,cn=Users,secAuthority=x\nobjectClass: secUser\nsecAuthority: x\nsecDN: cn=a\n\n"
        "dn: a=2,cn=Users, secAuthority=x\nobjectClass: secUser\n\n");
    startTrace();
    endingOf(makePasses);
    // The only row of the users below cn=Users is taken, that of the ordinary ones is not.
    const std::string taken = "processSecUserObjectFromTempInputLDIFFile():  FUNCTION EXIT. \n";
    const std::string trace = traced();
    EXPECT_NE(trace.find(taken, trace.find(taken) + 1), std::string::npos);
}

// The work file and the trace of the sabotage below, by descriptor.
int workFileDescriptor = -1;
int unreadable = -1;
int rescuedTrace = -1;

// Makes the work file unreadable as soon as the class of an entry is known, and has the rest of
// the trace written to a file. The trace goes to a broken pipe at first, so that this runs
// whenever a trace line is written.
void breakWorkFile(int) {
    if (objectClass != UNINTERESTING_OBJECTCLASS) {
        dup2(unreadable, workFileDescriptor);
        dup2(rescuedTrace, tfp.descriptor());
    }
}

// Makes the passes over a work file that cannot be read any more when an entry is stepped over.
void makePassesUntilStepOverFails(const std::string& traceName) {
    alarm(60);  // in case it goes on for ever
    int ends[2];
    if (pipe(ends) != 0) {
        return;
    }
    close(ends[0]);
    std::signal(SIGPIPE, breakWorkFile);
    tfp = File(ends[1]);
    debug = true;
    unreadable = open("/dev/null", O_WRONLY);
    rescuedTrace = open(traceName.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    // The next file to be opened gets the descriptor that is free now.
    workFileDescriptor = dup(unreadable);
    close(workFileDescriptor);
    debugError = true;
    makePasses();
}

class StepOverTest : public PassLoopTest {
protected:
    void expectStepOverError(const std::string& entry, const std::string& name) {
        // The file ends without the closing blank line, so that its end is read again.
        setWorkFile(entry.substr(0, entry.size() - 1));
        const std::string trace = folder.path("trace");
        const Ending ending = endingOf([&] { makePassesUntilStepOverFails(trace); });
        const std::string error =
            "main():  ERROR: stepOverNextObjectFromTemporaryInputLDIFFile() failed stepping over "
            "a " +
            name + ".  EXITING. \n";
        EXPECT_EQ(ending.status, 255);
        EXPECT_EQ(saidIn(ending.errors).messages, Messages{380928302});
        EXPECT_EQ(saidIn(ending.output).rest, error);
        EXPECT_THAT(traced(), EndsWith("\n" + error));
    }
};

TEST_F(StepOverTest, AFailedStepOverNamesTheKindOfEntry) {
    max_number_of_secuser_slots = 0;
    max_number_of_secgroup_slots = 0;
    for (const Kind& kind : kinds) {
        expectStepOverError(kind.first, kind.name);
    }
}

TEST_F(StepOverTest, AFailedStepOverOfResourceCredentialsNamesBothKinds) {
    for (const std::string entry : {"dn: cn=ResCreds,cn=x\nobjectClass: container\n\n",
                                    "dn: cn=y\nobjectClass: secResCreds\n\n"}) {
        expectStepOverError(entry, "ResCreds container object or a secResCreds object");
    }
}

// ---- Failures

TEST_F(PassLoopTest, AnEntryThatNeedsNoRegroupingEndsTheProcess) {
    const std::string error =
        "main():  ERROR:  The object class of this object was unrecognizable.  EXITING. \n";
    for (const std::string name : {"person", "secAuthorityInfo", "container"}) {
        setWorkFile("dn: cn=a\nobjectClass: " + name + "\n\n");
        expectFailure(380928302, error, "\n" + error);
    }
}

TEST_F(PassLoopTest, AWorkFileThatCannotBeOpenedEndsTheProcess) {
    const std::string error =
        "main():  ERROR:  Unable to open temporary input LDIF file:  " + temp_input_ldif_filename +
        ". \n";
    expectFailure(380928304, error, "\n" + error + "                 EXITING \n");
    EXPECT_THAT(endingOf(makePasses).errors, HasSubstr(temp_input_ldif_filename));
}

TEST_F(PassLoopTest, AStepOverPositionThatCannotBeReachedEndsTheProcess) {
    setWorkFile(bothOf("a"));
    hasTheStepOverFilePositionBeenInitialized = true;
    filePositionOfFirstObjectSteppedOver.offset = -1;
    expectFailure(380928301, "", "\nmain():  fsetpos() failed with rc = -1 (dec)  \n");
    EXPECT_THAT(endingOf(makePasses).errors, HasSubstr("fsetpos() returned -1"));
}

TEST_F(PassLoopTest, AWorkFileThatCannotBeReadEndsTheProcessAfterTheAnnouncement) {
    temp_input_ldif_filename = "/proc/self/mem";
    const std::string error =
        "\nmain():  ERROR:  The next object could not be read successfully.  EXITING.  \n";
    expectFailure(380928307, error, error);
    const Ending ending = endingOf(makePasses);
    EXPECT_EQ(saidIn(ending.output).messages, Messages{passBegins});
    EXPECT_THAT(ending.errors, HasSubstr("/proc/self/mem"));
}

TEST_F(PassLoopTest, AFlushThatFailsEndsTheProcess) {
    setWorkFile(bothOf("a"));
    openFullOutput(ofp, 10);
    const std::string error =
        "main():  ERROR:  Failed to copy all accumulated data to the temporary output LDIF file.  "
        "EXITING.  \n";
    startTrace();
    const Ending ending = endingOf([] {
        debugError = true;
        makePasses();
    });
    EXPECT_EQ(ending.status, 255);
    EXPECT_EQ(saidIn(ending.output).messages, (Messages{passBegins, writing}));
    EXPECT_EQ(saidIn(ending.errors).messages, Messages{380928302});
    EXPECT_THAT(ending.output, EndsWith(error));
    EXPECT_THAT(traced(), EndsWith("RETURNING. \n" + error));
}

// ---- Traces

TEST_F(PassLoopTest, APassOverNothingIsTraced) {
    setWorkFile("");
    expectPieces(
        traceOf(makePasses),
        {"main():  Beginning new iteration of outer loop to make another pass on the input file. \n"
         "\nmain():  Beginning new iteration of inner loop to get the next object \n"
         "getNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n",
         "getNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT   \n"
         "\nmain():  getNextObjectFromTemporaryInputLDIFFile() has reached the end of the "
         "temporary input LDIF file. \n"
         "\nmain():  This is the end of the outer loop \n"});
}

TEST_F(PassLoopTest, APassOverEntriesIsTraced) {
    setWorkFile(bothOf("a"));
    std::string trace;
    outputOf([&] { trace = traceOf(makePasses); });
    const std::string innerLoop =
        "\nmain():  Beginning new iteration of inner loop to get the next object \n";
    const std::string object = "\nmain():  Another object WAS read successfully.  \n"
                               "         next_available_object_slot = 3  \n"
                               "         THE OBJECT READ WAS:  \n";
    const std::string outerLoop =
        "main():  Beginning new iteration of outer loop to make another pass on the input file. \n";
    expectPieces(
        trace,
        {outerLoop + innerLoop, object + user("a") + "\ndetermineTheObjectsObjectClass():    \n",
         "processSecUserObjectFromTempInputLDIFFile():  FUNCTION EXIT. \n"
         "\nmain():  This is the end of the inner loop \n" +
             innerLoop,
         object + userMapping("a") + "\ndetermineTheObjectsObjectClass():    \n",
         "processSecMapObjectFromTempInputLDIFFile():  FUNCTION EXIT. \n"
         "\nmain():  This is the end of the inner loop \n" +
             innerLoop,
         "\nmain():  getNextObjectFromTemporaryInputLDIFFile() has reached the end of the "
         "temporary input LDIF file. \n"
         "\nmain():  Calling copyAllAccumulatedDataToOutputFile() within loop \n"
         "copyAllAccumulatedDataToOutputFile() - FUNCTION ENTRY \n",
         "\nmain():  Returned from copyAllAccumulatedDataToOutputFile() within loop \n"
         "\nmain():  This is the end of the outer loop \n" +
             outerLoop + innerLoop,
         "\nmain():  This is the end of the outer loop \n"});
}

TEST_F(PassLoopTest, APassWithoutAnythingGatheredDoesNotFlush) {
    setWorkFile(credentials);
    std::string trace;
    outputOf([&] { trace = traceOf(makePasses); });
    EXPECT_THAT(trace, Not(HasSubstr("copyAllAccumulatedDataToOutputFile")));
}

}  // namespace
