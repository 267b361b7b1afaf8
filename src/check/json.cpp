#include "check/json.h"

#include <cstddef>

namespace {

// The length of the UTF-8 sequence that `text` begins with, or 0 when it is none (RFC 3629).
std::size_t sequenceLength(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) {
            return 0;
        }
    }
    const bool isOverlong = (first == 0xe0 && byte(1) < 0xa0) || (first == 0xf0 && byte(1) < 0x90);
    const bool isOutside = (first == 0xed && byte(1) > 0x9f) || (first == 0xf4 && byte(1) > 0x8f);
    return isOverlong || isOutside ? 0 : length;
}

void appendQuoted(std::string& out, std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    out += '"';
    while (!text.empty()) {
        const auto c = static_cast<unsigned char>(text.front());
        const std::size_t length = sequenceLength(text);
        if (length == 0) {
            out += "\\ufffd";
        } else if (c == '"' || c == '\\') {
            out += '\\';
            out += text.front();
        } else if (c < 0x20) {
            out += "\\u00";
            out += digits[c >> 4U];
            out += digits[c & 0xfU];
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    out += '"';
}

}  // namespace

void JsonText::begin(std::string_view name) {
    if (!isFirst_) {
        text_ += ',';
    }
    isFirst_ = false;
    if (!name.empty()) {
        appendQuoted(text_, name);
        text_ += ':';
    }
}

void JsonText::beginObject(std::string_view name) {
    begin(name);
    text_ += '{';
    isFirst_ = true;
}

void JsonText::endObject() {
    text_ += '}';
    isFirst_ = false;
}

void JsonText::beginArray(std::string_view name) {
    begin(name);
    text_ += '[';
    isFirst_ = true;
}

void JsonText::endArray() {
    text_ += ']';
    isFirst_ = false;
}

void JsonText::addText(std::string_view name, std::string_view text) {
    begin(name);
    appendQuoted(text_, text);
}

void JsonText::addNumber(std::string_view name, std::uint64_t number) {
    begin(name);
    text_ += std::to_string(number);
}
