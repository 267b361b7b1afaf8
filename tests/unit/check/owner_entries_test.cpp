#include "check/owner_entries.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "check/digest.h"
#include "check/export_file.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "check/owners.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "output/merge.h"
#include "output/new_dn.h"
#include "support/dice.h"
#include "support/entry_fixture.h"

namespace {

using Lines = std::vector<std::string>;

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

// What the digests foretell of an owner, and what the merge makes of it.
struct Record {
    bool mayLoseValues;
    std::uint64_t foretold;
    std::uint64_t merged;
};

class OwnerEntriesTest : public EntryFixture {
protected:
    void SetUp() override {
        EntryFixture::SetUp();
        forget();
        current = CurrentEntry();
        beginFindings(0);
    }
    void TearDown() override {
        forget();
        beginFindings(0);
        EntryFixture::TearDown();
    }

    static Parts user(const Lines& own, const Lines& mapping) {
        return {false,
                joined({"dn: secAuthority=Default,cn=Ann Lee,o=acme", "objectClass: secUser",
                        "secAuthority: Default", "principalName: ann"},
                       own),
                joined({"dn: secUUID=7a10,cn=Users,secAuthority=Default", "objectClass: secMap",
                        "secDN: cn=Ann Lee,o=acme"},
                       mapping)};
    }
    static Parts user(const Lines& own, const Lines& mapping, const Lines& usersEntry) {
        Parts parts = user(own, mapping);
        parts.usersEntry =
            joined({"dn: principalName=ann,cn=Users,secAuthority=Default", "objectClass: secUser",
                    "secAuthority: Default", "principalName: ann", "secDN: cn=Ann Lee,o=acme"},
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

    // Adds the parts in this order to the owner that they have in common, and merges them. Nothing
    // when they do not have the same owner.
    static std::optional<Record> recordOf(const Parts& parts,
                                          const std::array<Part, 3>& order = mergedParts) {
        forget();
        std::array<Entry, 3> entries;
        for (const Part part : order) {
            if (!linesOf(parts, part).empty()) {
                makeCurrent(linesOf(parts, part));
                objectClass = part != Part::MAPPING
                                  ? (parts.isGroup ? SECGROUP_OBJECTCLASS : SECUSER_OBJECTCLASS)
                                  : SECMAP_OBJECTCLASS;
                addToOwner(part, parts.isGroup, false);
                entries[static_cast<std::size_t>(part)] = object;
            }
        }
        if (ownerCount() != 1) {
            return std::nullopt;
        }
        const Owner& owner = ownerAt(0);
        EXPECT_TRUE(owner.has(NAMED));
        EXPECT_FALSE(owner.has(BROKEN));
        return Record{owner.has(MAY_LOSE_VALUES), owner.record.value(),
                      mergedSum(parts.isGroup, entries)};
    }

    // The digests decide how the entries merge, and decide it rightly.
    static void expectDecided(const Parts& parts) {
        const std::optional<Record> record = recordOf(parts);
        ASSERT_TRUE(record);
        EXPECT_FALSE(record->mayLoseValues);
        EXPECT_EQ(record->foretold, record->merged);
    }

    static bool mayLoseValues(const Parts& parts) {
        const std::optional<Record> record = recordOf(parts);
        EXPECT_TRUE(record);
        return record && record->mayLoseValues;
    }

private:
    static void forget() {
        forgetOwnerEntries();
        forgetInventory();
    }
    static Lines joined(Lines first, const Lines& second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }
    static void makeCurrent(const Lines& lines) {
        object = Entry();
        for (const std::string& line : lines) {
            object.append(line + '\n');
        }
    }
    static std::uint64_t mergedSum(bool isGroup, const std::array<Entry, 3>& entries) {
        const auto& [own, mapping, usersEntry] = entries;
        mergeObjects(own, mapping);
        if (!usersEntry.empty()) {
            const Entry merged = std::exchange(object, Entry());
            mergeObjects(usersEntry, merged);
        }
        const std::string dn =
            isGroup ? newGroupDnLine(cnOf(own), {}) : newUserDnLine(principalNameOf(own), {});
        LineSum sum(digestOfLine(withoutLineEnd(dn)));
        for (int i = 1; i < object.lineCount(); ++i) {
            const std::string_view line = withoutLineEnd(object.line(i));
            sum += mergedFilter.matchesSome(line) ? LineSum() : LineSum(digestOfLine(line));
        }
        return sum.value();
    }
};

// ---- What digests decide

TEST_F(OwnerEntriesTest, OrdinaryOwnersAreDecided) {
    const std::string uuid = "secUUID: 7a10";
    const std::string acl = "aclEntry: group:cn=admins,o=acme:write";
    expectDecided(user({"loginAllowed: TRUE", uuid, acl}, {uuid}));
    expectDecided(user({"loginAllowed: TRUE", uuid, acl}, {uuid},
                       {"lastLogin: 20030301", "secDomainId: Default%ann"}));
    expectDecided(group({"secUUID: 7b01", acl}, {"secUUID: 7b01"}));
}

TEST_F(OwnerEntriesTest, AnAttributeOfOneEntryAloneMayHaveManyValues) {
    expectDecided(user({"member: one", "member: two"}, {}));
}

TEST_F(OwnerEntriesTest, TheClassesOfTheEntryThatLeadsAreKept) {
    expectDecided(user({"objectClass: top", "objectClass: person"}, {"objectClass: top"}));
    expectDecided(user({"objectClass: person"}, {"objectClass: top"}, {"objectClass: other"}));
}

TEST_F(OwnerEntriesTest, WhatIsFilteredIsNoPartOfTheRecord) {
    expectDecided(user({"acl: x", "motto: mind the acl: x"}, {"aci: y"}));
}

// ---- What digests do not decide

TEST_F(OwnerEntriesTest, AnotherValueOfACommonAttributeIsNotDecided) {
    EXPECT_TRUE(mayLoseValues(user({"secUUID: 1"}, {"secUUID: 2"})));
    EXPECT_TRUE(mayLoseValues(user({"secUUID: 1"}, {"SECUUID: 1"})));
    EXPECT_TRUE(mayLoseValues(user({"secUUID: 1", "secUUID: 1"}, {})));
}

TEST_F(OwnerEntriesTest, ANameInBothEntriesIsNotDecided) {
    EXPECT_TRUE(mayLoseValues(user({"mail: a"}, {"mail: a"})));
    EXPECT_TRUE(mayLoseValues(user({"mail: a"}, {"MAIL: b"})));
    EXPECT_TRUE(mayLoseValues(user({"mail: a"}, {"email: b"})));
    EXPECT_TRUE(mayLoseValues(user({"l: a"}, {"mail: b"})));
    EXPECT_TRUE(mayLoseValues(user({"mail: a"}, {"motto: write to mail: b"})));
    EXPECT_TRUE(mayLoseValues(user({"mail: a"}, {}, {"mail: b"})));
    EXPECT_TRUE(mayLoseValues(user({}, {"mail: a"}, {"mail: b"})));
}

TEST_F(OwnerEntriesTest, ANameThatIsPartOfACommonOneIsNotDecided) {
    EXPECT_TRUE(mayLoseValues(user({"uid: a"}, {"secUUID: 1"})));
    EXPECT_TRUE(mayLoseValues(user({"oldSecUUID: a", "secUUID: 1"}, {"secUUID: 1"})));
    EXPECT_TRUE(mayLoseValues(user({"motto: my secUUID: a", "secUUID: 1"}, {"secUUID: 1"})));
}

TEST_F(OwnerEntriesTest, ANameThatIsPartOfOneTheMergeDropsIsNotDecided) {
    EXPECT_TRUE(mayLoseValues(user({"class: a"}, {})));
    EXPECT_TRUE(mayLoseValues(user({"n: a"}, {})));
    EXPECT_TRUE(mayLoseValues(user({"trol: a"}, {"control: b"})));
}

TEST_F(OwnerEntriesTest, ANameInAValueThatTheMergeDropsIsNotDecided) {
    EXPECT_TRUE(mayLoseValues(user({"mail: a"}, {"control: see mail: b"})));
    EXPECT_TRUE(mayLoseValues(user({"mail: a"}, {"objectClass: see mail: b"})));
    EXPECT_TRUE(mayLoseValues(user({"objectClass: see acl: a"}, {})));
}

TEST_F(OwnerEntriesTest, ANameInTheDnOfTheOtherEntryIsNotDecided) {
    Parts parts = user({"mail: a"}, {});
    parts.mapping.front() += ",o=mail: b";
    EXPECT_TRUE(mayLoseValues(parts));
    parts.mapping.front() = "Dn: secUUID=7a10,cn=Users,secAuthority=Default";
    EXPECT_TRUE(mayLoseValues(parts));
}

TEST_F(OwnerEntriesTest, AClassNameInAValueIsNotDecided) {
    EXPECT_TRUE(mayLoseValues(user({"mail: an objectClass: a"}, {})));
}

// ---- Against the merge

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

    // Lines may stand anywhere behind the DN line.
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

TEST_F(OwnerEntriesTest, WhereNoValueMayBeLostTheRecordIsThatOfTheMerge) {
    RandomParts random(1);
    int decided = 0;
    for (int round = 0; round < 3000; ++round) {
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
        const std::optional<Record> record = recordOf(parts, random.order());
        if (!record || record->mayLoseValues) {
            continue;
        }
        ++decided;
        ASSERT_EQ(record->foretold, record->merged)
            << round << testing::PrintToString(parts.own) << testing::PrintToString(parts.mapping)
            << testing::PrintToString(parts.usersEntry);
    }
    EXPECT_GT(decided, 300);
}

}  // namespace
