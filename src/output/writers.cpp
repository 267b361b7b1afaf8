#include "output/writers.h"

#include <string>
#include <string_view>

#include "cache/object_cache.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"
#include "output/record.h"

namespace {

// The texts of a writer in its traces and errors.
struct Writer {
    std::string_view function;
    std::string_view missingDnTail;  // how the echo of a missing DN ends
    bool echoesMergedRows = false;
    bool tracesLines = false;
};

constexpr Writer userWriter = {"writeSecUserAddToOutputFile", "EXITING.\n", true, true};
constexpr Writer containerWriter = {"writePolicyContainerAddToOutputFile", "EXITING.\n"};
constexpr Writer policyWriter = {"writeSecPolicyAddToOutputFile", "EXITING.\n"};
constexpr Writer groupWriter = {"writeSecGroupAddToOutputFile", "EXITING.  \n"};

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

// Writes lines of the entry from which a record is made.
int writeRun(const Writer& writer, OutputFile& stream, EntryView entry, const LineRun& run) {
    if (writer.tracesLines && debug) {
        for (int i = run.first; i < run.end; ++i) {
            trace("Writing object[%d] = %s", i, entry.line(i));
        }
    }
    return write(writer, stream, run.text);
}

int endRecord(const Writer& writer, OutputFile& stream) {
    return write(writer, stream, "\n");
}

// Ends the process unless the owner has both an entry and a mapping entry.
void requireEntries(const Writer& writer, const Matrix& entries, const Matrix& mappings, int index,
                    std::string_view newDnLine) {
    const EntryView entry = entries.row(index);
    const EntryView mapping = mappings.row(index);
    if (!entry.empty() && !mapping.empty()) {
        return;
    }
    const std::string error =
        format("%s():  ERROR:  Passing a NULL pointer to mergeObjects() \n", writer.function);
    std::string rows;
    if (writer.echoesMergedRows) {
        rows = format("%s = %s\n%s = %s\n", entries.name, firstLineOr(entry, "NULL"), mappings.name,
                      firstLineOr(mapping, "NULL"));
    }
    const std::string problem =
        mapping.empty() ? format("the entry %s has no secMap entry whose secDN names it",
                                 entry.empty() ? quoted(newDnLine) : entryName(entry))
                        : format("the secMap entry %s has no owner", entryName(mapping));
    fail(error, error + rows, migrationFailed(problem));
}

// Begins the record of the owner in slot `index`: writes its DN line.
int beginRecord(const Writer& writer, OutputFile& stream, const OwnerTable& owners, int index) {
    traceEntry(writer);
    requireDn(writer, owners.name(), owners.dn(index), index);
    return write(writer, stream, owners.dn(index));
}

// Writes the merged lines in `object`, and ends the record.
int writeMerged(const Writer& writer, OutputFile& stream) {
    if (writer.tracesLines) {
        trace("%s():  Write the remainder of the entry to the output LDIF file \n",
              writer.function);
    }
    if (visitMergedLines(object, [&](const LineRun& run) {
            return writeRun(writer, stream, object, run);
        }) != 0) {
        return -1;
    }
    if (writer.tracesLines) {
        trace("%s():  Finished writing the remainder of the entry to the output LDIF file \n",
              writer.function);
    }
    freeMergedEntry();
    return endRecord(writer, stream) == 0 ? traceExit(writer) : -1;
}

}  // namespace

int writeSecUserAddToOutputFile(int index, OutputFile& stream) {
    if (beginRecord(userWriter, stream, secUser_dn, index) != 0) {
        return -1;
    }
    requireEntries(userWriter, secUser_matrix, secMap_for_secUser_matrix, index,
                   secUser_dn.dn(index));
    mergeEntriesOfUser(secUser_matrix.row(index), secMap_for_secUser_matrix.row(index),
                       Users_secUser_matrix.row(index));
    return writeMerged(userWriter, stream);
}

int writePolicyContainerAddToOutputFile(int index) {
    traceEntry(containerWriter);
    requireDn(containerWriter, secUser_dn.name(), secUser_dn.dn(index), index);
    int number = 0;  // an empty text has its own in the trace, too
    const auto take = [&number](std::string_view text) {
        ++number;
        return ofp.write(text);
    };
    if (visitPolicyContainer(secUser_dn.dn(index), changetypeSeen, take) != 0) {
        trace("writePolicyContainerAddToOutputFile():  fputs() #%d failed with rc=-1 \n", number);
        return -1;
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
    const auto take = [&](const LineRun& run) {
        return writeRun(policyWriter, stream, policy, run);
    };
    const bool written = write(policyWriter, stream, secPolicyDN(index)) == 0 &&
                         visitPolicyLines(policy, take) == 0 &&
                         endRecord(policyWriter, stream) == 0;
    return written ? traceExit(policyWriter) : -1;
}

int writeSecGroupAddToOutputFile(int index, OutputFile& stream) {
    if (beginRecord(groupWriter, stream, secGroup_dn, index) != 0) {
        return -1;
    }
    requireEntries(groupWriter, secGroup_matrix, secMap_for_secGroup_matrix, index,
                   secGroup_dn.dn(index));
    mergeEntriesOfGroup(secGroup_matrix.row(index), secMap_for_secGroup_matrix.row(index));
    return writeMerged(groupWriter, stream);
}
