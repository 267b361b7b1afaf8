// ldif-migrate-check: before a migration, reports its needs and the problems it would have; after
// it, verifies that nothing was lost. See README.md.
#include <getopt.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "check/comparison.h"
#include "check/export_file.h"
#include "check/export_scan.h"
#include "check/failing.h"
#include "check/findings.h"
#include "check/report.h"
#include "check/surroundings.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "driver/diagnostics/printable.h"
#include "driver/platform/file.h"

namespace {

constexpr int nothingFound = 0;
constexpr int somethingFound = 1;

constexpr std::string_view usage = "usage: ldif-migrate-check [OPTION]... EXPORT [OUTPUT]\n";

constexpr std::string_view help =
    "Checks an export before its migration, or, when OUTPUT is given, verifies that a migration "
    "has\n"
    "lost nothing. Reads only.\n"
    "\n"
    "  --users N     show passes and memory for a migration that holds N users at once, too\n"
    "  --groups N    the same for N groups\n"
    "  --limit N     show at most N findings of each type (default: 20)\n"
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
    failCheck(format("%s\n%sTry \"ldif-migrate-check --help\" for more.", problem, usage));
}

// `error` is the error number of writing the report, or 0.
void requireReport(int error) {
    if (error != 0) {
        failCheck(format("cannot write the report: %s", systemReason(error)));
    }
}

// The file that takes the report. Standard output that is closed would be replaced by /dev/null,
// which takes everything.
FileState requireStandardOutput() {
    const FileState state = stateOf(STDOUT_FILENO);
    requireReport(state.kind == FileKind::NONE ? errno : 0);
    requireReport(occupyStandardDescriptors() ? 0 : errno);
    return state;
}

// Ends the check if the report, or a message, would be written into a file that is checked.
void requireOtherFiles(const Request& request, const FileState& report) {
    const std::string& exportName = request.exportName;
    const std::array<std::string, 2> names = {exportName, request.outputName.value_or(exportName)};
    const FileState errors = stateOf(STDERR_FILENO);
    for (const std::string& name : names) {
        if (isSameFile(stateOf(name), errors)) {
            std::exit(cannotCheck);  // the reason would go into the file as well
        }
    }
    for (const std::string& name : names) {
        if (isSameFile(stateOf(name), report)) {
            failReading(name, "standard output, which takes the report, is the same file");
        }
    }
}

// Some file systems report only now that they cannot keep what was written.
void closeStandardOutput() {
    requireReport(File(STDOUT_FILENO).close() == 0 ? 0 : errno);
}

// A full quota or a reader that has gone away is then a failed write like any other.
void turnWriteSignalsIntoErrors() {
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
}

[[noreturn]] void show(std::string_view text) {
    requireReport(writeText(STDOUT_FILENO, text) == text.size() ? 0 : errno);
    closeStandardOutput();
    std::exit(nothingFound);
}

std::uint64_t numberOf(std::string_view option, std::string_view text, std::uint64_t min) {
    constexpr std::uint64_t max = 2147483647;
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < min || number > max) {
        refuseArguments(format("%s takes a number from %ld to %ld", option, min, max));
    }
    return number;
}

// Beyond every character, which an option of one letter is.
enum OptionCode : int { USERS = 256, GROUPS, LIMIT, JSON, HELP, VERSION };

constexpr std::array<option, 7> optionTable = {{{"users", required_argument, nullptr, USERS},
                                                {"groups", required_argument, nullptr, GROUPS},
                                                {"limit", required_argument, nullptr, LIMIT},
                                                {"json", no_argument, nullptr, JSON},
                                                {"help", no_argument, nullptr, HELP},
                                                {"version", no_argument, nullptr, VERSION},
                                                {nullptr, 0, nullptr, 0}}};

// `argument` is the one looked at last.
[[noreturn]] void refuseOption(int code, const char* argument) {
    if (code == ':') {
        refuseArguments(format("\"%s\" needs a value", printable(argument)));
    }
    if (optopt >= USERS) {
        refuseArguments(format("\"%s\": this option takes no value", printable(argument)));
    }
    const std::string letter = {'-', static_cast<char>(optopt)};
    refuseArguments(format("unknown option \"%s\"", printable(optopt != 0 ? letter : argument)));
}

void takeOption(int code, const char* argument, Options& options) {
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
        default:
            refuseOption(code, argument);
    }
}

Options readArguments(int argc, char** argv) {
    Options options;
    opterr = 0;  // getopt_long(3) would print arguments unchecked
    for (int code = 0; (code = getopt_long(argc, argv, ":", optionTable.data(), nullptr)) != -1;) {
        takeOption(code, argv[optind - 1], options);
    }
    const int names = argc - optind;
    if (names < 1 || names > 2) {
        refuseArguments(names < 1 ? "no export given" : "too many files given");
    }
    options.request.exportName = argv[optind];
    if (names == 2) {
        options.request.outputName = argv[optind + 1];
    }
    return options;
}

void checkBefore(const Options& options) {
    const Request& request = options.request;
    beginFindings(options.limit);
    scanExport(request.exportName, {});
    const std::optional<std::uint64_t> freeSpace = freeDiskSpace(request.exportName);
    checkSurroundings(request.exportName, freeSpace);
    requireUnchangedExport();
    requireReport(reportBefore(request, freeSpace));
}

void checkAfter(const Options& options) {
    const Request& request = options.request;
    beginFindings(options.limit);
    compareOutput(request.exportName, *request.outputName);
    requireReport(reportAfter(request));
}

}  // namespace

int main(int argc, char** argv) {
    const FileState report = requireStandardOutput();
    turnWriteSignalsIntoErrors();
    const Options options = readArguments(argc, argv);
    requireOtherFiles(options.request, report);
    options.request.outputName ? checkAfter(options) : checkBefore(options);
    closeStandardOutput();
    return totalOfAllTypes() == 0 ? nothingFound : somethingFound;
}
