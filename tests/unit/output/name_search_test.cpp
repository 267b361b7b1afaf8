#include "output/name_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <string>

#include "support/dice.h"
#include "support/entry_lines.h"

namespace {

Entry entryWith(const std::vector<std::string>& lines) {
    Entry entry;
    for (const std::string& line : lines) {
        entry.append(line);
    }
    return entry;
}

// An entry that is searched; lines found are moved on.
class Searched {
public:
    Searched(const std::vector<std::string>& lines, std::size_t searches)
        : entry_(entryWith(lines)) {
        for (int i = 0; i < entry_.lineCount(); ++i) {
            lines_.push_back(EntryView(entry_).line(i));
        }
        search_.prepare(entry_, searches);
    }

    // The index of the line, or -1.
    int take(std::string_view name) {
        const std::size_t found = search_.find(lines_, name);
        if (found == lines_.size()) {
            return -1;
        }
        lines_[found] = {};
        return static_cast<int>(found);
    }

private:
    Entry entry_;
    Lines lines_;
    NameSearch search_;
};

// The fewest lines and searches for which names are sorted, and so few that they are not.
constexpr std::size_t many = 64;
constexpr std::size_t few = 1;

std::vector<std::string> numberedLines(std::string_view name, std::size_t count) {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < count; ++i) {
        lines.push_back(std::string(name) + std::to_string(i) + ": x\n");
    }
    return lines;
}

TEST(NameSearch, TheLowestLineThatIsLeftIsFound) {
    for (const std::size_t searches : {few, many}) {
        std::vector<std::string> lines = numberedLines("a", many);
        lines[10] = "cn: 1\n";
        lines[20] = "oldCN: 2\n";
        lines[30] = "b: cn: and n: 3\n";
        lines[40] = "n: 4\n";
        Searched searched(lines, searches);
        EXPECT_EQ(searched.take("Cn:"), 10);
        EXPECT_EQ(searched.take("n:"), 20);
        EXPECT_EQ(searched.take("cn:"), 30);
        EXPECT_EQ(searched.take("cn:"), -1);
        EXPECT_EQ(searched.take("n:"), 40);
        EXPECT_EQ(searched.take("n:"), -1);
        EXPECT_EQ(searched.take("A63:"), 63);
        EXPECT_EQ(searched.take("old:"), -1);
        EXPECT_EQ(searched.take(":"), 0);
        EXPECT_EQ(searched.take(":"), 1);
    }
}

TEST(NameSearch, NamesThatEndInEachOtherAreDistinguished) {
    std::vector<std::string> lines;
    for (std::size_t length = 1; length <= many; ++length) {
        lines.push_back(std::string(length, 'a') + ": x\n");
    }
    Searched searched(lines, many);
    for (int length = 64; length > 0; --length) {
        ASSERT_EQ(searched.take(std::string(static_cast<std::size_t>(length), 'A') + ":"),
                  length - 1);
    }
}

TEST(NameSearch, RandomLinesAreFoundLikeANaiveSearchFindsThem) {
    Dice dice(32000);
    const auto randomText = [&dice] {
        std::string text;
        for (std::size_t length = dice.upTo(3); length > 0; --length) {
            text += dice.oneOf(std::string_view("abAB[{"));
        }
        return text + ":";
    };
    for (int round = 0; round < 50; ++round) {
        std::vector<std::string> lines;
        for (std::size_t count = many + dice.upTo(many); count > 0; --count) {
            std::string line;
            for (std::size_t parts = 1 + dice.upTo(3); parts > 0; --parts) {
                line += randomText();
            }
            lines.push_back(line + randomText() + "\n");
        }
        Searched sorted(lines, many);
        Searched plain(lines, few);
        for (int i = 0; i < 200; ++i) {
            const std::string name = randomText();
            ASSERT_EQ(sorted.take(name), plain.take(name)) << round << ' ' << i << ' ' << name;
        }
    }
}

// The processor's time for each of `count` lines, searched once for each of `names`.
double secondsForEach(const std::vector<std::string>& lines,
                      const std::vector<std::string>& names) {
    const std::clock_t begin = std::clock();
    Searched searched(lines, names.size());
    for (const std::string& name : names) {
        searched.take(name.substr(0, name.find(':') + 1));
    }
    return static_cast<double>(std::clock() - begin) / static_cast<double>(names.size());
}

// Sixteen times as many lines would take sixteen times as long each, if each name were compared
// with each of them.
TEST(NameSearch, ALineOfALongEntryTakesLittleLongerThanOneOfAShortOne) {
    using LinesOf = std::vector<std::string> (*)(std::size_t);
    const LinesOf distinct = [](std::size_t count) { return numberedLines("name", count); };
    const LinesOf absent = [](std::size_t count) { return numberedLines("other", count); };
    const LinesOf ofOneName = [](std::size_t count) {
        return std::vector<std::string>(count, "member: x\n");
    };
    const LinesOf inOneLine = [](std::size_t count) {
        std::string line;
        for (const std::string& name : numberedLines("name", count)) {
            line += name.substr(0, name.find(':') + 1);
        }
        return std::vector<std::string>{line + "\n"};
    };
    const std::pair<LinesOf, LinesOf> shapes[] = {
        {distinct, distinct}, {distinct, absent}, {ofOneName, ofOneName}, {inOneLine, distinct}};
    for (const auto& shape : shapes) {
        const auto seconds = [&shape](std::size_t count) {
            const std::vector<std::string> all = shape.first(count);
            const std::vector<std::string> searched = shape.second(count);
            return std::min({secondsForEach(all, searched), secondsForEach(all, searched),
                             secondsForEach(all, searched)});
        };
        EXPECT_LT(seconds(8000), 5 * seconds(500)) << shape.first(1).front();
    }
}

}  // namespace
