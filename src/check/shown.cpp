#include "check/shown.h"

#include "entry/entry.h"

std::string shownDn(std::string_view line) {
    if (!isDnLine(line)) {
        return {};
    }
    const std::string whole = quoted(line);
    return whole.substr(1, whole.size() - 2);
}

std::string shownName(std::string_view line) {
    const std::string_view name = attributeName(line);
    return std::string(name.empty() ? unnamed : name);
}
