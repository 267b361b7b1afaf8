#include "ldif/run_files.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "support/ldif_fixture.h"
#include "support/odd_files.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using RunFiles = LdifFixture;

TEST_F(RunFiles, FailedPositionNamesCallCodeAndReason) {
    const Message message = positionMessage("fgetpos()", ESPIPE);
    EXPECT_EQ(message.id, 380928301);
    EXPECT_THAT(message.arguments, ElementsAre("fgetpos()", "-1", "Illegal seek"));
}

TEST_F(RunFiles, PositionNotSetForBlankLinesRefusedNamesThese) {
    ASSERT_EQ(tifp.open(fullFile), 0);
    ASSERT_EQ(tifp.overwrite({0}, "blank"), 0);
    EXPECT_EQ(setPositionMessage(tifp, ENOSPC).id, 380928301);
    EXPECT_EQ(tifp.setPosition({0}), ENOSPC);
    const Message message = setPositionMessage(tifp, ENOSPC);
    EXPECT_EQ(message.id, 380928302);
    EXPECT_THAT(message.arguments,
                ElementsAre(input_ldif_filename,
                            "gathered entries could not be overwritten in the work file: "
                            "No space left on device",
                            HasSubstr(temp_input_ldif_filename)));
}

TEST_F(RunFiles, FailedOpenNamesFileAndReason) {
    const Message message = openMessage("export.ldif", ENOENT);
    EXPECT_EQ(message.id, 380928304);
    EXPECT_THAT(message.arguments, ElementsAre("export.ldif", "No such file or directory"));
}

TEST_F(RunFiles, FailedWriteNamesFileAndItsOwnReason) {
    ASSERT_EQ(ofp.open(fullFile, 0), 0);
    ofp.write("text");
    ofp.flush();
    errno = ENOENT;
    const Message message = writeMessage("migrated.ldif", ofp);
    EXPECT_EQ(message.id, 380928306);
    EXPECT_THAT(message.arguments, ElementsAre("migrated.ldif", "No space left on device"));
}

TEST_F(RunFiles, FailureOfTheWorkFileNamesTheProblem) {
    openWorkFile("dn: cn=a\n");
    errno = ENOENT;
    const Message message = workFileMessage("an entry could not be blanked");
    EXPECT_EQ(message.id, 380928302);
    EXPECT_THAT(message.arguments,
                ElementsAre(input_ldif_filename, "an entry could not be blanked in the work file",
                            HasSubstr(temp_input_ldif_filename)));
}

TEST_F(RunFiles, EntriesThatCouldNotBeBlankedAreNotNamed) {
    ASSERT_EQ(tifp.open(fullFile), 0);
    ASSERT_EQ(tifp.overwrite({0}, "blank"), 0);
    EXPECT_EQ(tifp.flush(), ENOSPC);
    setObject({"dn: cn=innocent\n"});
    EXPECT_THAT(blankingFailedMessage().arguments,
                ElementsAre(input_ldif_filename,
                            "gathered entries could not be overwritten in the work file: "
                            "No space left on device",
                            HasSubstr(temp_input_ldif_filename)));
}

TEST_F(RunFiles, FailureOfTheWorkFileNamesTheReasonIfThereIsOne) {
    ASSERT_EQ(tifp.open(unreadableFile), 0);
    getNextLine(nextLine, tifp);
    EXPECT_THAT(workFileMessage("an entry could not be stepped over").arguments,
                ElementsAre(input_ldif_filename,
                            "an entry could not be stepped over in the work file: "
                            "Input/output error",
                            HasSubstr(temp_input_ldif_filename)));
}

}  // namespace
