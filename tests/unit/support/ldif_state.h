// The state of a run's files when it begins.
#pragma once

#include "entry/entry.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"
#include "ldif/run_locks.h"
#include "ldif/work_file.h"

// Closes all files, and clears the state that reading them has left.
inline void resetRunFiles() {
    ifp.close();
    tifp.close();
    ofp.close();
    releaseLocks();
    nextLine = {};
    lineNum = 0;
    areDnsCertain = true;
    changetypeSeen = false;
    hasTheStepOverFilePositionBeenInitialized = false;
    filePositionOfFirstObjectSteppedOver = {};
    filePositionOfChangetypeSearch = {};
    forgetObjectsSteppedOver();
    filePositionBeforeReadingObject = {};
    filePositionAfterReadingObject = {};
}
