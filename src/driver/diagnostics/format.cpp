#include "driver/diagnostics/format.h"

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
        format.remove_prefix(format.starts_with('l') ? 2 : 1);
        if (!arguments.empty()) {
            arguments.front().appendTo(text);
            arguments = arguments.subspan(1);
        }
    }
}
