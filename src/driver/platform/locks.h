// Advisory locks of flock(2), as the system lists them.
//
// Looking into the list disturbs nobody. Trying to take a lock, even a shared one for a moment,
// would refuse it to a program that tries at that moment as well. The list names the device of the
// file system, which is not that of the file on a few (btrfs): a lock there is not seen. Nor is one
// of a process in another PID namespace, such as a container: the list leaves it out.
#pragma once

#include "driver/platform/file.h"

inline constexpr const char* lockList = "/proc/locks";

enum class LockState { FREE, HELD, UNKNOWN };

struct LockLookup {
    LockState state = LockState::FREE;
    int error = 0;  // of reading the list; the state is UNKNOWN then
};

// Whether another process holds a lock on the file, or waits for one.
LockLookup lookUpLock(const FileState& file);
