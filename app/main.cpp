// `loom`: the command line of the Loom formula engine. This file only parses the arguments; the
// commands themselves live in the loom_app library.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <string>
#include <vector>

#include "app/BatchCommand.h"
#include "app/EvalCommand.h"
#include "app/ListCommands.h"
#include "app/Repl.h"
#include "app/RunCommand.h"
#include "serial/PortTable.h"
#ifdef LOOM_HAVE_UI
#include "ui/EditCommand.h"
#endif

namespace {

using namespace loom;

// Adds the evaluator options shared by eval and repl. separator receives "." or ",".
void AddEvaluatorOptions(CLI::App& command, TEvaluatorOptions& options, std::string& separator,
                         bool& noFold) {
  command.add_flag("--cstyle", options.CStyle, "add the C-style spellings: || && == != fact perc");
  command
      .add_option("--decimal-separator", separator,
                  "decimal separator of numbers, \".\" or \",\" (with \",\" lists use \";\")")
      ->check(CLI::IsMember({".", ","}))
      ->type_name("C");
  command.add_flag("--no-fold", noFold, "compile without constant folding");
  command.add_flag("--engine", options.ConnectEngine,
                   "start the engine bridge (octave-cli) before the first formula");
}

void ApplyEvaluatorOptions(TEvaluatorOptions& options, const std::string& separator, bool noFold) {
  options.DecimalSeparator = separator.front();
  options.ConstantFolding = !noFold;
}

// CLI11 splits an argument written "[a,b,c]" into three values of a list option, and formulas
// write vectors exactly so. Such an argument is parsed with a marker appended (so that it no
// longer ends in "]"), which is removed again afterwards.
constexpr char kBracketMarker = '\x1f';

std::vector<std::string> ProtectBracketArguments(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int i = argc - 1; i > 0; --i) {  // CLI11 takes its arguments in reverse order
    std::string argument = argv[i];
    if (argument.size() >= 2 && argument.front() == '[' && argument.back() == ']') {
      argument.push_back(kBracketMarker);
    }
    arguments.push_back(std::move(argument));
  }
  return arguments;
}

constexpr const char* kDoubleDashHint =
    "an EXPR that begins with \"-\" goes after \"--\", which ends the options: loom eval -- -x";

void UnprotectBracketArgument(std::string& argument) {
  if (!argument.empty() && argument.back() == kBracketMarker) argument.pop_back();
}

void OnInterrupt(int /*signal*/) {
  InterruptRepl();
}

// Ctrl-C stops a running block and returns to the prompt instead of ending the REPL.
void CatchInterrupts() {
  struct sigaction action = {};
  action.sa_handler = &OnInterrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
}

int RunRepl(const TEvaluatorOptions& options) {
  auto evaluator = MakeEvaluator(options);
  const bool interactive = isatty(STDIN_FILENO) != 0;
  auto reader =
      interactive ? MakeTerminalLineReader(DefaultHistoryFile()) : MakeStreamLineReader(std::cin);
  if (interactive) {
    CatchInterrupts();
    std::cout << "Loom " LOOM_VERSION " formula REPL; :help lists the commands, :quit leaves.\n";
  }
  TRepl repl(*evaluator, *reader, std::cout, std::cerr);
  return repl.Run();
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Loom: a formula engine for measurement data.", "loom"};
  app.set_version_flag("--version", "loom " LOOM_VERSION);
  app.require_subcommand(1);

  TEvalOptions eval;
  std::string evalSeparator = ".";
  bool evalNoFold = false;
  CLI::App* evalCommand = app.add_subcommand(
      "eval", "evaluate expressions in turn (variables carry over), or run a script with -f");
  AddEvaluatorOptions(*evalCommand, eval.Evaluator, evalSeparator, evalNoFold);
  CLI::Option* fileOption = evalCommand->add_option(
      "-f,--file", eval.ScriptFile, "run the script FILE (\"-\" reads standard input) once");
  fileOption->type_name("FILE");
  CLI::Option* booleanOption = evalCommand->add_flag(
      "--boolean", eval.Boolean, "take the last EXPR as a condition and print True or False");
  evalCommand->add_flag("--dump", eval.Dump,
                        "print the compiled list of each expression before its result");
  evalCommand
      ->add_flag("--trace", eval.Trace,
                 "scripts: print \"index: result\" for each expression run (index from 0)")
      ->needs(fileOption);
  evalCommand
      ->add_option("--timeout", eval.TimeoutSeconds, "scripts: stop after SECONDS, exit status 2")
      ->check(CLI::Range(0.001, 1.0e6))
      ->type_name("SECONDS")
      ->needs(fileOption);
  CLI::Option* expressionsOption =
      evalCommand->add_option("EXPR", eval.Expressions, "expressions, evaluated in turn")
          ->type_name("");
  fileOption->excludes(expressionsOption);
  booleanOption->excludes(fileOption);

  TEvaluatorOptions repl;
  std::string replSeparator = ".";
  bool replNoFold = false;
  CLI::App* replCommand =
      app.add_subcommand("repl", "read, evaluate and print formulas interactively");
  AddEvaluatorOptions(*replCommand, repl, replSeparator, replNoFold);

  TEvaluatorOptions words;
  CLI::App* functionsCommand = app.add_subcommand("functions", "list the functions");
  functionsCommand->add_flag("--cstyle", words.CStyle, "include the C-style spellings");
  CLI::App* operatorsCommand = app.add_subcommand("operators", "list the operators");
  operatorsCommand->add_flag("--cstyle", words.CStyle, "include the C-style spellings");
  std::string topicName;
  CLI::App* helpTopicCommand =
      app.add_subcommand("help-topic", "print the help page of a function, operator or name");
  helpTopicCommand->add_option("NAME", topicName, "the word")->required()->type_name("");
  TRunCommandOptions run;
  bool runNoProgress = false;
  CLI::App* runCommand = app.add_subcommand(
      "run", "run a worksheet, or one panel's settings on a data file (--input), as a host would");
  runCommand->add_option("FILE", run.File, "a worksheet, or a panel's settings file")
      ->required()
      ->type_name("");
  runCommand
      ->add_option("--input", run.Input,
                   "panel: the data (.csv, .wav, .mat; \"-\" is CSV "
                   "on standard input)")
      ->type_name("FILE");
  runCommand
      ->add_option("--source", run.Sources,
                   "worksheet: read FILE instead of the file of [Source:NAME] (repeatable)")
      ->type_name("NAME=FILE")
      ->allow_extra_args(false);
  runCommand->add_option("--output", run.Output, "panel: write its output channels (.csv, .wav)")
      ->type_name("FILE");
  runCommand->add_option("--events", run.Events, "write the events as JSON lines")
      ->type_name("FILE");
  runCommand->add_option("--block", run.Block, "panel: rows per block (default: 0.1 s of data)")
      ->type_name("N");
  runCommand->add_option("--rate", run.Rate, "panel: samples per second of a file without time")
      ->type_name("HZ");
  runCommand
      ->add_option("--output-dir", run.OutputDir,
                   "relative output files go to DIR instead of beside the worksheet")
      ->type_name("DIR");
  runCommand->add_option("--pacing", run.Pacing, "fast (files) or realtime (generators, serial)")
      ->check(CLI::IsMember({"fast", "realtime"}))
      ->type_name("MODE");
  runCommand->add_option("--speed", run.Speed, "real-time pacing at this multiple of real time")
      ->type_name("X");
  runCommand->add_option("--duration", run.Duration, "seconds of data to run")
      ->type_name("SECONDS");
  CLI::Option* recordOption =
      runCommand
          ->add_option("--record", run.Record,
                       "also write every panel's outputs and the events to DIR, for --expect")
          ->type_name("DIR");
  runCommand
      ->add_option("--expect", run.Expect,
                   "compare outputs and events with a recording; exit 1 when they differ")
      ->type_name("DIR")
      ->excludes(recordOption);
  runCommand
      ->add_option("--tolerance", run.Tolerance,
                   "--expect: relative tolerance of numbers (default 1e-9)")
      ->type_name("T");
  runCommand->add_flag("--all-events", run.AllEvents,
                       "log \"Before evaluation\" and \"After evaluation\" too");
  runCommand->add_flag("--quiet", run.Quiet, "print no summary");
#ifdef LOOM_HAVE_UI
  runCommand->add_flag("--plot", run.Plot,
                       "plot the input and output channels live, with the events beside them");
#endif
  runCommand->add_flag("--no-progress", runNoProgress, "draw no progress line on a terminal");
  TBatchOptions batch;
  bool batchNoProgress = false;
  CLI::App* batchCommand = app.add_subcommand(
      "batch", "run a worksheet, or a panel's settings, on many data files: one loom run each");
  batchCommand->add_option("FILE", batch.File, "a worksheet, or a panel's settings file")
      ->required()
      ->type_name("");
  batchCommand->add_option("INPUTS", batch.Inputs, "the data files (.csv, .wav, .mat)")
      ->required()
      ->type_name("");
  batchCommand->add_option("--out", batch.OutDir, "each file's outputs go to DIR/NAME")
      ->required()
      ->type_name("DIR");
  batchCommand->add_option("-j,--jobs", batch.Jobs, "files at a time (default: one per processor)")
      ->check(CLI::Range(1, 1024))
      ->type_name("N");
  batchCommand
      ->add_option("--source", batch.Source,
                   "worksheet: the source each file replaces (default: its only file source)")
      ->type_name("NAME");
  batchCommand->add_option("--block", batch.Block, "panel: rows per block")->type_name("N");
  batchCommand->add_option("--rate", batch.Rate, "panel: samples per second of a file without time")
      ->type_name("HZ");
  batchCommand->add_flag("--no-progress", batchNoProgress, "draw no progress line on a terminal");
  std::string checkFile;
  CLI::App* checkCommand =
      app.add_subcommand("check", "validate a panel's settings file: the report of its scripts");
  checkCommand->add_option("FILE", checkFile, "a panel's settings file")->required()->type_name("");

  CLI::App* portsCommand = app.add_subcommand(
      "ports", "list the serial port table: number, device and whether it can be opened now");

#ifdef LOOM_HAVE_UI
  TEditCommandOptions edit;
  CLI::App* editCommand = app.add_subcommand(
      "edit", "open the property page on a panel's settings file (a new file when missing)");
  editCommand->add_option("FILE", edit.File, "a panel's settings file")->required()->type_name("");
  editCommand
      ->add_option("--macros", edit.MacroFile,
                   "the macro file (default: macros.dat beside the loom executable)")
      ->type_name("FILE");
#endif

  try {
    std::vector<std::string> arguments = ProtectBracketArguments(argc, argv);
    app.parse(arguments);
    for (std::string& expression : eval.Expressions) UnprotectBracketArgument(expression);
    UnprotectBracketArgument(eval.ScriptFile);
    UnprotectBracketArgument(topicName);
    if (evalCommand->parsed() && eval.ScriptFile.empty() && eval.Expressions.empty()) {
      throw CLI::ValidationError("eval: give EXPR... or -f FILE");
    }
  } catch (const CLI::ExtrasError& error) {
    // An expression such as -x reads as an unknown option: say how to write it.
    if (evalCommand->parsed()) {
      app.exit(CLI::ParseError(std::string(error.what()) + "\n" + kDoubleDashHint,
                               error.get_exit_code()));
    } else {
      app.exit(error);
    }
    return kExitUsage;
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    return status == 0 ? kExitOk : kExitUsage;
  }

  if (evalCommand->parsed()) {
    ApplyEvaluatorOptions(eval.Evaluator, evalSeparator, evalNoFold);
    return RunEvalCommand(eval, std::cin, std::cout, std::cerr);
  }
  if (replCommand->parsed()) {
    ApplyEvaluatorOptions(repl, replSeparator, replNoFold);
    return RunRepl(repl);
  }
  if (runCommand->parsed()) {
    run.Progress = !runNoProgress && !run.Quiet && isatty(STDERR_FILENO) != 0;
    return RunRunCommand(run, std::cout, std::cerr);
  }
  if (batchCommand->parsed()) {
    batch.Progress = !batchNoProgress && isatty(STDERR_FILENO) != 0;
    return RunBatchCommand(batch, std::cout, std::cerr);
  }
  if (checkCommand->parsed()) return RunCheckCommand(checkFile, std::cout, std::cerr);
#ifdef LOOM_HAVE_UI
  if (editCommand->parsed()) return RunEditCommand(edit, argc, argv, std::cout, std::cerr);
#endif
  if (portsCommand->parsed()) {
    std::cout << DescribePortTable();
    return kExitOk;
  }
  if (functionsCommand->parsed()) return RunFunctionsCommand(words, std::cout);
  if (operatorsCommand->parsed()) return RunOperatorsCommand(words, std::cout);
  return RunHelpTopicCommand(words, topicName, std::cout, std::cerr);
}
