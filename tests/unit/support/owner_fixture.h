// The fixture of everything that asks for the owner of an entry.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <tuple>

#include "cache/owner.h"
#include "support/cache_fixture.h"
#include "support/failure.h"

// The index of an owner and the DN saved for it.
using Owner = std::tuple<int, std::string>;

class OwnerFixture : public CacheFixture {
protected:
    // The owner of the entry `lines`.
    static Owner userOf(ObjectClass kind, std::initializer_list<std::string_view> lines) {
        objectClass = kind;
        setObject(lines);
        const int index = learnIndexOfAssociatedSecUserDN();
        return {index, saved_secUser_dn};
    }
    static Owner groupOf(ObjectClass kind, std::initializer_list<std::string_view> lines) {
        objectClass = kind;
        setObject(lines);
        const int index = learnIndexOfAssociatedSecGroupDN();
        return {index, saved_secGroup_dn};
    }
    static Failure failureOfUser(ObjectClass kind, std::initializer_list<std::string_view> lines) {
        objectClass = kind;
        setObject(lines);
        return failureOf([] { learnIndexOfAssociatedSecUserDN(); });
    }
    static Failure failureOfGroup(ObjectClass kind, std::initializer_list<std::string_view> lines) {
        objectClass = kind;
        setObject(lines);
        return failureOf([] { learnIndexOfAssociatedSecGroupDN(); });
    }
};
