#include "driver/diagnostics/trace.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

#include "driver/diagnostics/progress.h"

bool debug = false;
bool debugError = false;
File tfp;

namespace {

bool isHeldBack = false;  // whether the trace file still holds what it held when it was opened
std::string heldBack;     // what has been traced until then

}  // namespace

int openTraceFile(const std::string& name) {
    tfp = File();  // its lock would be in the way of reopening it
    tfp = openLockedFile(name);
    const FileState state = tfp.isOpen() ? stateOf(tfp.descriptor()) : FileState();
    debug = state.kind != FileKind::NONE;
    isHeldBack = state.size > 0;
    heldBack.clear();
    return debug ? 0 : -1;
}

int emptyTraceFile() {
    if (!isHeldBack) {
        return 0;
    }
    if (emptyFile(tfp) != 0) {
        return -1;
    }
    isHeldBack = false;
    writeTrace(std::exchange(heldBack, {}));
    return 0;
}

void writeTrace(std::string_view text) {
    if (isHeldBack) {
        heldBack += text;
    } else {
        writeText(tfp.descriptor(), text);
    }
}

void writeStandardOutput(std::string_view text) {
    if (text.empty()) {
        return;  // fwrite must not be given a null pointer, not even for no bytes
    }
    eraseProgress(STDOUT_FILENO);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void echo(std::string_view text) {
    if (debugError) {
        writeStandardOutput(text);
    }
}
