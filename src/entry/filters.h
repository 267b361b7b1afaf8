// The output filters: attributes that the newer layout does not take over.
//
// A line is left out when it holds one of these names anywhere, its value included, in any case.
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "entry/names.h"

inline constexpr std::array<std::string_view, 5> filteredNames = {
    "kvo-entryuuid:", "aclentry:", "aci:", "acl:", "control:"};

// For policies and resource credentials, which reach the output without being merged.
inline constexpr NameSet unmergedFilter(filteredNames);

// For users and groups, whose controls the merge has dropped already.
inline constexpr NameSet mergedFilter(std::span<const std::string_view>(filteredNames).first(4));
