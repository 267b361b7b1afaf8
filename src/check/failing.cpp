#include "check/failing.h"

#include <unistd.h>

#include <cstdlib>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/printable.h"
#include "driver/platform/file.h"
#include "driver/settings.h"

namespace {

// Of the code shared with the migration, only the reading of the export can fail.
void printFailure(const Message& message) {
    if (message.id == MESSAGE_NO_MEMORY) {
        writeText(STDERR_FILENO, "ldif-migrate-check: not enough memory\n");  // takes none itself
    } else {
        failReading(input_ldif_filename, message.arguments.back());
    }
}

}  // namespace

void failCheck(const std::string& problem) {
    writeText(STDERR_FILENO, format("ldif-migrate-check: %s\n", problem));
    std::exit(cannotCheck);
}

void failReading(const std::string& name, std::string_view reason) {
    failCheck(format("cannot check \"%s\": %s", printable(name), reason));
}

void failAsCheck() {
    failureForm = {printFailure, cannotCheck};
    endProcessWithoutMemory();
}
