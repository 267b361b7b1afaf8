// Findings, sorted by type, and how they may show a line.
//
// A type is one way in which a migration goes wrong, or in which its output differs from the
// expected one. All findings of a type are counted, and the first few are kept for the report.
//
// A finding shows the DN or the name of an attribute alone, never a value or a piece of one. If a
// value was split, a piece of it may be where a DN or a name is expected. So only text that looks
// like one is shown: a DN line begins with "dn:", and an attribute name consists of at most 63
// letters, digits and the characters "-", "." and ";" before a colon.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

enum class Severity : std::uint8_t {
    ENDS,     // the migration would fail
    CHANGES,  // it would silently change or lose something
    DIFFERS,  // the output is not the expected one
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
    HEADER_NOT_SEPARATED,
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
    FindingType type;
    Severity severity;
    std::string_view id;     // such as "user-without-mapping"
    std::string_view title;  // heads the findings of the type
    std::string_view fix;    // for each of them
};

struct Finding {
    std::int64_t line = 0;        // of the export, from 1 on; 0: none
    std::int64_t outputLine = 0;  // of the output, from 1 on; 0: none
    std::string dn;               // the DN line, as quoted() shows it; may be empty
    std::string effect;           // of the migration, or the difference
    int message = 0;              // the number of the message that the migration fails with, or 0
};

// Clears all findings. From here on, keeps at most `limit` of each type.
void beginFindings(std::size_t limit);

// Clears all findings but those of the output.
void keepDifferencesAlone();

// Whether another finding of the type would be kept.
bool isShown(FindingType type);

// Counts findings without keeping them.
void countFinding(FindingType type, std::uint64_t times = 1);

// Counts a finding, and keeps it unless the limit is reached.
void addFinding(FindingType type, Finding finding);

// Notes something that is unknown, and why, without ending the check.
void addUnknown(std::string what);
const std::vector<std::string>& unknown();

std::uint64_t total(FindingType type);
const std::vector<Finding>& shown(FindingType type);
std::uint64_t totalOfAllTypes();

// Every type, in the order of the report.
std::span<const FindingText> findingTypes();

// A DN line as findings show it, its line end left out; empty for any other line.
std::string shownDn(std::string_view line);

// The name of the attribute that the line begins with; "(unnamed)" for any other line.
std::string shownName(std::string_view line);
inline constexpr std::string_view unnamed = "(unnamed)";
