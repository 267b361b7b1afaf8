#include "output/writers.h"

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "cache/object_cache.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "entry/filters.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"
#include "output/merge.h"

namespace {

constexpr int SECUSER_MATRIX_NUMBER_OF_COLUMNS = 50;  // as traced; rows have no such limit

// A writer, as its traces and errors name it.
struct Writer {
    std::string_view function;
    std::string_view missingDnTail;  // how the echo of a missing DN ends
    std::string_view merged = {};    // what it merges
    bool echoesMergedRows = false;
    bool tracesLines = false;
};

constexpr Writer userWriter = {"writeSecUserAddToOutputFile", "EXITING.\n",
                               "the secUser and secMap", true, true};
constexpr Writer containerWriter = {"writePolicyContainerAddToOutputFile", "EXITING.\n"};
constexpr Writer policyWriter = {"writeSecPolicyAddToOutputFile", "EXITING.\n"};
constexpr Writer groupWriter = {"writeSecGroupAddToOutputFile", "EXITING.  \n",
                                "secGroup and secMap"};

void traceEntry(const Writer& writer) {
    trace("%s():  FUNCTION ENTRY.  \n", writer.function);
}

int traceExit(const Writer& writer) {
    trace("%s():  FUNCTION EXIT.  \n", writer.function);
    return 0;
}

void requireDn(const Writer& writer, std::string_view table, std::string_view dn, int index) {
    if (dn.empty()) {
        const std::string error =
            format("%s():  ERROR:  %s[%d] is NULL.  ", writer.function, table, index);
        fail(error + "EXITING.  \n", error + std::string(writer.missingDnTail),
             migrationFailed(format("slot %d of the table %s holds no DN to write", index, table)));
    }
}

int write(const Writer& writer, OutputFile& stream, std::string_view text) {
    if (stream.write(text) != 0) {
        trace("%s():  fputs() failed with rc=-1 \n", writer.function);
        return -1;
    }
    return 0;
}

// Writes lines `first` to `last` - 1 of the entry.
int writeRun(const Writer& writer, OutputFile& stream, EntryView entry, int first, int last) {
    if (writer.tracesLines && debug) {
        for (int i = first; i < last; ++i) {
            trace("Writing object[%d] = %s", i, entry.line(i));
        }
    }
    return first < last ? write(writer, stream, entry.lines(first, last)) : 0;
}

// Writes all lines of the entry but its old DN line, in runs between those that the filter drops.
int writeLines(const Writer& writer, OutputFile& stream, EntryView entry, const NameSet& filter) {
    int first = 1;
    const bool failed = someColonPrefix(
        entry, [&filter](std::string_view colonPrefix) { return filter.matches(colonPrefix); },
        [&](int line, std::string_view, std::string_view) {
            if (line < first) {
                return false;
            }
            const int result = writeRun(writer, stream, entry, first, line);
            first = line + 1;
            return result != 0;
        });
    return failed ? -1 : writeRun(writer, stream, entry, first, entry.lineCount());
}

int endRecord(const Writer& writer, OutputFile& stream) {
    return write(writer, stream, "\n");
}

// Merges the entry of the owner in slot `index` with its mapping entry.
void mergeWithMapping(const Writer& writer, const Matrix& entries, const Matrix& mappings,
                      int index, std::string_view newDnLine) {
    const EntryView entry = entries.row(index);
    const EntryView mapping = mappings.row(index);
    if (entry.empty() || mapping.empty()) {
        const std::string error =
            format("%s():  ERROR:  Passing a NULL pointer to mergeObjects() \n", writer.function);
        std::string rows;
        if (writer.echoesMergedRows) {
            rows = format("%s = %s\n%s = %s\n", entries.name, firstLineOr(entry, "NULL"),
                          mappings.name, firstLineOr(mapping, "NULL"));
        }
        const std::string problem =
            mapping.empty() ? format("the entry %s has no secMap entry whose secDN names it",
                                     entry.empty() ? quoted(newDnLine) : entryName(entry))
                            : format("the secMap entry %s has no owner", entryName(mapping));
        fail(error, error + rows, migrationFailed(problem));
    }
    trace("%s():  Calling mergeObjects() to merge %s \n", writer.function, writer.merged);
    mergeObjects(entry, mapping);
    trace("%s():  Returning from mergeObjects() to merge %s \n", writer.function, writer.merged);
}

// What `object` held before the second merge of a user, and the memory for its result after it: in
// this way each of the two keeps the size that it has once had.
Entry partiallyMergedSecUser;

// Merges what `object` holds into the user's entry below cn=Users, which leads.
void mergeWithUsersEntry(EntryView usersEntry) {
    trace("writeSecUserAddToOutputFile():  A Users secUser object exists. Begin merge. \n"
          "next_available_object_slot = %d \n"
          "SECUSER_MATRIX_NUMBER_OF_COLUMNS = %d \n",
          next_available_object_slot(), SECUSER_MATRIX_NUMBER_OF_COLUMNS);
    std::swap(partiallyMergedSecUser, object);
    if (debug) {
        for (int i = 0; i < partiallyMergedSecUser.lineCount(); ++i) {
            trace("partiallyMergedSecUser[%d] = %s ", i, partiallyMergedSecUser.line(i));
        }
    }
    mergeObjects(usersEntry, partiallyMergedSecUser);
}

// Writes the record of the owner in slot `index`: its entry merged with its mapping entry and, if
// it has one, with the entry that leads.
int writeOwner(const Writer& writer, OutputFile& stream, const OwnerTable& owners,
               const Matrix& entries, const Matrix& mappings, EntryView leading, int index) {
    traceEntry(writer);
    const std::string_view dn = owners.dn(index);
    requireDn(writer, owners.name(), dn, index);
    if (write(writer, stream, dn) != 0) {
        return -1;
    }
    mergeWithMapping(writer, entries, mappings, index, dn);
    if (!leading.empty()) {
        mergeWithUsersEntry(leading);
    }
    if (writer.tracesLines) {
        trace("%s():  Write the remainder of the entry to the output LDIF file \n",
              writer.function);
    }
    if (writeLines(writer, stream, object, mergedFilter) != 0) {
        return -1;
    }
    if (writer.tracesLines) {
        trace("%s():  Finished writing the remainder of the entry to the output LDIF file \n",
              writer.function);
    }
    if (!leading.empty()) {
        std::swap(partiallyMergedSecUser, object);
    }
    freeObject();
    return endRecord(writer, stream) == 0 ? traceExit(writer) : -1;
}

}  // namespace

int writeSecUserAddToOutputFile(int index, OutputFile& stream) {
    return writeOwner(userWriter, stream, secUser_dn, secUser_matrix, secMap_for_secUser_matrix,
                      Users_secUser_matrix.row(index), index);
}

int writePolicyContainerAddToOutputFile(int index) {
    traceEntry(containerWriter);
    const std::string_view userDnLine = secUser_dn.dn(index);
    requireDn(containerWriter, secUser_dn.name(), userDnLine, index);
    const std::string_view userDn = userDnLine.substr(userDnLine.find(':') + 1);
    const std::string dnLine = "dn: cn=Policies," + std::string(withoutLeadingBlanks(userDn));

    // The container is made from nothing, so it alone must ask whether the export has change
    // types; the text for it may be empty, but keeps its number in the trace. The object classes
    // are in lower case, unlike the rest of the layout.
    const std::array<std::string_view, 5> parts = {
        dnLine, changetypeSeen ? "changetype: add\n" : "", "objectclass: container\n",
        "objectclass: top\n", "cn: Policies\n\n"};
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (ofp.write(parts[i]) != 0) {
            trace("writePolicyContainerAddToOutputFile():  fputs() #%d failed with rc=-1 \n",
                  i + 1);
            return -1;
        }
    }
    return traceExit(containerWriter);
}

int writeSecPolicyAddToOutputFile(int index, OutputFile& stream) {
    traceEntry(policyWriter);
    const EntryView policy = secPolicy_matrix.row(index);
    if (policy.empty()) {
        return traceExit(policyWriter);
    }
    requireDn(policyWriter, "secPolicy_dn", secPolicyDN(index), index);
    const bool written = write(policyWriter, stream, secPolicyDN(index)) == 0 &&
                         writeLines(policyWriter, stream, policy, unmergedFilter) == 0 &&
                         endRecord(policyWriter, stream) == 0;
    return written ? traceExit(policyWriter) : -1;
}

int writeSecGroupAddToOutputFile(int index, OutputFile& stream) {
    return writeOwner(groupWriter, stream, secGroup_dn, secGroup_matrix, secMap_for_secGroup_matrix,
                      {}, index);
}
