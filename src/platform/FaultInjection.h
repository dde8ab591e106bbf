// Test builds only (TRAVUNE_FAULT_INJECTION): makes a chosen call of the platform layer, or a
// chosen allocation, fail, and can pretend the disk is nearly full. Without the option every
// check below is a constant false and nothing of this exists in the library.
#pragma once

#include <cstdint>

namespace travune::platform {

// The kinds of call that can be made to fail.
enum class FaultKind {
  kOpen,        // opening or creating a file
  kRead,        // reading a file
  kWrite,       // writing, resizing or flushing a file
  kSeek,        // moving or asking the file position
  kSize,        // asking a file's size or information
  kTempFile,    // making the private temporary directory or a temporary file in it
  kAllocation,  // operator new (counted by the test program that replaces it)
};

#ifdef TRAVUNE_FAULT_INJECTION

// Counts a call of kind and answers whether it is the one to fail.
bool FaultDue(FaultKind kind);

// From now on the nth call of kind (1 for the next one) fails; any other kind goes on working.
void ArmFault(FaultKind kind, uint64_t nth);
// Stops counting; nothing fails any more.
void DisarmFault();
// Calls of the armed kind counted since ArmFault, and whether the armed failure happened.
uint64_t FaultCallsCounted();
bool FaultFired();

// Makes the free-space query report freeBytes for every volume, until ClearFreeBytes.
void SetFreeBytes(uint64_t freeBytes);
void ClearFreeBytes();
// The free bytes set by SetFreeBytes; false when none are set.
bool FreeBytesOverride(uint64_t* freeBytes);

#else

constexpr bool FaultDue(FaultKind) { return false; }
constexpr bool FreeBytesOverride(uint64_t*) { return false; }

#endif

}  // namespace travune::platform
