// The extension behind the Python package `loom`: the formula engine on NumPy arrays
// (evaluate), one panel on arrays (Panel.run), and a worksheet as `loom run` runs it
// (run_worksheet). Errors arrive as loom.FormulaError (the engine's message) and loom.InputError
// (the host's message, as `loom run` prints it), both kinds of loom.Error.
//
// Threads: the GIL is released while formulas and panels run, so other Python threads go on.
// Calls of evaluate run side by side on their own evaluators. Panel.run and run_worksheet take
// turns within a process (loading a panel closes every file formulas opened, process-wide), so
// processes, not threads, are the unit for running many files at once.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <deque>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "functions/Registry.h"
#include "host/ArrayData.h"
#include "host/IniScan.h"
#include "host/InputError.h"
#include "host/ReferenceHost.h"
#include "host/RunSummary.h"
#include "host/Worksheet.h"

namespace py = pybind11;

namespace loom {

namespace {

// Guards the process-wide state that loading and running panels touch: the files opened by
// formulas, the serial port table and the host's interrupt flag.
std::mutex gHostMutex;

using TDoubleArray = py::array_t<double, py::array::c_style | py::array::forcecast>;

// A float64 array that can be read in place, or a converted copy of anything else that holds
// numbers (integers, booleans, float32, lists). Raises TypeError for other contents.
TDoubleArray NumberArray(py::handle object, const std::string& name) {
  py::array array = py::array::ensure(object);
  if (!array) throw py::type_error(name + ": not an array of numbers");
  const char kind = array.dtype().kind();
  if (kind != 'f' && kind != 'i' && kind != 'u' && kind != 'b')
    throw py::type_error(name + ": an array of numbers is needed, not of dtype " +
                         py::str(array.dtype()).cast<std::string>());
  return TDoubleArray::ensure(array);  // no copy for C-contiguous float64
}

// A Python value as a value of the language: bool, number, str (UTF-8) or bytes, a 1-D array
// (vector) or a 2-D array (matrix, one vector per row).
TVXParsDouble ToValue(py::handle object, const std::string& name) {
  if (py::isinstance<py::bool_>(object)) return TVXParsDouble::Boolean(object.cast<bool>());
  if (py::isinstance<py::str>(object)) {
    py::bytes bytes = py::reinterpret_steal<py::bytes>(
        PyUnicode_AsEncodedString(object.ptr(), "utf-8", "surrogateescape"));
    if (!bytes) throw py::error_already_set();
    return TVXParsDouble::FromString(bytes.cast<std::string>());
  }
  if (py::isinstance<py::bytes>(object))
    return TVXParsDouble::FromString(object.cast<std::string>());
  if (py::isinstance<py::float_>(object) || py::isinstance<py::int_>(object))
    return TVXParsDouble::Number(object.cast<double>());
  if (!py::isinstance<py::array>(object) && !py::isinstance<py::list>(object) &&
      !py::isinstance<py::tuple>(object)) {
    if (!py::hasattr(object, "__float__"))  // NumPy's scalars have it
      throw py::type_error(name + ": a number, a string or an array of numbers, not " +
                           py::str(object.get_type().attr("__name__")).cast<std::string>());
    return TVXParsDouble::Number(py::float_(py::reinterpret_borrow<py::object>(object)));
  }
  const TDoubleArray array = NumberArray(object, name);
  if (array.ndim() == 0) return TVXParsDouble::Number(*array.data());
  if (array.ndim() == 1)
    return TVXParsDouble::FromVector(TVXVect(array.data(), array.data() + array.size()));
  if (array.ndim() != 2)
    throw py::value_error(name + ": an array of " + std::to_string(array.ndim()) +
                          " dimensions; vectors have 1, matrices 2");
  TVXParsDouble value;
  value.VarType = vtMatrix;
  const auto columns = static_cast<std::size_t>(array.shape(1));
  for (py::ssize_t row = 0; row < array.shape(0); ++row) {
    const double* first = array.data() + static_cast<std::size_t>(row) * columns;
    value.Matrix.emplace_back(first, first + columns);
  }
  return value;
}

// The vector as a NumPy array that owns its storage: the samples are not copied.
py::array OwningArray(std::vector<double>&& samples) {
  auto* owned = new std::vector<double>(std::move(samples));
  py::capsule base(owned, [](void* p) { delete static_cast<std::vector<double>*>(p); });
  return py::array_t<double>({owned->size()}, {sizeof(double)}, owned->data(), base);
}

py::object FromValue(TVXParsDouble&& value) {
  switch (value.VarType) {
    case vtBoolean:
      return py::bool_(value.Value != 0);
    case vtString:
      return py::reinterpret_steal<py::object>(
          PyUnicode_DecodeUTF8(value.StrValue.data(),
                               static_cast<py::ssize_t>(value.StrValue.size()), "surrogateescape"));
    case vtVector:
      return OwningArray(std::move(value.Vector));
    case vtMatrix: {
      const std::size_t columns = value.Matrix.empty() ? 0 : value.Matrix.front().size();
      bool rectangular = true;
      for (const TVXVect& row : value.Matrix) rectangular = rectangular && row.size() == columns;
      if (!rectangular) {
        py::list rows;
        for (TVXVect& row : value.Matrix) rows.append(OwningArray(std::move(row)));
        return rows;
      }
      py::array_t<double> matrix({value.Matrix.size(), columns});
      for (std::size_t r = 0; r < value.Matrix.size(); ++r)
        std::copy(value.Matrix[r].begin(), value.Matrix[r].end(), matrix.mutable_data(r, 0));
      return matrix;
    }
    default:
      return py::float_(value.Value);
  }
}

// Registering every word of the language costs far more than a small formula, so each thread
// keeps an evaluator between calls of evaluate. A call that ends in an error discards it.
thread_local std::unique_ptr<TVXExpressionEvaluator> tSpareEvaluator;

// Takes the thread's spare evaluator (or a new one); Return makes it spare again, with the
// call's variables, generated variables and expressions removed as if it were new.
class TEvaluatorLease {
 public:
  TEvaluatorLease()
      : evaluator_(tSpareEvaluator ? std::move(tSpareEvaluator)
                                   : std::make_unique<TVXExpressionEvaluator>()) {}
  TVXExpressionEvaluator& operator*() { return *evaluator_; }
  TVXExpressionEvaluator* operator->() { return evaluator_.get(); }
  void Return(const std::vector<std::string>& defined) {
    std::vector<std::string> generated;
    evaluator_->GetGeneratedVars(generated);
    for (const std::string& name : defined) evaluator_->ReplaceFunction(name, nullptr);
    for (const std::string& name : generated) evaluator_->ReplaceFunction(name, nullptr);
    evaluator_->ClearExpressions();
    evaluator_->DeferredEvents.clear();
    evaluator_->TicTime = 0;
    tSpareEvaluator = std::move(evaluator_);
  }

 private:
  std::unique_ptr<TVXExpressionEvaluator> evaluator_;
};

// evaluate(expressions, **variables): one evaluator, each expression compiled and evaluated in
// turn (variables carry from one to the next); the value of a single text, or a list of values.
py::object Evaluate(const py::object& expressions, const py::kwargs& variables) {
  const bool single = py::isinstance<py::str>(expressions);
  std::vector<std::string> texts;
  if (single)
    texts.push_back(expressions.cast<std::string>());
  else
    for (py::handle text : expressions) {
      if (!py::isinstance<py::str>(text))
        throw py::type_error("expressions: a formula text or a list of formula texts");
      texts.push_back(text.cast<std::string>());
    }
  // deque: the evaluator keeps pointers to the values, so they must not move.
  std::deque<TVXParsDouble> values;
  std::vector<std::string> names;
  for (const auto& [key, object] : variables) {
    names.push_back(key.cast<std::string>());
    values.push_back(ToValue(object, names.back()));
  }
  std::vector<TVXParsDouble> results;
  {
    py::gil_scoped_release unlocked;
    TEvaluatorLease evaluator;
    for (std::size_t v = 0; v < names.size(); ++v) {
      if (evaluator->Words().Find(names[v].c_str()) != nullptr)
        throw EInputError(names[v] + ": the name of a word of the language; name the variable " +
                          "otherwise");
      evaluator->DefineVariable(names[v], &values[v], "", "");
    }
    for (const std::string& text : texts) {
      const int index = evaluator->AddExpression(text);
      results.push_back(index < 0 ? EmptyResult() : evaluator->GetResults(index));
    }
    evaluator.Return(names);
  }
  if (single) return FromValue(std::move(results.front()));
  py::list out;
  for (TVXParsDouble& result : results) out.append(FromValue(std::move(result)));
  return out;
}

py::dict CountsDict(const std::map<std::string, std::uint64_t>& counts) {
  py::dict out;
  for (const auto& [name, count] : counts) out[py::str(name)] = count;
  return out;
}

// The figures of a run, as `loom run` summarises them; "text" is its summary text.
py::dict SummaryDict(TRunReport report, const std::string& file) {
  // An embedder's sink has no file name and no place among the files written.
  std::erase_if(report.Outputs, [](const auto& output) { return output.first.empty(); });
  py::dict summary;
  summary["data_seconds"] = report.DataSeconds;
  summary["wall_seconds"] = report.WallSeconds;
  summary["blocks"] = report.Blocks;
  summary["samples"] = report.Samples;
  summary["stopped"] = report.Stopped;
  summary["stop_reason"] = report.StopReason;
  py::dict panels;
  for (const TPanelReport& panel : report.Panels) {
    py::dict entry;
    entry["cycles"] = panel.Cycles;
    entry["errors"] = CountsDict(panel.Errors);
    entry["events"] = CountsDict(panel.Events);
    panels[py::str(panel.Name)] = entry;
  }
  summary["panels"] = panels;
  py::dict outputs;
  for (const auto& [path, rows] : report.Outputs) outputs[py::str(path)] = rows;
  summary["outputs"] = outputs;
  summary["warnings"] = report.Warnings;
  summary["text"] = FormatRunSummary(report, file);
  return summary;
}

py::dict EventDict(const THostEvent& event) {
  py::dict out;
  out["time"] = event.Time;
  out["panel"] = event.Panel;
  out["index"] = event.Index;
  out["name"] = event.Name;
  out["text"] = py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF8(
      event.Text.data(), static_cast<py::ssize_t>(event.Text.size()), "surrogateescape"));
  if (event.HasArguments) {
    out["channel"] = event.Channel;
    out["start"] = event.StartTime;
    out["end"] = event.EndTime;
    out["iData1"] = event.IData1;
    out["iData2"] = event.IData2;
    for (int i = 0; i < 4; ++i) out[py::str("dData" + std::to_string(i + 1))] = event.DData[i];
  }
  return out;
}

// Prepares and runs a host with the GIL released, one host of the process at a time.
TRunReport RunHost(TWorksheet worksheet, TRunOptions options) {
  py::gil_scoped_release unlocked;
  std::lock_guard<std::mutex> lock(gHostMutex);
  TReferenceHost host(std::move(worksheet), std::move(options));
  host.Prepare();
  return host.Run();
}

// What Panel.run returns.
struct TPanelRun {
  py::dict Outputs;  // channel name -> samples
  py::dict Times;    // channel name -> the time of each sample
  py::list Events;   // one dict per event, as the event log writes them
  py::dict Summary;
};

// A panel's settings, read once; each run builds the panel afresh, as `loom run` does.
class TPanel {
 public:
  // settings is a file name, or the settings text itself when it holds a line break or "[".
  explicit TPanel(const std::string& settings) {
    if (settings.find('\n') != std::string::npos || settings.find('[') != std::string::npos) {
      text_ = settings;
      file_ = "panel.ini";
    } else {
      text_ = ReadTextFile(settings, settings);
      file_ = settings;
    }
  }

  TPanelRun Run(const py::dict& channels, std::size_t block, double rate, const py::object& time,
                double duration, bool allEvents) const {
    std::vector<TDoubleArray> arrays;  // keeps every array alive and in place during the run
    TArrayChannels data;
    for (const auto& [key, object] : channels) {
      data.Names.push_back(py::str(key).cast<std::string>());
      arrays.push_back(NumberArray(object, data.Names.back()));
      if (arrays.back().ndim() != 1)
        throw py::value_error(data.Names.back() + ": a channel is an array of 1 dimension");
      data.Channels.emplace_back(arrays.back().data(),
                                 static_cast<std::size_t>(arrays.back().size()));
    }
    if (!time.is_none()) {
      arrays.push_back(NumberArray(time, "time"));
      data.Times = {arrays.back().data(), static_cast<std::size_t>(arrays.back().size())};
    }
    data.Rate = rate;
    // Made here, so that mistakes in the arrays are reported as they are, not as --input's.
    auto source = std::make_shared<std::unique_ptr<TDataSource>>(
        std::make_unique<TArraySource>(std::move(data)));
    auto outputs = std::make_shared<TArrayOutputs>();
    TSinglePanelRun run;
    run.PanelFile = file_;
    run.InputFile = "the arrays";
    run.SettingsText = text_;
    run.Block = block;
    run.Rate = rate;
    run.Supply = [source] { return std::move(*source); };
    run.SupplySink = [outputs](const std::vector<std::string>& names) {
      return std::make_unique<TArraySink>(outputs, names);
    };
    std::vector<THostEvent> events;
    TRunOptions options;
    options.Duration = duration;
    options.AllEvents = allEvents;
    options.OnEvent = [&events](const THostEvent& event) { events.push_back(event); };
    const TRunReport report = RunHost(SinglePanelWorksheet(run), std::move(options));
    TPanelRun result;
    for (std::size_t c = 0; c < outputs->Names.size(); ++c) {
      result.Outputs[py::str(outputs->Names[c])] = OwningArray(std::move(outputs->Values[c]));
      result.Times[py::str(outputs->Names[c])] = OwningArray(std::move(outputs->Times[c]));
    }
    for (const THostEvent& event : events) result.Events.append(EventDict(event));
    result.Summary = SummaryDict(report, file_);
    return result;
  }

 private:
  std::string text_, file_;
};

// run_worksheet(path, inputs=...): `loom run WORKSHEET --source NAME=FILE ...` in this process.
py::dict RunWorksheet(const std::string& path, const std::map<std::string, std::string>& inputs,
                      const std::string& outputDir, const std::string& events, double duration,
                      bool allEvents) {
  TWorksheet worksheet = LoadWorksheet(path, TSourceFiles(inputs.begin(), inputs.end()));
  TRunOptions options;
  options.OutputDir = outputDir;
  options.EventsFile = events;
  options.Duration = duration;
  options.AllEvents = allEvents;
  return SummaryDict(RunHost(std::move(worksheet), std::move(options)), path);
}

}  // namespace

}  // namespace loom

PYBIND11_MODULE(_loom, m) {
  using namespace loom;
  m.doc() = "Loom's formula engine, panels and worksheets on NumPy arrays and recorded files.";
  static py::handle error = PyErr_NewExceptionWithDoc(
      "loom.Error", "A mistake reported by Loom; the message is Loom's own.", PyExc_RuntimeError,
      nullptr);
  m.attr("Error") = error;
  py::register_exception<EVXParserException>(m, "FormulaError", error);
  py::register_exception<EInputError>(m, "InputError", error);

  m.def("evaluate", &Evaluate, py::arg("expressions"),
        "Compiles and evaluates the formula text (or each text of a list in turn, variables "
        "carrying over) with the keyword arguments as variables: numbers, strings, bools and "
        "NumPy arrays (1-D: vectors, 2-D: matrices). Returns the value, or a list of values; "
        "vectors come back as float64 arrays that own the engine's storage.");

  py::class_<TPanelRun>(m, "PanelRun", "What Panel.run returns.")
      .def_readonly("outputs", &TPanelRun::Outputs, "output channel name -> samples")
      .def_readonly("times", &TPanelRun::Times, "output channel name -> time of each sample")
      .def_readonly("events", &TPanelRun::Events,
                    "the events in order, as dicts with the fields of the event log")
      .def_readonly("summary", &TPanelRun::Summary, "the run's figures, as run_worksheet's");

  py::class_<TPanel>(m, "Panel", "A panel's settings (a file name or the text itself).")
      .def(py::init<const std::string&>(), py::arg("settings"))
      .def("run", &TPanel::Run, py::arg("channels"), py::kw_only(), py::arg("block") = 0,
           py::arg("rate") = 0.0, py::arg("time") = py::none(), py::arg("duration") = 0.0,
           py::arg("all_events") = false,
           "Runs the panel on channels (name -> 1-D array), as `loom run` runs it on a CSV file "
           "of those columns: block rows per block (0: a tenth of a second), time the time "
           "axis (else sample n lies at n / rate). Returns a PanelRun.");

  m.def(
      "file_sources",
      [](const std::string& path) { return FileSourceNames(ReadTextFile(path, path)); },
      py::arg("path"), "The names of the worksheet's file sources, in their order.");

  m.def("run_worksheet", &RunWorksheet, py::arg("path"), py::kw_only(),
        py::arg("inputs") = std::map<std::string, std::string>(), py::arg("output_dir") = "",
        py::arg("events") = "", py::arg("duration") = 0.0, py::arg("all_events") = false,
        "Runs a worksheet as `loom run` does: inputs maps source names to data files that "
        "replace theirs (--source), output_dir takes relative outputs (--output-dir). Returns "
        "the run's figures as a dict.");
}
