// Opening an acquisition (files, description image, source) and reading its raw blocks.
#include "source/Acquisition.h"

#include <algorithm>
#include <new>

namespace travune {

Acquisition::Status ReadWholeFile(const platform::File& file, std::unique_ptr<uint8_t[]>* image, size_t* size) {
  const int64_t bytes = file.Size();
  if (bytes < 0) return Acquisition::Status::kDescRead;
  if (static_cast<uint64_t>(bytes) >= SIZE_MAX) return Acquisition::Status::kNoMemory;
  image->reset(new (std::nothrow) uint8_t[static_cast<size_t>(bytes) + 1]);
  if (!*image) return Acquisition::Status::kNoMemory;
  if (bytes > 0 && !file.ReadAt(0, image->get(), static_cast<size_t>(bytes))) return Acquisition::Status::kDescRead;
  *size = static_cast<size_t>(bytes);
  return Acquisition::Status::kOk;
}

bool LayOutRawBlock(const SrcFmt& source, int64_t bufBytes, int64_t first, int64_t count, RawBlockLayout* block) {
  block->first = first;
  block->scans = count;
  source.GetBlockLayout(bufBytes, &block->scans, &block->bytes, first, &block->fileOffset);
  return block->bytes >= 0 && block->fileOffset >= 0;
}

bool ReadRawBytes(const platform::File& data, const RawBlockLayout& block, uint8_t* buffer) {
  return block.bytes == 0 || data.ReadAt(static_cast<uint64_t>(block.fileOffset), buffer, static_cast<size_t>(block.bytes));
}

bool ReadRawBlock(SrcFmt& source, const platform::File& data, int64_t firstScan, int64_t* scans, uint8_t* buffer,
                  int64_t bufBytes) {
  RawBlockLayout block;
  if (!LayOutRawBlock(source, bufBytes, firstScan, *scans, &block) || !ReadRawBytes(data, block, buffer)) return false;
  *scans = block.scans;
  source.SetRawBlock(buffer, block.scans, firstScan);
  return true;
}

Acquisition::Status Acquisition::Open(const char* descName, const char* dataName, int32_t typeId,
                                      SourceContext context, uint64_t maxDataSize) {
  Close();
  platform::File desc = platform::File::OpenRead(descName);
  if (!desc.IsOpen()) return Status::kDescOpen;
  data_ = platform::File::OpenRead(dataName);
  if (!data_.IsOpen()) return Status::kDataOpen;
  data_.AdviseSequentialReading();
  std::unique_ptr<uint8_t[]> image;
  size_t imageSize = 0;
  Status status = ReadWholeFile(desc, &image, &imageSize);
  if (status == Status::kOk) {
    dataFileSize_ = data_.Size();
    if (dataFileSize_ < 0 || static_cast<uint64_t>(dataFileSize_) >= maxDataSize) status = Status::kDataTooLarge;
  }
  if (status == Status::kOk) {
    context.dataFileSize = dataFileSize_;
    status = BuildSource(image.get(), imageSize, typeId, context);
  }
  if (status == Status::kOk) status = PrepareSource(descName, dataName, desc);
  if (status != Status::kOk) {
    source_.reset();
    data_.Close();
    return status;
  }
  return Status::kOk;
}

Acquisition::Status Acquisition::OpenHeld(platform::File descFile, const uint8_t* image, size_t size,
                                          const char* descName, const char* dataName, int32_t typeId,
                                          SourceContext context) {
  Close();
  data_ = platform::File::OpenRead(dataName);
  if (!data_.IsOpen()) return Status::kDataOpen;
  data_.AdviseSequentialReading();
  dataFileSize_ = data_.Size();
  Status status = dataFileSize_ < 0 ? Status::kDataTooLarge : Status::kOk;
  if (status == Status::kOk) {
    context.dataFileSize = dataFileSize_;
    status = BuildSource(image, size, typeId, context);
  }
  if (status == Status::kOk) status = PrepareSource(descName, dataName, descFile);
  if (status != Status::kOk) {
    source_.reset();
    data_.Close();
    return status;
  }
  desc_ = std::move(descFile);
  return Status::kOk;
}

Acquisition::Status Acquisition::PrepareSource(const char* descName, const char* dataName,
                                               const platform::File& desc) {
  source_->SetDataFileSize(static_cast<double>(dataFileSize_));
  switch (source_->SetFileInfo(descName, dataName, &desc, &data_)) {
    case SrcFmt::FileInfoResult::kOk: break;
    case SrcFmt::FileInfoResult::kNoMemory: return Status::kNoMemory;
    case SrcFmt::FileInfoResult::kDescUnreadable: return Status::kDescRead;
    case SrcFmt::FileInfoResult::kDataUnreadable: return Status::kDataOpen;
  }
  source_->LoadTimeStamps(&data_);
  return Status::kOk;
}

Acquisition::Status Acquisition::OpenImage(const uint8_t* image, size_t size, int32_t typeId, SourceContext context) {
  Close();
  dataFileSize_ = context.dataFileSize;
  const Status status = BuildSource(image, size, typeId, context);
  if (status == Status::kOk) source_->SetDataFileSize(static_cast<double>(dataFileSize_));
  return status;
}

Acquisition::Status Acquisition::BuildSource(const uint8_t* image, size_t size, int32_t typeId,
                                             SourceContext context) {
  source_ = CreateSource(typeId, image, size, context);
  if (!source_) return Status::kUnknownType;
  if (source_->GetStatus() != 0) {
    source_.reset();
    return Status::kInvalid;
  }
  return Status::kOk;
}

void Acquisition::SetOptions(uint32_t options) {
  if (!source_) return;
  const uint32_t before = source_->NativeTimeFormat().reference;
  source_->SetOptions(options);
  if (source_->NativeTimeFormat().reference != before && data_.IsOpen()) source_->LoadTimeStamps(&data_);
}

void Acquisition::Close() {
  source_.reset();
  desc_.Close();
  data_.Close();
  dataFileSize_ = 0;
}

bool Acquisition::ReadBlock(int64_t firstScan, int64_t* scans, uint8_t* buffer, int64_t bufBytes) {
  if (!source_ || !data_.IsOpen()) return false;
  return ReadRawBlock(*source_, data_, firstScan, scans, buffer, bufBytes);
}

}  // namespace travune
