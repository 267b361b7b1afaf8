#include "driver/diagnostics/trace.h"

#include <unistd.h>

#include <cstdio>

#include "driver/diagnostics/progress.h"

bool debug = false;
bool debugError = false;
File tfp;

int openTraceFile(const std::string& name) {
    tfp = File();  // its lock would be in the way of opening it anew
    tfp = openEmptyFile(name);
    debug = tfp.isOpen();
    return debug ? 0 : -1;
}

void writeTrace(std::string_view text) {
    writeText(tfp.descriptor(), text);
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
