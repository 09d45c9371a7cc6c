// Draws the dialogs and the live plot offscreen and saves each as a PNG for the README:
//   QT_QPA_PLATFORM=offscreen loom_ui_screenshots DIR
// The property page shows the machine worksheet's temperature panel, the plot a run of the
// whole worksheet.
#include <QApplication>
#include <QDir>
#include <QTemporaryDir>
#include <fstream>
#include <iostream>
#include <sstream>

#include "host/ReferenceHost.h"
#include "ui/Dialogs.h"
#include "ui/MatlabTestBed.h"
#include "ui/PlotWindow.h"
#include "ui/PropertyPage.h"
#include "ui/QtText.h"
#include "ui/SerialPage.h"

using namespace loom;

namespace {

bool Save(QWidget& widget, const QDir& dir, const QString& name) {
  widget.show();
  QApplication::processEvents();
  const QString path = dir.filePath(name + ".png");
  if (widget.grab().save(path, "PNG", 9)) return true;
  std::cerr << "cannot write " << FromQ(path) << "\n";
  return false;
}

std::string ReadText(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  if (argc != 2) {
    std::cerr << "usage: loom_ui_screenshots DIR\n";
    return 2;
  }
  const QDir dir(argv[1]);
  const std::string examples = LOOM_SOURCE_DIR "/examples/machine/";
  std::vector<std::string> problems;
  TPanelSettings settings = ReadPanelSettings(ReadText(examples + "temperature.ini"), problems);
  settings.Serial.EOLSequence = "\r\n";
  settings.Serial.InputOperationMode = iomEOLSequenze;
  QTemporaryDir scratch;
  bool ok = true;
  {
    TPropertyPageFormulaPanel page(settings, FromQ(scratch.filePath("macros.dat")));
    page.resize(900, 560);
    const char* names[] = {"page-formulas", "page-options", "page-inputs",
                           "page-outputs",  "page-serial",  "page-user-events"};
    for (int i = 0; i < page.Pages->count(); ++i) {
      page.Pages->setCurrentIndex(i);
      if (i == 0) {
        page.MFormula->setFocus();
        QTextCursor cursor = page.MFormula->textCursor();
        cursor.setPosition(12);  // in TCVoltageToTemperatureWithCJC: its help shows
        page.MFormula->setTextCursor(cursor);
      }
      ok = Save(page, dir, names[i]) && ok;
    }
    page.ExecDialog = [&](QDialog& dialog) {
      dialog.resize(560, 520);
      if (auto* report = dynamic_cast<TFFormulaCheckResults*>(&dialog))
        report->Report()->moveCursor(QTextCursor::End);
      ok = Save(dialog, dir,
                dynamic_cast<TFFormulaCheckResults*>(&dialog) ? "validation" : "macros") &&
           ok;
      return int(QDialog::Rejected);
    };
    page.BValidateClick();
    TMacroFile(FromQ(scratch.filePath("macros.dat")))
        .CreateMacro("Over temperature", {{"limit := 90", "hot := 0"}, {"hot := degC > limit"}});
    page.BMacrosClick();
  }
  {
    TFormMatlabExperimentWindow bed;
    bed.MCommands->setPlainText("x = linspace(0, 1, 5);\ny = x .^ 2");
    bed.MResults->setPlainText("y =\n\n        0   0.0625   0.2500   0.5625   1.0000\n");
    bed.resize(640, 420);
    ok = Save(bed, dir, "testbed") && ok;
    TFormMatlabTestbedWarning warning;
    ok = Save(warning, dir, "testbed-warning") && ok;
  }
  {
    TPlotStore store;
    TRunOptions options;
    options.OutputDir = FromQ(scratch.path());
    options.OnRows = [&](const TRunRows& rows) {
      store.Append(rows.Producer, rows.FromPanel, rows.Names, rows.Columns, rows.Times);
    };
    options.OnEvent = [&](const THostEvent& event) { store.AppendEvent(PlotEventLine(event)); };
    TReferenceHost host(LoadWorksheet(examples + "machine.ini"), options);
    host.Prepare();
    host.Run();
    TPlotWindow window("examples/machine/machine.ini", store);
    window.SetStatus(
        QString("Finished: %1 samples. Close the window to end.").arg(store.SamplesSeen()));
    window.resize(1000, 560);
    window.show();
    QApplication::processEvents();
    window.Refresh();
    ok = Save(window, dir, "plot") && ok;
  }
  return ok ? 0 : 1;
}
