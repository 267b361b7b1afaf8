#include <gmock/gmock.h>

#include "cache/object_cache.h"
#include "support/owner_fixture.h"

namespace {

using testing::Contains;

class OwnerReportsTest : public OwnerFixture {};

// ---- Recording a policy's DN

TEST_F(OwnerReportsTest, APolicysDnIsRecordedInItsSlot) {
    setObject({"dn:  cn=Policy,cn=a\n"});
    copySecPolicyDNFromObjectArrayToSecPolicyDNArray(2);
    EXPECT_EQ(secPolicyDN(2), "cn=Policy,cn=a\n");
    EXPECT_EQ(secPolicyDN(0), "");
    EXPECT_EQ(linesOf(object), Row{"dn:  cn=Policy,cn=a\n"});

    setObject({"dn: cn=Policy,cn=b"});
    copySecPolicyDNFromObjectArrayToSecPolicyDNArray(2);
    EXPECT_EQ(secPolicyDN(2), "cn=Policy,cn=b");
}

TEST_F(OwnerReportsTest, RecordingAPolicysDnIsTraced) {
    setObject({"dn: cn=Policy,cn=a\n"});
    EXPECT_EQ(traceOf([] { copySecPolicyDNFromObjectArrayToSecPolicyDNArray(2); }),
              "   The secPolicy dn copied was:   cn=Policy,cn=a\n \n"
              "   The secGroup dn was copied to slot 2 \n");
}

TEST_F(OwnerReportsTest, RecordingAPolicysDnWithoutMemoryEndsTheProcess) {
    setObject({"dn: cn=Policy,secAuthority=Default,cn=somebody\n"});
    EXPECT_THAT(
        lastTracesWithoutMemory([] { copySecPolicyDNFromObjectArrayToSecPolicyDNArray(0); }),
        testing::ElementsAre("copySecPolicyDNFromObjectArrayToSecPolicyDNArray():  malloc() "
                             "failure.  EXITING. \n"));
}

// ---- Failures

TEST_F(OwnerReportsTest, OtherClassesHaveNoUser) {
    for (const ObjectClass kind :
         {UNINTERESTING_OBJECTCLASS, SECGROUP_OBJECTCLASS, SECAUTHORITYINFO_OBJECTCLASS,
          RESCREDS_CONTAINER, SECRESCREDS_OBJECTCLASS, CONTAINER_OBJECTCLASS}) {
        const std::string error =
            "learnIndexOfAssociatedSecUserDN():  ERROR: The object is not secPolicy, "
            "secPolicyData, secMap, or secUser.  objectClass = " +
            std::to_string(kind) + " \n";
        startTrace();
        EXPECT_EQ(failureOfUser(kind, {"dn: cn=a\n"}),
                  (Failure{{380928302}, error + "dn: dn: cn=a\n\n"}));
        EXPECT_EQ(traced(), "learnIndexOfAssociatedSecUserDN():  FUNCTION ENTRY \n" + error);
        EXPECT_EQ(failureOfUser(kind, {}), (Failure{{380928302}, error + "dn: null\n"}));
    }
}

TEST_F(OwnerReportsTest, OtherClassesHaveNoGroup) {
    for (const ObjectClass kind :
         {UNINTERESTING_OBJECTCLASS, SECUSER_OBJECTCLASS, SECPOLICYDATA_OBJECTCLASS,
          SECPOLICY_OBJECTCLASS, SECAUTHORITYINFO_OBJECTCLASS, RESCREDS_CONTAINER,
          SECRESCREDS_OBJECTCLASS, CONTAINER_OBJECTCLASS}) {
        const std::string error =
            "learnIndexOfAssociatedSecGroupDN():  ERROR: The object is not secGroup or secMap.  "
            "objectClass = " +
            std::to_string(kind) + " \n";
        const std::string label = "learnIndexOfAssociatedSecGroupDN():  object = ";
        startTrace();
        EXPECT_EQ(failureOfGroup(kind, {"dn: cn=a\n"}),
                  (Failure{{380928302}, error + label + "dn: cn=a\n\n"}));
        EXPECT_EQ(traced(), "learnIndexOfAssociatedSecGroupDN():  FUNCTION ENTRY \n" + error);
        EXPECT_EQ(failureOfGroup(kind, {}), (Failure{{380928302}, error + label + "null\n"}));
    }
}

TEST_F(OwnerReportsTest, AUsersEntryNeedsItsDomainAndItsDn) {
    const std::string_view dn = "dn: cn=j,cn=Users,secAuthority=Default\n";
    EXPECT_EQ(failureOfUser(SECUSER_OBJECTCLASS, {dn, "secDN: cn=j\n"}),
              (Failure{{380928302}, ""}));
    EXPECT_EQ(failureOfUser(SECUSER_OBJECTCLASS, {dn, "secAuthority: Default\n"}),
              (Failure{{380928302}, ""}));
}

TEST_F(OwnerReportsTest, AMappingOfAUserNeedsItsDomainAndTheDnThatItMaps) {
    const std::string error = "learnIndexOfAssociatedSecUserDN(): Missing secAuthority in dn: ";
    EXPECT_EQ(failureOfUser(SECMAP_OBJECTCLASS, {"dn: cn=1,cn=Users\n", "secDN: cn=j\n"}),
              (Failure{{380928302}, error + "cn=1,cn=Users\n"}));
    EXPECT_EQ(failureOfUser(SECMAP_OBJECTCLASS, {"dn: cn=Users,secAuthority=Default\n"}),
              (Failure{{380928302}, error + "cn=Users,secAuthority=Default\n"}));
    EXPECT_EQ(failureOfUser(SECMAP_OBJECTCLASS, {"secuuid: 1\n"}),
              (Failure{{380928302}, error + "null\n"}));
}

TEST_F(OwnerReportsTest, AMappingOfAGroupNeedsItsDomainFirstAndThenTheDnThatItMaps) {
    const std::string error = "learnIndexOfAssociatedSecGroupDN(): Missing secAuthority in dn: ";
    EXPECT_EQ(failureOfGroup(SECMAP_OBJECTCLASS, {"dn: cn=g\n"}),
              (Failure{{380928302}, error + "cn=g\n"}));
    EXPECT_EQ(failureOfGroup(SECMAP_OBJECTCLASS, {"secuuid: 1\n"}),
              (Failure{{380928302}, error + "null\n"}));
    EXPECT_EQ(failureOfGroup(SECMAP_OBJECTCLASS, {"dn: cn=g,secAuthority=Default\n"}),
              (Failure{{380928302}, ""}));
}

TEST_F(OwnerReportsTest, AMissingDomainOfAMappingIsNotTraced) {
    startTrace();
    failureOfUser(SECMAP_OBJECTCLASS, {"dn: cn=1\n", "secDN: cn=j\n"});
    EXPECT_THAT(traced(),
                testing::EndsWith("obtainAttributeValueFromObjArray():  FUNCTION EXIT \n"));
}

TEST_F(OwnerReportsTest, AnAssociationWithoutMemoryEndsTheProcess) {
    EXPECT_THAT(
        lastTracesWithoutMemory([] {
            userOf(SECMAP_OBJECTCLASS, {"dn: cn=1,cn=Users,secAuthority=Default,o=organisation\n",
                                        "secDN: cn=somebody,o=organisation\n"});
        }),
        Contains("obtainAttributeValueFromObjArray():  ERROR:  malloc() failure.  Exiting. \n"));
}

// ---- Traces

// The trace of a lookup that finds `value` on line `index`.
std::string lookup(std::string_view name, int index, std::string_view value) {
    return "obtainAttributeValueFromObjArray():  FUNCTION ENTRY \n"
           "    Seeking the value of attribute:  " +
           std::string(name) +
           "\n"
           "obtainAttributeValueFromObjArray(): \n"
           "   The attribute value at index " +
           std::to_string(index) + " returned is:   " + std::string(value) +
           " \n"
           "obtainAttributeValueFromObjArray():  FUNCTION EXIT \n";
}

TEST_F(OwnerReportsTest, AUsersEntryThatIsNotFoundIsTraced) {
    EXPECT_EQ(traceOf([] {
                  userOf(SECUSER_OBJECTCLASS, {"dn: cn=j,cn=Users,secAuthority=Default\n",
                                               "secAuthority: Def:x\n", "secDN: cn=j, o=x\n"});
              }),
              "learnIndexOfAssociatedSecUserDN():  FUNCTION ENTRY \n"
              "learnIndexOfAssociatedSecUserDN(): \n"
              "   The input object is a 'Users' SECUSER object \n" +
                  lookup("secAuthority", 1, "Def:x") + lookup("secDN", 2, "cn=j, o=x") +
                  "   secAuthority_attribute_value = Def:x \n"
                  "   secDN_attribute_value        = cn=j, o=x \n"
                  "   The input object is a 'Users' SECUSER object \n"
                  "   Its DN is  dn: cn=j,cn=Users,secAuthority=Default\n"
                  "   The computed saved_secUser_dn is:  secAuthority=Def,cn=j,o=x\n"
                  "   Its strlen is:  26 \n"
                  "\nlearnIndexOfAssociatedSecUserDN():  BEGIN SEARCH WITHIN secUser_dn ARRAY  \n"
                  "learnIndexOfAssociatedSecUserDN():  The SECUSER DN WAS NOT FOUND  \n"
                  "\nlearnIndexOfAssociatedSecUserDN():  FUNCTION EXIT \n");
}

TEST_F(OwnerReportsTest, AnOrdinaryUserThatIsFoundIsTraced) {
    secUser_dn.open("cn=b\n");
    secUser_dn.open("cn=a,o=x\n");
    EXPECT_EQ(traceOf([] { userOf(SECUSER_OBJECTCLASS, {"dn: cn=a, o=x\n"}); }),
              "learnIndexOfAssociatedSecUserDN():  FUNCTION ENTRY \n"
              "learnIndexOfAssociatedSecUserDN(): \n"
              "   The input object is an 'ordinary' SECUSER object \n"
              "learnIndexOfAssociatedSecUserDN(): \n"
              "   The input object is an ordinary  SECUSER object \n"
              "   Its DN is  dn: cn=a,o=x\n"
              "   The computed saved_secUser_dn is:  cn=a,o=x\n"
              "   Its strlen is:  9 \n"
              "\nlearnIndexOfAssociatedSecUserDN():  BEGIN SEARCH WITHIN secUser_dn ARRAY  \n"
              "learnIndexOfAssociatedSecUserDN():  The SECUSER DN WAS FOUND !!!  \n"
              "learnIndexOfAssociatedSecUserDN(): \n"
              "     The index returned is:    1 \n"
              "     The saved secUser dn is:  cn=a,o=x\n"
              "\nlearnIndexOfAssociatedSecUserDN():  FUNCTION EXIT \n");
}

TEST_F(OwnerReportsTest, PoliciesAndPolicyDataAreTraced) {
    const auto expected = [](const std::string& kind) {
        return "learnIndexOfAssociatedSecUserDN():  FUNCTION ENTRY \n"
               "learnIndexOfAssociatedSecUserDN(): \n"
               "   The input object is a " +
               kind +
               " object \n"
               "   Its DN is  dn: cn=P,cn=a\n"
               "   The computed saved_secUser_dn is:  cn=a \n"
               "   Its strlen is:  6 \n"
               "\nlearnIndexOfAssociatedSecUserDN():  BEGIN SEARCH WITHIN secUser_dn ARRAY  \n"
               "learnIndexOfAssociatedSecUserDN():  The SECUSER DN WAS NOT FOUND  \n"
               "\nlearnIndexOfAssociatedSecUserDN():  FUNCTION EXIT \n";
    };
    EXPECT_EQ(traceOf([] { userOf(SECPOLICY_OBJECTCLASS, {"dn: cn=P,cn=a \n"}); }),
              expected("SECPOLICY"));
    EXPECT_EQ(traceOf([] { userOf(SECPOLICYDATA_OBJECTCLASS, {"dn: cn=P,cn=a \n"}); }),
              expected("SECPOLICYDATA"));
}

TEST_F(OwnerReportsTest, AMappingOfAUserIsTraced) {
    EXPECT_EQ(traceOf([] {
                  userOf(SECMAP_OBJECTCLASS, {"dn: cn=Users,secAuthority=A\n", "secDN: cn=j\n"});
              }),
              "learnIndexOfAssociatedSecUserDN():  FUNCTION ENTRY \n"
              "learnIndexOfAssociatedSecUserDN(): \n"
              "   The input object is a SECMAP object \n" +
                  lookup("secdn", 1, "cn=j") + lookup("dn", 0, "cn=Users,secAuthority=A") +
                  "   Its DN is  dn: cn=Users,secAuthority=A\n"
                  "   The computed saved_secUser_dn is:  secAuthority=A,cn=j\n"
                  "   Its strlen is:  20 \n"
                  "\nlearnIndexOfAssociatedSecUserDN():  BEGIN SEARCH WITHIN secUser_dn ARRAY  \n"
                  "learnIndexOfAssociatedSecUserDN():  The SECUSER DN WAS NOT FOUND  \n"
                  "\nlearnIndexOfAssociatedSecUserDN():  FUNCTION EXIT \n");
}

TEST_F(OwnerReportsTest, AGroupThatIsFoundIsTracedWithEverySlotCompared) {
    secGroup_dn.open("cn=b\n");
    secGroup_dn.open("cn=g\n");
    secGroup_dn.open("cn=c\n");
    EXPECT_EQ(traceOf([] { groupOf(SECGROUP_OBJECTCLASS, {"dn: cn=g\n"}); }),
              "learnIndexOfAssociatedSecGroupDN():  FUNCTION ENTRY \n"
              "learnIndexOfAssociatedSecGroupDN(): \n"
              "   The input object is a SECGROUP object \n"
              "   Its DN is  dn: cn=g\n"
              "   The computed saved_secUser_dn is:  cn=g\n"
              "\nlearnIndexOfAssociatedSecGroupDN():  BEGIN SEARCH WITHIN secGroup_dn ARRAY  \n"
              "   secGroup_dn[0] =  cn=b\n \n"
              "   secGroup_dn[1] =  cn=g\n \n"
              "learnIndexOfAssociatedSecGroupDN():  The SECGROUP DN WAS FOUND !!!  \n"
              "learnIndexOfAssociatedSecGroupDN(): \n"
              "     The index returned is:     1 \n"
              "     The saved secGroup dn is:  cn=g\n"
              "learnIndexOfAssociatedSecGroupDN():  FUNCTION EXIT \n");
}

TEST_F(OwnerReportsTest, AMappingOfAGroupThatIsNotFoundIsTracedWithEverySlot) {
    secGroup_dn.open("cn=b\n");
    secGroup_dn.open("cn=c\n");
    EXPECT_EQ(traceOf([] {
                  groupOf(SECMAP_OBJECTCLASS, {"dn: cn=g,secAuthority=A\n", "secDN: cn=j\n"});
              }),
              "learnIndexOfAssociatedSecGroupDN():  FUNCTION ENTRY \n"
              "learnIndexOfAssociatedSecGroupDN(): \n"
              "   The input object is a SECMAP object \n" +
                  lookup("secDN", 1, "cn=j") + lookup("dn", 0, "cn=g,secAuthority=A") +
                  "   Its DN is  dn: cn=g,secAuthority=A\n"
                  "   The computed saved_secUser_dn is:  secAuthority=A,cn=j\n"
                  "\nlearnIndexOfAssociatedSecGroupDN():  BEGIN SEARCH WITHIN secGroup_dn ARRAY  \n"
                  "   secGroup_dn[0] =  cn=b\n \n"
                  "   secGroup_dn[1] =  cn=c\n \n"
                  "learnIndexOfAssociatedSecGroupDN():  The SECGROUP DN WAS NOT FOUND  \n"
                  "learnIndexOfAssociatedSecGroupDN():  FUNCTION EXIT \n");
}

}  // namespace
