// Records: the lines of the entries in the newer layout.
//
// A record is a new DN line, lines, and an empty line. The lines of a user or group are those of
// its merged entries, the lines of a policy those of its entry, both without the old DN line and
// without what the output filter drops; the filter is a second, looser guard behind the merge. The
// writers stream these lines, the check digests them.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "entry/entry.h"
#include "entry/filters.h"
#include "entry/names.h"
#include "entry/text.h"

// Merges the entries of one user, or of one group, into `object`. A user may have an entry below
// cn=Users, whose lines come first. None of the entries may be `object`. Ends the process if an
// entry is empty or a line has no colon.
void mergeEntriesOfUser(EntryView user, EntryView mapping, EntryView usersEntry);
void mergeEntriesOfGroup(EntryView group, EntryView mapping);

// Empties `object` after a merge. Keeps the memory of each of a user's two merges for the next one.
void freeMergedEntry();

// Consecutive lines of an entry, from line `first` to line `end` - 1.
struct LineRun {
    std::string_view text;
    int first;
    int end;
};

// Calls `take` with the lines of `entry` that a record has, in runs, until it returns other than 0.
// Returns its last result.
template <class Take>
int visitRecordLines(EntryView entry, const NameSet& filter, Take take) {
    int first = 1;  // behind the old DN line
    int result = 0;
    const auto takeUpTo = [&](int end) {
        return first < end ? take(LineRun{entry.lines(first, end), first, end}) : 0;
    };
    someColonPrefix(
        entry, [&filter](std::string_view colonPrefix) { return filter.matches(colonPrefix); },
        [&](int line, std::string_view, std::string_view) {
            if (line >= first) {
                result = takeUpTo(line);
                first = line + 1;
            }
            return result != 0;
        });
    return result != 0 ? result : takeUpTo(entry.lineCount());
}

template <class Take>
int visitMergedLines(EntryView merged, Take take) {
    return visitRecordLines(merged, mergedFilter, take);
}

template <class Take>
int visitPolicyLines(EntryView policy, Take take) {
    return visitRecordLines(policy, unmergedFilter, take);
}

// Calls `take` with the five texts of the container that holds the policy of a user with this new
// DN line, until it returns other than 0. Returns its last result. The last text holds the empty
// line, too. `hasChangetype` is whether the export has change types: then the record gets one as
// well, else that text is empty.
template <class Take>
int visitPolicyContainer(std::string_view userDnLine, bool hasChangetype, Take take) {
    const std::string_view userDn = userDnLine.substr(userDnLine.find(':') + 1);
    const std::string dnLine = "dn: cn=Policies," + std::string(withoutLeadingSpaces(userDn));
    // The object classes are in lower case, unlike those of other entries.
    const std::array<std::string_view, 5> texts = {dnLine, hasChangetype ? "changetype: add\n" : "",
                                                   "objectclass: container\n", "objectclass: top\n",
                                                   "cn: Policies\n\n"};
    int result = 0;
    for (auto text = texts.begin(); text != texts.end() && result == 0; ++text) {
        result = take(*text);
    }
    return result;
}
