// The edits that single entries need for the newer layout, made while they are staged.
//
// The domain-information entry gets its new version and an installation date, users a domain
// identifier, users and groups the new spelling of their UUID attribute. Lines are changed in
// place; new ones are appended, without a line end.
#pragma once

#include <ctime>
#include <string>

// Adjusts the current entry according to objectClass. Always returns 0; a user without the
// attributes that make up its domain identifier ends the process.
int tweekObjectInObjectArray();

// Whether the current entry has the attributes that its adjustment needs.
bool canBeTweeked();

// Whether the current entry needs no domain identifier: it has one.
bool hasDomainIdentifier();

// The line of the current entry that holds the old spelling of the UUID attribute, or -1.
int lineOfOldUuidName();

// The installation-date line for the moment `local`.
std::string installDateLine(const std::tm& local);

// Whether a line, without its line end, is the installation-date line for some moment.
bool isInstallDateLine(const std::string& line);
