// The acquisition handle wrapped for Python. Long calls into the library run without the GIL so
// that other Python threads (a Dask worker's, for one) go on meanwhile.
#include "PyAcquisition.h"

#include <cstring>

#include "Status.h"

namespace py = pybind11;

namespace travune::python {

namespace {

// What the library's progress callback needs: the Python callable and whether a Python
// exception (set as the thread's error indicator) ended the conversion.
struct ProgressState {
  PyObject* callable;
  bool raised = false;
};

// Cancels on a pending signal (Ctrl-C becomes KeyboardInterrupt), on an exception of the
// callable, and when the callable returns a true value.
int32_t OnProgress(int64_t done, int64_t total, void* user) {
  auto* state = static_cast<ProgressState*>(user);
  const py::gil_scoped_acquire gil;
  if (PyErr_CheckSignals() != 0) {
    state->raised = true;
    return 1;
  }
  if (state->callable == Py_None) return 0;
  try {
    const py::object result = py::reinterpret_borrow<py::object>(state->callable)(done, total);
    return result.is_none() || !py::bool_(result) ? 0 : 1;
  } catch (py::error_already_set& error) {
    error.restore();
    state->raised = true;
    return 1;
  }
}

const int32_t* ChannelsOrNull(const std::vector<int32_t>& chans) { return chans.empty() ? nullptr : chans.data(); }

}  // namespace

PyAcquisition::PyAcquisition(const std::string& descName, const std::optional<std::string>& dataName,
                             int32_t sourceType) {
  int32_t status = 0;
  {
    const py::gil_scoped_release release;
    status = tvnAcqOpen(descName.c_str(), dataName ? dataName->c_str() : nullptr, sourceType, &acq_);
  }
  Check(status);
}

PyAcquisition::~PyAcquisition() { Close(); }

void PyAcquisition::Close() {
  tvnAcqClose(acq_);
  acq_ = nullptr;
}

tvnAcq* PyAcquisition::Handle() const {
  if (acq_ == nullptr) RaiseStatus(TVN_ERR_ARGUMENT);
  return acq_;
}

py::dict PyAcquisition::Info() {
  tvnAcqInfo info{};
  Check(tvnAcqGetInfo(Handle(), &info));
  py::dict d;
  d["source_type"] = info.sourceType;
  d["channels"] = info.channels;
  d["scans"] = info.scans;
  d["programmed_scans"] = info.programmedScans;
  d["scan_bytes"] = info.scanBytes;
  d["data_bytes"] = info.dataBytes;
  d["trigger"] = info.preTrigScans;
  d["pre_trigger_rate"] = info.preTrigRate;
  d["post_trigger_rate"] = info.postTrigRate;
  d["time_kind"] = info.timeKind;
  d["stamps_in_data"] = info.stampsInData != 0;
  d["application"] = py::str(info.appTitle);
  d["description_version"] = py::str(info.descVersion);
  return d;
}

py::dict PyAcquisition::Channel(int32_t chan) {
  tvnChanInfo info{};
  Check(tvnAcqGetChanInfo(Handle(), chan, &info));
  py::dict d;
  // Labels and units are bytes of the recording application; undecodable ones stay readable.
  d["label"] = py::reinterpret_steal<py::str>(PyUnicode_DecodeLatin1(info.label, std::strlen(info.label), nullptr));
  d["units"] = py::reinterpret_steal<py::str>(PyUnicode_DecodeLatin1(info.units, std::strlen(info.units), nullptr));
  d["range"] = py::make_tuple(info.lower, info.upper);
  d["precision"] = info.precision;
  return d;
}

py::array PyAcquisition::Read(int64_t first, int64_t count, const std::vector<int32_t>& chans, bool wide) {
  tvnAcq* acq = Handle();
  tvnAcqInfo info{};
  Check(tvnAcqGetInfo(acq, &info));
  const int64_t columns = chans.empty() ? info.channels : static_cast<int64_t>(chans.size());
  if (count < 0) RaiseStatus(TVN_ERR_ARGUMENT);
  const std::vector<py::ssize_t> shape = {static_cast<py::ssize_t>(count), static_cast<py::ssize_t>(columns)};
  py::array values = wide ? py::array(py::array_t<double>(shape)) : py::array(py::array_t<float>(shape));
  void* out = values.mutable_data();
  const int32_t numChans = static_cast<int32_t>(chans.size());
  int32_t status = 0;
  {
    const py::gil_scoped_release release;
    status = wide ? tvnAcqReadFloat64(acq, first, count, ChannelsOrNull(chans), numChans, static_cast<double*>(out))
                  : tvnAcqReadFloat32(acq, first, count, ChannelsOrNull(chans), numChans, static_cast<float*>(out));
  }
  Check(status);
  return values;
}

py::array_t<double> PyAcquisition::Times(int64_t first, int64_t count) {
  tvnAcq* acq = Handle();
  if (count < 0) RaiseStatus(TVN_ERR_ARGUMENT);
  py::array_t<double> times(static_cast<py::ssize_t>(count));
  double* out = times.mutable_data();
  int32_t status = 0;
  {
    const py::gil_scoped_release release;
    status = tvnAcqGetScanTimes(acq, first, count, out);
  }
  Check(status);
  return times;
}

void PyAcquisition::Convert(const std::string& dataName, int32_t format, const std::vector<int32_t>& chans,
                            int64_t first, int64_t count, uint32_t flags, const py::object& progress) {
  tvnConvOptions options{};
  options.format = format;
  options.dataName = dataName.c_str();
  options.flags = flags;
  options.first = first;
  options.count = count;
  options.chans = ChannelsOrNull(chans);
  options.numChans = static_cast<int32_t>(chans.size());
  tvnAcq* acq = Handle();
  ProgressState state{progress.ptr()};
  int32_t status = 0;
  {
    const py::gil_scoped_release release;
    tvnConv* conv = nullptr;
    status = tvnConvOpen(acq, &options, &conv);
    if (status == TVN_OK) status = tvnConvRun(conv, OnProgress, &state);
    if (status == TVN_OK) status = tvnConvFinish(conv);
    tvnConvClose(conv);
  }
  if (state.raised) throw py::error_already_set();
  Check(status);
}

}  // namespace travune::python
