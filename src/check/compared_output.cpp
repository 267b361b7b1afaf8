#include "check/compared_output.h"

#include <algorithm>
#include <utility>

#include "check/export_file.h"

std::array<RecordCount, static_cast<std::size_t>(RecordKind::END)> recordCounts = {};
OutputReader comparedOutput;

namespace {

std::string outputDnAt(off_t offset) {
    constexpr std::size_t usual = 512;
    constexpr std::size_t maxSize = 4096;
    std::string text = comparedOutput.file().textAt(offset, usual);
    if (text.find('\n') == std::string::npos) {
        text = comparedOutput.file().textAt(offset, maxSize);
    }
    text.resize(std::min(text.find('\n'), text.size()));
    return text;
}

}  // namespace

RecordCount& countOf(RecordKind kind) {
    return recordCounts[static_cast<std::size_t>(kind)];
}

void openComparedOutput(const std::string& name) {
    recordCounts = {};
    comparedOutput = OutputReader();
    comparedOutput.open(name);
}

bool readOutputEntry(OutputEntry& entry) {
    const bool isRead = comparedOutput.read(entry);
    if (isRead && !entry.isEnded) {
        reportDifference(FindingType::CHANGED_ENTRY, noOffset, entry.offset,
                         "no empty line follows it: the file may be truncated");
    }
    return isRead;
}

// The DN is shown if the export has it. In the output alone, text that looks like a DN may be part
// of a value that was split.
void reportDifference(FindingType type, off_t exportOffset, off_t outputOffset,
                      const std::string& effect) {
    if (!isShown(type)) {
        countFinding(type);
        return;
    }
    Finding finding;
    const bool isInOutput = outputOffset != noOffset;
    finding.line = exportOffset != noOffset ? lineAt(exportOffset) : 0;
    finding.outputLine = isInOutput ? comparedOutput.file().lineAt(outputOffset) : 0;
    const std::string exportDn = exportOffset != noOffset ? dnAt(exportOffset) : "";
    const std::string dn = isInOutput ? shownDn(outputDnAt(outputOffset)) : exportDn;
    finding.dn = exportDn.empty() ? "" : dn;
    finding.effect = dn.empty() ? "the entry begins without a DN line: " + effect : effect;
    addFinding(type, std::move(finding));
}
