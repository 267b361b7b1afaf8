#include "cache/accumulation.h"

#include <gmock/gmock.h>

#include "cache/object_cache.h"
#include "cache/owner.h"
#include "ldif/entry_reader.h"
#include "ldif/work_file.h"
#include "support/cache_fixture.h"
#include "support/failure.h"

namespace {

using testing::Contains;
using testing::EndsWith;
using testing::StartsWith;

// One kind of entry: an entry of owner "secAuthority=Default,cn=a,o=x", and how it is taken in.
// Echo formats hold %s for the owner's DN.
struct Kind {
    const char* title;
    std::string entry;
    void (*handler)();
    const char* handlerName;
    const char* failedKind;
    OwnerTable& owners;
    Matrix& matrix;
    void (*move)(int);
    const char* moveName;
    const char* occupiedEnding;
    const char* stepOverEcho;
    const char* newOwnerDeletionEcho;
    const char* knownOwnerDeletionEcho;
};

const std::string ownerDn = "secAuthority=Default,cn=a,o=x\n";

const Kind secUser = {"secUser",
                      "dn: secAuthority=Default,cn=a,o=x\nobjectClass: secUser\n",
                      processSecUserObjectFromTempInputLDIFFile,
                      "processSecUserObjectFromTempInputLDIFFile",
                      "secUser",
                      secUser_dn,
                      secUser_matrix,
                      moveSecUserObjectFromObjectArrayToSecUserMatrix,
                      "moveSecUserObjectFromObjectArrayToSecUserMatrix",
                      "\n",
                      "secUser_dn is : \n",
                      "secUser_dn is : \n",
                      "secUser_dn is : %s\n"};
const Kind usersSecUser = {"UsersSecUser",
                           "dn: principalName=a,CN=Users,secAuthority=Default\n"
                           "objectClass: secUser\nsecAuthority: Default\nsecDN: cn=a,o=x\n",
                           processSecUserObjectFromTempInputLDIFFile,
                           "processSecUserObjectFromTempInputLDIFFile",
                           "secUser",
                           secUser_dn,
                           Users_secUser_matrix,
                           moveUsersSecUserObjectFromObjectArrayToUsersSecUserMatrix,
                           "moveUsersSecUserObjectFromObjectArrayToUsersSecUserMatrix",
                           " \n",
                           "secUser_dn is : \n",
                           "secUser_dn is : \n",
                           "secUser_dn is : %s\n"};
const Kind secPolicyData = {"secPolicyData",
                            "dn: cn=Data,secAuthority=Default,cn=a,o=x\n"
                            "objectClass: secPolicyData\n",
                            processSecPolicyDataObjectFromTempInputLDIFFile,
                            "processSecPolicyDataObjectFromTempInputLDIFFile",
                            "secPolicyData",
                            secUser_dn,
                            secPolicyData_matrix,
                            moveSecPolicyDataObjectFromObjectArrayToSecPolicyDataMatrix,
                            "moveSecPolicyDataObjectFromObjectArrayToSecPolicyDataMatrix",
                            " \n",
                            "secUser_dn is : \n",
                            "secUser_dn is : \n",
                            "secUser_dn is : %s\n"};
const Kind secPolicy = {"secPolicy",
                        "dn: cn=Policy,secAuthority=Default,cn=a,o=x\nobjectClass: secPolicy\n",
                        processSecPolicyObjectFromTempInputLDIFFile,
                        "processSecPolicyObjectFromTempInputLDIFFile",
                        "secPolicy",
                        secUser_dn,
                        secPolicy_matrix,
                        moveSecPolicyObjectFromObjectArrayToSecPolicyMatrix,
                        "moveSecPolicyObjectFromObjectArrayToSecPolicyMatrix",
                        " \n",
                        "",
                        "",
                        "secUser_dn is : %s\n"};
const Kind secGroup = {"secGroup",
                       "dn: secAuthority=Default,cn=a,o=x\nobjectClass: secGroup\n",
                       processSecGroupObjectFromTempInputLDIFFile,
                       "processSecGroupObjectFromTempInputLDIFFile",
                       "secGroup",
                       secGroup_dn,
                       secGroup_matrix,
                       moveSecGroupObjectFromObjectArrayToSecGroupMatrix,
                       "moveSecGroupObjectFromObjectArrayToSecGroupMatrix",
                       " \n",
                       "",
                       "secGroup_dn is : %s\n",
                       "secGroup_dn is : %s\n"};
const Kind userMapping = {"secMapOfUser",
                          "dn: secUUID=1,CN=USERS,secAuthority=Default\n"
                          "objectClass: secMap\nsecDN: cn=a,o=x\n",
                          processSecMapObjectFromTempInputLDIFFile,
                          "processSecMapObjectFromTempInputLDIFFile",
                          "secUser",
                          secUser_dn,
                          secMap_for_secUser_matrix,
                          moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix,
                          "moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix",
                          " \n",
                          "",
                          "",
                          "secUser_dn is: %s \n"};
const Kind groupMapping = {"secMapOfGroup",
                           "dn: secUUID=1,cn=Groups,secAuthority=Default\n"
                           "objectClass: secMap\nsecDN: cn=a,o=x\ndescription: cn=Users\n",
                           processSecMapObjectFromTempInputLDIFFile,
                           "processSecMapObjectFromTempInputLDIFFile",
                           "secUser",
                           secGroup_dn,
                           secMap_for_secGroup_matrix,
                           moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix,
                           "moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix",
                           " \n",
                           "",
                           "",
                           ""};

const std::string otherUser = "dn: cn=other\nobjectClass: secUser\n";

// The lines of `text` blanked in place.
std::string blanked(const std::string& text) {
    std::string result;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start) + 1;
        result += std::string(end - start - 2, ' ') + "\r\n";
        start = end;
    }
    return result;
}

Row linesOf(const std::string& text) {
    Row lines;
    for (std::size_t start = 0; start < text.size(); start = text.find('\n', start) + 1) {
        lines.push_back(text.substr(start, text.find('\n', start) + 1 - start));
    }
    return lines;
}

std::string withOwner(std::string text) {
    const std::size_t offset = text.find("%s");
    return offset == std::string::npos ? text : text.replace(offset, 2, ownerDn);
}

// Reads the next entry of the work file into `object`.
void readNext() {
    getNextObjectFromTemporaryInputLDIFFile(tifp);
    determineTheObjectsObjectClass();
}

void takeIn(void (*handler)()) {
    readNext();
    handler();
}

class AccumulationTest : public CacheFixture {};

class EveryKind : public CacheFixture, public testing::WithParamInterface<const Kind*> {
protected:
    const Kind& kind = *GetParam();

    // Opens a slot for the owner of the kind's entry.
    void openOwner() {
        kind.owners.open(ownerDn);
    }
    // Gives all slots to others.
    void leaveNoSlot() {
        max_number_of_secuser_slots = 2;
        max_number_of_secgroup_slots = 2;
        kind.owners.open("cn=b\n");
        kind.owners.open("cn=c\n");
    }
    // Reads the kind's entry, then closes the work file, so that the entry cannot be deleted.
    void readAndLoseTheWorkFile() {
        openWorkFile(kind.entry);
        readNext();
        tifp.close();
        startTrace();
    }
    // Runs the handler, which must fail with `error` and echo that and `furtherEcho`.
    void expectFailure(const std::string& error, const std::string& furtherEcho) {
        const std::string text = std::string(kind.handlerName) + "():  ERROR: " + error +
                                 std::string(kind.failedKind) + " object.  EXITING. \n";
        EXPECT_EQ(failureOf(kind.handler), (Failure{{380928301, 380928302}, text + furtherEcho}));
        EXPECT_THAT(traced(), EndsWith(text));
    }
};

INSTANTIATE_TEST_SUITE_P(AccumulationTest, EveryKind,
                         testing::Values(&secUser, &usersSecUser, &secPolicyData, &secPolicy,
                                         &secGroup, &userMapping, &groupMapping),
                         [](const auto& instance) { return std::string(instance.param->title); });

// ---- Taking in and stepping over

TEST_P(EveryKind, AnEntryOfANewOwnerOpensTheNextSlot) {
    kind.owners.open("cn=b\n");
    openWorkFile("\n" + kind.entry + "\n" + otherUser);
    takeIn(kind.handler);

    EXPECT_EQ(kind.owners.dn(1), ownerDn);
    EXPECT_EQ(kind.owners.slotCount(), 2);
    EXPECT_EQ(kind.owners.count, 2);
    EXPECT_EQ(linesOf(kind.matrix.row(1)), linesOf(kind.entry));
    EXPECT_EQ(kind.matrix.occupiedRows, 1);
    EXPECT_EQ(next_available_object_slot(), 0);
    EXPECT_EQ(workFile(), "\n" + blanked(kind.entry) + "\n" + otherUser);
    EXPECT_FALSE(hasTheStepOverFilePositionBeenInitialized);
}

TEST_P(EveryKind, AnEntryOfAKnownOwnerJoinsItsRow) {
    max_number_of_secuser_slots = 2;
    max_number_of_secgroup_slots = 2;
    kind.owners.open("cn=b\n");
    openOwner();
    openWorkFile(kind.entry);
    takeIn(kind.handler);

    EXPECT_EQ(kind.owners.dn(1), ownerDn);
    EXPECT_EQ(kind.owners.slotCount(), 2);
    EXPECT_EQ(kind.owners.count, 2);
    EXPECT_EQ(linesOf(kind.matrix.row(1)), linesOf(kind.entry));
    EXPECT_EQ(kind.matrix.occupiedRows, 1);
    EXPECT_EQ(workFile(), blanked(kind.entry));
}

TEST_P(EveryKind, WithoutAFreeSlotAnEntryOfANewOwnerIsSteppedOver) {
    leaveNoSlot();
    openWorkFile(kind.entry + "\n" + otherUser);
    takeIn(kind.handler);

    EXPECT_EQ(kind.owners.slotCount(), 2);
    EXPECT_EQ(kind.owners.count, 2);
    EXPECT_EQ(kind.matrix.occupiedRows, 0);
    EXPECT_EQ(linesOf(object), linesOf(kind.entry)) << "the entry stays current";
    EXPECT_EQ(workFile(), kind.entry + "\n" + otherUser);
    EXPECT_TRUE(hasTheStepOverFilePositionBeenInitialized);
    readNext();
    EXPECT_EQ(linesOf(object), linesOf(otherUser));
}

TEST_P(EveryKind, SlotCountsOfTwoBillionTakeEntriesIn) {
    max_number_of_secuser_slots = 2000000000;
    max_number_of_secgroup_slots = 2000000000;
    openWorkFile(kind.entry);
    takeIn(kind.handler);
    EXPECT_EQ(linesOf(kind.matrix.row(0)), linesOf(kind.entry));
}

TEST_P(EveryKind, AnEntryOfFiveThousandLinesIsTakenIn) {
    std::string entry = kind.entry;
    for (int i = 0; i < 5000; ++i) {
        entry += "a" + std::to_string(i) + ": b\n";
    }
    openWorkFile(entry);
    takeIn(kind.handler);
    EXPECT_EQ(linesOf(kind.matrix.row(0)), linesOf(entry));
    EXPECT_EQ(workFile(), blanked(entry));
}

TEST_P(EveryKind, OnlyPoliciesRecordThePolicyDn) {
    openWorkFile(kind.entry);
    takeIn(kind.handler);
    EXPECT_EQ(secPolicyDN(0),
              &kind == &secPolicy ? "cn=Policy,secAuthority=Default,cn=a,o=x\n" : "");
}

TEST_F(AccumulationTest, TheDnLineIsTakenInAsTheAssociationHasRewrittenIt) {
    openWorkFile("dn: cn=Policy, secAuthority=Default , cn=a,  o=x  \nobjectClass: secPolicy\n");
    takeIn(processSecPolicyObjectFromTempInputLDIFFile);
    const std::string dn = "cn=Policy, secAuthority=Default,cn=a,o=x\n";
    EXPECT_EQ(secPolicy_matrix.row(0).line(0), "dn: " + dn);
    EXPECT_EQ(secPolicyDN(0), dn);
    EXPECT_EQ(secUser_dn.dn(0), " secAuthority=Default,cn=a,o=x  \n");
}

TEST_F(AccumulationTest, AUserWhoseCommaSpacesHidItsUsersContainerIsMovedAsAUsersEntry) {
    openWorkFile("dn: cn=a,cn=Users, secAuthority=Default\nobjectClass: secUser\n");
    takeIn(processSecUserObjectFromTempInputLDIFFile);
    EXPECT_EQ(numberOfUserSecUserObjectsInObjectCache(), 1);
    EXPECT_EQ(numberOfSecUserObjectsInObjectCache(), 0);
}

TEST_F(AccumulationTest, BothKindsOfUserEntriesShareARowIndex) {
    openWorkFile(secUser.entry + "\n" + usersSecUser.entry);
    takeIn(secUser.handler);
    takeIn(usersSecUser.handler);
    EXPECT_EQ(linesOf(secUser_matrix.row(0)), linesOf(secUser.entry));
    EXPECT_EQ(linesOf(Users_secUser_matrix.row(0)), linesOf(usersSecUser.entry));
    EXPECT_EQ(secUser_dn_count(), 1);
}

TEST_F(AccumulationTest, AnyEntryOfAUserMayOpenItsSlot) {
    for (const Kind* first : {&usersSecUser, &secPolicyData, &secPolicy, &userMapping}) {
        initializeAllArrays();
        secUser_dn.open("cn=b\n");
        openWorkFile(first->entry + "\n" + secUser.entry);
        takeIn(first->handler);
        takeIn(secUser.handler);
        EXPECT_EQ(linesOf(secUser_matrix.row(1)), linesOf(secUser.entry)) << first->title;
        EXPECT_EQ(linesOf(first->matrix.row(1)), linesOf(first->entry));
        EXPECT_EQ(secUser_dn_count(), 2);
    }
}

TEST_F(AccumulationTest, WithOneSlotTheFirstUserIsGatheredAndOthersAreSteppedOver) {
    max_number_of_secuser_slots = 1;
    openWorkFile(secUser.entry + "\n" + otherUser + "\n" + secPolicy.entry + "\n" +
                 userMapping.entry);
    takeIn(secUser.handler);
    takeIn(secUser.handler);
    takeIn(secPolicy.handler);
    takeIn(userMapping.handler);
    EXPECT_EQ(secUser_dn_count(), 1);
    EXPECT_FALSE(secPolicy_matrix.row(0).empty());
    EXPECT_FALSE(secMap_for_secUser_matrix.row(0).empty());
    EXPECT_EQ(workFile(), blanked(secUser.entry) + "\n" + otherUser + "\n" +
                              blanked(secPolicy.entry) + "\n" + blanked(userMapping.entry));
}

TEST_F(AccumulationTest, FullUserSlotsDoNotKeepAGroupMappingOutNorTheReverse) {
    max_number_of_secuser_slots = 1;
    max_number_of_secgroup_slots = 1;
    secUser_dn.open("cn=b\n");
    openWorkFile(userMapping.entry + "\n" + groupMapping.entry);
    takeIn(userMapping.handler);
    takeIn(groupMapping.handler);
    EXPECT_EQ(workFile(), userMapping.entry + "\n" + blanked(groupMapping.entry));

    initializeAllArrays();
    secGroup_dn.open("cn=b\n");
    openWorkFile(userMapping.entry + "\n" + groupMapping.entry);
    takeIn(userMapping.handler);
    takeIn(groupMapping.handler);
    EXPECT_EQ(workFile(), blanked(userMapping.entry) + "\n" + groupMapping.entry);
}

TEST_F(AccumulationTest, OnlyTheDnLineDecidesWhetherAMappingIsAUsers) {
    setObject({"dn: x,cN=uSERS,y\n"});
    EXPECT_TRUE(isMappingOfUser());
    setObject({"dn: cn=User\n", "secDN: cn=a,cn=Users\n"});
    EXPECT_FALSE(isMappingOfUser());
}

// ---- Failures

TEST_P(EveryKind, ASecondEntryOfOneOwnerEndsTheProcess) {
    openOwner();
    fillRow(kind.matrix, 0, {"dn: occupant\n"});
    openWorkFile(kind.entry);
    readNext();
    startTrace();
    const std::string text = std::string(kind.moveName) +
                             "():  Destination slot is already occupied.  EXITING." +
                             kind.occupiedEnding;
    EXPECT_EQ(failureOf(kind.handler),
              (Failure{{380928303}, text + std::string(kind.matrix.name) + " = dn: occupant\n\n"}));
    EXPECT_THAT(traced(), EndsWith(std::string(kind.moveName) + "():  FUNCTION ENTRY \n" + text));
}

TEST_P(EveryKind, AFailedStepOverEndsTheProcess) {
    leaveNoSlot();
    readAndLoseTheWorkFile();
    expectFailure("stepOverNextObjectFromTemporaryInputLDIFFile() failed stepping over a ",
                  kind.stepOverEcho);
}

TEST_P(EveryKind, AFailedDeletionOfANewOwnersEntryEndsTheProcess) {
    readAndLoseTheWorkFile();
    expectFailure("deleteNextObjectFromTemporaryInputLDIFFile() failed deleting a ",
                  withOwner(kind.newOwnerDeletionEcho));
}

TEST_P(EveryKind, AFailedDeletionOfAKnownOwnersEntryEndsTheProcess) {
    openOwner();
    readAndLoseTheWorkFile();
    expectFailure("deleteNextObjectFromTemporaryInputLDIFFile() failed deleting a ",
                  withOwner(kind.knownOwnerDeletionEcho));
}

TEST_P(EveryKind, WithoutMemoryForTheSlotTheProcessEnds) {
    openWorkFile(kind.entry);
    readNext();
    EXPECT_THAT(
        lastTracesWithoutMemory(kind.handler),
        Contains(std::string(kind.handlerName) + "():  ERROR:  malloc() failure.  EXITING. \n"));
}

// ---- Traces

TEST_P(EveryKind, AMoveIsTraced) {
    setObject({"dn: cn=a\n", "a: 1\n"});
    const std::string name = kind.moveName;
    const std::string moved = &kind == &userMapping
                                  ? name + "():  The secMap object moved is: \n"
                                           "secMap_for_secUser_matrix[3][0] = dn: cn=a\n "
                                           "secMap_for_secUser_matrix[3][1] = a: 1\n "
                                  : "";
    EXPECT_EQ(traceOf([this] { kind.move(3); }),
              name + "():  FUNCTION ENTRY \n" + moved + name + "():  FUNCTION EXIT \n");
    EXPECT_EQ(linesOf(kind.matrix.row(3)), (Row{"dn: cn=a\n", "a: 1\n"}));
    EXPECT_EQ(kind.matrix.occupiedRows, 1);
    EXPECT_TRUE(object.empty());
}

TEST_P(EveryKind, AHandlerTracesItsEntryAndExitWithAFullStop) {
    openWorkFile(kind.entry);
    const bool isMapping = kind.handler == processSecMapObjectFromTempInputLDIFFile;
    readNext();
    const std::string trace = traceOf(kind.handler);
    EXPECT_THAT(trace, StartsWith(std::string(kind.handlerName) +
                                  (isMapping ? "():  FUNCTION ENTRY \n"
                                             : "():  FUNCTION ENTRY. \nlearnIndexOf")));
    EXPECT_THAT(trace, EndsWith((isMapping ? ""
                                           : "deleteNextObjectFromTemporaryInputLDIFFile():  "
                                             "FUNCTION EXIT  \n") +
                                std::string(kind.handlerName) + "():  FUNCTION EXIT. \n"));
}

}  // namespace
