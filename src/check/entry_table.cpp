#include "check/entry_table.h"

#include <algorithm>
#include <cstddef>
#include <utility>

void EntryTable::add(std::uint64_t lines, off_t offset) {
    if (used_ == heads_.size()) {
        grow();
    }
    if (free_ == 0) {
        nodes_.emplace_back();
        free_ = static_cast<std::uint32_t>(nodes_.size());
    }
    const std::uint32_t number = free_;
    Node& node = nodes_[number - 1];
    free_ = node.next;
    node.lines = Packed40(lines);
    node.offset = Packed40(static_cast<std::uint64_t>(offset));
    node.next = std::exchange(headOf(node.lines), number);
    ++used_;
}

off_t EntryTable::take(std::uint64_t lines) {
    if (empty()) {
        return -1;
    }
    const Packed40 sought(lines);
    for (std::uint32_t* link = &headOf(sought); *link != 0; link = &nodes_[*link - 1].next) {
        Node& node = nodes_[*link - 1];
        if (node.lines.value() == sought.value()) {
            const std::uint32_t number = std::exchange(*link, node.next);
            node.next = std::exchange(free_, number);
            --used_;
            return static_cast<off_t>(node.offset.value());
        }
    }
    return -1;
}

std::vector<off_t> EntryTable::offsets() const {
    std::vector<off_t> offsets;
    offsets.reserve(used_);
    for (const std::uint32_t head : heads_) {
        for (std::uint32_t number = head; number != 0; number = nodes_[number - 1].next) {
            offsets.push_back(static_cast<off_t>(nodes_[number - 1].offset.value()));
        }
    }
    std::sort(offsets.begin(), offsets.end());
    return offsets;
}

void EntryTable::grow() {
    constexpr std::size_t least = 16;
    std::vector<std::uint32_t> before(std::max(least, 2 * heads_.size()), 0);
    before.swap(heads_);
    for (std::uint32_t number : before) {
        while (number != 0) {
            Node& node = nodes_[number - 1];
            const std::uint32_t next = node.next;
            node.next = std::exchange(headOf(node.lines), number);
            number = next;
        }
    }
}
