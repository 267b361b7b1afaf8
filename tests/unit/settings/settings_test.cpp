#include "driver/settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/process.h"
#include "support/temporary_folder.h"

namespace {

void read(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "ldif-migrate");
    readCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

// How the program ends with these arguments; 0 when it would go on.
Ending endingWith(const std::vector<const char*>& arguments) {
    return endingOf([&arguments] { read(arguments); });
}

TEST(CommandLine, FillsTheSettings) {
    read({"in.ldif", "out.ldif", "10", "20"});
    EXPECT_EQ(input_ldif_filename, "in.ldif");
    EXPECT_EQ(output_ldif_filename, "out.ldif");
    EXPECT_EQ(max_number_of_secuser_slots, 10);
    EXPECT_EQ(max_number_of_secgroup_slots, 20);
    EXPECT_EQ(debugFileName, "");
}

TEST(CommandLine, FifthArgumentNamesTheTraceFile) {
    read({"in.ldif", "out.ldif", "10", "20", "trace.txt"});
    EXPECT_EQ(debugFileName, "trace.txt");
}

TEST(CommandLine, WorkFileIsTheInputWithTmpAppended) {
    read({"/some/folder/in.ldif", "out.ldif", "1", "1"});
    EXPECT_EQ(temp_input_ldif_filename, "/some/folder/in.ldif.tmp");
}

TEST(CommandLine, NamesOfAnyLengthAreKeptWhole) {
    const std::string name(10000, 'n');
    read({name.c_str(), name.c_str(), "1", "1", name.c_str()});
    EXPECT_EQ(input_ldif_filename, name);
    EXPECT_EQ(output_ldif_filename, name);
    EXPECT_EQ(temp_input_ldif_filename, name + ".tmp");
    EXPECT_EQ(debugFileName, name);
}

TEST(CommandLine, WrongNumberOfArgumentsEndsWithTheUsage) {
    const std::vector<const char*> all = {"in", "out", "1", "1", "trace", "one too many", "two"};
    for (const int number : {0, 1, 2, 3, 6, 7}) {
        const std::vector<const char*> arguments(all.begin(), all.begin() + number);
        EXPECT_THAT(endingWith(arguments), FailsWith(380928314)) << number;
    }
    for (const int number : {4, 5}) {
        const std::vector<const char*> arguments(all.begin(), all.begin() + number);
        EXPECT_EQ(endingWith(arguments).status, 0) << number;
    }
}

TEST(CommandLine, UsageGoesToStandardErrorAlone) {
    EXPECT_EQ(endingWith({}).output, "");
}

struct CountCase {
    const char* text;
    int count;
};

TEST(CommandLine, SlotCountsAreTheLeadingDecimalDigits) {
    const CountCase cases[] = {
        {"1", 1},     {"5x", 5}, {"12abc", 12}, {"7.9", 7},
        {"010", 10},  {" 8", 8}, {"+9", 9},     {"2000000000", 2000000000},
        {"1 000", 1},
    };
    for (const auto& [text, count] : cases) {
        read({"in", "out", text, "1"});
        EXPECT_EQ(max_number_of_secuser_slots, count) << text;
        read({"in", "out", "1", text});
        EXPECT_EQ(max_number_of_secgroup_slots, count) << text;
    }
}

TEST(CommandLine, SlotCountBeyond32BitsCountsAsTheGreatest) {
    for (const char* text : {"2147483647", "2147483648", "4294967296", "4294967297",
                             "9223372036854775808", "99999999999999999999999"}) {
        read({"in", "out", text, text});
        EXPECT_EQ(max_number_of_secuser_slots, 2147483647) << text;
        EXPECT_EQ(max_number_of_secgroup_slots, 2147483647) << text;
    }
}

TEST(CommandLine, EitherSlotCountBelowOneEndsWithTheUsage) {
    for (const char* text :
         {"0", "-3", "x", "abc", "", "0x10", "-0", "-4294967295", "-99999999999999999999999"}) {
        EXPECT_THAT(endingWith({"in", "out", text, "1"}), FailsWith(380928314)) << text;
        EXPECT_THAT(endingWith({"in", "out", "1", text}), FailsWith(380928314)) << text;
    }
}

TEST(MigrationFailed, NamesExportProblemAndWorkFile) {
    read({"in.ldif", "out.ldif", "1", "1"});
    const Message message = migrationFailed("an entry is broken");
    EXPECT_EQ(message.id, 380928302);
    EXPECT_THAT(message.arguments,
                testing::ElementsAre("in.ldif", "an entry is broken",
                                     "Fix this, remove the work file \"in.ldif.tmp\" and run the "
                                     "migration again"));
}

TEST(SlotOccupied, NamesExportBothEntriesAndWorkFile) {
    read({"in.ldif", "out.ldif", "1", "1"});
    const Message message = slotOccupied("new", "old");
    EXPECT_EQ(message.id, 380928303);
    EXPECT_THAT(message.arguments,
                testing::ElementsAre("in.ldif", "new", "old",
                                     "Keep one of them in the export, remove the work file "
                                     "\"in.ldif.tmp\" and run the migration again"));
}

TEST(SuspectedWorkFile, IsNamedBeforeTheExportIsBlamed) {
    read({"in.ldif", "out.ldif", "1", "1"});
    suspectWorkFile(true);
    const std::string advice =
        "The work file \"in.ldif.tmp\", which an earlier run left behind, was migrated too and is "
        "the likely cause: remove it and run the migration again before you change the export";
    EXPECT_EQ(migrationFailed("an entry is broken").arguments.at(2), advice);
    EXPECT_EQ(slotOccupied("new", "old").arguments.at(3), advice);
    EXPECT_NE(migrationStopped("the disk is full").arguments.at(2), advice);
    suspectWorkFile(false);
    EXPECT_NE(migrationFailed("an entry is broken").arguments.at(2), advice);
}

class SharedFiles : public testing::Test {
protected:
    void SetUp() override {
        input_ldif_filename = writeFile(folder.path("in"), "dn: cn=a\n");
        temp_input_ldif_filename = folder.path("in.tmp");
        output_ldif_filename = folder.path("out");
        debugFileName = folder.path("trace");
    }

    std::string refusalOf(const std::string& offender) {
        const Ending ending = endingOf(refuseSharedFiles);
        EXPECT_THAT(ending, FailsWith(380928304));
        EXPECT_THAT(ending.errors, testing::HasSubstr('"' + offender + '"'));
        return ending.errors;
    }

    TemporaryFolder folder;
};

TEST_F(SharedFiles, DifferentFilesPass) {
    EXPECT_EQ(endingOf(refuseSharedFiles).status, 0);
    debugFileName = "";
    EXPECT_EQ(endingOf(refuseSharedFiles).status, 0);
}

TEST_F(SharedFiles, ExistingDifferentFilesPass) {
    for (const std::string& name :
         {temp_input_ldif_filename, output_ldif_filename, debugFileName}) {
        writeFile(name, "");
    }
    EXPECT_EQ(endingOf(refuseSharedFiles).status, 0);
}

TEST_F(SharedFiles, EveryPairIsRefused) {
    output_ldif_filename = input_ldif_filename;
    refusalOf(output_ldif_filename);

    output_ldif_filename = temp_input_ldif_filename;
    refusalOf(output_ldif_filename);

    output_ldif_filename = folder.path("out");
    debugFileName = input_ldif_filename;
    refusalOf(debugFileName);

    debugFileName = temp_input_ldif_filename;
    refusalOf(debugFileName);

    debugFileName = output_ldif_filename;
    refusalOf(debugFileName);
}

TEST_F(SharedFiles, WorkFileThatIsTheInputIsRefused) {
    std::filesystem::create_symlink(input_ldif_filename, temp_input_ldif_filename);
    refusalOf(temp_input_ldif_filename);
}

TEST_F(SharedFiles, LinksAndOtherSpellingsAreSeenThrough) {
    std::filesystem::create_hard_link(input_ldif_filename, output_ldif_filename);
    refusalOf(output_ldif_filename);

    output_ldif_filename = folder.path("./trace");
    refusalOf(debugFileName);
}

TEST_F(SharedFiles, NothingIsTouchedByARefusal) {
    output_ldif_filename = input_ldif_filename;
    refusalOf(output_ldif_filename);
    EXPECT_EQ(readFile(input_ldif_filename), "dn: cn=a\n");
    EXPECT_FALSE(fileExists(temp_input_ldif_filename));
    EXPECT_FALSE(fileExists(debugFileName));
}

TEST_F(SharedFiles, WorkFileThatIsALinkIsRefusedAndLeftAlone) {
    EXPECT_EQ(endingOf(refuseLinkedWorkFile).status, 0);
    writeFile(temp_input_ldif_filename, "left behind");
    EXPECT_EQ(endingOf(refuseLinkedWorkFile).status, 0);

    std::filesystem::remove(temp_input_ldif_filename);
    const std::string elsewhere = writeFile(folder.path("elsewhere"), "kept");
    std::filesystem::create_symlink(elsewhere, temp_input_ldif_filename);
    const Ending ending = endingOf(refuseLinkedWorkFile);
    EXPECT_THAT(ending, FailsWith(380928304));
    EXPECT_THAT(ending.errors,
                testing::HasSubstr('"' + temp_input_ldif_filename +
                                   "\": the work file is a symbolic link. Remove the link"));
    EXPECT_EQ(readFile(elsewhere), "kept");
}

TEST_F(SharedFiles, DevicesMayBeShared) {
    output_ldif_filename = "/dev/null";
    debugFileName = "/dev/null";
    EXPECT_EQ(endingOf(refuseSharedFiles).status, 0);
}

}  // namespace
