#include "ldif/run_files.h"

#include "driver/settings.h"

LineReader ifp;
LineReader tifp;
OutputFile ofp;

Message positionMessage(const char* call, int error, int returnCode) {
    return {MESSAGE_POSITION_FAILED, {call, std::to_string(returnCode), systemReason(error)}};
}

Message setPositionMessage(const LineReader& stream, int error, int returnCode) {
    return stream.error() == 0 ? positionMessage("fsetpos()", error, returnCode)
                               : blankingFailedMessage();
}

Message openMessage(const std::string& name, int error) {
    return {MESSAGE_CANNOT_OPEN, {name, systemReason(error)}};
}

Message writeMessage(const std::string& name, const OutputFile& file) {
    return {MESSAGE_CANNOT_WRITE, {name, systemReason(file.error())}};
}

Message workFileMessage(const std::string& problem) {
    // Without an error number, a position call has failed and printed its own message.
    const std::string reason = tifp.error() != 0 ? ": " + systemReason(tifp.error()) : "";
    return migrationStopped(problem + " in the work file" + reason);
}

Message blankingFailedMessage() {
    return workFileMessage("gathered entries could not be overwritten");
}
