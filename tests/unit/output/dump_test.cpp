#include "output/dump.h"

#include "cache/object_cache.h"
#include "support/cache_fixture.h"

namespace {

class DumpTest : public CacheFixture {
protected:
    // The report on the current cache.
    std::string report() {
        return traceOf([] { EXPECT_EQ(dumpData(), 0); });
    }
};

const std::string header =
    "\n\n\n/*************************************************************/ \n"
    "\ndumpData():  FUNCTION ENTRY \n"
    "/************* THE DATA BELOW IS THE DATA BEFORE *************/ \n"
    "/************* IT HAS BEEN MODIFIED OR COPIED TO *************/ \n"
    "/************* THE OUTPUT FILE.                  *************/ \n";
const std::string noUsers = "\ndumpData() - secUser_dn_count                             = 0 \n"
                            "dumpData() - numberOfSecUserObjectsInObjectCache          = 0 \n"
                            "dumpData() - numberOfSecPolicyDataObjectsInObjectCache    = 0 \n"
                            "dumpData() - numberOfSecMapForSecUserObjectsInObjectCache = 0 \n"
                            "dumpData() - numberOfUserSecUserObjectsInObjectCache      = 0 \n"
                            "dumpData() - numberOfSecPolicyObjectsInObjectCache        = 0 \n"
                            "dumpData() - next_available_secUser_dn_slot               = 0 \n";
const std::string newUser =
    "----------------- BEGIN NEW USER --------------------------------------\n";
const std::string middle = "/*************** END   DUMP OF USER  DATA ABOVE **************/ \n"
                           "/*************** BEGIN DUMP OF GROUP DATA BELOW **************/ \n";
const std::string noGroups = "\ndumpData() - secGroup_dn_count                             = 0 \n"
                             "dumpData() - numberOfSecGroupObjectsInObjectCache          = 0 \n"
                             "dumpData() - numberOfSecMapForSecGroupObjectsInObjectCache = 0 \n"
                             "dumpData() - next_available_secGroup_dn_slot               = 0 \n";
const std::string newGroup =
    "\n----------------- BEGIN NEW GROUP -----------------------------------\n";
const std::string trailer =
    "/*************** END   DUMP OF GROUP DATA ABOVE **************/ \n"
    "dumpData():  FUNCTION EXIT \n\n"
    "/*************************************************************/ \n\n\n\n";

TEST_F(DumpTest, WithTheTraceOffNothingIsWritten) {
    startTrace();
    debug = false;
    secUser_dn.open("cn=a\n");
    EXPECT_EQ(dumpData(), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(DumpTest, AnEmptyCacheHasNoBlocks) {
    EXPECT_EQ(report(), header + noUsers + middle + noGroups + trailer);
}

TEST_F(DumpTest, EveryCounterHasItsOwnLine) {
    // No two counters are equal. Without owners the rows have no blocks.
    const auto fillRows = [](Matrix& matrix, int count) {
        for (int i = 0; i < count; ++i) {
            fillRow(matrix, 100 + i, {"dn: cn=a\n"});
        }
    };
    for (int i = 0; i < 8; ++i) {
        secUser_dn.open("cn=" + std::to_string(i) + "\n");
    }
    secUser_dn.count = 0;
    fillRows(secUser_matrix, 2);
    fillRows(secPolicyData_matrix, 3);
    fillRows(secMap_for_secUser_matrix, 4);
    fillRows(Users_secUser_matrix, 5);
    fillRows(secPolicy_matrix, 6);
    secGroup_dn.open("cn=g\n");
    secGroup_dn.count = 0;
    fillRows(secGroup_matrix, 9);
    fillRows(secMap_for_secGroup_matrix, 10);
    EXPECT_EQ(report(), header +
                            "\ndumpData() - secUser_dn_count                             = 0 \n"
                            "dumpData() - numberOfSecUserObjectsInObjectCache          = 2 \n"
                            "dumpData() - numberOfSecPolicyDataObjectsInObjectCache    = 3 \n"
                            "dumpData() - numberOfSecMapForSecUserObjectsInObjectCache = 4 \n"
                            "dumpData() - numberOfUserSecUserObjectsInObjectCache      = 5 \n"
                            "dumpData() - numberOfSecPolicyObjectsInObjectCache        = 6 \n"
                            "dumpData() - next_available_secUser_dn_slot               = 8 \n" +
                            middle +
                            "\ndumpData() - secGroup_dn_count                             = 0 \n"
                            "dumpData() - numberOfSecGroupObjectsInObjectCache          = 9 \n"
                            "dumpData() - numberOfSecMapForSecGroupObjectsInObjectCache = 10 \n"
                            "dumpData() - next_available_secGroup_dn_slot               = 1 \n" +
                            trailer);
}

// The part of the report from `begin` to before `end`.
std::string blocksOf(const std::string& whole, const std::string& begin, const std::string& end) {
    const std::size_t start = whole.find(begin);
    return whole.substr(start, whole.find(end) - start);
}

TEST_F(DumpTest, AFullUserBlock) {
    secUser_dn.open("cn=a\n");
    fillRow(secUser_matrix, 0, {"dn: cn=a\n", "a: 1\n"});
    fillRow(Users_secUser_matrix, 0, {"dn: cn=u\n"});
    fillRow(secPolicyData_matrix, 0, {"dn: cn=d\n"});
    setPolicyDn(0, "cn=Policy\n");
    fillRow(secPolicy_matrix, 0, {"dn: cn=p\n", "b: 2\n"});
    fillRow(secMap_for_secUser_matrix, 0, {"dn: cn=m\n"});
    EXPECT_EQ(blocksOf(report(), newUser, middle),
              newUser + "\ndumpData() - secUser_dn[0] = cn=a\n \n"
                        "dumpData() - secUser_matrix[0][0] = dn: cn=a\n"
                        "dumpData() - secUser_matrix[0][1] = a: 1\n"
                        "\n"
                        "dumpData() - Users_secUser_matrix[0][0] = dn: cn=u\n"
                        "\n"
                        "dumpData() - secPolicyData_matrix[0][0] = dn: cn=d\n"
                        "\n"
                        "\ndumpData() - secPolicy_dn[0] = cn=Policy\n \n"
                        "dumpData() - secPolicy_matrix[0][0] = dn: cn=p\n"
                        "dumpData() - secPolicy_matrix[0][1] = b: 2\n"
                        "\n"
                        "dumpData() - secMap_for_secUser_matrix[0][0] = dn: cn=m\n"
                        "\n");
}

TEST_F(DumpTest, EveryUserSlotHasABlockAndEveryEmptyRowALine) {
    secUser_dn.open("cn=a\n");
    secUser_dn.open("");
    const auto emptyRows = [](const std::string& i) {
        return "\ndumpData() - secUser_matrix[" + i +
               "][0] was NULL \n"
               "\ndumpData() - No \"Users\" secUser entry for this secUser. \n\n"
               "\ndumpData() - secPolicyData_matrix[" +
               i +
               "][0] was NULL \n\n"
               "\ndumpData() - No secPolicy DN for this user. \n\n"
               "\ndumpData() - No secPolicy for this user. \n\n"
               "\ndumpData() - secMapForSecUser_matrix[" +
               i + "][0] was NULL \n\n";
    };
    EXPECT_EQ(blocksOf(report(), newUser, middle),
              newUser + "\ndumpData() - secUser_dn[0] = cn=a\n \n" + emptyRows("0") + newUser +
                  "\ndumpData() - secUser_dn[1] was NULL \n" + emptyRows("1"));
}

TEST_F(DumpTest, AUserWithAnEntryAlone) {
    secUser_dn.open("cn=a\n");
    fillRow(secUser_matrix, 0, {"dn: cn=a\n"});
    EXPECT_EQ(blocksOf(report(), newUser, middle),
              newUser + "\ndumpData() - secUser_dn[0] = cn=a\n \n"
                        "dumpData() - secUser_matrix[0][0] = dn: cn=a\n"
                        "\n"
                        "\ndumpData() - No \"Users\" secUser entry for this secUser. \n\n"
                        "\ndumpData() - secPolicyData_matrix[0][0] was NULL \n\n"
                        "\ndumpData() - No secPolicy DN for this user. \n\n"
                        "\ndumpData() - No secPolicy for this user. \n\n"
                        "\ndumpData() - secMapForSecUser_matrix[0][0] was NULL \n\n");
}

TEST_F(DumpTest, FullAndEmptyGroupBlocks) {
    secGroup_dn.open("cn=g\n");
    secGroup_dn.open("");
    fillRow(secGroup_matrix, 0, {"dn: cn=g\n", "a: 1\n"});
    fillRow(secMap_for_secGroup_matrix, 0, {"dn: cn=m\n"});
    EXPECT_EQ(blocksOf(report(), newGroup, trailer),
              newGroup +
                  "\ndumpData() - secGroup_dn[0] = cn=g\n \n"
                  "dumpData() - secGroup_matrix[0][0] = dn: cn=g\n"
                  "dumpData() - secGroup_matrix[0][1] = a: 1\n"
                  "\n"
                  "dumpData() - secMap_for_secGroup_matrix[0][0] = dn: cn=m\n"
                  "\n" +
                  newGroup +
                  "\ndumpData() - secGroup_dn[1] was NULL \n\n"
                  "\ndumpData() - secGroup_matrix[1][0] was NULL \n\n"
                  "\ndumpData() - secMap_for_secGroup_matrix[1][0] was NULL \n\n");
}

TEST_F(DumpTest, TheReportChangesNothing) {
    secUser_dn.open("cn=a\n");
    fillRow(secUser_matrix, 0, {"dn: cn=a\n"});
    const std::string first = report();
    EXPECT_EQ(report(), first);
    EXPECT_EQ(secUser_dn_count(), 1);
    EXPECT_EQ(linesOf(secUser_matrix.row(0)), Row{"dn: cn=a\n"});
}

}  // namespace
