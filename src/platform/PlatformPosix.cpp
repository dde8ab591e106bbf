// The platform layer on POSIX systems: exclusively locked files, file information in the
// Windows record layout, free space, temp files, per-thread locale objects, messages, modules,
// memory checks and the clock.
#include <dlfcn.h>
#include <fcntl.h>
#include <langinfo.h>
#include <locale.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/Platform.h"

#include "platform/FaultInjection.h"

namespace travune::platform {

namespace {

constexpr uint32_t kAttributeReadOnly = 0x01;
constexpr uint32_t kAttributeDirectory = 0x10;
constexpr uint32_t kAttributeNormal = 0x80;
// Seconds from 1 January 1601 (the file-time origin) to 1 January 1970.
constexpr int64_t kFileTimeEpochOffset = 11644473600;
constexpr int64_t kFileTimeTicksPerSecond = 10000000;

// Runs a system call until it is not interrupted by a signal.
template <typename Call>
auto RetryOnInterrupt(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

// True when n bytes from offset stay within the positions a file can have.
bool RangeFits(uint64_t offset, size_t n) {
  constexpr uint64_t kMaxPosition = static_cast<uint64_t>(INT64_MAX);
  return n <= kMaxPosition && offset <= kMaxPosition - n;
}

// Opens path with flags (mode for a file it creates) and takes the exclusive lock; -1 when
// either fails. kind says which schedule of a test build's injected failures the open counts in.
int OpenLocked(const char* path, int flags, mode_t mode = 0666, FaultKind kind = FaultKind::kOpen) {
  if (path == nullptr || FaultDue(kind)) return -1;
  const int fd = RetryOnInterrupt([&] { return ::open(path, flags | O_CLOEXEC, mode); });
  if (fd < 0) return -1;
  struct stat st;
  const bool isDirectory = ::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode);
  if (isDirectory || RetryOnInterrupt([&] { return ::flock(fd, LOCK_EX | LOCK_NB); }) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

void SplitFileTime(const struct timespec& t, uint32_t* low, uint32_t* high) {
  const int64_t seconds = static_cast<int64_t>(t.tv_sec) + kFileTimeEpochOffset;
  const uint64_t ticks =
      seconds < 0 ? 0 : static_cast<uint64_t>(seconds) * kFileTimeTicksPerSecond + static_cast<uint64_t>(t.tv_nsec) / 100;
  *low = static_cast<uint32_t>(ticks);
  *high = static_cast<uint32_t>(ticks >> 32);
}

// The birth time where the file system records one; otherwise the last write, the earliest
// time known for the file.
struct timespec CreationTime(int fd, const struct stat& st) {
  struct statx sx;
  if (::statx(fd, "", AT_EMPTY_PATH, STATX_BTIME, &sx) == 0 && (sx.stx_mask & STATX_BTIME) != 0) {
    return timespec{static_cast<time_t>(sx.stx_btime.tv_sec), static_cast<long>(sx.stx_btime.tv_nsec)};
  }
  return st.st_mtim;
}

uint32_t Attributes(mode_t mode) {
  const uint32_t kind = S_ISDIR(mode) ? kAttributeDirectory : kAttributeNormal;
  return (mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0 ? kind | kAttributeReadOnly : kind;
}

// The directory whose volume holds path: path itself when it is a directory, else the part
// up to its last separator, "." when it has none.
std::string VolumeDirectory(const char* path) {
  struct stat st;
  if (::stat(path, &st) == 0 && S_ISDIR(st.st_mode)) return path;
  const char* last = std::strrchr(path, kPathSeparator);
  if (last == nullptr) return ".";
  if (last == path) return "/";
  return std::string(path, static_cast<size_t>(last - path));
}

// Copies size bytes between two places of our own memory through the kernel, which reports
// EFAULT instead of faulting when a page is unmapped or, for the target, not writable.
bool CopyThroughKernel(void* to, const void* from, size_t size, bool writeTarget) {
  struct iovec local = {writeTarget ? const_cast<void*>(from) : to, size};
  struct iovec remote = {writeTarget ? to : const_cast<void*>(from), size};
  const pid_t self = ::getpid();
  const ssize_t moved = RetryOnInterrupt([&] {
    return writeTarget ? ::process_vm_writev(self, &local, 1, &remote, 1, 0)
                       : ::process_vm_readv(self, &local, 1, &remote, 1, 0);
  });
  return moved == static_cast<ssize_t>(size);
}

// The descriptor a File keeps as its native handle.
int Descriptor(intptr_t handle) { return static_cast<int>(handle); }

}  // namespace

// ---- File -----------------------------------------------------------------------------

File::~File() { Close(); }

File::File(File&& other) noexcept : handle_(other.handle_) { other.handle_ = kNoHandle; }

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = other.handle_;
    other.handle_ = kNoHandle;
  }
  return *this;
}

File File::OpenRead(const char* path) { return File(OpenLocked(path, O_RDONLY)); }

File File::OpenReadWrite(const char* path) { return File(OpenLocked(path, O_RDWR)); }

File File::Create(const char* path) {
  File file(OpenLocked(path, O_RDWR | O_CREAT));
  if (file.IsOpen() && !file.Resize(0)) file.Close();
  return file;
}

File File::CreateExclusive(const char* path) {
  return File(OpenLocked(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600, FaultKind::kTempFile));
}

void File::Close() {
  if (!IsOpen()) return;
  ::close(Descriptor(handle_));  // also releases the lock
  handle_ = kNoHandle;
}

void File::AdviseSequentialReading() const {
  if (IsOpen()) posix_fadvise(Descriptor(handle_), 0, 0, POSIX_FADV_SEQUENTIAL);
}

bool File::ReadAt(uint64_t offset, void* buffer, size_t n) const {
  if (!IsOpen() || !RangeFits(offset, n) || FaultDue(FaultKind::kRead)) return false;
  auto* bytes = static_cast<uint8_t*>(buffer);
  size_t done = 0;
  while (done < n) {
    const ssize_t got = RetryOnInterrupt(
        [&] { return ::pread(Descriptor(handle_), bytes + done, n - done, static_cast<off_t>(offset + done)); });
    if (got <= 0) return false;  // error, or the file ends before n bytes
    done += static_cast<size_t>(got);
  }
  return true;
}

bool File::WriteAt(uint64_t offset, const void* buffer, size_t n) {
  if (!IsOpen() || !RangeFits(offset, n) || FaultDue(FaultKind::kWrite)) return false;
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  size_t done = 0;
  while (done < n) {
    const ssize_t put = RetryOnInterrupt(
        [&] { return ::pwrite(Descriptor(handle_), bytes + done, n - done, static_cast<off_t>(offset + done)); });
    if (put <= 0) return false;
    done += static_cast<size_t>(put);
  }
  return true;
}

bool File::Write(const void* buffer, size_t n) {
  if (!IsOpen() || FaultDue(FaultKind::kWrite)) return false;
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  size_t done = 0;
  while (done < n) {
    const ssize_t put = RetryOnInterrupt([&] { return ::write(Descriptor(handle_), bytes + done, n - done); });
    if (put <= 0) return false;
    done += static_cast<size_t>(put);
  }
  return true;
}

int64_t File::Read(void* buffer, size_t n) {
  if (!IsOpen() || FaultDue(FaultKind::kRead)) return -1;
  auto* bytes = static_cast<uint8_t*>(buffer);
  size_t done = 0;
  while (done < n) {
    const ssize_t got = RetryOnInterrupt([&] { return ::read(Descriptor(handle_), bytes + done, n - done); });
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<int64_t>(done);
}

bool File::Seek(uint64_t offset) {
  if (!IsOpen() || !RangeFits(offset, 0) || FaultDue(FaultKind::kSeek)) return false;
  return ::lseek(Descriptor(handle_), static_cast<off_t>(offset), SEEK_SET) >= 0;
}

int64_t File::Tell() const {
  if (!IsOpen() || FaultDue(FaultKind::kSeek)) return -1;
  return static_cast<int64_t>(::lseek(Descriptor(handle_), 0, SEEK_CUR));
}

int64_t File::Size() const {
  struct stat st;
  if (!IsOpen() || FaultDue(FaultKind::kSize) || ::fstat(Descriptor(handle_), &st) != 0) return -1;
  return static_cast<int64_t>(st.st_size);
}

bool File::Resize(uint64_t size) {
  if (!IsOpen() || !RangeFits(size, 0) || FaultDue(FaultKind::kWrite)) return false;
  return RetryOnInterrupt([&] { return ::ftruncate(Descriptor(handle_), static_cast<off_t>(size)); }) == 0;
}

bool File::Flush() {
  return IsOpen() && !FaultDue(FaultKind::kWrite) && RetryOnInterrupt([&] { return ::fsync(Descriptor(handle_)); }) == 0;
}

bool File::GetInformation(FileInformation* out) const {
  struct stat st;
  if (!IsOpen() || out == nullptr || FaultDue(FaultKind::kSize) || ::fstat(Descriptor(handle_), &st) != 0) return false;
  const uint64_t device = static_cast<uint64_t>(st.st_dev);
  const uint64_t index = static_cast<uint64_t>(st.st_ino);
  const uint64_t size = static_cast<uint64_t>(st.st_size);
  *out = FileInformation{};
  out->attributes = Attributes(st.st_mode);
  SplitFileTime(CreationTime(Descriptor(handle_), st), &out->creationLow, &out->creationHigh);
  SplitFileTime(st.st_atim, &out->lastAccessLow, &out->lastAccessHigh);
  SplitFileTime(st.st_mtim, &out->lastWriteLow, &out->lastWriteHigh);
  out->volumeSerial = static_cast<uint32_t>(device ^ (device >> 32));
  out->sizeHigh = static_cast<uint32_t>(size >> 32);
  out->sizeLow = static_cast<uint32_t>(size);
  out->numLinks = static_cast<uint32_t>(st.st_nlink);
  out->indexHigh = static_cast<uint32_t>(index >> 32);
  out->indexLow = static_cast<uint32_t>(index);
  return true;
}

// ---- Files by name ------------------------------------------------------------------------

bool DeleteFile(const char* path) { return path != nullptr && ::unlink(path) == 0; }

const char* LastPathSeparator(const char* path) { return path != nullptr ? std::strrchr(path, kPathSeparator) : nullptr; }

std::string TempDirectory() {
  const char* fromEnvironment = std::getenv("TMPDIR");
  std::string directory = fromEnvironment != nullptr && fromEnvironment[0] != '\0' ? fromEnvironment : "/tmp";
  if (directory.back() != kPathSeparator) directory += kPathSeparator;
  return directory;
}

std::string MakePrivateTempDir() {
  if (FaultDue(FaultKind::kTempFile)) return "";
  std::string pattern = TempDirectory() + "travune-XXXXXX";
  // Room for the separator first: nothing may fail once the directory exists.
  pattern.reserve(pattern.size() + 1);
  if (::mkdtemp(pattern.data()) == nullptr) return "";  // mkdtemp creates it with mode 0700
  pattern += kPathSeparator;
  return pattern;
}

bool RemoveDir(const char* path) { return path != nullptr && ::rmdir(path) == 0; }

bool FreeDiskBytes(const char* path, uint64_t* freeBytes) {
  if (path == nullptr || freeBytes == nullptr) return false;
  if (FreeBytesOverride(freeBytes)) return true;
  struct statvfs vfs;
  if (::statvfs(VolumeDirectory(path).c_str(), &vfs) != 0) return false;
  uint64_t product = 0;
  const bool overflow = __builtin_mul_overflow(static_cast<uint64_t>(vfs.f_bavail),
                                               static_cast<uint64_t>(vfs.f_frsize), &product);
  *freeBytes = overflow ? UINT64_MAX : product;
  return true;
}

// ---- Locale, messages ---------------------------------------------------------------------

namespace {

// The user's locale and the "C" locale as objects of their own, made once. They are freed when
// the process ends; every use lies inside a library call, so none outlives them.
class LocaleObjects {
 public:
  LocaleObjects() : c_(::newlocale(LC_ALL_MASK, "C", nullptr)), user_(::newlocale(LC_ALL_MASK, "", nullptr)) {
    if (user_ == nullptr) user_ = ::newlocale(LC_ALL_MASK, "C", nullptr);
    conventions_.decimalMark = RadixOf(user_);
    conventions_.listSeparator = conventions_.decimalMark == ',' ? ";" : ",";
  }
  ~LocaleObjects() {
    if (user_ != nullptr) ::freelocale(user_);
    if (c_ != nullptr) ::freelocale(c_);
  }
  LocaleObjects(const LocaleObjects&) = delete;
  LocaleObjects& operator=(const LocaleObjects&) = delete;

  locale_t User() const { return user_; }
  locale_t C() const { return c_; }
  const NumberConventions& Conventions() const { return conventions_; }

 private:
  // The locale's radix character when it is one byte; '.' otherwise.
  static char RadixOf(locale_t locale) {
    const char* radix = locale != nullptr ? ::nl_langinfo_l(RADIXCHAR, locale) : nullptr;
    return radix != nullptr && radix[0] != '\0' && radix[1] == '\0' ? radix[0] : '.';
  }

  locale_t c_;
  locale_t user_;
  NumberConventions conventions_{'.', ","};
};

const LocaleObjects& Locales() {
  static const LocaleObjects locales;
  return locales;
}

}  // namespace

const NumberConventions& UserNumberConventions() { return Locales().Conventions(); }

// uselocale returns the thread's locale before the switch; given null (a locale object that
// could not be made) it changes nothing and only returns the current one.
ScopedUserLocale::ScopedUserLocale() : previous_(::uselocale(Locales().User())) {}
ScopedUserLocale::~ScopedUserLocale() { ::uselocale(static_cast<locale_t>(previous_)); }

ScopedCLocale::ScopedCLocale() : previous_(::uselocale(Locales().C())) {}
ScopedCLocale::~ScopedCLocale() { ::uselocale(static_cast<locale_t>(previous_)); }

void* CurrentThreadLocale() { return ::uselocale(static_cast<locale_t>(nullptr)); }
ScopedThreadLocale::ScopedThreadLocale(void* locale) : previous_(::uselocale(static_cast<locale_t>(locale))) {}
ScopedThreadLocale::~ScopedThreadLocale() { ::uselocale(static_cast<locale_t>(previous_)); }

void ShowMessage(const char* caption, const char* text) {
  std::fprintf(stderr, "%s: %s\n", caption != nullptr ? caption : "Error", text != nullptr ? text : "");
  std::fflush(stderr);
}

// ---- Modules ------------------------------------------------------------------------------

namespace {

// The directory, with its separator, of the file this code was loaded from (libtravune.so, or
// the program it is linked into); "" when it cannot be told.
std::string OwnDirectory() {
  Dl_info info{};
  if (::dladdr(reinterpret_cast<void*>(&LoadModule), &info) == 0 || info.dli_fname == nullptr) return {};
  const char* slash = std::strrchr(info.dli_fname, kPathSeparator);
  return slash != nullptr ? std::string(info.dli_fname, static_cast<size_t>(slash - info.dli_fname + 1)) : "";
}

}  // namespace

void* LoadModule(const char* name) {
  if (name == nullptr) return nullptr;
  if (std::strchr(name, kPathSeparator) != nullptr) return ::dlopen(name, RTLD_NOW | RTLD_LOCAL);
  // A bare module name, as Windows takes it without its ".dll": the shared object of that name
  // beside this library first (as Windows looks in the loading program's directory), then the
  // name itself and the shared-object name on the library path.
  const std::string libraryName = std::string("lib") + name + ".so";
  const std::string directory = OwnDirectory();
  void* module = directory.empty() ? nullptr : ::dlopen((directory + libraryName).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) module = ::dlopen(name, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) module = ::dlopen(libraryName.c_str(), RTLD_NOW | RTLD_LOCAL);
  return module;
}

void* FindSymbol(void* module, const char* name) {
  return module != nullptr && name != nullptr ? ::dlsym(module, name) : nullptr;
}

void FreeModule(void* module) {
  if (module != nullptr) ::dlclose(module);
}

// ---- Memory -------------------------------------------------------------------------------

bool IsWritableMemory(void* address, size_t size) {
  if (address == nullptr) return false;
  auto* bytes = static_cast<uint8_t*>(address);
  if (size > UINTPTR_MAX - reinterpret_cast<uintptr_t>(bytes)) return false;
  uint8_t scratch[16384];
  for (size_t done = 0; done < size;) {
    const size_t chunk = size - done < sizeof scratch ? size - done : sizeof scratch;
    // Read the bytes, then put the same bytes back: the write fails on a page that cannot be
    // written, and the contents stay as they were.
    if (!CopyThroughKernel(scratch, bytes + done, chunk, false)) return false;
    if (!CopyThroughKernel(bytes + done, scratch, chunk, true)) return false;
    done += chunk;
  }
  return true;
}

// ---- Clock --------------------------------------------------------------------------------

namespace {

LocalTime SystemLocalTime() {
  struct timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  struct tm fields = {};
  ::localtime_r(&now.tv_sec, &fields);
  return LocalTime{fields.tm_year + 1900, fields.tm_mon + 1,  fields.tm_mday,
                   fields.tm_hour,        fields.tm_min,      fields.tm_sec,
                   static_cast<int>(now.tv_nsec / 1000000)};
}

Clock currentClock = nullptr;

}  // namespace

LocalTime CurrentLocalTime() { return currentClock != nullptr ? currentClock() : SystemLocalTime(); }

void SetClock(Clock clock) { currentClock = clock; }

}  // namespace travune::platform
