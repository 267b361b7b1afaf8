#include "output/merge.h"

#include <gmock/gmock.h>

#include "support/cache_fixture.h"
#include "support/dice.h"
#include "support/failure.h"
#include "support/naive_merge.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

class MergeTest : public EntryFixture {
protected:
    // The lines of the entry merged from two entries.
    static Row merged(std::initializer_list<std::string_view> first,
                      std::initializer_list<std::string_view> second) {
        mergeObjects(entryOf(first), entryOf(second));
        return linesOf(object);
    }
    static Failure failureOfMerge(std::initializer_list<std::string_view> first,
                                  std::initializer_list<std::string_view> second) {
        return failureOf([&] { mergeObjects(entryOf(first), entryOf(second)); });
    }
    // The trace of the merge.
    std::string traceOfMerge(std::initializer_list<std::string_view> first,
                             std::initializer_list<std::string_view> second) {
        startTrace();
        merged(first, second);
        return traced();
    }
};

// ---- Rules

TEST_F(MergeTest, AUserAndItsMapping) {
    EXPECT_EQ(merged({"dn: secAuthority=Default,cn=jdoe,o=example\n", "objectclass: secUser\n",
                      "secAuthority: Default\n", "principalName: jdoe\n", "secUUID: 1111\n",
                      "aclentry: group:x\n"},
                     {"dn: cn=jdoe,o=maps\n", "objectclass: secMap\n", "secAuthority: Default\n",
                      "secDN: cn=jdoe,o=example\n", "secUUID: 2222\n"}),
              (Row{"dn: secAuthority=Default,cn=jdoe,o=example\n", "objectclass: secUser\n",
                   "secAuthority: Default\n", "principalName: jdoe\n", "secUUID: 2222\n",
                   "secDN: cn=jdoe,o=example\n"}));
}

TEST_F(MergeTest, WithoutACommonAttributeTheSecondFollowsTheFirst) {
    EXPECT_EQ(
        merged({"dn: a\n", "objectClass: x\n", "one: 1\n", "acl: 2\n", "three: 3\n"},
               {"dn: b\n", "four: 4\n", "objectClass: y\n", "ACI: 5\n", "six: 6\n"}),
        (Row{"dn: a\n", "objectClass: x\n", "one: 1\n", "three: 3\n", "four: 4\n", "six: 6\n"}));
}

TEST_F(MergeTest, TheSecondValueReplacesTheFirstAtItsPosition) {
    EXPECT_EQ(merged({"dn: a\n", "x: 1\n", "y: 2\n"}, {"dn: b\n", "y: 3\n", "x: 4\n"}),
              (Row{"dn: a\n", "x: 4\n", "y: 3\n"}));
}

TEST_F(MergeTest, TheFirstSecAuthorityIsKeptInAnyCase) {
    EXPECT_EQ(merged({"dn: a\n", "SECAuthority: 1\n"}, {"dn: b\n", "secAuthority: 2\n"}),
              (Row{"dn: a\n", "SECAuthority: 1\n"}));
}

TEST_F(MergeTest, ALineThatMentionsSecauthorityIsKeptToo) {
    EXPECT_EQ(merged({"dn: a\n", "x: see secAuthority: 1\n"}, {"dn: b\n", "x: 2\n"}),
              (Row{"dn: a\n", "x: see secAuthority: 1\n"}));
}

TEST_F(MergeTest, ValuesPairOffInOrder) {
    EXPECT_EQ(merged({"dn: a\n", "x: 1\n", "x: 2\n"}, {"dn: b\n", "x: 3\n"}),
              (Row{"dn: a\n", "x: 3\n", "x: 2\n"}));
    EXPECT_EQ(merged({"dn: a\n", "x: 1\n"}, {"dn: b\n", "x: 2\n", "x: 3\n"}),
              (Row{"dn: a\n", "x: 2\n", "x: 3\n"}));
    EXPECT_EQ(merged({"dn: a\n", "x: 1\n", "x: 2\n"}, {"dn: b\n", "x: 3\n", "x: 4\n"}),
              (Row{"dn: a\n", "x: 3\n", "x: 4\n"}));
}

TEST_F(MergeTest, ANameMatchesInAnyCaseInsideALongerNameAndInAValue) {
    EXPECT_EQ(merged({"dn: a\n", "cn: 1\n"}, {"dn: b\n", "oldCN: 2\n", "cn: 3\n"}),
              (Row{"dn: a\n", "oldCN: 2\n", "cn: 3\n"}));
    EXPECT_EQ(merged({"dn: a\n", "cn: 1\n"}, {"dn: b\n", "description: CN: 2\n"}),
              (Row{"dn: a\n", "description: CN: 2\n"}));
}

TEST_F(MergeTest, ANameMayMatchALineThatIsDroppedOtherwise) {
    EXPECT_EQ(merged({"dn: a\n", "n: 1\n", "l: 2\n", "class: 3\n"},
                     {"dn: b\n", "acl: c\n", "objectClass: d\n"}),
              (Row{"dn: a\n", "dn: b\n", "acl: c\n", "objectClass: d\n"}));
}

TEST_F(MergeTest, TheColonBelongsToTheName) {
    EXPECT_EQ(merged({"dn: a\n", "c: 1\n"}, {"dn: b\n", "cn: 2\n"}),
              (Row{"dn: a\n", "c: 1\n", "cn: 2\n"}));
}

TEST_F(MergeTest, AnObjectClassAnywhereInALineOfTheFirstIsKept) {
    EXPECT_EQ(merged({"dn: a\n", "description: see objectClass: note\n", "acl: objectclass: x\n"},
                     {"dn: b\n", "description: 2\n"}),
              (Row{"dn: a\n", "description: see objectClass: note\n", "acl: objectclass: x\n",
                   "description: 2\n"}));
}

TEST_F(MergeTest, OtherSpellingsOfObjectClassAreOrdinaryAttributes) {
    EXPECT_EQ(merged({"dn: a\n", "objectClass: x\n"},
                     {"dn: b\n", "ObjectClass: y\n", "OBJECTCLASS: z\n"}),
              (Row{"dn: a\n", "objectClass: x\n", "ObjectClass: y\n", "OBJECTCLASS: z\n"}));
}

TEST_F(MergeTest, AnObjectClassInAValueOfTheSecondIsNoObjectClass) {
    EXPECT_EQ(merged({"dn: a\n"}, {"dn: b\n", "description: objectClass: x\n"}),
              (Row{"dn: a\n", "description: objectClass: x\n"}));
}

TEST_F(MergeTest, TheDropListDropsFromBothButForObjectClassesOfTheFirst) {
    for (const std::string_view name : dropList) {
        const std::string line = std::string(name) + " x\n";
        const bool isObjectClass = name[0] == 'o';
        EXPECT_EQ(merged({"dn: a\n", line, "z: 1\n"}, {"dn: b\n", "y: 2\n"}),
                  (isObjectClass ? Row{"dn: a\n", line, "z: 1\n", "y: 2\n"}
                                 : Row{"dn: a\n", "z: 1\n", "y: 2\n"}));
        EXPECT_EQ(merged({"dn: a\n", "z: 1\n"}, {"dn: b\n", line, "y: 2\n"}),
                  (Row{"dn: a\n", "z: 1\n", "y: 2\n"}));
    }
}

TEST_F(MergeTest, TheDropListIsExact) {
    for (const std::string line : {"Aclentry: x\n", "ACLENTRY: x\n", "CONTROL: x\n", "Acl: x\n",
                                   "Aci: x\n", "Kvo-EntryUUID: x\n", "myacl: x\n"}) {
        EXPECT_EQ(merged({"dn: a\n", line}, {"dn: b\n"}), (Row{"dn: a\n", line}));
        EXPECT_EQ(merged({"dn: a\n"}, {"dn: b\n", line}), (Row{"dn: a\n", line}));
    }
}

TEST_F(MergeTest, OnlyTwoSpellingsMakeADnLine) {
    EXPECT_EQ(merged({"DN: a\n", "x: 1\n"}, {"DN: b\n"}), (Row{"DN: a\n", "x: 1\n"}));
    EXPECT_EQ(merged({"dn: a\n", "DN: c\n"}, {"dn: b\n"}), (Row{"dn: a\n", "DN: c\n"}));
    EXPECT_EQ(merged({"dn: a\n"}, {"Dn: b\n"}), (Row{"dn: a\n", "Dn: b\n"}));
    EXPECT_EQ(merged({"Dn: a\n"}, {"dn: b\n"}), Row{"dn: b\n"});
}

TEST_F(MergeTest, TheInputsStayAndTheOldCurrentEntryIsReleased) {
    setObject({"dn: old\n", "x: old\n"});
    const Entry first = entryOf({"dn: a\n", "x: 1\n"});
    const Entry second = entryOf({"dn: b\n", "x: 2\n"});
    mergeObjects(first, second);
    EXPECT_EQ(linesOf(object), (Row{"dn: a\n", "x: 2\n"}));
    EXPECT_EQ(next_available_object_slot(), 2);
    EXPECT_EQ(linesOf(first), (Row{"dn: a\n", "x: 1\n"}));
    EXPECT_EQ(linesOf(second), (Row{"dn: b\n", "x: 2\n"}));
}

TEST_F(MergeTest, EntriesOfSixtyLinesAreMerged) {
    const Entry first = entryOfLength(60);
    mergeObjects(first, entryOf({"dn: b\n", "a59: x\n", "z: y\n"}));
    Row expected = linesOf(first);
    expected[59] = "a59: x\n";
    expected.emplace_back("z: y\n");
    EXPECT_EQ(linesOf(object), expected);
}

TEST_F(MergeTest, RandomEntriesAreMergedLikeTheNaiveMerge) {
    Dice dice(5200);
    const std::vector<std::string> names = {
        "dn:",          "DN:",  "Dn:",  "cn:",  "CN:",      "oldcn:",       "secAuthority:",
        "n:",           "acl:", "Acl:", "aci:", "x:",       "objectClass:", "objectclass:",
        "ObjectClass:", "l:",   ":",    "X:",   "Control:", "secauthority:"};
    const std::vector<std::string> values = {
        " 1\n", " cn: 2\n", "\n", " objectClass: y\n", " secAuthority: 3\n", " X:\r\n"};
    const auto randomEntry = [&](std::size_t max) {
        Row lines = {"dn: start\n"};
        for (std::size_t count = dice.upTo(max); count > 0; --count) {
            lines.push_back(dice.oneOf(names) + dice.oneOf(values));
        }
        return lines;
    };
    for (int round = 0; round < 5000; ++round) {
        const std::size_t max = round % 20 == 0 ? 200 : 7;
        const Row first = randomEntry(max);
        const Row second = randomEntry(max);
        Entry inputs[2];
        for (const std::string& line : first) {
            inputs[0].append(line);
        }
        for (const std::string& line : second) {
            inputs[1].append(line);
        }
        mergeObjects(inputs[0], inputs[1]);
        ASSERT_EQ(linesOf(object), naiveMerge(first, second))
            << testing::PrintToString(first) << testing::PrintToString(second);
    }
}

// ---- Failures

TEST_F(MergeTest, AnEmptyInputEndsTheProcess) {
    const std::string first = "mergeObjects(): inputObject1 = ";
    const std::string second = "mergeObjects(): inputObject2 = ";
    startTrace();
    EXPECT_EQ(failureOfMerge({}, {}), (Failure{{380928302}, first + "NULL\n" + second + "NULL\n"}));
    EXPECT_EQ(failureOfMerge({"dn: a\n"}, {}),
              (Failure{{380928302}, first + "dn: a\n\n" + second + "NULL\n"}));
    EXPECT_EQ(failureOfMerge({}, {"dn: b\n"}),
              (Failure{{380928302}, first + "NULL\n" + second + "dn: b\n\n"}));
    EXPECT_THAT(traced(), EndsWith("mergeObjects():  FUNCTION ENTRY  \n"
                                   "mergeObjects():  One or both inputs is NULL.  Exiting. \n"));
}

TEST_F(MergeTest, ALineWithoutAColonEndsTheProcess) {
    const std::string error =
        "mergeObjects():  Colon missing from attribute definition. EXITING. \n";
    startTrace();
    EXPECT_EQ(failureOfMerge({"dn: a\n", "none\n"}, {"dn: b\n"}),
              (Failure{{380928302}, error + "mergeObjects():  attributeClone = none\n\n"}));
    EXPECT_EQ(failureOfMerge({"dn: a\n"}, {"dn: b\n", "none\n"}),
              (Failure{{380928302}, error + "attributeClone =  none\n\n"}));
    EXPECT_THAT(
        traced(),
        EndsWith(error + "                 The input file could be corrupt.                  \n"));
}

// The message of a merge that fails.
std::string messageOfMerge(std::initializer_list<std::string_view> first,
                           std::initializer_list<std::string_view> second) {
    return endingOf([&] { mergeObjects(entryOf(first), entryOf(second)); }).errors;
}

TEST_F(MergeTest, ALineWithoutAColonIsShownByItsNumberAlone) {
    const std::string counting =
        ", counted from its DN line without comments and continuation lines. ";
    EXPECT_THAT(messageOfMerge({"dn: a\n", "cn: a\n", "secret\n", "sn: a\n"}, {"dn: b\n"}),
                HasSubstr("the entry \"dn: a\" has a line without a colon: its line 3" + counting));
    EXPECT_THAT(messageOfMerge({"dn: a\n"}, {"dn: b\n", "secret\n"}),
                HasSubstr("the entry \"dn: b\" has a line without a colon: its line 2" + counting));
    EXPECT_THAT(
        messageOfMerge({"secret\n"}, {"dn: b\n"}),
        HasSubstr("the entry (no DN line; ldif-migrate-check reports its line number) has a "
                  "line without a colon: its line 1" +
                  counting));
}

// The text behind the first 4,095 bytes of a line is a line without a colon to the merge.
TEST_F(MergeTest, APieceOfALongAttributeIsShownAsItsAttribute) {
    const std::string longLine = "cn: " + std::string(4091, 'x');
    EXPECT_THAT(
        messageOfMerge({"dn: a\n", longLine, "secret\n", "sn: a\n"}, {"dn: b\n"}),
        HasSubstr("the entry \"dn: a\" has an attribute that is longer than 4,094 bytes: its "
                  "line 2, counted"));
}

TEST_F(MergeTest, WithoutMemoryTheProcessEnds) {
    const Entry first = entryOf({"dn: a\n", "x: 1\n", "acl: 2\n"});
    const Entry second = entryOf({"dn: b\n", "x: 2\n", "y: 3\n"});
    EXPECT_THAT(
        lastTracesWithoutMemory([&] { mergeObjects(first, second); }),
        testing::AllOf(testing::SizeIs(testing::Gt(0U)),
                       testing::Each(EndsWith("mergeObjects():  malloc() failure.  EXITING. \n"))));
}

// ---- Traces

TEST_F(MergeTest, AMergeIsTraced) {
    EXPECT_EQ(traceOfMerge({"dn: a\n", "x: 1\n", "acl: 2\n"}, {"dn: b\n", "x: 3\n", "y: 4\n"}),
              "mergeObjects():  FUNCTION ENTRY  \n"
              "THE FOLLOWING TWO OBJECTS ARE TO BE MERGED: \n"
              "   inputObject1[0] = dn: a\n"
              "   inputObject1[1] = x: 1\n"
              "   inputObject1[2] = acl: 2\n"
              "\n\n"
              "   inputObject2[0] = dn: b\n"
              "   inputObject2[1] = x: 3\n"
              "   inputObject2[2] = y: 4\n"
              "mergeObjects():  numberOfInputObject1Attributes = 3 \n"
              "mergeObjects():  numberOfInputObject2Attributes = 3 \n"
              "CLONES OF THE ABOVE OBJECTS ARE: \n"
              "inputObject1Clone[0] = dn: a\n"
              "inputObject1Clone[1] = x: 1\n"
              "inputObject1Clone[2] = acl: 2\n"
              "\n\n"
              "inputObject2Clone[0] = dn: b\n"
              "inputObject2Clone[1] = x: 3\n"
              "inputObject2Clone[2] = y: 4\n"
              "\nmergeObjects():  THE FOLLOWING ATTRIBUTES REMAINED UNMERGED WITHIN "
              "inputObject1Clone. \n"
              "                   CHECK THESE FOR ERRRORS. \n"
              "                  inputObject1Clone[2] = acl: 2\n "
              "\nmergeObjects():  THE FOLLOWING ATTRIBUTES REMAINED UNMERGED WITHIN "
              "inputObject2Clone: \n"
              "                   CHECK THESE FOR ERRRORS. \n"
              "                  inputObject2Clone[0] = dn: b\n "
              "mergeObjects():  The merged object is: \n"
              "                 object[0] = dn: a\n "
              "                 object[1] = x: 3\n "
              "                 object[2] = y: 4\n "
              "mergeObjects():  FUNCTION EXIT \n");
}

}  // namespace
