// Text with placeholders: %s for any text, %d or %ld for any integer, as printf(3) knows them.
//
// The format and its arguments are compared when the program is compiled; a placeholder of the
// wrong kind or number does not build. Nothing is ever cut off.
#pragma once

#include <concepts>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

class FormatArgument {
public:
    FormatArgument(std::string_view text) : text_(text) {
    }
    FormatArgument(const std::string& text) : text_(text) {
    }
    FormatArgument(const char* text) : text_(text) {
    }
    template <std::integral Number>
    FormatArgument(Number number) : number_(static_cast<long>(number)), isNumber_(true) {
    }

    void appendTo(std::string& text) const;

private:
    std::string_view text_;
    long number_ = 0;
    bool isNumber_ = false;
};

// A format whose placeholders fit arguments of these types.
template <class... Arguments>
class FormatString {
public:
    template <std::size_t size>
    consteval FormatString(const char (&text)[size]) : text_(text) {
        constexpr bool wantsNumber[] = {std::integral<Arguments>..., false};
        std::size_t found = 0;
        for (std::size_t i = 0; i + 1 < size; ++i) {
            if (text[i] != '%') {
                continue;
            }
            const bool isLong = text[i + 1] == 'l';
            const char kind = text[i + (isLong ? 2 : 1)];
            if (found == sizeof...(Arguments) || kind != (wantsNumber[found] ? 'd' : 's')) {
                throw "the placeholders do not fit the arguments";
            }
            ++found;
        }
        if (found != sizeof...(Arguments)) {
            throw "there are more arguments than placeholders";
        }
    }

    std::string_view text() const {
        return text_;
    }

private:
    std::string_view text_;
};

// Replaces the format's placeholders by the arguments, in order. For formats that are
// chosen at run time; placeholders without an argument become empty.
std::string formatText(std::string_view format, std::span<const FormatArgument> arguments);

template <class... Arguments>
std::string format(FormatString<std::type_identity_t<Arguments>...> format,
                   const Arguments&... arguments) {
    if constexpr (sizeof...(Arguments) == 0) {
        return std::string(format.text());
    } else {
        const FormatArgument list[] = {FormatArgument(arguments)...};
        return formatText(format.text(), list);
    }
}
