#include "output/writers.h"

#include <gmock/gmock.h>

#include "cache/object_cache.h"
#include "ldif/entry_reader.h"
#include "support/cache_fixture.h"
#include "support/failure.h"
#include "support/full_output.h"
#include "support/trace_pieces.h"

namespace {

using testing::EndsWith;

const std::string userDn = "dn: principalName=j,cn=Users,secAuthority=default\n";
const std::string groupDn = "dn: cn=g,cn=Groups,secAuthority=default\n";
const std::string policyDn =
    "dn: cn=Policy,cn=Policies,principalName=j,cn=Users,secAuthority=default\n";

class WritersTest : public CacheFixture {
protected:
    void SetUp() override {
        CacheFixture::SetUp();
        openOutput();
    }

    static void setUser(std::initializer_list<std::string_view> entry,
                        std::initializer_list<std::string_view> mapping) {
        secUser_dn.open(userDn);
        fillRow(secUser_matrix, 0, entry);
        fillRow(secMap_for_secUser_matrix, 0, mapping);
    }
    static void setUser() {
        setUser({"dn: old\n", "objectClass: secUser\n", "a: 1\n"}, {"dn: map\n", "b: 2\n"});
    }
    static void setGroup(std::initializer_list<std::string_view> entry,
                         std::initializer_list<std::string_view> mapping) {
        secGroup_dn.open(groupDn);
        fillRow(secGroup_matrix, 0, entry);
        fillRow(secMap_for_secGroup_matrix, 0, mapping);
    }
    static void setGroup() {
        setGroup({"dn: old\n", "cn: g\n"}, {"dn: map\n", "b: 2\n"});
    }
    static void setPolicy(std::initializer_list<std::string_view> entry) {
        setPolicyDn(0, policyDn);
        fillRow(secPolicy_matrix, 0, entry);
    }

    // Expects `write` to fail with `lastTrace` while the output has too little space for the
    // record, which is `size` bytes long.
    void expectFailingWrites(int (*write)(), std::size_t size, const std::string& lastTrace) {
        for (std::size_t space = 0; space < size; ++space) {
            openFullOutput(ofp, space);
            startTrace();
            ASSERT_EQ(write(), -1) << space;
            ASSERT_THAT(traced(), EndsWith("\n" + lastTrace)) << space;
        }
        openFullOutput(ofp, size);
        EXPECT_EQ(write(), 0);
        EXPECT_THAT(traced(), EndsWith("FUNCTION EXIT.  \n"));
    }
};

int writeUser() {
    return writeSecUserAddToOutputFile(0, ofp);
}
int writeContainer() {
    return writePolicyContainerAddToOutputFile(0);
}
int writePolicy() {
    return writeSecPolicyAddToOutputFile(0, ofp);
}
int writeGroup() {
    return writeSecGroupAddToOutputFile(0, ofp);
}

// ---- Users

TEST_F(WritersTest, AUserIsItsNewDnAndItsMergedLines) {
    setUser({"dn: old\n", "changetype: add\n", "objectClass: secUser\n", "a: 1\n"},
            {"dn: map\n", "changetype: add\n", "objectClass: secMap\n", "a: 2\n", "b: 3\n"});
    EXPECT_EQ(writeUser(), 0);
    EXPECT_EQ(output(), userDn + "changetype: add\nobjectClass: secUser\na: 2\nb: 3\n\n");
    EXPECT_TRUE(object.empty());
}

TEST_F(WritersTest, AUsersEntryLeadsAndItsSecAuthorityIsKept) {
    setUser({"dn: old\n", "objectClass: secUser\n", "a: 1\n", "secAuthority: first\n", "c: 3\n"},
            {"dn: map\n", "a: 2\n", "d: 4\n"});
    fillRow(Users_secUser_matrix, 0,
            {"dn: users\n", "objectClass: top\n", "c: 5\n", "secAuthority: users\n", "e: 6\n"});
    EXPECT_EQ(writeUser(), 0);
    EXPECT_EQ(output(),
              userDn + "objectClass: top\nc: 3\nsecAuthority: users\ne: 6\na: 2\nd: 4\n\n");
    EXPECT_TRUE(object.empty());
}

TEST_F(WritersTest, TheFilterOfUsersAndGroupsDropsFourNamesAnywhereInAnyCase) {
    const std::initializer_list<std::string_view> lines = {"dn: old\n",
                                                           "description: acl: none\n",
                                                           "x: KVO-entryuuid: 1\n",
                                                           "AclEntry: 2\n",
                                                           "myACI: 3\n",
                                                           "kept: aci\n",
                                                           "x: control: 4\n",
                                                           "acl-x: 5\n"};
    const std::string kept = "kept: aci\nx: control: 4\nacl-x: 5\n\n";
    setUser(lines, {"dn: map\n"});
    EXPECT_EQ(writeUser(), 0);
    EXPECT_EQ(output(), userDn + kept);

    openOutput();
    setGroup(lines, {"dn: map\n"});
    EXPECT_EQ(writeGroup(), 0);
    EXPECT_EQ(output(), groupDn + kept);
}

TEST_F(WritersTest, UsersAndGroupsGoToTheStreamGiven) {
    setUser();
    setGroup();
    setPolicy({"dn: old\n", "p: 1\n"});
    OutputFile stream;
    ASSERT_EQ(stream.open(folder.path("other"), O_CREAT), 0);
    EXPECT_EQ(writeSecUserAddToOutputFile(0, stream), 0);
    EXPECT_EQ(writeSecPolicyAddToOutputFile(0, stream), 0);
    EXPECT_EQ(writeSecGroupAddToOutputFile(0, stream), 0);
    EXPECT_EQ(stream.close(), 0);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(readFile(folder.path("other")), userDn + "objectClass: secUser\na: 1\nb: 2\n\n" +
                                                  policyDn + "p: 1\n\n" + groupDn +
                                                  "cn: g\nb: 2\n\n");
}

TEST_F(WritersTest, EntriesOfSixtyLinesAreMergedTwice) {
    secUser_dn.open(userDn);
    Entry entry = entryOfLength(60);
    Entry users = entryOfLength(60);
    secUser_matrix.fill(0, entry);
    Users_secUser_matrix.fill(0, users);
    fillRow(secMap_for_secUser_matrix, 0, {"dn: map\n", "z: 1\n"});
    EXPECT_EQ(writeUser(), 0);
    std::string expected = userDn;
    for (int i = 1; i < 60; ++i) {
        expected += "a" + std::to_string(i) + ": " + std::to_string(i) + "\n";
    }
    EXPECT_EQ(output(), expected + "z: 1\n\n");
}

TEST_F(WritersTest, AUserWithoutADnEndsTheProcess) {
    const std::string error = "writeSecUserAddToOutputFile():  ERROR:  secUser_dn[3] is NULL.  ";
    startTrace();
    EXPECT_EQ(failureOf([] { writeSecUserAddToOutputFile(3, ofp); }),
              (Failure{{380928302}, error + "EXITING.\n"}));
    EXPECT_EQ(traced(),
              "writeSecUserAddToOutputFile():  FUNCTION ENTRY.  \n" + error + "EXITING.  \n");
}

TEST_F(WritersTest, AUserWithoutItsEntryOrMappingEndsTheProcessBehindItsDn) {
    const std::string error =
        "writeSecUserAddToOutputFile():  ERROR:  Passing a NULL pointer to mergeObjects() \n";
    secUser_dn.open(userDn);
    startTrace();
    EXPECT_EQ(failureOf(writeUser),
              (Failure{{380928302},
                       error + "secUser_matrix = NULL\nsecMap_for_secUser_matrix = NULL\n"}));
    EXPECT_EQ(traced(), "writeSecUserAddToOutputFile():  FUNCTION ENTRY.  \n" + error);

    fillRow(secUser_matrix, 0, {"dn: old\n"});
    EXPECT_EQ(failureOf(writeUser), (Failure{{380928302},
                                             error + "secUser_matrix = dn: old\n\n"
                                                     "secMap_for_secUser_matrix = NULL\n"}));
    freeSecUser(0);
    fillRow(secMap_for_secUser_matrix, 0, {"dn: map\n"});
    EXPECT_EQ(failureOf(writeUser), (Failure{{380928302},
                                             error + "secUser_matrix = NULL\n"
                                                     "secMap_for_secUser_matrix = dn: map\n\n"}));
    openOutput();
    endingOf([] { writeUser(); });
    EXPECT_EQ(output(), userDn);
}

TEST_F(WritersTest, AUserThatTheOutputHasNoSpaceForFails) {
    setUser();
    const std::string record = userDn + "objectClass: secUser\na: 1\nb: 2\n\n";
    expectFailingWrites(writeUser, record.size(),
                        "writeSecUserAddToOutputFile():  fputs() failed with rc=-1 \n");
}

TEST_F(WritersTest, AUserIsTraced) {
    setUser();
    expectPieces(
        traceOf([] { writeUser(); }),
        {"writeSecUserAddToOutputFile():  FUNCTION ENTRY.  \n"
         "writeSecUserAddToOutputFile():  Calling mergeObjects() to merge the secUser and secMap \n"
         "mergeObjects():  FUNCTION ENTRY",
         "mergeObjects():  FUNCTION EXIT \n"
         "writeSecUserAddToOutputFile():  Returning from mergeObjects() to merge the secUser and "
         "secMap \n"
         "writeSecUserAddToOutputFile():  Write the remainder of the entry to the output LDIF file "
         "\n"
         "Writing object[1] = objectClass: secUser\n"
         "Writing object[2] = a: 1\n"
         "Writing object[3] = b: 2\n"
         "writeSecUserAddToOutputFile():  Finished writing the remainder of the entry to the "
         "output "
         "LDIF file \n"
         "writeSecUserAddToOutputFile():  FUNCTION EXIT.  \n"});
}

TEST_F(WritersTest, TheSecondMergeOfAUserIsTraced) {
    setUser();
    fillRow(Users_secUser_matrix, 0, {"dn: users\n", "acl: 1\n", "x: 2\n"});
    expectPieces(
        traceOf([] { writeUser(); }),
        {"writeSecUserAddToOutputFile():  FUNCTION ENTRY.  \n",
         "writeSecUserAddToOutputFile():  Returning from mergeObjects() to merge the secUser and "
         "secMap \n"
         "writeSecUserAddToOutputFile():  A Users secUser object exists. Begin merge. \n"
         "next_available_object_slot = 4 \n"
         "SECUSER_MATRIX_NUMBER_OF_COLUMNS = 50 \n"
         "partiallyMergedSecUser[0] = dn: old\n "
         "partiallyMergedSecUser[1] = objectClass: secUser\n "
         "partiallyMergedSecUser[2] = a: 1\n "
         "partiallyMergedSecUser[3] = b: 2\n "
         "mergeObjects():  FUNCTION ENTRY",
         "   inputObject1[0] = dn: users\n", "   inputObject2[0] = dn: old\n",
         "Writing object[1] = x: 2\n", "writeSecUserAddToOutputFile():  FUNCTION EXIT.  \n"});
}

// ---- Policy containers

TEST_F(WritersTest, AContainerHoldsThePoliciesOfItsUser) {
    secUser_dn.open(userDn);
    EXPECT_EQ(writeContainer(), 0);
    EXPECT_EQ(output(), "dn: cn=Policies,principalName=j,cn=Users,secAuthority=default\n"
                        "objectclass: container\n"
                        "objectclass: top\n"
                        "cn: Policies\n"
                        "\n");
}

TEST_F(WritersTest, AContainerHasAChangeTypeWhenTheExportHas) {
    changetypeSeen = true;
    secUser_dn.open("dn:   cn=a: b\n");
    EXPECT_EQ(writeContainer(), 0);
    EXPECT_EQ(output(), "dn: cn=Policies,cn=a: b\n"
                        "changetype: add\n"
                        "objectclass: container\n"
                        "objectclass: top\n"
                        "cn: Policies\n"
                        "\n");
}

TEST_F(WritersTest, AContainerIsTraced) {
    secUser_dn.open(userDn);
    EXPECT_EQ(traceOf([] { writeContainer(); }),
              "writePolicyContainerAddToOutputFile():  FUNCTION ENTRY.  \n"
              "writePolicyContainerAddToOutputFile():  FUNCTION EXIT.  \n");
}

TEST_F(WritersTest, AContainerWithoutItsUsersDnEndsTheProcess) {
    const std::string error =
        "writePolicyContainerAddToOutputFile():  ERROR:  secUser_dn[0] is NULL.  ";
    startTrace();
    EXPECT_EQ(failureOf(writeContainer), (Failure{{380928302}, error + "EXITING.\n"}));
    EXPECT_EQ(traced(), "writePolicyContainerAddToOutputFile():  FUNCTION ENTRY.  \n" + error +
                            "EXITING.  \n");
}

TEST_F(WritersTest, TheFailingWritesOfAContainerAreNumbered) {
    changetypeSeen = true;
    secUser_dn.open("dn: cn=a\n");
    const std::string parts[] = {"dn: cn=Policies,cn=a\n", "changetype: add\n",
                                 "objectclass: container\n", "objectclass: top\n",
                                 "cn: Policies\n\n"};
    std::size_t space = 0;
    for (int number = 1; number <= 5; ++number) {
        openFullOutput(ofp, space);
        startTrace();
        EXPECT_EQ(writeContainer(), -1);
        EXPECT_EQ(traced(), "writePolicyContainerAddToOutputFile():  FUNCTION ENTRY.  \n"
                            "writePolicyContainerAddToOutputFile():  fputs() #" +
                                std::to_string(number) + " failed with rc=-1 \n");
        space += parts[number - 1].size();
    }
    openFullOutput(ofp, space);
    EXPECT_EQ(writeContainer(), 0);
}

TEST_F(WritersTest, WithoutAChangeTypeTheOtherWritesOfAContainerKeepTheirNumbers) {
    secUser_dn.open("dn: cn=a\n");
    openFullOutput(ofp, std::string("dn: cn=Policies,cn=a\n").size());
    EXPECT_THAT(traceOf([] { EXPECT_EQ(writeContainer(), -1); }),
                EndsWith("fputs() #3 failed with rc=-1 \n"));
}

// ---- Policies

TEST_F(WritersTest, APolicyIsItsNewDnAndItsLinesUnmerged) {
    setPolicy({"dn: old\n", "changetype: add\n", "objectClass: secPolicy\n", "a: 1\n", "a: 2\n"});
    EXPECT_EQ(writePolicy(), 0);
    EXPECT_EQ(output(), policyDn + "changetype: add\nobjectClass: secPolicy\na: 1\na: 2\n\n");
}

TEST_F(WritersTest, TheFilterOfPoliciesDropsControlsToo) {
    setPolicy({"dn: old\n", "x: CONTROL: 1\n", "control: 2\n", "x: acl: 3\n", "ACI: 4\n",
               "aclentry: 5\n", "kvo-EntryUUID: 6\n", "kept: control\n"});
    EXPECT_EQ(writePolicy(), 0);
    EXPECT_EQ(output(), policyDn + "kept: control\n\n");
}

TEST_F(WritersTest, APolicyOfFiveThousandLinesIsWritten) {
    setPolicyDn(0, policyDn);
    Entry policy = entryOfLength(5000);
    std::string expected = policyDn;
    for (int i = 1; i < 5000; ++i) {
        expected += policy.line(i);
    }
    secPolicy_matrix.fill(0, policy);
    EXPECT_EQ(writePolicy(), 0);
    EXPECT_EQ(output(), expected + "\n");
}

TEST_F(WritersTest, WithoutAPolicyNothingIsWritten) {
    setPolicyDn(0, policyDn);
    EXPECT_EQ(traceOf([] { EXPECT_EQ(writePolicy(), 0); }),
              "writeSecPolicyAddToOutputFile():  FUNCTION ENTRY.  \n"
              "writeSecPolicyAddToOutputFile():  FUNCTION EXIT.  \n");
    EXPECT_EQ(output(), "");
}

TEST_F(WritersTest, APolicyWithoutADnEndsTheProcess) {
    const std::string error =
        "writeSecPolicyAddToOutputFile():  ERROR:  secPolicy_dn[0] is NULL.  ";
    fillRow(secPolicy_matrix, 0, {"dn: old\n"});
    startTrace();
    EXPECT_EQ(failureOf(writePolicy), (Failure{{380928302}, error + "EXITING.\n"}));
    EXPECT_EQ(traced(),
              "writeSecPolicyAddToOutputFile():  FUNCTION ENTRY.  \n" + error + "EXITING.  \n");
}

TEST_F(WritersTest, APolicyThatTheOutputHasNoSpaceForFails) {
    setPolicy({"dn: old\n", "a: 1\n"});
    expectFailingWrites(writePolicy, (policyDn + "a: 1\n\n").size(),
                        "writeSecPolicyAddToOutputFile():  fputs() failed with rc=-1 \n");
}

// ---- Groups

TEST_F(WritersTest, AGroupIsItsNewDnAndItsMergedLines) {
    setGroup({"dn: old\n", "objectClass: secGroup\n", "cn: g\n", "secAuthority: first\n"},
             {"dn: map\n", "objectClass: secMap\n", "secAuthority: second\n", "b: 2\n"});
    EXPECT_EQ(writeGroup(), 0);
    EXPECT_EQ(output(), groupDn + "objectClass: secGroup\ncn: g\nsecAuthority: first\nb: 2\n\n");
    EXPECT_TRUE(object.empty());
}

TEST_F(WritersTest, AGroupIsTraced) {
    setGroup();
    expectPieces(
        traceOf([] { writeGroup(); }),
        {"writeSecGroupAddToOutputFile():  FUNCTION ENTRY.  \n"
         "writeSecGroupAddToOutputFile():  Calling mergeObjects() to merge secGroup and secMap \n"
         "mergeObjects():  FUNCTION ENTRY",
         "mergeObjects():  FUNCTION EXIT \n"
         "writeSecGroupAddToOutputFile():  Returning from mergeObjects() to merge secGroup and "
         "secMap \n"
         "writeSecGroupAddToOutputFile():  FUNCTION EXIT.  \n"});
}

TEST_F(WritersTest, AGroupWithoutADnEndsTheProcess) {
    const std::string error =
        "writeSecGroupAddToOutputFile():  ERROR:  secGroup_dn[0] is NULL.  EXITING.  \n";
    startTrace();
    EXPECT_EQ(failureOf(writeGroup), (Failure{{380928302}, error}));
    EXPECT_EQ(traced(), "writeSecGroupAddToOutputFile():  FUNCTION ENTRY.  \n" + error);
}

TEST_F(WritersTest, AGroupWithoutItsEntryOrMappingEndsTheProcessBehindItsDn) {
    const Failure expected = {
        {380928302},
        "writeSecGroupAddToOutputFile():  ERROR:  Passing a NULL pointer to mergeObjects() \n"};
    secGroup_dn.open(groupDn);
    fillRow(secGroup_matrix, 0, {"dn: old\n"});
    startTrace();
    EXPECT_EQ(failureOf(writeGroup), expected);
    EXPECT_EQ(traced(), "writeSecGroupAddToOutputFile():  FUNCTION ENTRY.  \n" + expected.echo);
    freeSecGroup(0);
    fillRow(secMap_for_secGroup_matrix, 0, {"dn: map\n"});
    EXPECT_EQ(failureOf(writeGroup), expected);
    openOutput();
    endingOf([] { writeGroup(); });
    EXPECT_EQ(output(), groupDn);
}

TEST_F(WritersTest, AGroupThatTheOutputHasNoSpaceForFails) {
    setGroup();
    expectFailingWrites(writeGroup, (groupDn + "cn: g\nb: 2\n\n").size(),
                        "writeSecGroupAddToOutputFile():  fputs() failed with rc=-1 \n");
}

}  // namespace
