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

// The two spellings of a naming attribute, both of one length, in the order in which they are
// looked for on a line.
struct NamingAttribute {
    std::string_view first;
    std::string_view second;
};

constexpr NamingAttribute principalNameAttribute = {"principalName:", "principalname:"};
constexpr NamingAttribute cnAttribute = {"cn:", "CN:"};

// The text behind the attribute name and blanks in `line`; null when the line does not hold the
// name. It may stand anywhere, in a longer name or a value too: the first line that holds it names
// the entry, on purpose.
std::string_view namingValue(std::string_view line, const NamingAttribute& attribute) {
    std::size_t match = line.find(attribute.first);
    if (match == std::string_view::npos) {
        match = line.find(attribute.second);
    }
    if (match == std::string_view::npos) {
        return {};
    }
    return withoutLeadingBlanks(line.substr(match + attribute.first.size()));
}

// The first naming value in the row, its line end included; null when there is none. Every line
// looked at is traced behind `tracePrefix`, unless that is empty.
std::string_view findNamingValue(const Matrix& matrix, int index, const NamingAttribute& attribute,
                                 std::string_view tracePrefix) {
    const Entry& row = matrix.row(index);
    for (int column = 0; column < row.lineCount(); ++column) {
        if (!tracePrefix.empty()) {
            trace("%s%s[%d][%d] = %s", tracePrefix, matrix.name, index, column, row.line(column));
        }
        const std::string_view value = namingValue(row.line(column), attribute);
        if (value.data() != nullptr) {
            return value;
        }
    }
    return {};
}

bool isInDefaultDomain(std::string_view dn) {
    // A bare search on purpose: a domain whose name only begins with "default" counts too.
    std::string tempString(dn);
    strtolower(tempString);
    return tempString.find("secauthority=default") != std::string::npos &&
           tempString.find("cn=subdomains") == std::string::npos;
}

// The new DN line of an entry named `name`, whose old DN decides the domain. `domain` is called
// for the domain component only outside the default domain.
template <class DomainComponent>
std::string newDnLine(std::string_view name, std::string_view oldDn, DomainComponent domain) {
    std::string tempDN = "dn: ";
    tempDN += name;
    if (!isInDefaultDomain(oldDn)) {
        tempDN += domain(oldDn);
        tempDN += ",cn=Subdomains,";
    }
    return tempDN += "secAuthority=default\n";
}

// The domain of users and groups is the first component of the owner DN, all of it when it has
// only one.
std::string_view firstComponent(std::string_view ownerDn) {
    return ownerDn.substr(0, ownerDn.find(','));
}

// The domain of a policy stands anywhere in its DN.
std::string_view secAuthorityComponent(std::string_view policyDn) {
    const char* found = dostristr(policyDn, "secauthority");
    if (found == nullptr) {
        fail({}, format("createNewSecPolicyDN(): Missing secAuthority in dn: %s\n", policyDn),
             migrationFailed("the policy " + quoted(policyDn) + " has no secAuthority in its DN"));
    }
    const std::string_view rest =
        policyDn.substr(static_cast<std::size_t>(found - policyDn.data()));
    const std::size_t comma = rest.find(',');
    if (comma == std::string_view::npos) {
        fail({}, {},
             migrationFailed("the policy " + quoted(policyDn) +
                             " has nothing behind its secAuthority"));
    }
    return rest.substr(0, comma);
}

std::string_view orNull(std::string_view text) {
    return text.empty() ? "null" : text;
}

}  // namespace

// The blanks in these traces differ from those of the other procedures, and are meant to.
int learnPrincipalNameFromSecUserObject(int index) {
    trace("learnPrincipalNameFromSecUserObject(): FUNCTION ENTRY  \n");
    const std::string_view found = findNamingValue(secUser_matrix, index, principalNameAttribute,
                                                   "learnPrincipalNameFromSecUserObject(): ");
    principalName = withoutLineEnd(found);
    if (found.data() != nullptr) {
        trace("learnPrincipalNameFromSecUserObject():  The principalName found is:  %s \n"
              "learnPrincipalNameFromSecUserObject():  The modified principalName becomes:  %s \n",
              found, principalName);
    }
    if (principalName.empty()) {
        report("learnPrincipalNameFromSecUserObject():  ERROR: secUser principal name could not be "
               "found. \n"
               "                                               The input file may be corrupt.     "
               "        \n",
               format("learnPrincipalNameFromSecUserObject(): ERROR: secUser principal name could "
                      "not be found. \n"
                      "secUser is: %s\n",
                      firstLineOr(secUser_matrix.row(index), "null")));
        return -1;
    }
    trace("learnPrincipalNameFromSecUserObject():  The secUser principal name is:  %s \n"
          "learnPrincipalNameFromSecUserObject(): FUNCTION EXIT  \n",
          principalName);
    return 0;
}

int learnCNFromSecGroupObject(int index) {
    trace("learnCNFromSecGroupObject():  FUNCTION ENTRY \n");
    cnFromSecGroupObject = withoutLineEnd(findNamingValue(secGroup_matrix, index, cnAttribute, {}));
    if (cnFromSecGroupObject.empty()) {
        constexpr std::string_view error =
            "learnCNFromSecGroupObject():  ERROR: secGroup cn could not be found. \n";
        report(std::string(error) +
                   "                                     The input file may be corrupt.  \n",
               std::string(error) +
                   format("secGroup is: %s\n", firstLineOr(secGroup_matrix.row(index), "null")));
        return -1;
    }
    trace("learnCNFromSecGroupObject():  The secGroup cn is:  %s \n"
          "learnCNFromSecGroupObject():  FUNCTION EXIT \n",
          cnFromSecGroupObject);
    return 0;
}

int createNewSecUserDN(int index) {
    const OutOfMemoryLine line("createNewSecUserDN():  ERROR:  malloc() failure.  Exiting. \n");
    trace("createNewSecUserDN():  FUNCTION ENTRY \n");
    const Entry& row = secUser_matrix.row(index);
    if (debug) {
        for (int column = 0; column < row.lineCount(); ++column) {
            trace("  secUser_matrix[%d][%d] = %s", index, column, row.line(column));
        }
    }
    if (learnPrincipalNameFromSecUserObject(index) != 0) {
        report("createNewSecUserDN():  learnPrincipalNameFromSecUserObject FAILED.  Returning "
               "ERROR. \n",
               format("createNewSecUserDN():  principalName for secUser: %s  could not be "
                      "determined\n",
                      firstLineOr(row, "null")));
        return -1;
    }
    std::string newLine = newDnLine("principalName=" + principalName + ",cn=Users,",
                                    secUser_dn.dn(index), firstComponent);
    trace("createNewSecUserDN():  The output DN is:  %s \n", newLine);
    secUser_dn.replace(index, std::move(newLine));
    trace("createNewSecUserDN():  FUNCTION EXIT \n");
    return 0;
}

int createNewSecGroupDN(int index) {
    const OutOfMemoryLine line("createNewSecGroupDN():  ERROR:  malloc() failure.  Exiting. \n");
    trace("createNewSecGroupDN():  FUNCTION ENTRY \n");
    if (learnCNFromSecGroupObject(index) != 0) {
        report("createNewSecGroupDN():  learnCNFromSecGroupObject FAILED.  Returning ERROR. \n",
               {});
        // Unlike its siblings this one tells standard output whether or not errors are echoed.
        writeStandardOutput(format("createNewSecGroupDN():  learnCNFromSecGroupObject FAILED.\n"
                                   "createNewSecGroupDN():  secGroup:  %s\n",
                                   orNull(secGroup_dn.dn(index))));
        return -1;
    }
    std::string newLine = newDnLine("cn=" + cnFromSecGroupObject + ",cn=Groups,",
                                    secGroup_dn.dn(index), firstComponent);
    trace("createNewSecGroupDN():  The output DN is:  %s \n", newLine);
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
    if (learnPrincipalNameFromSecUserObject(index) != 0) {
        report("createNewSecPolicyDN():  learnPrincipalNameFromSecUserObject FAILED.  Returning "
               "ERROR. \n",
               format("createNewSecPolicyDN():  learnPrincipalNameFromSecUserObject FAILED. "
                      "ERROR. \n"
                      "createNewSecPolicyDN():  secPolicy_dn is: %s\n",
                      orNull(secPolicyDN(index))));
        return -1;
    }
    std::string newLine =
        newDnLine("cn=Policy,cn=Policies,principalName=" + principalName + ",cn=Users,",
                  secPolicyDN(index), secAuthorityComponent);
    trace("createNewSecPolicyDN():  The output DN is:  %s \n", newLine);
    secPolicy_dn[static_cast<std::size_t>(index)] = std::move(newLine);
    trace("createNewSecPolicyDN():  FUNCTION EXIT \n");
    return 0;
}
