// The fixture of everything that works on the object cache: empty, for ten users and ten groups.
#pragma once

#include <functional>
#include <string>

#include "support/cache_state.h"
#include "support/ldif_fixture.h"

class CacheFixture : public LdifFixture {
protected:
    void SetUp() override {
        LdifFixture::SetUp();
        max_number_of_secuser_slots = 10;
        max_number_of_secgroup_slots = 10;
        emptyCache();
    }
    void TearDown() override {
        emptyCache();
        LdifFixture::TearDown();
    }

    // The text that `procedure` writes to the trace.
    std::string traceOf(const std::function<void()>& procedure) {
        startTrace();
        procedure();
        debug = false;
        return traced();
    }
};
