#include "check/owner_records.h"

#include <gtest/gtest.h>

#include <array>
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
#include "entry/filters.h"
#include "output/merge.h"
#include "output/new_dn.h"
#include "support/dice.h"
#include "support/scan_fixture.h"

namespace {

using Lines = std::vector<std::string>;

class OwnerRecordsTest : public ScanFixture {
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

TEST_F(OwnerRecordsTest, AnOwnerWithBothEntriesIsFine) {
    scan(userEntry("ann") + mappingEntry("ann"));
    EXPECT_EQ(typesFound(), "");
}

TEST_F(OwnerRecordsTest, AMissingEntryIsReportedAtTheEntryThatNeedsIt) {
    scan(userEntry("ann") + mappingEntry("bob") + usersEntry("cleo"));
    EXPECT_EQ(typesFound(), "user-without-mapping mapping-without-user users-entry-without-user ");
    EXPECT_EQ(shown(FindingType::USER_WITHOUT_MAPPING).front().line, 1);
    EXPECT_EQ(shown(FindingType::MAPPING_WITHOUT_USER).front().line, 6);
    EXPECT_EQ(shown(FindingType::USERS_ENTRY_WITHOUT_USER).front().line, 10);
    EXPECT_EQ(shown(FindingType::MAPPING_WITHOUT_USER).front().message, MESSAGE_PROCESSING_FAILED);
}

TEST_F(OwnerRecordsTest, AValueThatIsReplacedIsReportedAtItsLine) {
    scan(userEntry("ann", "mail: a\nmail: b\n") + mappingEntry("ann", "mail: c\n"));
    ASSERT_EQ(total(FindingType::REPLACED_VALUE), 1U);
    EXPECT_EQ(shown(FindingType::REPLACED_VALUE).front().line, 5);
    EXPECT_EQ(typesFound(), "replaced-value ");
}

TEST_F(OwnerRecordsTest, AValueThatBothEntriesHoldIsNotLost) {
    scan(userEntry("ann", "mail: a\n") + mappingEntry("ann", "mail: a\n"));
    EXPECT_EQ(typesFound(), "");
    EXPECT_EQ(ruleLines[static_cast<std::size_t>(Rule::EQUAL_LINES)], 1U);
}

TEST_F(OwnerRecordsTest, OfTwoOwnersOfOneNameTheSecondIsReported) {
    scan(userEntry("ann") + mappingEntry("ann") +
         "dn: secAuthority=Default,cn=other,o=acme\nobjectClass: secUser\n"
         "secAuthority: Default\nprincipalName: ANN\n\n" +
         mappingEntry("other"));
    ASSERT_EQ(typesFound(), "same-new-name ");
    EXPECT_EQ(shown(FindingType::SAME_NEW_NAME).front().line, 10);
}

std::optional<Lines> linesOfRecord(const Owner& owner) {
    const std::optional<ExpectedRecord> record = expectedRecord(owner);
    return record ? std::optional(Lines(record->lines.begin(), record->lines.end())) : std::nullopt;
}

TEST_F(OwnerRecordsTest, NothingIsExpectedOfAnOwnerThatLacksAnEntry) {
    scan(userEntry("ann"));
    EXPECT_FALSE(expectedRecord(ownerAt(0)));
}

TEST_F(OwnerRecordsTest, TheExpectedRecordIsTheMergedEntry) {
    scan(userEntry("ann", "secuuid: 1\nmotto: a\n  folded\naclEntry: x\n") +
         mappingEntry("ann", "secUUID: 2\n") + usersEntry("ann", "lastLogin: 3\n"));
    EXPECT_EQ(linesOfRecord(ownerAt(0)),
              (Lines{"dn: principalName=ann,cn=Users,secAuthority=default", "objectClass: secUser",
                     "secAuthority: Default", "principalName: ann", "secDN: cn=ann,o=acme",
                     "lastLogin: 3", "secDomainId: Default%ann", "secUUID: 2", "motto: a folded"}));
}

TEST_F(OwnerRecordsTest, TheNamesShownAreThoseOfLinesThatAreWhole) {
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

TEST_F(OwnerRecordsTest, TheRecordOfEveryOwnerIsThatOfItsMerge) {
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
    for (OwnerNumber i = 0; i < ownerCount(); ++i) {
        const Owner owner = ownerAt(i);
        if (const std::optional<Lines> record = linesOfRecord(owner)) {
            ++merged;
            ASSERT_EQ(owner.record.value(), sumOf(*record)) << testing::PrintToString(*record);
        }
    }
    EXPECT_GT(merged, 300);
}

// ---- The record of one owner, against the merge

// Entries of one owner; an empty one is not there.
struct Parts {
    bool isGroup = false;
    Lines own;
    Lines mapping;
    Lines usersEntry = {};
};

constexpr std::array<Part, 3> mergedParts = {Part::OWN, Part::MAPPING, Part::USERS_ENTRY};

const Lines& linesOf(const Parts& parts, Part part) {
    return part == Part::OWN ? parts.own : part == Part::MAPPING ? parts.mapping : parts.usersEntry;
}

class MergedOwnerTest : public ScanFixture {
protected:
    static Parts user(const Lines& own, const Lines& mapping) {
        return {false,
                joined({"dn: secAuthority=Default,cn=Ann Lee,o=acme", "objectClass: secUser",
                        "secAuthority: Default", "principalName: ann", identifier},
                       own),
                joined({"dn: secUUID=7a10,cn=Users,secAuthority=Default", "objectClass: secMap",
                        "secDN: cn=Ann Lee,o=acme"},
                       mapping)};
    }
    static Parts user(const Lines& own, const Lines& mapping, const Lines& usersEntry) {
        Parts parts = user(own, mapping);
        parts.usersEntry = joined(
            {"dn: principalName=ann,cn=Users,secAuthority=Default", "objectClass: secUser",
             "secAuthority: Default", "principalName: ann", "secDN: cn=Ann Lee,o=acme", identifier},
            usersEntry);
        return parts;
    }
    static Parts group(const Lines& own, const Lines& mapping) {
        return {true,
                joined({"dn: secAuthority=Default,cn=Editors,o=acme", "objectClass: secGroup",
                        "secAuthority: Default", "cn: Editors"},
                       own),
                joined({"dn: secUUID=7b01,cn=Groups,secAuthority=Default", "objectClass: secMap",
                        "secDN: cn=Editors,o=acme"},
                       mapping)};
    }

    // Scans an export of the parts in this order. Whether they are merged: not when a line of one
    // of them gives it another owner.
    bool isMerged(const Parts& parts, const std::array<Part, 3>& order = mergedParts) {
        std::string content;
        for (const Part part : order) {
            for (const std::string& line : linesOf(parts, part)) {
                content += line + '\n';
            }
            content += '\n';
        }
        scan(content);
        return ownerCount() == 1 && ownerAt(0).has(NAMED) && !ownerAt(0).has(BROKEN);
    }

    // The record is that of the merge.
    static void expectRecordOf(const Parts& parts) {
        ASSERT_EQ(ownerAt(0).record.value(), mergedSum(parts))
            << testing::PrintToString(parts.own) << testing::PrintToString(parts.mapping)
            << testing::PrintToString(parts.usersEntry);
    }
    void expectMerged(const Parts& parts) {
        ASSERT_TRUE(isMerged(parts));
        expectRecordOf(parts);
    }

private:
    // Every user has one, so that the migration adds none.
    static constexpr const char* identifier = "secDomainId: Default%ann";

    static Lines joined(Lines first, const Lines& second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }
    static Entry entryOf(const Lines& lines) {
        Entry entry;
        for (const std::string& line : lines) {
            entry.append(line + '\n');
        }
        return entry;
    }
    static std::uint64_t mergedSum(const Parts& parts) {
        const Entry own = entryOf(parts.own);
        mergeObjects(own, entryOf(parts.mapping));
        if (!parts.usersEntry.empty()) {
            const Entry merged = std::exchange(object, Entry());
            mergeObjects(entryOf(parts.usersEntry), merged);
        }
        const std::string dn =
            parts.isGroup ? newGroupDnLine(cnOf(own), {}) : newUserDnLine(principalNameOf(own), {});
        LineSum sum(digestOfLine(withoutLineEnd(dn)));
        for (int i = 1; i < object.lineCount(); ++i) {
            const std::string_view line = withoutLineEnd(object.line(i));
            sum += mergedFilter.matchesSome(line) ? LineSum() : LineSum(digestOfLine(line));
        }
        return sum.value();
    }
};

TEST_F(MergedOwnerTest, OrdinaryEntries) {
    const std::string uuid = "secUUID: 7a10";
    const std::string acl = "aclEntry: group:cn=admins,o=acme:write";
    expectMerged(user({"loginAllowed: TRUE", uuid, acl}, {uuid}));
    expectMerged(user({"loginAllowed: TRUE", uuid, acl}, {uuid},
                      {"lastLogin: 20030301", "secDomainId: Default%ann"}));
    expectMerged(group({"secUUID: 7b01", acl}, {"secUUID: 7b01"}));
}

TEST_F(MergedOwnerTest, AnAttributeOfOneEntryAloneWithManyValues) {
    expectMerged(user({"member: one", "member: two"}, {}));
}

TEST_F(MergedOwnerTest, TheClassesOfTheEntryThatLeadsAreKept) {
    expectMerged(user({"objectClass: top", "objectClass: person"}, {"objectClass: top"}));
    expectMerged(user({"objectClass: person"}, {"objectClass: top"}, {"objectClass: other"}));
}

TEST_F(MergedOwnerTest, FilteredLinesAreNoPartOfTheRecord) {
    expectMerged(user({"acl: x", "motto: mind the acl: x"}, {"aci: y"}));
}

TEST_F(MergedOwnerTest, AnotherValueOfACommonAttribute) {
    expectMerged(user({"secUUID: 1"}, {"secUUID: 2"}));
    expectMerged(user({"secUUID: 1"}, {"SECUUID: 1"}));
    expectMerged(user({"secUUID: 1", "secUUID: 1"}, {}));
}

TEST_F(MergedOwnerTest, ANameInBothEntries) {
    expectMerged(user({"mail: a"}, {"mail: a"}));
    expectMerged(user({"mail: a"}, {"MAIL: b"}));
    expectMerged(user({"mail: a"}, {"email: b"}));
    expectMerged(user({"l: a"}, {"mail: b"}));
    expectMerged(user({"mail: a"}, {"motto: write to mail: b"}));
    expectMerged(user({"mail: a"}, {}, {"mail: b"}));
    expectMerged(user({}, {"mail: a"}, {"mail: b"}));
}

TEST_F(MergedOwnerTest, ANameThatIsPartOfACommonOne) {
    expectMerged(user({"uid: a"}, {"secUUID: 1"}));
    expectMerged(user({"oldSecUUID: a", "secUUID: 1"}, {"secUUID: 1"}));
    expectMerged(user({"motto: my secUUID: a", "secUUID: 1"}, {"secUUID: 1"}));
}

TEST_F(MergedOwnerTest, ANameThatIsPartOfOneTheMergeDrops) {
    expectMerged(user({"class: a"}, {}));
    expectMerged(user({"n: a"}, {}));
    expectMerged(user({"trol: a"}, {"control: b"}));
}

TEST_F(MergedOwnerTest, ANameInAValueThatTheMergeDrops) {
    expectMerged(user({"mail: a"}, {"control: see mail: b"}));
    expectMerged(user({"mail: a"}, {"objectClass: see mail: b"}));
    expectMerged(user({"objectClass: see acl: a"}, {}));
}

TEST_F(MergedOwnerTest, ANameInTheDnOfTheOtherEntry) {
    Parts parts = user({"mail: a"}, {});
    parts.mapping.front() += ",o=mail: b";
    expectMerged(parts);
    parts.mapping.front() = "Dn: secUUID=7a10,cn=Users,secAuthority=Default";
    expectMerged(parts);
}

TEST_F(MergedOwnerTest, AClassNameInAValue) {
    expectMerged(user({"mail: an objectClass: a"}, {}));
}

// Entries of names that are parts of each other, and of values that hold names.
class RandomParts {
public:
    explicit RandomParts(unsigned seed) : dice_(seed) {
    }

    Lines lines() {
        Lines lines;
        for (std::size_t i = dice_.upTo(3); i > 0; --i) {
            lines.push_back(name() + ": " + value());
        }
        return lines;
    }

    // Lines may be anywhere behind the DN line.
    void shuffle(Lines& lines) {
        for (std::size_t i = lines.size(); i > 2; --i) {
            std::swap(lines[i - 1], lines[1 + dice_.upTo(i - 2)]);
        }
    }

    // A DN may hold a name as well.
    void lengthen(std::string& dnLine) {
        if (dice_.upTo(9) == 0) {
            dnLine += ",o=" + name() + ": " + text();
        }
    }

    std::array<Part, 3> order() {
        std::array<Part, 3> order = mergedParts;
        for (std::size_t i = order.size(); i > 1; --i) {
            std::swap(order[i - 1], order[dice_.upTo(i - 1)]);
        }
        return order;
    }

    bool perhaps() {
        return dice_.upTo(1) == 1;
    }

private:
    std::string name() {
        constexpr std::array<std::string_view, 52> names = {
            "mail",          "email",        "xMail",       "il",           "l",
            "tel",           "telex",        "fax2",        "x2",           "phone",
            "street",        "city",         "zip",         "state",        "motto",
            "lastLogin",     "secUUID",      "secUUID",     "SECUUID",      "uid",
            "oldSecUUID",    "secDN",        "ownerSecDN",  "secAuthority", "mySecAuthority",
            "principalName", "name",         "secDomainId", "domainId",     "id",
            "acl",           "ACL",          "Acl",         "aclEntry",     "ACLENTRY",
            "aci",           "Aci",          "control",     "Control",      "CONTROL",
            "aclPropagate",  "ACLPROPAGATE", "objectClass", "objectclass",  "OBJECTCLASS",
            "class",         "dn",           "n",           "gn",           "kvo-entryuuid",
            "KVO-ENTRYUUID", "KVO-EntryUUID"};
        return std::string(dice_.oneOf(names));
    }

    std::string text() {
        constexpr std::array<std::string_view, 6> plain = {
            "a", "b", "Default", "ann", "cn=Ann Lee,o=acme", "Default%ann"};
        return std::string(dice_.oneOf(plain));
    }

    std::string value() {
        return dice_.upTo(5) == 0 ? "see " + name() + ": " + text() : text();
    }

    Dice dice_;
};

TEST_F(MergedOwnerTest, EntriesOfRandomLines) {
    RandomParts random(1);
    int merged = 0;
    for (int round = 0; round < 1500; ++round) {
        Parts parts = random.perhaps()   ? user(random.lines(), random.lines())
                      : random.perhaps() ? group(random.lines(), random.lines())
                                         : user(random.lines(), random.lines(), random.lines());
        for (Lines* lines : {&parts.own, &parts.mapping, &parts.usersEntry}) {
            random.shuffle(*lines);
        }
        for (Lines* lines : {&parts.mapping, &parts.usersEntry}) {
            if (!lines->empty()) {
                random.lengthen(lines->front());
            }
        }
        if (isMerged(parts, random.order())) {
            ++merged;
            expectRecordOf(parts);
        }
    }
    EXPECT_GT(merged, 300);
}

}  // namespace
