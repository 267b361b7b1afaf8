#include "entry/adjustments.h"

#include <gmock/gmock.h>

#include <ctime>
#include <string>

#include "support/entry_fixture.h"
#include "support/failure.h"
#include "support/process.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;

class Adjustments : public EntryFixture {
protected:
    // The lines of an entry of class `kind` after its adjustment.
    static std::vector<std::string> adjusted(ObjectClass kind,
                                             std::initializer_list<std::string_view> lines) {
        setObject(lines);
        objectClass = kind;
        EXPECT_EQ(tweekObjectInObjectArray(), 0);
        return linesOf(object);
    }

    // The same for a secAuthorityInfo entry of one line, given an installation date.
    static std::string adjustedVersion(std::string_view line) {
        return adjusted(SECAUTHORITYINFO_OBJECTCLASS, {line, "installDate: x\n"}).front();
    }

    // The same for a user of one line, given everything else that users need.
    static std::string adjustedUuid(ObjectClass kind, std::string_view line) {
        return adjusted(kind, {line, "secDomainId: x\n"}).front();
    }
};

std::tm moment(int year, int month, int day, int hour, int minute, int second) {
    std::tm time = {};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    return time;
}

TEST_F(Adjustments, VersionBecomesSixInPlace) {
    EXPECT_EQ(adjustedVersion("version: 3.0\n"), "version: 6.0\n");
    EXPECT_EQ(adjustedVersion("version: 3.0\r\n"), "version: 6.0\r\n");
    EXPECT_EQ(adjustedVersion("version: 3.0"), "version: 6.0");
}

TEST_F(Adjustments, SpacesBeforeTheVersionAreKept) {
    EXPECT_EQ(adjustedVersion("version:    3.0\n"), "version:    6.0\n");
}

TEST_F(Adjustments, ExactlyThreeCharactersOfTheVersionAreOverwritten) {
    EXPECT_EQ(adjustedVersion("version: 3.10\n"), "version: 6.00\n");
    EXPECT_EQ(adjustedVersion("version: 10.12.3\n"), "version: 6.012.3\n");
}

// Behind the space, the characters 3, CR and a become 6, the full stop and 0.
TEST_F(Adjustments, CarriageReturnIsACharacterOfTheVersion) {
    EXPECT_EQ(adjustedVersion("version: 3\rabc\n"), "version: 6.0bc\n");
    EXPECT_EQ(adjustedVersion("version: \rabc\n"), "version: 6.0c\n");
    EXPECT_EQ(adjustedVersion("version: 3.\r\n"), "version: 6.0\n");
}

TEST_F(Adjustments, VersionOfFewerThanThreeCharactersEndsTheLine) {
    EXPECT_EQ(adjustedVersion("version: 3\n"), "version: 6.0");
    EXPECT_EQ(adjustedVersion("version: 3\r\n"), "version: 6.0");
    EXPECT_EQ(adjustedVersion("version:  \n"), "version:  6.0");
}

TEST_F(Adjustments, VersionIsFoundAnywhereInALineInLowerCaseWithItsSpace) {
    EXPECT_EQ(adjustedVersion("secversion: 3.0\n"), "secversion: 6.0\n");
    EXPECT_EQ(adjustedVersion("Version: 3.0\n"), "Version: 3.0\n");
    EXPECT_EQ(adjustedVersion("version:3.0\n"), "version:3.0\n");
}

TEST_F(Adjustments, OnlyTheFirstVersionIsChanged) {
    EXPECT_THAT(adjusted(SECAUTHORITYINFO_OBJECTCLASS,
                         {"dn: cn=a\n", "version: 3.0\n", "version: 4.0\n", "installDate: x\n"}),
                ElementsAre("dn: cn=a\n", "version: 6.0\n", "version: 4.0\n", "installDate: x\n"));
}

TEST_F(Adjustments, InstallDateHasTheHourOfTheTwelveHourClock) {
    EXPECT_EQ(installDateLine(moment(2003, 3, 2, 15, 4, 5)), "installDate: 20030302030405.0Z");
    EXPECT_EQ(installDateLine(moment(2003, 12, 31, 0, 0, 0)), "installDate: 20031231120000.0Z");
    EXPECT_EQ(installDateLine(moment(2003, 10, 11, 12, 13, 14)), "installDate: 20031011121314.0Z");
    EXPECT_EQ(installDateLine(moment(1999, 1, 1, 11, 59, 59)), "installDate: 19990101115959.0Z");
    EXPECT_EQ(installDateLine(moment(2026, 1, 1, 23, 59, 60)), "installDate: 20260101115960.0Z");
}

TEST_F(Adjustments, AnInstallDateIsADateAndATimeOfTheTwelveHourClock) {
    for (const std::string_view right :
         {"20030302030405.0Z", "20031231120000.0Z", "19990101115959.0Z", "20260101115960.0Z",
          "20240229010000.0Z", "20000229010000.0Z", "20260430125900.0Z"}) {
        EXPECT_TRUE(isInstallDateLine("installDate: " + std::string(right))) << right;
    }
    for (const std::string_view wrong : {"20030002030405.0Z",
                                         "20031302030405.0Z",
                                         "20030300030405.0Z",
                                         "20030332030405.0Z",
                                         "20030431030405.0Z",
                                         "20030229030405.0Z",
                                         "21000229030405.0Z",
                                         "20030302000405.0Z",
                                         "20030302130405.0Z",
                                         "20030302036005.0Z",
                                         "20030302030461.0Z",
                                         "20030302030499.0Z",
                                         "00000302030405.0Z",
                                         "99999999999999.0Z",
                                         "2003030203040.0Z",
                                         "200303020304050.0Z",
                                         "20030302030405.1Z",
                                         "20030302030405.0z",
                                         "20030302030405.0Z ",
                                         "20030302030405.0Z\r",
                                         "2003 302030405.0Z",
                                         " 20030302030405.0Z",
                                         "2003030203040x.0Z",
                                         "+2003030203040.0Z",
                                         ""}) {
        EXPECT_FALSE(isInstallDateLine("installDate: " + std::string(wrong))) << wrong;
    }
    EXPECT_FALSE(isInstallDateLine("installdate: 20030302030405.0Z"));
    EXPECT_FALSE(isInstallDateLine("installDate:20030302030405.0Z"));
    EXPECT_FALSE(isInstallDateLine("xinstallDate: 20030302030405.0Z"));
    EXPECT_FALSE(isInstallDateLine(std::string("installDate: 20030302030405.0Z\0", 31)));
}

std::string installDateNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    return installDateLine(local);
}

TEST_F(Adjustments, MissingInstallDateIsThePresentLocalTime) {
    const std::string before = installDateNow();
    const auto lines = adjusted(SECAUTHORITYINFO_OBJECTCLASS, {"dn: cn=a\n", "cn: a\n"});
    const std::string after = installDateNow();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1], "cn: a\n");
    EXPECT_TRUE(lines[2] == before || lines[2] == after || (before < lines[2] && lines[2] < after))
        << lines[2];
}

TEST_F(Adjustments, ExistingInstallDateInAnyCaseStays) {
    for (const std::string_view line :
         {"installDate: 2001\n", "installdate: 2001\n", "INSTALLDATE: \n", "x: InstallDate: \n"}) {
        EXPECT_THAT(adjusted(SECAUTHORITYINFO_OBJECTCLASS, {"dn: cn=a\n", line}),
                    ElementsAre("dn: cn=a\n", line));
    }
}

TEST_F(Adjustments, InstallDateWithoutASpaceDoesNotCount) {
    EXPECT_EQ(adjusted(SECAUTHORITYINFO_OBJECTCLASS, {"installDate:2001\n"}).size(), 2U);
}

TEST_F(Adjustments, UserGainsItsDomainIdentifierAsItsLastLine) {
    EXPECT_THAT(adjusted(SECUSER_OBJECTCLASS,
                         {"dn: cn=a\n", "secAuthority: Default\n", "principalName: jdoe\n"}),
                ElementsAre("dn: cn=a\n", "secAuthority: Default\n", "principalName: jdoe\n",
                            "secDomainId: Default%jdoe"));
}

TEST_F(Adjustments, DomainIdentifierIsMadeOfUnfoldedValuesOfAnyLength) {
    const std::string name(3000, 'n');
    EXPECT_EQ(adjusted(SECUSER_OBJECTCLASS, {"PRINCIPALNAME: " + name + "\r\n", " " + name + "\n",
                                             "SECAUTHORITY: D%s\r\n"})
                  .back(),
              "secDomainId: D%s%" + name + name);
}

TEST_F(Adjustments, ExistingDomainIdentifierInAnyCaseStays) {
    for (const std::string_view line :
         {"secDomainId: x\n", "SECDOMAINID: \n", "secdomainid: x\n"}) {
        EXPECT_THAT(adjusted(SECUSER_OBJECTCLASS, {"dn: cn=a\n", line}),
                    ElementsAre("dn: cn=a\n", line));
    }
}

TEST_F(Adjustments, UuidIsRespelledInUsersAndGroups) {
    for (const ObjectClass kind : {SECUSER_OBJECTCLASS, SECGROUP_OBJECTCLASS}) {
        EXPECT_EQ(adjustedUuid(kind, "secuuid: abc\n"), "secUUID: abc\n");
        EXPECT_EQ(adjustedUuid(kind, "xsecuuid: abc\n"), "xsecUUID: abc\n");
        EXPECT_EQ(adjustedUuid(kind, "SECUUID: abc\n"), "SECUUID: abc\n");
        EXPECT_EQ(adjustedUuid(kind, "secUuid: abc\n"), "secUuid: abc\n");
        EXPECT_EQ(adjustedUuid(kind, "secuuid:abc\n"), "secuuid:abc\n");
    }
}

TEST_F(Adjustments, OnlyTheFirstUuidIsRespelled) {
    EXPECT_THAT(
        adjusted(SECGROUP_OBJECTCLASS, {"dn: cn=a\n", "secuuid: secuuid: 1\n", "secuuid: 2\n"}),
        ElementsAre("dn: cn=a\n", "secUUID: secuuid: 1\n", "secuuid: 2\n"));
}

TEST_F(Adjustments, GroupsNeedNoDomainIdentifier) {
    EXPECT_THAT(adjusted(SECGROUP_OBJECTCLASS, {"dn: cn=a\n"}), ElementsAre("dn: cn=a\n"));
}

TEST_F(Adjustments, StepsKeepToTheirClasses) {
    EXPECT_THAT(adjusted(SECUSER_OBJECTCLASS, {"version: 3.0\n", "secDomainId: x\n"}),
                ElementsAre("version: 3.0\n", "secDomainId: x\n"));
    EXPECT_THAT(adjusted(SECAUTHORITYINFO_OBJECTCLASS, {"secuuid: a\n", "installDate: x\n"}),
                ElementsAre("secuuid: a\n", "installDate: x\n"));
}

TEST_F(Adjustments, OtherClassesPassUnchanged) {
    const auto lines = {"dn: cn=a\n", "version: 3.0\n", "secuuid: a\n"};
    for (const ObjectClass kind :
         {UNINTERESTING_OBJECTCLASS, SECPOLICYDATA_OBJECTCLASS, SECPOLICY_OBJECTCLASS,
          SECMAP_OBJECTCLASS, RESCREDS_CONTAINER, SECRESCREDS_OBJECTCLASS, CONTAINER_OBJECTCLASS}) {
        EXPECT_THAT(adjusted(kind, {"dn: cn=a\n", "version: 3.0\n", "secuuid: a\n"}),
                    ElementsAreArray(lines));
    }
}

struct MissingAttribute {
    std::string_view present;
    std::string name;
    std::string echoed;
};

TEST_F(Adjustments, UserWithoutARequiredAttributeEndsTheProcess) {
    const MissingAttribute cases[] = {
        {"principalName: jdoe\n", "secAuthority", "object is:  "},
        {"secAuthority: Default\n", "principalName",
         "tweekObjectInObjectArray():  secUser object is ="},
        {"cn: a\n", "secAuthority", "object is:  "},  // the first that is missing
    };
    debugError = true;
    for (const auto& [present, name, echoed] : cases) {
        const std::string error =
            "tweekObjectInObjectArray():  obtainAttributeValueFromObjArray('" + name +
            "') failure.  EXITING. \n";
        setObject({"dn: cn=a\n", present});
        objectClass = SECUSER_OBJECTCLASS;
        startTrace();
        const Ending ending = endingOf(tweekObjectInObjectArray);
        EXPECT_THAT(ending, FailsWith(380928302));
        EXPECT_EQ(ending.output, error + echoed + "dn: cn=a\n\n");
        EXPECT_THAT(traced(), EndsWith(error));
    }
}

TEST_F(Adjustments, MissingAttributeIsNotEchoedUnlessAsked) {
    setObject({"dn: cn=a\n"});
    objectClass = SECUSER_OBJECTCLASS;
    EXPECT_EQ(endingOf(tweekObjectInObjectArray).output, "");
}

TEST_F(Adjustments, MissingMemoryEndsTheProcessWithoutAnEcho) {
    debugError = true;
    setObject({"version: 3\n", "secAuthority: " + std::string(100, 'x')});
    const std::string line = "tweekObjectInObjectArray():  malloc() failure.  EXITING. \n";
    objectClass = SECAUTHORITYINFO_OBJECTCLASS;
    EXPECT_THAT(lastTracesWithoutMemory(tweekObjectInObjectArray), ElementsAre(line));

    setObject({"secAuthority: D\n", "principalName: " + std::string(100, 'x')});
    objectClass = SECUSER_OBJECTCLASS;
    EXPECT_THAT(lastTracesWithoutMemory(tweekObjectInObjectArray), testing::Contains(line));
}

TEST_F(Adjustments, EditsOfTheAuthorityAreTraced) {
    startTrace();
    const std::string date = adjusted(SECAUTHORITYINFO_OBJECTCLASS, {"version: 3.0\n"}).back();
    EXPECT_EQ(traced(), "tweekObjectInObjectArray():  FUNCTION ENTRY  \n"
                        "tweekObjectInObjectArray():    The converted version attribute is:  "
                        "version: 6.0\n \n"
                        "tweekObjectInObjectArray():    The installDate added is:  " +
                            date + " \n" + "tweekObjectInObjectArray():  FUNCTION EXIT  \n");
}

TEST_F(Adjustments, EditsOfAUserAreTraced) {
    startTrace();
    adjusted(SECUSER_OBJECTCLASS, {"secAuthority: D\n", "principalName: p\n", "secuuid: u\n"});
    EXPECT_THAT(traced(), EndsWith("tweekObjectInObjectArray():    The secDomainId added is:  "
                                   "secDomainId: D%p \n"
                                   "tweekObjectInObjectArray():    The modified secUUID  is:  "
                                   "secUUID: u\n \n"
                                   "tweekObjectInObjectArray():  FUNCTION EXIT  \n"));
}

TEST_F(Adjustments, NothingButEntryAndExitIsTracedWithoutAnEdit) {
    startTrace();
    adjusted(SECMAP_OBJECTCLASS, {"dn: cn=a\n"});
    EXPECT_EQ(traced(), "tweekObjectInObjectArray():  FUNCTION ENTRY  \n"
                        "tweekObjectInObjectArray():  FUNCTION EXIT  \n");
}

}  // namespace
