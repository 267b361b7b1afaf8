#include "check/findings.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "driver/diagnostics/enum_table.h"
#include "entry/entry.h"

namespace {

// clang-format off
constexpr std::array<FindingText, static_cast<std::size_t>(FindingType::END)> findingTable = {{
    {FindingType::EXPORT_NOT_WRITABLE, Severity::ENDS, "export-not-writable",
     "The export cannot be opened for reading and writing, or is locked",
     "give the user who runs the migration write permission (the export is not changed), or wait for the other program to end"},
    {FindingType::WORK_FILE_REFUSED, Severity::ENDS, "work-file-refused",
     "The work file cannot be created",
     "remove what has its name, and let the user who runs the migration write to the folder of the export"},
    {FindingType::DISK_TOO_SMALL, Severity::ENDS, "disk-too-small",
     "Not enough disk space",
     "free disk space, or put the output on another disk"},
    {FindingType::USER_WITHOUT_MAPPING, Severity::ENDS, "user-without-mapping",
     "Users without a mapping entry",
     "add the user's secMap entry, whose secDN must be the DN of the entry above the user's, or correct that secDN"},
    {FindingType::MAPPING_WITHOUT_USER, Severity::ENDS, "mapping-without-user",
     "Mapping entries without their user",
     "remove the entry, correct its secDN, or add the user's entry"},
    {FindingType::USERS_ENTRY_WITHOUT_USER, Severity::ENDS, "users-entry-without-user",
     "User entries below cn=Users without their user",
     "remove the entry, correct its secDN and secAuthority, or add the user's entry"},
    {FindingType::POLICY_WITHOUT_USER, Severity::ENDS, "policy-without-user",
     "Policies without their user",
     "remove the policy, or add the user's entry above it"},
    {FindingType::POLICY_DATA_WITHOUT_USER, Severity::ENDS, "policy-data-without-user",
     "Policy data without its user",
     "remove the entry, or add the user's entry above it"},
    {FindingType::GROUP_WITHOUT_MAPPING, Severity::ENDS, "group-without-mapping",
     "Groups without a mapping entry",
     "add the group's secMap entry, whose secDN must be the DN of the entry above the group's, or correct that secDN"},
    {FindingType::MAPPING_WITHOUT_GROUP, Severity::ENDS, "mapping-without-group",
     "Mapping entries without their group",
     "remove the entry, correct its secDN, or add the group's entry"},
    {FindingType::TWO_OF_ONE_KIND, Severity::ENDS, "two-of-one-kind",
     "Two entries of one kind for one owner",
     "keep one of the two"},
    {FindingType::MISSING_NAME, Severity::ENDS, "missing-name",
     "Users without principalName, and groups without cn",
     "add the attribute with its value; the name must be spelled principalName or principalname, cn or CN"},
    {FindingType::MISSING_DOMAIN, Severity::ENDS, "missing-domain",
     "Entries that do not name their domain",
     "add secAuthority with the name of the domain, to the DN in a mapping entry"},
    {FindingType::MISSING_OWNER, Severity::ENDS, "missing-owner",
     "Entries that do not name their owner",
     "add secDN with the DN of the owner's directory entry; a policy's DN must name its user"},
    {FindingType::BASE64_DN, Severity::ENDS, "base64-dn",
     "DNs in base64 in entries that are regrouped",
     "decode the DN and write it as text"},
    {FindingType::BASE64_OWNER, Severity::ENDS, "base64-owner",
     "Owners and domains named in base64",
     "decode the value and write it as text"},
    {FindingType::BLANKS_IN_DN, Severity::ENDS, "blanks-in-dn",
     "DNs with spaces that keep their other entries from being found",
     "remove the white space at the end of the DN, and in a group's DN the spaces beside commas; a group whose name contains such a comma needs another name"},
    {FindingType::BLANK_IN_POLICY_DN, Severity::ENDS, "blank-in-policy-dn",
     "Policies with a space after the first comma of their DN",
     "remove the space"},
    {FindingType::LONG_ATTRIBUTE, Severity::ENDS, "long-attribute",
     "Attributes too long for a regrouped entry",
     "shorten the attribute to 4,094 bytes including its name, or remove it and add it after the migration"},
    {FindingType::STARTS_WITH_CONTINUATION, Severity::ENDS, "starts-with-continuation",
     "Entries that begin with a continuation line",
     "join the line to the attribute that it belongs to; a comment must not be folded"},
    {FindingType::HEADER_NOT_SEPARATED, Severity::ENDS, "header-not-separated",
     "Header lines not separated from a regrouped entry",
     "put an empty line after the header"},
    {FindingType::TAB_CONTINUATION, Severity::ENDS, "tab-continuation",
     "Lines continued with a tab",
     "replace the tab with a space"},
    {FindingType::LINE_WITHOUT_COLON, Severity::ENDS, "line-without-colon",
     "Lines without a colon in entries that are merged",
     "fix or remove the line"},
    {FindingType::STRAY_LINES, Severity::ENDS, "stray-lines",
     "Lines separated from a regrouped entry",
     "remove what separates them, usually a carriage return at the start of a line"},
    {FindingType::LEFT_OVER_WORK_FILE, Severity::CHANGES, "left-over-work-file",
     "A work file left behind by an earlier run",
     "remove the file"},
    {FindingType::CLASS_NOT_RECOGNISED, Severity::CHANGES, "class-not-recognised",
     "Object classes that are not recognised",
     "write the attribute as objectClass and the class in its usual spelling, for example secUser, after one space"},
    {FindingType::CLASS_MISTAKEN, Severity::CHANGES, "class-mistaken",
     "Entries taken for another class",
     "reword the value, or write it in base64"},
    {FindingType::SECOND_DN, Severity::CHANGES, "second-dn",
     "Entries not separated from the next one",
     "put an empty line before the second DN"},
    {FindingType::ENTRY_WITHOUT_DN, Severity::CHANGES, "entry-without-dn",
     "Lines that belong to no entry",
     "remove the empty line before them, or the lines"},
    {FindingType::DN_SPELLING, Severity::CHANGES, "dn-spelling",
     "First lines of entries that end up inside another entry",
     "write dn: in lower case, put an empty line after a header, and keep attribute names with a colon out of the DN"},
    {FindingType::LONG_LINE, Severity::CHANGES, "long-line",
     "Lines that are too long",
     "fold the line"},
    {FindingType::LONG_ATTRIBUTE_BROKEN, Severity::CHANGES, "long-attribute-broken",
     "Attributes too long for a regrouped entry, which are split silently",
     "shorten the attribute to 4,094 bytes including its name, or remove it and add it after the migration"},
    {FindingType::TAB_LINE, Severity::CHANGES, "tab-line",
     "Lines that begin with a tab",
     "replace the tab with a space"},
    {FindingType::FOLDED_COMMENT, Severity::CHANGES, "folded-comment",
     "Folded comments",
     "write the comment on one line, or begin its second line with # too"},
    {FindingType::BLANK_CONTINUATION, Severity::CHANGES, "blank-continuation",
     "Continuation lines that hold only spaces",
     "fold the value at another character"},
    {FindingType::CUT_TEXT, Severity::CHANGES, "cut-text",
     "Text after a carriage return or a zero byte in a line",
     "remove the byte, or write the value in base64"},
    {FindingType::FILTERED_WORD, Severity::CHANGES, "filtered-word",
     "Lines dropped because of a name that they contain",
     "reword the value, write it in base64, or add it after the migration"},
    {FindingType::REPLACED_VALUE, Severity::CHANGES, "replaced-value",
     "Values replaced by another entry of the same owner",
     "make the values equal, remove the attribute name from the other entry, or add the value after the migration"},
    {FindingType::ESCAPED_COMMA, Severity::CHANGES, "escaped-comma",
     "Spaces beside escaped commas that are lost",
     "write the attribute name as secDN"},
    {FindingType::NORMALIZED_VALUE, Severity::CHANGES, "normalized-value",
     "Values that lose spaces beside commas",
     "reword secdn: in the value, or write the value in base64"},
    {FindingType::WRONG_DOMAIN, Severity::CHANGES, "wrong-domain",
     "Users and groups that move to another domain",
     "correct the DN of the entry in the output after the migration, or move the directory entry before it"},
    {FindingType::NAME_NEEDS_ESCAPING, Severity::CHANGES, "name-needs-escaping",
     "Names that need escaping in their new DN",
     "correct the DN of the entry in the output after the migration, or rename the user or group"},
    {FindingType::NAME_FROM_ELSEWHERE, Severity::CHANGES, "name-from-elsewhere",
     "Names taken from another attribute",
     "put the naming attribute before the line that contains its name"},
    {FindingType::BASE64_NAME, Severity::CHANGES, "base64-name",
     "Names in base64",
     "decode the value and write it as text"},
    {FindingType::POLICY_RENAMED, Severity::CHANGES, "policy-renamed",
     "Policies that get another name",
     "rename the policy to cn=Policy, or remove it: a user has one policy"},
    {FindingType::DOMAIN_ID_WRONG, Severity::CHANGES, "domain-id-wrong",
     "Domain identifiers that are missing, duplicated or made from other values",
     "add secDomainId with one space after its colon, as text: the domain, a percent sign and the principal name"},
    {FindingType::RESPELLED_ELSEWHERE, Severity::CHANGES, "respelled-elsewhere",
     "Lines in which secuuid is respelled by mistake",
     "put the entry's own secuuid before that line"},
    {FindingType::SAME_NEW_NAME, Severity::CHANGES, "same-new-name",
     "Two entries with the same new DN",
     "rename one of the two"},
    {FindingType::EMPTY_DOMAIN, Severity::CHANGES, "empty-domain",
     "Users whose domain is empty",
     "add the name of the domain"},
    {FindingType::VERSION_LENGTH, Severity::CHANGES, "version-length",
     "Versions that are not three characters long",
     "correct the version in the export, or to 6.0 in the output"},
    {FindingType::VERSION_ELSEWHERE, Severity::CHANGES, "version-elsewhere",
     "Versions set in another line",
     "put the version before the line, and an empty line after a header"},
    {FindingType::VERSION_NOT_SET, Severity::CHANGES, "version-not-set",
     "Versions that are not set to 6.0",
     "write the attribute as version, with a space after its colon"},
    {FindingType::TOO_MANY_LINES, Severity::CHANGES, "too-many-lines",
     "Entries of 250,000 lines or more",
     "split the entry and join it again after the migration; it must not be the last in the export"},
    {FindingType::MISSING_ENTRY, Severity::DIFFERS, "missing-entry",
     "Entries missing from the output",
     "do not load the output; find out what happened to the entry, and migrate again"},
    {FindingType::EXTRA_ENTRY, Severity::DIFFERS, "extra-entry",
     "Unexpected entries in the output",
     "do not load the output; find out where the entry comes from, and migrate again"},
    {FindingType::CHANGED_ENTRY, Severity::DIFFERS, "changed-entry",
     "Entries of the output that differ from the expected ones",
     "do not load the output; compare the entries, and migrate again"},
    {FindingType::REPEATED_ENTRY, Severity::DIFFERS, "repeated-entry",
     "Duplicate entries in the output",
     "do not load the output; find out where the entry comes from, and migrate again"},
}};
// clang-format on
static_assert(isInOrderOf(findingTable, &FindingText::type));

struct Found {
    std::uint64_t total = 0;
    std::vector<Finding> shown;
};

std::array<Found, findingTable.size()> found;
std::size_t maxShown = 0;
std::vector<std::string> notKnown;

Found& foundOf(FindingType type) {
    return found[static_cast<std::size_t>(type)];
}

std::string_view attributeName(std::string_view line) {
    constexpr std::string_view characters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-;.";
    constexpr std::size_t maxSize = 64;  // more than any name has
    line = line.substr(0, maxSize);
    const std::size_t end = line.find_first_not_of(characters);
    const bool isName = end != std::string_view::npos && line[end] == ':';
    return isName ? line.substr(0, end) : std::string_view();
}

}  // namespace

void beginFindings(std::size_t limit) {
    found = {};
    maxShown = limit;
    notKnown.clear();
}

void keepDifferencesAlone() {
    for (const FindingText& text : findingTable) {
        if (text.severity != Severity::DIFFERS) {
            foundOf(text.type) = {};
        }
    }
}

bool isShown(FindingType type) {
    return foundOf(type).shown.size() < maxShown;
}

void countFinding(FindingType type, std::uint64_t times) {
    foundOf(type).total += times;
}

void addFinding(FindingType type, Finding finding) {
    const bool isKept = isShown(type);
    countFinding(type);
    if (isKept) {
        foundOf(type).shown.push_back(std::move(finding));
    }
}

void addUnknown(std::string what) {
    notKnown.push_back(std::move(what));
}

const std::vector<std::string>& unknown() {
    return notKnown;
}

std::uint64_t total(FindingType type) {
    return foundOf(type).total;
}

const std::vector<Finding>& shown(FindingType type) {
    return foundOf(type).shown;
}

std::uint64_t totalOfAllTypes() {
    std::uint64_t sum = 0;
    for (const Found& one : found) {
        sum += one.total;
    }
    return sum;
}

std::span<const FindingText> findingTypes() {
    return findingTable;
}

std::string shownDn(std::string_view line) {
    if (!isDnLine(line)) {
        return {};
    }
    const std::string whole = quoted(line);
    return whole.substr(1, whole.size() - 2);
}

std::string shownName(std::string_view line) {
    const std::string_view name = attributeName(line);
    return std::string(name.empty() ? unnamed : name);
}
