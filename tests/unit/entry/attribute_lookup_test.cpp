#include "entry/attribute_lookup.h"

#include <gmock/gmock.h>

#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <string_view>

#include "support/dice.h"
#include "support/entry_fixture.h"
#include "support/failure.h"
#include "support/process.h"

namespace {

using testing::ElementsAreArray;
using testing::StartsWith;

using AttributeLookup = EntryFixture;

TEST_F(AttributeLookup, NameMatchesCaseInsensitivelyAndTheLineEndIsCut) {
    setObject({"dn: cn=a\n", "secAuthority: Default\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("SECAUTHORITY"), "Default");
    setObject({"dn: cn=a\n", "SECAUTHORITY: Default\r\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("secAuthority"), "Default");
}

TEST_F(AttributeLookup, ValueKeepsItsCaseAndItsTrailingSpaces) {
    setObject({"cn: a B \t\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "a B \t");
}

TEST_F(AttributeLookup, AllSpacesAfterTheColonAreSkippedButNoTab) {
    setObject({"cn:   x\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "x");
    setObject({"cn:x\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "x");
    setObject({"cn: \tx\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "\tx");
}

TEST_F(AttributeLookup, EmptyValueIsAValue) {
    setObject({"cn: \r\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "");
    setObject({"cn:"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "");
}

TEST_F(AttributeLookup, FirstLineThatHoldsTheNameWins) {
    setObject({"dn: cn=a\n", "cn: first\n", "cn: second\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "first");
}

TEST_F(AttributeLookup, FirstOccurrenceOfTheNameInALineWins) {
    setObject({"cn: cn: x\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "cn: x");
}

TEST_F(AttributeLookup, ValueOfALineWithoutAColonIsItsContinuation) {
    setObject({"cn\n", " x\n"});
    EXPECT_EQ(obtainAttributeValueFromObjectArray(0), "x");
}

TEST_F(AttributeLookup, NameMatchesInsideALongerOne) {
    setObject({"secDN: cn=b\n", "dn: cn=a\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("dn"), "cn=b");
}

TEST_F(AttributeLookup, NameBehindTheFirstColonMustBeInLowerCase) {
    setObject({"description: CN: x\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), std::nullopt);
    setObject({"description: cn: x\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("CN"), "x");
}

TEST_F(AttributeLookup, LineWithoutAColonIsPassedOver) {
    setObject({"cn\n", "cn: x\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "x");
}

TEST_F(AttributeLookup, Base64ValueBeginsWithItsSecondColon) {
    setObject({"cn:: eA==\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), ": eA==");
}

TEST_F(AttributeLookup, FoldedValueIsJoined) {
    setObject({"description: ab\n", " cd\n", " ef\n", "cn: x\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("description"), "abcdef");
    setObject({"description: ab\r\n", "  cd \r\n", " ef"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("description"), "ab cd ef");
}

TEST_F(AttributeLookup, TabContinuesNoLine) {
    setObject({"description: ab\n", "\tcd\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("description"), "ab");
}

TEST_F(AttributeLookup, TextEndsAtACarriageReturnWithinTheLine) {
    setObject({"cn: a\rb\n", " c\rd\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "ac");
    EXPECT_EQ(obtainAttributeFromObjectArray(0), "cn: ac");
}

TEST_F(AttributeLookup, ContinuationLinesAreLookedAtLikeOthers) {
    setObject({"description: ab\n", " cn: x\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), "x");
}

TEST_F(AttributeLookup, MissingAttributeIsNoErrorAndLeavesTheEntryAlone) {
    const auto lines = {"dn: cn=a\n", "CN: x\n", " folded\r\n"};
    setObject({"dn: cn=a\n", "CN: x\n", " folded\r\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("sn"), std::nullopt);
    EXPECT_THAT(linesOf(object), ElementsAreArray(lines));
    freeObject();
    EXPECT_EQ(obtainAttributeValueFromObjArray("sn"), std::nullopt);
}

TEST_F(AttributeLookup, FoundAttributeLeavesTheEntryAlone) {
    const auto lines = {"DN: cn=A\r\n", " b\n"};
    setObject({"DN: cn=A\r\n", " b\n"});
    obtainAttributeValueFromObjArray("dn");
    obtainAttributeFromObjectArray(0);
    obtainAttributeValueFromObjectArray(0);
    EXPECT_THAT(linesOf(object), ElementsAreArray(lines));
}

TEST_F(AttributeLookup, LongValuesAreWhole) {
    const std::string part(4000, 'x');
    setObject({"cn: " + part + "\n", " " + part + "\n"});
    EXPECT_EQ(obtainAttributeValueFromObjArray("cn"), part + part);
}

TEST_F(AttributeLookup, WholeAttributeKeepsItsName) {
    setObject({"dn: cn=a\n", "cn: x\r\n"});
    EXPECT_EQ(obtainAttributeFromObjectArray(1), "cn: x");
    setObject({"DN: cn=a\n", " ,o=b\n", "cn: x\n"});
    EXPECT_EQ(obtainAttributeFromObjectArray(0), "DN: cn=a,o=b");
}

TEST_F(AttributeLookup, TextFromTheColonOnKeepsColonAndSpaces) {
    setObject({"dn: cn=a\n", "cn:  x\r\n", " y\n", "sn: z\n"});
    EXPECT_EQ(obtainAttributeValueFromObjectArray(1), ":  xy");
}

TEST_F(AttributeLookup, ContinuationLineAtTheIndexEndsTheProcess) {
    setObject({"dn: cn=a\n", " b\n"});
    EXPECT_THAT(endingOf([] { obtainAttributeFromObjectArray(1); }), FailsWith(380928302));
    EXPECT_THAT(endingOf([] { obtainAttributeValueFromObjectArray(1); }), FailsWith(380928302));
}

TEST_F(AttributeLookup, EmptySlotAtTheIndexEndsTheProcess) {
    setObject({"dn: cn=a\n"});
    EXPECT_THAT(endingOf([] { obtainAttributeFromObjectArray(1); }), FailsWith(380928302));
    EXPECT_THAT(endingOf([] { obtainAttributeValueFromObjectArray(1); }), FailsWith(380928302));
}

struct IndexRoutine {
    std::string name;
    std::string sought;
    std::string result;
    std::function<std::string(int)> run;
};

const IndexRoutine indexRoutines[] = {
    {"obtainAttributeFromObjectArray", "attribute", "cn: xy", obtainAttributeFromObjectArray},
    {"obtainAttributeValueFromObjectArray", "attribute value", ": xy",
     obtainAttributeValueFromObjectArray},
};

TEST_F(AttributeLookup, ContinuationLineIsTracedAndEchoed) {
    setObject({"dn: cn=a\n", " b\n"});
    debugError = true;
    for (const auto& [name, sought, result, run] : indexRoutines) {
        const std::string error =
            name +
            "():  ERROR:  The object at the specified index is a 'continuation' line.  Exiting. \n";
        startTrace();
        EXPECT_THAT(endingOf([&run = run] { run(1); }).output,
                    StartsWith(error + name + "():  object =  b\n"));
        EXPECT_EQ(traced(), "\n" + name +
                                "():  FUNCTION ENTRY \n    Seeking the attribute"
                                " at index 1 \n    object[1] =  b\n \n" +
                                error);
        EXPECT_THAT(endingOf([&run = run] { run(2); }).output,
                    StartsWith(error + name + "():  object = null"));
    }
}

TEST_F(AttributeLookup, ContinuationLineIsNotEchoedUnlessAsked) {
    setObject({"dn: cn=a\n", " b\n"});
    EXPECT_EQ(endingOf([] { obtainAttributeFromObjectArray(1); }).output, "");
}

TEST_F(AttributeLookup, FoundValueIsTraced) {
    setObject({"dn: cn=a\n", "cn: x\n", " y\n"});
    startTrace();
    obtainAttributeValueFromObjArray("CN");
    EXPECT_EQ(traced(), "obtainAttributeValueFromObjArray():  FUNCTION ENTRY \n"
                        "    Seeking the value of attribute:  CN\n"
                        "obtainAttributeValueFromObjArray(): \n"
                        "   The attribute value at index 1 returned is:   xy \n"
                        "obtainAttributeValueFromObjArray():  FUNCTION EXIT \n");
}

TEST_F(AttributeLookup, MissingAttributeIsTracedButNotEchoed) {
    setObject({"dn: cn=a\n"});
    debugError = true;
    startTrace();
    EXPECT_EQ(outputOf([] { obtainAttributeValueFromObjArray("sn"); }), "");
    EXPECT_EQ(traced(), "obtainAttributeValueFromObjArray():  FUNCTION ENTRY \n"
                        "    Seeking the value of attribute:  sn\n"
                        "obtainAttributeValueFromObjArray():  ERROR:  Attribute not found. \n"
                        "obtainAttributeValueFromObjArray():  FUNCTION EXIT \n");
}

TEST_F(AttributeLookup, IndexTracedIsThatBehindTheUnfoldedText) {
    setObject({"dn: cn=a\n", "cn: x\n", " y\n", "sn: z\n"});
    for (const auto& [name, sought, result, run] : indexRoutines) {
        startTrace();
        EXPECT_EQ(run(1), result);
        EXPECT_EQ(traced(), "\n" + name +
                                "():  FUNCTION ENTRY \n    Seeking the attribute"
                                " at index 1 \n    object[1] = cn: x\n \n" +
                                name + "(): \n   The " + sought + " at index 3 returned is:   " +
                                result + " \n" + name + "():  FUNCTION EXIT \n");
    }
}

class MissingMemory : public AttributeLookup {
protected:
    void SetUp() override {
        AttributeLookup::SetUp();
        const std::string longText(100, 'x');
        setObject({"description: " + longText + "\n", " " + longText + "\n"});
    }
};

TEST_F(MissingMemory, IsTracedByTheLineOfTheAllocation) {
    const std::string name = "obtainAttributeValueFromObjArray";
    const std::set<std::string> expected = {
        name + "():  malloc() failure.  EXITING. \n",
        name + "():  ERROR:  malloc() failure.  Exiting. \n",
        name + "():  ERROR:  realloc() failure.  Exiting. \n",
    };
    EXPECT_EQ(lastTracesWithoutMemory([] { obtainAttributeValueFromObjArray("description"); }),
              expected);
}

TEST_F(MissingMemory, IsTracedByTheIndexRoutines) {
    for (const auto& [name, sought, result, run] : indexRoutines) {
        const std::set<std::string> lines = lastTracesWithoutMemory([&run = run] { run(0); });
        EXPECT_THAT(lines,
                    testing::IsSupersetOf({name + "():  ERROR:  malloc() failure.  Exiting. \n",
                                           name + "():  ERROR:  realloc() failure.  Exiting. \n"}));
    }
}

// The attributes of an entry, unfolded together and one by one.
struct Unfolded {
    std::string together;
    std::string oneByOne;
};

Unfolded unfolded() {
    Unfolded result;
    result.together = unfoldedObject();
    for (int i = 0; i < object.lineCount(); ++i) {
        if (!object.line(i).starts_with(' ')) {
            result.oneByOne += obtainAttributeFromObjectArray(i) + '\n';
        }
    }
    return result;
}

TEST_F(AttributeLookup, AllAttributesAreUnfoldedAtOnce) {
    setObject({"dn: cn=a,\n", " o=b\n", "  c\n", "cn: a\n", "x\n", " y"});
    EXPECT_EQ(unfoldedObject(), "dn: cn=a,o=b c\ncn: a\nxy\n");
    setObject({"dn: cn=a\n", "cn: a\n"});
    EXPECT_EQ(unfoldedObject(), "dn: cn=a\ncn: a\n");
    setObject({"dn: cn=a\n", "added without a line end"});
    EXPECT_EQ(unfoldedObject(), "dn: cn=a\nadded without a line end\n");
}

TEST_F(AttributeLookup, AllAttributesAreUnfoldedAsOneByOne) {
    constexpr std::string_view lines[] = {"cn: a\n", "cn: a\r\n", " b\n", " b\r\n",  " \tb\n",
                                          "c",       "a\rb\n",    " c",   " d\re\n", "x:\n"};
    Dice dice(20261);
    for (int round = 0; round < 5000; ++round) {
        freeObject();
        object.append(round % 2 == 0 ? "dn: cn=a\n" : "dn: cn=a");
        for (std::size_t count = dice.upTo(5); count > 0; --count) {
            object.append(lines[dice.upTo(std::size(lines) - 1)]);
        }
        const Unfolded result = unfolded();
        ASSERT_EQ(result.together, result.oneByOne) << object.text();
    }
}

TEST_F(AttributeLookup, ContinuationLineWhereAnAttributeIsRequiredEndsTheProcess) {
    setObject({"dn: cn=a\n", " b\n"});
    requireAttribute(0);
    EXPECT_THAT(endingOf([] { requireAttribute(1); }), FailsWith(380928302));
}

}  // namespace
