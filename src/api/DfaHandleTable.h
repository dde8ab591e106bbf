// The handles of the Data File Access interface: a table of open sessions whose slot indices are
// the handles callers hold, and the table's life from library load to unload.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace travune {

class DfaSession;

class DfaHandleTable {
 public:
  // Slots at construction, and the slots added each time the table is full.
  static constexpr int32_t kGrowth = 16;

  DfaHandleTable();
  ~DfaHandleTable();
  DfaHandleTable(const DfaHandleTable&) = delete;
  DfaHandleTable& operator=(const DfaHandleTable&) = delete;

  // Stores the session in the lowest empty slot, growing the table by kGrowth slots when none
  // is empty, and returns the slot's index. Throws std::bad_alloc when the table cannot grow
  // (the session is then destroyed).
  int32_t Add(std::unique_ptr<DfaSession> session);
  // True when 0 <= handle < capacity and the slot holds a session.
  bool IsValid(int32_t handle) const;
  // The session of handle, or null when handle is not valid.
  DfaSession* Get(int32_t handle) const;
  // Takes the session out of its slot; null when handle is not valid.
  std::unique_ptr<DfaSession> Remove(int32_t handle);
  // The highest handle the table has a slot for (capacity - 1).
  int32_t MaxHandle() const { return static_cast<int32_t>(slots_.size()) - 1; }
  // Closes every open session, handle 0 first.
  void CloseAll();

 private:
  std::vector<std::unique_ptr<DfaSession>> slots_;
};

// The library's load step: the first attach creates the process's table. Each attach is
// balanced by one detach; the last detach closes every open session and releases the table.
void AttachDataFileAccess();
void DetachDataFileAccess();
// The process's table; null before the first attach, after the last detach, or when it could
// not be allocated.
DfaHandleTable* TheDfaHandleTable();

}  // namespace travune
