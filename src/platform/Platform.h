// The platform layer: every operating-system service the library uses (files with exclusive
// access, file information, free space, temp dir, locale, message box, modules, memory checks).
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

  bool IsOpen() const { return fd_ >= 0; }
  void Close();

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
  explicit File(int fd) : fd_(fd) {}
  int fd_ = -1;
};

// Deletes a file; false when it could not be deleted.
bool DeleteFile(const char* path);
// Renames a file, replacing the target; false on failure.
bool RenameFile(const char* from, const char* to);
// True when a file or directory exists at path.
bool PathExists(const char* path);

// The directory for temporary files, always ending in the path separator.
std::string TempDirectory();
// The path separator of this platform.
constexpr char kPathSeparator = '/';

// Free bytes available to the caller on the volume that holds path (its directory when the
// file does not exist yet). False when the query fails.
bool FreeDiskBytes(const char* path, uint64_t* freeBytes);

// Sets the runtime locale of all categories to the user's default.
void SetUserLocale();
// The user's list separator: ";" when the locale's decimal mark is ",", else ",".
std::string ListSeparator();

// Shows a message to the user: one line on standard error.
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
LocalTime CurrentLocalTime();

}  // namespace travune::platform
