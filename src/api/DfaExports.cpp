// The exported Data File Access functions: handles checked, each request validated in the order
// callers rely on (handle, channel, request, option, buffer), answered from the session's source.
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "api/DfaHandleTable.h"
#include "api/DfaSession.h"
#include "api/ExportGuard.h"
#include "platform/Platform.h"
#include "travune/travune.h"

namespace {

using travune::DfaHandleTable;
using travune::DfaSession;

// Running out of memory is reported as such; any other exception as a failed read.
template <class Body>
int32_t Guarded(Body&& body) noexcept {
  return travune::GuardedCall(errMemoryAllocation, errFileRead, std::forward<Body>(body));
}

DfaSession* SessionOf(int32_t handle) {
  const DfaHandleTable* table = travune::TheDfaHandleTable();
  return table != nullptr ? table->Get(handle) : nullptr;
}

// What must be writable at the caller's buffer before an answer is stored there. The length
// and type requests are checked like the numbers, so a bad pointer gives a status, not a crash.
enum class Answer { kInt32, kDouble, kText };

bool IsWritable(void* buffer, Answer answer, int32_t option) {
  const size_t bytes = answer == Answer::kInt32 ? sizeof(int32_t)
                       : answer == Answer::kDouble ? sizeof(double)
                                                   : static_cast<size_t>(option);
  return travune::platform::IsWritableMemory(buffer, bytes);
}

int32_t ClampToInt32(int64_t value) {
  if (value > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  if (value < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(value);
}

void StoreInt32(void* buffer, int64_t value) {
  const int32_t v = ClampToInt32(value);
  std::memcpy(buffer, &v, sizeof v);
}

void StoreDouble(void* buffer, double value) { std::memcpy(buffer, &value, sizeof value); }

// The text cut to size - 1 characters and NUL-filled to size bytes.
void StoreText(void* buffer, int32_t size, const char* text) {
  char* out = static_cast<char*>(buffer);
  std::strncpy(out, text != nullptr ? text : "", static_cast<size_t>(size));
  out[size - 1] = '\0';
}

int64_t LengthWithNul(const char* text) { return static_cast<int64_t>(text != nullptr ? std::strlen(text) : 0) + 1; }

// ---- acquisition requests -------------------------------------------------------------

// What each acquisition request stores, by dfaAcqInfoT.
constexpr Answer kAcqAnswers[] = {
    Answer::kDouble, Answer::kDouble, Answer::kInt32, Answer::kInt32, Answer::kInt32,
    Answer::kInt32,  Answer::kInt32,  Answer::kDouble, Answer::kDouble, Answer::kInt32,
    Answer::kText,   Answer::kInt32,  Answer::kInt32,
};
static_assert(std::size(kAcqAnswers) == acqSourceDataType + 1, "one answer per acquisition request");

// Stores the answer to request; false (the code in the session's last error) when it has none.
bool StoreAcqAnswer(DfaSession& session, int32_t request, int32_t option, void* buffer) {
  const travune::SrcFmt& source = session.Source();
  double time = 0.0;
  switch (request) {
    case acqScanTimeAbs:
    case acqScanTimeRel:
      if (!session.QueryScanTime(option, &time, request == acqScanTimeAbs)) return false;
      StoreDouble(buffer, time);
      break;
    case acqNumChans: StoreInt32(buffer, source.GetNumChans()); break;
    case acqNumScans: StoreInt32(buffer, source.GetNumScans()); break;
    case acqNumProgScans: StoreInt32(buffer, source.GetNumProgScans()); break;
    case acqScanSize: StoreInt32(buffer, int64_t{4} * source.GetNumChans()); break;
    case acqSampleSize: StoreInt32(buffer, sizeof(float)); break;
    case acqPreTrigRate: StoreDouble(buffer, source.GetPreTrigRate()); break;
    case acqPostTrigRate: StoreDouble(buffer, source.GetPostTrigRate()); break;
    case acqPreTrigCount: StoreInt32(buffer, source.GetPreTrigCount()); break;
    case acqAppTitle: StoreText(buffer, option, source.GetAppTitle()); break;
    case acqAppTitleLength: StoreInt32(buffer, LengthWithNul(source.GetAppTitle())); break;
    case acqSourceDataType: StoreInt32(buffer, session.SourceDataType()); break;
  }
  return true;
}

// ---- channel requests -----------------------------------------------------------------

// What each channel request stores, by dfaChanInfoT.
constexpr Answer kChanAnswers[] = {
    Answer::kDouble, Answer::kDouble, Answer::kInt32, Answer::kText, Answer::kText, Answer::kInt32, Answer::kInt32,
};
static_assert(std::size(kChanAnswers) == chnUnitsLength + 1, "one answer per channel request");

void StoreChanAnswer(const travune::SrcFmt& source, int32_t chan, int32_t request, int32_t option, void* buffer) {
  double lower = 0.0;
  double upper = 0.0;
  switch (request) {
    case chnRangeUpper:
    case chnRangeLower:
      source.GetChanRange(chan, &lower, &upper);
      StoreDouble(buffer, request == chnRangeUpper ? upper : lower);
      break;
    case chnPrecision: StoreInt32(buffer, source.GetChanPrecision(chan)); break;
    case chnLabel: StoreText(buffer, option, source.GetChanLabel(chan)); break;
    case chnUnits: StoreText(buffer, option, source.GetChanUnits(chan)); break;
    case chnLabelLength: StoreInt32(buffer, LengthWithNul(source.GetChanLabel(chan))); break;
    case chnUnitsLength: StoreInt32(buffer, LengthWithNul(source.GetChanUnits(chan))); break;
  }
}

// The answer kind of a request, or null for one outside the table (negative ones included).
template <size_t N>
const Answer* AnswerOf(const Answer (&answers)[N], int32_t request) {
  const uint32_t index = static_cast<uint32_t>(request);
  return index < N ? &answers[index] : nullptr;
}

}  // namespace

TRAVUNE_API(int32_t) dfaOpen(const char* pDescFile, int32_t sdtType) noexcept {
  return Guarded([&]() -> int32_t {
    DfaHandleTable* table = travune::TheDfaHandleTable();
    if (table == nullptr) return errMemoryAllocation;
    std::unique_ptr<DfaSession> session(new (std::nothrow) DfaSession(pDescFile, sdtType));
    if (!session) return errMemoryAllocation;
    if (session->OpenStatus() != errNoError) return session->OpenStatus();
    return table->Add(std::move(session));
  });
}

TRAVUNE_API(int32_t) dfaClose(int32_t dHdl) noexcept {
  return Guarded([&]() -> int32_t {
    DfaHandleTable* table = travune::TheDfaHandleTable();
    if (table == nullptr || !table->IsValid(dHdl)) return 0;
    table->Remove(dHdl).reset();
    return 1;
  });
}

TRAVUNE_API(int32_t) dfaGetLastErrorCode(int32_t dHdl) noexcept {
  return Guarded([&]() -> int32_t {
    const DfaSession* session = SessionOf(dHdl);
    return session != nullptr ? session->LastError() : errInvalHandle;
  });
}

TRAVUNE_API(int32_t) dfaGetAcqInfo(int32_t dHdl, int32_t typeInfo, int32_t lOption, void* pInfoBuf) noexcept {
  return Guarded([&]() -> int32_t {
    DfaSession* session = SessionOf(dHdl);
    if (session == nullptr) return errInvalHandle;
    // The checks below return their code without keeping it as the last error.
    const Answer* answer = AnswerOf(kAcqAnswers, typeInfo);
    if (answer == nullptr) return errInvalidRequest;
    if (*answer == Answer::kText && lOption < 1) return errInvalidOption;
    if (!IsWritable(pInfoBuf, *answer, lOption)) return errInvalidPointer;
    session->ClearLastError();
    return StoreAcqAnswer(*session, typeInfo, lOption, pInfoBuf) ? errNoError : session->LastError();
  });
}

TRAVUNE_API(int32_t) dfaGetChanInfo(int32_t dHdl, int32_t dwChan, int32_t typeInfo, int32_t lOption,
                                    void* pInfoBuf) noexcept {
  return Guarded([&]() -> int32_t {
    DfaSession* session = SessionOf(dHdl);
    if (session == nullptr) return errInvalHandle;
    // Reading the channel count answers a request: the last error is cleared before any check.
    session->ClearLastError();
    if (dwChan < 0 || dwChan >= session->Source().GetNumChans()) return errInvalidChannel;
    const Answer* answer = AnswerOf(kChanAnswers, typeInfo);
    if (answer == nullptr) return errInvalidRequest;
    if (*answer == Answer::kText && lOption < 1) return errInvalidOption;
    if (!IsWritable(pInfoBuf, *answer, lOption)) return errInvalidPointer;
    StoreChanAnswer(session->Source(), dwChan, typeInfo, lOption, pInfoBuf);
    return errNoError;
  });
}

TRAVUNE_API(int32_t) dfaGetData(int32_t dHdl, float* pDataBuf, uint32_t dwScanOffset, uint32_t dwScanReq,
                                uint32_t* dwScanRet, int32_t csChan) noexcept {
  return Guarded([&]() -> int32_t {
    DfaSession* session = SessionOf(dHdl);
    if (session == nullptr) return errInvalHandle;
    return session->ReadScaledScans(pDataBuf, dwScanOffset, dwScanReq, dwScanRet, csChan) ? errNoError
                                                                                          : session->LastError();
  });
}
