// Dataset 58 of one channel with text data, gathered in the channel's temporary file: the
// header before the first block, the channel's values of every block, the end mark, and at
// last the copy into the output file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "writer/uff/UffRecord.h"

namespace travune {

// One block of scaled values as every channel record reads it.
struct UffBlock {
  const double* values = nullptr;   // scans × chans values, scan after scan
  int32_t chans = 0;                // values per scan
  int64_t scans = 0;
  const double* seconds = nullptr;  // each scan's time from the trigger in seconds; null with even spacing
};

class UffChannelRecord : public UffRecord {
 public:
  UffChannelRecord(SrcFmt* source, char decimalMark) : UffRecord(source, decimalMark) {}

  // Takes the channel and its temporary file, which already holds the channel's qualifiers,
  // and appends the dataset header. False when the file could not be opened or written.
  virtual bool BeginChannel(int32_t chan, const std::string& path);
  // A block's values go in three steps, so that a writer can encode the channels of a group
  // scan range by scan range while the range's values are in the cache. BeginBlock makes room
  // for the block's bytes (false without memory, or without times when the spacing is uneven);
  // EncodeScans encodes the channel's values of scans [from, to) (with their times without even
  // spacing) after those encoded before; EndBlock writes what the block encoded.
  virtual bool BeginBlock(const UffBlock& block);
  virtual void EncodeScans(const UffBlock& block, int64_t from, int64_t to);
  virtual bool EndBlock();
  // Ends an unfinished line, writes the end mark and corrects the declared number of values
  // when a scan range converted fewer scans than the acquisition holds.
  virtual bool FinishChannel();
  // Appends the temporary file to output in chunks of 1 MiB.
  bool CopyInto(platform::File& output);

 protected:
  // Records the channel and its file, and whether the acquisition has no pre-trigger scans.
  void Start(int32_t chan, const std::string& path);
  // Appends the five ID lines and records 6 to 11 to what is waiting. Remembers where record 7
  // declares the number of values, counted from the start of the waiting bytes.
  void QueueDatasetHeader();
  // Makes room for n bytes of one block's encoding and starts it empty; false without memory.
  bool ReserveBlockBytes(size_t n);
  // Where the block's encoding goes on.
  char* EncodedEnd() { return blockBytes_.data() + encodedBytes_; }
  // Takes the encoding up to end as done.
  void EncodedUpTo(const char* end) { encodedBytes_ = static_cast<size_t>(end - blockBytes_.data()); }
  const char* Encoded() const { return blockBytes_.data(); }
  size_t EncodedBytes() const { return encodedBytes_; }
  // Appends bytes at the end of the temporary file.
  bool AppendToTempFile(const void* data, size_t n);
  // Overwrites record 7's declared count in the temporary file with the number of values written.
  bool CorrectDeclaredCounts(platform::File& file);
  // Overwrites record 7's count field at offset of file with the number of values written.
  bool RewriteValueCount(platform::File& file, int64_t offset) const;
  // Overwrites a right-aligned count field of width characters at offset.
  static bool RewriteCount(platform::File& file, int64_t offset, int width, int64_t count);
  // The end mark that closes every dataset.
  static constexpr std::string_view kEndMark = "    -1\r\n";

  int32_t chan_ = 0;
  bool evenSpacing_ = true;
  int64_t declaredValues_ = 0;
  int64_t valuesWritten_ = 0;
  int64_t valueCountInLines_ = -1;  // record 7's value count field within the queued header bytes
  std::string path_;

 private:
  int64_t valueCountOffset_ = -1;  // record 7's value count field in the temporary file
  int32_t valuesOnLine_ = 0;       // values (or pairs) on the unfinished line; carries across blocks
  std::vector<char> blockBytes_;   // one block's text or floats, reused from block to block
  size_t encodedBytes_ = 0;        // of blockBytes_, encoded so far
};

}  // namespace travune
