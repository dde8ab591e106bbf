// Library load and unload: the user's number conventions handed to the session, the driver
// callback, the Data File Access handle table. The host process's own locale is left as it is;
// calls switch their thread's locale themselves.
#include "api/LibraryEntry.h"

#include "api/CvtSession.h"
#include "api/DfaHandleTable.h"
#include "platform/Platform.h"
#include "source/DriverLibrary.h"

namespace travune {

void AttachLibrary() {
  // Asked first so that the locale objects outlive the session at process exit.
  const platform::NumberConventions& conventions = platform::UserNumberConventions();
  CvtSession& session = TheCvtSession();
  session.SetListSeparator(conventions.listSeparator);
  session.SetDecimalMark(conventions.decimalMark);
  RegisterDriverCallback();
  AttachDataFileAccess();
}

// Sessions still open when the library is unloaded are closed, their files with them.
void DetachLibrary() { DetachDataFileAccess(); }

}  // namespace travune
