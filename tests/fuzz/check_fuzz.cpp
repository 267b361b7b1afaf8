// The check of an arbitrary export before its migration, compared with the migration itself.
//
// The first byte chooses how many findings of each type are kept; the second is not used.
//
// Whatever the export: the check comes to its end, and a migration that refuses the export ends
// with a finding that has predicted it. So an export without findings migrates with status 0.

#include <algorithm>
#include <cstdint>

#include "check/findings.h"
#include "harness.h"
#include "scan.h"
#include "workplace.h"

namespace {

bool isEndPredicted() {
    return std::any_of(findingTypes().begin(), findingTypes().end(), [](const FindingText& text) {
        return text.severity == Severity::ENDS && total(text.type) > 0;
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Workplace workplace;
    const FuzzInput fuzz = fuzzInput(data, size);

    workplace.enter();
    writeFile(input, fuzz.text);
    scanInput(fuzz.first);
    const bool isPredicted = isEndPredicted();
    const Result result = run({{}, fuzz.text}, maxSlots, false);
    require(!result.refusal || isPredicted, "a refusal is predicted");
    workplace.leave();
    return 0;
}
