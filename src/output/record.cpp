#include "output/record.h"

#include <utility>

#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "output/merge.h"

namespace {

constexpr int SECUSER_MATRIX_NUMBER_OF_COLUMNS = 50;  // as traced; rows have no such limit

// The lines of `object` before the second merge of a user, and afterwards the memory for the next
// result: in this way neither of the two has to grow again.
Entry partiallyMergedSecUser;

// The names of the writer and of the merged entries in traces.
void mergeWithMapping(EntryView entry, EntryView mapping, std::string_view writer,
                      std::string_view merged) {
    trace("%s():  Calling mergeObjects() to merge %s \n", writer, merged);
    mergeObjects(entry, mapping);
    trace("%s():  Returning from mergeObjects() to merge %s \n", writer, merged);
}

// Merges `object` into the user's entry below cn=Users, whose lines come first.
void mergeWithUsersEntry(EntryView usersEntry) {
    trace("writeSecUserAddToOutputFile():  A Users secUser object exists. Begin merge. \n"
          "next_available_object_slot = %d \n"
          "SECUSER_MATRIX_NUMBER_OF_COLUMNS = %d \n",
          next_available_object_slot(), SECUSER_MATRIX_NUMBER_OF_COLUMNS);
    std::swap(partiallyMergedSecUser, object);
    if (debug) {
        for (int i = 0; i < partiallyMergedSecUser.lineCount(); ++i) {
            trace("partiallyMergedSecUser[%d] = %s ", i, partiallyMergedSecUser.line(i));
        }
    }
    mergeObjects(usersEntry, partiallyMergedSecUser);
}

}  // namespace

void mergeEntriesOfUser(EntryView user, EntryView mapping, EntryView usersEntry) {
    mergeWithMapping(user, mapping, "writeSecUserAddToOutputFile", "the secUser and secMap");
    if (!usersEntry.empty()) {
        mergeWithUsersEntry(usersEntry);
    }
}

void mergeEntriesOfGroup(EntryView group, EntryView mapping) {
    mergeWithMapping(group, mapping, "writeSecGroupAddToOutputFile", "secGroup and secMap");
}

void freeMergedEntry() {
    if (!partiallyMergedSecUser.empty()) {
        std::swap(partiallyMergedSecUser, object);
        partiallyMergedSecUser.clear();
    }
    freeObject();
}
