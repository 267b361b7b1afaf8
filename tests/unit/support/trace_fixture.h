// The fixture of everything that traces: diagnostics in their initial state, and a folder.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "driver/diagnostics/trace.h"
#include "support/temporary_folder.h"

class TraceFixture : public testing::Test {
protected:
    void SetUp() override {
        resetDiagnostics();
    }
    void TearDown() override {
        resetDiagnostics();
    }

    // Switches the trace on, with an empty trace file.
    void startTrace() {
        ASSERT_EQ(openTraceFile(folder.path("trace")), 0);
        ASSERT_EQ(emptyTraceFile(), 0);
    }

    // The contents of the trace file.
    std::string traced() const {
        return readFile(folder.path("trace"));
    }

    TemporaryFolder folder;

private:
    static void resetDiagnostics() {
        debug = false;
        debugError = false;
        tfp.close();
    }
};
