// operator new of the fault-test program: every allocation of the library (and of the standard
// library on its behalf) goes through here, so an armed allocation fault fails the nth one,
// whatever container or plain new asked for it. Nothing is counted while no fault is armed.
// Over-aligned allocations, which the library does not make, keep the standard versions.
#include <cstdlib>
#include <new>

#include "platform/FaultInjection.h"

namespace {

void* Allocate(std::size_t size) noexcept {
  if (travune::platform::FaultDue(travune::platform::FaultKind::kAllocation)) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size) {
  void* memory = Allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
