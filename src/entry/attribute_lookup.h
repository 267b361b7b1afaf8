// Looking attributes up in the current entry, or in another one.
//
// All lookups unfold: a line that begins with a space (a tab does not count) continues the one
// before it, as in RFC 2849. Every text returned ends before its line end. Base64 values are
// never decoded.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "entry/entry.h"

// The value of the first line that holds "<name>:" in any case, or nothing. The name
// may match inside a longer one (dn is found in secDN), so callers ask only for names that do not
// occur inside other names of the entry.
std::optional<std::string> obtainAttributeValueFromObjArray(std::string_view name,
                                                            EntryView entry = object);

// The text of line `index` from its first colon on, the colon and the spaces after it included; of
// a line without a colon, what its continuation lines hold. A continuation line at `index` ends
// the process.
std::string obtainAttributeValueFromObjectArray(int index);

// The whole attribute at line `index`, its name included. A continuation line there ends the
// process.
std::string obtainAttributeFromObjectArray(int index);

// Ends the process when line `index` is a continuation line, as obtainAttributeFromObjectArray
// does.
void requireAttribute(int index);

// All attributes of the current entry, each as obtainAttributeFromObjectArray gives it and with a
// line feed behind it. The first line must not be a continuation line. Valid until the entry
// changes or the next call.
std::string_view unfoldedObject();
