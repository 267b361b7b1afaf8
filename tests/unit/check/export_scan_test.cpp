#include "check/export_scan.h"

#include <gtest/gtest.h>

#include "support/process.h"
#include "support/scan_fixture.h"

namespace {

using ExportScanTest = ScanFixture;

constexpr std::string_view domain =
    "dn: secAuthority=Default\nobjectClass: secAuthorityInfo\nsecAuthority: Default\n";

TEST_F(ExportScanTest, AnEmptyExportHoldsNothing) {
    scan("");
    EXPECT_EQ(inventory.entries, 0U);
    EXPECT_EQ(typesFound(), "");
}

TEST_F(ExportScanTest, EntriesAreCountedByClass) {
    scan(std::string(domain) +
         "version: 3.0\n\n"
         "dn: cn=a\nobjectClass: person\n\n"
         "dn: cn=b\nobjectClass: container\n\n"
         "dn: secUUID=1,cn=Groups,secAuthority=Default\nobjectClass: secMap\nsecDN: cn=g\n");
    EXPECT_EQ(inventory.entries, 4U);
    EXPECT_EQ(inventory.byClass[SECAUTHORITYINFO_OBJECTCLASS], 1U);
    EXPECT_EQ(inventory.byClass[UNINTERESTING_OBJECTCLASS], 1U);
    EXPECT_EQ(inventory.byClass[CONTAINER_OBJECTCLASS], 1U);
    EXPECT_EQ(inventory.byClass[SECMAP_OBJECTCLASS], 1U);
    EXPECT_EQ(inventory.groups, 1U);
    EXPECT_EQ(inventory.users, 0U);
}

TEST_F(ExportScanTest, AFileThatIsNotThereCannotBeChecked) {
    const Ending ending = endingOf([] { scanExport(input_ldif_filename + "-gone", {}); });
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.errors, "ldif-migrate-check: cannot check \"" + input_ldif_filename +
                                 "-gone\": No such file or directory\n");
}

TEST_F(ExportScanTest, AnotherScanStartsFromScratch) {
    scan("dn: cn=a\nobjectClass: person\n\ndn: cn=b\nobjectClass: person\n");
    scan("dn: cn=a\nobjectClass: person\n");
    EXPECT_EQ(inventory.entries, 1U);
}

TEST_F(ExportScanTest, AVersionOfThreeCharactersIsFine) {
    scan(std::string(domain) + "version: 3.0\n");
    EXPECT_EQ(typesFound(), "");
}

TEST_F(ExportScanTest, AVersionWithoutASpaceIsNotSet) {
    scan(std::string(domain) + "version:3.0\n");
    EXPECT_EQ(typesFound(), "version-not-set ");
    EXPECT_EQ(shown(FindingType::VERSION_NOT_SET).front().line, 4);
}

TEST_F(ExportScanTest, AClassNamedInAValueIsMistaken) {
    scan("dn: cn=a\nobjectClass: person\nnote: objectClass: secResCreds\n");
    EXPECT_EQ(typesFound(), "class-mistaken ");
    EXPECT_EQ(shown(FindingType::CLASS_MISTAKEN).front().line, 3);
}

}  // namespace
