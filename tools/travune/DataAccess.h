// The tool's reading of an acquisition through the library's Data File Access functions: a
// session opened as the chosen source type, its facts and channels, scan times and values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace travune::cli {

// An open Data File Access session, closed when the object goes.
class AcqSession {
 public:
  AcqSession() = default;
  AcqSession(const AcqSession&) = delete;
  AcqSession& operator=(const AcqSession&) = delete;
  ~AcqSession();

  // Opens the description acq read as the tool's source type (Vexmoor and Threnix
  // descriptions are Brenlow ones). False with a message naming the file and the cause.
  bool Open(const std::string& acq, int32_t sourceType, std::string* error);
  int32_t Handle() const { return handle_; }

 private:
  int32_t handle_ = -1;
};

enum class TimeKind { kNone, kRelative, kAbsolute };

struct ChannelFacts {
  std::string label;
  std::string units;
  double lower = 0.0;
  double upper = 0.0;
  int32_t precision = 0;
};

struct AcqFacts {
  std::string application;
  int32_t readAs = 0;  // the Data File Access type the library read it as
  int32_t scans = 0;
  int32_t programmedScans = 0;
  double preTrigRate = 0.0;
  double postTrigRate = 0.0;
  int32_t preTrigScans = 0;
  TimeKind times = TimeKind::kNone;
  std::vector<ChannelFacts> channels;
};

// Everything the session tells about the acquisition; false with error when a query fails.
bool ReadAcqFacts(int32_t handle, AcqFacts* facts, std::string* error);

// For a reading command: chooses the source type of acq (typeOption, or a guess), opens it and
// reads its facts. On failure prints why and returns false with *exitCode set.
bool OpenAndReadFacts(const std::string& command, const std::string& acq, const std::optional<std::string>& typeOption,
                      AcqSession* session, AcqFacts* facts, int32_t* type, int* exitCode);

// The time of scan: an Automation date for kAbsolute, seconds from the trigger scan for
// kRelative. False when the source has no such time.
bool ScanTime(int32_t handle, int64_t scan, TimeKind kind, double* value);

// What a dfaErrorT status means, in words.
std::string DataAccessError(int32_t status);

}  // namespace travune::cli
