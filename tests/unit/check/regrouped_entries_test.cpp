#include "check/regrouped_entries.h"

#include <gtest/gtest.h>

#include <string>

#include "support/scan_fixture.h"

namespace {

using RegroupedEntriesTest = ScanFixture;

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

TEST_F(RegroupedEntriesTest, AnEntryComesBackUnfoldedAndAdjusted) {
    scan("dn: secAuthority=Default,\n cn=g\nobjectClass: secGroup\ncn: g\nsecuuid: 1\nsecdn: a , "
         "b\n");
    const std::optional<Entry> entry = stagedEntryAt(0);
    ASSERT_TRUE(entry);
    EXPECT_EQ(
        entry->text(),
        "dn: secAuthority=Default,cn=g\nobjectClass: secGroup\ncn: g\nsecUUID: 1\nsecdn: a,b\n");
}

TEST_F(RegroupedEntriesTest, AnEntryThatBreaksApartDoesNotComeBack) {
    scan(groupStart + folded(5000));
    EXPECT_FALSE(stagedEntryAt(0));
}

TEST_F(RegroupedEntriesTest, ALongAttributeEndsTheMergeOfAGroup) {
    scan(groupStart + folded(5000));
    EXPECT_EQ(typesFound(), "group-without-mapping long-attribute ");
    EXPECT_EQ(shown(FindingType::LONG_ATTRIBUTE).front().line, 4);
}

TEST_F(RegroupedEntriesTest, ALongAttributeOfAPolicyIsWrittenAsItIs) {
    scan(policyStart + folded(5000));
    EXPECT_EQ(typesFound(), "policy-without-user ");
}

// Its first piece fills a line of the work file, whose line feed then is a line of its own: an
// empty one.
TEST_F(RegroupedEntriesTest, ALongLineTearsEvenAPolicyApart) {
    scan(policyStart + std::string(5000, 'x') + '\n');
    EXPECT_EQ(typesFound(), "policy-without-user long-attribute ");
}

TEST_F(RegroupedEntriesTest, AChangeTypeCountsInRegroupedEntriesAlone) {
    scan("dn: cn=a\nchangetype: add\nobjectClass: person\n");
    EXPECT_FALSE(isChangetypeExpected());
    scan("dn: cn=Policy,secAuthority=Default,cn=a\nchangetype: add\nobjectClass: secPolicy\n");
    EXPECT_TRUE(isChangetypeExpected());
    scan("dn: cn=a\nobjectClass: person\n");
    EXPECT_FALSE(isChangetypeExpected());
}

}  // namespace
