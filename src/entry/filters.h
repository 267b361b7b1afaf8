// The output filters: attributes that the newer layout does not take over.
//
// A line is left out when it holds one of these names anywhere, its value included, in any case.
#pragma once

#include <array>
#include <span>
#include <string_view>

// For policies and resource credentials, which reach the output without being merged.
inline constexpr std::array<std::string_view, 5> unmergedFilter = {
    "kvo-entryuuid:", "aclentry:", "aci:", "acl:", "control:"};

// For users and groups, whose controls the merge has dropped already.
inline constexpr std::span<const std::string_view> mergedFilter(unmergedFilter.data(), 4);
