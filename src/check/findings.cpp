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
     "give the user who runs the migration the permission to write it, although it is not changed, or wait for the other program"},
    {FindingType::WORK_FILE_REFUSED, Severity::ENDS, "work-file-refused",
     "The work file cannot be made",
     "remove what has its name, and let the user who runs the migration write to the folder of the export"},
    {FindingType::DISK_TOO_SMALL, Severity::ENDS, "disk-too-small",
     "The disk has too little room",
     "make room, or put the output on another disk"},
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
     "DNs with blanks that keep their other entries from being found",
     "remove the white space at the end of the DN, in a group's DN also the blanks beside commas; a group whose name has such a comma needs another name"},
    {FindingType::BLANK_IN_POLICY_DN, Severity::ENDS, "blank-in-policy-dn",
     "Policies with a blank after the first comma of their DN",
     "remove the blank"},
    {FindingType::LONG_ATTRIBUTE, Severity::ENDS, "long-attribute",
     "Attributes that are too long for an entry that is regrouped",
     "shorten the attribute to 4,094 bytes with its name, or leave it out and add it after the migration"},
    {FindingType::STARTS_WITH_CONTINUATION, Severity::ENDS, "starts-with-continuation",
     "Entries that begin with a continuation line",
     "join the line to the attribute that it belongs to; a comment must not be folded"},
    {FindingType::HEADER_GLUED, Severity::ENDS, "header-glued",
     "Header lines right above an entry that is regrouped",
     "put a blank line below the header"},
    {FindingType::TAB_CONTINUATION, Severity::ENDS, "tab-continuation",
     "Lines continued with a tab",
     "put a blank in the place of the tab"},
    {FindingType::LINE_WITHOUT_COLON, Severity::ENDS, "line-without-colon",
     "Lines without a colon in entries that are merged",
     "mend or remove the line"},
    {FindingType::STRAY_LINES, Severity::ENDS, "stray-lines",
     "Lines torn off an entry that is regrouped",
     "remove what tears them off, as a rule a carriage return at the start of a line"},
    {FindingType::LEFT_OVER_WORK_FILE, Severity::CHANGES, "left-over-work-file",
     "An earlier run has left its work file",
     "remove the file"},
    {FindingType::CLASS_NOT_RECOGNISED, Severity::CHANGES, "class-not-recognised",
     "Object classes that are not recognised",
     "write the attribute as objectClass and the class as it is usual, for example secUser, with one blank before it"},
    {FindingType::CLASS_MISTAKEN, Severity::CHANGES, "class-mistaken",
     "Entries taken for one of another class",
     "write the value otherwise, or in base64"},
    {FindingType::SECOND_DN, Severity::CHANGES, "second-dn",
     "Entries without a blank line in front of the next one",
     "put an empty line above the second DN"},
    {FindingType::ENTRY_WITHOUT_DN, Severity::CHANGES, "entry-without-dn",
     "Lines that belong to no entry",
     "remove the blank line above them, or the lines"},
    {FindingType::DN_SPELLING, Severity::CHANGES, "dn-spelling",
     "First lines of entries that come to stand within another",
     "write dn: in small letters, put a blank line below a header, and leave no attribute's name with a colon in the DN"},
    {FindingType::LONG_LINE, Severity::CHANGES, "long-line",
     "Lines that are too long",
     "fold the line"},
    {FindingType::LONG_ATTRIBUTE_BROKEN, Severity::CHANGES, "long-attribute-broken",
     "Attributes that are too long for an entry that is regrouped, and break unnoticed",
     "shorten the attribute to 4,094 bytes with its name, or leave it out and add it after the migration"},
    {FindingType::TAB_LINE, Severity::CHANGES, "tab-line",
     "Lines that begin with a tab",
     "put a blank in the place of the tab"},
    {FindingType::FOLDED_COMMENT, Severity::CHANGES, "folded-comment",
     "Folded comments",
     "write the comment on one line, or begin its second line with #, too"},
    {FindingType::BLANK_CONTINUATION, Severity::CHANGES, "blank-continuation",
     "Continuation lines of blanks alone",
     "fold the value elsewhere"},
    {FindingType::CUT_TEXT, Severity::CHANGES, "cut-text",
     "Text behind a carriage return or a zero byte within a line",
     "remove the byte, or write the value in base64"},
    {FindingType::FILTERED_WORD, Severity::CHANGES, "filtered-word",
     "Lines that are dropped for a word that they hold",
     "write the value otherwise, or in base64, or add it after the migration"},
    {FindingType::REPLACED_VALUE, Severity::CHANGES, "replaced-value",
     "Values that another entry of the same owner replaces",
     "make the values equal, take the name out of the other entry, or add the value after the migration"},
    {FindingType::ESCAPED_COMMA, Severity::CHANGES, "escaped-comma",
     "Blanks beside escaped commas that are lost",
     "write the attribute name as secDN"},
    {FindingType::NORMALIZED_VALUE, Severity::CHANGES, "normalized-value",
     "Values that lose blanks beside commas",
     "write secdn: otherwise in the value, or the value in base64"},
    {FindingType::WRONG_DOMAIN, Severity::CHANGES, "wrong-domain",
     "Users and groups that move to another domain",
     "correct the DN of the entry in the output after the migration, or move the directory entry before it"},
    {FindingType::NAME_NEEDS_ESCAPING, Severity::CHANGES, "name-needs-escaping",
     "Names that need escaping in their new DN",
     "correct the DN of the entry in the output after the migration, or rename the user or group"},
    {FindingType::NAME_FROM_ELSEWHERE, Severity::CHANGES, "name-from-elsewhere",
     "Names taken from another attribute",
     "put the naming attribute in front of the line that holds its name"},
    {FindingType::BASE64_NAME, Severity::CHANGES, "base64-name",
     "Names in base64",
     "decode the value and write it as text"},
    {FindingType::POLICY_RENAMED, Severity::CHANGES, "policy-renamed",
     "Policies that get another name",
     "rename the policy to cn=Policy, or leave it out: a user has one policy"},
    {FindingType::DOMAIN_ID_WRONG, Severity::CHANGES, "domain-id-wrong",
     "Domain identifiers that are missing, doubled or made of other values",
     "add secDomainId with one blank behind its colon, as text: the domain, a percent sign and the principal name"},
    {FindingType::RESPELLED_ELSEWHERE, Severity::CHANGES, "respelled-elsewhere",
     "Lines in which secuuid is respelled by mistake",
     "put the entry's own secuuid in front of that line"},
    {FindingType::SAME_NEW_NAME, Severity::CHANGES, "same-new-name",
     "Two entries of one new DN",
     "rename one of the two"},
    {FindingType::EMPTY_DOMAIN, Severity::CHANGES, "empty-domain",
     "Users whose domain is empty",
     "add the name of the domain"},
    {FindingType::VERSION_LENGTH, Severity::CHANGES, "version-length",
     "Versions that are not three characters long",
     "correct the version in the export, or to 6.0 in the output"},
    {FindingType::VERSION_ELSEWHERE, Severity::CHANGES, "version-elsewhere",
     "Versions set in another line",
     "put the version in front of the line, and a blank line below a header"},
    {FindingType::VERSION_NOT_SET, Severity::CHANGES, "version-not-set",
     "Versions that are not set to 6.0",
     "write the attribute as version, with a blank behind its colon"},
    {FindingType::TOO_MANY_LINES, Severity::CHANGES, "too-many-lines",
     "Entries of 250,000 lines or more",
     "divide the entry and join it again after the migration; it must not be the last of the export"},
    {FindingType::MISSING_ENTRY, Severity::DIFFERS, "missing-entry",
     "Entries of the export that the output lacks",
     "do not load the output; see what became of the entry, and migrate again"},
    {FindingType::EXTRA_ENTRY, Severity::DIFFERS, "extra-entry",
     "Entries of the output that the export does not explain",
     "do not load the output; see where the entry comes from, and migrate again"},
    {FindingType::CHANGED_ENTRY, Severity::DIFFERS, "changed-entry",
     "Entries of the output that are not what the export demands",
     "do not load the output; compare the entries, and migrate again"},
    {FindingType::REPEATED_ENTRY, Severity::DIFFERS, "repeated-entry",
     "Entries that the output holds more than once",
     "do not load the output; see where the entry comes from, and migrate again"},
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
