// The failure schedule of test builds: one armed kind, a countdown to the call that fails, and
// an optional free-space figure. Atomics, because tests on other threads may call the platform
// layer while a walk is armed (those calls are counted like any other).
#include "platform/FaultInjection.h"

#include <atomic>

namespace travune::platform {

namespace {

constexpr int kNotArmed = -1;

std::atomic<int> armedKind{kNotArmed};
std::atomic<uint64_t> failingCall{0};
std::atomic<uint64_t> callsCounted{0};
std::atomic<bool> fired{false};
std::atomic<bool> freeBytesSet{false};
std::atomic<uint64_t> freeBytesValue{0};

}  // namespace

bool FaultDue(FaultKind kind) {
  if (armedKind.load(std::memory_order_relaxed) != static_cast<int>(kind)) return false;
  const uint64_t call = callsCounted.fetch_add(1, std::memory_order_relaxed) + 1;
  if (call != failingCall.load(std::memory_order_relaxed)) return false;
  fired.store(true, std::memory_order_relaxed);
  return true;
}

void ArmFault(FaultKind kind, uint64_t nth) {
  armedKind.store(kNotArmed);
  failingCall.store(nth);
  callsCounted.store(0);
  fired.store(false);
  armedKind.store(static_cast<int>(kind));
}

void DisarmFault() { armedKind.store(kNotArmed); }

uint64_t FaultCallsCounted() { return callsCounted.load(); }

bool FaultFired() { return fired.load(); }

void SetFreeBytes(uint64_t freeBytes) {
  freeBytesValue.store(freeBytes);
  freeBytesSet.store(true);
}

void ClearFreeBytes() { freeBytesSet.store(false); }

bool FreeBytesOverride(uint64_t* freeBytes) {
  if (!freeBytesSet.load()) return false;
  *freeBytes = freeBytesValue.load();
  return true;
}

}  // namespace travune::platform
