// The compiled part of the travune Python package: the acquisition class and the registry and
// status queries of the library. The friendly API is in travune/__init__.py.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "PyAcquisition.h"
#include "travune/travune.h"

namespace py = pybind11;
using travune::python::PyAcquisition;

namespace {

constexpr int kTextSize = 128;  // longer than any registry text

// Every format of a section (sources: true) as (id, name, display name, extensions, kind).
py::list Formats(bool sources) {
  py::list rows;
  for (int32_t index = 0;; ++index) {
    char display[kTextSize] = {}, ext1[kTextSize] = {}, ext2[kTextSize] = {}, shortName[kTextSize] = {};
    int32_t kind = 0, id = 0;
    if (tvnGetFormatByIndex(index, sources ? 1 : 0, display, ext1, ext2, shortName, &kind, &id) != 1) break;
    const char* name = tvnFormatName(id, sources ? 1 : 0);
    rows.append(py::make_tuple(id, name ? name : shortName, display, ext1, ext2, kind));
  }
  return rows;
}

}  // namespace

PYBIND11_MODULE(_travune, m) {
  m.doc() = "Compiled bindings of the travune conversion library";
  py::class_<PyAcquisition>(m, "Acq")
      .def(py::init<const std::string&, const std::optional<std::string>&, int32_t>(), py::arg("desc"),
           py::arg("data"), py::arg("source_type"))
      .def("close", &PyAcquisition::Close)
      .def("info", &PyAcquisition::Info)
      .def("channel", &PyAcquisition::Channel, py::arg("chan"))
      .def("read", &PyAcquisition::Read, py::arg("first"), py::arg("count"), py::arg("chans"), py::arg("wide"))
      .def("times", &PyAcquisition::Times, py::arg("first"), py::arg("count"))
      .def("convert", &PyAcquisition::Convert, py::arg("path"), py::arg("format"), py::arg("chans"), py::arg("first"),
           py::arg("count"), py::arg("flags"), py::arg("progress"));
  m.def("formats", &Formats, py::arg("sources"));
  m.def("format_id", [](const std::string& name, bool source) { return tvnFormatIdFromName(name.c_str(), source); },
        py::arg("name"), py::arg("source"));
  m.def("status_text", [](int32_t status) { return std::string(tvnStatusText(status)); }, py::arg("status"));
  m.attr("FLAG_SCAN_TIMES") = static_cast<uint32_t>(TRAVUNE_FLAG_SCAN_TIMES);
  m.attr("FLAG_OWN_STAMPS") = static_cast<uint32_t>(TRAVUNE_FLAG_OWN_STAMPS);
  m.attr("FLAG_COMPRESS") = static_cast<uint32_t>(TRAVUNE_FLAG_COMPRESS);
}
