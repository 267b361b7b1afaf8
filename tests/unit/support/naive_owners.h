// A second implementation of the owner association, as simple as possible.
#pragma once

#include <strings.h>

#include <string>
#include <string_view>
#include <vector>

// The association, spelled out: trim, end in a line feed, scan.
struct NaiveOwners {
    std::vector<std::string> dns;

    int find(std::string key) const {
        key.erase(key.find_last_not_of(" \t\n\v\f\r") + 1);
        key += '\n';
        for (std::size_t i = 0; i < dns.size(); ++i) {
            if (strcasecmp(dns[i].c_str(), key.c_str()) == 0) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
};

inline std::string withoutSpacesAroundCommas(std::string text) {
    for (const std::string_view blank : {" ,", ", "}) {
        for (std::size_t at = 0; (at = text.find(blank)) != std::string::npos;) {
            text.replace(at, blank.size(), ",");
        }
    }
    return text;
}
