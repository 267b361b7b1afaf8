// Findings: what the check has found, sorted by kind.
//
// A kind is one way in which a migration goes wrong, or in which its output differs from what its
// export demands. Of each kind the first few findings are kept for the report and all are counted.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

enum class Severity : std::uint8_t {
    ENDS,     // the migration would end with an error
    CHANGES,  // it would change or lose something without a word
    DIFFERS,  // the output is not what the export demands
};

enum class FindingType : std::uint8_t {
    EXPORT_NOT_WRITABLE,
    WORK_FILE_REFUSED,
    DISK_TOO_SMALL,
    USER_WITHOUT_MAPPING,
    MAPPING_WITHOUT_USER,
    USERS_ENTRY_WITHOUT_USER,
    POLICY_WITHOUT_USER,
    POLICY_DATA_WITHOUT_USER,
    GROUP_WITHOUT_MAPPING,
    MAPPING_WITHOUT_GROUP,
    TWO_OF_ONE_KIND,
    MISSING_NAME,
    MISSING_DOMAIN,
    MISSING_OWNER,
    BASE64_DN,
    BASE64_OWNER,
    BLANKS_IN_DN,
    BLANK_IN_POLICY_DN,
    LONG_ATTRIBUTE,
    STARTS_WITH_CONTINUATION,
    HEADER_GLUED,
    TAB_CONTINUATION,
    LINE_WITHOUT_COLON,
    STRAY_LINES,
    LEFT_OVER_WORK_FILE,
    CLASS_NOT_RECOGNISED,
    CLASS_MISTAKEN,
    SECOND_DN,
    ENTRY_WITHOUT_DN,
    DN_SPELLING,
    LONG_LINE,
    LONG_ATTRIBUTE_BROKEN,
    TAB_LINE,
    FOLDED_COMMENT,
    BLANK_CONTINUATION,
    CUT_TEXT,
    FILTERED_WORD,
    REPLACED_VALUE,
    ESCAPED_COMMA,
    NORMALIZED_VALUE,
    WRONG_DOMAIN,
    NAME_NEEDS_ESCAPING,
    NAME_FROM_ELSEWHERE,
    BASE64_NAME,
    POLICY_RENAMED,
    DOMAIN_ID_WRONG,
    RESPELLED_ELSEWHERE,
    SAME_NEW_NAME,
    EMPTY_DOMAIN,
    VERSION_LENGTH,
    VERSION_ELSEWHERE,
    VERSION_NOT_SET,
    TOO_MANY_LINES,
    MISSING_ENTRY,
    EXTRA_ENTRY,
    CHANGED_ENTRY,
    REPEATED_ENTRY,
    END
};

struct FindingText {
    FindingType kind;
    Severity severity;
    std::string_view id;      // in JSON, such as "user-without-mapping"
    std::string_view title;   // heads the findings of the kind
    std::string_view repair;  // what to do about each of them
};

struct Finding {
    std::int64_t line = 0;        // of the export, from 1 on; 0: none
    std::int64_t outputLine = 0;  // of the output, from 1 on; 0: none
    std::string dn;               // the DN line, as quoted() shows it; may be empty
    std::string effect;           // what the migration would do, or what differs
    int message = 0;              // the number of the message that a migration would end with, or 0
};

// Keeps at most `limit` findings of each kind from here on, and forgets all there were.
void beginFindings(std::size_t limit);

// Forgets what was found, but for what differs in the output.
void keepDifferencesAlone();

// Whether another finding of the kind would be kept.
bool isShown(FindingType kind);

// Counts findings that are not to be kept.
void countFinding(FindingType kind, std::uint64_t times = 1);

// Counts a finding, and keeps it while there is room.
void addFinding(FindingType kind, Finding finding);

// Notes what could not be found out and is no reason to end the check, with the reason.
void addUnknown(std::string what);
const std::vector<std::string>& unknown();

std::uint64_t total(FindingType kind);
const std::vector<Finding>& shown(FindingType kind);
std::uint64_t totalOfAllKinds();

// Every kind, in the order of the report.
std::span<const FindingText> kinds();
