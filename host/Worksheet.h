// A worksheet: what `loom run` runs. It is an INI file, the syntax users already edit:
//
//   [Worksheet]          Duration (seconds of data), Pacing (fast | realtime), Speed, Events
//   [Ports]              n=/dev/ttyUSB0: the serial port table
//   [Source:NAME]        File=data.csv (.csv, .wav, .mat) or Generator=sine|square|triangle|
//                        ramp|constant|noise, with Rate, Amplitude, Frequency, Offset, Phase,
//                        Seed, Channel; Block (rows per block), Channels (names), Normalize
//   [Panel:NAME]         Settings=FILE, or the settings inline under [NAME:General],
//                        [NAME:Expressions], ...; Engine=1 starts the engine bridge
//   [Sink:NAME]          File=out.csv (or .wav), Channels=PANEL.CHANNEL, SOURCE.CHANNEL, ...
//   [Links]              control connections, one per line (see TLinkSetup)
//
// A channel is named SOURCE.CHANNEL or PANEL.CHANNEL, which is what panels' channel origins
// hold. Every mistake is an EInputError naming the file, the line and the key.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/DataBlock.h"
#include "host/Generator.h"
#include "host/IniScan.h"
#include "panel/PanelHost.h"

namespace loom {

enum class TPacing { Fast, RealTime };

struct TSourceSetup {
  std::string Name;
  int Line = 0;
  std::string Path;   // the file to read ("-" is standard input); empty for a generator
  std::string Shown;  // the file as the worksheet names it
  enum TKind { kCsv, kWav, kMat, kGenerator, kSupplied } Kind = kCsv;
  TGeneratorSettings Generator;
  // kSupplied: the embedder's data (arrays of a Python caller), opened when the run prepares.
  std::function<std::unique_ptr<TDataSource>()> Supply;
  std::size_t Block = 0;  // rows per block; 0: about a tenth of a second of data
  double Rate = 0;        // samples per second of a file without a time axis
  bool Normalize = false;
  std::vector<std::string> Names;  // channel names for files that have none
};

struct TPanelSetup {
  std::string Name;
  int Line = 0;
  std::string SettingsText;  // the panel's settings block as ReadProperties takes it
  TIniDocument Document;     // the file its sections stand in, for the lines of messages
  std::string Prefix;        // "NAME:" when the settings stand inline in the worksheet
  bool Engine = false;       // start the engine bridge when the panel is loaded

  // "file:line: [Section] key" of a settings key, the prefix of messages about it.
  std::string Locate(const std::string& section, const std::string& key) const;
};

struct TSinkSetup {
  std::string Name;
  int Line = 0;
  std::string File;     // as written; relative names resolve against the output folder
  std::string BaseDir;  // the folder relative names resolve against without --output-dir
  bool Wav = false;
  bool DecimalComma = false;
  double SampleRate = 0;              // WAV: 0 takes the rate of the first rows
  std::vector<std::string> Channels;  // PANEL.CHANNEL or SOURCE.CHANNEL
  int ChannelsLine = 0;
  std::string AllOf;  // instead: every output channel of this panel
  // Instead of a file: the embedder's sink, given the sink's channel names.
  std::function<std::unique_ptr<TDataSink>(const std::vector<std::string>&)> Supply;
};

// A control connection, written TARGET = SOURCE in [Links]:
//   pid.setpoint = master            master's result drives pid's property "setpoint"
//   fan.Action = alarm ? 1 : 0       in boolean mode alarm's true sends 1, its false 0
//   logger.Action = Evaluate on thermo.OverTemperature
//                                    the event (its name, text or index) sets the property
// A target property is one the panel offers: an input variable, Action, StringInput.
struct TLinkSetup {
  int Line = 0;
  std::string Key;  // as written, for messages
  std::string TargetPanel, TargetProperty;
  std::string SourcePanel;
  bool OnEvent = false;
  std::string Event;
  TPropertyValue Value;  // what an event sends
  TPropertyValue PresetTrue = 1.0, PresetFalse = 0.0;
};

struct TWorksheet {
  std::string File;       // as shown in messages
  std::string Directory;  // relative names of formulas and inputs resolve against it
  double Duration = 0;    // seconds of data; 0 runs until every source has ended
  TPacing Pacing = TPacing::Fast;
  bool PacingGiven = false;
  double Speed = 1;  // real-time pacing at this multiple of real time
  std::string EventsFile, EventsBaseDir;
  bool HasPorts = false;
  std::vector<std::string> Ports;
  std::vector<TSourceSetup> Sources;
  std::vector<TPanelSetup> Panels;
  std::vector<TSinkSetup> Sinks;
  std::vector<TLinkSetup> Links;
  // A panel run on one file: its channel origins match that file's columns by their channel
  // name, and by order when the file has no names.
  bool SinglePanel = false;
};

// Whether text is a worksheet rather than a panel's settings: it has a [Worksheet], [Source:]
// or [Panel:] section.
bool IsWorksheetText(std::string_view text);

// Data files that replace those of file sources, by source name: the same worksheet run on
// another recording. Relative names stand as given (against the working folder), not against
// the worksheet's folder.
using TSourceFiles = std::map<std::string, std::string>;

// Reads and checks a worksheet file (everything that can be checked without opening sources
// and building panels); raises EInputError. Each entry of sourceFiles must name a file source.
TWorksheet LoadWorksheet(const std::string& path, const TSourceFiles& sourceFiles = {});

// The names of the worksheet text's file sources, in their order (no check beyond that).
std::vector<std::string> FileSourceNames(std::string_view worksheetText);

// The worksheet of `loom run PANEL.ini --input FILE`: one source "input", the panel named after
// its file, a sink for output when one is given.
struct TSinglePanelRun {
  std::string PanelFile, InputFile, OutputFile, EventsFile;
  std::size_t Block = 0;
  double Rate = 0;
  // An embedder's run: the settings as text (PanelFile then only names the panel and its
  // folder), the data from Supply instead of InputFile, the outputs to SupplySink.
  std::string SettingsText;
  std::function<std::unique_ptr<TDataSource>()> Supply;
  std::function<std::unique_ptr<TDataSink>(const std::vector<std::string>&)> SupplySink;
};
TWorksheet SinglePanelWorksheet(const TSinglePanelRun& run);

// A problem of a panel's settings ("[Section] key: what", as the panel reports it) with the
// file and line it belongs to in front: "rms.ini:7: [General] BooleanResult: what".
std::string LocateProblem(const TPanelSetup& panel, const std::string& problem);

// A file name resolved against a folder; absolute names and "-" stay as they are.
std::string ResolvePath(const std::string& folder, const std::string& name);

}  // namespace loom
