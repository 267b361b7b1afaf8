#include "output/merge.h"

#include <cstring>
#include <string>
#include <string_view>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "output/name_search.h"

namespace {

void findLines(EntryView entry, Lines& lines) {
    lines.clear();
    lines.reserve(static_cast<std::size_t>(entry.lineCount()));
    for (int i = 0; i < entry.lineCount(); ++i) {
        lines.push_back(entry.line(i));
    }
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

void requireLines(EntryView inputObject1, EntryView inputObject2) {
    if (inputObject1.empty() || inputObject2.empty()) {
        fail("mergeObjects():  One or both inputs is NULL.  Exiting. \n",
             format("mergeObjects(): inputObject1 = %s\nmergeObjects(): inputObject2 = %s\n",
                    firstLineOr(inputObject1, "NULL"), firstLineOr(inputObject2, "NULL")),
             migrationFailed("an entry to be merged is empty"));
    }
}

// The problem of line `index`, which has no colon. Its text is not shown: it may be part of a value
// that is a secret.
std::string problemWithoutColon(EntryView entry, int index) {
    int number = 1;
    for (int i = 0; i < index; ++i) {
        number += entry.line(i).ends_with('\n') ? 1 : 0;
    }
    const bool isPiece = index > 0 && !entry.line(index - 1).ends_with('\n');
    return format(
        "the entry %s has %s: its line %d, counted from its DN line without comments and "
        "continuation lines",
        entryName(entry),
        isPiece ? "an attribute that is longer than 4,094 bytes" : "a line without a colon",
        number);
}

[[noreturn]] void failWithoutColon(EntryView entry, std::size_t index, std::string_view echoLabel) {
    const int line = static_cast<int>(index);
    const std::string error =
        "mergeObjects():  Colon missing from attribute definition. EXITING. \n";
    fail(error + "                 The input file could be corrupt.                  \n",
         error + format("%s%s\n", echoLabel, entry.line(line)),
         migrationFailed(problemWithoutColon(entry, line)));
}

// Moves the line to the result.
void append(std::string_view& line) {
    object.append(line);
    line = {};
}

// The properties of a line that its prefixes decide, each up to one of its colons.
struct LinePrefixes {
    std::string_view name;  // the first of them
    bool holdsObjectClassName = false;
    bool namesDomain = false;
};

// The prefixes of the lines of an entry, from the first line on. Looks for each colon once.
class PrefixReader {
public:
    explicit PrefixReader(std::string_view text) : end_(text.data() + text.size()) {
        findColon(text.data());
    }

    // Those of `line`, which must be the next one.
    LinePrefixes read(std::string_view line) {
        LinePrefixes colonPrefixes;
        while (colon_ < line.data() + line.size()) {
            const std::string_view colonPrefix(line.data(),
                                               static_cast<std::size_t>(colon_ + 1 - line.data()));
            colonPrefixes.name = colonPrefixes.name.empty() ? colonPrefix : colonPrefixes.name;
            colonPrefixes.holdsObjectClassName =
                colonPrefixes.holdsObjectClassName || isObjectClassName(colonPrefix);
            colonPrefixes.namesDomain =
                colonPrefixes.namesDomain || endsIgnoringCase(colonPrefix, "secauthority:");
            findColon(colon_ + 1);
        }
        return colonPrefixes;
    }

private:
    void findColon(const char* from) {
        const void* found = std::memchr(from, ':', static_cast<std::size_t>(end_ - from));
        colon_ = found == nullptr ? end_ : static_cast<const char*>(found);
    }

    const char* end_;
    const char* colon_ = nullptr;  // the next one, or the end
};

void mergeFirst(EntryView entry, Lines& first, Lines& second, NameSearch& search) {
    PrefixReader reader(entry.text());
    for (std::size_t i = 0; i < first.size(); ++i) {
        std::string_view& line = first[i];
        const LinePrefixes colonPrefixes = reader.read(line);
        // Anywhere in the line, and before the other rules: a line that only mentions an object
        // class in its value is kept as well.
        if (colonPrefixes.holdsObjectClassName) {
            append(line);
            continue;
        }
        if (colonPrefixes.name.empty()) {
            failWithoutColon(entry, i, "mergeObjects():  attributeClone = ");
        }
        if (isDnName(colonPrefixes.name)) {
            append(line);
            continue;
        }
        if (isOnDropList(colonPrefixes.name)) {
            continue;
        }
        const std::size_t match = search.find(second, colonPrefixes.name);
        const bool found = match != second.size();
        // The entry's own domain counts, not that of its mapping entry.
        if (!found || colonPrefixes.namesDomain) {
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

void mergeSecond(EntryView entry, Lines& second) {
    for (std::size_t i = 0; i < second.size(); ++i) {
        std::string_view& line = second[i];
        if (line.data() == nullptr) {
            continue;
        }
        const std::string_view name = mergedName(line);
        if (name.empty()) {
            failWithoutColon(entry, i, "attributeClone =  ");
        }
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

bool isDnName(std::string_view name) {
    return name == "dn:" || name == "DN:";
}

void mergeObjects(EntryView inputObject1, EntryView inputObject2) {
    const OutOfMemoryLine line("mergeObjects():  malloc() failure.  EXITING. \n");
    trace("mergeObjects():  FUNCTION ENTRY  \n");
    requireLines(inputObject1, inputObject2);
    // Reused, so that most merges allocate nothing.
    static Lines first;
    static Lines second;
    static NameSearch search;
    findLines(inputObject1, first);
    findLines(inputObject2, second);
    search.prepare(inputObject2, first.size());
    traceInputs("THE FOLLOWING TWO OBJECTS ARE TO BE MERGED: \n", "   ", "", first, second);
    freeObject();
    object.reserve(inputObject1.text().size() + inputObject2.text().size(),
                   first.size() + second.size());
    trace("mergeObjects():  numberOfInputObject1Attributes = %d \n"
          "mergeObjects():  numberOfInputObject2Attributes = %d \n",
          first.size(), second.size());
    // The lines are listed twice because readers of traces expect both lists.
    traceInputs("CLONES OF THE ABOVE OBJECTS ARE: \n", "", "Clone", first, second);
    mergeFirst(inputObject1, first, second, search);
    mergeSecond(inputObject2, second);
    traceUnmerged("inputObject1Clone", ".", first);
    traceUnmerged("inputObject2Clone", ":", second);
    traceMerged();
    trace("mergeObjects():  FUNCTION EXIT \n");
}
