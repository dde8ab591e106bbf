// Opening and querying acquisitions through dfaOpen, dfaGetAcqInfo and dfaGetChanInfo.
#include "DataAccess.h"

#include <cstring>

#include "Commands.h"
#include "SourceChoice.h"
#include "travune/travune.h"

namespace travune::cli {
namespace {

// Text answers: the length query first, then a buffer of exactly that size.
bool AcqText(int32_t handle, std::string* text) {
  int32_t length = 0;
  if (dfaGetAcqInfo(handle, acqAppTitleLength, 0, &length) != errNoError || length < 1) return false;
  std::vector<char> buffer(static_cast<size_t>(length));
  if (dfaGetAcqInfo(handle, acqAppTitle, length, buffer.data()) != errNoError) return false;
  *text = buffer.data();
  return true;
}

bool ChanText(int32_t handle, int32_t chan, int32_t lengthRequest, int32_t textRequest, std::string* text) {
  int32_t length = 0;
  if (dfaGetChanInfo(handle, chan, lengthRequest, 0, &length) != errNoError || length < 1) return false;
  std::vector<char> buffer(static_cast<size_t>(length));
  if (dfaGetChanInfo(handle, chan, textRequest, length, buffer.data()) != errNoError) return false;
  *text = buffer.data();
  return true;
}

bool ReadChannel(int32_t handle, int32_t chan, ChannelFacts* c) {
  return ChanText(handle, chan, chnLabelLength, chnLabel, &c->label) &&
         ChanText(handle, chan, chnUnitsLength, chnUnits, &c->units) &&
         dfaGetChanInfo(handle, chan, chnRangeLower, 0, &c->lower) == errNoError &&
         dfaGetChanInfo(handle, chan, chnRangeUpper, 0, &c->upper) == errNoError &&
         dfaGetChanInfo(handle, chan, chnPrecision, 0, &c->precision) == errNoError;
}

// Absolute when scan 0 has a date, else relative when it has a time, else none.
TimeKind TimesOf(int32_t handle) {
  double value = 0.0;
  if (dfaGetAcqInfo(handle, acqScanTimeAbs, 0, &value) == errNoError) return TimeKind::kAbsolute;
  if (dfaGetAcqInfo(handle, acqScanTimeRel, 0, &value) == errNoError) return TimeKind::kRelative;
  return TimeKind::kNone;
}

}  // namespace

AcqSession::~AcqSession() {
  if (handle_ >= 0) dfaClose(handle_);
}

bool AcqSession::Open(const std::string& acq, int32_t sourceType, std::string* error) {
  const bool brenlowFamily = sourceType == TRAVUNE_SRC_VEXMOOR || sourceType == TRAVUNE_SRC_THRENIX;
  const int32_t status = dfaOpen(acq.c_str(), brenlowFamily ? sdBrenlow : sourceType);
  if (status < 0) {
    *error = acq + ": " + DataAccessError(status) + " (dfaOpen status " + std::to_string(status) + ")";
    return false;
  }
  handle_ = status;
  return true;
}

bool ReadAcqFacts(int32_t handle, AcqFacts* facts, std::string* error) {
  int32_t channels = 0;
  const bool ok = AcqText(handle, &facts->application) &&
                  dfaGetAcqInfo(handle, acqSourceDataType, 0, &facts->readAs) == errNoError &&
                  dfaGetAcqInfo(handle, acqNumChans, 0, &channels) == errNoError &&
                  dfaGetAcqInfo(handle, acqNumScans, 0, &facts->scans) == errNoError &&
                  dfaGetAcqInfo(handle, acqNumProgScans, 0, &facts->programmedScans) == errNoError &&
                  dfaGetAcqInfo(handle, acqPreTrigRate, 0, &facts->preTrigRate) == errNoError &&
                  dfaGetAcqInfo(handle, acqPostTrigRate, 0, &facts->postTrigRate) == errNoError &&
                  dfaGetAcqInfo(handle, acqPreTrigCount, 0, &facts->preTrigScans) == errNoError;
  if (!ok) {
    *error = "the acquisition's facts could not be read (" + DataAccessError(dfaGetLastErrorCode(handle)) + ")";
    return false;
  }
  facts->times = TimesOf(handle);
  facts->channels.resize(static_cast<size_t>(channels));
  for (int32_t chan = 0; chan < channels; ++chan) {
    if (!ReadChannel(handle, chan, &facts->channels[static_cast<size_t>(chan)])) {
      *error = "channel " + std::to_string(chan) + " could not be read";
      return false;
    }
  }
  return true;
}

bool ScanTime(int32_t handle, int64_t scan, TimeKind kind, double* value) {
  if (kind == TimeKind::kNone) return false;
  const int32_t request = kind == TimeKind::kAbsolute ? acqScanTimeAbs : acqScanTimeRel;
  return dfaGetAcqInfo(handle, request, static_cast<int32_t>(scan), value) == errNoError;
}

std::string DataAccessError(int32_t status) {
  switch (status) {
    case errInvalidDataType: return "no source type fits the description (give one with --type)";
    case errInvalidFileName:
      return "the description or its data file is missing, unreadable or held by another program";
    case errInvalidChannel: return "no such channel";
    case errInvalidOffset: return "the scans lie beyond what can be read (byte 2^31 of the data file)";
    case errMemoryAllocation: return "not enough memory";
    case errFileRead: return "the data file could not be read, or it ends early";
    case errBadHeaderFormat: return "the description is not one of the source type given";
    default: return "failed";
  }
}

bool OpenAndReadFacts(const std::string& command, const std::string& acq, const std::optional<std::string>& typeOption,
                      AcqSession* session, AcqFacts* facts, int32_t* type, int* exitCode) {
  *exitCode = kExitFailure;
  *type = ChooseSourceType(command, acq, typeOption, exitCode);
  if (*type < 0) return false;
  std::string error;
  if (!session->Open(acq, *type, &error) || !ReadAcqFacts(session->Handle(), facts, &error)) {
    PrintError(error);
    *exitCode = kExitFailure;
    return false;
  }
  return true;
}

}  // namespace travune::cli
