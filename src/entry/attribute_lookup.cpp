#include "entry/attribute_lookup.h"

#include <algorithm>
#include <utility>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
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

// `text`, which stands before line `next`, with the continuation lines from there on joined to
// it. `next` becomes the index of the first line behind them.
std::string unfold(const Lookup& lookup, std::string_view text, int& next) {
    const OutOfMemoryLine copying(lookup.mallocLine);
    std::string whole(withoutLineEnd(text));
    const OutOfMemoryLine growing(lookup.reallocLine);
    while (isContinuation(object.line(next))) {
        whole += withoutLineEnd(object.line(next).substr(1));
        ++next;
    }
    return whole;
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

// Where the value begins in a line that holds `key`, a name in lower case and its colon; nothing
// when it does not. The attribute's own name, up to the first colon, may have any case; in the
// value the key is found only as it is.
std::optional<std::size_t> findValue(std::string_view line, std::string_view key) {
    std::optional<std::size_t> start;
    bool isFirst = true;
    someHead(line, [&](std::string_view head) {
        if (std::exchange(isFirst, false) ? endsIgnoringCase(head, key) : head.ends_with(key)) {
            start = head.size();
        }
        return start.has_value();
    });
    return start;
}

// The text of the line at `index`, from `start` on and unfolded.
std::string obtainAtIndex(const Lookup& lookup, int index, std::size_t start) {
    trace(
        "\n%s():  FUNCTION ENTRY \n    Seeking the attribute at index %d \n    object[%d] = %s \n",
        lookup.function, index, index, object.line(index));
    refuseContinuation(lookup.function, index);
    int next = index + 1;
    std::string text = unfold(lookup, object.line(index).substr(start), next);
    // The index traced is that of the line behind the attribute.
    trace("%s(): \n   The %s at index %d returned is:   %s \n%s():  FUNCTION EXIT \n",
          lookup.function, lookup.sought, next, text, lookup.function);
    return text;
}

}  // namespace

std::optional<std::string> obtainAttributeValueFromObjArray(std::string_view name) {
    const OutOfMemoryLine line(
        "obtainAttributeValueFromObjArray():  malloc() failure.  EXITING. \n");
    trace("obtainAttributeValueFromObjArray():  FUNCTION ENTRY \n"
          "    Seeking the value of attribute:  %s\n",
          name);
    std::string key(name);
    strtolower(key) += ':';

    std::optional<std::string> value;
    for (int i = 0; i < object.lineCount() && !value; ++i) {
        const std::optional<std::size_t> start = findValue(object.line(i), key);
        if (!start) {
            continue;
        }
        int next = i + 1;
        value = unfold(valueByName, withoutLeadingBlanks(object.line(i).substr(*start)), next);
        trace("obtainAttributeValueFromObjArray(): \n"
              "   The attribute value at index %d returned is:   %s \n",
              i, *value);
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
