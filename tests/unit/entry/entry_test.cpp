#include "entry/entry.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/entry_fixture.h"
#include "support/process.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A view that claims to be as long as a block of lines may be; its bytes are never looked at.
std::string_view greatestText() {
    return {"x", std::numeric_limits<std::uint32_t>::max()};
}

TEST(Entry, FreshEntryHasNoLines) {
    const Entry entry;
    EXPECT_TRUE(entry.empty());
    EXPECT_EQ(entry.lineCount(), 0);
    EXPECT_EQ(entry.line(0).data(), nullptr);
}

TEST(Entry, KeepsLinesUnchangedInTheirOrder) {
    const Entry entry = entryOf({"dn: cn=a\r\n", "cn: a\n", " folded", ""});
    EXPECT_FALSE(entry.empty());
    EXPECT_EQ(entry.lineCount(), 4);
    EXPECT_EQ(entry.line(0), "dn: cn=a\r\n");
    EXPECT_EQ(entry.line(1), "cn: a\n");
    EXPECT_EQ(entry.line(2), " folded");
    EXPECT_EQ(entry.line(3), "");
}

TEST(Entry, LineBehindTheLastOneIsNull) {
    const Entry entry = entryOf({"dn: cn=a\n"});
    EXPECT_EQ(entry.line(1).data(), nullptr);
    EXPECT_EQ(entry.line(250000).data(), nullptr);
}

TEST(Entry, TailMayBecomeLongerShorterOrStay) {
    Entry entry = entryOf({"first\n", "version: 3\n", "last\n"});
    entry.replaceTail(1, 9, "6.0 and more\n");
    EXPECT_THAT(linesOf(entry), ElementsAre("first\n", "version: 6.0 and more\n", "last\n"));
    entry.replaceTail(1, 9, "7");
    EXPECT_THAT(linesOf(entry), ElementsAre("first\n", "version: 7", "last\n"));
    entry.replaceTail(1, 9, "8");
    EXPECT_THAT(linesOf(entry), ElementsAre("first\n", "version: 8", "last\n"));
    entry.replaceTail(0, 0, "");
    EXPECT_THAT(linesOf(entry), ElementsAre("", "version: 8", "last\n"));
    entry.replaceTail(2, 4, "ing");
    EXPECT_THAT(linesOf(entry), ElementsAre("", "version: 8", "lasting"));
}

TEST(Entry, OverwritingChangesNoLength) {
    Entry entry = entryOf({"first\n", "secuuid: 1\n", "last\n"});
    entry.overwrite(1, 0, "secUUID: ");
    EXPECT_THAT(linesOf(entry), ElementsAre("first\n", "secUUID: 1\n", "last\n"));
}

TEST(Entry, GrowsWithoutABound) {
    Entry entry;
    for (int i = 0; i < 20000; ++i) {
        entry.append("control: " + std::to_string(i) + '\n');
    }
    EXPECT_EQ(entry.lineCount(), 20000);
    EXPECT_EQ(entry.line(0), "control: 0\n");
    EXPECT_EQ(entry.line(19999), "control: 19999\n");
}

TEST(Entry, LinesMayComeManyAtATime) {
    Entry entry = entryOf({"dn: cn=a\n"});
    const std::uint32_t ends[] = {6, 7, 12};
    entry.append("cn: a\nx last", ends);
    entry.append("", {});
    EXPECT_THAT(linesOf(entry), ElementsAre("dn: cn=a\n", "cn: a\n", "x", " last"));
}

TEST(EntryView, ShowsLinesBackToBack) {
    const Entry entry = entryOf({"dn: cn=a\n", "cn: a\n", "x", "last"});
    const EntryView view = entry;
    EXPECT_EQ(view.text(), "dn: cn=a\ncn: a\nxlast");
    EXPECT_EQ(view.lines(1, 3), "cn: a\nx");
    EXPECT_EQ(view.lines(4, 4), "");
    EXPECT_EQ(view.line(3), "last");
    EXPECT_EQ(view.line(4).data(), nullptr);
    EXPECT_TRUE(EntryView().empty());
    EXPECT_EQ(EntryView().text(), "");
    EXPECT_EQ(EntryView().line(0).data(), nullptr);
}

TEST(EntryView, FindsTheLineOfAByte) {
    const Entry entry = entryOf({"ab\n", "", "c", "d\n"});
    std::vector<int> lines;
    for (std::size_t offset = 0; offset < entry.text().size(); ++offset) {
        lines.push_back(EntryView(entry).lineOf(offset));
    }
    EXPECT_THAT(lines, ElementsAre(0, 0, 0, 2, 3, 3));
}

TEST(StoredEntry, KeepsAllLines) {
    EntryStorage storage;
    const std::vector<Entry> entries = {entryOf({"dn: cn=a\n", "cn: a\n"}), entryOf({"x"}),
                                        entryOf({"", "y\n", ""}),
                                        entryOf({std::string(1000000, 'z')}), entryOf({"last"})};
    std::vector<StoredEntry> stored;
    for (const Entry& entry : entries) {
        stored.emplace_back(entry, storage);
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(linesOf(stored[i]), linesOf(entries[i]));
    }
    EXPECT_FALSE(stored.front().empty());
    EXPECT_TRUE(StoredEntry().empty());
    EXPECT_TRUE(StoredEntry(Entry(), storage).empty());
    EXPECT_TRUE(EntryView(StoredEntry()).empty());
    EXPECT_TRUE(EntryView(StoredEntry(Entry(), storage)).empty());
}

TEST(EntryStorage, MayBeFilledAgainAfterItHasBeenCleared) {
    EntryStorage storage;
    StoredEntry first(entryOf({"first\n"}), storage);
    storage.clear();
    const StoredEntry second(entryOf({"second\n"}), storage);
    EXPECT_THAT(linesOf(second), ElementsAre("second\n"));
}

// The colon prefixes that end in `name`, up to `max` of them.
std::vector<std::string> colonPrefixesOf(const Entry& entry, std::string_view name,
                                         std::size_t max) {
    std::vector<std::string> seen;
    const bool stopped = someColonPrefix(
        entry, [name](std::string_view colonPrefix) { return colonPrefix.ends_with(name); },
        [&](int line, std::string_view colonPrefix, std::string_view tail) {
            seen.push_back(std::to_string(line) + '|' + std::string(colonPrefix) + '|' +
                           std::string(tail));
            return seen.size() == max;
        });
    EXPECT_EQ(stopped, seen.size() == max);
    return seen;
}

TEST(ColonPrefixes, AreThoseOfEveryColonOfEveryLine) {
    const Entry entry = entryOf({"a: b:c\n", "none\n", "", ":\n", "x", "y:"});
    EXPECT_THAT(colonPrefixesOf(entry, ":", 100),
                ElementsAre("0|a:| b:c\n", "0|a: b:|c\n", "3|:|\n", "5|y:|"));
    EXPECT_THAT(colonPrefixesOf(entry, ":", 2), ElementsAre("0|a:| b:c\n", "0|a: b:|c\n"));
    EXPECT_THAT(colonPrefixesOf(entryOf({"none\n"}), ":", 100), IsEmpty());
    EXPECT_THAT(colonPrefixesOf(Entry(), ":", 100), IsEmpty());
}

TEST(ColonPrefixes, DoNotReachIntoTheLineBefore) {
    // A piece of a long line has no line end: "xcn:" is in the text, but not in a line.
    const Entry entry = entryOf({"dn: x", "cn: a\n", "xcn: b\n"});
    EXPECT_THAT(colonPrefixesOf(entry, "xcn:", 100), ElementsAre("2|xcn:| b\n"));
    EXPECT_THAT(colonPrefixesOf(entry, "cn:", 100), ElementsAre("1|cn:| a\n", "2|xcn:| b\n"));
}

TEST(Entry, ClearedEntriesTakeNewLines) {
    Entry entry = entryOf({"old\n"});
    entry.clear();
    EXPECT_TRUE(entry.empty());
    entry.append("new\n");
    EXPECT_THAT(linesOf(entry), ElementsAre("new\n"));
    entry.append("newer\n");
    EXPECT_THAT(linesOf(entry), ElementsAre("new\n", "newer\n"));
}

TEST(Entry, MoreThanCanBeCountedIsMissingMemory) {
    Entry entry = entryOf({"x"});
    EXPECT_THAT(endingOf([&entry] { entry.append(greatestText()); }), FailsWith(380928300));
    EXPECT_THAT(endingOf([&entry] { entry.replaceTail(0, 0, greatestText()); }),
                FailsWith(380928300));
}

using CurrentEntry = EntryFixture;

TEST_F(CurrentEntry, NumberOfLinesIsTheNextFreeSlot) {
    EXPECT_EQ(next_available_object_slot(), 0);
    setObject({"dn: cn=a\n", "cn: a\n"});
    EXPECT_EQ(next_available_object_slot(), 2);
}

TEST_F(CurrentEntry, FreeingReleasesItsLinesWithoutATrace) {
    setObject({"dn: cn=a\n", "cn: a\n"});
    startTrace();
    freeObject();
    EXPECT_EQ(next_available_object_slot(), 0);
    freeObject();
    EXPECT_THAT(linesOf(object), IsEmpty());
    EXPECT_EQ(traced(), "");
}

TEST_F(CurrentEntry, FirstLineRepresentsTheEntry) {
    EXPECT_EQ(firstLineOr(entryOf({"dn: cn=a\n", "cn: a\n"}), "null"), "dn: cn=a\n");
    EXPECT_EQ(firstLineOr(Entry(), "null"), "null");
}

TEST_F(CurrentEntry, MessagesQuoteTheDnLineWithoutItsLineEnd) {
    EXPECT_EQ(quoted("dn: cn=a\r\n"), "\"dn: cn=a\"");
    setObject({"dn: cn=a\n", "cn: a\n"});
    EXPECT_EQ(aboutObject("has no owner"), "the entry \"dn: cn=a\" has no owner");
    freeObject();
    EXPECT_EQ(aboutObject("has no owner"), "the entry \"(empty)\" has no owner");
}

TEST_F(CurrentEntry, DnLinesBeginWithDnInAnyCase) {
    EXPECT_TRUE(isDnLine("dn: cn=a\n"));
    EXPECT_TRUE(isDnLine("Dn:: Y249YQ==\n"));
    EXPECT_FALSE(isDnLine("dn\n"));
    EXPECT_FALSE(isDnLine("secDN: cn=a\n"));
    EXPECT_FALSE(isDnLine(" dn: cn=a\n"));
    EXPECT_FALSE(isDnLine(""));
}

TEST_F(CurrentEntry, MessagesShowNothingOfAFirstLineThatIsNoDnLine) {
    EXPECT_EQ(entryName(entryOf({"DN:: Y249YQ==\n", "cn: a\n"})), "\"DN:: Y249YQ==\"");
    for (const char* line : {"userPassword: secret\n", "secret\n", " secret: x\n", ": x\n"}) {
        EXPECT_EQ(entryName(entryOf({line})),
                  "(no DN line; ldif-migrate-check reports its line number)")
            << line;
    }
}

TEST_F(CurrentEntry, QuotedLinesAreCutAndHoldNoControlCharacters) {
    EXPECT_EQ(quoted("cn=\x1b[1m\ta\x7f\xC4 \n"), "\"cn=?[1m?a?? \"");
    const std::string longLine(257, 'x');
    const std::string_view fitting = std::string_view(longLine).substr(1);
    EXPECT_EQ(quoted(fitting), '"' + std::string(fitting) + '"');
    EXPECT_EQ(quoted(std::string_view(longLine)), '"' + std::string(fitting) + "...\"");
    const std::string atTheEnd = std::string(fitting.substr(1)) + "\xc3\xa4";
    EXPECT_EQ(quoted(std::string_view(atTheEnd)), '"' + std::string(fitting.substr(1)) + "...\"");
}

TEST_F(CurrentEntry, WholeEntryIsTracedLineByLineThenAnEmptyLine) {
    setObject({"dn: cn=a\r\n", "cn: 100%s\n"});
    traceObject();
    startTrace();
    traceObject();
    EXPECT_EQ(traced(), "dn: cn=a\r\ncn: 100%s\n\n");
}

}  // namespace
