#include "cache/object_cache.h"

#include <algorithm>
#include <array>
#include <utility>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/text.h"

Matrix secUser_matrix{"secUser_matrix"};
Matrix Users_secUser_matrix{"Users_secUser_matrix"};
Matrix secPolicyData_matrix{"secPolicyData_matrix"};
Matrix secPolicy_matrix{"secPolicy_matrix"};
Matrix secMap_for_secUser_matrix{"secMap_for_secUser_matrix"};
Matrix secGroup_matrix{"secGroup_matrix"};
Matrix secMap_for_secGroup_matrix{"secMap_for_secGroup_matrix"};

OwnerTable secUser_dn("secUser_dn");
OwnerTable secGroup_dn("secGroup_dn");
std::deque<std::string> secPolicy_dn;

namespace {

constexpr std::array<Matrix*, 7> matrices = {&secUser_matrix,
                                             &Users_secUser_matrix,
                                             &secPolicyData_matrix,
                                             &secPolicy_matrix,
                                             &secMap_for_secUser_matrix,
                                             &secGroup_matrix,
                                             &secMap_for_secGroup_matrix};

// Needs no memory itself: a run that has come to its end must not fail in here.
void emptyAllTables() {
    for (Matrix* matrix : matrices) {
        matrix->rows.clear();
        matrix->occupiedRows = 0;
    }
    secUser_dn.clear();
    secGroup_dn.clear();
    secPolicy_dn.clear();
}

void traceSlotCounts(std::string_view function) {
    trace("\n%s():  max_number_of_secuser_slots  = %d  \n"
          "\n%s():  max_number_of_secgroup_slots = %d  \n",
          function, max_number_of_secuser_slots, function, max_number_of_secgroup_slots);
}

}  // namespace

OwnerTable::OwnerTable(std::string_view name)
    : name_(name), lowestSlots_(0, Hash{&dns_}, Equal{&dns_}) {
}

std::string_view OwnerTable::dn(int slot) const {
    return slot < slotCount() ? dns_[static_cast<std::size_t>(slot)] : std::string_view();
}

void OwnerTable::prepare(int mostSlots) {
    constexpr int few = 1000;
    lowestSlots_.reserve(static_cast<std::size_t>(std::min(mostSlots, few)));
}

void OwnerTable::open(std::string_view dn) {
    dns_.emplace_back(dn);
    lowestSlots_.insert(slotCount() - 1);  // keeps the lower slot where the DN is known already
    ++count;
}

int OwnerTable::find(std::string_view dn) const {
    const auto found = lowestSlots_.find(dn);
    return found == lowestSlots_.end() ? -1 : *found;
}

void OwnerTable::replace(int slot, std::string text) {
    const auto found = lowestSlots_.find(slot);
    if (found != lowestSlots_.end() && *found == slot) {
        lowestSlots_.erase(found);
    }
    dns_[static_cast<std::size_t>(slot)].swap(text);
}

void OwnerTable::release(int slot) {
    if (!dn(slot).empty()) {
        replace(slot, {});
    }
}

void OwnerTable::clear() {
    lowestSlots_.clear();
    dns_.clear();
    count = 0;
}

std::size_t OwnerTable::Hash::operator()(int slot) const {
    return hashIgnoringCase((*dns)[static_cast<std::size_t>(slot)]);
}

std::size_t OwnerTable::Hash::operator()(std::string_view dn) const {
    return hashIgnoringCase(dn);
}

bool OwnerTable::Equal::operator()(int first, int second) const {
    return (*this)((*dns)[static_cast<std::size_t>(first)], second);
}

bool OwnerTable::Equal::operator()(std::string_view dn, int slot) const {
    return equalIgnoringCase(dn, (*dns)[static_cast<std::size_t>(slot)]);
}

bool OwnerTable::Equal::operator()(int slot, std::string_view dn) const {
    return (*this)(dn, slot);
}

const Entry& Matrix::row(int index) const {
    static const Entry emptyRow;
    const auto i = static_cast<std::size_t>(index);
    return i < rows.size() ? rows[i] : emptyRow;
}

void Matrix::fill(int index, Entry& entry) {
    const auto i = static_cast<std::size_t>(index);
    if (i >= rows.size()) {
        rows.resize(i + 1);
    }
    rows[i] = std::exchange(entry, Entry());
    rows[i].shrink();
    ++occupiedRows;
}

void Matrix::release(int index) {
    if (!row(index).empty()) {
        // Moved out, because assigning an empty entry would keep the row's memory.
        const Entry released = std::move(rows[static_cast<std::size_t>(index)]);
        --occupiedRows;
    }
}

std::string_view secPolicyDN(int index) {
    const auto i = static_cast<std::size_t>(index);
    return i < secPolicy_dn.size() ? std::string_view(secPolicy_dn[i]) : std::string_view();
}

void allocateObjectCache() {
    const OutOfMemoryLine line("allocateObjectCache():  malloc() failure.  EXITING. \n");
    trace("allocateObjectCache():  FUNCTION ENTRY  \n");
    traceSlotCounts("allocateObjectCache");
    secUser_dn.prepare(max_number_of_secuser_slots);
    secGroup_dn.prepare(max_number_of_secgroup_slots);
    trace("allocateObjectCache():  FUNCTION EXIT  \n");
}

void initializeAllArrays() {
    trace("initializeAllArrays():  FUNCTION ENTRY  \n");
    freeObject();
    emptyAllTables();
    trace("initializeAllArrays():  FUNCTION EXIT  \n");
}

void freeSecUserDN(int index) {
    secUser_dn.release(index);
}

void freeSecGroupDN(int index) {
    secGroup_dn.release(index);
}

void freeSecPolicyDN(int index) {
    if (!secPolicyDN(index).empty()) {
        std::string().swap(secPolicy_dn[static_cast<std::size_t>(index)]);
    }
}

void freeSecUser(int index) {
    secUser_matrix.release(index);
}

void freeUsersSecUser(int index) {
    Users_secUser_matrix.release(index);
}

void freeSecGroup(int index) {
    secGroup_matrix.release(index);
}

void freeSecPolicyData(int index) {
    secPolicyData_matrix.release(index);
}

void freeSecPolicy(int index) {
    secPolicy_matrix.release(index);
}

void freeSecMapForSecUser(int index) {
    secMap_for_secUser_matrix.release(index);
}

void freeSecMapForSecGroup(int index) {
    secMap_for_secGroup_matrix.release(index);
}

void deallocateObjectCache() {
    trace("deallocateObjectCache():  FUNCTION ENTRY  \n");
    traceSlotCounts("deallocateObjectCache");
    emptyAllTables();
    trace("deallocateObjectCache():  FUNCTION EXIT  \n");
}
