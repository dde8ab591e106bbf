// The module entry on POSIX systems: the load and unload steps run as the shared object's (or
// the program's) constructor and destructor.
#include "api/LibraryEntry.h"

namespace travune::platform {

namespace {

__attribute__((constructor)) void LoadModuleSteps() { AttachLibrary(); }

__attribute__((destructor)) void UnloadModuleSteps() { DetachLibrary(); }

}  // namespace

}  // namespace travune::platform
