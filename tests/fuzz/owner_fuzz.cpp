// The owner association on arbitrary entries: the slot that a scan of all slots finds, however the
// table looks it up.
//
// The first two bytes decide of which kind an entry is that names no class with an owner, whether
// a new owner gets a slot, and when a pass ends.

#include <algorithm>
#include <array>
#include <string>

#include "cache/accumulation.h"
#include "cache/object_cache.h"
#include "cache/owner.h"
#include "entry/entry.h"
#include "entry/object_class.h"
#include "harness.h"
#include "support/dice.h"
#include "support/naive_owners.h"

namespace {

constexpr std::array<ObjectClass, 5> ownedKinds = {SECUSER_OBJECTCLASS, SECPOLICYDATA_OBJECTCLASS,
                                                   SECPOLICY_OBJECTCLASS, SECMAP_OBJECTCLASS,
                                                   SECGROUP_OBJECTCLASS};

// One of the two tables, and the DNs that a scan would compare.
struct Side {
    OwnerTable& owners;
    const std::string& savedDn;
    int (*learnIndex)();
    bool ofUsers;
    NaiveOwners naive = {};
};

void chooseKind(Dice& dice) {
    determineTheObjectsObjectClass();
    const bool hasOwner =
        std::find(ownedKinds.begin(), ownedKinds.end(), objectClass) != ownedKinds.end();
    if (!hasOwner) {
        objectClass = dice.oneOf(ownedKinds);
    }
}

bool isOfUser() {
    return objectClass == SECMAP_OBJECTCLASS ? isMappingOfUser()
                                             : objectClass != SECGROUP_OBJECTCLASS;
}

void requireDnLine(const std::string& before, bool ofUsers) {
    const std::string after(object.line(0));
    const bool namesOwner = objectClass == SECMAP_OBJECTCLASS ||
                            (objectClass == SECUSER_OBJECTCLASS && isUsersEntry(before));
    if (namesOwner) {
        require(after == before, "the DN line stays");
        return;
    }
    require(after.ends_with('\n'), "the DN line ends in a line feed");
    std::string whiteSpace = " \t\n\v\f\r";
    std::string trimmedBefore = before.substr(0, before.find_last_not_of(whiteSpace) + 1);
    std::string trimmedAfter = after.substr(0, after.find_last_not_of(whiteSpace) + 1);
    if (ofUsers) {
        trimmedBefore = withoutSpacesAroundCommas(trimmedBefore);
        trimmedAfter = withoutSpacesAroundCommas(trimmedAfter);
    }
    require(trimmedAfter == trimmedBefore, "the DN line changes in white space alone");
}

void associate(Side& side, Dice& dice) {
    const std::string dnLine(object.line(0));
    int index = -1;
    if (!returns([&] { index = side.learnIndex(); })) {
        return;
    }
    requireDnLine(dnLine, side.ofUsers);
    require(side.savedDn.ends_with('\n'), "the owner DN ends in a line feed");
    if (side.ofUsers) {
        require(side.savedDn == withoutSpacesAroundCommas(side.savedDn),
                "the owner DN of a user has no spaces beside its commas");
    }
    require(index == side.naive.find(side.savedDn), "the slot that a scan finds");
    // Most of the new owners get a slot, and a few of those that have one get another.
    const bool isException = dice.upTo(7) == 0;
    if ((index < 0) != isException) {
        side.owners.open(side.savedDn);
        side.naive.dns.push_back(side.savedDn);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzInput fuzz = fuzzInput(data, size);
    Dice dice(fuzz.choices());
    if (dice.upTo(3) == 0) {
        traceToNowhere();
    }
    Side users = {secUser_dn, saved_secUser_dn, learnIndexOfAssociatedSecUserDN, true};
    Side groups = {secGroup_dn, saved_secGroup_dn, learnIndexOfAssociatedSecGroupDN, false};
    for (const Entry& entry : entriesIn(fuzz.text)) {
        object = entry;
        chooseKind(dice);
        associate(isOfUser() ? users : groups, dice);
        if (dice.upTo(31) == 0) {
            initializeAllArrays();
            users.naive.dns.clear();
            groups.naive.dns.clear();
        }
    }
    resetProgram();
    return 0;
}
