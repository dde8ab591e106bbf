// The library's load and unload steps, run by the platform's module entry (the DLL entry point
// on Windows, the shared object's constructor and destructor elsewhere).
#pragma once

namespace travune {

// Hands the user's number conventions to the conversion session, registers the driver
// callback and attaches Data File Access.
void AttachLibrary();
// Closes the Data File Access sessions still open, their files with them.
void DetachLibrary();

}  // namespace travune
