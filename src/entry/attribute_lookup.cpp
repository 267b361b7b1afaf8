#include "entry/attribute_lookup.h"

#include <algorithm>
#include <utility>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "entry/names.h"
#include "entry/text.h"

namespace {

// What the trace says of a lookup, and when memory runs out while its text is copied or grown.
struct Lookup {
    std::string_view function;
    std::string_view sought;
    std::string_view mallocLine;
    std::string_view reallocLine;
};

constexpr Lookup valueByName = {
    "obtainAttributeValueFromObjArray", "attribute value",
    "obtainAttributeValueFromObjArray():  ERROR:  malloc() failure.  Exiting. \n",
    "obtainAttributeValueFromObjArray():  ERROR:  realloc() failure.  Exiting. \n"};
constexpr Lookup valueByIndex = {
    "obtainAttributeValueFromObjectArray", "attribute value",
    "obtainAttributeValueFromObjectArray():  ERROR:  malloc() failure.  Exiting. \n",
    "obtainAttributeValueFromObjectArray():  ERROR:  realloc() failure.  Exiting. \n"};
constexpr Lookup attributeByIndex = {
    "obtainAttributeFromObjectArray", "attribute",
    "obtainAttributeFromObjectArray():  ERROR:  malloc() failure.  Exiting. \n",
    "obtainAttributeFromObjectArray():  ERROR:  realloc() failure.  Exiting. \n"};

bool isContinuation(std::string_view line) {
    return line.starts_with(' ');
}

// Adds `text`, which precedes line `next` of `entry`, to `whole`, with the continuation lines
// from there on joined to it. `next` becomes the index of the first line behind them.
void unfoldInto(std::string& whole, const Lookup& lookup, std::string_view text, EntryView entry,
                int& next) {
    const OutOfMemoryLine copying(lookup.mallocLine);
    whole += withoutLineEnd(text);
    const OutOfMemoryLine growing(lookup.reallocLine);
    while (isContinuation(entry.line(next))) {
        whole += withoutLineEnd(entry.line(next).substr(1));
        ++next;
    }
}

std::string unfold(const Lookup& lookup, std::string_view text, EntryView entry, int& next) {
    std::string whole;
    unfoldInto(whole, lookup, text, entry, next);
    return whole;
}

// Whether every line ends in a line feed, but for a last one that may lack it, and none holds a
// carriage return.
bool isRegular(EntryView entry) {
    const std::string_view text = entry.text();
    const auto lastEnd = entry.lineEnds().end() - 1;
    return !entry.line(entry.lineCount() - 1).empty() &&
           std::all_of(entry.lineEnds().begin(), lastEnd,
                       [text](std::uint32_t end) { return text.substr(0, end).ends_with('\n'); }) &&
           text.find('\r') == std::string_view::npos;
}

// Joins the text between the folds of a regular entry, which is faster than unfolding each
// attribute.
std::string_view unfoldRuns(EntryView entry, std::string& unfolded) {
    const std::string_view text = entry.text();
    std::size_t joined = 0;
    for (const std::uint32_t end : entry.lineEnds()) {
        if (isContinuation(text.substr(end))) {
            unfolded.reserve(text.size() + 1);
            unfolded += text.substr(joined, end - 1 - joined);
            joined = end + 1;
        }
    }
    if (joined == 0 && text.ends_with('\n')) {
        return text;
    }
    unfolded.reserve(text.size() + 1);
    unfolded += text.substr(joined);
    if (!unfolded.ends_with('\n')) {
        unfolded += '\n';
    }
    return unfolded;
}

std::string_view unfoldLines(std::string& unfolded) {
    unfolded.reserve(object.text().size() + static_cast<std::size_t>(object.lineCount()));
    for (int i = 0; i < object.lineCount();) {
        const std::string_view text = object.line(i);
        unfoldInto(unfolded, attributeByIndex, text, object, ++i);
        unfolded += '\n';
    }
    return unfolded;
}

void refuseContinuation(std::string_view function, int index) {
    const std::string_view line = object.line(index);
    if (!isContinuation(line) && line.data() != nullptr) {
        return;
    }
    const std::string error = format(
        "%s():  ERROR:  The object at the specified index is a 'continuation' line.  Exiting. \n",
        function);
    // The line shown brings its own line end.
    const std::string_view shown = line.data() != nullptr ? line : "null";
    fail(error, error + format("%s():  object = %s", function, shown),
         migrationFailed(aboutObject("has a continuation line where an attribute should begin")));
}

// Where a value begins.
struct Value {
    int line;
    std::string_view text;  // up to the end of the line
};

// The first value of a line that holds `key`, a name in lower case and its colon. The attribute's
// own name, up to the first colon, may have any case; in the value the key is found in lower case
// alone.
std::optional<Value> findValue(EntryView entry, std::string_view key) {
    std::optional<Value> value;
    const NameSet names({&key, 1});
    someColonPrefix(
        entry, [&names](std::string_view colonPrefix) { return names.matches(colonPrefix); },
        [&](int line, std::string_view colonPrefix, std::string_view tail) {
            if (colonPrefix.find(':') == colonPrefix.size() - 1 || colonPrefix.ends_with(key)) {
                value = Value{line, tail};
            }
            return value.has_value();
        });
    return value;
}

// The text of the line at `index`, from `start` on and unfolded.
std::string obtainAtIndex(const Lookup& lookup, int index, std::size_t start) {
    trace(
        "\n%s():  FUNCTION ENTRY \n    Seeking the attribute at index %d \n    object[%d] = %s \n",
        lookup.function, index, index, object.line(index));
    refuseContinuation(lookup.function, index);
    int next = index + 1;
    std::string text = unfold(lookup, object.line(index).substr(start), object, next);
    // The index traced is that of the line behind the attribute.
    trace("%s(): \n   The %s at index %d returned is:   %s \n%s():  FUNCTION EXIT \n",
          lookup.function, lookup.sought, next, text, lookup.function);
    return text;
}

}  // namespace

std::optional<std::string> obtainAttributeValueFromObjArray(std::string_view name,
                                                            EntryView entry) {
    const OutOfMemoryLine line(
        "obtainAttributeValueFromObjArray():  malloc() failure.  EXITING. \n");
    trace("obtainAttributeValueFromObjArray():  FUNCTION ENTRY \n"
          "    Seeking the value of attribute:  %s\n",
          name);
    std::string key(name);
    strtolower(key) += ':';

    std::optional<std::string> value;
    if (const std::optional<Value> found = findValue(entry, key)) {
        int next = found->line + 1;
        value = unfold(valueByName, withoutLeadingSpaces(found->text), entry, next);
        trace("obtainAttributeValueFromObjArray(): \n"
              "   The attribute value at index %d returned is:   %s \n",
              found->line, *value);
    }
    if (!value) {
        trace("obtainAttributeValueFromObjArray():  ERROR:  Attribute not found. \n");
    }
    trace("obtainAttributeValueFromObjArray():  FUNCTION EXIT \n");
    return value;
}

std::string obtainAttributeValueFromObjectArray(int index) {
    const std::string_view line = object.line(index);
    return obtainAtIndex(valueByIndex, index, std::min(line.find(':'), line.size()));
}

std::string obtainAttributeFromObjectArray(int index) {
    return obtainAtIndex(attributeByIndex, index, 0);
}

std::string_view unfoldedObject() {
    static std::string unfolded;
    unfolded.clear();
    return isRegular(object) ? unfoldRuns(object, unfolded) : unfoldLines(unfolded);
}

void requireAttribute(int index) {
    refuseContinuation(attributeByIndex.function, index);
}
