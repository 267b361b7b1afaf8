// Writes an export in the older layout, of any number of users and groups.
//
//     make_export OUTPUT --users N [--groups G] [--seed S] [--scattered] [--changetype]
//
// The same arguments always give the same file. A user takes about 1.9 kB in all:
//
//     the directory entry, that of every twentieth user with a certificate; every tenth user: a
//     resource-credential container and one credential
//     an ordinary secUser below it, a secPolicyData and, every third user, a secPolicy below that
//     three users in four: a 'Users' secUser below cn=Users
//     the secMap below cn=Users
//
// and a group is a directory entry with its members, a secGroup and a secMap. There is one group
// per fifty users if G is not given. One user in 37 and one group in seven belongs to a subdomain.
// Each owner has at most one entry of a kind and no required one is missing, so the export must
// migrate without an error. No value holds a colon, so no value can be taken for an attribute name.
// DNs of one owner are spelled in several ways that the migration has to treat as equal.
//
// A user's or group's own entries are neighbours; the entries below cn=Users and cn=Groups follow
// behind all of them. With --scattered, both kinds are mixed, those below cn=Users in an order of
// their own, and each entry changes places with others up to some thousand entries away; the
// entries themselves stay the same. An entry depends on its owner's number and the seed alone, so
// that none has to be remembered, however many there are.

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <numeric>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using Number = std::uint64_t;

constexpr std::array<std::string_view, 11> givenNames = {
    "Anna", "Bruno", "Chloé", "Dušan", "Elif", "François", "Göran", "Helen", "Ivan", "Joan", "Kim"};
constexpr std::array<std::string_view, 9> surnames = {
    "Archer", "Müller", "Nuñez", "Østergaard", "Smith", "Šimek", "田中", "Walker", "Young"};
constexpr std::array<std::string_view, 18> words = {
    "works",   "in",        "the",   "second", "office", "on",       "floor",    "three", "and",
    "answers", "questions", "about", "orders", "from",   "northern", "branches", "since", "spring"};
constexpr std::array<std::string_view, 2> subdomains = {"sales", "research"};
constexpr std::string_view defaultDomain = "secAuthority=Default";
constexpr Number peopleUnits = 8;
constexpr Number usersPerGroup = 50;
constexpr Number maxMembers = 50;
constexpr std::size_t foldWidth = 76;
constexpr std::size_t windowSize = 4096;
constexpr std::size_t bufferSize = 1 << 20;

// Set from the command line, before anything is written.
struct {
    std::string output;
    Number users = 0;
    Number groups = 0;
    Number seed = 1;
    bool scattered = false;
    bool changetype = false;
} options;

// The purposes of an owner's random choices. Each has choices of its own, so that an entry can be
// made without those before it.
enum class Purpose : Number { ORDER, USER_IDENTIFIER, USER, USERS_ENTRY, GROUP_IDENTIFIER, GROUP };

// Random numbers that are the same in every build (SplitMix64).
class Random {
public:
    Random(Purpose purpose, Number number)
        : state_(mixed(mixed(options.seed) + static_cast<Number>(purpose)) + number * step) {
        state_ = next();
    }

    Number next() {
        state_ += step;
        return mixed(state_);
    }

    Number below(Number limit) {
        return next() % limit;
    }

private:
    static constexpr Number step = 0x9e3779b97f4a7c15;

    static Number mixed(Number z) {
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }

    Number state_;
};

std::vector<char> buffer(bufferSize);  // of `file`, which it has to outlive
std::ofstream file;

// With --scattered, the entries that wait to be written.
std::vector<std::string> window;
std::string entry;    // the one that is being put together
bool folded = false;  // whether its lines are

[[noreturn]] void failWriting() {
    std::cerr << "make_export: " << options.output << ": " << std::generic_category().message(errno)
              << '\n';
    std::exit(1);
}

void writeText(std::string_view text) {
    if (!file.write(text.data(), static_cast<std::streamsize>(text.size()))) {
        failWriting();
    }
}

bool isWithinCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xc0U) == 0x80U;
}

void addFolded(std::string_view text) {
    while (text.size() > foldWidth) {
        std::size_t width = foldWidth;
        while (isWithinCharacter(text[width])) {
            --width;
        }
        entry.append(text.substr(0, width)).append("\n ");
        text.remove_prefix(width);
    }
    entry.append(text) += '\n';
}

template <class... Parts>
std::string joined(const Parts&... parts) {
    std::string text;
    (text.append(parts), ...);
    return text;
}

template <class... Parts>
void addLine(const Parts&... parts) {
    if (folded) {
        addFolded(joined(parts...));
    } else {
        (entry.append(parts), ...);
        entry += '\n';
    }
}

template <class... Parts>
void beginEntry(bool isFolded, const Parts&... dn) {
    folded = isFolded;
    entry.clear();
    addLine("dn: ", dn...);
    if (options.changetype) {
        addLine("changetype: add");
    }
}

// Writes the entry at once, or another one that it replaces in the window.
void endEntry() {
    static Random order(Purpose::ORDER, 0);
    entry += '\n';
    if (!options.scattered) {
        writeText(entry);
    } else if (window.size() < windowSize) {
        window.push_back(entry);
    } else {
        std::string& slot = window[order.below(windowSize)];
        writeText(slot);
        std::swap(slot, entry);
    }
}

void writeWindow() {
    Random order(Purpose::ORDER, 1);
    while (!window.empty()) {
        std::swap(window[order.below(window.size())], window.back());
        writeText(window.back());
        window.pop_back();
    }
}

std::string padded(Number number, std::size_t digits) {
    std::string text = std::to_string(number);
    text.insert(0, digits - std::min(digits, text.size()), '0');
    return text;
}

void addBase64Line(std::string_view name, std::string_view value) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < value.size(); i += 3) {
        unsigned bits = 0;
        for (std::size_t j = i; j < i + 3; ++j) {
            bits = bits << 8U | (j < value.size() ? static_cast<unsigned char>(value[j]) : 0U);
        }
        for (unsigned shift = 24; shift > 0; shift -= 6) {
            text += digits[bits >> (shift - 6) & 63U];
        }
    }
    const std::size_t missing = (3 - value.size() % 3) % 3;
    text.replace(text.size() - missing, missing, missing, '=');
    addLine(name, ":: ", text);
}

std::string sentence(Random& random, Number length) {
    std::string text(words[random.below(words.size())]);
    for (Number i = 1; i < length; ++i) {
        text.append(" ").append(words[random.below(words.size())]);
    }
    return text;
}

std::string date(Random& random) {
    return joined("2003", padded(random.below(10'000'000'000), 10), ".0Z");
}

std::string identifier(Random& random) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text = "........-....-....-....-............";
    for (char& c : text) {
        if (c == '.') {
            c = digits[random.below(digits.size())];
        }
    }
    return text;
}

std::string bytes(Random& random, std::size_t count) {
    std::string text(count, '\0');
    for (char& c : text) {
        c = static_cast<char>(random.below(256));
    }
    return text;
}

// A value in the distinguished encoding rules: its tag, its length and its contents.
template <class... Parts>
std::string encoded(unsigned char tag, const Parts&... parts) {
    const std::string contents = joined(parts...);
    std::string text(1, static_cast<char>(tag));
    if (contents.size() >= 128) {
        text += "\x82";
        text += static_cast<char>(contents.size() >> 8U);
    }
    text += static_cast<char>(contents.size() & 255U);
    return text += contents;
}

// A directory server looks at the outer structure of certificates: the key and the signature may
// be anything, but they have to be there.
std::string certificate(Random& random) {
    constexpr unsigned char integer = 2;
    constexpr unsigned char bits = 3;
    constexpr unsigned char time = 23;
    constexpr unsigned char sequence = 0x30;
    constexpr unsigned char set = 0x31;
    constexpr unsigned char version = 0xa0;
    constexpr std::string_view nothing("\x05\x00", 2);
    const std::string key =
        encoded(sequence, "\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x01\x01", nothing);
    const std::string signature =
        encoded(sequence, "\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x01\x0b", nothing);
    const std::string name =
        encoded(sequence, encoded(set, encoded(sequence, "\x06\x03\x55\x04\x03", "\x0c\x04root")));
    const std::string_view unusedBits("\x00", 1);
    return encoded(
        sequence,
        encoded(sequence, encoded(version, encoded(integer, "\x02")),
                encoded(integer, "\x01", bytes(random, 7)), signature, name,
                encoded(sequence, encoded(time, "030302090000Z"), encoded(time, "330302090000Z")),
                name, encoded(sequence, key, encoded(bits, unusedBits, bytes(random, 700)))),
        signature, encoded(bits, unusedBits, bytes(random, 256)));
}

// Who a user is, as all of his entries have it.
struct User {
    Number number;
    std::string_view givenName;
    std::string_view surname;
    std::string dn;
    std::string principal;
    std::string identifier;
    std::string_view domain;
    std::string subtree;  // of the domain
    bool folded;
};

struct Group {
    Number number;
    std::string name;
    std::string dn;
    std::string identifier;
    std::string_view domain;
    std::string subtree;
};

std::string_view givenName(Number number) {
    return givenNames[number % givenNames.size()];
}

std::string_view surname(Number number) {
    return surnames[number / givenNames.size() % surnames.size()];
}

std::string userDn(Number number) {
    const bool isSurnameFirst = number % 31 == 7;
    return joined("cn=", isSurnameFirst ? surname(number) : givenName(number),
                  isSurnameFirst ? "\\, " : " ",
                  isSurnameFirst ? givenName(number) : surname(number), " ", padded(number, 6),
                  ",ou=people", padded(number % peopleUnits, 1), ",o=example");
}

std::string subtreeOf(std::string_view domain) {
    return domain == "Default" ? std::string(defaultDomain)
                               : joined("secAuthority=", domain, ",cn=Subdomains,", defaultDomain);
}

User user(Number number) {
    Random random(Purpose::USER_IDENTIFIER, number);
    const std::string_view domain =
        number % 37 == 13 ? subdomains[number / 37 % subdomains.size()] : "Default";
    return {number,
            givenName(number),
            surname(number),
            userDn(number),
            joined(number % 100 == 17 ? "müller" : "user", padded(number, 6)),
            identifier(random),
            domain,
            subtreeOf(domain),
            number % 3 != 1};
}

Group group(Number number) {
    Random random(Purpose::GROUP_IDENTIFIER, number);
    const std::string name = joined("group", padded(number, 6));
    const std::string_view domain =
        number % 7 == 4 ? subdomains[number / 7 % subdomains.size()] : "Default";
    return {number,
            name,
            joined("cn=", name, ",ou=groups,o=example"),
            identifier(random),
            domain,
            subtreeOf(domain)};
}

std::string replaced(std::string text, std::string_view part, std::string_view replacement) {
    const std::size_t offset = text.find(part);
    return text.replace(offset, part.size(), replacement);
}

// The DN with spaces after its commas; it names the same owner.
std::string spaced(const std::string& dn) {
    return replaced(replaced(dn, ",ou=", ", ou="), ",o=", ",  o=");
}

void addDirectoryEntry(Random& random, const User& user) {
    const std::string number = padded(user.number, 6);
    beginEntry(user.folded, user.dn);
    addLine("objectclass: inetOrgPerson");
    addLine("objectclass: organizationalPerson");
    addLine("objectclass: person");
    addLine("objectclass: top");
    addLine("cn: ", user.givenName, " ", user.surname, " ", number);
    if (user.number % 2 != 0) {
        addBase64Line("sn", user.surname);
    } else {
        addLine("sn: ", user.surname);
    }
    addLine("givenName: ", user.givenName);
    addLine("uid: user", number);
    addLine("mail: user", number, "@mail.example");
    addLine("employeeNumber: ", std::to_string(user.number));
    addLine("telephoneNumber: +1 555 ", padded(random.below(10'000'000), 7));
    addLine("roomNumber: ", std::to_string(random.below(900)));
    addLine("title: ", sentence(random, 3));
    addLine("description: ", sentence(random, 30));
    addBase64Line("displayName", joined(user.givenName, " ", user.surname));
    if (user.number % 4 == 0) {
        addLine("kvo-entryuuid: ", identifier(random));
    }
    if (user.number % 20 == 11) {
        folded = true;
        addBase64Line("userCertificate;binary", certificate(random));
    }
    endEntry();
}

void addCredentials(Random& random, const User& user) {
    const std::string desk = joined("desk", std::to_string(user.number % 5));
    beginEntry(user.folded, "cn=ResCreds,", user.dn);
    addLine("objectclass: container");
    addLine("cn: ResCreds");
    endEntry();

    beginEntry(user.folded, "secResource=", desk, ",cn=ResCreds,", user.dn);
    addLine("objectclass: secResCreds");
    addLine("objectclass: top");
    addLine("secResource: ", desk);
    addBase64Line("secResPassword", sentence(random, 14));
    if (user.number % 20 == 6) {
        addLine("aclEntry: access-id owner read");
        addLine("kvo-entryuuid: ", identifier(random));
    }
    endEntry();
}

void addOrdinaryUser(Random& random, const User& user, std::string_view owner) {
    beginEntry(user.folded, owner);
    addLine("objectclass: secUser");
    addLine("objectclass: top");
    addLine("secAuthority: ", user.domain);
    addLine("principalName: ", user.principal);
    addLine(user.number % 2 != 0 ? "secuuid: " : "secUUID: ", user.identifier);
    addLine("secAccountActive: TRUE");
    addLine("secPasswordActive: TRUE");
    addLine("secPasswordChanged: ", date(random));
    addLine("description: ", sentence(random, 6));
    if (user.number % 8 == 2) {
        addLine("secDomainId: ", user.domain, "%", user.principal);
    }
    if (user.number % 4 == 1) {
        addLine("KVO-ENTRYUUID: ", identifier(random));
        addLine("aclEntry: access-id owner read");
    }
    if (user.number % 12 == 3) {
        addBase64Line("secRemark", joined("Grüße ", sentence(random, 12)));
    }
    endEntry();
}

void addPolicies(Random& random, const User& user, std::string_view owner) {
    beginEntry(user.folded, "cn=PolicyData,", owner);
    addLine("objectclass: secPolicyData");
    addLine("objectclass: top");
    addLine("cn: PolicyData");
    addLine("secLastLogin: ", date(random));
    addLine("secFailedLogins: ", std::to_string(random.below(4)));
    endEntry();
    if (user.number % 3 != 0) {
        return;
    }
    beginEntry(user.folded, "cn=Policy,", owner);
    addLine("objectclass: secPolicy");
    addLine("objectclass: top");
    addLine("cn: Policy");
    addLine("secMinimumPasswordLength: ", std::to_string(6 + random.below(6)));
    addLine("secMaximumPasswordAge: ", std::to_string(30 + random.below(60)));
    addLine("secPolicyActive: TRUE");
    addLine("secLoginHours: ", sentence(random, 12));
    if (user.number % 6 == 0) {
        addLine("aclEntry: access-id owner read");
        addLine("kvo-entryuuid: ", identifier(random));
    }
    endEntry();
}

void addOwnEntriesOfUser(Number number) {
    const User owner = user(number);
    const bool isSpaced = number % 5 == 2;
    const std::string dn = joined("secAuthority=", owner.domain, isSpaced ? ", " : ",",
                                  isSpaced ? spaced(owner.dn) : owner.dn);
    Random random(Purpose::USER, number);
    addDirectoryEntry(random, owner);
    if (number % 10 == 6) {
        addCredentials(random, owner);
    }
    addOrdinaryUser(random, owner, dn);
    addPolicies(random, owner, dn);
}

void addUsersEntriesOf(Number number) {
    const User owner = user(number);
    Random random(Purpose::USERS_ENTRY, number);
    if (number % 4 != 3) {
        beginEntry(owner.folded, "principalName=", owner.principal, ",cn=Users,", owner.subtree);
        addLine("objectClass: secUser");
        addLine("objectClass: top");
        addLine("secAuthority: ", owner.domain);
        addLine("principalName: ", owner.principal);
        addLine("secDN: ", number % 6 == 0 ? spaced(owner.dn) : owner.dn);
        addLine("secUUID: ", owner.identifier);
        addLine("secSessionLimit: ", std::to_string(random.below(9)));
        endEntry();
    }
    beginEntry(owner.folded, "secUUID=", owner.identifier, ",cn=Users,", owner.subtree);
    addLine("objectclass: secMap");
    addLine("objectclass: top");
    addLine("secAuthority: ", owner.domain);
    if (number % 7 == 5) {
        addLine("secdn: ", spaced(owner.dn));
    } else if (number % 7 == 6) {
        addLine("secDN: ", replaced(replaced(owner.dn, "cn=", "CN="), ",o=", ",O="));
    } else {
        addLine("secDN: ", owner.dn);
    }
    addLine("secUUID: ", owner.identifier);
    addLine("secMapSerial: ", std::to_string(number));
    endEntry();
}

// How many groups belong before the entries of the user of that number: they spread evenly.
Number groupsBefore(Number userNumber) {
    return userNumber * options.groups / options.users;
}

// The members are the users before the group.
void addOwnEntriesOfGroup(Number number, Number usersBefore) {
    const Group owner = group(number);
    Random random(Purpose::GROUP, number);
    beginEntry(false, owner.dn);
    addLine("objectclass: groupOfNames");
    addLine("objectclass: top");
    addLine("cn: ", owner.name);
    addLine("description: ", sentence(random, 10));
    for (Number i = usersBefore - std::min(usersBefore, maxMembers); i < usersBefore; ++i) {
        addLine("member: ", userDn(i));
    }
    endEntry();

    beginEntry(false, "secAuthority=", owner.domain, ",", owner.dn);
    addLine("objectclass: secGroup");
    addLine("objectclass: top");
    addLine("cn: ", owner.name);
    addLine("secAuthority: ", owner.domain);
    addLine(number % 2 != 0 ? "secuuid: " : "secUUID: ", owner.identifier);
    addLine("aclEntry: access-id owner read");
    endEntry();
}

void addMappingOfGroup(Number number) {
    const Group owner = group(number);
    beginEntry(number % 2 == 0, "secUUID=", owner.identifier, ",cn=Groups,", owner.subtree);
    addLine("objectclass: secMap");
    addLine("objectclass: top");
    addLine("secAuthority: ", owner.domain);
    // Groups compare DNs with their spaces; only a secdn line loses its spaces when it is staged.
    if (number % 3 == 1) {
        addLine("secdn: ", spaced(owner.dn));
    } else {
        addLine("secDN: ", owner.dn);
    }
    addLine("secUUID: ", owner.identifier);
    endEntry();
}

void addSmallEntry(std::string_view dn, std::initializer_list<std::string_view> lines) {
    beginEntry(false, dn);
    for (const std::string_view line : lines) {
        addLine(line);
    }
    endEntry();
}

void addDomain(std::string_view name) {
    const std::string dn = subtreeOf(name);
    addSmallEntry(
        dn, {"objectClass: secAuthorityInfo", "objectClass: top", joined("secAuthority: ", name),
             "version: 3.0", "installDate: 20030302030405.0Z"});
    addSmallEntry(joined("cn=Users,", dn),
                  {"objectclass: Container", "objectclass: top", "cn: Users"});
    addSmallEntry(joined("cn=Groups,", dn),
                  {"objectclass: container", "objectclass: top", "cn: Groups"});
}

// The entries above all users and groups.
void addTree() {
    addSmallEntry("o=example", {"objectclass: organization", "objectclass: top", "o: example"});
    for (Number number = 0; number < peopleUnits; ++number) {
        const std::string name = joined("people", std::to_string(number));
        addSmallEntry(
            joined("ou=", name, ",o=example"),
            {"objectclass: organizationalUnit", "objectclass: top", joined("ou: ", name)});
    }
    addSmallEntry("ou=groups,o=example", {"objectclass: organizationalUnit", "ou: groups"});
    addDomain("Default");
    addSmallEntry("cn=Policies,secAuthority=Default", {"objectclass: container", "cn: Policies"});
    addSmallEntry("cn=Policy,cn=Policies,secAuthority=Default",
                  {"objectclass: secPolicy", "objectclass: top", "cn: Policy",
                   "secMinimumPasswordLength: 8"});
    addSmallEntry("cn=Subdomains,secAuthority=Default",
                  {"objectclass: container", "cn: Subdomains"});
    for (const std::string_view name : subdomains) {
        addDomain(name);
    }
}

// A number that runs through all below `count` once when the numbers below `count` are multiplied
// by it, in an order that looks like none.
Number strideThrough(Number count) {
    Number stride = count / 3 + Random(Purpose::ORDER, 2).below(count);
    while (std::gcd(stride, count) != 1) {
        ++stride;
    }
    return stride;
}

void addScatteredEntries() {
    const Number stride = strideThrough(options.users);
    for (Number number = 0; number < options.users; ++number) {
        addOwnEntriesOfUser(number);
        addUsersEntriesOf(number * stride % options.users);
        for (Number i = groupsBefore(number); i < groupsBefore(number + 1); ++i) {
            addMappingOfGroup(i);
            addOwnEntriesOfGroup(i, number + 1);
        }
    }
}

void addClusteredEntries() {
    for (Number number = 0; number < options.users; ++number) {
        addOwnEntriesOfUser(number);
        for (Number i = groupsBefore(number); i < groupsBefore(number + 1); ++i) {
            addOwnEntriesOfGroup(i, number + 1);
        }
    }
    for (Number number = 0; number < options.users; ++number) {
        addUsersEntriesOf(number);
    }
    for (Number number = 0; number < options.groups; ++number) {
        addMappingOfGroup(number);
    }
}

void writeExport() {
    file.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    file.open(options.output, std::ios::binary);
    writeText("# export of the registry\nversion: 1\n\n");
    addTree();
    if (options.scattered) {
        addScatteredEntries();
    } else {
        addClusteredEntries();
    }
    writeWindow();
    file.close();
    if (!file) {
        failWriting();
    }
}

[[noreturn]] void failUsage() {
    std::cerr << "usage: make_export OUTPUT --users N [--groups G] [--seed S] [--scattered] "
                 "[--changetype]\n";
    std::exit(2);
}

Number number(std::string_view text) {
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        failUsage();
    }
    return value;
}

void readCommandLine(std::span<char* const> arguments) {
    bool areGroupsGiven = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        const bool isLast = i + 1 == arguments.size();
        if (argument == "--scattered") {
            options.scattered = true;
        } else if (argument == "--changetype") {
            options.changetype = true;
        } else if (!argument.starts_with("--") && options.output.empty()) {
            options.output = argument;
        } else if (argument == "--users" && !isLast) {
            options.users = number(arguments[++i]);
        } else if (argument == "--groups" && !isLast) {
            options.groups = number(arguments[++i]);
            areGroupsGiven = true;
        } else if (argument == "--seed" && !isLast) {
            options.seed = number(arguments[++i]);
        } else {
            failUsage();
        }
    }
    if (options.output.empty() || options.users == 0) {
        failUsage();
    }
    if (!areGroupsGiven) {
        options.groups = options.users / usersPerGroup;
    }
}

}  // namespace

int main(int count, char* arguments[]) {
    readCommandLine({arguments + 1, static_cast<std::size_t>(count - 1)});
    writeExport();
}
