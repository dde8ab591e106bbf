// HDF5 writer. The session creates the (empty) data file; this writer closes it and lets HDF5
// create the file at the same name. Scans go in block by block as hyperslabs of datasets whose
// size is fixed from the start, so memory stays one block plus HDF5's chunk cache.
#include "writer/TgtFmtHdf5.h"

#include <hdf5.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "support/LittleEndian.h"
#include "travune/travune.h"
#include "support/Time.h"
#include "writer/Hdf5Quiet.h"

namespace travune {

namespace {

static_assert(sizeof(hid_t) == sizeof(int64_t), "HDF5 identifiers are held as int64_t");

// A chunk holds about this many values (256 KiB of float32): large enough for gzip to work
// well, small enough for HDF5's default chunk cache to hold the chunk a block ends in.
constexpr hsize_t kValuesPerChunk = 65536;
constexpr unsigned kGzipLevel = 4;

Hdf5Id Space(std::initializer_list<hsize_t> dims) {
  const std::vector<hsize_t> sizes(dims);
  return Hdf5Id(H5Screate_simple(static_cast<int>(sizes.size()), sizes.data(), nullptr), H5Sclose);
}

Hdf5Id ScalarSpace() { return Hdf5Id(H5Screate(H5S_SCALAR), H5Sclose); }

// A variable-length UTF-8 string type.
Hdf5Id TextType() {
  Hdf5Id type(H5Tcopy(H5T_C_S1), H5Tclose);
  if (!type.Valid() || H5Tset_size(type.Get(), H5T_VARIABLE) < 0 || H5Tset_cset(type.Get(), H5T_CSET_UTF8) < 0) {
    return Hdf5Id();
  }
  return type;
}

bool WriteAttribute(hid_t owner, const char* name, hid_t fileType, hid_t memoryType, const Hdf5Id& space,
                    const void* values) {
  if (!space.Valid()) return false;
  Hdf5Id attribute(H5Acreate2(owner, name, fileType, space.Get(), H5P_DEFAULT, H5P_DEFAULT), H5Aclose);
  return attribute.Valid() && H5Awrite(attribute.Get(), memoryType, values) >= 0;
}

bool WriteTextAttribute(hid_t owner, const char* name, const std::string& text) {
  const Hdf5Id type = TextType();
  const char* value = text.c_str();
  return type.Valid() && WriteAttribute(owner, name, type.Get(), type.Get(), ScalarSpace(), &value);
}

bool WriteTextsAttribute(hid_t owner, const char* name, const std::vector<const char*>& texts) {
  const Hdf5Id type = TextType();
  return type.Valid() && WriteAttribute(owner, name, type.Get(), type.Get(), Space({texts.size()}), texts.data());
}

bool WriteDoubleAttribute(hid_t owner, const char* name, double value) {
  return WriteAttribute(owner, name, H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, ScalarSpace(), &value);
}

bool WriteInt64Attribute(hid_t owner, const char* name, int64_t value) {
  return WriteAttribute(owner, name, H5T_STD_I64LE, H5T_NATIVE_INT64, ScalarSpace(), &value);
}

// Chunked layout of rows x columns with chunks of whole rows, gzip (after byte shuffling) when
// compress is set.
Hdf5Id ChunkedLayout(hsize_t rows, hsize_t columns, bool compress, int rank) {
  Hdf5Id list(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
  const hsize_t chunkRows = std::clamp<hsize_t>(kValuesPerChunk / std::max<hsize_t>(columns, 1), 1,
                                                std::max<hsize_t>(rows, 1));
  const hsize_t chunk[2] = {chunkRows, columns};
  if (!list.Valid() || H5Pset_chunk(list.Get(), rank, chunk) < 0) return Hdf5Id();
  if (compress && (H5Pset_shuffle(list.Get()) < 0 || H5Pset_deflate(list.Get(), kGzipLevel) < 0)) return Hdf5Id();
  return list;
}

// Writes rows x columns values held in memory (in memoryType) to rows [firstRow, firstRow + rows).
bool WriteRows(const Hdf5Id& dataset, hsize_t firstRow, hsize_t rows, hsize_t columns, int rank, hid_t memoryType,
               const void* values) {
  Hdf5Id fileSpace(H5Dget_space(dataset.Get()), H5Sclose);
  const hsize_t start[2] = {firstRow, 0};
  const hsize_t count[2] = {rows, columns};
  if (!fileSpace.Valid() || H5Sselect_hyperslab(fileSpace.Get(), H5S_SELECT_SET, start, nullptr, count, nullptr) < 0) {
    return false;
  }
  const Hdf5Id memorySpace(H5Screate_simple(rank, count, nullptr), H5Sclose);
  return memorySpace.Valid() &&
         H5Dwrite(dataset.Get(), memoryType, memorySpace.Get(), fileSpace.Get(), H5P_DEFAULT, values) >= 0;
}

// ISO 8601 text of a date in days since 30 December 1899, to the microsecond.
std::string IsoDate(double days) {
  const int64_t micros = std::llround(DaysToSeconds(days) * 1e6);
  const int64_t wholeSeconds = micros / 1000000 - (micros % 1000000 < 0 ? 1 : 0);
  const int64_t fraction = micros - wholeSeconds * 1000000;
  CalendarTime t;
  DaysToCalendar(static_cast<double>(wholeSeconds) / kSecondsPerDay, &t);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%06lld", t.year + 1900, t.month + 1, t.dayOfMonth,
                t.hour, t.minute, t.second, static_cast<long long>(fraction));
  return text;
}

const char* TimeUnits(const TimeFormat& format) {
  if (!format.timed) return "scans from the trigger scan";
  return format.absolute ? "days since 1899-12-30 00:00:00" : "seconds from the trigger scan";
}

}  // namespace

TgtFmtHdf5::TgtFmtHdf5(SrcFmt* source, const WriterContext& context)
    : TgtFmt(source),
      timeWanted_((context.flags & TRAVUNE_FLAG_SCAN_TIMES) != 0),
      compress_((context.flags & TRAVUNE_FLAG_COMPRESS) != 0) {
  // Each block's values (and times) are laid out little-endian in the output area and handed
  // to HDF5 from there; no bytes go to the data file through the session.
  outputBytesPerScan_ = 4 * static_cast<int64_t>(source->GetNumChans()) + (timeWanted_ ? 8 : 0);
  ok_ = source->GetNumChans() > 0;
}

TgtFmtHdf5::~TgtFmtHdf5() { CloseAll(); }

void TgtFmtHdf5::CloseAll() {
  const Hdf5Quiet quiet;
  time_.Close();
  data_.Close();
  file_.Close();
}

bool TgtFmtHdf5::PreConvert(const char* dataName, platform::File* dataFile, platform::File*, int64_t totalScans) {
  dataFile->Close();
  tookDataFile_ = true;
  const Hdf5Quiet quiet;
  file_ = Hdf5Id(H5Fcreate(dataName, H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT), H5Fclose);
  if (!file_.Valid() || !CreateDatasets(totalScans) || !WriteFileAttributes() || !WriteChannelAttributes()) {
    CloseAll();
    return false;
  }
  return true;
}

bool TgtFmtHdf5::CreateDatasets(int64_t totalScans) {
  const hsize_t rows = static_cast<hsize_t>(totalScans);
  const hsize_t columns = static_cast<hsize_t>(NumChans());
  const Hdf5Id dataLayout = ChunkedLayout(rows, columns, compress_, 2);
  const Hdf5Id dataSpace = Space({rows, columns});
  if (!dataLayout.Valid() || !dataSpace.Valid()) return false;
  data_ = Hdf5Id(H5Dcreate2(file_.Get(), "data", H5T_IEEE_F32LE, dataSpace.Get(), H5P_DEFAULT, dataLayout.Get(),
                            H5P_DEFAULT),
                 H5Dclose);
  if (!data_.Valid()) return false;
  if (!timeWanted_) return true;
  const Hdf5Id timeLayout = ChunkedLayout(rows, 1, compress_, 1);
  const Hdf5Id timeSpace = Space({rows});
  if (!timeLayout.Valid() || !timeSpace.Valid()) return false;
  time_ = Hdf5Id(H5Dcreate2(file_.Get(), "time", H5T_IEEE_F64LE, timeSpace.Get(), H5P_DEFAULT, timeLayout.Get(),
                            H5P_DEFAULT),
                 H5Dclose);
  return time_.Valid() && WriteTextAttribute(time_.Get(), "units", TimeUnits(source_->NativeTimeFormat()));
}

bool TgtFmtHdf5::WriteFileAttributes() {
  const hid_t root = file_.Get();
  char descName[1024] = {};
  source_->GetDescFileName(descName, sizeof descName);
  const std::string path = descName;
  const std::string baseName = path.substr(path.find_last_of("/\\") + 1);
  bool ok = WriteTextAttribute(root, "source_type", source_->GetAppTitle()) &&
            WriteTextAttribute(root, "description_version", source_->GetDescVersion()) &&
            WriteTextAttribute(root, "description_file", baseName) &&
            WriteDoubleAttribute(root, "pre_trigger_rate", source_->GetPreTrigRate()) &&
            WriteDoubleAttribute(root, "post_trigger_rate", source_->GetPostTrigRate()) &&
            WriteInt64Attribute(root, "pre_trigger_scans", source_->GetPreTrigCount());
  double days = 0.0;
  if (ok && source_->NativeTimeFormat().absolute && source_->GetScanTime(source_->GetPreTrigCount(), &days)) {
    ok = WriteTextAttribute(root, "trigger_time", IsoDate(days));
  }
  return ok;
}

bool TgtFmtHdf5::WriteChannelAttributes() {
  const int32_t chans = NumChans();
  std::vector<const char*> labels;
  std::vector<const char*> units;
  std::vector<double> ranges;
  std::vector<int32_t> precisions;
  for (int32_t c = 0; c < chans; ++c) {
    double lower = 0.0;
    double upper = 0.0;
    source_->GetChanRange(c, &lower, &upper);
    labels.push_back(source_->GetChanLabel(c));
    units.push_back(source_->GetChanUnits(c));
    ranges.insert(ranges.end(), {lower, upper});
    precisions.push_back(source_->GetChanPrecision(c));
  }
  const hid_t data = data_.Get();
  const hsize_t n = static_cast<hsize_t>(chans);
  return WriteTextsAttribute(data, "label", labels) && WriteTextsAttribute(data, "units", units) &&
         WriteAttribute(data, "range", H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, Space({n, 2}), ranges.data()) &&
         WriteAttribute(data, "precision", H5T_STD_I32LE, H5T_NATIVE_INT32, Space({n}), precisions.data());
}

int64_t TgtFmtHdf5::ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) {
  if (!data_.Valid()) return -1;
  if (scans <= 0) return 0;
  // Rounded once to float32, exactly as the raw-float writer does.
  const uint8_t* bytes = AppendFloat32Block(firstScan, scans, out);
  if (bytes == nullptr) return -1;
  const Hdf5Quiet quiet;
  if (!WriteRows(data_, static_cast<hsize_t>(firstScan), static_cast<hsize_t>(scans),
                 static_cast<hsize_t>(NumChans()), 2, H5T_IEEE_F32LE, bytes)) {
    return -1;
  }
  if (timeWanted_ && !WriteTimes(scans, out, firstScan)) return -1;
  return 0;
}

// Times as tvnAcqGetScanTimes gives them: seconds from the trigger for relative sources, days
// since 30 December 1899 for absolute ones, scan counts from the trigger for untimed ones.
bool TgtFmtHdf5::WriteTimes(int64_t scans, OutputArea& out, int64_t firstScan) {
  uint8_t* bytes = out.Extend(8 * static_cast<size_t>(scans));
  if (bytes == nullptr) return false;
  const TimeFormat& native = source_->NativeTimeFormat();
  const bool inSeconds = native.timed && !native.absolute;
  for (int64_t s = 0; s < scans; ++s) {
    double t = 0.0;
    if (!source_->GetScanTime(firstScan + s, &t)) return false;
    le::PutF64(bytes + 8 * s, inSeconds ? DaysToSeconds(t) : t);
  }
  return WriteRows(time_, static_cast<hsize_t>(firstScan), static_cast<hsize_t>(scans), 1, 1, H5T_IEEE_F64LE, bytes);
}

bool TgtFmtHdf5::PostConvert() {
  if (!file_.Valid()) return false;
  const Hdf5Quiet quiet;
  const bool timeClosed = time_.Close();
  const bool dataClosed = data_.Close();
  return file_.Close() && timeClosed && dataClosed;
}

}  // namespace travune
