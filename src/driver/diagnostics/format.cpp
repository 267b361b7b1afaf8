#include "driver/diagnostics/format.h"

#include <algorithm>

void FormatArgument::appendTo(std::string& text) const {
    if (isNumber_) {
        text += std::to_string(number_);
    } else {
        text += text_;
    }
}

std::string formatText(std::string_view format, std::span<const FormatArgument> arguments) {
    std::string text;
    for (;;) {
        const std::size_t percent = format.find('%');
        text += format.substr(0, percent);
        if (percent == std::string_view::npos) {
            return text;
        }
        format.remove_prefix(percent + 1);
        const std::size_t kind = format.starts_with('l') ? 2 : 1;
        format.remove_prefix(std::min(kind, format.size()));
        if (!arguments.empty()) {
            arguments.front().appendTo(text);
            arguments = arguments.subspan(1);
        }
    }
}
