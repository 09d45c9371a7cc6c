#include "host/Worksheet.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>

#include "host/CsvData.h"
#include "host/InputError.h"

namespace loom {

namespace {

// Reads the keys of one worksheet section, each with the message prefix of its line.
class TSectionReader {
 public:
  TSectionReader(const TIniDocument& document, const TIniSection& section,
                 std::vector<std::string> known)
      : document_(document), section_(section), known_(std::move(known)) {
    for (const TIniEntry& entry : section.Entries) {
      const bool isKnown = std::any_of(known_.begin(), known_.end(), [&](const std::string& k) {
        return EqualsNoCase(k, entry.Key);
      });
      if (!isKnown) {
        std::string list;
        for (const std::string& k : known_) list += (list.empty() ? "" : ", ") + k;
        Fail(entry, "unknown key (this section knows " + list + ")");
      }
    }
  }

  [[noreturn]] void Fail(const TIniEntry& entry, const std::string& what) const {
    throw EInputError(document_.Where(entry.Line) + ": [" + section_.Name + "] " + entry.Key +
                      ": " + what);
  }
  [[noreturn]] void FailSection(const std::string& what) const {
    throw EInputError(document_.Where(section_.Line) + ": [" + section_.Name + "] " + what);
  }

  const TIniEntry* Entry(const char* key) const { return section_.Find(key); }

  std::string Text(const char* key, const std::string& fallback = {}) const {
    const TIniEntry* e = Entry(key);
    return e != nullptr ? e->Value : fallback;
  }

  double Number(const char* key, double fallback, bool positive = false) const {
    const TIniEntry* e = Entry(key);
    if (e == nullptr) return fallback;
    double value = 0;
    if (e->Value.empty() || !ParseNumber(e->Value, false, value) || !std::isfinite(value))
      Fail(*e, "\"" + e->Value + "\" is not a number");
    if (positive && value <= 0) Fail(*e, "\"" + e->Value + "\" must be above 0");
    return value;
  }

  std::uint64_t Whole(const char* key, std::uint64_t fallback, bool positive = false) const {
    const TIniEntry* e = Entry(key);
    if (e == nullptr) return fallback;
    std::uint64_t value = 0;
    const auto r = std::from_chars(e->Value.data(), e->Value.data() + e->Value.size(), value);
    if (e->Value.empty() || r.ec != std::errc() || r.ptr != e->Value.data() + e->Value.size())
      Fail(*e, "\"" + e->Value + "\" is not a whole number of 0 or more");
    if (positive && value == 0) Fail(*e, "must be 1 or more");
    return value;
  }

  bool Flag(const char* key) const {
    const TIniEntry* e = Entry(key);
    if (e == nullptr) return false;
    if (e->Value == "1" || EqualsNoCase(e->Value, "true")) return true;
    if (e->Value == "0" || EqualsNoCase(e->Value, "false")) return false;
    Fail(*e, "\"" + e->Value + "\" is not a boolean (1 or 0)");
  }

  // A comma-separated list of names, blanks around each removed.
  std::vector<std::string> List(const char* key) const {
    std::vector<std::string> items;
    const TIniEntry* e = Entry(key);
    if (e == nullptr) return items;
    for (std::string& item : SplitCsvLine(e->Value, ',')) {
      if (item.empty()) Fail(*e, "an empty name in the list \"" + e->Value + "\"");
      items.push_back(std::move(item));
    }
    return items;
  }

 private:
  const TIniDocument& document_;
  const TIniSection& section_;
  std::vector<std::string> known_;
};

std::string Lowercase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string Extension(const std::string& file) {
  return Lowercase(std::filesystem::path(file).extension().string());
}

// A worksheet name: not empty, without "." (channels are NAME.CHANNEL) and without blanks at
// its ends.
void CheckName(const TIniDocument& document, const TIniSection& section, const std::string& kind,
               const std::string& name) {
  if (name.empty() || name.find('.') != std::string::npos || name.find(':') != std::string::npos)
    throw EInputError(document.Where(section.Line) + ": [" + section.Name + "] a " + kind +
                      " name must not be empty nor hold \".\" or \":\"");
}

void ReadWorksheetSection(const TIniDocument& doc, const TIniSection& section, TWorksheet& w) {
  TSectionReader r(doc, section, {"Duration", "Pacing", "Speed", "Events"});
  w.Duration = r.Number("Duration", 0, true);
  if (const TIniEntry* pacing = r.Entry("Pacing")) {
    const std::string p = Lowercase(pacing->Value);
    if (p == "fast")
      w.Pacing = TPacing::Fast;
    else if (p == "realtime" || p == "real-time" || p == "real time")
      w.Pacing = TPacing::RealTime;
    else
      r.Fail(*pacing, "\"" + pacing->Value + "\" is neither fast nor realtime");
    w.PacingGiven = true;
  }
  w.Speed = r.Number("Speed", 1, true);
  w.EventsFile = r.Text("Events");
  w.EventsBaseDir = w.Directory;
}

void ReadPorts(const TIniDocument& doc, const TIniSection& section, TWorksheet& w) {
  w.HasPorts = true;
  for (const TIniEntry& entry : section.Entries) {
    std::size_t number = 0;
    const auto r = std::from_chars(entry.Key.data(), entry.Key.data() + entry.Key.size(), number);
    if (r.ec != std::errc() || r.ptr != entry.Key.data() + entry.Key.size() || number > 255)
      throw EInputError(doc.Where(entry.Line) + ": [Ports] " + entry.Key +
                        ": a port number must be a whole number from 0 to 255");
    if (w.Ports.size() <= number) w.Ports.resize(number + 1);
    w.Ports[number] = entry.Value;
  }
}

// Reads a [Source:NAME] section; replacement, when not null, is the data file given instead of
// the section's own (its mistakes are the command line's, not the worksheet's).
TSourceSetup ReadSource(const TIniDocument& doc, const TIniSection& section, const TWorksheet& w,
                        const std::string& name, const std::string* replacement) {
  TSectionReader r(doc, section,
                   {"File", "Generator", "Block", "Rate", "Channels", "Normalize", "Amplitude",
                    "Frequency", "Offset", "Phase", "Seed", "Channel"});
  TSourceSetup s;
  s.Name = name;
  s.Line = section.Line;
  s.Block = r.Whole("Block", 0, true);
  s.Names = r.List("Channels");
  s.Normalize = r.Flag("Normalize");
  const TIniEntry* file = r.Entry("File");
  const TIniEntry* generator = r.Entry("Generator");
  if ((file != nullptr) == (generator != nullptr))
    r.FailSection("a source needs either File=... or Generator=...");
  if (replacement != nullptr && file == nullptr)
    throw EInputError("--source " + name + ": the source is a generator; only a file source " +
                      "reads another file");
  if (file != nullptr) {
    static const char* const kGeneratorOnly[] = {"Amplitude", "Frequency", "Offset",
                                                 "Phase",     "Seed",      "Channel"};
    for (const char* key : kGeneratorOnly)
      if (const TIniEntry* e = r.Entry(key)) r.Fail(*e, "only generators take this key");
    s.Rate = r.Number("Rate", 0, true);
    s.Shown = replacement != nullptr ? *replacement : file->Value;
    s.Path = replacement != nullptr ? *replacement : ResolvePath(w.Directory, file->Value);
    const auto fail = [&](const std::string& what) {
      if (replacement != nullptr) throw EInputError("--source " + name + ": " + what);
      r.Fail(*file, what);
    };
    const std::string extension = Extension(s.Shown);
    if (extension == ".csv" || extension == ".txt" || s.Shown == "-")
      s.Kind = TSourceSetup::kCsv;
    else if (extension == ".wav")
      s.Kind = TSourceSetup::kWav;
    else if (extension == ".mat")
      s.Kind = TSourceSetup::kMat;
    else
      fail("\"" + s.Shown + "\" is none of the data files read here (.csv, .wav, .mat)");
    if (s.Shown != "-" && !std::filesystem::is_regular_file(s.Path))
      fail("the file \"" + s.Path + "\" does not exist");
    return s;
  }
  s.Kind = TSourceSetup::kGenerator;
  TGeneratorSettings& g = s.Generator;
  const std::string shape = Lowercase(generator->Value);
  const auto* found =
      std::find(std::begin(kGeneratorShapeNames), std::end(kGeneratorShapeNames), shape);
  if (found == std::end(kGeneratorShapeNames))
    r.Fail(*generator, "\"" + generator->Value +
                           "\" is no generator (sine, square, triangle, ramp, constant, noise)");
  g.Shape = static_cast<TGeneratorShape>(found - std::begin(kGeneratorShapeNames));
  g.Rate = r.Number("Rate", 1000, true);
  g.Amplitude = r.Number("Amplitude", 1);
  g.Frequency = r.Number("Frequency", 1);
  g.Offset = r.Number("Offset", 0);
  g.Phase = r.Number("Phase", 0);
  g.Seed = r.Whole("Seed", 1);
  g.Channel = r.Text("Channel", "signal");
  if (!s.Names.empty()) r.Fail(*r.Entry("Channels"), "a generator names its channel with Channel=");
  s.Rate = g.Rate;
  return s;
}

// A link's value: a number, a quoted text, or a bare word taken as text (Evaluate, Exit).
TPropertyValue LinkValue(std::string_view text) {
  text = Trim(text);
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
    return std::string(text.substr(1, text.size() - 2));
  double number = 0;
  if (!text.empty() && ParseNumber(text, false, number)) return number;
  return std::string(text);
}

TLinkSetup ReadLink(const TIniDocument& doc, const TIniEntry& entry) {
  const auto fail = [&](const std::string& what) {
    throw EInputError(doc.Where(entry.Line) + ": [Links] " + entry.Key + ": " + what);
  };
  TLinkSetup link;
  link.Line = entry.Line;
  link.Key = entry.Key;
  const std::size_t dot = entry.Key.find('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == entry.Key.size())
    fail("the target must be PANEL.PROPERTY");
  link.TargetPanel = entry.Key.substr(0, dot);
  link.TargetProperty = entry.Key.substr(dot + 1);
  std::string_view value = Trim(entry.Value);
  if (value.empty()) fail("names no source");
  const std::size_t on = value.rfind(" on ");
  if (on != std::string_view::npos) {
    link.OnEvent = true;
    link.Value = LinkValue(value.substr(0, on));
    const std::string_view source = Trim(value.substr(on + 4));
    const std::size_t sourceDot = source.find('.');
    if (sourceDot == std::string_view::npos || sourceDot == 0 || sourceDot + 1 == source.size())
      fail("an event link is written \"VALUE on PANEL.EVENT\"");
    link.SourcePanel = std::string(Trim(source.substr(0, sourceDot)));
    link.Event = std::string(Trim(source.substr(sourceDot + 1)));
    return link;
  }
  const std::size_t question = value.find('?');
  if (question != std::string_view::npos) {
    const std::size_t colon = value.find(':', question);
    if (colon == std::string_view::npos)
      fail("boolean presets are written \"PANEL ? TRUE : FALSE\"");
    link.PresetTrue = LinkValue(value.substr(question + 1, colon - question - 1));
    link.PresetFalse = LinkValue(value.substr(colon + 1));
    value = Trim(value.substr(0, question));
  }
  if (value.find_first_of(". ") != std::string_view::npos)
    fail("\"" + std::string(value) + "\" is not a panel name (a panel's result drives a link)");
  link.SourcePanel = std::string(value);
  return link;
}

TSinkSetup ReadSink(const TIniDocument& doc, const TIniSection& section, const TWorksheet& w,
                    const std::string& name) {
  TSectionReader r(doc, section, {"File", "Channels", "DecimalComma", "SampleRate"});
  TSinkSetup s;
  s.Name = name;
  s.Line = section.Line;
  s.File = r.Text("File");
  s.BaseDir = w.Directory;
  if (s.File.empty()) r.FailSection("a sink needs File=...");
  const std::string extension = Extension(s.File);
  if (extension == ".wav")
    s.Wav = true;
  else if (extension != ".csv" && extension != ".txt")
    r.Fail(*r.Entry("File"), "\"" + s.File + "\" is neither a .csv nor a .wav file");
  s.DecimalComma = r.Flag("DecimalComma");
  s.SampleRate = r.Number("SampleRate", 0, true);
  s.Channels = r.List("Channels");
  if (s.Channels.empty()) r.FailSection("a sink needs Channels=PANEL.CHANNEL, ...");
  s.ChannelsLine = r.Entry("Channels")->Line;
  return s;
}

}  // namespace

std::string TPanelSetup::Locate(const std::string& section, const std::string& key) const {
  const int line = Document.LineOf(Prefix + section, key);
  return Document.Where(line > 0 ? line : Line) + ": [" + Prefix + section + "]" +
         (key.empty() ? "" : " " + key);
}

std::string LocateProblem(const TPanelSetup& panel, const std::string& problem) {
  const std::size_t close = problem.find(']');
  if (problem.size() < 3 || problem.front() != '[' || close == std::string::npos ||
      close + 2 > problem.size())
    return panel.Document.Where(panel.Line) + ": " + problem;
  const std::string section = problem.substr(1, close - 1);
  const std::size_t colon = problem.find(": ", close);
  std::string key = colon == std::string::npos ? "" : problem.substr(close + 2, colon - close - 2);
  if (key.find(' ') != std::string::npos) key.clear();  // "[Expressions] Loops or ...": no key
  const std::string rest = problem.substr(key.empty() ? close + 2 : colon + 2);
  return panel.Locate(section, key) + (key.empty() ? " " : ": ") + rest;
}

std::string ResolvePath(const std::string& folder, const std::string& name) {
  if (name == "-" || name.empty() || folder.empty() || std::filesystem::path(name).is_absolute())
    return name;
  return (std::filesystem::path(folder) / name).lexically_normal().string();
}

bool IsWorksheetText(std::string_view text) {
  const TIniDocument document = ScanIni(text, "", /*strict=*/false);
  for (const TIniSection& section : document.Sections) {
    const std::string name = Lowercase(section.Name);
    if (name == "worksheet" || name.rfind("source:", 0) == 0 || name.rfind("panel:", 0) == 0)
      return true;
  }
  return false;
}

std::vector<std::string> FileSourceNames(std::string_view worksheetText) {
  std::vector<std::string> names;
  const TIniDocument document = ScanIni(worksheetText, "", /*strict=*/false);
  for (const TIniSection& section : document.Sections) {
    const std::size_t colon = section.Name.find(':');
    if (colon != std::string::npos && Lowercase(section.Name.substr(0, colon)) == "source" &&
        section.Find("File") != nullptr)
      names.emplace_back(Trim(section.Name.substr(colon + 1)));
  }
  return names;
}

TWorksheet LoadWorksheet(const std::string& path, const TSourceFiles& sourceFiles) {
  TWorksheet w;
  w.File = path;
  w.Directory = std::filesystem::path(path).parent_path().string();
  if (w.Directory.empty()) w.Directory = ".";
  const TIniDocument doc = ScanIni(ReadTextFile(path, path), path);
  bool pacingFromGenerator = false;
  const auto taken = [&](const std::string& name) {
    for (const TSourceSetup& s : w.Sources)
      if (EqualsNoCase(s.Name, name)) return true;
    for (const TPanelSetup& p : w.Panels)
      if (EqualsNoCase(p.Name, name)) return true;
    return false;
  };
  for (const TIniSection& section : doc.Sections) {
    const std::size_t colon = section.Name.find(':');
    const std::string kind = Lowercase(section.Name.substr(0, colon));
    const std::string name =
        colon == std::string::npos ? "" : std::string(Trim(section.Name.substr(colon + 1)));
    if (colon == std::string::npos && kind == "worksheet") {
      ReadWorksheetSection(doc, section, w);
    } else if (colon == std::string::npos && kind == "ports") {
      ReadPorts(doc, section, w);
    } else if (colon == std::string::npos && kind == "links") {
      for (const TIniEntry& entry : section.Entries) w.Links.push_back(ReadLink(doc, entry));
    } else if (kind == "source" || kind == "panel") {
      CheckName(doc, section, kind, name);
      if (taken(name))
        throw EInputError(doc.Where(section.Line) + ": [" + section.Name + "] the name \"" + name +
                          "\" is taken by another source or panel");
      if (kind == "source") {
        const auto replaced =
            std::find_if(sourceFiles.begin(), sourceFiles.end(),
                         [&](const auto& e) { return EqualsNoCase(e.first, name); });
        w.Sources.push_back(ReadSource(
            doc, section, w, name, replaced == sourceFiles.end() ? nullptr : &replaced->second));
        if (w.Sources.back().Kind == TSourceSetup::kGenerator) pacingFromGenerator = true;
        continue;
      }
      TSectionReader r(doc, section, {"Settings", "Engine"});
      TPanelSetup p;
      p.Name = name;
      p.Line = section.Line;
      p.Engine = r.Flag("Engine");
      if (const TIniEntry* settings = r.Entry("Settings")) {
        const std::string file = ResolvePath(w.Directory, settings->Value);
        try {
          p.SettingsText = ReadTextFile(file, settings->Value);
        } catch (const EInputError& error) {
          r.Fail(*settings, error.what());
        }
        p.Document = ScanIni(p.SettingsText, file, /*strict=*/false);
      } else {
        p.Prefix = name + ":";
      }
      w.Panels.push_back(std::move(p));
    } else if (kind == "sink") {
      CheckName(doc, section, kind, name);
      w.Sinks.push_back(ReadSink(doc, section, w, name));
    } else if (colon == std::string::npos) {
      throw EInputError(doc.Where(section.Line) + ": [" + section.Name +
                        "] is no section of a worksheet (Worksheet, Ports, Source:NAME, "
                        "Panel:NAME, Sink:NAME, Links, or NAME:Section of an inline panel)");
    }
  }
  // Inline settings: the sections "NAME:Section" become the panel's own block.
  for (const TIniSection& section : doc.Sections) {
    const std::size_t colon = section.Name.find(':');
    if (colon == std::string::npos) continue;
    const std::string kind = Lowercase(section.Name.substr(0, colon));
    if (kind == "source" || kind == "panel" || kind == "sink") continue;
    const std::string owner = section.Name.substr(0, colon);
    auto panel = std::find_if(w.Panels.begin(), w.Panels.end(),
                              [&](const TPanelSetup& p) { return p.Name == owner; });
    if (panel == w.Panels.end())
      throw EInputError(doc.Where(section.Line) + ": [" + section.Name + "] no [Panel:" + owner +
                        "] declares the panel these settings belong to");
    if (panel->Prefix.empty())
      throw EInputError(doc.Where(section.Line) + ": [" + section.Name + "] the panel \"" + owner +
                        "\" reads its settings from a file already (Settings=)");
    panel->SettingsText += "[" + section.Name.substr(colon + 1) + "]\n";
    for (const TIniEntry& entry : section.Entries)
      panel->SettingsText += entry.Key + "=" + entry.Value + "\n";
  }
  for (TPanelSetup& p : w.Panels) {
    if (!p.Prefix.empty() && p.SettingsText.empty())
      throw EInputError(doc.Where(p.Line) + ": [Panel:" + p.Name +
                        "] needs Settings=FILE or its settings inline under [" + p.Name +
                        ":General], [" + p.Name + ":Expressions], ...");
    if (!p.Prefix.empty()) p.Document = doc;
  }
  if (w.Panels.empty()) throw EInputError(path + ": the worksheet holds no [Panel:NAME]");
  for (const auto& [name, file] : sourceFiles) {
    const bool known = std::any_of(w.Sources.begin(), w.Sources.end(), [&](const TSourceSetup& s) {
      return EqualsNoCase(s.Name, name);
    });
    if (known) continue;
    std::string list;
    for (const TSourceSetup& s : w.Sources) list += (list.empty() ? "" : ", ") + s.Name;
    throw EInputError("--source " + name + ": " + path + " has no [Source:" + name +
                      "] (its sources: " + (list.empty() ? "none" : list) + ")");
  }
  if (!w.PacingGiven && pacingFromGenerator) w.Pacing = TPacing::RealTime;
  const bool endless =
      std::any_of(w.Sources.begin(), w.Sources.end(),
                  [](const TSourceSetup& s) { return s.Kind == TSourceSetup::kGenerator; }) ||
      w.Sources.empty();
  if (endless && w.Duration <= 0)
    throw EInputError(
        path + ": [Worksheet] Duration: a worksheet " +
        (w.Sources.empty() ? std::string("without sources") : std::string("with generators")) +
        " needs the run's length in seconds (Duration=10)");
  return w;
}

TWorksheet SinglePanelWorksheet(const TSinglePanelRun& run) {
  TWorksheet w;
  w.SinglePanel = true;
  w.File = run.PanelFile;
  w.Directory = std::filesystem::path(run.PanelFile).parent_path().string();
  if (w.Directory.empty()) w.Directory = ".";
  TSourceSetup source;
  source.Name = "input";
  source.Path = source.Shown = run.InputFile;
  source.Block = run.Block;
  source.Rate = run.Rate;
  const std::string extension = Extension(run.InputFile);
  if (run.Supply) {
    source.Kind = TSourceSetup::kSupplied;
    source.Supply = run.Supply;
  } else if (extension == ".wav") {
    source.Kind = TSourceSetup::kWav;
  } else if (extension == ".mat") {
    source.Kind = TSourceSetup::kMat;
  }
  if (!run.Supply && run.InputFile != "-" && !std::filesystem::is_regular_file(run.InputFile))
    throw EInputError("--input: the file \"" + run.InputFile + "\" does not exist");
  w.Sources.push_back(source);
  TPanelSetup panel;
  panel.Name = std::filesystem::path(run.PanelFile).stem().string();
  if (panel.Name.empty() || panel.Name.find('.') != std::string::npos) panel.Name = "panel";
  panel.SettingsText =
      run.SettingsText.empty() ? ReadTextFile(run.PanelFile, run.PanelFile) : run.SettingsText;
  panel.Document = ScanIni(panel.SettingsText, run.PanelFile, /*strict=*/false);
  w.Panels.push_back(std::move(panel));
  if (!run.OutputFile.empty() || run.SupplySink) {
    TSinkSetup sink;
    sink.Name = "output";
    sink.File = run.OutputFile;
    sink.Wav = Extension(run.OutputFile) == ".wav";
    sink.Supply = run.SupplySink;
    sink.AllOf = w.Panels.front().Name;
    w.Sinks.push_back(sink);
  }
  w.EventsFile = run.EventsFile;
  return w;
}

}  // namespace loom
