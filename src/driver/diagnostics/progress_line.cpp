#include "driver/diagnostics/progress_line.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "driver/diagnostics/enum_table.h"

void ShortText::append(std::string_view text) {
    const std::size_t count = std::min(text.size(), characters_.size() - size_);
    std::copy_n(text.begin(), count, characters_.begin() + static_cast<std::ptrdiff_t>(size_));
    size_ += count;
}

void ShortText::append(std::int64_t number) {
    std::array<char, 20> digits;
    const char* end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    append(std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())));
}

namespace {

struct PhaseKind {
    Phase phase;
    std::string_view name;
    bool isOfFile;     // whether it is measured in bytes
    bool holdsOwners;  // whether there are users and groups in memory
};

constexpr std::array<PhaseKind, 4> phaseKinds = {
    {{Phase::STAGING, "Staging", true, false},
     {Phase::PASS, "Pass", true, true},
     {Phase::WRITING, "Writing", false, true},
     {Phase::CREDENTIALS, "Credentials", true, false}}};
static_assert(isInOrderOf(phaseKinds, &PhaseKind::phase));

const PhaseKind& kindOf(Phase phase) {
    return phaseKinds[static_cast<std::size_t>(phase)];
}

ShortText phaseField(const Progress& progress) {
    ShortText field;
    field.append(kindOf(progress.phase).name);
    if (progress.phase == Phase::PASS) {
        field.append(" ");
        field.append(progress.pass);
    }
    return field;
}

// How many of `parts` the phase has behind it.
std::int64_t share(const Progress& progress, std::int64_t parts) {
    const std::int64_t total = std::max<std::int64_t>(progress.total, 1);
    return std::clamp<std::int64_t>(progress.done, 0, total) * parts / total;
}

ShortText barField(const Progress& progress) {
    // By the width of the terminal alone, so that it keeps its length.
    const int length = std::clamp(progress.columns / 8, 10, 30);
    const std::int64_t filled = share(progress, length);
    ShortText field;
    field.append("[");
    for (int i = 0; i < length; ++i) {
        field.append(i < filled ? "=" : " ");
    }
    field.append("]");
    return field;
}

ShortText percentField(const Progress& progress) {
    const std::int64_t percent = share(progress, 100);
    ShortText field;
    field.append(percent < 10 ? "  " : percent < 100 ? " " : "");
    field.append(percent);
    field.append("%");
    return field;
}

ShortText ownersField(const Progress& progress) {
    ShortText field;
    if (kindOf(progress.phase).holdsOwners) {
        field.append("users ");
        field.append(progress.users);
        field.append(", groups ");
        field.append(progress.groups);
    }
    return field;
}

bool hasRate(const Progress& progress) {
    return progress.done > progress.begin && progress.elapsed.count() > 0;
}

ShortText speedField(const Progress& progress) {
    ShortText field;
    if (kindOf(progress.phase).isOfFile && hasRate(progress)) {
        constexpr std::int64_t bytesPerTenth = 100'000;
        const std::int64_t bytesPerSecond =
            (progress.done - progress.begin) * 1000 / progress.elapsed.count();
        const std::int64_t tenths = bytesPerSecond / bytesPerTenth;
        field.append(tenths / 10);
        field.append(".");
        field.append(tenths % 10);
        field.append(" MB/s");
    }
    return field;
}

ShortText timeLeftField(const Progress& progress) {
    ShortText field;
    if (hasRate(progress)) {
        constexpr double maxSeconds = 99 * 3600 + 59 * 60 + 59;
        const auto moved = static_cast<double>(progress.done - progress.begin);
        const auto left = static_cast<double>(progress.total - progress.done);
        const double wanted = left / moved * static_cast<double>(progress.elapsed.count()) / 1000;
        const auto seconds =
            static_cast<std::int64_t>(std::ceil(std::clamp(wanted, 0.0, maxSeconds)));
        const std::int64_t minutes = seconds / 60;
        if (minutes >= 60) {
            field.append(minutes / 60);
            field.append(minutes % 60 < 10 ? ":0" : ":");
        }
        field.append(minutes % 60);
        field.append(seconds % 60 < 10 ? ":0" : ":");
        field.append(seconds % 60);
        field.append(" left");
    }
    return field;
}

// The parts of the line from left to right, and how important each is.
struct Field {
    ShortText (*text)(const Progress&);
    std::size_t rank;
};

constexpr std::array<Field, 6> fields = {{{phaseField, 1},
                                          {barField, 3},
                                          {percentField, 0},
                                          {ownersField, 4},
                                          {speedField, 5},
                                          {timeLeftField, 2}}};
constexpr std::string_view gap = "  ";

}  // namespace

ShortText progressLine(const Progress& progress) {
    std::array<ShortText, fields.size()> texts;
    std::array<std::size_t, fields.size()> byRank = {};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        texts[i] = fields[i].text(progress);
        byRank[fields[i].rank] = i;
    }
    // The last column stays free, and the first field has no gap before it.
    std::size_t columnsLeft =
        static_cast<std::size_t>(std::max(progress.columns, 1)) - 1 + gap.size();
    for (const std::size_t i : byRank) {
        const std::size_t size = gap.size() + texts[i].view().size();
        if (size <= columnsLeft) {
            columnsLeft -= size;
        } else {
            texts[i] = ShortText();
        }
    }
    ShortText line;
    for (const ShortText& text : texts) {
        if (!text.view().empty()) {
            line.append(line.view().empty() ? "" : gap);
            line.append(text.view());
        }
    }
    return line;
}
