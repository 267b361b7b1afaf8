// Traces with those of other procedures between the pieces of interest.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

// Expects the pieces in `trace` one behind the other, the first at its start and the last at its
// end.
inline void expectPieces(const std::string& trace, const std::vector<std::string>& pieces) {
    EXPECT_THAT(trace, testing::StartsWith(pieces.front()));
    EXPECT_THAT(trace, testing::EndsWith(pieces.back()));
    std::size_t at = 0;
    for (const std::string& piece : pieces) {
        const std::size_t found = trace.find(piece, at);
        ASSERT_NE(found, std::string::npos) << "missing:\n" << piece << "\nin:\n" << trace;
        at = found + piece.size();
    }
}
