// The numbered messages for the administrator.
//
// Every message is one catalogue entry: an id, a severity and a text with %s for each of its
// arguments. A message starts its line with "<decimal id> <SEVERITY>: "; where it goes is
// decided once, at start-up, per severity. The catalogue is compiled in.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

enum MessageId : int {
    NO_MESSAGE = 0,
    MESSAGE_NO_MEMORY = 380928300,
    MESSAGE_POSITION_FAILED = 380928301,    // call, return code, system's reason
    MESSAGE_PROCESSING_FAILED = 380928302,  // input file, what went wrong, what to do
    MESSAGE_SLOT_OCCUPIED = 380928303,      // input file, entry, other entry, what to do
    MESSAGE_CANNOT_OPEN = 380928304,        // file, reason
    MESSAGE_STAGING_FAILED = 380928305,     // input file, reason
    MESSAGE_CANNOT_WRITE = 380928306,       // file, reason
    MESSAGE_CANNOT_READ = 380928307,        // work file, reason
    MESSAGE_STAGING_BEGINS = 380928308,
    MESSAGE_STAGING_WHERE = 380928309,
    MESSAGE_STAGING_DONE = 380928310,
    MESSAGE_PROCESSING_BEGINS = 380928311,
    MESSAGE_PASS_BEGINS = 380928312,
    MESSAGE_WRITING = 380928313,
    MESSAGE_USAGE = 380928314,
    MESSAGE_COMPLETE = 380928315,
    MESSAGE_WORK_FILE_LEFT_BEHIND = 380928316,  // work file
    MESSAGE_INTERRUPTED = 380928317,            // output file, work file
    MESSAGE_WORK_FILE_STAYS = 380928318,        // work file, reason
};

// A message and the values for its text's placeholders, in order, as printable() shows them.
struct Message {
    MessageId id = NO_MESSAGE;
    std::vector<std::string> arguments;
};

// Routes one severity: "ERROR:STDERR", "WARNING:STDERR", "NOTICE:STDOUT" and the like.
// `status` becomes 0, or -1 when the route names no severity or stream that exists.
void zr_svc_routing(std::string_view route, int& status);

// Prints catalogue message `message.id` where its severity is routed, at once and on a line of
// its own. Allocates nothing for a message without arguments. NO_MESSAGE prints nothing.
void zr_printf_utf8(const Message& message);

// The line that zr_printf_utf8 prints of it, with its line feed; empty for NO_MESSAGE.
std::string lineOf(const Message& message);

// The system's reason for error number `error`, as strerror(3) words it.
std::string systemReason(int error);
