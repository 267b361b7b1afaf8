// Scanning exports that a test writes.
#pragma once

#include <string>
#include <string_view>

#include "check/export_scan.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "check/owners.h"
#include "support/ldif_fixture.h"

class ScanFixture : public LdifFixture {
protected:
    void SetUp() override {
        LdifFixture::SetUp();
        beginFindings(10);
    }
    void TearDown() override {
        clearOwners();
        forgetInventory();
        beginFindings(0);
        LdifFixture::TearDown();
    }

    // Scans this export.
    void scan(std::string_view content, const ExpectedEntryTakers& takers = {}) {
        writeInput(content);
        scanExport(input_ldif_filename, takers);
    }

    // The types found, each with a space behind it.
    static std::string typesFound() {
        std::string found;
        for (const FindingText& text : findingTypes()) {
            found += total(text.type) > 0 ? std::string(text.id) + ' ' : std::string();
        }
        return found;
    }
};
