// The handle table: lowest free slot first, growth by whole steps, sessions owned by their slots.
#include "api/DfaHandleTable.h"

#include <new>
#include <utility>

#include "api/DfaSession.h"

namespace travune {

namespace {

DfaHandleTable* theTable = nullptr;
int32_t loadCount = 0;

}  // namespace

DfaHandleTable::DfaHandleTable() : slots_(kGrowth) {}

DfaHandleTable::~DfaHandleTable() { CloseAll(); }

int32_t DfaHandleTable::Add(std::unique_ptr<DfaSession> session) {
  for (size_t i = 0; i < slots_.size(); ++i) {
    if (!slots_[i]) {
      slots_[i] = std::move(session);
      return static_cast<int32_t>(i);
    }
  }
  const size_t handle = slots_.size();
  slots_.resize(handle + kGrowth);
  slots_[handle] = std::move(session);
  return static_cast<int32_t>(handle);
}

bool DfaHandleTable::IsValid(int32_t handle) const {
  return handle >= 0 && static_cast<size_t>(handle) < slots_.size() && slots_[static_cast<size_t>(handle)];
}

DfaSession* DfaHandleTable::Get(int32_t handle) const {
  return IsValid(handle) ? slots_[static_cast<size_t>(handle)].get() : nullptr;
}

std::unique_ptr<DfaSession> DfaHandleTable::Remove(int32_t handle) {
  if (!IsValid(handle)) return nullptr;
  return std::move(slots_[static_cast<size_t>(handle)]);
}

void DfaHandleTable::CloseAll() {
  for (int32_t handle = 0; handle <= MaxHandle(); ++handle) Remove(handle).reset();
}

void AttachDataFileAccess() {
  if (loadCount++ > 0) return;
  try {
    theTable = new DfaHandleTable;
  } catch (const std::bad_alloc&) {
    theTable = nullptr;  // every open then reports the allocation error
  }
}

void DetachDataFileAccess() {
  if (loadCount == 0 || --loadCount > 0) return;
  delete theTable;
  theTable = nullptr;
}

DfaHandleTable* TheDfaHandleTable() { return theTable; }

}  // namespace travune
