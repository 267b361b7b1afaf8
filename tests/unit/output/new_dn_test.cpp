#include "output/new_dn.h"

#include <gmock/gmock.h>

#include "cache/object_cache.h"
#include "support/cache_fixture.h"
#include "support/failure.h"

namespace {

using testing::EndsWith;

class NewDnTest : public CacheFixture {
protected:
    // The result of the principal-name finder for the row `lines`, and the name found.
    static std::pair<int, std::string> findPrincipalName(
        std::initializer_list<std::string_view> lines) {
        freeSecUser(0);
        fillRow(secUser_matrix, 0, lines);
        principalName = "old";
        const int result = learnPrincipalNameFromSecUserObject(0);
        return {result, principalName};
    }
    static std::pair<int, std::string> findCn(std::initializer_list<std::string_view> lines) {
        freeSecGroup(0);
        fillRow(secGroup_matrix, 0, lines);
        cnFromSecGroupObject = "old";
        const int result = learnCNFromSecGroupObject(0);
        return {result, cnFromSecGroupObject};
    }

    // The new DN line of a user, group or policy named jdoe with the old DN given.
    static std::string newUserDn(std::string_view ownerDn) {
        initializeAllArrays();
        fillRow(secUser_matrix, 0, {"dn: cn=jdoe\n", "principalName: jdoe\n"});
        secUser_dn.open(ownerDn);
        EXPECT_EQ(createNewSecUserDN(0), 0);
        return std::string(secUser_dn.dn(0));
    }
    static std::string newGroupDn(std::string_view ownerDn) {
        initializeAllArrays();
        fillRow(secGroup_matrix, 0, {"dn: o=staff\n", "cn: staff\n"});
        secGroup_dn.open(ownerDn);
        EXPECT_EQ(createNewSecGroupDN(0), 0);
        return std::string(secGroup_dn.dn(0));
    }
    static void setPolicy(std::string_view dn) {
        initializeAllArrays();
        fillRow(secUser_matrix, 0, {"dn: cn=jdoe\n", "principalName: jdoe\n"});
        setPolicyDn(0, dn);
    }
    static std::string newPolicyDn(std::string_view dn) {
        setPolicy(dn);
        EXPECT_EQ(createNewSecPolicyDN(0), 0);
        return std::string(secPolicyDN(0));
    }
};

using Found = std::pair<int, std::string>;

// ---- The naming values

TEST_F(NewDnTest, APrincipalNameLosesLeadingSpacesAndItsLineEndAlone) {
    EXPECT_EQ(findPrincipalName({"dn: cn=x\n", "principalName:   jdoe  \r\n"}), Found(0, "jdoe  "));
    EXPECT_EQ(findPrincipalName({"principalName:\tjdoe"}), Found(0, "\tjdoe"));
    EXPECT_EQ(findPrincipalName({"principalName: j\rdoe\n"}), Found(0, "j"));
}

TEST_F(NewDnTest, TheFirstLineWithEitherSpellingNamesThePrincipal) {
    EXPECT_EQ(findPrincipalName({"principalname: b\n", "principalName: a\n"}), Found(0, "b"));
    EXPECT_EQ(findPrincipalName({"x: principalname: b principalName: a\n"}), Found(0, "a"));
    EXPECT_EQ(findPrincipalName({"oldprincipalName: c\n", "principalName: a\n"}), Found(0, "c"));
    EXPECT_EQ(findPrincipalName({"principalName: \n", "principalName: a\n"}), Found(-1, ""));
}

TEST_F(NewDnTest, WithoutAPrincipalNameTheFinderFails) {
    EXPECT_EQ(findPrincipalName({"dn: cn=x\n", "PrincipalName: a\n", "PRINCIPALNAME: b\n"}),
              Found(-1, ""));
    EXPECT_EQ(findPrincipalName({"principalName:   \r\n"}), Found(-1, ""));
    EXPECT_EQ(findPrincipalName({}), Found(-1, ""));
}

TEST_F(NewDnTest, AnotherSpellingIsTheProblemOfAName) {
    EXPECT_EQ(nameProblemOfUser(entryOf({"dn: cn=x\n", "PRINCIPALNAME: jdoe\n"})),
              "has its principalName spelled \"PRINCIPALNAME\"; write \"principalName\"");
    EXPECT_EQ(nameProblemOfGroup(entryOf({"dn: o=x\n", "Cn: staff\n"})),
              "has its cn spelled \"Cn\"; write \"cn\"");
}

TEST_F(NewDnTest, AnEmptyAttributeIsTheProblemOfAName) {
    EXPECT_EQ(nameProblemOfUser(entryOf({"dn: cn=x\n", "PRINCIPALNAME: a\n", "principalname: \n"})),
              "has no name behind the first \"principalName:\" or \"principalname:\" in it");
    EXPECT_EQ(nameProblemOfGroup(entryOf({"dn: o=x\n", "CN:\r\n", "cn: a\n"})),
              "has no name behind the first \"cn:\" or \"CN:\" in it");
}

TEST_F(NewDnTest, AMissingAttributeHasNoFurtherProblem) {
    EXPECT_EQ(nameProblemOfUser(entryOf({"dn: cn=x\n", "oldPRINCIPALNAME: a\n"})), "");
    EXPECT_EQ(nameProblemOfGroup(entryOf({"dn: o=x\n", "sn: Cn: a\n"})), "");
    EXPECT_EQ(nameProblemOfUser({}), "");
}

TEST_F(NewDnTest, ACommonNameLosesLeadingSpacesAndItsLineEndAlone) {
    EXPECT_EQ(findCn({"dn: o=x\n", "cn:  staff \r\n"}), Found(0, "staff "));
    EXPECT_EQ(findCn({"cn:\tstaff"}), Found(0, "\tstaff"));
}

TEST_F(NewDnTest, TheFirstLineWithEitherSpellingNamesTheGroup) {
    EXPECT_EQ(findCn({"CN: b\n", "cn: a\n"}), Found(0, "b"));
    EXPECT_EQ(findCn({"x: CN: b cn: a\n"}), Found(0, "a"));
}

TEST_F(NewDnTest, TheNameOfAGroupMayBePartOfAnotherName) {
    EXPECT_EQ(findCn({"dn: o=x\n", "oldcn: a\n", "cn: b\n"}), Found(0, "a"));
    EXPECT_EQ(findCn({"dn: o=x\n", "description: see cn: a\n"}), Found(0, "a"));
}

TEST_F(NewDnTest, WithoutACommonNameTheFinderFails) {
    EXPECT_EQ(findCn({"dn: cn=x\n", "Cn: a\n", "cN: b\n"}), Found(-1, ""));
    EXPECT_EQ(findCn({"cn:  \n", "cn: a\n"}), Found(-1, ""));
    EXPECT_EQ(findCn({}), Found(-1, ""));
}

// ---- The new DN lines

TEST_F(NewDnTest, InTheDefaultDomain) {
    EXPECT_EQ(newUserDn("secAuthority=Default,cn=jdoe,ou=staff,o=example\n"),
              "dn: principalName=jdoe,cn=Users,secAuthority=default\n");
    EXPECT_EQ(newGroupDn("secAuthority=Default,cn=staff,o=example\n"),
              "dn: cn=staff,cn=Groups,secAuthority=default\n");
    EXPECT_EQ(newPolicyDn("cn=Policy,secAuthority=Default,cn=jdoe,o=example\n"),
              "dn: cn=Policy,cn=Policies,principalName=jdoe,cn=Users,secAuthority=default\n");
}

TEST_F(NewDnTest, InASubdomain) {
    EXPECT_EQ(newUserDn("secAuthority=sales,cn=jdoe,ou=staff,o=example\n"),
              "dn: principalName=jdoe,cn=Users,secAuthority=sales,cn=Subdomains,"
              "secAuthority=default\n");
    EXPECT_EQ(newGroupDn("SECauthority=Sales,cn=staff,o=example\n"),
              "dn: cn=staff,cn=Groups,SECauthority=Sales,cn=Subdomains,secAuthority=default\n");
    EXPECT_EQ(newPolicyDn("cn=Policy,SECauthority=Sales,cn=jdoe,o=example\n"),
              "dn: cn=Policy,cn=Policies,principalName=jdoe,cn=Users,SECauthority=Sales,"
              "cn=Subdomains,secAuthority=default\n");
}

TEST_F(NewDnTest, TheDefaultDomainIsFoundInAnyCaseAnywhereAndAsAPartOfAName) {
    const std::string expected = "dn: principalName=jdoe,cn=Users,secAuthority=default\n";
    EXPECT_EQ(newUserDn("secAuthority=DEFAULT,cn=x\n"), expected);
    EXPECT_EQ(newUserDn("cn=x,SECAUTHORITY=default\n"), expected);
    EXPECT_EQ(newUserDn("secAuthority=defaulttest,cn=x\n"), expected);
}

TEST_F(NewDnTest, ADnBelowSubdomainsIsInASubdomain) {
    EXPECT_EQ(newUserDn("secAuthority=Default,cn=x,CN=SUBDOMAINS,o=y\n"),
              "dn: principalName=jdoe,cn=Users,secAuthority=Default,cn=Subdomains,"
              "secAuthority=default\n");
    EXPECT_EQ(newGroupDn("secAuthority=Default,cn=x,cn=Subdomains,o=y\n"),
              "dn: cn=staff,cn=Groups,secAuthority=Default,cn=Subdomains,secAuthority=default\n");
    EXPECT_EQ(newPolicyDn("cn=Policy,secAuthority=Default,cn=x,cn=Subdomains,o=y\n"),
              "dn: cn=Policy,cn=Policies,principalName=jdoe,cn=Users,secAuthority=Default,"
              "cn=Subdomains,secAuthority=default\n");
}

TEST_F(NewDnTest, TheDomainOfUsersAndGroupsIsTheFirstComponentWhateverItIs) {
    EXPECT_EQ(newUserDn("ou=x,secAuthority=sales\n"),
              "dn: principalName=jdoe,cn=Users,ou=x,cn=Subdomains,secAuthority=default\n");
    EXPECT_EQ(newGroupDn("ou=x,secAuthority=sales\n"),
              "dn: cn=staff,cn=Groups,ou=x,cn=Subdomains,secAuthority=default\n");
}

TEST_F(NewDnTest, AnOwnerDnWithoutACommaIsTheDomainLineEndIncluded) {
    EXPECT_EQ(newUserDn("ou=x\n"),
              "dn: principalName=jdoe,cn=Users,ou=x\n,cn=Subdomains,secAuthority=default\n");
    EXPECT_EQ(newGroupDn("ou=x\n"),
              "dn: cn=staff,cn=Groups,ou=x\n,cn=Subdomains,secAuthority=default\n");
}

TEST_F(NewDnTest, TheDomainOfAPolicyBeginsAtTheFirstSecauthority) {
    EXPECT_EQ(newPolicyDn("cn=P,cn=xsecauthority,secAuthority=sales,cn=jdoe\n"),
              "dn: cn=Policy,cn=Policies,principalName=jdoe,cn=Users,secauthority,"
              "cn=Subdomains,secAuthority=default\n");
}

TEST_F(NewDnTest, TheOtherSlotsStayUnchanged) {
    secUser_dn.open("secAuthority=Default,cn=a\n");
    secUser_dn.open("secAuthority=Default,cn=b\n");
    fillRow(secUser_matrix, 1, {"dn: cn=b\n", "principalName: b\n"});
    EXPECT_EQ(createNewSecUserDN(1), 0);
    EXPECT_EQ(secUser_dn.dn(0), "secAuthority=Default,cn=a\n");
    EXPECT_EQ(secUser_dn.dn(1), "dn: principalName=b,cn=Users,secAuthority=default\n");
}

TEST_F(NewDnTest, APolicySlotWithoutADnIsSkippedSilently) {
    debugError = true;
    std::string trace;
    EXPECT_EQ(outputOf([&] { trace = traceOf([] { EXPECT_EQ(createNewSecPolicyDN(0), 0); }); }),
              "");
    EXPECT_EQ(trace, "");
    EXPECT_EQ(secPolicyDN(0), "");
}

// ---- Failures

const std::string principalError =
    "learnPrincipalNameFromSecUserObject():  ERROR: secUser principal name could not be found. \n"
    "                                               The input file may be corrupt.             \n";
// One space less than in the trace.
const std::string principalEcho =
    "learnPrincipalNameFromSecUserObject(): ERROR: secUser principal name could not be found. \n";
const std::string cnError =
    "learnCNFromSecGroupObject():  ERROR: secGroup cn could not be found. \n";

TEST_F(NewDnTest, AUserWithoutAPrincipalNameIsReported) {
    secUser_dn.open("cn=a\n");
    EXPECT_EQ(outputOf([] { EXPECT_EQ(createNewSecUserDN(0), -1); }), "");
    debugError = true;
    startTrace();
    EXPECT_EQ(outputOf([] { EXPECT_EQ(createNewSecUserDN(0), -1); }),
              principalEcho + "secUser is: null\n"
                              "createNewSecUserDN():  principalName for secUser: null  could not "
                              "be determined\n");
    EXPECT_EQ(traced(),
              "createNewSecUserDN():  FUNCTION ENTRY \n"
              "learnPrincipalNameFromSecUserObject(): FUNCTION ENTRY  \n" +
                  principalError +
                  "createNewSecUserDN():  learnPrincipalNameFromSecUserObject FAILED.  Returning "
                  "ERROR. \n");

    fillRow(secUser_matrix, 0, {"dn: cn=a\n", "a: b\n"});
    EXPECT_EQ(outputOf([] { EXPECT_EQ(createNewSecUserDN(0), -1); }),
              principalEcho + "secUser is: dn: cn=a\n\n"
                              "createNewSecUserDN():  principalName for secUser: dn: cn=a\n  could "
                              "not be determined\n");
    EXPECT_EQ(secUser_dn.dn(0), "cn=a\n");
}

TEST_F(NewDnTest, APolicyOfAUserWithoutAPrincipalNameIsReported) {
    setPolicyDn(0, "cn=Policy,cn=a\n");
    EXPECT_EQ(outputOf([] { EXPECT_EQ(createNewSecPolicyDN(0), -1); }), "");
    debugError = true;
    startTrace();
    EXPECT_EQ(outputOf([] { EXPECT_EQ(createNewSecPolicyDN(0), -1); }),
              principalEcho +
                  "secUser is: null\n"
                  "createNewSecPolicyDN():  learnPrincipalNameFromSecUserObject FAILED. ERROR. \n"
                  "createNewSecPolicyDN():  secPolicy_dn is: cn=Policy,cn=a\n\n");
    EXPECT_EQ(traced(),
              "createNewSecPolicyDN():  FUNCTION ENTRY \n"
              "learnPrincipalNameFromSecUserObject(): FUNCTION ENTRY  \n" +
                  principalError +
                  "createNewSecPolicyDN():  learnPrincipalNameFromSecUserObject FAILED.  Returning "
                  "ERROR. \n");
    EXPECT_EQ(secPolicyDN(0), "cn=Policy,cn=a\n");
}

TEST_F(NewDnTest, AGroupWithoutACommonNameIsReportedEvenWithoutEcho) {
    secGroup_dn.open("o=a\n");
    const std::string always = "createNewSecGroupDN():  learnCNFromSecGroupObject FAILED.\n"
                               "createNewSecGroupDN():  secGroup:  o=a\n\n";
    EXPECT_EQ(outputOf([] { EXPECT_EQ(createNewSecGroupDN(0), -1); }), always);
    debugError = true;
    startTrace();
    EXPECT_EQ(outputOf([] { EXPECT_EQ(createNewSecGroupDN(0), -1); }),
              cnError + "secGroup is: null\n" + always);
    EXPECT_EQ(traced(),
              "createNewSecGroupDN():  FUNCTION ENTRY \n"
              "learnCNFromSecGroupObject():  FUNCTION ENTRY \n" +
                  cnError +
                  "                                     The input file may be corrupt.  \n"
                  "createNewSecGroupDN():  learnCNFromSecGroupObject FAILED.  Returning ERROR. \n");

    fillRow(secGroup_matrix, 0, {"dn: o=a\n"});
    EXPECT_EQ(outputOf([] { EXPECT_EQ(createNewSecGroupDN(0), -1); }),
              cnError + "secGroup is: dn: o=a\n\n" + always);
    EXPECT_EQ(secGroup_dn.dn(0), "o=a\n");
}

TEST_F(NewDnTest, AGroupWithoutADnIsReportedAsNull) {
    EXPECT_EQ(outputOf([] { EXPECT_EQ(createNewSecGroupDN(0), -1); }),
              "createNewSecGroupDN():  learnCNFromSecGroupObject FAILED.\n"
              "createNewSecGroupDN():  secGroup:  null\n");
}

TEST_F(NewDnTest, APolicyOutsideTheDefaultDomainNeedsADomain) {
    setPolicy("cn=Policy,cn=jdoe\n");
    EXPECT_EQ(failureOf([] { createNewSecPolicyDN(0); }),
              (Failure{{380928302},
                       "createNewSecPolicyDN(): Missing secAuthority in dn: cn=Policy,cn=jdoe\n"
                       "\n"}));
}

TEST_F(NewDnTest, AMissingDomainOfAPolicyIsNotTraced) {
    setPolicy("cn=Policy,cn=jdoe\n");
    startTrace();
    failureOf([] { createNewSecPolicyDN(0); });
    EXPECT_THAT(traced(), EndsWith("learnPrincipalNameFromSecUserObject(): FUNCTION EXIT  \n"));
}

TEST_F(NewDnTest, NothingBehindTheDomainOfAPolicyIsMalformed) {
    setPolicy("cn=Policy,secAuthority=sales\n");
    EXPECT_EQ(failureOf([] { createNewSecPolicyDN(0); }), (Failure{{380928302}, ""}));
}

TEST_F(NewDnTest, APolicyWithoutADnLineIsNotShown) {
    setPolicy("ssword: secret,cn=jdoe\n");
    fillRow(secPolicy_matrix, 0, {"password: secret,cn=jdoe\n"});
    EXPECT_THAT(endingOf([] { createNewSecPolicyDN(0); }).errors,
                testing::HasSubstr("the policy (no DN line; ldif-migrate-check reports "
                                   "its line number) has no secAuthority in its DN. "));
}

TEST_F(NewDnTest, WithoutMemoryTheProcessEnds) {
    setPolicy("cn=Policy,secAuthority=Default,cn=jdoe\n");
    secUser_dn.open("secAuthority=Default,cn=jdoe,o=organisation\n");
    secGroup_dn.open("secAuthority=Default,cn=jdoe,o=organisation\n");
    fillRow(secGroup_matrix, 0, {"dn: o=staff\n", "cn: staff\n"});
    EXPECT_THAT(
        lastTracesWithoutMemory([] { createNewSecUserDN(0); }),
        testing::ElementsAre("createNewSecUserDN():  ERROR:  malloc() failure.  Exiting. \n"));
    EXPECT_THAT(
        lastTracesWithoutMemory([] { createNewSecGroupDN(0); }),
        testing::ElementsAre("createNewSecGroupDN():  ERROR:  malloc() failure.  Exiting. \n"));
    EXPECT_THAT(
        lastTracesWithoutMemory([] { createNewSecPolicyDN(0); }),
        testing::ElementsAre("createNewSecPolicyDN():  ERROR:  malloc() failure.  Exiting. \n"));
}

// ---- Traces

// The trace of the principal-name finder for a row of slot 1 whose second line names jdoe.
const std::string finderTrace =
    "learnPrincipalNameFromSecUserObject(): FUNCTION ENTRY  \n"
    "learnPrincipalNameFromSecUserObject(): secUser_matrix[1][0] = dn: cn=x\n"
    "learnPrincipalNameFromSecUserObject(): secUser_matrix[1][1] = principalName: jdoe\r\n"
    "learnPrincipalNameFromSecUserObject():  The principalName found is:  jdoe\r\n \n"
    "learnPrincipalNameFromSecUserObject():  The modified principalName becomes:  jdoe \n"
    "learnPrincipalNameFromSecUserObject():  The secUser principal name is:  jdoe \n"
    "learnPrincipalNameFromSecUserObject(): FUNCTION EXIT  \n";

TEST_F(NewDnTest, ANewUserDnIsTraced) {
    secUser_dn.open("cn=other\n");
    secUser_dn.open("secAuthority=Default,cn=x\n");
    fillRow(secUser_matrix, 1, {"dn: cn=x\n", "principalName: jdoe\r\n", "a: b\n"});
    EXPECT_EQ(traceOf([] { createNewSecUserDN(1); }),
              "createNewSecUserDN():  FUNCTION ENTRY \n"
              "  secUser_matrix[1][0] = dn: cn=x\n"
              "  secUser_matrix[1][1] = principalName: jdoe\r\n"
              "  secUser_matrix[1][2] = a: b\n" +
                  finderTrace +
                  "createNewSecUserDN():  The output DN is:  dn: "
                  "principalName=jdoe,cn=Users,secAuthority=default\n \n"
                  "createNewSecUserDN():  FUNCTION EXIT \n");
}

TEST_F(NewDnTest, ANewPolicyDnIsTraced) {
    setPolicyDn(1, "cn=Policy,secAuthority=Default,cn=x\n");
    fillRow(secUser_matrix, 1, {"dn: cn=x\n", "principalName: jdoe\r\n", "a: b\n"});
    EXPECT_EQ(traceOf([] { createNewSecPolicyDN(1); }),
              "createNewSecPolicyDN():  FUNCTION ENTRY \n" + finderTrace +
                  "createNewSecPolicyDN():  The output DN is:  dn: cn=Policy,cn=Policies,"
                  "principalName=jdoe,cn=Users,secAuthority=default\n \n"
                  "createNewSecPolicyDN():  FUNCTION EXIT \n");
}

TEST_F(NewDnTest, ANewGroupDnIsTraced) {
    secGroup_dn.open("secAuthority=Default,cn=x\n");
    fillRow(secGroup_matrix, 0, {"dn: o=x\n", "cn: staff\n"});
    EXPECT_EQ(traceOf([] { createNewSecGroupDN(0); }),
              "createNewSecGroupDN():  FUNCTION ENTRY \n"
              "learnCNFromSecGroupObject():  FUNCTION ENTRY \n"
              "learnCNFromSecGroupObject():  The secGroup cn is:  staff \n"
              "learnCNFromSecGroupObject():  FUNCTION EXIT \n"
              "createNewSecGroupDN():  The output DN is:  dn: "
              "cn=staff,cn=Groups,secAuthority=default\n \n"
              "createNewSecGroupDN():  FUNCTION EXIT \n");
}

}  // namespace
