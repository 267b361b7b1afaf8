// Reading, deleting and stepping over against a second implementation: line by line with the
// standard library's own files, as simple as can be. Both work on copies of random files.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/ldif_fixture.h"

using std::string_literals::operator""s;

namespace {

class Model {
public:
    explicit Model(const std::string& path) : stream_(std::fopen(path.c_str(), "rb+")) {
    }

    long position() const {
        return std::ftell(stream_.get());
    }

    // The lines of the next entry, comments left out; the position stays. `result` is 0 or -1.
    std::vector<std::string> read(int& result) {
        const long start = position();
        std::vector<std::string> lines;
        result = -1;
        while (readLine()) {
            if (isBlank() && !lines.empty()) {
                result = 0;
                break;
            }
            if (!isBlank() && line_[0] != '#') {
                lines.emplace_back(line_);
            }
        }
        std::fseek(stream_.get(), start, SEEK_SET);
        return lines;
    }

    void stepOver() {
        bool hasBegun = false;
        while (readLine() && !(isBlank() && hasBegun)) {
            hasBegun = hasBegun || !isBlank();
        }
    }

    void remove() {
        bool hasBegun = false;
        for (long before = position(); readLine(); before = position()) {
            if (!isBlank()) {
                hasBegun = true;
                std::fseek(stream_.get(), before, SEEK_SET);
                blank();
                std::fputs(line_, stream_.get());
                std::fflush(stream_.get());
            } else if (hasBegun) {
                return;
            }
        }
    }

private:
    struct Close {
        void operator()(std::FILE* file) const {
            std::fclose(file);
        }
    };

    bool readLine() {
        return std::fgets(line_, sizeof line_, stream_.get()) != nullptr;
    }

    bool isBlank() const {
        return std::strspn(line_, " \r\n") == std::strlen(line_);
    }

    void blank() {
        const std::size_t length = std::strlen(line_) < 2 ? 2 : std::strlen(line_);
        std::memset(line_, ' ', length);
        std::memcpy(line_ + length - 2, "\r\n", 3);
    }

    std::unique_ptr<std::FILE, Close> stream_;
    char line_[4096] = {};
};

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

class WorkFileModel : public LdifFixture {
protected:
    // Consumes the file entry by entry, deleting or stepping over as `random` has it, until the
    // end is reached by both.
    void runThrough(Model& model, RandomFile& random) {
        int expectedResult = 0;
        for (;;) {
            const std::vector<std::string> expected = model.read(expectedResult);
            ASSERT_EQ(getNextObjectFromTemporaryInputLDIFFile(tifp), expectedResult);
            ASSERT_EQ(linesOf(object), expected);
            ASSERT_EQ(tifp.tell(), model.position());
            if (random.oneIn(2)) {
                model.remove();
                ASSERT_EQ(deleteNextObjectFromTemporaryInputLDIFFile(tifp), 0);
                ASSERT_EQ(workFile(), readFile(folder.path("model")));
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
            Model model(folder.path("model"));
            ASSERT_EQ(tifp.open(temp_input_ldif_filename), 0);
            runThrough(model, random);
        }
        ASSERT_EQ(workFile(), readFile(folder.path("model")));
    }
};

TEST_F(WorkFileModel, SmallFilesAreTreatedByteForByteAlike) {
    for (unsigned seed = 1; seed <= 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        RandomFile random(seed);
        compare(random.content(), random);
    }
}

TEST_F(WorkFileModel, EntriesAroundAndBeyondTheBufferAreTreatedAlike) {
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
