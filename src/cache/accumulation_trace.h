// The traces and errors of the accumulation: the names and wordings that differ from handler to
// handler, and the traces of more than one line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "cache/object_cache.h"

// A move, as its traces and errors name it.
struct Move {
    std::string_view function;
    Matrix& matrix;
    std::string_view occupiedEnding = " \n";
    bool tracesLines = false;
};

extern const Move toSecUser;
extern const Move toUsersSecUser;
extern const Move toSecPolicyData;
extern const Move toSecPolicy;
extern const Move toSecGroup;
extern const Move toSecMapForSecUser;
extern const Move toSecMapForSecGroup;

// The owners of one kind: users or groups.
struct Owners {
    std::string_view name;
    OwnerTable& owners;
    const std::int32_t& maxSlots;
    const std::string& savedDn;
    int (*learnIndex)();
    std::string_view association;  // the name of learnIndex
    std::string_view mappingMove;  // the name of the move of its mapping entries
};

extern const Owners users;
extern const Owners groups;

// When an error echoes the owner's DN after its own line. The handlers differ: if the owner was not
// found, some echo nothing, some an empty DN, and one the DN of the slot just opened.
enum OwnerEcho { NEVER, OWNER_FOUND, OWNER_OR_EMPTY, OWNER_OF_SLOT };

// The wording of the traced decisions, which only the mapping handler has.
struct Narrative {
    std::string_view moveOfNewOwner;
    std::string_view foundDnEnding;
    std::string_view deletion;
};

// A handler, as its traces and errors name it.
struct Handler {
    std::string_view function;
    std::string_view failedKind;  // the entry's name in its errors
    std::string_view mallocLine;
    std::string_view ownerEchoFormat;
    OwnerEcho ownerEchoOnStepOver;
    OwnerEcho ownerEchoOnDeletion;
    bool recordsPolicyDn = false;
    const Narrative* narrative = nullptr;
};

extern const Handler secUserHandler;
extern const Handler secPolicyDataHandler;
extern const Handler secPolicyHandler;
extern const Handler secGroupHandler;
extern const Handler userMappingHandler;
extern const Handler groupMappingHandler;

// Traces the lines that have been moved into row `index`, if the move traces them.
void traceMoved(const Move& move, int index);

// Traces the current mapping entry below `heading`.
void traceObjectArray(std::string_view heading);

// Trace the decisions of a handler that has a narrative.
void narrateOwner(const Handler& handler, const Owners& kind, int index);
void narrateFreeSlot(const Handler& handler, const Owners& kind, bool isFree);
void narrateNewOwner(const Handler& handler, const Owners& kind, int slot);
void narrateFoundOwner(const Handler& handler, const Owners& kind, int slot);
void narrateStepOver(const Handler& handler);
void narrateDeletion(const Handler& handler, bool isNewOwner);

// The line that an error echoes behind its own; `index` is -1 where the owner was not found.
std::string ownerEcho(const Handler& handler, const Owners& kind, OwnerEcho when, int index);
