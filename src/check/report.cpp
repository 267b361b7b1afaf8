#include "check/report.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "check/compared_output.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "check/json.h"
#include "check/owners.h"
#include "check/shell_word.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/printable.h"
#include "driver/platform/file.h"
#include "entry/object_class.h"

namespace {

struct Named {
    std::string_view inJson;
    std::string_view inText;
};

constexpr std::array<Named, static_cast<std::size_t>(RecordKind::END)> contentNames = {{
    {"passed", "entries that stay as they are"},
    {"users", "users"},
    {"containers", "policy containers"},
    {"policies", "policies"},
    {"groups", "groups"},
    {"credentials", "resource credentials"},
}};

constexpr std::array<Named, static_cast<std::size_t>(Rule::END)> ruleNames = {{
    {"entryIdentifiers", "entry identifiers dropped"},
    {"accessControl", "lines of access control and controls dropped"},
    {"filteredWords", "lines dropped for a word that they hold"},
    {"policyData", "lines of policy data dropped"},
    {"oldNames", "old DNs of merged entries dropped"},
    {"oldClasses", "object classes of merged entries dropped"},
    {"equalLines", "lines that merged entries had in common"},
    {"replacedLines", "lines replaced by those of another entry"},
    {"normalized", "lines that lost blanks beside commas"},
    {"versions", "versions set to 6.0"},
    {"respelled", "identifiers respelled as secUUID"},
    {"domainIdsAdded", "domain identifiers added"},
    {"datesAdded", "installation dates added"},
    {"containersAdded", "policy containers added"},
}};

std::string_view severityName(Severity severity) {
    switch (severity) {
        case Severity::ENDS:
            return "ends";
        case Severity::CHANGES:
            return "changes";
        case Severity::DIFFERS:
            break;
    }
    return "differs";
}

// 1234567 becomes 1,234,567.
std::string grouped(std::uint64_t number) {
    std::string text = std::to_string(number);
    constexpr std::size_t group = 3;
    for (std::size_t at = text.size(); at > group; at -= group) {
        text.insert(at - group, 1, ',');
    }
    return text;
}

std::string mebibytes(std::uint64_t bytes) {
    constexpr std::uint64_t mebibyte = 1024 * 1024;
    return format("%s MiB", grouped((bytes + mebibyte - 1) / mebibyte));
}

std::string aligned(std::string_view text, std::size_t width) {
    return std::string(width - std::min(text.size(), width), ' ').append(text);
}

// ---- Text.

std::string line(std::uint64_t number, std::string_view what) {
    return format("%s  %s\n", aligned(grouped(number), 16), what);
}

std::string inventoryText() {
    std::string text = line(inventory.bytes, "bytes") + line(inventory.entries, "entries:");
    for (std::size_t i = 0; i < classTable.size(); ++i) {
        if (inventory.byClass[i] != 0) {
            text += format("    %s", line(inventory.byClass[i], classTable[i].label));
        }
    }
    return text + line(inventory.users, "users") + line(inventory.groups, "groups") +
           line(domainCount(), "domains");
}

std::string planLine(const Plan& plan) {
    return aligned(grouped(plan.users), 16) + aligned(grouped(plan.groups), 14) +
           aligned(grouped(plan.passes), 9) + aligned(mebibytes(plan.memory), 14) + '\n';
}

std::string plansText(const Request& request) {
    std::string text = "\nCounts to pass, passes and memory (about):\n\n";
    text += aligned("MAX_USERS", 16) + aligned("MAX_GROUPS", 14) + aligned("passes", 9) +
            aligned("memory", 14) + '\n';
    if (request.users != 0 || request.groups != 0) {
        text += planLine(planFor(request.users, request.groups)) + "    of these, instead:\n";
    }
    for (const Plan& plan : plans()) {
        text += planLine(plan);
    }
    return text;
}

std::string diskText(const DiskNeed& need) {
    return format("\nRoom on the disk:\n\n%s  for the work file, removed at the end\n"
                  "%s  for the output, at most\n%s  free on the disk of the export\n",
                  aligned(mebibytes(need.workFile), 16), aligned(mebibytes(need.output), 16),
                  aligned(need.free ? mebibytes(*need.free) : "not known", 16));
}

std::string unknownText() {
    std::string text;
    for (const std::string& one : unknown()) {
        text += format("    %s\n", printable(one));
    }
    return text.empty() ? text : format("\nNot known:\n\n%s", text);
}

std::string findingText(const Finding& finding) {
    std::string text;
    if (finding.line != 0) {
        text += format("    line %ld", finding.line);
    }
    if (finding.outputLine != 0) {
        text += format("%s line %ld of the output", text.empty() ? "   " : ",", finding.outputLine);
    }
    if (!finding.dn.empty()) {
        text += format("%s%s", text.empty() ? "    " : ": ", finding.dn);
    }
    text += text.empty() ? "" : "\n";
    const std::string effect = printable(finding.effect);
    return text + (finding.message != 0
                       ? format("        would end with %ld: %s\n", finding.message, effect)
                       : format("        %s\n", effect));
}

std::string kindText(const FindingText& kind) {
    std::string text = format("\n  %s: %s [%s]\n    To do: %s.\n", kind.title,
                              grouped(total(kind.kind)), kind.id, kind.repair);
    for (const Finding& finding : shown(kind.kind)) {
        text += findingText(finding);
    }
    const std::uint64_t left = total(kind.kind) - shown(kind.kind).size();
    return left == 0 ? text : text + format("    and %s more\n", grouped(left));
}

std::string severityText(Severity severity, std::string_view heading) {
    std::string text;
    for (const FindingText& kind : kinds()) {
        if (kind.severity == severity && total(kind.kind) != 0) {
            text += kindText(kind);
        }
    }
    return text.empty() ? text : format("\n%s\n%s", heading, text);
}

std::string proofText() {
    std::string text = format("\n%s%s\n", aligned("demanded", 16), aligned("found", 16));
    for (std::size_t i = 0; i < recordCounts.size(); ++i) {
        text += aligned(grouped(recordCounts[i].expected), 16) +
                aligned(grouped(recordCounts[i].found), 16) + "  " +
                std::string(contentNames[i].inText) + '\n';
    }
    text += "\nWhat the rules have changed, in lines:\n\n";
    for (std::size_t i = 0; i < ruleLines.size(); ++i) {
        if (ruleLines[i] != 0) {
            text += line(ruleLines[i], ruleNames[i].inText);
        }
    }
    return text;
}

// ---- JSON.

void addFinding(JsonText& json, const Finding& finding) {
    json.beginObject();
    if (finding.line != 0) {
        json.addNumber("line", static_cast<std::uint64_t>(finding.line));
    }
    if (finding.outputLine != 0) {
        json.addNumber("outputLine", static_cast<std::uint64_t>(finding.outputLine));
    }
    if (!finding.dn.empty()) {
        json.addText("dn", finding.dn);
    }
    json.addText("effect", finding.effect);
    if (finding.message != 0) {
        json.addNumber("message", static_cast<std::uint64_t>(finding.message));
    }
    json.endObject();
}

void addFindings(JsonText& json) {
    json.beginArray("findings");
    for (const FindingText& kind : kinds()) {
        if (total(kind.kind) == 0) {
            continue;
        }
        json.beginObject();
        json.addText("kind", kind.id);
        json.addText("severity", severityName(kind.severity));
        json.addText("title", kind.title);
        json.addText("repair", kind.repair);
        json.addNumber("total", total(kind.kind));
        json.beginArray("shown");
        for (const Finding& finding : shown(kind.kind)) {
            addFinding(json, finding);
        }
        json.endArray();
        json.endObject();
    }
    json.endArray();
}

void beginDocument(JsonText& json, const Request& request) {
    json.beginObject();
    json.addText("program", "ldif-migrate-check");
    json.addText("version", PROGRAM_VERSION);
    json.addText("export", request.exportName);
}

void addPlan(JsonText& json, std::string_view name, const Plan& plan) {
    json.beginObject(name);
    json.addNumber("users", plan.users);
    json.addNumber("groups", plan.groups);
    json.addNumber("passes", plan.passes);
    json.addNumber("memory", plan.memory);
    json.endObject();
}

void addInventory(JsonText& json) {
    json.beginObject("inventory");
    json.addNumber("bytes", inventory.bytes);
    json.addNumber("entries", inventory.entries);
    json.beginObject("byClass");
    for (std::size_t i = 0; i < classTable.size(); ++i) {
        json.addNumber(classTable[i].name, inventory.byClass[i]);
    }
    json.endObject();
    json.addNumber("users", inventory.users);
    json.addNumber("groups", inventory.groups);
    json.addNumber("domains", domainCount());
    json.addNumber("policies", inventory.byClass[SECPOLICY_OBJECTCLASS]);
    json.addNumber("policyData", inventory.byClass[SECPOLICYDATA_OBJECTCLASS]);
    json.endObject();
}

std::string jsonBefore(const Request& request, const DiskNeed& need) {
    JsonText json;
    beginDocument(json, request);
    addInventory(json);
    addPlan(json, "run", planFor(0, 0));
    if (request.users != 0 || request.groups != 0) {
        addPlan(json, "requested", planFor(request.users, request.groups));
    }
    json.beginArray("plans");
    for (const Plan& plan : plans()) {
        addPlan(json, {}, plan);
    }
    json.endArray();
    json.beginObject("disk");
    json.addNumber("workFile", need.workFile);
    json.addNumber("output", need.output);
    json.addNumber("free", need.free);
    json.endObject();
    json.beginArray("unknown");
    for (const std::string& one : unknown()) {
        json.addText({}, one);
    }
    json.endArray();
    addFindings(json);
    json.endObject();
    return json.text() + '\n';
}

std::string jsonAfter(const Request& request) {
    JsonText json;
    beginDocument(json, request);
    json.addText("output", *request.outputName);
    json.beginObject("proof");
    for (std::size_t i = 0; i < recordCounts.size(); ++i) {
        json.beginObject(contentNames[i].inJson);
        json.addNumber("demanded", recordCounts[i].expected);
        json.addNumber("found", recordCounts[i].found);
        json.endObject();
    }
    json.beginObject("rules");
    for (std::size_t i = 0; i < ruleLines.size(); ++i) {
        json.addNumber(ruleNames[i].inJson, ruleLines[i]);
    }
    json.endObject();
    json.endObject();
    addFindings(json);
    json.endObject();
    return json.text() + '\n';
}

std::string countedFindings() {
    const std::uint64_t total = totalOfAllKinds();
    return total == 1 ? "1 finding" : format("%s findings", grouped(total));
}

std::string textBefore(const Request& request, const DiskNeed& need) {
    std::string text = format("%s: before the migration\n\n", printable(request.exportName)) +
                       inventoryText() + plansText(request) + diskText(need) + unknownText();
    text += severityText(Severity::ENDS, "WOULD END THE MIGRATION WITH AN ERROR");
    text += severityText(Severity::CHANGES, "WOULD BE CHANGED OR LOST WITHOUT A WORD");
    const Plan run = planFor(request.users, request.groups);
    if (totalOfAllKinds() == 0) {
        text += format("\n%s Migrate with\n\n"
                       "    ldif-migrate %s OUTPUT %ld %ld\n",
                       unknown().empty() ? "Nothing found."
                                         : "Nothing found in what could be read; see Not known.",
                       shellWord(request.exportName), run.users, run.groups);
    } else {
        text += format("\n%s. Repair the export, and check it again.\n", countedFindings());
    }
    return text;
}

std::string textAfter(const Request& request) {
    std::string text = format("%s: after the migration of %s\n", printable(*request.outputName),
                              printable(request.exportName)) +
                       proofText();
    text += severityText(Severity::DIFFERS, "THE OUTPUT IS NOT WHAT THE EXPORT DEMANDS");
    return text + (totalOfAllKinds() == 0
                       ? std::string(
                             "\nEverything that the rules keep is there, once, and nothing else.\n")
                       : format("\n%s. Do not load the output.\n", countedFindings()));
}

int write(const std::string& text) {
    return writeText(STDOUT_FILENO, text) == text.size() ? 0 : -1;
}

}  // namespace

int reportBefore(const Request& request, const DiskNeed& need) {
    return write(request.asJson ? jsonBefore(request, need) : textBefore(request, need));
}

int reportAfter(const Request& request) {
    return write(request.asJson ? jsonAfter(request) : textAfter(request));
}
