// The fixture of everything that reads or writes the files of a run: all of them closed and named,
// and, except the trace, not yet created.
#pragma once

#include <fcntl.h>

#include <string>
#include <string_view>

#include "driver/settings.h"
#include "support/entry_fixture.h"
#include "support/ldif_state.h"

class LdifFixture : public EntryFixture {
protected:
    void SetUp() override {
        EntryFixture::SetUp();
        resetRunFiles();
        input_ldif_filename = folder.path("input.ldif");
        output_ldif_filename = folder.path("output.ldif");
        temp_input_ldif_filename = folder.path("input.ldif.tmp");
    }
    void TearDown() override {
        resetRunFiles();
        EntryFixture::TearDown();
    }

    void writeInput(std::string_view content) {
        writeFile(input_ldif_filename, content);
    }
    void openInput(std::string_view content) {
        writeInput(content);
        ASSERT_EQ(ifp.open(input_ldif_filename), 0);
    }
    void openWorkFile(std::string_view content) {
        tifp.close();  // its unwritten bytes belong to the old content
        writeFile(temp_input_ldif_filename, content);
        ASSERT_EQ(tifp.open(temp_input_ldif_filename), 0);
    }
    std::string workFile() {
        EXPECT_EQ(tifp.flush(), 0);
        return readFile(temp_input_ldif_filename);
    }
    void openOutput() {
        ASSERT_EQ(ofp.open(output_ldif_filename, O_CREAT | O_TRUNC), 0);
    }
    // The text written to the output so far; closes it.
    std::string output() {
        EXPECT_EQ(ofp.close(), 0);
        return readFile(output_ldif_filename);
    }
};
