// ldif-migrate: rewrites the LDIF export of a security registry from its older directory layout
// into the newer one. See README.md for the two layouts and the way from one to the other.
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "cache/object_cache.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/interruption.h"
#include "driver/diagnostics/messages.h"
#include "driver/diagnostics/progress.h"
#include "driver/diagnostics/trace.h"
#include "driver/pass_loop.h"
#include "driver/platform/file.h"
#include "driver/platform/terminal.h"
#include "driver/settings.h"
#include "ldif/residue.h"
#include "ldif/run_files.h"
#include "ldif/run_locks.h"
#include "ldif/staging.h"
#include "output/flush.h"

namespace {

constexpr const char* snapshotName = "TEMPORARY_INPUT_LDIF_FILE";

// The tables of the object cache take memory before main begins; running out of it then must not
// end in an exception either.
[[gnu::constructor(101)]] void prepareForLittleMemory() {
    endProcessWithoutMemory();
}

// A full quota or a reader that has gone away is then a failed write like any other.
void turnWriteSignalsIntoErrors() {
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
}

void routeMessages() {
    int status = 0;  // never looked at: the routes are part of the program
    zr_svc_routing("ERROR:STDERR", status);
    zr_svc_routing("WARNING:STDERR", status);
    zr_svc_routing("NOTICE:STDOUT", status);
}

void lockInputOrFail() {
    if (const std::optional<Message> problem = lockInput()) {
        fail({}, {}, *problem);
    }
}

void openTrace() {
    if (openTraceFile(debugFileName) != 0) {
        fail({}, {}, lockMessage(debugFileName, errno));
    }
}

std::string inputLines() {
    return format("main():  input_ldif_filename           = %s \n"
                  "main():  output_ldif_filename          = %s \n"
                  "main():  max_number_of_secuser_slots   = %d \n"
                  "main():  max_number_of_secgroup_slots  = %d \n",
                  input_ldif_filename, output_ldif_filename, max_number_of_secuser_slots,
                  max_number_of_secgroup_slots);
}

void switchEcho() {
    debugError = std::getenv("DEBUG_ERROR") != nullptr;
    echo("DEBUG_ERROR flag is on................ \n" + inputLines());
}

void openOutput() {
    if (const int error = ofp.openLocked(output_ldif_filename); error != 0) {
        fail(format("main() - Unable to open output file %s.  Exiting. \n", output_ldif_filename),
             {}, lockMessage(output_ldif_filename, error));
    }
}

// An output or a trace that goes to a terminal would run into the line.
void showProgressOnTerminal() {
    if (!ofp.isTerminal() && !isTerminal(tfp.descriptor())) {
        startProgress();
    }
}

void stageInput() {
    zr_printf_utf8({MESSAGE_STAGING_BEGINS, {}});
    zr_printf_utf8({MESSAGE_STAGING_WHERE, {}});
    if (copyOriginalInputFileToTempInputFile() != 0) {
        fail(
            "main():  Failed to copy original input ldif file to the temporary input ldif file  \n"
            "         that will be used for processing.                                         \n",
            {}, {MESSAGE_STAGING_FAILED, {input_ldif_filename, systemReason(ifp.error())}});
    }
    requireInputInPlace();
    requireUnchangedInput();
    zr_printf_utf8({MESSAGE_STAGING_DONE, {}});
    zr_printf_utf8({MESSAGE_PROCESSING_BEGINS, {}});
}

// When the run is traced, keeps a copy of the freshly staged work file in the current directory. A
// failure does not matter to the run. One of the run's own files that has this name is locked or no
// regular file, and so left alone.
void preserveWorkFile() {
    if (!debug) {
        return;
    }
    const std::string systemCommand =
        format("cp %s %s  \n", temp_input_ldif_filename, snapshotName);
    trace("\nmain():  The temporary input ldif file has been created.  \n"
          "         BEGIN MAIN PROCESSING LOOP.                      \n"
          "main():  Preserve a copy of the temporary input file  \n"
          "         The system command to be executed is:    %s  \n",
          systemCommand);
    copyFile(temp_input_ldif_filename, snapshotName);
}

// The passes have written all that they gathered, so that this finds the cache empty. It is the
// last guard against an entry that was taken in and not written.
void flushLastData() {
    trace("\nmain():  Calling copyAllAccumulatedDataToOutputFile() at EXIT label \n");
    if (copyAllAccumulatedDataToOutputFile() != 0) {
        constexpr std::string_view error =
            "main():  ERROR:  Failed to copy all accumulated data to the temporary output LDIF "
            "file during EXIT processing.  \n";
        // Not fatal on purpose: the resource credentials are still to come.
        report(error, error);
        zr_printf_utf8(flushFailedMessage());
    }
    trace("\nmain():  Returned from copyAllAccumulatedDataToOutputFile() at EXIT label \n");
}

void requireOutputInPlace() {
    const FileState written = ofp.state();
    if (written.kind == FileKind::OTHER) {
        return;  // a device
    }
    const FileState named =
        written.kind == FileKind::NONE ? written : stateOf(output_ldif_filename);
    if (!isSameFile(written, named)) {
        fail({}, {},
             {MESSAGE_CANNOT_WRITE,
              {output_ldif_filename,
               reasonOfChange(named, "another program has removed or replaced it")}});
    }
}

// The work file is removed last, after every file has been checked: after a failure it stays.
void closeOutputAndRemoveWorkFile() {
    requireUnchangedInput();
    requireIntactWorkFile();
    if (ofp.sync(output_ldif_filename) != 0) {
        fail({}, {}, writeMessage(output_ldif_filename, ofp));
    }
    requireOutputInPlace();
    if (ofp.close() != 0) {
        fail({}, {}, writeMessage(output_ldif_filename, ofp));
    }
    if (!debug && ::unlink(temp_input_ldif_filename.c_str()) != 0) {
        const int error = errno;
        zr_printf_utf8({MESSAGE_WORK_FILE_STAYS, {temp_input_ldif_filename, systemReason(error)}});
    }
    endInterruptionReports();
}

}  // namespace

int main(int argc, char** argv) {
    if (!occupyStandardDescriptors()) {
        return -1;  // nobody would see a message
    }
    turnWriteSignalsIntoErrors();
    routeMessages();
    readCommandLine(argc, argv);
    refuseSharedFiles();
    refuseLinkedWorkFile();
    lockInputOrFail();
    if (argc == 6) {
        openTrace();
    }
    switchEcho();
    trace("main():  FUNCTION ENTRY  \nmain():  INPUT LIST: \n%s", inputLines());
    openOutput();
    showProgressOnTerminal();
    stageInput();
    preserveWorkFile();

    allocateObjectCache();
    initializeAllArrays();
    makePasses();
    flushLastData();
    copyRemainingObjectsToOutputLDIFFile();
    closeOutputAndRemoveWorkFile();

    releaseLocks();
    deallocateObjectCache();
    zr_printf_utf8({MESSAGE_COMPLETE, {}});
    endProgress();
    trace("main():  FUNCTION EXIT  \n");
    return 0;
}
