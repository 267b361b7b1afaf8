// ldif-migrate-check: tells before a migration what it needs and what would go wrong, and proves
// afterwards that nothing was lost. See README.md.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/export_scan.h"
#include "check/findings.h"
#include "check/owner_findings.h"
#include "check/plan.h"
#include "check/proof.h"
#include "check/report.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"

namespace {

constexpr int nothingFound = 0;
constexpr int somethingFound = 1;
constexpr int cannotCheck = 2;

constexpr std::string_view usage = "usage: ldif-migrate-check [OPTION]... EXPORT [OUTPUT]\n";

constexpr std::string_view help =
    "Checks an export before its migration, or, when OUTPUT is given, proves that a migration has\n"
    "lost nothing. Reads only.\n"
    "\n"
    "  --users N     show passes and memory for a migration that holds N users at once, too\n"
    "  --groups N    the same for N groups\n"
    "  --limit N     show at most N findings of each kind (default: 20)\n"
    "  --json        write the report as JSON\n"
    "  --help        write this help\n"
    "  --version     write the version\n"
    "\n"
    "Exit status: 0 nothing found, 1 findings, 2 could not be checked.\n";

struct Options {
    Request request;
    std::uint64_t limit = 20;
};

[[noreturn]] void refuse(const std::string& problem) {
    writeText(STDERR_FILENO, "ldif-migrate-check: " + problem + "\n" + std::string(usage));
    std::exit(cannotCheck);
}

[[noreturn]] void show(const std::string& text) {
    std::exit(writeText(STDOUT_FILENO, text) == text.size() ? nothingFound : cannotCheck);
}

std::uint64_t numberOf(std::string_view option, std::string_view text, std::uint64_t least) {
    constexpr std::uint64_t most = 2147483647;
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least ||
        number > most) {
        refuse(format("%s takes a number from %ld to %ld", option, least, most));
    }
    return number;
}

// An option that takes a number, as "--users 5" or "--users=5".
struct NumberOption {
    std::string_view name;
    std::uint64_t* number;
    std::uint64_t least;
};

Options readOptions(const std::vector<std::string_view>& arguments) {
    Options options;
    const std::array<NumberOption, 3> numbers = {{{"--users", &options.request.users, 1},
                                                  {"--groups", &options.request.groups, 1},
                                                  {"--limit", &options.limit, 0}}};
    std::vector<std::string_view> names;
    bool mayBeOption = true;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (!mayBeOption || !argument.starts_with('-') || argument == "-") {
            names.push_back(argument);
            continue;
        }
        if (argument == "--help") {
            show(std::string(usage) + std::string(help));
        }
        if (argument == "--version") {
            show("ldif-migrate-check " PROGRAM_VERSION "\n");
        }
        const std::size_t equals = argument.find('=');
        const std::string_view name = argument.substr(0, equals);
        const auto* const number =
            std::find_if(numbers.begin(), numbers.end(),
                         [name](const NumberOption& one) { return one.name == name; });
        if (argument == "--json") {
            options.request.asJson = true;
        } else if (argument == "--") {
            mayBeOption = false;
        } else if (number == numbers.end()) {
            refuse(format("unknown option %s", argument));
        } else if (equals == std::string_view::npos && i + 1 == arguments.size()) {
            refuse(format("%s needs a number", name));
        } else {
            *number->number = numberOf(
                name,
                equals == std::string_view::npos ? arguments[++i] : argument.substr(equals + 1),
                number->least);
        }
    }
    if (names.empty() || names.size() > 2) {
        refuse(names.empty() ? "no export given" : "too many files given");
    }
    options.request.exportName = names[0];
    options.request.outputName = names.size() > 1 ? names[1] : "";
    return options;
}

[[noreturn]] void failReading(const std::string& name, int error) {
    std::string reason = systemReason(error);
    if (error == ESPIPE) {
        reason = "it is no regular file";
    } else if (error == EBUSY) {
        reason = "it has changed while it was read; check it again when it is complete";
    } else if (error == E2BIG) {
        reason = "it has more than 65,534 domains";
    }
    fail({}, {}, {MESSAGE_CANNOT_OPEN, {name, reason}});
}

void checkBefore(const Options& options) {
    const Request& request = options.request;
    beginFindings(options.limit);
    if (scanExport(request.exportName, {}) != 0) {
        failReading(request.exportName, errno);
    }
    findTroubleOfOwners();
    const DiskNeed need = diskNeed(request.exportName);
    findTroubleAround(request.exportName, need);
    if (reportBefore(request, need) != 0) {
        fail({}, {}, {MESSAGE_CANNOT_WRITE, {"standard output", systemReason(errno)}});
    }
}

void checkAfter(const Options& options) {
    const Request& request = options.request;
    const int result = prove(request.exportName, request.outputName, options.limit);
    if (result != 0) {
        failReading(result == -1 ? request.exportName : request.outputName, errno);
    }
    if (reportAfter(request) != 0) {
        fail({}, {}, {MESSAGE_CANNOT_WRITE, {"standard output", systemReason(errno)}});
    }
}

}  // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN);
    failureStatus = cannotCheck;
    int status = 0;  // never looked at: the route is part of the program
    zr_svc_routing("ERROR:STDERR", status);
    endProcessWithoutMemory();
    const Options options = readOptions({argv + 1, argv + argc});
    options.request.outputName.empty() ? checkBefore(options) : checkAfter(options);
    return totalOfAllKinds() == 0 ? nothingFound : somethingFound;
}
