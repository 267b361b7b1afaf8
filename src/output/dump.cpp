#include "output/dump.h"

#include <string_view>

#include "cache/object_cache.h"
#include "driver/diagnostics/trace.h"
#include "entry/entry.h"

namespace {

// A row in the report: its lines and a line feed, or `emptyText` with the row's index for its %d.
struct RowFormat {
    const Matrix& matrix;
    std::string_view emptyText;
};

const RowFormat secUserFormat = {secUser_matrix,
                                 "\ndumpData() - secUser_matrix[%d][0] was NULL \n"};
const RowFormat usersSecUserFormat = {
    Users_secUser_matrix, "\ndumpData() - No \"Users\" secUser entry for this secUser. \n\n"};
const RowFormat secPolicyDataFormat = {secPolicyData_matrix,
                                       "\ndumpData() - secPolicyData_matrix[%d][0] was NULL \n\n"};
const RowFormat secPolicyFormat = {secPolicy_matrix,
                                   "\ndumpData() - No secPolicy for this user. \n\n"};
// Spelled unlike the matrix, as dumps have always shown it.
const RowFormat userMappingFormat = {secMap_for_secUser_matrix,
                                     "\ndumpData() - secMapForSecUser_matrix[%d][0] was NULL \n\n"};
const RowFormat secGroupFormat = {secGroup_matrix,
                                  "\ndumpData() - secGroup_matrix[%d][0] was NULL \n\n"};
const RowFormat groupMappingFormat = {
    secMap_for_secGroup_matrix, "\ndumpData() - secMap_for_secGroup_matrix[%d][0] was NULL \n\n"};

void dumpRow(const RowFormat& rowFormat, int index) {
    const EntryView row = rowFormat.matrix.row(index);
    if (row.empty()) {
        const FormatArgument argument = index;
        writeTrace(formatText(rowFormat.emptyText, {&argument, 1}));
        return;
    }
    for (int column = 0; column < row.lineCount(); ++column) {
        trace("dumpData() - %s[%d][%d] = %s", rowFormat.matrix.name, index, column,
              row.line(column));
    }
    trace("\n");
}

void dumpDn(std::string_view table, int index, std::string_view dn, std::string_view emptyText) {
    if (dn.empty()) {
        const FormatArgument argument = index;
        writeTrace(formatText(emptyText, {&argument, 1}));
    } else {
        trace("\ndumpData() - %s[%d] = %s \n", table, index, dn);
    }
}

void dumpUser(int index) {
    trace("----------------- BEGIN NEW USER --------------------------------------\n");
    dumpDn("secUser_dn", index, secUser_dn.dn(index), "\ndumpData() - secUser_dn[%d] was NULL \n");
    dumpRow(secUserFormat, index);
    dumpRow(usersSecUserFormat, index);
    dumpRow(secPolicyDataFormat, index);
    dumpDn("secPolicy_dn", index, secPolicyDN(index),
           "\ndumpData() - No secPolicy DN for this user. \n\n");
    dumpRow(secPolicyFormat, index);
    dumpRow(userMappingFormat, index);
}

void dumpGroup(int index) {
    trace("\n----------------- BEGIN NEW GROUP -----------------------------------\n");
    dumpDn("secGroup_dn", index, secGroup_dn.dn(index),
           "\ndumpData() - secGroup_dn[%d] was NULL \n\n");
    dumpRow(secGroupFormat, index);
    dumpRow(groupMappingFormat, index);
}

}  // namespace

int dumpData() {
    if (!debug) {
        return 0;
    }
    trace("\n\n\n/*************************************************************/ \n"
          "\ndumpData():  FUNCTION ENTRY \n"
          "/************* THE DATA BELOW IS THE DATA BEFORE *************/ \n"
          "/************* IT HAS BEEN MODIFIED OR COPIED TO *************/ \n"
          "/************* THE OUTPUT FILE.                  *************/ \n");
    trace("\ndumpData() - secUser_dn_count                             = %d \n"
          "dumpData() - numberOfSecUserObjectsInObjectCache          = %d \n"
          "dumpData() - numberOfSecPolicyDataObjectsInObjectCache    = %d \n"
          "dumpData() - numberOfSecMapForSecUserObjectsInObjectCache = %d \n"
          "dumpData() - numberOfUserSecUserObjectsInObjectCache      = %d \n"
          "dumpData() - numberOfSecPolicyObjectsInObjectCache        = %d \n"
          "dumpData() - next_available_secUser_dn_slot               = %d \n",
          secUser_dn_count(), numberOfSecUserObjectsInObjectCache(),
          numberOfSecPolicyDataObjectsInObjectCache(),
          numberOfSecMapForSecUserObjectsInObjectCache(), numberOfUserSecUserObjectsInObjectCache(),
          numberOfSecPolicyObjectsInObjectCache(), next_available_secUser_dn_slot());
    for (int i = 0; i < secUser_dn_count(); ++i) {
        dumpUser(i);
    }
    trace("/*************** END   DUMP OF USER  DATA ABOVE **************/ \n"
          "/*************** BEGIN DUMP OF GROUP DATA BELOW **************/ \n");
    trace("\ndumpData() - secGroup_dn_count                             = %d \n"
          "dumpData() - numberOfSecGroupObjectsInObjectCache          = %d \n"
          "dumpData() - numberOfSecMapForSecGroupObjectsInObjectCache = %d \n"
          "dumpData() - next_available_secGroup_dn_slot               = %d \n",
          secGroup_dn_count(), numberOfSecGroupObjectsInObjectCache(),
          numberOfSecMapForSecGroupObjectsInObjectCache(), next_available_secGroup_dn_slot());
    for (int i = 0; i < secGroup_dn_count(); ++i) {
        dumpGroup(i);
    }
    trace("/*************** END   DUMP OF GROUP DATA ABOVE **************/ \n"
          "dumpData():  FUNCTION EXIT \n\n"
          "/*************************************************************/ \n\n\n\n");
    return 0;
}
