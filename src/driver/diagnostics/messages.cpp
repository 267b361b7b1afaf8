#include "driver/diagnostics/messages.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <system_error>

#include "driver/diagnostics/enum_table.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/printable.h"
#include "driver/diagnostics/progress.h"

namespace {

enum Severity { ERROR, WARNING, NOTICE };

constexpr std::array<std::string_view, 3> severityNames = {"ERROR", "WARNING", "NOTICE"};

// Where each severity goes; written by zr_svc_routing alone. Pointers to the streams, so that a
// message can be printed before main begins.
constinit std::array<std::FILE**, 3> severityStreams = {&stderr, &stderr, &stdout};

struct CatalogueEntry {
    MessageId id;
    Severity severity;
    std::string_view text;
};

constexpr std::array<CatalogueEntry, 19> catalogue = {{
    {MESSAGE_NO_MEMORY, ERROR,
     "not enough memory. Remove the work file (the input's name plus .tmp) and run the migration "
     "again with smaller counts of users and groups, or with more memory"},
    {MESSAGE_POSITION_FAILED, ERROR,
     "cannot position in the input or the work file: %s returned %s: %s. Both must be regular "
     "files; if a work file was left behind, remove it before the next run"},
    {MESSAGE_PROCESSING_FAILED, ERROR, "cannot migrate \"%s\": %s. %s"},
    {MESSAGE_SLOT_OCCUPIED, ERROR,
     "cannot migrate \"%s\": two entries of one kind have the same owner: %s and %s. %s"},
    {MESSAGE_CANNOT_OPEN, ERROR, "cannot open \"%s\": %s"},
    {MESSAGE_STAGING_FAILED, ERROR,
     "cannot read the export \"%s\": %s. Remove the work file (the input's name plus .tmp) and "
     "run the migration again once the export can be read"},
    {MESSAGE_CANNOT_WRITE, ERROR,
     "cannot write \"%s\": %s. Remove the work file (the input's name plus .tmp) and run the "
     "migration again once it can be written"},
    {MESSAGE_CANNOT_READ, ERROR,
     "cannot read the work file \"%s\": %s. Remove it and run the migration again"},
    {MESSAGE_STAGING_BEGINS, NOTICE,
     "Reading the export: entries that pass through unchanged go to the output,"},
    {MESSAGE_STAGING_WHERE, NOTICE, "entries that must be regrouped to a work file beside it."},
    {MESSAGE_STAGING_DONE, NOTICE, "The work file is complete."},
    {MESSAGE_PROCESSING_BEGINS, NOTICE, "Regrouping the users and groups begins."},
    {MESSAGE_PASS_BEGINS, NOTICE, "Gathering entries from the work file."},
    {MESSAGE_WRITING, NOTICE, "Writing the gathered users and groups to the output."},
    {MESSAGE_USAGE, ERROR,
     "usage: ldif-migrate INPUT OUTPUT MAX_USERS MAX_GROUPS [TRACE]\n"
     "  INPUT       export of the registry in its older layout; read, never changed\n"
     "  OUTPUT      file for the newer layout; created or overwritten\n"
     "  MAX_USERS   maximum number of users in memory at once, 1 or more\n"
     "  MAX_GROUPS  maximum number of groups in memory at once, 1 or more\n"
     "  TRACE       file for a detailed trace of the run; slow, for diagnosis only\n"
     "Example: ldif-migrate export.ldif migrated.ldif 100000 10000"},
    {MESSAGE_COMPLETE, NOTICE, "The migration is complete."},
    {MESSAGE_WORK_FILE_LEFT_BEHIND, WARNING,
     "the work file \"%s\" was left behind by an earlier run. What it holds is migrated too. If "
     "you "
     "do not want that, end this run, remove the work file and start again"},
    {MESSAGE_INTERRUPTED, ERROR,
     "interrupted: the output \"%s\" is incomplete. Remove the work file \"%s\" before the next "
     "run"},
    {MESSAGE_WORK_FILE_STAYS, WARNING,
     "cannot remove the work file \"%s\": %s. Remove it before the next run"},
}};
static_assert(isInOrderOf(catalogue, &CatalogueEntry::id, MESSAGE_NO_MEMORY));

const CatalogueEntry* findInCatalogue(MessageId id) {
    return id == NO_MESSAGE ? nullptr
                            : &catalogue[static_cast<std::size_t>(id - MESSAGE_NO_MEMORY)];
}

std::string textOf(const CatalogueEntry& entry, const Message& message) {
    std::vector<std::string> shown;
    for (const std::string& argument : message.arguments) {
        shown.push_back(printable(argument));
    }
    const std::vector<FormatArgument> arguments(shown.begin(), shown.end());
    return formatText(entry.text, arguments);
}

}  // namespace

void zr_svc_routing(std::string_view route, int& status) {
    status = -1;
    for (std::size_t severity = 0; severity < severityNames.size(); ++severity) {
        const std::string_view name = severityNames[severity];
        if (!route.starts_with(name) || route.substr(name.size(), 1) != ":") {
            continue;
        }
        const std::string_view stream = route.substr(name.size() + 1);
        if (stream == "STDERR" || stream == "STDOUT") {
            severityStreams[severity] = stream == "STDERR" ? &stderr : &stdout;
            status = 0;
        }
    }
}

void zr_printf_utf8(const Message& message) {
    const CatalogueEntry* entry = findInCatalogue(message.id);
    if (entry == nullptr) {
        return;
    }
    std::FILE* stream = *severityStreams[entry->severity];
    std::string rendered;
    std::string_view text = entry->text;
    if (!message.arguments.empty()) {
        rendered = textOf(*entry, message);
        text = rendered;
    }
    const std::string_view severity = severityNames[entry->severity];
    eraseProgress(::fileno(stream));
    std::fprintf(stream, "%d %.*s: %.*s\n", static_cast<int>(entry->id),
                 static_cast<int>(severity.size()), severity.data(), static_cast<int>(text.size()),
                 text.data());
    std::fflush(stream);
}

std::string lineOf(const Message& message) {
    const CatalogueEntry* entry = findInCatalogue(message.id);
    return entry == nullptr ? std::string()
                            : format("%d %s: %s\n", static_cast<int>(entry->id),
                                     severityNames[entry->severity], textOf(*entry, message));
}

std::string systemReason(int error) {
    return std::generic_category().message(error);
}
