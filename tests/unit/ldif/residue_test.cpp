#include "ldif/residue.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/ldif_fixture.h"
#include "support/odd_files.h"
#include "support/process.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

const std::string function = "copyRemainingObjectsToOutputLDIFFile():  ";
const std::string entry = "dn: cn=a\nobjectClass: secResCreds\n";

// The size of an output file's buffer.
constexpr std::size_t outputBufferSize = 256 * 1024;

class Residue : public LdifFixture {
protected:
    // The text that the residue copy of a work file adds to the output.
    std::string copied(std::string_view content) {
        writeFile(temp_input_ldif_filename, content);
        openOutput();
        copyRemainingObjectsToOutputLDIFFile();
        return output();
    }

    // How the residue copy of a work file ends.
    Ending endingOfCopy(std::string_view content) {
        writeFile(temp_input_ldif_filename, content);
        return endingOf(copyRemainingObjectsToOutputLDIFFile);
    }
};

TEST_F(Residue, EmptyWorkFileAddsNothing) {
    EXPECT_EQ(copied(""), "");
    EXPECT_EQ(copied("   \r\n\n \r\n"), "");
    EXPECT_EQ(copied("# comment\n"), "");
}

TEST_F(Residue, EveryEntryIsCopiedWithABlankLineBehindIt) {
    const std::string container = "dn: cn=ResCreds,cn=a\nobjectClass: container\n";
    EXPECT_EQ(copied("  \r\n" + container + "\n\n" + entry), container + "\n" + entry + "\n");
}

TEST_F(Residue, LinesAreCopiedUnchanged) {
    const std::string lines = "dn: cn=a\r\n ,o=b\nobjectClass: secResCreds\nsecdn: a, b \r\n";
    EXPECT_EQ(copied(lines + "\n"), lines + "\n");
}

TEST_F(Residue, CommentsAreNotCopied) {
    EXPECT_EQ(copied("# one\n" + entry + "# two\n\n"), entry + "\n");
}

TEST_F(Residue, AttributesOfTheDirectoryAreDropped) {
    for (const std::string line :
         {"aclEntry: x\n", "ACI: x\n", "acl: x\n", "control: x\n", "kvo-entryuuid: x\n",
          "KVO-EntryUUID:x\n", "description: its acl: x\n", "secretControl: x\n", " aci: x\n"}) {
        EXPECT_EQ(copied(entry + line + "cn: a\n\n"), entry + "cn: a\n\n") << line;
    }
}

TEST_F(Residue, ResemblingAttributesAreKept) {
    for (const std::string line : {"aclEntries: x\n", "acl x\n", "controls: x\n", "acid x\n"}) {
        EXPECT_EQ(copied(entry + line + "\n"), entry + line + "\n");
    }
}

TEST_F(Residue, ContinuationOfADroppedAttributeIsKept) {
    EXPECT_EQ(copied(entry + "aclEntry: x\n y\n\n"), entry + " y\n\n");
}

TEST_F(Residue, EveryLineOfAnEntryMayBeDropped) {
    EXPECT_EQ(copied("aci: objectclass: secrescreds\n\n"), "\n");
}

TEST_F(Residue, OutputIsAddedTo) {
    writeFile(temp_input_ldif_filename, entry);
    openOutput();
    ofp.write("before\n");
    copyRemainingObjectsToOutputLDIFFile();
    EXPECT_EQ(output(), "before\n" + entry + "\n");
}

TEST_F(Residue, CopiedEntriesAreBlankedAndTheWorkFileIsClosed) {
    copied("\n" + entry + "\n" + entry);
    EXPECT_EQ(workFile(), "\n       \r\n                       \r\n\n"
                          "       \r\n                       \r\n");
    EXPECT_FALSE(tifp.isOpen());
}

TEST_F(Residue, OtherClassesEndTheProcess) {
    const std::string error = function +
                              "ERROR:  The object class of this object was unrecognizable.  "
                              "EXITING. \n";
    debugError = true;
    openOutput();
    for (const std::string name : {"secUser", "secGroup", "secPolicy", "secPolicyData", "secMap",
                                   "secAuthorityInfo", "container", "person"}) {
        startTrace();
        const Ending ending = endingOfCopy("dn: cn=a\nobjectClass: " + name + "\n\n");
        EXPECT_THAT(ending, FailsWith(380928302)) << name;
        EXPECT_EQ(ending.output, error);
        EXPECT_THAT(traced(), EndsWith(error));
    }
}

TEST_F(Residue, MissingWorkFileEndsTheProcess) {
    debugError = true;
    startTrace();
    const Ending ending = endingOf(copyRemainingObjectsToOutputLDIFFile);
    EXPECT_THAT(ending, FailsWith(380928304));
    EXPECT_THAT(ending.errors, HasSubstr('"' + temp_input_ldif_filename + '"'));
    EXPECT_EQ(ending.output, "");
    EXPECT_THAT(traced(),
                EndsWith(function + "ERROR:  Unable to open temporary input LDIF file:  " +
                         temp_input_ldif_filename + ". \n                 EXITING \n"));
}

TEST_F(Residue, WorkFileThatHasBecomeALinkIsNotOpened) {
    const std::string elsewhere = writeFile(folder.path("elsewhere"), entry + "\n");
    std::filesystem::create_symlink(elsewhere, temp_input_ldif_filename);
    EXPECT_THAT(endingOf(copyRemainingObjectsToOutputLDIFFile), FailsWith(380928304));
    EXPECT_EQ(readFile(elsewhere), entry + "\n");
}

TEST_F(Residue, UnreadableWorkFileEndsTheProcess) {
    temp_input_ldif_filename = unreadableFile;
    debugError = true;
    startTrace();
    const Ending ending = endingOf(copyRemainingObjectsToOutputLDIFFile);
    EXPECT_THAT(ending, FailsWith(380928307));
    EXPECT_THAT(ending.errors, HasSubstr('"' + temp_input_ldif_filename + '"'));
    EXPECT_EQ(ending.output, "");
    EXPECT_THAT(traced(), EndsWith("\n" + function +
                                   "ERROR:  The next object could not be read successfully.  "
                                   "EXITING.  \n"));
}

TEST_F(Residue, LineThatCannotBeWrittenEndsTheCopyQuietly) {
    const std::string content = entry + "x: " + std::string(300000, 'x') + "\n\n" + entry + "\n";
    writeFile(temp_input_ldif_filename, content);
    ASSERT_EQ(ofp.open(fullFile, 0), 0);
    debugError = true;
    startTrace();
    const Ending ending = endingOf([] {
        copyRemainingObjectsToOutputLDIFFile();
        std::exit(tifp.isOpen() ? 42 : 1);
    });
    EXPECT_EQ(ending.status, 42);
    EXPECT_EQ(ending.output + ending.errors, "");
    EXPECT_THAT(traced(), EndsWith(function + "fputs() failed with rc=-1 \n" + function +
                                   "FUNCTION EXIT  \n"));
    EXPECT_EQ(workFile(), content);
    ofp.close();
}

TEST_F(Residue, BlankLineThatCannotBeWrittenEndsTheProcessWithoutAMessage) {
    ASSERT_EQ(ofp.open(fullFile, 0), 0);
    ASSERT_EQ(ofp.write(std::string(outputBufferSize - entry.size(), 'x')), 0);
    debugError = true;
    startTrace();
    const Ending ending = endingOfCopy(entry + "\n");
    EXPECT_EQ(ending.status, 255);
    EXPECT_EQ(ending.output + ending.errors, "");
    EXPECT_THAT(traced(), EndsWith(function + "fputs() failed with rc=-1 \n"));
    EXPECT_EQ(workFile(), entry + "\n");
    ofp.close();
}

TEST_F(Residue, EntryThatCannotBeBlankedEndsTheProcess) {
    const std::string error =
        "copyRemainingObjectsToOutputLDIFFile():  ERROR: "
        "deleteNextObjectFromTemporaryInputLDIFFile() failed deleting a ResCreds container or "
        "secResCreds object.  EXITING. \n";
    // The entry lies where no file may be written any more; trace and messages do not.
    writeFile(temp_input_ldif_filename, std::string(100000, '\n') + entry);
    openOutput();
    debugError = true;
    startTrace();
    const Ending ending = endingOf([] {
        const FileSizeLimit limit(50000);
        copyRemainingObjectsToOutputLDIFFile();
    });
    EXPECT_THAT(ending, FailsWith(380928302));
    EXPECT_EQ(ending.output, error);
    EXPECT_THAT(traced(), EndsWith(error));
}

TEST_F(Residue, EveryEntryAndTheEndAreTraced) {
    startTrace();
    copied(entry + "\n");
    const std::string text = traced();
    const std::string first = function + "FUNCTION ENTRY  \n";
    const std::string whileRead =
        "\n" + function + "Another object WAS read successfully.  \n" +
        "           next_available_object_slot = 2  \n" + "\n" + function +
        "THE OBJECT READ WAS:  \n" + entry + "\n" +
        "\ndetermineTheObjectsObjectClass():    \n"
        "   The object class is SECRESCREDS_OBJECTCLASS (not really an object class) \n\n"
        "deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n"
        "deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT  \n";
    const std::string last = "\n" + function +
                             "getNextObjectFromTemporaryInputLDIFFile() has reached the end of the "
                             "temporary input LDIF file. \n" +
                             function + "FUNCTION EXIT  \n";
    EXPECT_THAT(text, testing::StartsWith(first));
    EXPECT_THAT(text, HasSubstr(whileRead));
    EXPECT_THAT(text, EndsWith(last));
}

}  // namespace
