#include "entry/object_class.h"

#include <gtest/gtest.h>

#include <string>

#include "entry/text.h"
#include "support/entry_fixture.h"

namespace {

class ObjectClassFixture : public EntryFixture {
protected:
    static int classOf(std::initializer_list<std::string_view> lines) {
        setObject(lines);
        determineTheObjectsObjectClass();
        return objectClass;
    }
};

struct Kind {
    int code;
    const char* mixedCase;
    const char* otherCase;
    const char* dnLine;
    const char* traceText;
};

constexpr Kind kinds[] = {
    {0, "person", "top", "dn: cn=a\n", "UNINTERESTING_OBJECTCLASS  "},
    {1, "secUser", "secuser", "dn: cn=a\n", "SECUSER_OBJECTCLASS  "},
    {2, "secPolicyData", "secpolicydata", "dn: cn=a\n", "SECPOLICYDATA_OBJECTCLASS  "},
    {3, "secPolicy", "secpolicy", "dn: cn=a\n", "SECPOLICY_OBJECTCLASS  "},
    {4, "secGroup", "secgroup", "dn: cn=a\n", "SECGROUP_OBJECTCLASS  "},
    {5, "secMap", "secmap", "dn: cn=a\n", "SECMAP_OBJECTCLASS  "},
    {6, "secAuthorityInfo", "secauthorityinfo", "dn: cn=a\n", "SECAUTHORITYINFO_OBJECTCLASS  "},
    {7, "container", "Container", "dn: cn=ResCreds,cn=x\n",
     "RESCREDS_CONTAINER (not really an object class) "},
    {7, "container", "Container", "dn: cn=a,cn=rescreds,cn=x\n",
     "RESCREDS_CONTAINER (not really an object class) "},
    {8, "secResCreds", "secrescreds", "dn: cn=a\n",
     "SECRESCREDS_OBJECTCLASS (not really an object class) "},
    {9, "container", "Container", "dn: cn=a\n", "CONTAINER_OBJECTCLASS "},
    {9, "container", "Container", "dn: cn=RESCREDS,cn=x\n", "CONTAINER_OBJECTCLASS "},
};

class EveryKind : public ObjectClassFixture, public testing::WithParamInterface<Kind> {};

TEST_P(EveryKind, IsNamedByBothSpellings) {
    const auto& [code, mixedCase, otherCase, dnLine, traceText] = GetParam();
    for (const std::string name : {mixedCase, otherCase}) {
        for (const std::string attribute : {"objectClass: ", "objectclass: "}) {
            EXPECT_EQ(classOf({dnLine, "objectClass: top\n", attribute + name + "\n"}), code);
            EXPECT_EQ(classOf({dnLine, attribute + name + "More\r\n"}), code) << "as a prefix";
        }
    }
}

TEST_P(EveryKind, IsTracedByItsName) {
    const auto& [code, mixedCase, otherCase, dnLine, traceText] = GetParam();
    startTrace();
    classOf({dnLine, std::string("objectClass: ") + mixedCase + "\n"});
    EXPECT_EQ(traced(), "\ndetermineTheObjectsObjectClass():    \n   The object class is " +
                            std::string(traceText) + "\n\n");
}

TEST_P(EveryKind, IsNotNamedByOtherCasesOrWithoutASpace) {
    const std::string name = GetParam().mixedCase;
    const auto& dnLine = GetParam().dnLine;
    std::string allCapitals = name;
    for (char& c : allCapitals) {
        c = static_cast<char>(std::toupper(c));
    }
    EXPECT_EQ(classOf({dnLine, "objectClass: " + allCapitals + "\n"}), 0);
    EXPECT_EQ(classOf({dnLine, "objectClass:" + name + "\n"}), 0);
    EXPECT_EQ(classOf({dnLine, "objectClass:\t" + name + "\n"}), 0);
}

INSTANTIATE_TEST_SUITE_P(Classes, EveryKind, testing::ValuesIn(kinds));

TEST_F(ObjectClassFixture, ClassMayPrecedeTheAttributeName) {
    setObject({"dn: cn=a\n", "description: secUser objectclass: top\n"});
    determineTheObjectsObjectClass();
    EXPECT_EQ(objectClass, SECUSER_OBJECTCLASS);
}

TEST_F(ObjectClassFixture, EmptyEntryIsUninteresting) {
    objectClass = SECUSER_OBJECTCLASS;
    EXPECT_EQ(classOf({}), 0);
}

TEST_F(ObjectClassFixture, SecUserWithACapitalIsNoUser) {
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectClass: SecUser\n"}), 0);
}

TEST_F(ObjectClassFixture, PolicyDataIsNeverAPolicy) {
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectClass: top\n", "objectClass: secPolicyData\n"}), 2);
}

TEST_F(ObjectClassFixture, FirstDecidingLineDecides) {
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectClass: secMap\n", "objectClass: secUser\n"}), 5);
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectClass: secUser\n", "objectClass: secMap\n"}), 1);
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectClass: container\n", "objectClass: secUser\n"}), 9);
}

TEST_F(ObjectClassFixture, WithinOneLineTheOrderOfTheTestsDecides) {
    // Each text is tried before all those to its left.
    std::string line = "objectClass:";
    const Kind order[] = {kinds[9], kinds[10], kinds[6], kinds[4],
                          kinds[5], kinds[3],  kinds[2], kinds[1]};
    for (const Kind& kind : order) {
        line += std::string(" ") + kind.mixedCase;
        EXPECT_EQ(classOf({"dn: cn=a\n", line + "\n"}), kind.code) << line;
    }
}

TEST_F(ObjectClassFixture, ValueOfAnyAttributeMayNameTheClass) {
    EXPECT_EQ(classOf({"dn: cn=a\n", "description: objectclass: secUser\n"}), 1);
}

TEST_F(ObjectClassFixture, LinesWithoutTheAttributeNameAreIgnored) {
    EXPECT_EQ(classOf({"dn: cn=a\n", "description: secUser\n"}), 0);
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectClass: top\n", " secUser\n"}), 0);
}

TEST_F(ObjectClassFixture, OtherSpellingsOfTheAttributeNameAreIgnored) {
    EXPECT_EQ(classOf({"dn: cn=a\n", "ObjectClass: secUser\n", "OBJECTCLASS: secUser\n"}), 0);
}

TEST_F(ObjectClassFixture, OnlyTheFirstLineMakesAContainerOneOfResourceCredentials) {
    EXPECT_EQ(classOf({"dn: cn=a\n", "cn=ResCreds\n", "objectClass: container\n"}), 9);
}

TEST_F(ObjectClassFixture, AttributeNameHasTwoSpellingsAndMayEndALongerOne) {
    EXPECT_TRUE(isObjectClassName("objectClass:"));
    EXPECT_TRUE(isObjectClassName("description: objectclass:"));
    EXPECT_FALSE(isObjectClassName("ObjectClass:"));
    EXPECT_FALSE(isObjectClassName("objectClass"));
}

TEST_F(ObjectClassFixture, FirstWordsOfOtherKindsHideNothing) {
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectclass: top  x secuser\n"}), SECUSER_OBJECTCLASS);
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectclass: Xcontainer Container\n"}),
              CONTAINER_OBJECTCLASS);
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectclass: top \n"}), UNINTERESTING_OBJECTCLASS);
    EXPECT_EQ(classOf({"dn: cn=a\n", "objectclass:secUser"}), UNINTERESTING_OBJECTCLASS);
}

TEST(ClassNamed, FindsTheClassesThatALineCanNameInAnyCase) {
    ASSERT_NE(classNamed("SECuser"), nullptr);
    EXPECT_EQ(classNamed("SECuser")->code, SECUSER_OBJECTCLASS);
    ASSERT_NE(classNamed("container"), nullptr);
    EXPECT_EQ(classNamed("container")->code, CONTAINER_OBJECTCLASS);
    EXPECT_EQ(classNamed("secUsers"), nullptr);
    EXPECT_EQ(classNamed("other"), nullptr);
    EXPECT_EQ(classNamed("resCredsContainer"), nullptr);
    EXPECT_EQ(classNamed(""), nullptr);
}

TEST(ClassTable, SpellsEachClassByItsNameAndInBase64) {
    for (const ClassNames& names : classTable) {
        if (!names.spelling.empty()) {
            EXPECT_EQ(names.spelling, " " + std::string(names.name));
            EXPECT_TRUE(equalIgnoringCase(names.spelling, names.otherSpelling));
        }
        if (!names.base64.empty()) {
            EXPECT_EQ(names.base64.size(), (names.name.size() + 2) / 3 * 4) << names.name;
        }
    }
}

}  // namespace
