// Library load and unload: the user's locale, the list separator, the driver callback.
#include "api/CvtSession.h"
#include "platform/Platform.h"
#include "source/DriverLibrary.h"

namespace travune {

namespace {

__attribute__((constructor)) void AttachLibrary() {
  platform::SetUserLocale();
  TheCvtSession().SetListSeparator(platform::ListSeparator());
  RegisterDriverCallback();
}

}  // namespace

}  // namespace travune
