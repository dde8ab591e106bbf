// The conversion sequence on the handle functions: open the acquisition, check what the
// library accepted against the files, resolve the channels, protect the outputs, convert, and
// flush the new files before the old ones go.
#include "Conversion.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>

#include "ArgParser.h"
#include "Commands.h"
#include "HostSystem.h"
#include "Messages.h"
#include "OutputGuard.h"
#include "Paths.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

namespace fs = std::filesystem;

struct AcqCloser {
  void operator()(tvnAcq* acq) const { tvnAcqClose(acq); }
};
using AcqHandle = std::unique_ptr<tvnAcq, AcqCloser>;

struct ConvCloser {
  void operator()(tvnConv* conv) const { tvnConvClose(conv); }
};
using ConvHandle = std::unique_ptr<tvnConv, ConvCloser>;

// The name the library will use for name under its rules for formatId.
std::string LibraryFileName(int32_t formatId, const std::string& name) {
  std::vector<char> buffer(name.begin(), name.end());
  buffer.push_back('\0');
  cvtGetFmtFileName(formatId, buffer.data());
  return buffer.data();
}

std::string DirectoryOf(const std::string& path) {
  const fs::path parent = fs::path(path).parent_path();
  return parent.empty() ? "." : parent.string();
}

std::string ErrnoText(int error) { return std::strerror(error); }

// An existing file this user may not write, or one nobody may (which the superuser could).
bool IsReadOnly(const std::string& path) {
  struct stat s {};
  if (stat(path.c_str(), &s) != 0) return false;
  return access(path.c_str(), W_OK) != 0 || (s.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

// Why the data file could not be opened, with the next step.
std::string DataOpenFailure(const ConversionJob& job) {
  const std::string data = job.data.empty() ? DataFileFor(job.description, job.sourceType) : job.data;
  std::error_code ec;
  if (job.data.empty() && !fs::exists(data, ec)) {
    return job.description + ": no data file beside it (looked for " + fs::path(data).filename().string() +
           " in any letter case, such as " + ReplaceExtension(fs::path(data).filename().string(), "") +
           fs::path(data).extension().string() + " or with the extension in capitals); give it with --data FILE";
  }
  const OpenCheck check = CheckOpenForReading(data);
  if (check.error != 0) {
    return data + ": cannot open the data file: " + ErrnoText(check.error) +
           (job.data.empty() ? "" : "; check the name given with --data");
  }
  if (check.held) return data + ": the data file is held by another process (another conversion?); try again when it ends";
  return data + ": " + tvnStatusText(TVN_ERR_DATA_OPEN);
}

std::string OpenFailure(const ConversionJob& job, int32_t status) {
  switch (status) {
    case TVN_ERR_DESC_OPEN: {
      const OpenCheck check = CheckOpenForReading(job.description);
      return job.description + ": cannot open the description: " +
             (check.error != 0 ? ErrnoText(check.error) : "held by another process");
    }
    case TVN_ERR_DATA_OPEN:
      return DataOpenFailure(job);
    case TVN_ERR_UNKNOWN_TYPE:
    case TVN_ERR_DESC_INVALID:
      return job.description + ": " + tvnStatusText(status) + "; give the source type with --type, one of " +
             AcceptedSourceTypeNames();
    default:
      return job.description + ": " + tvnStatusText(status);
  }
}

// A channel by number, or by label in any letter case; -1 when none.
int32_t ChannelByName(tvnAcq* acq, int32_t channels, const std::string& text) {
  if (const std::optional<int64_t> number = ParseNumber(text, 0, channels - 1)) return static_cast<int32_t>(*number);
  for (int32_t c = 0; c < channels; ++c) {
    tvnChanInfo info{};
    if (tvnAcqGetChanInfo(acq, c, &info) == TVN_OK && strcasecmp(info.label, text.c_str()) == 0) return c;
  }
  return -1;
}

// The channels the samples name, in their order: "3", "0-5", "Pressure"; false with error.
bool ResolveChannels(tvnAcq* acq, int32_t channels, const std::vector<std::string>& samples, std::vector<int32_t>* out,
                     std::string* error) {
  for (const std::string& sample : samples) {
    const size_t dash = sample.find('-');
    const std::optional<int64_t> low = ParseNumber(sample.substr(0, dash), 0, channels - 1);
    const std::optional<int64_t> high =
        dash == std::string::npos ? std::nullopt : ParseNumber(sample.substr(dash + 1), 0, channels - 1);
    if (low && high && *low <= *high) {
      for (int64_t c = *low; c <= *high; ++c) out->push_back(static_cast<int32_t>(c));
      continue;
    }
    const int32_t chan = ChannelByName(acq, channels, sample);
    if (chan < 0) {
      *error = "no channel '" + sample + "' (the acquisition has channels 0-" + std::to_string(channels - 1) +
               "; 'travune info' lists their labels)";
      return false;
    }
    out->push_back(chan);
  }
  return true;
}

struct Findings {
  std::vector<std::string> warnings;
  bool contradictsType = false;  // the content is not what the source type writes: values would be wrong
};

// Where the library's reading of the acquisition disagrees with its files.
Findings CheckAcquisition(tvnAcq* acq, const tvnAcqInfo& info, const ConversionJob& job) {
  Findings found;
  int32_t valid = 1;
  if (tvnAcqChannelRecordsValid(acq, &valid) == TVN_OK && valid == 0) {
    found.warnings.push_back(job.description + ": the channel records are not ones " +
                             SourceTypeName(info.sourceType) +
                             " writes (a file of another type, or a description cut short)");
    found.contradictsType = true;
  }
  for (int32_t c = 0; c < info.channels; ++c) {
    tvnChanInfo chan{};
    // An empty or non-finite range cannot come from a recording application: the description
    // is damaged or of another type, and the values scaled with it would be wrong.
    const bool usable = tvnAcqGetChanInfo(acq, c, &chan) != TVN_OK ||
                        (std::isfinite(chan.lower) && std::isfinite(chan.upper) && chan.lower < chan.upper);
    if (!usable) {
      found.warnings.push_back(job.description + ": channel " + std::to_string(c) + " has no usable range (" +
                               std::to_string(chan.lower) + " to " + std::to_string(chan.upper) + ")");
      found.contradictsType = true;
    }
  }
  const std::string data = job.data.empty() ? "the data file" : job.data;
  if (info.dataBytes == 0) {
    found.warnings.push_back(job.description + ": " + data + " is empty");
  } else if (info.scanBytes > 0 && info.dataBytes % info.scanBytes != 0) {
    found.warnings.push_back(job.description + ": " + data + " holds " + std::to_string(info.dataBytes) +
                             " bytes, not a whole number of " + std::to_string(info.scanBytes) +
                             "-byte scans; the " + std::to_string(info.dataBytes % info.scanBytes) +
                             " bytes of the partial last scan are not converted");
  }
  if (info.scans < info.programmedScans) {
    found.warnings.push_back(job.description + ": " + data + " holds " + std::to_string(info.scans) + " of the " +
                             std::to_string(info.programmedScans) + " scans the description programs; " +
                             std::to_string(info.programmedScans - info.scans) + " are missing");
  }
  return found;
}

// False with error when the findings forbid converting: content the source type never writes
// without --force, or any warning with --strict. Prints the warnings otherwise.
bool AcceptFindings(const Findings& found, const ConversionJob& job, std::string* error) {
  if (found.warnings.empty()) return true;
  if (job.strict) {
    *error = found.warnings.front() + " (--strict)";
    for (size_t i = 1; i < found.warnings.size(); ++i) PrintError(found.warnings[i]);
    return false;
  }
  for (const std::string& warning : found.warnings) Warn(warning);
  if (found.contradictsType && !job.force) {
    *error = job.description + ": the content is not what " + SourceTypeName(job.sourceType) + " writes" +
             (job.typeGiven ? " (contradicts --type; leave --type out to let the type be guessed)" : "") +
             "; add --force to convert anyway";
    return false;
  }
  return true;
}

struct RunState {
  const ProgressHook* progress;
};

int32_t OnProgress(int64_t done, int64_t total, void* user) {
  const RunState& state = *static_cast<RunState*>(user);
  if (*state.progress && total > 0) (*state.progress)(static_cast<double>(done) / static_cast<double>(total));
  return 0;
}

std::string OutputFailure(const ConversionJob& job, int32_t status) {
  return job.output + ": " + tvnStatusText(status);
}

// Writes the outputs; the guard has moved earlier ones aside.
bool Convert(tvnAcq* acq, const ConversionJob& job, const std::vector<int32_t>& chans, int64_t count,
             const ProgressHook& progress, std::string* error) {
  tvnConvOptions options{};
  options.format = job.format.id;
  options.dataName = job.output.c_str();
  options.headerName = job.header.empty() ? nullptr : job.header.c_str();
  options.flags = job.flags;
  options.first = job.firstScan;
  options.count = count;
  options.chans = chans.empty() ? nullptr : chans.data();
  options.numChans = static_cast<int32_t>(chans.size());
  tvnConv* raw = nullptr;
  int32_t status = tvnConvOpen(acq, &options, &raw);
  const ConvHandle conv(raw);
  if (status == TVN_OK) {
    RunState state{&progress};
    status = tvnConvRun(conv.get(), OnProgress, &state);
  }
  if (status == TVN_OK) status = tvnConvFinish(conv.get());
  if (status != TVN_OK) *error = OutputFailure(job, status);
  return status == TVN_OK;
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
      if (!input.empty() && SameFile(output, input)) {
        *error = "refusing to overwrite the input file " + input + " with the output " + output;
        return false;
      }
    }
    const std::string dir = DirectoryOf(output);
    if (access(dir.c_str(), W_OK | X_OK) != 0) {
      *error = output + ": cannot create the output in " + dir + ": " + ErrnoText(errno);
      return false;
    }
    if (!job.force && IsReadOnly(output)) {
      *error = output + ": the existing output is read-only; add --force to replace it";
      return false;
    }
  }
  if (!job.header.empty() && SameFile(job.output, job.header)) {
    *error = "the header and the data output would both be " + job.output + "; choose another output name";
    return false;
  }
  return true;
}

bool RunConversion(const ConversionJob& job, const ProgressHook& progress, ConversionCounts* counts,
                   std::string* error) {
  tvnAcq* raw = nullptr;
  const int32_t opened =
      tvnAcqOpen(job.description.c_str(), job.data.empty() ? nullptr : job.data.c_str(), job.sourceType, &raw);
  const AcqHandle acq(raw);
  if (opened != TVN_OK) {
    *error = OpenFailure(job, opened);
    return false;
  }
  tvnAcqInfo info{};
  if (const int32_t status = tvnAcqGetInfo(acq.get(), &info); status != TVN_OK) {
    *error = job.description + ": " + tvnStatusText(status);
    return false;
  }
  if (!AcceptFindings(CheckAcquisition(acq.get(), info, job), job, error)) return false;
  std::vector<int32_t> chans;
  if (!ResolveChannels(acq.get(), info.channels, job.chans, &chans, error)) return false;
  if (job.firstScan > info.scans || (job.scanCount >= 0 && job.scanCount > info.scans - job.firstScan)) {
    *error = job.description + ": --scans " + std::to_string(job.firstScan) + ":" + std::to_string(job.scanCount) +
             " runs past the " + std::to_string(info.scans) + " whole scans in the data file";
    return false;
  }
  const int64_t count = job.scanCount >= 0 ? job.scanCount : info.scans - job.firstScan;
  if (count == 0) {
    *error = job.description + ": there are no scans to convert";
    return false;
  }
  OutputGuard guard;
  std::vector<std::string> outputs{job.output};
  if (!job.header.empty()) outputs.push_back(job.header);
  if (!guard.Protect(outputs, error)) return false;
  if (!Convert(acq.get(), job, chans, count, progress, error)) {
    guard.Restore();
    return false;
  }
  if (!guard.Commit(error)) return false;
  counts->scans = count;
  counts->channels = chans.empty() ? info.channels : static_cast<int32_t>(chans.size());
  return true;
}

}  // namespace travune::cli
