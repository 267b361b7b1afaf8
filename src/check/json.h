// Writing JSON (RFC 8259): values one after another, with the commas between them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

class JsonText {
public:
    // Each takes the name of the value if that is within an object.
    void beginObject(std::string_view name = {});
    void endObject();
    void beginArray(std::string_view name = {});
    void endArray();
    void addText(std::string_view name, std::string_view text);
    void addNumber(std::string_view name, std::optional<std::uint64_t> number);  // or null

    const std::string& text() const {
        return text_;
    }

private:
    void begin(std::string_view name);

    std::string text_;
    bool isFirst_ = true;  // no value precedes the next one
};
