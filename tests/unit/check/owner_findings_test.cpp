#include "check/owner_findings.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "check/digest.h"
#include "check/export_scan.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "driver/diagnostics/messages.h"
#include "support/dice.h"
#include "support/scan_fixture.h"

namespace {

using Lines = std::vector<std::string>;

class OwnerFindingsTest : public ScanFixture {
protected:
    static std::string userEntry(const std::string& name, const std::string& lines = {}) {
        return "dn: secAuthority=Default,cn=" + name +
               ",o=acme\nobjectClass: secUser\nsecAuthority: Default\nprincipalName: " + name +
               "\n" + lines + "\n";
    }
    static std::string usersEntry(const std::string& name, const std::string& lines = {}) {
        return "dn: principalName=" + name +
               ",cn=Users,secAuthority=Default\nobjectClass: secUser\nsecAuthority: Default\n"
               "principalName: " +
               name + "\nsecDN: cn=" + name + ",o=acme\n" + lines + "\n";
    }
    static std::string mappingEntry(const std::string& name, const std::string& lines = {}) {
        return "dn: secUUID=" + name +
               ",cn=Users,secAuthority=Default\nobjectClass: secMap\nsecDN: cn=" + name +
               ",o=acme\n" + lines + "\n";
    }
};

TEST_F(OwnerFindingsTest, AnOwnerWithBothEntriesIsFine) {
    scan(userEntry("ann") + mappingEntry("ann"));
    findTroubleOfOwners();
    EXPECT_EQ(typesFound(), "");
}

TEST_F(OwnerFindingsTest, WhatAnOwnerLacksIsToldAtTheEntryThatNeedsIt) {
    scan(userEntry("ann") + mappingEntry("bob") + usersEntry("cleo"));
    findTroubleOfOwners();
    EXPECT_EQ(typesFound(), "user-without-mapping mapping-without-user users-entry-without-user ");
    EXPECT_EQ(shown(FindingType::USER_WITHOUT_MAPPING).front().line, 1);
    EXPECT_EQ(shown(FindingType::MAPPING_WITHOUT_USER).front().line, 6);
    EXPECT_EQ(shown(FindingType::USERS_ENTRY_WITHOUT_USER).front().line, 10);
    EXPECT_EQ(shown(FindingType::MAPPING_WITHOUT_USER).front().message, MESSAGE_PROCESSING_FAILED);
}

TEST_F(OwnerFindingsTest, AValueThatIsReplacedIsToldAtItsLine) {
    scan(userEntry("ann", "mail: a\nmail: b\n") + mappingEntry("ann", "mail: c\n"));
    findTroubleOfOwners();
    ASSERT_EQ(total(FindingType::REPLACED_VALUE), 1U);
    EXPECT_EQ(shown(FindingType::REPLACED_VALUE).front().line, 5);
    EXPECT_EQ(typesFound(), "replaced-value ");
}

TEST_F(OwnerFindingsTest, AValueThatBothEntriesHoldIsNotLost) {
    scan(userEntry("ann", "mail: a\n") + mappingEntry("ann", "mail: a\n"));
    findTroubleOfOwners();
    EXPECT_EQ(typesFound(), "");
    EXPECT_EQ(ruleLines[static_cast<std::size_t>(Rule::EQUAL_LINES)], 1U);
}

TEST_F(OwnerFindingsTest, OfTwoOwnersOfOneNameTheSecondIsTold) {
    scan(userEntry("ann") + mappingEntry("ann") +
         "dn: secAuthority=Default,cn=other,o=acme\nobjectClass: secUser\n"
         "secAuthority: Default\nprincipalName: ANN\n\n" +
         mappingEntry("other"));
    findTroubleOfOwners();
    ASSERT_EQ(typesFound(), "same-new-name ");
    EXPECT_EQ(shown(FindingType::SAME_NEW_NAME).front().line, 10);
}

std::optional<Lines> linesOfRecord(const Owner& owner) {
    const std::optional<ExpectedRecord> record = expectedRecord(owner);
    return record ? std::optional(Lines(record->lines.begin(), record->lines.end())) : std::nullopt;
}

TEST_F(OwnerFindingsTest, OfAnOwnerThatLacksAnEntryNothingIsExpected) {
    scan(userEntry("ann"));
    EXPECT_FALSE(expectedRecord(ownerAt(0)));
}

TEST_F(OwnerFindingsTest, TheExpectedRecordIsTheMergedEntry) {
    scan(userEntry("ann", "secuuid: 1\nmotto: a\n  folded\naclEntry: x\n") +
         mappingEntry("ann", "secUUID: 2\n") + usersEntry("ann", "lastLogin: 3\n"));
    findTroubleOfOwners();
    EXPECT_EQ(linesOfRecord(ownerAt(0)),
              (Lines{"dn: principalName=ann,cn=Users,secAuthority=default", "objectClass: secUser",
                     "secAuthority: Default", "principalName: ann", "secDN: cn=ann,o=acme",
                     "lastLogin: 3", "secDomainId: Default%ann", "secUUID: 2", "motto: a folded"}));
}

TEST_F(OwnerFindingsTest, TheNamesShownAreThoseOfLinesThatAreWhole) {
    scan(userEntry("ann", "motto: a\n folded\n") +
         mappingEntry("ann", "secUUID: 2\n\rx\n secret: c\n"));
    const std::optional<ExpectedRecord> record = expectedRecord(ownerAt(0));
    ASSERT_TRUE(record);
    EXPECT_TRUE(record->names.contains("motto"));
    EXPECT_FALSE(record->names.contains("secret"));
}

// ---- The records of a whole export

// A few attributes, some of which the other entries of the owner have as well.
std::string randomLines(Dice& dice) {
    const Lines lines = {
        "secuuid: 1\n",    "secUUID: 1\n",       "secUUID: 2\n",       "mail: a\r\n",
        "MAIL: b\n",       "email: c\n",         "phone: d\n",         "motto: folded\n  twice\n",
        "street: e\n",     "# comment\n",        "acl: f\n",           "aclEntry: g\n",
        "motto: acl: h\n", "objectClass: top\n", "kvo-entryuuid: i\n", "secdn: cn=x , o=y\n",
        "lastLogin: j\n",  "photo:: YQ==\n"};
    std::string text;
    for (std::size_t i = dice.upTo(3); i > 0; --i) {
        text += dice.oneOf(lines);
    }
    return text;
}

std::uint64_t sumOf(const Lines& lines) {
    LineSum sum;
    for (const std::string& line : lines) {
        sum += LineSum(digestOfLine(line));
    }
    return sum.value();
}

TEST_F(OwnerFindingsTest, TheRecordOfEveryOwnerIsThatOfItsMerge) {
    Dice dice(1);
    std::vector<std::string> entries;
    for (int i = 0; i < 700; ++i) {
        const std::string name = "user" + std::to_string(i);
        entries.push_back(userEntry(name, randomLines(dice)));
        entries.push_back(mappingEntry(name, randomLines(dice)));
        if (dice.upTo(2) == 0) {
            entries.push_back(usersEntry(name, randomLines(dice)));
        }
    }
    std::string content;
    for (std::size_t i = entries.size(); i > 0; --i) {
        std::swap(entries[i - 1], entries[dice.upTo(i - 1)]);
        content += entries[i - 1];
    }
    scan(content);
    int merged = 0;
    int decided = 0;
    for (const bool isResolved : {false, true}) {
        for (OwnerNumber i = 0; i < ownerCount(); ++i) {
            const Owner owner = ownerAt(i);
            const std::optional<Lines> record = linesOfRecord(owner);
            if (record && (isResolved || !owner.has(MAY_LOSE_VALUES))) {
                ++(isResolved ? merged : decided);
                ASSERT_EQ(owner.record.value(), sumOf(*record)) << testing::PrintToString(*record);
            }
        }
        findTroubleOfOwners();
    }
    EXPECT_GT(decided, 100);
    EXPECT_GT(merged, decided + 100);
}

}  // namespace
