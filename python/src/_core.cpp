// The calls of torve.h and what a model is made of, for the Python package. The package's own
// modules hold the lock, convert arguments and turn codes into exceptions; nothing here is meant to
// be called by others.
#include <pybind11/functional.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "basis/formula/formula.h"
#include "input/messages.h"
#include "results.h"
#include "run/torve.h"
#include "run/trvspace.h"
#include "screen.h"
#include "signals.h"
#include "text/strings.h"

// Present when the BLAS in use is OpenBLAS.
extern "C" __attribute__((weak)) int openblas_get_num_threads();
extern "C" __attribute__((weak)) void openblas_set_num_threads(int count);

namespace py = pybind11;

namespace torve_python {

namespace {

using torve::TRVSPACE;

template <class T>
using Vector = py::array_t<T, py::array::c_style>;

template <class T>
int length_of(const Vector<T>& values) {
  if (values.size() > std::numeric_limits<int>::max()) throw std::length_error("too many values");
  return static_cast<int>(values.size());
}

// --- calls --------------------------------------------------------------------------------------

int set_int(const std::string& name, int value) {
  return trvsetint(name.c_str(), &value);
}

int set_real(const std::string& name, double value) {
  return trvsetreal(name.c_str(), &value);
}

int set_string(const std::string& name, const std::string& value) {
  return trvsetstring(name.c_str(), value.c_str());
}

int set_int_vector(const std::string& name, const Vector<int>& values) {
  return trvsetintvector(name.c_str(), length_of(values), values.data());
}

int set_real_vector(const std::string& name, const Vector<double>& values) {
  return trvsetrealvector(name.c_str(), length_of(values), values.data());
}

int set_labels(const std::string& name, int length, const std::string& labels) {
  return trvsetlabels(name.c_str(), length, labels.c_str());
}

py::tuple model_length(int output) {
  int length = 0;
  const int code = trvgetmodellength(output, &length);
  return py::make_tuple(code, length);
}

py::tuple model(int output, int length) {
  std::string text(static_cast<std::size_t>(std::max(length, 1)), '\0');
  const int code = trvgetmodel(output, text.data(), length);
  return py::make_tuple(code, code == 0 ? py::object(py::str(text.c_str())) : py::none());
}

py::tuple version() {
  int year = 0;
  int month = 0;
  int day = 0;
  trvgetversion(&year, &month, &day);
  return py::make_tuple(year, month, day);
}

// --- run ----------------------------------------------------------------------------------------

// The run switches OpenBLAS to one thread, which others in the process may not want for long.
class AlgebraThreads {
 public:
  AlgebraThreads() : count_(openblas_get_num_threads ? openblas_get_num_threads() : 0) {}
  ~AlgebraThreads() {
    if (count_ > 0 && openblas_set_num_threads) openblas_set_num_threads(count_);
  }
  AlgebraThreads(const AlgebraThreads&) = delete;
  AlgebraThreads& operator=(const AlgebraThreads&) = delete;

 private:
  int count_;
};

// An exception of `echo` can't end the run from inside; it is shown, and the run goes on.
std::function<void(const std::string&)> guarded_echo(const py::object& echo) {
  if (echo.is_none()) return {};
  return [&echo](const std::string& text) {
    const py::gil_scoped_acquire gil;
    try {
      echo(py::bytes(text).attr("decode")("utf-8", "replace"));
    } catch (py::error_already_set& error) {
      error.discard_as_unraisable("the echo of a run");
    }
  };
}

void run_without_lock(bool watch) {
  InterruptWatch interrupts(watch);
  const AlgebraThreads threads;
  const py::gil_scoped_release release;
  trvrun();
}

// With `capture` the lines for the screen are returned, and go to `echo`.
py::object run(const py::object& echo, bool capture, bool watch) {
  py::object text = py::none();
  if (capture) {
    Screen screen(guarded_echo(echo));
    run_without_lock(watch);
    text = py::bytes(screen.text()).attr("decode")("utf-8", "replace");
  } else {
    run_without_lock(watch);
  }
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  return text;
}

// trvinit after a run; also when calls were made and no run came of them.
void reset() {
  TRVSPACE.status.runstarted = true;
  trvinit();
}

// --- texts --------------------------------------------------------------------------------------

// The words of a code without their frame.
std::string message(int code) {
  std::vector<std::string> lines =
      torve::trvmessage(static_cast<torve::Code>(code), TRVSPACE.options.tracefname);
  std::string words;
  for (std::size_t i = code == 0 ? 0 : 1; i < lines.size(); ++i) {
    const std::string_view line = lines[i];
    const std::size_t first = line.find_first_not_of(' ');
    if (first == std::string_view::npos) continue;
    if (!words.empty()) words += ' ';
    words += torve::trim_right(line.substr(first));
  }
  return words;
}

// The lines that tell what is wrong with a formula; none when nothing is.
std::vector<std::string> check_formula(const std::string& text, std::vector<std::string> names) {
  for (std::string& name : names) name = torve::fold_lower(name);
  int status = 0;
  std::vector<std::string> report;
  torve::fncheck(torve::fold_lower(text), names, status, &report);
  return report;
}

void add_calls(py::module_& module) {
  module.def("trvsetint", set_int);
  module.def("trvsetreal", set_real);
  module.def("trvsetstring", set_string);
  module.def("trvsetintvector", set_int_vector, py::arg("name"), py::arg("values").noconvert());
  module.def("trvsetrealvector", set_real_vector, py::arg("name"), py::arg("values").noconvert());
  module.def("trvsetlabels", set_labels);
  module.def("trvrun", run, py::arg("echo"), py::arg("capture"), py::arg("watch"));
  module.def("trvinit", trvinit);
  module.def("trvgetstatus", trvgetstatus);
  module.def("trvgettime", trvgettime);
  module.def("trvgetversion", version);
  module.def("trvgetmodellength", model_length);
  module.def("trvgetmodel", model);
}

}  // namespace

}  // namespace torve_python

PYBIND11_MODULE(_core, module) {
  using namespace torve_python;
  module.doc() = "The compiled part of torve; not meant to be used by itself.";
  add_calls(module);
  module.def("reset", reset);
  module.def("location", [] { return TRVSPACE.status.trvlocation; });
  module.def("run_started", [] { return TRVSPACE.status.runstarted; });
  module.def("message", message);
  module.def("check_formula", check_formula);
  module.def("results", results);
  module.def("program_predictions", program_predictions);
  module.def("option_rows", option_rows);
  module.def("option_aliases", option_aliases);
}
