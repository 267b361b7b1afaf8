#include "check/places.h"

#include <algorithm>
#include <cstddef>
#include <string>

LinePlaces::LinePlaces(off_t fileSize) {
    constexpr off_t most = 8192;
    distance_ = std::max(least, fileSize / most);
}

void LinePlaces::note(off_t offset, std::int64_t line) {
    if (places_.empty() || offset >= places_.back().offset + distance_) {
        places_.push_back({offset, line});
    }
}

std::int64_t LinePlaces::lineAt(const CheckedFile& file, off_t offset) const {
    const auto next =
        std::upper_bound(places_.begin(), places_.end(), offset,
                         [](off_t sought, const Place& place) { return sought < place.offset; });
    Place at = next == places_.begin() ? Place{0, 1} : *(next - 1);
    if (last_.offset > at.offset && last_.offset <= offset) {
        at = last_;
    }
    constexpr off_t blockSize = 64 * 1024;
    while (at.offset < offset) {
        const std::string block = file.textAt(
            at.offset, static_cast<std::size_t>(std::min(blockSize, offset - at.offset)));
        if (block.empty()) {
            return 0;
        }
        at.line += std::count(block.begin(), block.end(), '\n');
        at.offset += static_cast<off_t>(block.size());
    }
    last_ = at;
    return at.line;
}
