#include "cache/accumulation.h"
#include "cache/object_cache.h"
#include "ldif/entry_reader.h"
#include "support/cache_fixture.h"
#include "support/trace_pieces.h"

namespace {

// The mapping handler alone traces its decisions. Between the pieces below are the traces of the
// procedures that it calls.

const std::string handler = "processSecMapObjectFromTempInputLDIFFile():  ";
const std::string indent(45, ' ');

class AccumulationMappingTest : public CacheFixture {
protected:
    // The trace of the handler for the mapping entry `dnLine` of the owner "secAuthority=A,cn=a".
    std::string traceOfMapping(const std::string& dnLine) {
        openWorkFile(dnLine + "secDN: cn=a\n");
        getNextObjectFromTemporaryInputLDIFFile(tifp);
        objectClass = SECMAP_OBJECTCLASS;
        return traceOf(processSecMapObjectFromTempInputLDIFFile);
    }

    // How the traces begin and, when the entry has been taken in or left, end.
    static std::string beginning(const std::string& dnLine, const std::string& kind) {
        return handler + "FUNCTION ENTRY \n" + handler + "The object array is: \n" +
               "object[0] = " + dnLine + " object[1] = secDN: cn=a\n " + handler +
               "secMap is associated with a " + kind + " \nlearnIndexOfAssociated";
    }
    static std::string endingWhenTaken() {
        return "deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT  \n" + handler +
               "The object array is:\n" + handler + "FUNCTION EXIT. \n";
    }
    static std::string endingWhenLeft(const std::string& dnLine) {
        return "stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT \n" + handler +
               "The object array is:\nobject[0] = " + dnLine + " object[1] = secDN: cn=a\n " +
               handler + "FUNCTION EXIT. \n";
    }

    const std::string user = "dn: cn=Users,secAuthority=A\n";
    const std::string group = "dn: cn=g,secAuthority=A\n";
};

TEST_F(AccumulationMappingTest, ANewUserWithAFreeSlot) {
    secUser_dn.open("cn=b\n");
    expectPieces(
        traceOfMapping(user),
        {beginning(user, "secUser"),
         "\nlearnIndexOfAssociatedSecUserDN():  FUNCTION EXIT \n" + handler +
             "learnIndexOfAssociatedSecUserDN() returned index = -1 \n" + handler +
             "The secUser DN was NOT FOUND! \n" + indent +
             "This is the first entry for this secUser. \n" + handler +
             "A slot IS AVAILABLE for this secUser/secMap \n" + indent +
             "next_available_secUser_dn_slot = 1 \n" + handler +
             "The next_available_secUser_dn_slot is 1 \n" + indent +
             "Added the following entry to the secUser_dn array.\n" + indent +
             "secUser_dn[1] = secAuthority=A,cn=a\n"
             "Calling moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix( 1 ) \n"
             "moveSecMapForSecUserObject",
         "moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix():  FUNCTION EXIT \n" +
             handler + "Deleting this secMap object from the temporary input LDIF file \n" +
             "deleteNextObject",
         endingWhenTaken()});
}

TEST_F(AccumulationMappingTest, ANewGroupWithAFreeSlot) {
    expectPieces(
        traceOfMapping(group),
        {beginning(group, "secGroup"),
         "learnIndexOfAssociatedSecGroupDN():  FUNCTION EXIT \n" + handler +
             "learnIndexOfAssociatedSecGroupDN() returned index = -1 \n" + handler +
             "The secGroup DN was NOT FOUND! \n" + indent +
             "This is the first entry for this secGroup. \n" + handler +
             "A slot IS AVAILABLE for this secGroup/secMap \n" + indent +
             "next_available_secGroup_dn_slot = 0 \n" + handler +
             "The next_available_secGroup_dn_slot is 0 \n" + indent +
             "Added the following entry to the secGroup_dn array.\n" + indent +
             "secGroup_dn[0] = secAuthority=A,cn=a\n"
             "Calling moveSecMapForSecGroupObjectFromObjectArrayToSecGroupForSecUserMatrix( 0 ) \n"
             "moveSecMapForSecGroupObject",
         "moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix():  FUNCTION EXIT "
         "\n" +
             handler + "Deleting this secMap object from the temporary input LDIF file \n" +
             "deleteNextObject",
         endingWhenTaken()});
}

TEST_F(AccumulationMappingTest, ANewUserWithoutAFreeSlot) {
    max_number_of_secuser_slots = 1;
    secUser_dn.open("cn=b\n");
    expectPieces(traceOfMapping(user),
                 {beginning(user, "secUser"),
                  handler + "The secUser DN was NOT FOUND! \n" + indent +
                      "This is the first entry for this secUser. \n" + handler +
                      "A slot IS NOT AVAILABLE for this secUser/secMap \n" + indent +
                      "next_available_secUser_dn_slot = 1 \n" + indent +
                      "Stepping over this secMap object in the temporary input LDIF file \n"
                      "stepOverNextObject",
                  endingWhenLeft(user)});
}

TEST_F(AccumulationMappingTest, ANewGroupWithoutAFreeSlot) {
    max_number_of_secgroup_slots = 1;
    secGroup_dn.open("cn=b\n");
    expectPieces(traceOfMapping(group),
                 {beginning(group, "secGroup"),
                  handler + "The secGroup DN was NOT FOUND! \n" + indent +
                      "This is the first entry for this secGroup. \n" + handler +
                      "A slot IS NOT AVAILABLE for this secGroup/secMap \n" + indent +
                      "next_available_secGroup_dn_slot = 1 \n" + indent +
                      "Stepping over this secMap object in the temporary input LDIF file \n"
                      "stepOverNextObject",
                  endingWhenLeft(group)});
}

TEST_F(AccumulationMappingTest, AKnownUser) {
    secUser_dn.open("secAuthority=A,cn=a\n");
    expectPieces(
        traceOfMapping(user),
        {beginning(user, "secUser"),
         handler + "learnIndexOfAssociatedSecUserDN() returned index = 0 \n" + handler +
             "The secUser DN was FOUND in the secUser_dn array! \n"
             "secUser_dn = secAuthority=A,cn=a\n \n"
             "Calling moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix( 0 ) \n"
             "moveSecMapForSecUserObject",
         "FUNCTION EXIT \nCalling deleteNextObjectFromTemporaryInputLDIFFile \n"
         "deleteNextObject",
         endingWhenTaken()});
}

TEST_F(AccumulationMappingTest, AKnownGroup) {
    secGroup_dn.open("secAuthority=A,cn=a\n");
    expectPieces(
        traceOfMapping(group),
        {beginning(group, "secGroup"),
         handler + "learnIndexOfAssociatedSecGroupDN() returned index = 0 \n" + handler +
             "The secGroup DN was FOUND in the secGroup_dn array! \n"
             "secGroup_dn = secAuthority=A,cn=a\n"
             "Calling moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix( 0 ) \n"
             "moveSecMapForSecGroupObject",
         "FUNCTION EXIT \nCalling deleteNextObjectFromTemporaryInputLDIFFile() \n"
         "deleteNextObject",
         endingWhenTaken()});
}

}  // namespace
