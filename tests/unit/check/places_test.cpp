#include "check/places.h"

#include <gtest/gtest.h>

#include <string>

#include "check/checked_file.h"
#include "support/dice.h"
#include "support/temporary_folder.h"

namespace {

// A file whose lines are all known.
class PlacesTest : public testing::Test {
protected:
    void write(const std::string& content) {
        file_.open(writeFile(folder_.path("file"), content));
    }

    CheckedFile file_;

private:
    TemporaryFolder folder_;
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
        ASSERT_EQ(counted.lineAt(file_, starts[i]), line);
        ASSERT_EQ(noted.lineAt(file_, starts[i]), line);
    }
}

TEST_F(PlacesTest, APlaceNotedIsNotReadAgain) {
    LinePlaces offsets;
    constexpr off_t far = off_t{1} << 39U;
    offsets.note(far, 5'000'000'000);
    EXPECT_EQ(offsets.lineAt(file_, far), 5'000'000'000);
}

TEST_F(PlacesTest, ThereIsNoLineBehindTheEndOfTheFile) {
    write("dn: a\n");
    const LinePlaces offsets;
    EXPECT_EQ(offsets.lineAt(file_, 6), 2);
    EXPECT_EQ(offsets.lineAt(file_, 7), 0);
}

}  // namespace
