#include "driver/settings.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/format.h"
#include "driver/platform/file.h"

std::string input_ldif_filename;
std::string output_ldif_filename;
std::string temp_input_ldif_filename;
std::string debugFileName;
std::int32_t max_number_of_secuser_slots = 0;
std::int32_t max_number_of_secgroup_slots = 0;

namespace {

// What follows the digits is not looked at: 12abc is 12 and abc is 0.
std::int32_t parseSlotCount(const char* text) {
    const long count = std::strtol(text, nullptr, 10);
    constexpr long max = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(count, -1L, max));
}

struct RunFile {
    std::string_view role;
    const std::string& name;
};

[[noreturn]] void failShared(const RunFile& offender, std::string_view other) {
    fail({}, {},
         {MESSAGE_CANNOT_OPEN,
          {offender.name, format("as %s it is the same file as %s", offender.role, other)}});
}

bool isWorkFileSuspect = false;  // written by suspectWorkFile

std::string adviceToRunAgain(std::string_view fix) {
    return format("%s, remove the work file \"%s\" and run the migration again", fix,
                  temp_input_ldif_filename);
}

// What to do about an export that cannot be migrated; `fix` is what its entries need.
std::string advice(std::string_view fix) {
    return isWorkFileSuspect
               ? format(
                     "The work file \"%s\", which an earlier run left behind, was migrated too and "
                     "is the likely cause: remove it and run the migration again before you "
                     "change the export",
                     temp_input_ldif_filename)
               : adviceToRunAgain(fix);
}

// Messages would be written into the file, or over it.
void refuseStandardStreams(const RunFile& file) {
    const FileState state = stateOf(file.name);
    if (isSameFile(state, stateOf(STDOUT_FILENO))) {
        failShared(file, "standard output, which takes the notices");
    }
    if (isSameFile(state, stateOf(STDERR_FILENO))) {
        failShared(file, "standard error, which takes the errors");
    }
}

}  // namespace

std::string workFileName(const std::string& exportName) {
    return exportName + ".tmp";
}

void readCommandLine(int argc, const char* const* argv) {
    if (argc != 5 && argc != 6) {
        fail({}, {}, {MESSAGE_USAGE, {}});
    }
    input_ldif_filename = argv[1];
    output_ldif_filename = argv[2];
    temp_input_ldif_filename = workFileName(input_ldif_filename);
    max_number_of_secuser_slots = parseSlotCount(argv[3]);
    max_number_of_secgroup_slots = parseSlotCount(argv[4]);
    debugFileName = argc == 6 ? argv[5] : "";
    if (max_number_of_secuser_slots < 1 || max_number_of_secgroup_slots < 1) {
        fail({}, {}, {MESSAGE_USAGE, {}});
    }
}

void refuseSharedFiles() {
    const std::array<RunFile, 4> files = {{{"the input", input_ldif_filename},
                                           {"the work file", temp_input_ldif_filename},
                                           {"the output", output_ldif_filename},
                                           {"the trace", debugFileName}}};
    // A trace there spoils itself and the messages, but no data.
    for (const RunFile& offender : {files[0], files[1], files[2]}) {
        refuseStandardStreams(offender);
    }
    // The offender of a pair is the later one: the one that would be written over the other.
    for (const RunFile& offender : files) {
        for (const RunFile* other = files.data(); other != &offender; ++other) {
            if (!offender.name.empty() && isSameFile(offender.name, other->name)) {
                failShared(offender, format("%s \"%s\"", other->role, other->name));
            }
        }
    }
}

void refuseLinkedWorkFile() {
    if (isSymbolicLink(temp_input_ldif_filename)) {
        fail({}, {},
             {MESSAGE_CANNOT_OPEN,
              {temp_input_ldif_filename, "the work file is a symbolic link. Remove the link"}});
    }
}

Message migrationFailed(const std::string& problem) {
    return {MESSAGE_PROCESSING_FAILED, {input_ldif_filename, problem, advice("Fix this")}};
}

Message migrationStopped(const std::string& problem) {
    return {MESSAGE_PROCESSING_FAILED,
            {input_ldif_filename, problem, adviceToRunAgain("Fix this")}};
}

Message slotOccupied(const std::string& entry, const std::string& other) {
    return {MESSAGE_SLOT_OCCUPIED,
            {input_ldif_filename, entry, other, advice("Keep one of them in the export")}};
}

void suspectWorkFile(bool isSuspect) {
    isWorkFileSuspect = isSuspect;
}
