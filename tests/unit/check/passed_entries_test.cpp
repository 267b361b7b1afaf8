#include "check/passed_entries.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "check/digest.h"
#include "check/owner_records.h"
#include "support/scan_fixture.h"

namespace {

std::vector<ExpectedEntry> passed;

void notePassed(const ExpectedEntry& expected) {
    passed.push_back(expected);
}

class PassedEntriesTest : public ScanFixture {
protected:
    void SetUp() override {
        ScanFixture::SetUp();
        passed.clear();
    }
    static std::uint64_t chainOf(std::initializer_list<std::string_view> lines) {
        LinesDigest digest;
        for (const std::string_view line : lines) {
            digest.add(digestOfLine(line));
        }
        return digest.chain;
    }
};

TEST_F(PassedEntriesTest, AnEntryIsExpectedUnfoldedAndWithoutItsIdentifier) {
    scan("# c\ndn: cn=a\nobjectClass: person\ncn: a\n b\nkvo-entryuuid: 1\n",
         {.passedThrough = notePassed});
    ASSERT_EQ(passed.size(), 1U);
    EXPECT_EQ(passed[0].lines, chainOf({"dn: cn=a", "objectClass: person", "cn: ab"}));
    EXPECT_EQ(passed[0].offset, 4);
    EXPECT_FALSE(passed[0].addsInstallDate);
    EXPECT_EQ(ruleLines[static_cast<std::size_t>(Rule::ENTRY_IDENTIFIERS)], 1U);
}

TEST_F(PassedEntriesTest, AnInstallationDateThatIsAddedIsNoPartOfTheLinesExpected) {
    scan("dn: secAuthority=Default\nobjectClass: secAuthorityInfo\nsecAuthority: Default\n",
         {.passedThrough = notePassed});
    ASSERT_EQ(passed.size(), 1U);
    EXPECT_EQ(passed[0].lines, chainOf({"dn: secAuthority=Default", "objectClass: secAuthorityInfo",
                                        "secAuthority: Default"}));
    EXPECT_TRUE(passed[0].addsInstallDate);
}

TEST_F(PassedEntriesTest, ClassesInOtherSpellingsAreTold) {
    for (const std::string line :
         {"objectClass: SECUSER", "objectclass:secMap", "OBJECTCLASS: secGroup",
          "objectClass:: c2VjVXNlcg==", "objectClass:\tsecResCreds"}) {
        beginFindings(10);
        scan("dn: cn=a\nobjectClass: top\n" + line + "\n");
        EXPECT_EQ(typesFound(), "class-not-recognised ") << line;
        EXPECT_EQ(shown(FindingType::CLASS_NOT_RECOGNISED).front().line, 3) << line;
    }
}

TEST_F(PassedEntriesTest, ClassesThatOnlyHoldTheNameOfOneAreFine) {
    scan("dn: cn=a\nobjectClass: mySECUSER\nobjectClass:: AAAA\n");
    EXPECT_EQ(typesFound(), "");
}

TEST_F(PassedEntriesTest, AnEntryThatHasTheNewDnOfAUserIsTold) {
    scan("dn: principalName=ann,cn=users,secAuthority=DEFAULT\nobjectClass: person\n\n"
         "dn: secUUID=1,cn=Users,secAuthority=Default\nobjectClass: secMap\nsecDN: cn=a\n\n"
         "dn: secAuthority=Default,cn=a\nobjectClass: secUser\nsecAuthority: Default\n"
         "principalName: ann\n");
    EXPECT_EQ(typesFound(), "same-new-name ");
    EXPECT_EQ(shown(FindingType::SAME_NEW_NAME).front().line, 1);
}

}  // namespace
