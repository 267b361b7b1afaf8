#include "check/shown.h"

#include "entry/entry.h"

namespace {

std::string_view attributeName(std::string_view line) {
    constexpr std::string_view characters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-;.";
    constexpr std::size_t most = 64;  // more than any name has
    line = line.substr(0, most);
    const std::size_t end = line.find_first_not_of(characters);
    const bool isName = end != std::string_view::npos && line[end] == ':';
    return isName ? line.substr(0, end) : std::string_view();
}

}  // namespace

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
