#include "cache/owner.h"

#include "cache/object_cache.h"
#include "support/dice.h"
#include "support/naive_owners.h"
#include "support/owner_fixture.h"

namespace {

class OwnerTest : public OwnerFixture {};

// ---- Users: the owner DN

TEST_F(OwnerTest, AnOrdinaryUserIsItsOwnOwner) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: secAuthority=Default,cn=jsmith,o=org\n"}),
              Owner(-1, "secAuthority=Default,cn=jsmith,o=org\n"));
}

TEST_F(OwnerTest, ThreeCharactersBeforeTheDnAreSkippedUnchecked) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"xyzcn=a\n"}), Owner(-1, "cn=a\n"));
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn:    cn=a\n"}), Owner(-1, "cn=a\n"));
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn:\tcn=a\n"}), Owner(-1, "\tcn=a\n"));
}

TEST_F(OwnerTest, ADnLineOfFewerThanThreeCharactersHasAnEmptyDn) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn"}), Owner(-1, "\n"));
    EXPECT_EQ(groupOf(SECGROUP_OBJECTCLASS, {"d"}), Owner(-1, "\n"));
}

TEST_F(OwnerTest, ADnLineWithoutLineEndGetsOne) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: cn=a"}), Owner(-1, "cn=a\n"));
    EXPECT_EQ(object.line(0), "dn: cn=a\n");
}

TEST_F(OwnerTest, TheDnLineOfAUserIsRewrittenAndTheSavedDnKeepsItsTrailingSpaces) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn:  cn=a , o=x ,  c=y \t\r\n", "a: 1 , 2\n"}),
              Owner(-1, "cn=a,o=x,c=y \t\r\n"));
    EXPECT_EQ(linesOf(object), (Row{"dn:  cn=a,o=x,c=y\n", "a: 1 , 2\n"}));
}

TEST_F(OwnerTest, AUsersEntryIsOwnedByItsDomainAndItsDn) {
    EXPECT_EQ(
        userOf(SECUSER_OBJECTCLASS, {"dn: principalName=jsmith,cn=Users,secAuthority=Default\n",
                                     "secAuthority: Default\n", "secDN: cn=jsmith, o=org\n"}),
        Owner(-1, "secAuthority=Default,cn=jsmith,o=org\n"));
    EXPECT_EQ(object.line(0), "dn: principalName=jsmith,cn=Users,secAuthority=Default\n");
}

TEST_F(OwnerTest, AUsersEntryIsRecognisedInAnyCase) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: principalName=j,CN=USERS,SecAuthority=Default\n",
                                           "SECAUTHORITY: sales\n", "secdn: cn=j\n"}),
              Owner(-1, "secAuthority=sales,cn=j\n"));
}

TEST_F(OwnerTest, TheDnLineOfAUsersEntryStaysUnchanged) {
    const std::string line = "dn: principalName=j , x=y,cn=users,secauthority=Default  \r\n";
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {line, "secAuthority: Default\n", "secDN: cn=j\n"}),
              Owner(-1, "secAuthority=Default,cn=j\n"));
    EXPECT_EQ(object.line(0), line);
}

TEST_F(OwnerTest, ASpaceAfterTheCommaMakesAUserAnOrdinaryOneWhenItIsAssociated) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: cn=Users, secAuthority=Default\n",
                                           "secAuthority: Default\n", "secDN: cn=j\n"}),
              Owner(-1, "cn=Users,secAuthority=Default\n"));
}

TEST_F(OwnerTest, TheDomainOfAUsersEntryEndsAtAColon) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: cn=j,cn=Users,secAuthority=Default\n",
                                           "secAuthority: Default: x\n", "secDN: cn=j\n"}),
              Owner(-1, "secAuthority=Default,cn=j\n"));
}

TEST_F(OwnerTest, TheDomainOfAUsersEntryEndsAtItsFirstColon) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: cn=j,cn=Users,secAuthority=Default\n",
                                           "secAuthority: a:b:c\n", "secDN: cn=j\n"}),
              Owner(-1, "secAuthority=a,cn=j\n"));
}

TEST_F(OwnerTest, TheOwnerOfAUsersEntryHasNoSpacesAtItsEndOrBesideItsCommas) {
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: cn=j,cn=Users,secAuthority=Default\n",
                                           "secAuthority: Default \n", "secDN: cn=j \t\n"}),
              Owner(-1, "secAuthority=Default,cn=j\n"));
}

TEST_F(OwnerTest, TheDomainOfAMappingIsTheFirstInItsDn) {
    EXPECT_EQ(userOf(SECMAP_OBJECTCLASS,
                     {"dn: cn=1,cn=Users,SecAuthority=A,cn=Subdomains,secAuthority=Default\n",
                      "secDN: cn=j\n"}),
              Owner(-1, "SecAuthority=A,cn=j\n"));
}

TEST_F(OwnerTest, TheParentOfAPolicyIsItsOwner) {
    for (const ObjectClass kind : {SECPOLICY_OBJECTCLASS, SECPOLICYDATA_OBJECTCLASS}) {
        EXPECT_EQ(userOf(kind, {"dn: cn=Policy , x, secAuthority=Default,cn=jsmith, o=org \n"}),
                  Owner(-1, " x,secAuthority=Default,cn=jsmith,o=org \n"));
        EXPECT_EQ(object.line(0), "dn: cn=Policy , x,secAuthority=Default,cn=jsmith,o=org\n");
    }
}

TEST_F(OwnerTest, APolicyWithoutACommaIsMalformed) {
    for (const ObjectClass kind : {SECPOLICY_OBJECTCLASS, SECPOLICYDATA_OBJECTCLASS}) {
        EXPECT_EQ(failureOfUser(kind, {"dn: cn=Policy\n"}), (Failure{{380928302}, ""}));
    }
}

TEST_F(OwnerTest, ACommaBeforeTheDnIsNotTheDnsComma) {
    EXPECT_EQ(failureOfUser(SECPOLICY_OBJECTCLASS, {"d,:cn=Policy\n"}), (Failure{{380928302}, ""}));
}

TEST_F(OwnerTest, AMappingIsOwnedByItsDomainAndTheDnThatItMaps) {
    EXPECT_EQ(userOf(SECMAP_OBJECTCLASS, {"dn: secUUID=1,cn=Users, secAuthority=Default,o=x\n",
                                          "secDN: cn=j , o=y \n"}),
              Owner(-1, "secAuthority=Default,cn=j,o=y\n"));
    EXPECT_EQ(object.line(0), "dn: secUUID=1,cn=Users, secAuthority=Default,o=x\n");
}

TEST_F(OwnerTest, TheDomainOfAMappingIsSpelledAsInItsDn) {
    EXPECT_EQ(
        userOf(SECMAP_OBJECTCLASS, {"dn: SECAUTHORITY=Default,cn=Users\n", "SECdn: cn=j,o=y\n"}),
        Owner(-1, "SECAUTHORITY=Default,cn=j,o=y\n"));
}

TEST_F(OwnerTest, TheDomainOfAMappingMayEndItsDn) {
    EXPECT_EQ(userOf(SECMAP_OBJECTCLASS, {"dn: cn=Users,secAuthority=Default\n", "secdn: cn=j\n"}),
              Owner(-1, "secAuthority=Default,cn=j\n"));
    EXPECT_EQ(groupOf(SECMAP_OBJECTCLASS, {"dn: cn=g,secAuthority=Default\n", "secdn: cn=j\n"}),
              Owner(-1, "secAuthority=Default,cn=j\n"));
}

// ---- Groups: the owner DN

TEST_F(OwnerTest, AGroupIsItsOwnOwnerAndKeepsTheSpacesAroundItsCommas) {
    EXPECT_EQ(groupOf(SECGROUP_OBJECTCLASS, {"dn: cn=g1 , o=org \r\n", "cn: g1\n"}),
              Owner(-1, "cn=g1 , o=org \r\n"));
    EXPECT_EQ(linesOf(object), (Row{"dn: cn=g1 , o=org\n", "cn: g1\n"}));
}

TEST_F(OwnerTest, TheDnThatAGroupMappingMapsLosesTheSpacesAroundItsCommas) {
    EXPECT_EQ(groupOf(SECMAP_OBJECTCLASS,
                      {"dn: secUUID=2,secauthority=Default , o=x\n", "secDN: cn=g1 , o=org\n"}),
              Owner(-1, "secauthority=Default ,cn=g1,o=org\n"));
}

// ---- The search

TEST_F(OwnerTest, WithoutSlotsNobodyIsFound) {
    EXPECT_EQ(std::get<int>(userOf(SECUSER_OBJECTCLASS, {"dn: cn=a\n"})), -1);
    EXPECT_EQ(std::get<int>(groupOf(SECGROUP_OBJECTCLASS, {"dn: cn=a\n"})), -1);
}

TEST_F(OwnerTest, UsersThatDifferInCaseOrSpacesAroundCommasAreOne) {
    secUser_dn.open("cn=other,o=org\n");
    secUser_dn.open("secAuthority=Default,cn=jsmith,o=org\n");
    for (const std::string_view line : {"dn: secAuthority=Default,cn=jsmith,o=org\n",
                                        "dn: SECAUTHORITY=default,CN=JSmith,o=org\n",
                                        "dn: secAuthority=Default ,cn=jsmith,  o=org  \n"}) {
        EXPECT_EQ(std::get<int>(userOf(SECUSER_OBJECTCLASS, {line})), 1) << line;
    }
}

TEST_F(OwnerTest, AllKindsOfEntriesOfAUserMeet) {
    secUser_dn.open("secAuthority=Default,cn=jsmith,o=org\n");
    EXPECT_EQ(std::get<int>(userOf(SECPOLICY_OBJECTCLASS,
                                   {"dn: cn=Policy,secAuthority=Default, cn=jsmith, o=org\n"})),
              0);
    EXPECT_EQ(std::get<int>(userOf(SECPOLICYDATA_OBJECTCLASS,
                                   {"dn: cn=Data,secAuthority=Default,cn=jsmith,o=org\n"})),
              0);
    EXPECT_EQ(std::get<int>(userOf(SECUSER_OBJECTCLASS,
                                   {"dn: cn=j,cn=Users,secAuthority=Default\n",
                                    "secAuthority: Default\n", "secDN: cn=jsmith, o=org\n"})),
              0);
    EXPECT_EQ(std::get<int>(userOf(SECMAP_OBJECTCLASS, {"dn: cn=1,cn=Users,secAuthority=Default\n",
                                                        "secDN: cn=jsmith,o=org\n"})),
              0);
}

TEST_F(OwnerTest, ASpaceBehindAPolicysFirstCommaHidesItsUser) {
    secUser_dn.open("secAuthority=Default,cn=jsmith,o=org\n");
    EXPECT_EQ(
        userOf(SECPOLICY_OBJECTCLASS, {"dn: cn=Policy, secAuthority=Default,cn=jsmith,o=org\n"}),
        Owner(-1, " secAuthority=Default,cn=jsmith,o=org\n"));
}

TEST_F(OwnerTest, AnOwnerStoredWithTrailingSpacesIsNotFoundAgain) {
    secUser_dn.open("cn=a \n");
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: cn=a \n"}), Owner(-1, "cn=a \n"));
    EXPECT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: cn=a\n"}), Owner(-1, "cn=a\n"));
}

TEST_F(OwnerTest, GroupsThatDifferInCaseAreOneAndInSpacesAreNot) {
    secGroup_dn.open("cn=g1,o=org\n");
    EXPECT_EQ(std::get<int>(groupOf(SECGROUP_OBJECTCLASS, {"dn: CN=G1,o=org \n"})), 0);
    EXPECT_EQ(std::get<int>(groupOf(SECGROUP_OBJECTCLASS, {"dn: cn=g1, o=org\n"})), -1);
}

TEST_F(OwnerTest, TheLowestSlotWins) {
    for (int i = 0; i < 2; ++i) {
        secUser_dn.open("cn=b\n");
        secGroup_dn.open("cn=b\n");
        secUser_dn.open("cn=A\n");
        secGroup_dn.open("cn=A\n");
    }
    EXPECT_EQ(std::get<int>(userOf(SECUSER_OBJECTCLASS, {"dn: cn=a\n"})), 1);
    EXPECT_EQ(std::get<int>(groupOf(SECGROUP_OBJECTCLASS, {"dn: cn=a\n"})), 1);
}

TEST_F(OwnerTest, TheKindsHaveTablesOfTheirOwn) {
    secUser_dn.open("cn=a\n");
    secGroup_dn.open("cn=b\n");
    EXPECT_EQ(std::get<int>(groupOf(SECGROUP_OBJECTCLASS, {"dn: cn=a\n"})), -1);
    EXPECT_EQ(std::get<int>(userOf(SECUSER_OBJECTCLASS, {"dn: cn=b\n"})), -1);
}

std::string randomDn(Dice& dice) {
    std::string dn = "c";
    for (std::size_t pieces = dice.upTo(5); pieces > 0; --pieces) {
        dn += dice.oneOf(std::vector<std::string>{"a", "A", "b", ",", " ,", ", ", " ", "="});
    }
    return dn + dice.oneOf(std::vector<std::string>{"\n", "\n", "\n", " \n", "\r\n", "\t \n", ""});
}

TEST_F(OwnerTest, RandomUsersAreFoundAsAScanWouldFindThem) {
    Dice dice(4201);
    NaiveOwners naive;
    int found = 0;
    for (int round = 0; round < 3000; ++round) {
        const std::string dn = randomDn(dice);
        std::string saved = withoutSpacesAroundCommas(dn);
        saved += saved.ends_with('\n') ? "" : "\n";
        // Trimming leaves no space at the end, so that the two steps may be done in either order.
        const int expected = naive.find(withoutSpacesAroundCommas(dn));

        ASSERT_EQ(userOf(SECUSER_OBJECTCLASS, {"dn: " + dn}), Owner(expected, saved)) << round;
        if (expected >= 0) {
            ++found;
        } else if (naive.dns.size() < 400) {
            naive.dns.push_back(saved);
            secUser_dn.open(saved);
        }
    }
    EXPECT_GT(found, 500);
}

TEST_F(OwnerTest, RandomGroupsAreFoundAsAScanWouldFindThem) {
    Dice dice(4202);
    NaiveOwners naive;
    int found = 0;
    for (int round = 0; round < 3000; ++round) {
        const std::string dn = randomDn(dice);
        const std::string saved = dn.ends_with('\n') ? dn : dn + "\n";
        const int expected = naive.find(dn);

        ASSERT_EQ(groupOf(SECGROUP_OBJECTCLASS, {"dn: " + dn}), Owner(expected, saved)) << round;
        if (expected >= 0) {
            ++found;
        } else if (naive.dns.size() < 400) {
            naive.dns.push_back(saved);
            secGroup_dn.open(saved);
        }
    }
    EXPECT_GT(found, 500);
}

}  // namespace
