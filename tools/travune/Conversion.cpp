// The conversion sequence: read the description, open the conversion, optionally narrow the
// scan range, convert block by block, close, release.
#include "Conversion.h"

#include <csignal>
#include <vector>

#include "Messages.h"
#include "OutputGuard.h"
#include "Paths.h"
#include "Progress.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnInterrupt(int) { interrupted = 1; }

// Ctrl-C during a conversion ends it cleanly, so that the outputs are restored.
class InterruptScope {
 public:
  InterruptScope() : previous_(std::signal(SIGINT, OnInterrupt)) { interrupted = 0; }
  ~InterruptScope() { std::signal(SIGINT, previous_); }

 private:
  void (*previous_)(int);
};

// The name the library will use for name under its rules for formatId.
std::string LibraryFileName(int32_t formatId, const std::string& name) {
  std::vector<char> buffer(name.begin(), name.end());
  buffer.push_back('\0');
  cvtGetFmtFileName(formatId, buffer.data());
  return buffer.data();
}

ConversionFiles FilesOf(const ConversionJob& job) { return {job.description, job.data, job.output, job.header}; }

// Runs the block loop; false with error on a negative status or an interruption.
bool ConvertBlocks(const ConversionJob& job, int64_t totalScans, std::string* error) {
  Progress progress(job.label);
  // Every call converts at least one scan, so more calls than scans means no progress.
  for (int64_t calls = 0; calls <= totalScans + 1; ++calls) {
    if (interrupted) {
      *error = job.output + ": interrupted";
      return false;
    }
    const int32_t percent = cvtConvertBinData(job.format.id);
    if (percent < 0) {
      *error = StatusMessage("cvtConvertBinData", percent, FilesOf(job));
      return false;
    }
    progress.Update(percent);
    if (percent >= 100) return true;
  }
  *error = job.output + ": the conversion made no progress";
  return false;
}

bool ConvertOpenSource(const ConversionJob& job, ConversionCounts* counts, std::string* error) {
  counts->scans = cvtGetNumScans();
  counts->channels = cvtGetNumChansUser();
  // Formats without a header file never open one; the data-file name stands in for it.
  const std::string header = job.header.empty() ? job.output : job.header;
  const int32_t status = cvtInitDataFileEx(header.c_str(), job.output.c_str(), job.format.id, job.flags);
  if (status < 0) {
    *error = StatusMessage("cvtInitDataFileEx", status, FilesOf(job));
    cvtCloseDataFile(job.format.id);
    return false;
  }
  if (job.ranged) cvtSetBinDataBlock(job.firstScan, job.scanCount, 0);
  const int64_t total = job.ranged ? job.scanCount : counts->scans;
  const bool converted = ConvertBlocks(job, total, error);
  const int32_t closed = cvtCloseDataFile(job.format.id);
  if (converted && closed < 0) *error = StatusMessage("cvtCloseDataFile", closed, FilesOf(job));
  return converted && closed >= 0;
}

}  // namespace

void PlanOutputs(const std::optional<std::string>& explicitOutput, ConversionJob* job) {
  const std::string data =
      explicitOutput ? *explicitOutput : ReplaceExtension(job->description, "." + job->format.ext1);
  job->output = LibraryFileName(job->format.id, data);
  job->header.clear();
  if (!job->format.ext2.empty()) {
    job->header = LibraryFileName(job->format.id, ReplaceExtension(data, "." + job->format.ext2));
  }
}

bool CheckOutputsSafe(const ConversionJob& job, std::string* error) {
  std::vector<std::string> outputs{job.output};
  if (!job.header.empty()) outputs.push_back(job.header);
  for (const std::string& output : outputs) {
    for (const std::string& input : {job.description, job.data}) {
      if (SameFile(output, input)) {
        *error = "refusing to overwrite the input file " + input + " with the output " + output;
        return false;
      }
    }
  }
  if (!job.header.empty() && SameFile(job.output, job.header)) {
    *error = "the header and the data output would both be " + job.output + "; choose another output name";
    return false;
  }
  return true;
}

bool RunConversion(const ConversionJob& job, ConversionCounts* counts, std::string* error) {
  OutputGuard guard;
  std::vector<std::string> outputs{job.output};
  if (!job.header.empty()) outputs.push_back(job.header);
  if (!guard.Protect(outputs, error)) return false;

  InterruptScope interruptScope;
  const int32_t size = cvtReadBinDescFile(job.description.c_str(), job.data.c_str(), job.sourceType);
  bool ok = size >= 0;
  if (!ok) {
    *error = StatusMessage("cvtReadBinDescFile", size, FilesOf(job));
  } else {
    ok = ConvertOpenSource(job, counts, error);
  }
  cvtReleaseResources();
  if (ok) {
    guard.Commit();
  } else {
    guard.Restore();
  }
  return ok;
}

}  // namespace travune::cli
