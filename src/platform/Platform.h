// The platform layer: every operating-system service the library uses (files with exclusive
// access, file information, free space, temp files, locale objects, message box, modules,
// memory checks, the clock).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace travune::platform {

// The 13-word file-information record: attributes, creation / last-access / last-write
// times (100-ns intervals since 1 January 1601, low word first), volume serial number, size
// high and low, number of links, file index high and low.
struct FileInformation {
  uint32_t attributes = 0;
  uint32_t creationLow = 0, creationHigh = 0;
  uint32_t lastAccessLow = 0, lastAccessHigh = 0;
  uint32_t lastWriteLow = 0, lastWriteHigh = 0;
  uint32_t volumeSerial = 0;
  uint32_t sizeHigh = 0, sizeLow = 0;
  uint32_t numLinks = 0;
  uint32_t indexHigh = 0, indexLow = 0;
};

// An open file held exclusively by this process: a second open of the same file, from this
// process or another, fails while this one is open. Move-only; closes on destruction.
class File {
 public:
  // The system's handle of the open file: a file descriptor on POSIX systems, a HANDLE on
  // Windows. -1 (also the value of Windows' INVALID_HANDLE_VALUE) means none.
  using NativeHandle = intptr_t;
  static constexpr NativeHandle kNoHandle = -1;

  File() = default;
  ~File();
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // Opens an existing file for reading. Fails when it is missing, unreadable or held.
  static File OpenRead(const char* path);
  // Opens an existing file for reading and writing (same exclusivity).
  static File OpenReadWrite(const char* path);
  // Creates or replaces a file for writing. The file is opened without truncation, locked and
  // only then truncated, so a refused open never destroys an existing file.
  static File Create(const char* path);
  // Creates a new file, readable and writable by the owner only. Fails when anything, a
  // symbolic link included, already exists at path, so a file planted there in advance is
  // never opened.
  static File CreateExclusive(const char* path);

  bool IsOpen() const { return handle_ != kNoHandle; }
  void Close();

  // Tells the system the file will be read from start to end, so it reads further ahead. Only
  // a hint: nothing fails when the system ignores it.
  void AdviseSequentialReading() const;
  // Reads exactly n bytes at offset; false on error or a short read.
  bool ReadAt(uint64_t offset, void* buffer, size_t n) const;
  // Writes all n bytes at offset; false on any error (disk full included).
  bool WriteAt(uint64_t offset, const void* buffer, size_t n);
  // Sequential write at the current position (advances it); false unless all bytes were written.
  bool Write(const void* buffer, size_t n);
  // Sequential read at the current position; returns bytes read, -1 on error.
  int64_t Read(void* buffer, size_t n);
  // Moves the current position to offset from the start; false on error.
  bool Seek(uint64_t offset);
  // Current position, -1 on error.
  int64_t Tell() const;
  // Size in bytes, -1 on error.
  int64_t Size() const;
  // Truncates or extends the file to size bytes.
  bool Resize(uint64_t size);
  // Forces written data to the device.
  bool Flush();
  bool GetInformation(FileInformation* out) const;

 private:
  explicit File(NativeHandle handle) : handle_(handle) {}
  NativeHandle handle_ = kNoHandle;
};

// Deletes a file; false when it could not be deleted.
bool DeleteFile(const char* path);

// The directory for temporary files, always ending in the path separator.
std::string TempDirectory();
// Creates a new directory under TempDirectory() that only this user can enter, with a name no
// one could predict, and returns its path ending in the separator; "" on failure.
std::string MakePrivateTempDir();
// Removes an empty directory; false when it could not be removed.
bool RemoveDir(const char* path);
// The path separator this platform writes.
#ifdef _WIN32
constexpr char kPathSeparator = '\\';
#else
constexpr char kPathSeparator = '/';
#endif
// The last character of path that separates directories (on Windows '\\', '/' or the colon
// of a drive), or null when it has none.
const char* LastPathSeparator(const char* path);

// Free bytes available to the caller on the volume that holds path (its directory when the
// file does not exist yet). False when the query fails.
bool FreeDiskBytes(const char* path, uint64_t* freeBytes);

// How the user's locale writes numbers. The locale is read once, the first time it is asked
// for (the library does so when it is loaded); the process's global locale is never changed.
struct NumberConventions {
  char decimalMark;           // the locale's radix character, '.' when it has no one-byte one
  // On Windows the system locale's list separator; elsewhere ";" when the decimal mark is ",",
  // else ","
  std::string listSeparator;
};
const NumberConventions& UserNumberConventions();

// Makes the user's locale the calling thread's locale while the object lives, then restores
// the thread's previous locale. Text the library formats with printf inside gets the user's
// decimal mark; the host process's own locale is left alone. The Windows C runtime the library
// is built against has no per-thread locale, so there both classes leave the locale as it is
// (the library writes its numbers with explicit decimal marks, not through the locale).
class ScopedUserLocale {
 public:
  ScopedUserLocale();
  ~ScopedUserLocale();
  ScopedUserLocale(const ScopedUserLocale&) = delete;
  ScopedUserLocale& operator=(const ScopedUserLocale&) = delete;

 private:
  void* previous_;  // the thread's locale object before the switch
};

// The calling thread's locale object, and the switch of another thread to it while the object
// lives: work handed to helper threads formats numbers exactly as the calling thread would.
// (Null and no switch on Windows, where locales are not per thread.)
void* CurrentThreadLocale();
class ScopedThreadLocale {
 public:
  explicit ScopedThreadLocale(void* locale);
  ~ScopedThreadLocale();
  ScopedThreadLocale(const ScopedThreadLocale&) = delete;
  ScopedThreadLocale& operator=(const ScopedThreadLocale&) = delete;

 private:
  void* previous_;
};

// The same for the "C" locale: numbers parsed or printed inside read and write '.' whatever
// locale the user or the host process has chosen.
class ScopedCLocale {
 public:
  ScopedCLocale();
  ~ScopedCLocale();
  ScopedCLocale(const ScopedCLocale&) = delete;
  ScopedCLocale& operator=(const ScopedCLocale&) = delete;

 private:
  void* previous_;  // the thread's locale object before the switch
};

// Shows a message to the user: one line on standard error on POSIX systems, a message box with
// an OK button and no owner window on Windows.
void ShowMessage(const char* caption, const char* text);

// Dynamic modules.
void* LoadModule(const char* name);
void* FindSymbol(void* module, const char* name);
void FreeModule(void* module);

// True when size bytes from address are mapped and writable by this process. The memory is
// not changed. A null address or size 0 with a null address is not writable.
bool IsWritableMemory(void* address, size_t size);

// Current local time split into fields (year, month 1-12, day, hour, minute, second, ms).
struct LocalTime {
  int year, month, day, hour, minute, second, millisecond;
};
// The time CurrentLocalTime reports: the system clock unless a clock is set.
LocalTime CurrentLocalTime();
// Replaces the clock CurrentLocalTime reads, so that output stamped with the conversion time
// can be compared byte for byte; null restores the system clock.
using Clock = LocalTime (*)();
void SetClock(Clock clock);

}  // namespace travune::platform
