#include "output/merge.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "entry/object_class.h"
#include "entry/text.h"

namespace {

constexpr std::array<std::string_view, 14> dropList = {
    "objectclass:",  "objectClass:",  "KVO-ENTRYUUID:", "kvo-entryuuid:", "control:", "Control:",
    "aclpropagate:", "aclPropagate:", "aclentry:",      "aclEntry:",      "acl:",     "ACL:",
    "aci:",          "ACI:"};

// The lines of an input; a null line has been handed on to the result or dropped.
using Lines = std::vector<std::string_view>;

Lines linesOf(const Entry& entry) {
    Lines lines;
    lines.reserve(static_cast<std::size_t>(entry.lineCount()));
    for (int i = 0; i < entry.lineCount(); ++i) {
        lines.push_back(entry.line(i));
    }
    return lines;
}

void traceLines(std::string_view label, const Lines& lines) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
        trace("%s[%d] = %s", label, i, lines[i]);
    }
}

void traceInputs(std::string_view heading, std::string_view indent, std::string_view suffix,
                 const Lines& first, const Lines& second) {
    if (debug) {
        trace("%s", heading);
        traceLines(format("%sinputObject1%s", indent, suffix), first);
        trace("\n\n");
        traceLines(format("%sinputObject2%s", indent, suffix), second);
    }
}

void requireLines(const Entry& inputObject1, const Entry& inputObject2) {
    if (inputObject1.empty() || inputObject2.empty()) {
        fail("mergeObjects():  One or both inputs is NULL.  Exiting. \n",
             format("mergeObjects(): inputObject1 = %s\nmergeObjects(): inputObject2 = %s\n",
                    firstLineOr(inputObject1, "NULL"), firstLineOr(inputObject2, "NULL")),
             migrationFailed("an entry to be merged is empty"));
    }
}

// The attribute name of a line, its colon included. `echoLabel` stands before the line when
// errors are echoed.
std::string_view attributeName(std::string_view line, std::string_view dnLine,
                               std::string_view echoLabel) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        const std::string error =
            "mergeObjects():  Colon missing from attribute definition. EXITING. \n";
        fail(error + "                 The input file could be corrupt.                  \n",
             error + format("%s%s\n", echoLabel, line),
             migrationFailed(format("the entry %s has a line without a colon: %s", quoted(dnLine),
                                    quoted(line))));
    }
    return line.substr(0, colon + 1);
}

bool isDnName(std::string_view name) {
    return name == "dn:" || name == "DN:";
}

bool isOnDropList(std::string_view name) {
    return std::find(dropList.begin(), dropList.end(), name) != dropList.end();
}

// Hands the line on to the result.
void append(std::string_view& line) {
    object.append(line);
    line = {};
}

// A line up to one of its colons, that colon included.
struct Head {
    std::size_t line;
    std::string_view text;
};

// Every head of every line. An attribute name is searched in all lines for each line of the other
// entry, and it can only end at a colon: finding the colons once makes the merge five times
// faster, and entries of a thousand lines bearable.
std::vector<Head> headsOf(const Lines& lines) {
    std::vector<Head> heads;
    heads.reserve(lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        someHead(lines[i], [&heads, i](std::string_view head) {
            heads.push_back({i, head});
            return false;
        });
    }
    return heads;
}

// The first line not yet handed on that holds `name` anywhere, without regard to case; the number
// of lines when there is none. Loose on purpose: the name may match inside a longer name or in a
// value.
std::size_t findName(const Lines& lines, const std::vector<Head>& heads, std::string_view name) {
    for (const Head& head : heads) {
        if (endsIgnoringCase(head.text, name) && lines[head.line].data() != nullptr) {
            return head.line;
        }
    }
    return lines.size();
}

void mergeFirst(Lines& first, Lines& second, std::string_view dnLine) {
    const std::vector<Head> secondHeads = headsOf(second);
    for (std::string_view& line : first) {
        // Anywhere in the line, and before anything else is asked of it: a line that only speaks of
        // an object class in its value is kept as well.
        if (holdsObjectClassName(line)) {
            append(line);
            continue;
        }
        const std::string_view name =
            attributeName(line, dnLine, "mergeObjects():  attributeClone = ");
        if (isDnName(name)) {
            append(line);
            continue;
        }
        if (isOnDropList(name)) {
            continue;
        }
        const std::size_t match = findName(second, secondHeads, name);
        const bool found = match != second.size();
        // The entry's own domain counts, not that of its mapping entry.
        if (!found || dostristr(line, "secauthority:") != nullptr) {
            append(line);
        } else {
            append(second[match]);
            line = {};
        }
        if (found) {
            second[match] = {};
        }
    }
}

void mergeSecond(Lines& second, std::string_view dnLine) {
    for (std::string_view& line : second) {
        if (line.data() == nullptr) {
            continue;
        }
        const std::string_view name = attributeName(line, dnLine, "attributeClone =  ");
        if (!isDnName(name) && !isOnDropList(name)) {
            append(line);
        }
    }
}

void traceUnmerged(std::string_view clone, std::string_view headingEnd, const Lines& lines) {
    trace("\nmergeObjects():  THE FOLLOWING ATTRIBUTES REMAINED UNMERGED WITHIN %s%s \n"
          "                   CHECK THESE FOR ERRRORS. \n",
          clone, headingEnd);
    if (debug) {
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].data() != nullptr) {
                trace("                  %s[%d] = %s ", clone, i, lines[i]);
            }
        }
    }
}

void traceMerged() {
    trace("mergeObjects():  The merged object is: \n");
    if (debug) {
        for (int i = 0; i < object.lineCount(); ++i) {
            trace("                 object[%d] = %s ", i, object.line(i));
        }
    }
}

}  // namespace

void mergeObjects(const Entry& inputObject1, const Entry& inputObject2) {
    const OutOfMemoryLine line("mergeObjects():  malloc() failure.  EXITING. \n");
    trace("mergeObjects():  FUNCTION ENTRY  \n");
    requireLines(inputObject1, inputObject2);
    Lines first = linesOf(inputObject1);
    Lines second = linesOf(inputObject2);
    traceInputs("THE FOLLOWING TWO OBJECTS ARE TO BE MERGED: \n", "   ", "", first, second);
    freeObject();
    trace("mergeObjects():  numberOfInputObject1Attributes = %d \n"
          "mergeObjects():  numberOfInputObject2Attributes = %d \n",
          first.size(), second.size());
    // The lines are listed twice because whoever reads traces expects both lists.
    traceInputs("CLONES OF THE ABOVE OBJECTS ARE: \n", "", "Clone", first, second);
    mergeFirst(first, second, inputObject1.line(0));
    mergeSecond(second, inputObject2.line(0));
    traceUnmerged("inputObject1Clone", ".", first);
    traceUnmerged("inputObject2Clone", ":", second);
    traceMerged();
    trace("mergeObjects():  FUNCTION EXIT \n");
}
