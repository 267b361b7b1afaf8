#include "check/json.h"

#include "driver/diagnostics/printable.h"

namespace {

void appendEscaped(std::string& out, char32_t code) {
    constexpr std::string_view digits = "0123456789abcdef";
    out += "\\u";
    for (const unsigned shift : {12U, 8U, 4U, 0U}) {
        out += digits[code >> shift & 0xfU];
    }
}

void appendQuoted(std::string& out, std::string_view text) {
    constexpr char32_t replacement = 0xfffd;
    out += '"';
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        if (!character.isPrintable) {  // the code of each of these has four digits
            appendEscaped(out, character.isValid ? character.code : replacement);
        } else {
            out += character.code == U'"' || character.code == U'\\' ? "\\" : "";
            out += text.substr(0, character.length);
        }
        text.remove_prefix(character.length);
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

void JsonText::addNumber(std::string_view name, std::optional<std::uint64_t> number) {
    begin(name);
    text_ += number ? std::to_string(*number) : "null";
}
