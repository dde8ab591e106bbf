// An open acquisition: the description read once, the data file (and, for a read session, the
// description file too) held open for reading and the source built from them. The conversion
// session, the type guesser and every read session use it to open an acquisition and to read
// its raw blocks.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/Platform.h"
#include "source/SourceFactory.h"
#include "source/SrcFmt.h"

namespace travune {

class Acquisition {
 public:
  enum class Status {
    kOk,
    kNoMemory,       // the description image could not be allocated
    kDescOpen,       // the description file could not be opened
    kDataOpen,       // the data file could not be opened
    kDescRead,       // the description could not be read completely
    kDataTooLarge,   // the data file is at least the caller's size limit
    kUnknownType,    // no source type has this id, or the source could not be allocated
    kInvalid,        // the source did not accept the description
  };

  Acquisition() = default;
  Acquisition(const Acquisition&) = delete;
  Acquisition& operator=(const Acquisition&) = delete;

  // Opens both files, reads the description whole and builds the source for typeId; then sizes,
  // names and loads the time stamps of the source. The description file is closed again; the
  // data file stays open. On kDataTooLarge the source is not built and the data file is closed.
  Status Open(const char* descName, const char* dataName, int32_t typeId, SourceContext context,
              uint64_t maxDataSize = UINT64_MAX);
  // The same from a description image the caller has read from descFile: opens the data file,
  // builds, sizes and names the source and loads its time stamps. The acquisition keeps
  // descFile open beside the data file until Close, so neither can be opened again meanwhile.
  Status OpenHeld(platform::File descFile, const uint8_t* image, size_t size, const char* descName,
                  const char* dataName, int32_t typeId, SourceContext context);
  // Builds the source from a description image already in memory, with a data file of the given
  // size that is never read (guessing and validity checks).
  Status OpenImage(const uint8_t* image, size_t size, int32_t typeId, SourceContext context);
  void Close();

  SrcFmt* Source() const { return source_.get(); }
  // Hands the conversion options to the source; when every scan now reads its own time stamp,
  // the stamps are loaded again so that the trigger scan's time is its own.
  void SetOptions(uint32_t options);
  platform::File& DataFile() { return data_; }
  int64_t DataFileSize() const { return dataFileSize_; }

  // Reads the block of at most bufBytes raw bytes that starts at firstScan into buffer and hands
  // it to the source. *scans (in: wanted) becomes the scans read. False when the read fails.
  bool ReadBlock(int64_t firstScan, int64_t* scans, uint8_t* buffer, int64_t bufBytes);

 private:
  Status BuildSource(const uint8_t* image, size_t size, int32_t typeId, SourceContext context);
  // Sizes and names the new source and loads its time stamps from the data file. A file whose
  // information cannot be read counts as unreadable: its dates would be missing from outputs.
  // A name that cannot be copied is a lack of memory.
  Status PrepareSource(const char* descName, const char* dataName, const platform::File& desc);

  std::unique_ptr<SrcFmt> source_;
  platform::File desc_;  // held only by OpenHeld
  platform::File data_;
  int64_t dataFileSize_ = 0;
};

// Reads the whole description file into a new buffer (one byte longer than the file): kOk,
// kNoMemory when the buffer cannot be allocated, kDescRead when the read fails or comes short.
Acquisition::Status ReadWholeFile(const platform::File& file, std::unique_ptr<uint8_t[]>* image, size_t* size);

// Where the raw bytes of a block of scans lie in the data file.
struct RawBlockLayout {
  int64_t first = 0;
  int64_t scans = 0;
  int64_t fileOffset = 0;
  int64_t bytes = 0;
};

// Asks source (const calls only) where the block of at most count scans from first lies, in at
// most bufBytes bytes; false when the source gives no valid layout.
bool LayOutRawBlock(const SrcFmt& source, int64_t bufBytes, int64_t first, int64_t count, RawBlockLayout* block);

// Reads the raw bytes of a laid-out block from data into buffer. Touches no source, so that it
// may run on another thread.
bool ReadRawBytes(const platform::File& data, const RawBlockLayout& block, uint8_t* buffer);

// Lays out, reads and hands to source the block of at most bufBytes raw bytes that starts at
// firstScan; *scans becomes the scans read. The block read of the library's read paths.
bool ReadRawBlock(SrcFmt& source, const platform::File& data, int64_t firstScan, int64_t* scans, uint8_t* buffer,
                  int64_t bufBytes);

}  // namespace travune
