#include "output/flush.h"

#include <gmock/gmock.h>

#include "cache/object_cache.h"
#include "support/cache_fixture.h"
#include "support/full_output.h"
#include "support/process.h"
#include "support/trace_pieces.h"

namespace {

using testing::Contains;
using testing::EndsWith;

const std::string function = "copyAllAccumulatedDataToOutputFile() - ";
const std::string indent(39, ' ');

class FlushTest : public CacheFixture {
protected:
    void SetUp() override {
        CacheFixture::SetUp();
        openOutput();
    }

    // Gathers a user in the next slot.
    static void addUser(const std::string& name) {
        const int slot = next_available_secUser_dn_slot();
        secUser_dn.open("secAuthority=Default,cn=" + name + "\n");
        fillRow(secUser_matrix, slot, {"dn: cn=" + name + "\n", "principalName: " + name + "\n"});
        fillRow(secMap_for_secUser_matrix, slot, {"dn: cn=map\n", "u: " + name + "\n"});
    }
    // Gathers a policy for the user gathered last.
    static void addPolicy() {
        const int slot = next_available_secUser_dn_slot() - 1;
        setPolicyDn(slot, "cn=Policy,secAuthority=Default\n");
        fillRow(secPolicy_matrix, slot, {"dn: cn=Policy\n", "p: 1\n"});
    }
    static void addGroup(const std::string& name) {
        const int slot = next_available_secGroup_dn_slot();
        secGroup_dn.open("secAuthority=Default,cn=" + name + "\n");
        fillRow(secGroup_matrix, slot, {"dn: o=" + name + "\n", "cn: " + name + "\n"});
        fillRow(secMap_for_secGroup_matrix, slot, {"dn: cn=map\n", "g: " + name + "\n"});
    }

    static std::string userRecord(const std::string& name) {
        return "dn: principalName=" + name +
               ",cn=Users,secAuthority=default\n"
               "principalName: " +
               name + "\nu: " + name + "\n\n";
    }
    static std::string containerRecord(const std::string& name) {
        return "dn: cn=Policies,principalName=" + name +
               ",cn=Users,secAuthority=default\n"
               "objectclass: container\nobjectclass: top\ncn: Policies\n\n";
    }
    static std::string policyRecord(const std::string& name) {
        return "dn: cn=Policy,cn=Policies,principalName=" + name +
               ",cn=Users,secAuthority=default\np: 1\n\n";
    }
    static std::string groupRecord(const std::string& name) {
        return "dn: cn=" + name + ",cn=Groups,secAuthority=default\ncn: " + name + "\ng: " + name +
               "\n\n";
    }

    // Expects the flush to fail at the step named, with `dn` echoed behind it.
    void expectFailure(const std::string& step, const std::string& dn) {
        const std::string error = function + step + "() failure.  RETURNING. \n";
        debugError = true;
        startTrace();
        const std::string echoed =
            outputOf([] { EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), -1); });
        EXPECT_THAT(echoed, EndsWith(error + dn));
        EXPECT_THAT(traced(), EndsWith(error));
    }
};

TEST_F(FlushTest, AnEmptyCacheWritesNothing) {
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), 0);
    EXPECT_EQ(output(), "");
}

TEST_F(FlushTest, UsersWithTheirPoliciesComeInSlotOrderAndThenGroups) {
    addGroup("g");
    addUser("a");
    addUser("b");
    addPolicy();
    addUser("c");
    addGroup("h");
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), 0);
    EXPECT_EQ(output(), userRecord("a") + userRecord("b") + containerRecord("b") +
                            policyRecord("b") + userRecord("c") + groupRecord("g") +
                            groupRecord("h"));
}

TEST_F(FlushTest, APolicyDnWithoutAPolicyYieldsAContainer) {
    addUser("a");
    addPolicy();
    freeSecPolicy(0);
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), 0);
    EXPECT_EQ(output(), userRecord("a") + containerRecord("a"));
}

TEST_F(FlushTest, PolicyDataIsReleasedUnwritten) {
    addUser("a");
    fillRow(secPolicyData_matrix, 0, {"dn: cn=data\n", "d: 1\n"});
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), 0);
    EXPECT_EQ(output(), userRecord("a"));
    EXPECT_EQ(numberOfSecPolicyDataObjectsInObjectCache(), 0);
}

TEST_F(FlushTest, TheCacheIsEmptyAfterwards) {
    addUser("a");
    addPolicy();
    fillRow(Users_secUser_matrix, 0, {"dn: cn=users\n"});
    fillRow(secPolicyData_matrix, 0, {"dn: cn=data\n"});
    addGroup("g");
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), 0);

    for (const Matrix* matrix :
         {&secUser_matrix, &Users_secUser_matrix, &secPolicyData_matrix, &secPolicy_matrix,
          &secMap_for_secUser_matrix, &secGroup_matrix, &secMap_for_secGroup_matrix}) {
        EXPECT_EQ(matrix->occupiedRows, 0) << matrix->name;
        EXPECT_TRUE(matrix->row(0).empty()) << matrix->name;
    }
    EXPECT_EQ(secPolicyDN(0), "");
    EXPECT_EQ(secUser_dn_count(), 0);
    EXPECT_EQ(secGroup_dn_count(), 0);
    EXPECT_EQ(next_available_secUser_dn_slot(), 0);
    EXPECT_EQ(next_available_secGroup_dn_slot(), 0);
    EXPECT_EQ(secUser_dn.find("secAuthority=Default,cn=a\n"), -1);
    EXPECT_EQ(secGroup_dn.find("secAuthority=Default,cn=g\n"), -1);
}

TEST_F(FlushTest, TwoFlushesFollowEachOther) {
    addUser("a");
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), 0);
    addUser("b");
    addGroup("g");
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), 0);
    EXPECT_EQ(output(), userRecord("a") + userRecord("b") + groupRecord("g"));
}

TEST_F(FlushTest, AFailureOnTheSecondUserKeepsItAndAllLaterSlots) {
    addUser("a");
    addUser("b");
    addUser("c");
    addGroup("g");
    freeSecUser(1);
    EXPECT_EQ(outputOf([] { EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), -1); }), "");
    EXPECT_EQ(output(), userRecord("a"));
    EXPECT_EQ(secUser_dn_count(), 2);
    EXPECT_EQ(secGroup_dn_count(), 1);
    EXPECT_EQ(next_available_secUser_dn_slot(), 3);
    EXPECT_EQ(next_available_secGroup_dn_slot(), 1);
    EXPECT_EQ(secUser_dn.dn(0), "");
    EXPECT_EQ(secUser_dn.dn(1), "secAuthority=Default,cn=b\n");
    EXPECT_EQ(secUser_dn.dn(2), "secAuthority=Default,cn=c\n");
    EXPECT_FALSE(secMap_for_secUser_matrix.row(1).empty());
    EXPECT_FALSE(secUser_matrix.row(2).empty());
    EXPECT_FALSE(secGroup_matrix.row(0).empty());
}

TEST_F(FlushTest, AFailureOnAGroupKeepsItAndAllLaterOnes) {
    addUser("a");
    addGroup("g");
    addGroup("h");
    freeSecGroup(0);
    outputOf([] { EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), -1); });
    EXPECT_EQ(output(), userRecord("a"));
    EXPECT_EQ(secUser_dn_count(), 0);
    EXPECT_EQ(secGroup_dn_count(), 2);
}

// ---- Failing steps

TEST_F(FlushTest, AUserWithoutANameStopsTheFlush) {
    addUser("a");
    freeSecUser(0);
    expectFailure("createNewSecUserDN", "secUser_dn = secAuthority=Default,cn=a\n\n");
}

TEST_F(FlushTest, AUserWithoutDiskSpaceStopsTheFlush) {
    addUser("a");
    openFullOutput(ofp, 10);
    expectFailure("writeSecUserAddToOutputFile",
                  "secUser_dn = dn: principalName=a,cn=Users,secAuthority=default\n\n");
}

TEST_F(FlushTest, AContainerWithoutDiskSpaceStopsTheFlush) {
    addUser("a");
    addPolicy();
    openFullOutput(ofp, userRecord("a").size());
    expectFailure("writePolicyContainerAddToOutputFile",
                  "secUser_dn = dn: principalName=a,cn=Users,secAuthority=default\n\n");
}

TEST_F(FlushTest, APolicyWithoutDiskSpaceStopsTheFlush) {
    addUser("a");
    addPolicy();
    openFullOutput(ofp, (userRecord("a") + containerRecord("a")).size());
    expectFailure("writeSecPolicyAddToOutputFile",
                  "secUser_dn = dn: principalName=a,cn=Users,secAuthority=default\n\n");
}

TEST_F(FlushTest, AGroupWithoutANameStopsTheFlush) {
    addGroup("g");
    freeSecGroup(0);
    expectFailure("createNewSecGroupDN", "secGroup_dn = secAuthority=Default,cn=g\n\n");
}

TEST_F(FlushTest, AGroupWithoutDiskSpaceStopsTheFlush) {
    addGroup("g");
    openFullOutput(ofp, 10);
    expectFailure("writeSecGroupAddToOutputFile",
                  "secGroup_dn = dn: cn=g,cn=Groups,secAuthority=default\n\n");
}

TEST_F(FlushTest, AFailureIsNeitherEchoedUnaskedNorAMessage) {
    addUser("a");
    openFullOutput(ofp, 10);
    const Ending ending = endingOf([] { copyAllAccumulatedDataToOutputFile(); });
    EXPECT_EQ(ending.output, "");
    EXPECT_EQ(ending.errors, "");
}

TEST_F(FlushTest, AFailedWriteIsTheReasonInTheMessage) {
    addUser("a");
    output_ldif_filename = "out.ldif";
    openFullOutput(ofp, 1);
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), -1);
    EXPECT_EQ(flushFailedMessage().id, 380928302);
    EXPECT_THAT(flushFailedMessage().arguments,
                Contains("cannot write \"out.ldif\": No space left on device"));
}

TEST_F(FlushTest, AMissingNameIsTheReasonInTheMessage) {
    secUser_dn.open("secAuthority=Default,cn=a\n");
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), -1);
    EXPECT_THAT(flushFailedMessage().arguments,
                Contains("other entries belong to \"secAuthority=Default,cn=a\", but it has no "
                         "secUser entry outside cn=Users with a principalName"));
}

TEST_F(FlushTest, ANameInAnotherSpellingIsTheReasonInTheMessage) {
    secUser_dn.open("secAuthority=Default,cn=a\n");
    fillRow(secUser_matrix, 0, {"dn: secAuthority=Default,cn=a\n", "PRINCIPALNAME: a\n"});
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), -1);
    EXPECT_THAT(
        flushFailedMessage().arguments,
        Contains("the entry \"dn: secAuthority=Default,cn=a\" has its principalName spelled "
                 "\"PRINCIPALNAME\"; write \"principalName\""));
}

// An entry whose first line is no DN line gives its owner a value instead of a DN.
TEST_F(FlushTest, AnOwnerNamedByAValueIsNotShown) {
    secUser_dn.open("secret\n");
    fillRow(secPolicyData_matrix, 0, {"description: a,secret\n"});
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), -1);
    EXPECT_THAT(flushFailedMessage().arguments,
                Contains("other entries belong to the owner of (no DN line; "
                         "ldif-migrate-check reports its line number), but it has no secUser entry "
                         "outside cn=Users with a principalName"));
}

TEST_F(FlushTest, AnOwnerNamedByAValueOfItsEntryInUsersIsNotShown) {
    secUser_dn.open("secAuthority=hunter2,cn=a\n");
    fillRow(Users_secUser_matrix, 0,
            {"dn: principalName=a,cn=Users,secAuthority=Default\n",
             "userPassword: secauthority:hunter2\n", "secAuthority: Default\n"});
    EXPECT_EQ(copyAllAccumulatedDataToOutputFile(), -1);
    EXPECT_THAT(flushFailedMessage().arguments,
                Contains("other entries belong to the owner of \"dn: principalName=a,cn=Users,"
                         "secAuthority=Default\", but it has no secUser entry outside cn=Users "
                         "with a principalName"));
}

// ---- Traces

TEST_F(FlushTest, AFlushIsTraced) {
    addUser("a");
    addUser("b");
    addGroup("g");
    expectPieces(
        traceOf([] { copyAllAccumulatedDataToOutputFile(); }),
        {function + "FUNCTION ENTRY \n" + indent + "secUser_dn_count = 2 \n" + indent +
             "secGroup_dn_count = 1 \n\n" + indent + "Calling dumpData() first to learn \n" +
             indent + "what data will be copied.  \n\n\n\n/***",
         "dumpData() - secUser_dn[0] = secAuthority=Default,cn=a\n",
         "/ \n\n\n\n" + function + "BEGIN COPYING ANOTHER secUser \n" + indent +
             "secUser_dn_count = 2 \n" + indent + "index            = 0 \n" + indent +
             "secUser_dn[0]   = secAuthority=Default,cn=a\n \ncreateNewSecUserDN():  FUNCTION "
             "ENTRY",
         "writeSecUserAddToOutputFile():  FUNCTION EXIT.  \n" + function +
             "END COPYING ANOTHER secUser \n" + indent + "secUser_dn_count = 1 \n" + indent +
             "index            = 1 \n" + function + "BEGIN COPYING ANOTHER secUser \n" + indent +
             "secUser_dn_count = 1 \n" + indent + "index            = 1 \n" + indent +
             "secUser_dn[1]   = secAuthority=Default,cn=b\n \ncreateNewSecUserDN",
         function + "END COPYING ANOTHER secUser \n" + indent + "secUser_dn_count = 0 \n" + indent +
             "index            = 2 \n" + function + "BEGIN COPYING ANOTHER secGroup \n" + indent +
             "secGroup_dn_count = 1 \n" + indent + "index             = 0 \n" + indent +
             "secGroup_dn[0]   = secAuthority=Default,cn=g\n \ncreateNewSecGroupDN",
         "writeSecGroupAddToOutputFile():  FUNCTION EXIT.  \n" + function +
             "END COPYING ANOTHER secGroup \n" + indent + "secGroup_dn_count = 0 \n" + indent +
             "index             = 1 \n" + function + "Calling dumpData() last to verify \n" +
             indent + "that all tables are empty. \n\n\n\n/***",
         "dumpData() - next_available_secUser_dn_slot               = 0 \n",
         "/ \n\n\n\n" + function + "FUNCTION EXIT \n" + indent + "secUser_dn_count = 0 \n" +
             indent + "secGroup_dn_count = 0 \n"});
}

TEST_F(FlushTest, TheStepsOfAUserWithAPolicyFollowEachOther) {
    addUser("a");
    addPolicy();
    expectPieces(traceOf([] { copyAllAccumulatedDataToOutputFile(); }),
                 {function + "FUNCTION ENTRY \n", "createNewSecUserDN():  FUNCTION EXIT \n",
                  "writeSecUserAddToOutputFile():  FUNCTION EXIT.  \n",
                  "createNewSecPolicyDN():  FUNCTION EXIT \n",
                  "writePolicyContainerAddToOutputFile():  FUNCTION EXIT.  \n",
                  "writeSecPolicyAddToOutputFile():  FUNCTION EXIT.  \n" + function +
                      "END COPYING ANOTHER secUser \n",
                  indent + "secGroup_dn_count = 0 \n"});
}

}  // namespace
