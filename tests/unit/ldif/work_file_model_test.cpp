// Reading, deleting and stepping over against a second implementation. Both work on copies of
// random files.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/ldif_fixture.h"
#include "support/work_file_model.h"

using std::string_literals::operator""s;

namespace {

class RandomFile {
public:
    explicit RandomFile(unsigned seed) : random_(seed) {
    }

    bool oneIn(unsigned number) {
        return random_() % number == 0;
    }

    std::string content() {
        std::string text;
        const std::size_t lines = random_() % 40;
        for (std::size_t i = 0; i < lines; ++i) {
            text += line();
        }
        if (oneIn(2)) {
            text += oneIn(2) ? "x" : "cn=last";
        }
        return text;
    }

private:
    std::string line() {
        static const std::string lines[] = {
            "\n",     "\n",       "\r\n",        "  \r\n", " \n",  "cn=a\n",   "x: 1\r\n",
            "ab\n",   " fold\n",  "# note\n",    "#\n",    "\t\n", "a\0b\n"s,  "ab\0cd\n"s,
            "\0x\n"s, "a\0\0\n"s, "cn=b\0\r\n"s, "a\rb\n", "c\n",  " \0 x\n"s, "changetype:\n",
        };
        if (oneIn(12)) {
            // Around the length at which lines fall into pieces.
            return std::string(4090 + random_() % 10, 'l') + (oneIn(4) ? "\0\n"s : "\n"s);
        }
        if (oneIn(40)) {
            return std::string(random_() % 20000, 'L') + "\n";
        }
        return lines[random_() % std::size(lines)];
    }

    std::mt19937 random_;
};

class WorkFileModelTest : public LdifFixture {
protected:
    // Consumes the file entry by entry, deleting or stepping over as `random` has it, until the
    // end is reached by both.
    void runThrough(WorkFileModel& model, RandomFile& random) {
        int expectedResult = 0;
        for (;;) {
            const std::vector<std::string> expected = model.read(expectedResult);
            ASSERT_EQ(getNextObjectFromTemporaryInputLDIFFile(tifp), expectedResult);
            ASSERT_EQ(linesOf(object), expected);
            ASSERT_EQ(tifp.tell(), model.position());
            if (random.oneIn(2)) {
                model.remove();
                ASSERT_EQ(deleteNextObjectFromTemporaryInputLDIFFile(tifp), 0);
                if (random.oneIn(3)) {
                    ASSERT_EQ(workFile(), readFile(folder.path("model")));
                }
            } else {
                model.stepOver();
                ASSERT_EQ(stepOverNextObjectFromTemporaryInputLDIFFile(tifp), 0);
            }
            ASSERT_EQ(tifp.tell(), model.position());
            if (expected.empty()) {
                return;
            }
        }
    }

    // Three passes over one file.
    void compare(const std::string& content, RandomFile& random) {
        writeFile(temp_input_ldif_filename, content);
        writeFile(folder.path("model"), content);
        for (int pass = 0; pass < 3; ++pass) {
            WorkFileModel model(folder.path("model"));
            ASSERT_EQ(tifp.open(temp_input_ldif_filename), 0);
            runThrough(model, random);
        }
        ASSERT_EQ(workFile(), readFile(folder.path("model")));
    }
};

TEST_F(WorkFileModelTest, SmallFilesAreTreatedByteForByteAlike) {
    for (unsigned seed = 1; seed <= 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        RandomFile random(seed);
        compare(random.content(), random);
    }
}

TEST_F(WorkFileModelTest, EntriesAroundAndBeyondTheBufferAreTreatedAlike) {
    // Sizes just below, at and beyond half of the reader's buffer, the whole of it, and more.
    for (const std::size_t size : {131000U, 131072U, 140000U, 262000U, 262144U, 300000U, 800000U}) {
        SCOPED_TRACE(size);
        RandomFile random(static_cast<unsigned>(size));
        std::string content;
        for (int entry = 0; entry < 3; ++entry) {
            content += random.content() + "\ncn=large\n";
            for (const std::size_t end = content.size() + size; content.size() < end;) {
                content += random.oneIn(50) ? "ab\0cd: lost\n"s : "member: cn=somebody,o=here\n"s;
            }
        }
        compare(content, random);
        ASSERT_FALSE(HasFailure());
    }
}

}  // namespace
