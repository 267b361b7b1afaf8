#include "check/places.h"

#include <gtest/gtest.h>

#include <string>

#include "driver/platform/file.h"
#include "support/dice.h"
#include "support/temporary_folder.h"

namespace {

// A file whose lines are all known.
class PlacesTest : public testing::Test {
protected:
    void write(const std::string& content) {
        file_ = openFileForReading(writeFile(folder_.path("file"), content));
        ASSERT_TRUE(file_.isOpen());
    }
    int descriptor() const {
        return file_.descriptor();
    }

private:
    TemporaryFolder folder_;
    File file_;
};

TEST_F(PlacesTest, LinesAreCountedFromTheNearestPlaceNotedBefore) {
    Dice dice(1);
    std::string content;
    std::vector<off_t> starts;
    while (content.size() < 2'500'000) {
        starts.push_back(static_cast<off_t>(content.size()));
        content += std::string(dice.upTo(300), 'x') + '\n';
    }
    write(content);
    LinePlaces counted;
    LinePlaces noted;
    for (std::size_t i = 0; i < starts.size(); i += 1 + dice.upTo(20)) {
        noted.note(starts[i], static_cast<std::int64_t>(i) + 1);
    }
    for (std::size_t i = 0; i < starts.size(); i += 1 + dice.upTo(2000)) {
        const auto line = static_cast<std::int64_t>(i) + 1;
        ASSERT_EQ(counted.lineAt(descriptor(), starts[i]), line);
        ASSERT_EQ(noted.lineAt(descriptor(), starts[i]), line);
    }
}

TEST_F(PlacesTest, APlaceNotedIsNotReadAgain) {
    LinePlaces places;
    constexpr off_t far = off_t{1} << 39U;
    places.note(far, 5'000'000'000);
    EXPECT_EQ(places.lineAt(-1, far), 5'000'000'000);
}

TEST_F(PlacesTest, ThereIsNoLineInWhatCannotBeRead) {
    write("dn: a\n");
    const LinePlaces places;
    EXPECT_EQ(places.lineAt(descriptor(), 6), 2);
    EXPECT_EQ(places.lineAt(descriptor(), 7), 0);
    EXPECT_EQ(places.lineAt(-1, 6), 0);
    EXPECT_EQ(places.lineAt(-1, 0), 1);
}

TEST_F(PlacesTest, AFileThatIsNotThereIsNotOtherThanRegular) {
    const TemporaryFolder folder;
    EXPECT_FALSE(isOtherThanRegular(folder.path("missing")));
    EXPECT_FALSE(isOtherThanRegular(writeFile(folder.path("file"), "")));
    EXPECT_TRUE(isOtherThanRegular(folder.path("")));
    EXPECT_TRUE(isOtherThanRegular(makePipe(folder.path("pipe"))));
}

TEST_F(PlacesTest, TextEndsWithTheFile) {
    write(std::string("ab\0cd", 5));
    EXPECT_EQ(textAt(descriptor(), 0, 2), "ab");
    EXPECT_EQ(textAt(descriptor(), 1, 9), std::string("b\0cd", 4));
    EXPECT_EQ(textAt(descriptor(), 5, 1), "");
    EXPECT_EQ(textAt(descriptor(), 9, 1), "");
    EXPECT_EQ(textAt(-1, 0, 1), "");
}

}  // namespace
