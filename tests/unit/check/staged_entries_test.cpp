#include "check/staged_entries.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "check/digest.h"
#include "check/owner_records.h"
#include "ldif/entry_reader.h"
#include "support/scan_fixture.h"

namespace {

std::vector<ExpectedEntry> passed;

void notePassed(const ExpectedEntry& expected) {
    passed.push_back(expected);
}

class StagedEntriesTest : public ScanFixture {
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

const std::string policyStart =
    "dn: cn=Policy,secAuthority=Default,cn=a\nobjectClass: secPolicy\nnote: ";
const std::string groupStart =
    "dn: secAuthority=Default,cn=g\nobjectClass: secGroup\ncn: g\nnote: ";

// A value that is folded, so that only its attribute is too long.
std::string folded(std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; i += 70) {
        text += std::string(70, 'x') + "\n ";
    }
    return text + "y\n";
}

TEST_F(StagedEntriesTest, AnEntryIsExpectedUnfoldedAndWithoutItsIdentifier) {
    scan("# c\ndn: cn=a\nobjectClass: person\ncn: a\n b\nkvo-entryuuid: 1\n",
         {.passedThrough = notePassed});
    ASSERT_EQ(passed.size(), 1U);
    EXPECT_EQ(passed[0].lines, chainOf({"dn: cn=a", "objectClass: person", "cn: ab"}));
    EXPECT_EQ(passed[0].offset, 4);
    EXPECT_FALSE(passed[0].addsInstallDate);
    EXPECT_EQ(ruleLines[static_cast<std::size_t>(Rule::ENTRY_IDENTIFIERS)], 1U);
}

TEST_F(StagedEntriesTest, AnInstallationDateThatIsAddedIsNoPartOfTheLinesExpected) {
    scan("dn: secAuthority=Default\nobjectClass: secAuthorityInfo\nsecAuthority: Default\n",
         {.passedThrough = notePassed});
    ASSERT_EQ(passed.size(), 1U);
    EXPECT_EQ(passed[0].lines, chainOf({"dn: secAuthority=Default", "objectClass: secAuthorityInfo",
                                        "secAuthority: Default"}));
    EXPECT_TRUE(passed[0].addsInstallDate);
}

TEST_F(StagedEntriesTest, ClassesInOtherSpellingsAreReported) {
    for (const std::string line :
         {"objectClass: SECUSER", "objectclass:secMap", "OBJECTCLASS: secGroup",
          "objectClass:: c2VjVXNlcg==", "objectClass:\tsecResCreds"}) {
        beginFindings(10);
        scan("dn: cn=a\nobjectClass: top\n" + line + "\n");
        EXPECT_EQ(typesFound(), "class-not-recognised ") << line;
        EXPECT_EQ(shown(FindingType::CLASS_NOT_RECOGNISED).front().line, 3) << line;
    }
}

TEST_F(StagedEntriesTest, ClassesThatOnlyHoldTheNameOfOneAreFine) {
    scan("dn: cn=a\nobjectClass: mySECUSER\nobjectClass:: AAAA\n");
    EXPECT_EQ(typesFound(), "");
}

TEST_F(StagedEntriesTest, AnEntryThatHasTheNewDnOfAUserIsReported) {
    scan("dn: principalName=ann,cn=users,secAuthority=DEFAULT\nobjectClass: person\n\n"
         "dn: secUUID=1,cn=Users,secAuthority=Default\nobjectClass: secMap\nsecDN: cn=a\n\n"
         "dn: secAuthority=Default,cn=a\nobjectClass: secUser\nsecAuthority: Default\n"
         "principalName: ann\n");
    EXPECT_EQ(typesFound(), "same-new-name ");
    EXPECT_EQ(shown(FindingType::SAME_NEW_NAME).front().line, 1);
}

TEST_F(StagedEntriesTest, AnEntryComesBackUnfoldedAndAdjusted) {
    scan("dn: secAuthority=Default,\n cn=g\nobjectClass: secGroup\ncn: g\nsecuuid: 1\nsecdn: a , "
         "b\n");
    const std::optional<Entry> entry = stagedEntryAt(0);
    ASSERT_TRUE(entry);
    EXPECT_EQ(
        entry->text(),
        "dn: secAuthority=Default,cn=g\nobjectClass: secGroup\ncn: g\nsecUUID: 1\nsecdn: a,b\n");
}

TEST_F(StagedEntriesTest, AnEntryThatIsSplitDoesNotComeBack) {
    scan(groupStart + folded(5000));
    EXPECT_FALSE(stagedEntryAt(0));
}

TEST_F(StagedEntriesTest, ALongAttributeEndsTheMergeOfAGroup) {
    scan(groupStart + folded(5000));
    EXPECT_EQ(typesFound(), "group-without-mapping long-attribute ");
    EXPECT_EQ(shown(FindingType::LONG_ATTRIBUTE).front().line, 4);
}

TEST_F(StagedEntriesTest, ALongAttributeOfAPolicyIsWrittenUnchanged) {
    scan(policyStart + folded(5000));
    EXPECT_EQ(typesFound(), "policy-without-user ");
}

// Its first piece fills a line of the work file, whose line feed then is a line of its own: an
// empty one.
TEST_F(StagedEntriesTest, ALongLineSplitsEvenAPolicy) {
    scan(policyStart + std::string(5000, 'x') + '\n');
    EXPECT_EQ(typesFound(), "policy-without-user long-attribute ");
}

TEST_F(StagedEntriesTest, AChangeTypeCountsInRegroupedEntriesAlone) {
    scan("dn: cn=a\nchangetype: add\nobjectClass: person\n");
    EXPECT_FALSE(changetypeSeen);
    scan("dn: cn=Policy,secAuthority=Default,cn=a\nchangetype: add\nobjectClass: secPolicy\n");
    EXPECT_TRUE(changetypeSeen);
    scan("dn: cn=a\nobjectClass: person\n");
    EXPECT_FALSE(changetypeSeen);
}

// A value that is folded, so that only its attribute is too long, and that holds `text` from byte
// `offset` of that attribute on.
std::string foldedWith(std::string_view name, std::size_t offset, std::string_view text) {
    std::string attribute(name);
    attribute += ": ";
    attribute += std::string(offset - attribute.size(), 'x');
    attribute += text;
    for (std::size_t i = 70; i < attribute.size(); i += 72) {
        attribute.insert(i, "\n ");
    }
    return attribute + '\n';
}

TEST_F(StagedEntriesTest, AChangeTypeCountsUnlessItIsDivided) {
    for (const bool isDivided : {false, true}) {
        const std::size_t offset = isDivided ? 4090 : 4095;
        scan("dn: cn=Policy,secAuthority=Default,cn=a\nobjectClass: secPolicy\n" +
             foldedWith("note", offset, "changetype: y"));
        EXPECT_EQ(changetypeSeen, !isDivided);
    }
}

TEST_F(StagedEntriesTest, AChangeTypeInAPieceThatLooksLikeACommentCounts) {
    scan("dn: cn=Policy,secAuthority=Default,cn=a\nobjectClass: secPolicy\n" +
         foldedWith("note", 4095, "#changetype: y"));
    EXPECT_TRUE(changetypeSeen);
}

std::uint64_t credentialLines;

TEST_F(StagedEntriesTest, AFilteredNameThatIsDividedDropsNothing) {
    const std::string start = "dn: cn=a,cn=ResCreds,o=b\nobjectClass: secResCreds\n";
    const std::string name = "note: ";
    const std::string value = std::string(4093 - name.size(), 'x') + "acl: y";
    scan(start + foldedWith("note", 4093, "acl: y"),
         {.credential = [](const ExpectedEntry& expected) { credentialLines = expected.lines; }});
    EXPECT_EQ(typesFound(), "");
    EXPECT_EQ(credentialLines,
              chainOf({"dn: cn=a,cn=ResCreds,o=b", "objectClass: secResCreds", name + value}));
}

TEST_F(StagedEntriesTest, AFilteredNameInAPieceDropsThePiece) {
    scan("dn: cn=a,cn=ResCreds,o=b\nobjectClass: secResCreds\n" +
             foldedWith("note", 4095, "acl: y\nlast: 1"),
         {.credential = [](const ExpectedEntry& expected) { credentialLines = expected.lines; }});
    EXPECT_EQ(typesFound(), "long-attribute-broken ");
    // The rest of the line is not separated from the next one.
    EXPECT_EQ(credentialLines, chainOf({"dn: cn=a,cn=ResCreds,o=b", "objectClass: secResCreds",
                                        "note: " + std::string(4095 - 6, 'x') + "last: 1"}));
}

// The new DN replaces only its first piece.
TEST_F(StagedEntriesTest, ALongDnOfAPolicyIsSplit) {
    scan(foldedWith("dn", 4095, "y").replace(4, 40, "cn=Policy,secAuthority=Default,cn=aaaaaa") +
         "objectClass: secPolicy\n");
    EXPECT_EQ(typesFound(), "policy-without-user long-attribute-broken ");
}

std::string oversized() {
    std::string text = "dn: cn=a\n";
    for (int i = 0; i < 250'000; ++i) {
        text += "x:\n";
    }
    return text;
}

TEST_F(StagedEntriesTest, OnlyTheEndOfTheExportLeavesAnOversizedEntryWithoutAnEmptyLine) {
    for (const std::string end : {"", "\n"}) {
        beginFindings(10);
        scan(oversized() + end);
        EXPECT_EQ(typesFound(), "too-many-lines ");
        const std::string effect = shown(FindingType::TOO_MANY_LINES).front().effect;
        EXPECT_EQ(effect.ends_with("directly after it"), end.empty());
    }
}

}  // namespace
