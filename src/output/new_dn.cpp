#include "output/new_dn.h"

#include <string_view>
#include <utility>

#include "cache/object_cache.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "entry/text.h"

std::string principalName;
std::string cnFromSecGroupObject;

namespace {

// The name of the policy in slot `index` in messages. Its DN was taken from the first line of its
// entry, which may not be a DN line.
std::string policyName(int index, std::string_view policyDn) {
    const EntryView policy = secPolicy_matrix.row(index);
    return policy.empty() || isDnShown(policy) ? quoted(policyDn) : entryName(policy);
}

std::string_view requireDomainOfPolicy(int index, std::string_view policyDn) {
    const PolicyDomain found = domainOfPolicy(policyDn);
    if (found.problem == DomainProblem::NONE) {
        return found.domain;
    }
    const bool isNamed = found.problem == DomainProblem::NOTHING_BEHIND;
    fail(
        {},
        isNamed ? "" : format("createNewSecPolicyDN(): Missing secAuthority in dn: %s\n", policyDn),
        migrationFailed(
            format("the policy %s has %s", policyName(index, policyDn),
                   isNamed ? "nothing after its secAuthority" : "no secAuthority in its DN")));
}

std::string_view requireDomainOfOwner(int /*index*/, std::string_view ownerDn) {
    return domainOfOwner(ownerDn);
}

std::string_view orNull(std::string_view text) {
    return text.empty() ? "null" : text;
}

// The texts of one of the two finders in its traces and errors. Their spaces differ on purpose.
struct Finder {
    std::string_view function;
    const Matrix& matrix;
    NamingAttribute attribute;
    std::string& value;
    std::string_view entryAndExit;  // the format of the lines for both
    std::string_view searchPrefix;  // before every line searched; empty: none is traced
    std::string_view errorLine;
    std::string_view errorEcho;
    std::string_view errorContinuation;
    std::string_view echoedRow;
    std::string_view foundLabel;
};

const Finder principalNameFinder = {
    "learnPrincipalNameFromSecUserObject",
    secUser_matrix,
    principalNameAttribute,
    principalName,
    "learnPrincipalNameFromSecUserObject(): FUNCTION %s  \n",
    "learnPrincipalNameFromSecUserObject(): ",
    "learnPrincipalNameFromSecUserObject():  ERROR: secUser principal name could not be found. \n",
    "learnPrincipalNameFromSecUserObject(): ERROR: secUser principal name could not be found. \n",
    "                                               The input file may be corrupt.             \n",
    "secUser is: ",
    "secUser principal name"};
const Finder cnFinder = {"learnCNFromSecGroupObject",
                         secGroup_matrix,
                         cnAttribute,
                         cnFromSecGroupObject,
                         "learnCNFromSecGroupObject():  FUNCTION %s \n",
                         "",
                         "learnCNFromSecGroupObject():  ERROR: secGroup cn could not be found. \n",
                         "learnCNFromSecGroupObject():  ERROR: secGroup cn could not be found. \n",
                         "                                     The input file may be corrupt.  \n",
                         "secGroup is: ",
                         "secGroup cn"};

void traceEntryOrExit(const Finder& finder, std::string_view which) {
    if (debug) {
        const FormatArgument argument = which;
        writeTrace(formatText(finder.entryAndExit, {&argument, 1}));
    }
}

// The text behind the attribute name and spaces in `line`; null if the line does not hold the name.
// The name may be anywhere, in a longer name or a value too: the first line that holds it names the
// entry, on purpose.
std::string_view namingValue(std::string_view line, const NamingAttribute& attribute) {
    std::size_t match = line.find(attribute.first);
    if (match == std::string_view::npos) {
        match = line.find(attribute.second);
    }
    if (match == std::string_view::npos) {
        return {};
    }
    return withoutLeadingSpaces(line.substr(match + attribute.first.size()));
}

// The first naming value of `entry`, without its line end; null if there is none.
std::string_view firstNamingValue(EntryView entry, const NamingAttribute& attribute) {
    for (int i = 0; i < entry.lineCount(); ++i) {
        const std::string_view value = namingValue(entry.line(i), attribute);
        if (value.data() != nullptr) {
            return withoutLineEnd(value);
        }
    }
    return {};
}

std::string nameProblem(EntryView entry, const NamingAttribute& attribute) {
    if (firstNamingValue(entry, attribute).data() != nullptr) {
        return format(R"(has no name behind the first "%s" or "%s" in it)", attribute.first,
                      attribute.second);
    }
    for (int i = 0; i < entry.lineCount(); ++i) {
        const std::string_view name = entry.line(i).substr(0, attribute.first.size());
        if (equalIgnoringCase(name, attribute.first)) {
            return format(R"(has its %s spelled "%s"; write "%s")", attribute.name(),
                          name.substr(0, name.size() - 1), attribute.name());
        }
    }
    return {};
}

// The first naming value in row `index`, its line end included; null if there is none.
std::string_view findNamingValue(const Finder& finder, int index) {
    const EntryView row = finder.matrix.row(index);
    for (int column = 0; column < row.lineCount(); ++column) {
        if (!finder.searchPrefix.empty()) {
            trace("%s%s[%d][%d] = %s", finder.searchPrefix, finder.matrix.name, index, column,
                  row.line(column));
        }
        const std::string_view value = namingValue(row.line(column), finder.attribute);
        if (value.data() != nullptr) {
            return value;
        }
    }
    return {};
}

int learnName(const Finder& finder, int index) {
    traceEntryOrExit(finder, "ENTRY");
    const std::string_view found = findNamingValue(finder, index);
    finder.value = withoutLineEnd(found);
    if (found.data() != nullptr && !finder.searchPrefix.empty()) {
        trace("%s():  The principalName found is:  %s \n"
              "%s():  The modified principalName becomes:  %s \n",
              finder.function, found, finder.function, finder.value);
    }
    if (finder.value.empty()) {
        report(format("%s%s", finder.errorLine, finder.errorContinuation),
               format("%s%s%s\n", finder.errorEcho, finder.echoedRow,
                      firstLineOr(finder.matrix.row(index), "null")));
        return -1;
    }
    trace("%s():  The %s is:  %s \n", finder.function, finder.foundLabel, finder.value);
    traceEntryOrExit(finder, "EXIT");
    return 0;
}

// The texts of one of the three builders.
struct Builder {
    std::string_view function;
    const Finder& finder;
    std::string_view head;  // before the name in the new DN line
    std::string_view tail;  // and behind it, up to the domain
    std::string_view (*requireDomain)(int index, std::string_view oldDn);
};

const Builder userBuilder = {"createNewSecUserDN", principalNameFinder,
                             "dn: principalName=", ",cn=Users,", requireDomainOfOwner};
const Builder groupBuilder = {"createNewSecGroupDN", cnFinder, "dn: cn=", ",cn=Groups,",
                              requireDomainOfOwner};
const Builder policyBuilder = {"createNewSecPolicyDN", principalNameFinder,
                               "dn: cn=Policy,cn=Policies,principalName=", ",cn=Users,",
                               requireDomainOfPolicy};

// The new DN line of the entry `name`; `domain` is null in the default one.
std::string dnLine(const Builder& builder, std::string_view name, std::string_view domain) {
    std::string line(builder.head);
    line += name;
    line += builder.tail;
    if (domain.data() != nullptr) {
        line += domain;
        line += ",cn=Subdomains,";
    }
    line += "secAuthority=default\n";
    return line;
}

// The new DN line of slot `index`, whose old DN decides the domain; empty when the slot's entry
// has no name.
std::string newDnLine(const Builder& builder, int index, std::string_view oldDn) {
    if (learnName(builder.finder, index) != 0) {
        trace("%s():  %s FAILED.  Returning ERROR. \n", builder.function, builder.finder.function);
        return {};
    }
    std::string tempDN = dnLine(builder, builder.finder.value, builder.requireDomain(index, oldDn));
    trace("%s():  The output DN is:  %s \n", builder.function, tempDN);
    return tempDN;
}

void traceUserRow(int index) {
    const EntryView row = secUser_matrix.row(index);
    if (debug) {
        for (int column = 0; column < row.lineCount(); ++column) {
            trace("  secUser_matrix[%d][%d] = %s", index, column, row.line(column));
        }
    }
}

}  // namespace

bool isInDefaultDomain(std::string_view dn) {
    // A bare search on purpose: a domain whose name only begins with "default" counts too.
    static std::string tempString;
    tempString = dn;
    strtolower(tempString);
    return tempString.find("secauthority=default") != std::string::npos &&
           tempString.find("cn=subdomains") == std::string::npos;
}

std::string_view principalNameOf(EntryView user) {
    return firstNamingValue(user, principalNameFinder.attribute);
}

std::string_view cnOf(EntryView group) {
    return firstNamingValue(group, cnFinder.attribute);
}

std::string nameProblemOfUser(EntryView user) {
    return nameProblem(user, principalNameFinder.attribute);
}

std::string nameProblemOfGroup(EntryView group) {
    return nameProblem(group, cnFinder.attribute);
}

std::string_view domainOfOwner(std::string_view ownerDn) {
    return isInDefaultDomain(ownerDn) ? std::string_view() : ownerDn.substr(0, ownerDn.find(','));
}

PolicyDomain domainOfPolicy(std::string_view policyDn) {
    if (isInDefaultDomain(policyDn)) {
        return {};
    }
    const char* found = dostristr(policyDn, "secauthority");
    if (found == nullptr) {
        return {{}, DomainProblem::NOT_NAMED};
    }
    const std::string_view rest =
        policyDn.substr(static_cast<std::size_t>(found - policyDn.data()));
    const std::size_t comma = rest.find(',');
    return comma == std::string_view::npos
               ? PolicyDomain{{}, DomainProblem::NOTHING_BEHIND}
               : PolicyDomain{rest.substr(0, comma), DomainProblem::NONE};
}

std::string newUserDnLine(std::string_view name, std::string_view domain) {
    return dnLine(userBuilder, name, domain);
}

std::string newGroupDnLine(std::string_view name, std::string_view domain) {
    return dnLine(groupBuilder, name, domain);
}

std::string newPolicyDnLine(std::string_view name, std::string_view domain) {
    return dnLine(policyBuilder, name, domain);
}

int learnPrincipalNameFromSecUserObject(int index) {
    return learnName(principalNameFinder, index);
}

int learnCNFromSecGroupObject(int index) {
    return learnName(cnFinder, index);
}

int createNewSecUserDN(int index) {
    const OutOfMemoryLine line("createNewSecUserDN():  ERROR:  malloc() failure.  Exiting. \n");
    trace("createNewSecUserDN():  FUNCTION ENTRY \n");
    traceUserRow(index);
    std::string newLine = newDnLine(userBuilder, index, secUser_dn.dn(index));
    if (newLine.empty()) {
        echo(format("createNewSecUserDN():  principalName for secUser: %s  could not be "
                    "determined\n",
                    firstLineOr(secUser_matrix.row(index), "null")));
        return -1;
    }
    secUser_dn.replace(index, std::move(newLine));
    trace("createNewSecUserDN():  FUNCTION EXIT \n");
    return 0;
}

int createNewSecGroupDN(int index) {
    const OutOfMemoryLine line("createNewSecGroupDN():  ERROR:  malloc() failure.  Exiting. \n");
    trace("createNewSecGroupDN():  FUNCTION ENTRY \n");
    std::string newLine = newDnLine(groupBuilder, index, secGroup_dn.dn(index));
    if (newLine.empty()) {
        // Unlike its siblings this one writes to standard output whether or not errors are echoed.
        writeStandardOutput(format("createNewSecGroupDN():  learnCNFromSecGroupObject FAILED.\n"
                                   "createNewSecGroupDN():  secGroup:  %s\n",
                                   orNull(secGroup_dn.dn(index))));
        return -1;
    }
    secGroup_dn.replace(index, std::move(newLine));
    trace("createNewSecGroupDN():  FUNCTION EXIT \n");
    return 0;
}

int createNewSecPolicyDN(int index) {
    const OutOfMemoryLine line("createNewSecPolicyDN():  ERROR:  malloc() failure.  Exiting. \n");
    if (secPolicyDN(index).empty()) {
        return 0;
    }
    trace("createNewSecPolicyDN():  FUNCTION ENTRY \n");
    std::string newLine = newDnLine(policyBuilder, index, secPolicyDN(index));
    if (newLine.empty()) {
        echo(format("createNewSecPolicyDN():  learnPrincipalNameFromSecUserObject FAILED. "
                    "ERROR. \n"
                    "createNewSecPolicyDN():  secPolicy_dn is: %s\n",
                    secPolicyDN(index)));
        return -1;
    }
    secPolicy_dn[static_cast<std::size_t>(index)] = std::move(newLine);
    trace("createNewSecPolicyDN():  FUNCTION EXIT \n");
    return 0;
}
