// Accumulation: moving the entries of one pass from the work file into the object cache.
//
// One handler per class of entry. Each finds the owner of the current entry, opens a slot for a
// new owner, moves the entry into the owner's row and blanks it in the work file; an entry of a
// new owner for whom no slot is free is stepped over. The pass loop calls a handler only while
// the matrix of its class is not full. Every failure ends the process.
#pragma once

// Moves of the current entry, which must have a line, into row `index` of one matrix each. A row
// that is already occupied ends the process.
void moveSecUserObjectFromObjectArrayToSecUserMatrix(int index);
void moveUsersSecUserObjectFromObjectArrayToUsersSecUserMatrix(int index);
void moveSecPolicyDataObjectFromObjectArrayToSecPolicyDataMatrix(int index);
void moveSecPolicyObjectFromObjectArrayToSecPolicyMatrix(int index);
void moveSecGroupObjectFromObjectArrayToSecGroupMatrix(int index);
void moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix(int index);
void moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix(int index);

// Handlers of the current entry, which begins at the position of `tifp`.
void processSecUserObjectFromTempInputLDIFFile();
void processSecPolicyDataObjectFromTempInputLDIFFile();
void processSecPolicyObjectFromTempInputLDIFFile();
void processSecGroupObjectFromTempInputLDIFFile();

// Mapping entries belong to a user when their DN line holds "cn=Users" in any case, else to a
// group.
void processSecMapObjectFromTempInputLDIFFile();

// Whether the current mapping entry belongs to a user.
bool isMappingOfUser();
