// The platform layer on Windows: files opened with no sharing, file information, free space
// (the extended query looked up in kernel32 at load), temp files, the locale's separators,
// message boxes, modules, memory checks and the clock, all through the Win32 API.
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>
// windows.h maps these names onto its own functions; the platform layer's functions of the
// same names are meant here.
#undef DeleteFile
#undef FreeModule

#include <bcrypt.h>
#include <sddl.h>

#include <cstdio>
#include <cstring>

#include "platform/Platform.h"

namespace travune::platform {

namespace {

// ReadFile and WriteFile move at most this many bytes per call.
constexpr DWORD kMaxChunk = 1u << 30;

HANDLE ToHandle(intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }
intptr_t FromHandle(HANDLE handle) { return reinterpret_cast<intptr_t>(handle); }

// Opens or creates path with no sharing, so that no second open succeeds while this one lasts.
intptr_t OpenUnshared(const char* path, DWORD access, DWORD disposition, DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
  if (path == nullptr) return File::kNoHandle;
  return FromHandle(::CreateFileA(path, access, 0, nullptr, disposition, attributes, nullptr));
}

DWORD ChunkOf(size_t remaining) { return remaining < kMaxChunk ? static_cast<DWORD>(remaining) : kMaxChunk; }

bool MoveTo(HANDLE handle, uint64_t position) {
  LARGE_INTEGER target;
  target.QuadPart = static_cast<LONGLONG>(position);
  return ::SetFilePointerEx(handle, target, nullptr, FILE_BEGIN) != 0;
}

int64_t PositionOf(HANDLE handle) {
  LARGE_INTEGER zero{}, position{};
  return ::SetFilePointerEx(handle, zero, &position, FILE_CURRENT) != 0 ? position.QuadPart : -1;
}

// True when n bytes from offset stay within the positions a file can have.
bool RangeFits(uint64_t offset, size_t n) {
  constexpr uint64_t kMaxPosition = static_cast<uint64_t>(INT64_MAX);
  return n <= kMaxPosition && offset <= kMaxPosition - n;
}

// Runs a positioned transfer and puts the current position back where it was, as a positioned
// read or write leaves it on POSIX systems (a synchronous handle moves it otherwise).
template <typename Transfer>
bool KeepingPosition(HANDLE handle, Transfer transfer) {
  const int64_t saved = PositionOf(handle);
  if (saved < 0) return false;
  const bool done = transfer();
  return MoveTo(handle, static_cast<uint64_t>(saved)) && done;
}

bool ReadAll(HANDLE handle, uint8_t* bytes, size_t n) {
  for (size_t done = 0; done < n;) {
    DWORD got = 0;
    if (::ReadFile(handle, bytes + done, ChunkOf(n - done), &got, nullptr) == 0 || got == 0) return false;
    done += got;
  }
  return true;
}

bool WriteAll(HANDLE handle, const uint8_t* bytes, size_t n) {
  for (size_t done = 0; done < n;) {
    DWORD put = 0;
    if (::WriteFile(handle, bytes + done, ChunkOf(n - done), &put, nullptr) == 0 || put == 0) return false;
    done += put;
  }
  return true;
}

// The directory whose volume holds path: path itself when it is a directory, else the part up
// to its last separator, "." when it has none.
std::string VolumeDirectory(const char* path) {
  const DWORD attributes = ::GetFileAttributesA(path);
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return path;
  const char* last = LastPathSeparator(path);
  if (last == nullptr) return ".";
  return std::string(path, static_cast<size_t>(last - path + 1));
}

// The extended free-space query of kernel32, looked up when the library is loaded (it may be
// missing on old systems); the module reference is released when the library is unloaded.
class ExtendedFreeSpaceQuery {
 public:
  using Query = BOOL(WINAPI*)(LPCSTR, PULARGE_INTEGER, PULARGE_INTEGER, PULARGE_INTEGER);

  ExtendedFreeSpaceQuery() : kernel32_(::LoadLibraryA("kernel32")) {
    if (kernel32_ != nullptr) {
      query_ = reinterpret_cast<Query>(reinterpret_cast<void*>(::GetProcAddress(kernel32_, "GetDiskFreeSpaceExA")));
    }
  }
  ~ExtendedFreeSpaceQuery() {
    if (kernel32_ != nullptr) ::FreeLibrary(kernel32_);
  }
  ExtendedFreeSpaceQuery(const ExtendedFreeSpaceQuery&) = delete;
  ExtendedFreeSpaceQuery& operator=(const ExtendedFreeSpaceQuery&) = delete;

  Query Get() const { return query_; }

 private:
  HMODULE kernel32_;
  Query query_ = nullptr;
};

const ExtendedFreeSpaceQuery freeSpaceQuery;

// The cluster query, which needs the root of the volume.
bool FreeBytesByClusters(const std::string& directory, uint64_t* freeBytes) {
  char root[MAX_PATH] = {};
  if (::GetVolumePathNameA(directory.c_str(), root, MAX_PATH) == 0) return false;
  DWORD sectorsPerCluster = 0, bytesPerSector = 0, freeClusters = 0, totalClusters = 0;
  if (::GetDiskFreeSpaceA(root, &sectorsPerCluster, &bytesPerSector, &freeClusters, &totalClusters) == 0) return false;
  *freeBytes = static_cast<uint64_t>(sectorsPerCluster) * bytesPerSector * freeClusters;
  return true;
}

// The calling user's security identifier as text ("S-1-5-21-..."); "" when it cannot be read.
std::string CurrentUserSid() {
  HANDLE token = nullptr;
  if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token) == 0) return {};
  std::string sid;
  DWORD size = 0;
  ::GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  std::string buffer(size, '\0');
  char* text = nullptr;
  if (size > 0 && ::GetTokenInformation(token, TokenUser, buffer.data(), size, &size) != 0 &&
      ::ConvertSidToStringSidA(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid, &text) != 0) {
    sid = text;
    ::LocalFree(text);
  }
  ::CloseHandle(token);
  return sid;
}

// Creates the directory path with an access list that admits only the calling user.
bool CreateOwnerOnlyDirectory(const std::string& path) {
  const std::string user = CurrentUserSid();
  if (user.empty()) return false;
  const std::string rules = "D:P(A;OICI;FA;;;" + user + ")";
  SECURITY_ATTRIBUTES security{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
  if (::ConvertStringSecurityDescriptorToSecurityDescriptorA(rules.c_str(), SDDL_REVISION_1,
                                                             &security.lpSecurityDescriptor, nullptr) == 0) {
    return false;
  }
  const bool created = ::CreateDirectoryA(path.c_str(), &security) != 0;
  ::LocalFree(security.lpSecurityDescriptor);
  return created;
}

// A name part no one can predict: 16 random bytes from the system's generator, in hex.
std::string RandomName() {
  uint8_t random[16] = {};
  if (::BCryptGenRandom(nullptr, random, sizeof random, BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0) return {};
  std::string name;
  for (const uint8_t byte : random) {
    char hex[3];
    std::snprintf(hex, sizeof hex, "%02x", byte);
    name += hex;
  }
  return name;
}

// A locale text of at most three characters for info; fallback when the locale has none.
std::string LocaleText(LCID locale, LCTYPE info, const char* fallback) {
  char text[4] = {};
  return ::GetLocaleInfoA(locale, info, text, sizeof text) > 1 ? std::string(text) : std::string(fallback);
}

bool IsWritableProtection(DWORD protection) {
  if ((protection & (PAGE_GUARD | PAGE_NOACCESS)) != 0) return false;
  return (protection & (PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY)) != 0;
}

// The directory, with its separator, of the module this code was loaded from (travune.dll, or
// the program it is linked into); "" when it cannot be told.
std::string OwnDirectory() {
  HMODULE self = nullptr;
  if (::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<LPCSTR>(&OwnDirectory), &self) == 0) {
    return {};
  }
  char path[MAX_PATH] = {};
  const DWORD length = ::GetModuleFileNameA(self, path, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return {};
  const char* last = LastPathSeparator(path);
  return last != nullptr ? std::string(path, static_cast<size_t>(last - path + 1)) : "";
}

LocalTime SystemLocalTime() {
  SYSTEMTIME now{};
  ::GetLocalTime(&now);
  return LocalTime{now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

Clock currentClock = nullptr;

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

File File::OpenRead(const char* path) { return File(OpenUnshared(path, GENERIC_READ, OPEN_EXISTING)); }

File File::OpenReadWrite(const char* path) {
  return File(OpenUnshared(path, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING));
}

// Opened without truncation first: a file another process holds is refused before it is emptied.
File File::Create(const char* path) {
  File file(OpenUnshared(path, GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS));
  if (file.IsOpen() && !file.Resize(0)) file.Close();
  return file;
}

// CREATE_NEW fails on anything already at path, a symbolic link included.
File File::CreateExclusive(const char* path) {
  return File(OpenUnshared(path, GENERIC_READ | GENERIC_WRITE, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY));
}

void File::Close() {
  if (!IsOpen()) return;
  ::CloseHandle(ToHandle(handle_));
  handle_ = kNoHandle;
}

bool File::ReadAt(uint64_t offset, void* buffer, size_t n) const {
  if (!IsOpen() || !RangeFits(offset, n)) return false;
  const HANDLE handle = ToHandle(handle_);
  return KeepingPosition(handle, [&] { return MoveTo(handle, offset) && ReadAll(handle, static_cast<uint8_t*>(buffer), n); });
}

bool File::WriteAt(uint64_t offset, const void* buffer, size_t n) {
  if (!IsOpen() || !RangeFits(offset, n)) return false;
  const HANDLE handle = ToHandle(handle_);
  return KeepingPosition(
      handle, [&] { return MoveTo(handle, offset) && WriteAll(handle, static_cast<const uint8_t*>(buffer), n); });
}

bool File::Write(const void* buffer, size_t n) {
  return IsOpen() && WriteAll(ToHandle(handle_), static_cast<const uint8_t*>(buffer), n);
}

int64_t File::Read(void* buffer, size_t n) {
  if (!IsOpen()) return -1;
  auto* bytes = static_cast<uint8_t*>(buffer);
  size_t done = 0;
  while (done < n) {
    DWORD got = 0;
    if (::ReadFile(ToHandle(handle_), bytes + done, ChunkOf(n - done), &got, nullptr) == 0) return -1;
    if (got == 0) break;
    done += got;
  }
  return static_cast<int64_t>(done);
}

bool File::Seek(uint64_t offset) { return IsOpen() && RangeFits(offset, 0) && MoveTo(ToHandle(handle_), offset); }

int64_t File::Tell() const { return IsOpen() ? PositionOf(ToHandle(handle_)) : -1; }

int64_t File::Size() const {
  LARGE_INTEGER size{};
  if (!IsOpen() || ::GetFileSizeEx(ToHandle(handle_), &size) == 0) return -1;
  return size.QuadPart;
}

// SetEndOfFile cuts at the current position, which is put back afterwards.
bool File::Resize(uint64_t size) {
  if (!IsOpen() || !RangeFits(size, 0)) return false;
  const HANDLE handle = ToHandle(handle_);
  return KeepingPosition(handle, [&] { return MoveTo(handle, size) && ::SetEndOfFile(handle) != 0; });
}

// Windows takes its read-ahead hint when a file is opened (FILE_FLAG_SEQUENTIAL_SCAN), not later:
// the cache manager already reads ahead of sequential reads, so there is nothing to add here.
void File::AdviseSequentialReading() const {}

bool File::Flush() { return IsOpen() && ::FlushFileBuffers(ToHandle(handle_)) != 0; }

bool File::GetInformation(FileInformation* out) const {
  BY_HANDLE_FILE_INFORMATION info{};
  if (!IsOpen() || out == nullptr || ::GetFileInformationByHandle(ToHandle(handle_), &info) == 0) return false;
  *out = FileInformation{};
  out->attributes = info.dwFileAttributes;
  out->creationLow = info.ftCreationTime.dwLowDateTime;
  out->creationHigh = info.ftCreationTime.dwHighDateTime;
  out->lastAccessLow = info.ftLastAccessTime.dwLowDateTime;
  out->lastAccessHigh = info.ftLastAccessTime.dwHighDateTime;
  out->lastWriteLow = info.ftLastWriteTime.dwLowDateTime;
  out->lastWriteHigh = info.ftLastWriteTime.dwHighDateTime;
  out->volumeSerial = info.dwVolumeSerialNumber;
  out->sizeHigh = info.nFileSizeHigh;
  out->sizeLow = info.nFileSizeLow;
  out->numLinks = info.nNumberOfLinks;
  out->indexHigh = info.nFileIndexHigh;
  out->indexLow = info.nFileIndexLow;
  return true;
}

// ---- Files by name ------------------------------------------------------------------------

bool DeleteFile(const char* path) { return path != nullptr && ::DeleteFileA(path) != 0; }

const char* LastPathSeparator(const char* path) {
  if (path == nullptr) return nullptr;
  const char* last = nullptr;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '\\' || *p == '/' || (*p == ':' && p == path + 1)) last = p;
  }
  return last;
}

std::string TempDirectory() {
  char path[MAX_PATH + 1] = {};
  const DWORD length = ::GetTempPathA(sizeof path, path);
  std::string directory = length > 0 && length < sizeof path ? std::string(path, length) : std::string(".");
  if (LastPathSeparator(directory.c_str()) != directory.c_str() + directory.size() - 1) directory += kPathSeparator;
  return directory;
}

std::string MakePrivateTempDir() {
  const std::string name = RandomName();
  if (name.empty()) return "";
  const std::string path = TempDirectory() + "travune-" + name;
  return CreateOwnerOnlyDirectory(path) ? path + kPathSeparator : "";
}

bool RemoveDir(const char* path) { return path != nullptr && ::RemoveDirectoryA(path) != 0; }

bool FreeDiskBytes(const char* path, uint64_t* freeBytes) {
  if (path == nullptr || freeBytes == nullptr) return false;
  const std::string directory = VolumeDirectory(path);
  if (const ExtendedFreeSpaceQuery::Query query = freeSpaceQuery.Get()) {
    ULARGE_INTEGER available{}, total{}, totalFree{};
    if (query(directory.c_str(), &available, &total, &totalFree) == 0) return false;
    *freeBytes = available.QuadPart;
    return true;
  }
  return FreeBytesByClusters(directory, freeBytes);
}

// ---- Locale, messages ---------------------------------------------------------------------

// The user's decimal mark and the system locale's list separator, read once.
const NumberConventions& UserNumberConventions() {
  static const NumberConventions conventions = [] {
    const std::string decimal = LocaleText(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, ".");
    return NumberConventions{decimal.size() == 1 ? decimal[0] : '.',
                             LocaleText(LOCALE_SYSTEM_DEFAULT, LOCALE_SLIST, ",")};
  }();
  return conventions;
}

ScopedUserLocale::ScopedUserLocale() : previous_(nullptr) {}
ScopedUserLocale::~ScopedUserLocale() = default;

ScopedCLocale::ScopedCLocale() : previous_(nullptr) {}
ScopedCLocale::~ScopedCLocale() = default;

void* CurrentThreadLocale() { return nullptr; }
ScopedThreadLocale::ScopedThreadLocale(void*) : previous_(nullptr) {}
ScopedThreadLocale::~ScopedThreadLocale() = default;

void ShowMessage(const char* caption, const char* text) {
  ::MessageBoxA(nullptr, text != nullptr ? text : "", caption != nullptr ? caption : "Error", MB_OK);
}

// ---- Modules ------------------------------------------------------------------------------

// A bare module name is looked for beside this library first (the system's own search starts
// at the program's directory instead), then the way LoadLibraryA searches.
void* LoadModule(const char* name) {
  if (name == nullptr) return nullptr;
  if (LastPathSeparator(name) != nullptr) return ::LoadLibraryA(name);
  const std::string directory = OwnDirectory();
  HMODULE module = directory.empty() ? nullptr : ::LoadLibraryA((directory + name + ".dll").c_str());
  if (module == nullptr) module = ::LoadLibraryA(name);
  return module;
}

void* FindSymbol(void* module, const char* name) {
  if (module == nullptr || name == nullptr) return nullptr;
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(module), name));
}

void FreeModule(void* module) {
  if (module != nullptr) ::FreeLibrary(static_cast<HMODULE>(module));
}

// ---- Memory -------------------------------------------------------------------------------

// Walks the regions that cover the range: each must be committed and writable.
bool IsWritableMemory(void* address, size_t size) {
  if (address == nullptr) return false;
  const auto start = reinterpret_cast<uintptr_t>(address);
  if (size > UINTPTR_MAX - start) return false;
  const uintptr_t end = start + size;
  for (uintptr_t at = start; at < end;) {
    MEMORY_BASIC_INFORMATION region{};
    if (::VirtualQuery(reinterpret_cast<void*>(at), &region, sizeof region) == 0) return false;
    if (region.State != MEM_COMMIT || !IsWritableProtection(region.Protect)) return false;
    at = reinterpret_cast<uintptr_t>(region.BaseAddress) + region.RegionSize;
  }
  return true;
}

// ---- Clock --------------------------------------------------------------------------------

LocalTime CurrentLocalTime() { return currentClock != nullptr ? currentClock() : SystemLocalTime(); }

void SetClock(Clock clock) { currentClock = clock; }

}  // namespace travune::platform
