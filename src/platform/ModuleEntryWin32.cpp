// The module entry on Windows: DllMain runs the library's load and unload steps at process
// attach and detach. Linked into a program rather than a DLL (the test programs), no DllMain
// call comes, so the steps run with the program's static objects instead.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "api/LibraryEntry.h"

namespace travune::platform {

namespace {

// Nothing may leave the entry point; a step that fails leaves the library as far as it got.
template <typename Step>
void RunStep(Step step) {
  try {
    step();
  } catch (...) {
  }
}

bool LinkedIntoProgram() {
  HMODULE self = nullptr;
  return ::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              reinterpret_cast<LPCSTR>(&LinkedIntoProgram), &self) != 0 &&
         self == ::GetModuleHandleA(nullptr);
}

class ProgramModuleSteps {
 public:
  ProgramModuleSteps() : inProgram_(LinkedIntoProgram()) {
    if (inProgram_) RunStep(AttachLibrary);
  }
  ~ProgramModuleSteps() {
    if (inProgram_) RunStep(DetachLibrary);
  }
  ProgramModuleSteps(const ProgramModuleSteps&) = delete;
  ProgramModuleSteps& operator=(const ProgramModuleSteps&) = delete;

 private:
  bool inProgram_;
};

const ProgramModuleSteps programModuleSteps;

}  // namespace

}  // namespace travune::platform

// Thread attach and detach do nothing; the entry always reports success.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) travune::platform::RunStep(travune::AttachLibrary);
  if (reason == DLL_PROCESS_DETACH) travune::platform::RunStep(travune::DetachLibrary);
  return TRUE;
}
