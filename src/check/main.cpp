// ldif-migrate-check: tells before a migration what it needs and what would go wrong, and proves
// afterwards that nothing was lost. See README.md.
#include <getopt.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>

#include "check/export_file.h"
#include "check/export_scan.h"
#include "check/failing.h"
#include "check/findings.h"
#include "check/owner_findings.h"
#include "check/plan.h"
#include "check/proof.h"
#include "check/report.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"

namespace {

constexpr int nothingFound = 0;
constexpr int somethingFound = 1;

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

// Memory may be wanted before main begins.
[[gnu::constructor(101)]] void prepareForLittleMemory() {
    failAsCheck();
}

[[noreturn]] void refuseArguments(const std::string& problem) {
    failCheck(format("%s\n%s", problem, usage));
}

void requireReport(bool isWritten) {
    if (!isWritten) {
        failCheck(format("cannot write the report: %s", systemReason(errno)));
    }
}

// One that is closed would be replaced by /dev/null, which takes everything.
void requireStandardOutput() {
    requireReport(stateOf(STDOUT_FILENO).kind != FileKind::NONE);
}

// Some file systems report only now that they cannot keep what was written.
void closeStandardOutput() {
    requireReport(File(STDOUT_FILENO).close() == 0);
}

// A full quota or a reader that has gone away is then a failed write like any other.
void turnWriteSignalsIntoErrors() {
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
}

[[noreturn]] void show(std::string_view text) {
    requireReport(writeText(STDOUT_FILENO, text) == text.size());
    closeStandardOutput();
    std::exit(nothingFound);
}

std::uint64_t numberOf(std::string_view option, std::string_view text, std::uint64_t least) {
    constexpr std::uint64_t most = 2147483647;
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least ||
        number > most) {
        refuseArguments(format("%s takes a number from %ld to %ld", option, least, most));
    }
    return number;
}

enum OptionCode : int { USERS = 1, GROUPS, LIMIT, JSON, HELP, VERSION };

constexpr std::array<option, 7> optionTable = {{{"users", required_argument, nullptr, USERS},
                                                {"groups", required_argument, nullptr, GROUPS},
                                                {"limit", required_argument, nullptr, LIMIT},
                                                {"json", no_argument, nullptr, JSON},
                                                {"help", no_argument, nullptr, HELP},
                                                {"version", no_argument, nullptr, VERSION},
                                                {nullptr, 0, nullptr, 0}}};

void takeOption(int code, Options& options) {
    switch (code) {
        case USERS:
            options.request.users = numberOf("--users", optarg, 1);
            break;
        case GROUPS:
            options.request.groups = numberOf("--groups", optarg, 1);
            break;
        case LIMIT:
            options.limit = numberOf("--limit", optarg, 0);
            break;
        case JSON:
            options.request.asJson = true;
            break;
        case HELP:
            show(format("%s%s", usage, help));
        case VERSION:
            show("ldif-migrate-check " PROGRAM_VERSION "\n");
        default:  // told by getopt_long(3)
            writeText(STDERR_FILENO, usage);
            std::exit(cannotCheck);
    }
}

Options readArguments(int argc, char** argv) {
    Options options;
    for (int code = 0; (code = getopt_long(argc, argv, "", optionTable.data(), nullptr)) != -1;) {
        takeOption(code, options);
    }
    const int names = argc - optind;
    if (names < 1 || names > 2) {
        refuseArguments(names < 1 ? "no export given" : "too many files given");
    }
    options.request.exportName = argv[optind];
    options.request.outputName = names == 2 ? argv[optind + 1] : "";
    return options;
}

void checkBefore(const Options& options) {
    const Request& request = options.request;
    beginFindings(options.limit);
    scanExport(request.exportName, {});
    findTroubleOfOwners();
    const DiskNeed need = diskNeed(request.exportName);
    findTroubleAround(request.exportName, need);
    requireUnchangedExport();
    requireReport(reportBefore(request, need) == 0);
}

void checkAfter(const Options& options) {
    const Request& request = options.request;
    beginFindings(options.limit);
    prove(request.exportName, request.outputName);
    requireReport(reportAfter(request) == 0);
}

}  // namespace

int main(int argc, char** argv) {
    requireStandardOutput();
    requireReport(occupyStandardDescriptors());
    turnWriteSignalsIntoErrors();
    const Options options = readArguments(argc, argv);
    options.request.outputName.empty() ? checkBefore(options) : checkAfter(options);
    closeStandardOutput();
    return totalOfAllKinds() == 0 ? nothingFound : somethingFound;
}
