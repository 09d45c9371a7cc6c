// The dialogs driven as a user would, on the offscreen platform: the property page's validation
// dialog, macros, the serial page on a pseudo-terminal, the end-of-line rows, the test bed's
// clipboard, a settings file written through the dialog and read back by a panel; and the live
// plot fed by a real run of the machine worksheet.
#include <pty.h>
#include <unistd.h>

#include <QApplication>
#include <QClipboard>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QtTest>
#include <fstream>
#include <sstream>

#include "host/RecordingHost.h"
#include "host/ReferenceHost.h"
#include "panel/FormulaPanel.h"
#include "serial/PortTable.h"
#include "ui/Dialogs.h"
#include "ui/EditCommand.h"
#include "ui/MatlabTestBed.h"
#include "ui/PlotWindow.h"
#include "ui/PropertyPage.h"
#include "ui/QtText.h"
#include "ui/SerialPage.h"

namespace loom {

namespace {

TPanelSettings Scripts(const QString& formula) {
  TPanelSettings s;
  s.Expressions = {"k := 2"};
  for (const std::string& line : EditorLines(formula)) s.Expressions.push_back(line);
  s.InitializationEndIndex = 1;
  s.ExitStartIndex = static_cast<std::int32_t>(s.Expressions.size());
  return s;
}

// The text of the one dialog the page shows while call runs; the dialog answers answer.
QString DialogText(TPropertyPageFormulaPanel& page, const std::function<void()>& call,
                   int answer = QDialog::Rejected) {
  QString text;
  page.ExecDialog = [&](QDialog& dialog) {
    if (auto* report = dynamic_cast<TFFormulaCheckResults*>(&dialog))
      text = dialog.windowTitle() + "|" + report->Report()->toPlainText();
    else if (auto* box = dynamic_cast<QMessageBox*>(&dialog))
      text = dialog.windowTitle() + "|" + box->text();
    return answer;
  };
  call();
  return text;
}

}  // namespace

class UiTest : public QObject {
  Q_OBJECT

 private slots:
  void ValidationReport_data() {
    QTest::addColumn<QString>("formula");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("generated");
    const QString k = "k, Type: Floating point number";
    QTest::newRow("number") << "a := k * 3\na + 1"
                            << "Expressions:\na := k * 3\na + 1\nExpression is valid.\n"
                               "Evaluation result was a floating point value: 7\n"
                            << "a, Type: Floating point number\n" + k;
    QTest::newRow("string") << "\"n=\" + Format(\"0\", k)"
                            << "Expression is valid.\nEvaluation result was a string: n=2\n"
                            << k;
    QTest::newRow("boolean") << "FALSE"
                             << "Evaluation result was a boolean False\n"
                             << k;
    QTest::newRow("vector") << "v := [1, 2, 3, 4, 5, 6, 7.5]"
                            << "Evaluation result was a vector: [ 1, 2, 3, 4, 5, 6,...]\n"
                            << k + "\nv, Type: Vector";
    QTest::newRow("short vector") << "[k]"
                                  << "Evaluation result was a vector: [ 2,...]\n"
                                  << k;
    QTest::newRow("error") << "b := k +\nc := 1"
                           << "Expressions:\nb := k +\nExpression is invalid, reason is: \n"
                           << "b, Type: Floating point number\n" + k;
  }
  void ValidationReport() {
    QFETCH(QString, formula);
    QFETCH(QString, expected);
    QFETCH(QString, generated);
    TPropertyPageFormulaPanel page(Scripts(formula), "");
    const QString text = DialogText(page, [&] { page.BValidateClick(); });
    QVERIFY2(text.startsWith("Validation result|External variables:\nControl channels:\n"),
             qPrintable(text));
    QVERIFY2(text.contains(expected), qPrintable(text));
    QVERIFY(text.contains("Initialization:\nk := 2\nExpression is valid.\n"));
    QCOMPARE(text.contains("c := 1"), false);  // a section stops at its first error
    QVERIFY2(text.endsWith("Automatically generated internal variables:\n" + generated),
             qPrintable(text));
  }

  void CloseCheckAsksBeforeClosing() {
    TPropertyPageFormulaPanel page(Scripts("x := (1"), "");
    QCOMPARE(DialogText(
                 page, [&] { page.accept(); }, QMessageBox::Cancel),
             QString("Validation result|Expression is invalid, reason is: \nUnbalanced brackets"));
    QCOMPARE(page.result(), int(QDialog::Rejected));  // kept open for editing
    DialogText(
        page, [&] { page.accept(); }, QMessageBox::Save);
    QCOMPARE(page.result(), int(QDialog::Accepted));
    page.setResult(QDialog::Rejected);
    page.BAddOutput->click();
    page.TOutputs->item(0, 4)->setText("1e3x");  // a cell without its number: no way to save
    QCOMPARE(DialogText(
                 page, [&] { page.accept(); }, QMessageBox::Save),
             QString("Loom panel properties|Outputs, row 1, Max: \"1e3x\" is not a number."));
    QCOMPARE(page.result(), int(QDialog::Rejected));
    TPropertyPageFormulaPanel jumps(Scripts("If(k)"), "");
    QVERIFY(DialogText(jumps, [&] { jumps.accept(); }).endsWith("Loops or jumps are not matched"));
  }

  void MacrosThroughTheDialog() {
    QTemporaryDir dir;
    TUFFEditMacro dialog(TMacroFile(FromQ(dir.filePath("macros.dat"))));
    QCOMPARE(dialog.windowTitle(), QString("Edit macros"));
    dialog.MInitialization->setPlainText("gain = 2, offset = 1\n\nname = \"a b\"");
    dialog.MFormula->setPlainText("y = x * gain + offset");
    dialog.CreateMacro("scale");
    dialog.MFormula->setPlainText("other");
    dialog.CreateMacro("SCALE");  // the existing macro stays as it was
    QCOMPARE(dialog.Status(), QString());
    dialog.CreateMacro("bad]name");
    QVERIFY(dialog.Status().startsWith("A macro name cannot hold"));

    TUFFEditMacro again(TMacroFile(FromQ(dir.filePath("macros.dat"))));
    QCOMPARE(again.CBMacros->count(), 1);
    again.ReadMacro(again.CBMacros->itemText(0));
    QCOMPARE(again.MInitialization->toPlainText(),
             QString("gain = 2, offset = 1\n\nname = \"a b\""));
    QCOMPARE(again.MFormula->toPlainText(), QString("y = x * gain + offset"));
  }

  void DataStopBitsRefusal() {
    int master = -1, slave = -1;
    char name[256];
    QVERIFY(openpty(&master, &slave, name, nullptr, nullptr) == 0);
    SetPortTable({name});
    {
      TSerialSettings settings;
      settings.Parameter = "0,9600,8,0,0,0";
      TSerialPage page(settings);
      QVERIFY(page.Port().IsOpen());
      QCOMPARE(page.CBPort->currentData().toInt(), 0);
      QCOMPARE(page.CBDataBits->currentText(), QString("8"));
      page.CBDataBits->setCurrentText("7");  // a pseudo-terminal keeps 8 data bits only
      page.DataStopBitsChanged(page.CBDataBits);
      QCOMPARE(page.LDescription->text(),
               QString("The combination of 7 databits and 1 stop bits is not supported by youre "
                       "hardware."));
      QCOMPARE(page.CBDataBits->currentText(), QString("8"));
      page.CBStopBits->setCurrentText("2");
      page.DataStopBitsChanged(page.CBStopBits);
      QCOMPARE(page.CBStopBits->currentText(), QString("2"));
      page.CBBaudRate->setCurrentText("115200");
      page.CBParity->setCurrentIndex(2);
      page.RBEolSequence->click();
      QCOMPARE(page.LDescription->text().contains("SerialInputEOLSequence"), true);
      const TSerialSettings out = page.Settings();
      QCOMPARE(out.Parameter, std::string("0,115200,8,2,2,0"));
      QCOMPARE(out.InputOperationMode, int(iomEOLSequenze));
      page.ChoosePort(-1);  // "None": the line settings are gone, the other items stay
      QCOMPARE(page.CBBaudRate->isEnabled(), false);
      QCOMPARE(page.Settings().Parameter, std::string("-1,9600,8,0,0,0"));
    }
    ResetPortTable();
    ::close(master);
    ::close(slave);
  }

  void EolEditorBuildsTheSequence() {
    TEolEditor eol;
    eol.SetSequence("\r");
    eol.AddRow();
    QVERIFY(eol.SetCode(1, "10"));
    eol.AddRow();
    QVERIFY(eol.SetCode(2, "65"));
    QVERIFY(!eol.SetCode(2, "300", true));  // refused: the row keeps 65
    QVERIFY(!eol.SetCode(2, "x", true));
    QCOMPARE(eol.List->topLevelItem(2)->text(1), QString("A"));
    QCOMPARE(eol.List->topLevelItem(0)->text(1), QString("CR"));
    eol.MoveRow(2, -2);
    QCOMPARE(eol.Sequence(), std::string("A\r\n"));
    eol.List->topLevelItem(1)->setText(0, "0");  // edited in place
    QCOMPARE(eol.List->topLevelItem(1)->text(1), QString("NUL"));
    QString refusal;
    eol.OnRefused = [&](const QString& message) { refusal = message; };
    eol.List->topLevelItem(1)->setText(0, "-3");  // refused in place: back to 0
    QCOMPARE(refusal,
             QString("\"-3\" is not a character code: give a whole number from 0 to 255."));
    QCOMPARE(eol.Sequence(), std::string("A\0\n", 3));
  }

  void ClipboardConversion_data() {
    QTest::addColumn<QString>("commands");
    QTest::addColumn<bool>("selectionOnly");
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("clipboard");
    QTest::addColumn<bool>("asked");
    QTest::newRow("plain lines") << "a = 1\nb = a * 2" << false << 0
                                 << "MatlabCommand( \"a = 1\")\nMatlabCommand( \"b = a * 2\")"
                                 << false;
    QTest::newRow("loop, yes") << "for i=1:3\n x(i)=i;\nend" << false << int(QDialog::Accepted)
                               << "MatlabCommand( \"for i=1:3; x(i)=i;;end\")" << true;
    QTest::newRow("loop, no") << "if a\nend" << false << int(QDialog::Rejected)
                              << "MatlabCommand( \"if a\")\nMatlabCommand( \"end\")" << true;
    QTest::newRow("selection") << "x = 1\ny = diff(x)\nz = 3" << true << int(QDialog::Rejected)
                               << "MatlabCommand( \"y = diff(x)\")" << true;
  }
  void ClipboardConversion() {
    QFETCH(QString, commands);
    QFETCH(bool, selectionOnly);
    QFETCH(int, answer);
    QFETCH(QString, clipboard);
    QFETCH(bool, asked);
    TFormMatlabExperimentWindow window;
    QCOMPARE(window.windowTitle(), QString("Matlab test bed"));
    bool wasAsked = false;
    window.AskWarning = [&](TFormMatlabTestbedWarning& warning) {
      wasAsked = warning.windowTitle() == "Matlab test bed warning" &&
                 warning.Memo->toPlainText().startsWith("Your selection seems to contain");
      return answer;
    };
    window.MCommands->setPlainText(commands);
    QTextCursor cursor(window.MCommands->document()->findBlockByNumber(1));
    cursor.movePosition(QTextCursor::Right, QTextCursor::KeepAnchor, 3);  // inside line 2
    window.MCommands->setTextCursor(cursor);
    QApplication::clipboard()->clear();
    window.CopyToClipboard(selectionOnly);
    QCOMPARE(QApplication::clipboard()->text(), clipboard);
    QCOMPARE(wasAsked, asked);
  }

  // The window's default engine is the real Octave bridge: an answer and an error of the engine
  // both arrive as text.
  void TestBedRunsCommandsOnTheEngine() {
    TFormMatlabExperimentWindow window;
    window.MCommands->setPlainText("disp(6 * 7)");
    window.BExecute->click();
    QVERIFY2(window.MResults->toPlainText().contains("42"),
             qPrintable(window.MResults->toPlainText()));
    window.MCommands->setPlainText("error('bad value %d', 7)");
    window.BExecute->click();
    QVERIFY2(window.MResults->toPlainText().contains("error: bad value 7"),
             qPrintable(window.MResults->toPlainText()));
  }

  // A failing bridge, which the real engine cannot be made to be on demand.
  void TestBedShowsTheEnginesAnswer() {
    TFormMatlabExperimentWindow window;
    std::string sent;
    window.Execute = [&](const std::string& command) {
      sent = command;
      if (command == "fail") throw std::runtime_error("engine gone");
      return std::string("x =\n\n     5\n");
    };
    window.MCommands->setPlainText("x = 5");
    window.BExecute->click();
    window.MCommands->setPlainText("fail");
    window.BExecute->click();
    QCOMPARE(window.MResults->toPlainText(),
             QString("x =\n\n     5\nThe engine failed: engine gone"));
  }

  void SettingsEditedThroughTheDialogReachThePanel() {
    TPanelSettings start;
    start.ExitStartIndex = 0;
    TPropertyPageFormulaPanel page(start, "");
    page.MInitialization->setPlainText("total = 0");
    page.MFormula->setPlainText("total = total + x\n\nout = total * gain");
    page.MExit->setPlainText("done = 1");
    page.CBImmediateEvaluation->setChecked(true);
    page.CBBooleanResult->setChecked(true);
    page.CBUseFixedDt->setChecked(true);
    page.SEDt->setValue(0.25);
    page.CBOnlyBooleanChanges->setChecked(true);
    page.CBEvaluateImmediately->setChecked(true);
    page.CBLimitExecutionInterval->setChecked(true);
    page.SETimer->setValue(250);
    page.BAddChannel->click();
    page.TChannels->item(0, 0)->setText("gen.sine wave");  // the variable follows: "sine_wave"
    page.BAddControl->click();
    page.TControls->item(0, 0)->setText("gain");
    page.BAddOutput->click();
    page.TOutputs->item(0, 0)->setText("out");
    page.TOutputs->item(0, 1)->setText("sum/ä");  // kept to the character rule
    page.TOutputs->item(0, 2)->setText("V");
    page.TOutputs->item(0, 4)->setText("10");
    page.TOutputs->item(0, 5)->setText("255");
    page.BAddUserEvent->click();
    page.TUserEvents->item(0, 2)->setText("USEREVENT_LIMIT");
    page.TUserEvents->item(0, 4)->setCheckState(Qt::Checked);
    page.TUserEvents->item(0, 5)->setText("the limit");
    page.SerialPage->RBCharCount->click();
    page.SerialPage->SECharCount->setValue(12);
    page.SerialPage->Eol->SetSequence("\r\n");

    QTemporaryDir dir;
    const std::string file = FromQ(dir.filePath("panel.ini"));
    QCOMPARE(WriteFileWhole(file, WritePanelSettings(page.Settings())), std::string());
    std::ifstream in(file);
    const std::string text((std::istreambuf_iterator<char>(in)), {});

    TRecordingHost host;
    TKQVXFormulaPanel panel(host);
    panel.ReadProperties(text);
    const TPanelSettings& s = panel.Settings();
    QCOMPARE(s.Expressions, (std::vector<std::string>{"total = 0", "total = total + x", "",
                                                      "out = total * gain", "done = 1"}));
    QCOMPARE(s.InitializationEndIndex, 1);
    QCOMPARE(s.ExitStartIndex, 4);
    QVERIFY(s.ImmediateEvaluation && s.BooleanResult && s.UseFixedDt && s.OnlyBooleanChanges &&
            s.EvaluateImmediately && !s.evaluateAsynchronously && s.limitExecutionInterval);
    QCOMPARE(s.Dt, 0.25);
    QCOMPARE(s.limitExecutionIntervalTimer, 250);
    QCOMPARE(s.InputVariables, (std::vector<std::string>{"sine_wave", "gain"}));
    QCOMPARE(s.ChannelOrigins, std::vector<std::string>{"gen.sine wave"});
    QCOMPARE(s.ChannelVariables, std::vector<std::string>{"sine_wave"});
    QCOMPARE(s.OutputChannels.size(), std::size_t(1));
    const TOutputChannelDefinition& o = s.OutputChannels[0];
    QVERIFY(o.Origin == "out" && o.Name == "sum___" && o.Unit == "V" && o.Minimum == 0 &&
            o.Maximum == 10 && o.Color == 255);
    QCOMPARE(s.UserEvents.size(), std::size_t(1));
    QVERIFY(s.UserEvents[0].ID == 1000 && s.UserEvents[0].userName == "Event 1" &&
            s.UserEvents[0].internalName == "USEREVENT_LIMIT" && s.UserEvents[0].use[0] &&
            !s.UserEvents[0].use[1] && s.UserEvents[0].description[0] == "the limit");
    QCOMPARE(s.Serial.Parameter, std::string("-1,9600,8,1,0,0"));
    QCOMPARE(s.Serial.EOLSequence, std::string("\r\n"));
    QCOMPARE(s.Serial.MaxSequenceLength, 12);
    QCOMPARE(s.Serial.InputOperationMode, int(iomFixedCharNumber));
    // The page reads its own output back unchanged.
    TPropertyPageFormulaPanel again(s, "");
    QCOMPARE(WritePanelSettings(again.Settings()), text);
  }

  void EditRefusesWhatIsNoFile() {
    QTemporaryDir dir;
    std::ostringstream out, err;
    char name[] = "loom";
    char* argv[] = {name, nullptr};
    QCOMPARE(RunEditCommand({FromQ(dir.path()), ""}, 1, argv, out, err), 2);
    QCOMPARE(err.str(), FromQ(dir.path()) + " is not a settings file\n");
    const std::string missing = FromQ(dir.filePath("none/panel.ini"));
    QCOMPARE(WriteFileWhole(missing, "x"),
             "cannot write " + missing + ".saving: No such file or directory");
  }

  void DeletingInputsAsksFirst() {
    TPanelSettings s;
    s.InputVariables = {"a", "b"};
    TPropertyPageFormulaPanel page(s, "");
    page.TControls->selectAll();
    QCOMPARE(DialogText(
                 page, [&] { page.BDeleteInputs->click(); }, QMessageBox::No),
             QString("Warning|Do you really want to delete all selected inputs?"));
    QCOMPARE(page.TControls->rowCount(), 2);
    DialogText(
        page, [&] { page.BDeleteInputs->click(); }, QMessageBox::Yes);
    QCOMPARE(page.TControls->rowCount(), 0);
  }

  void DroppedNamesGoToTheCaret() {
    TVXExpressionEvaluator words;
    TNameLists lists(words);
    QListWidgetItem* sin = nullptr;
    for (TNameList* list : lists.findChildren<TNameList*>())
      for (QListWidgetItem* item : list->findItems("Sin(", Qt::MatchStartsWith)) sin = item;
    QVERIFY(sin != nullptr);
    QListWidget* functions = sin->listWidget();
    std::unique_ptr<QMimeData> dragged(
        functions->model()->mimeData({functions->indexFromItem(sin)}));
    QCOMPARE(dragged->text(), QString("Sin"));  // the name, not the syntax shown
    struct TDropTarget : TScriptEdit {
      using TScriptEdit::dropEvent;  // what a drop on the editor calls
    } editor;
    editor.setPlainText("y := (x)");
    QTextCursor cursor = editor.textCursor();
    cursor.setPosition(5);
    editor.setTextCursor(cursor);
    QDropEvent drop(QPointF(1, 1), Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    editor.dropEvent(&drop);
    QCOMPARE(editor.toPlainText(), QString("y := Sin(x)"));
  }

  void KeyboardAndContextHelp() {
    TPropertyPageFormulaPanel page(Scripts("y := sin(k)"), "");
    page.show();
    QVERIFY(QTest::qWaitForWindowExposed(&page));
    page.MFormula->setFocus();
    QTextCursor cursor = page.MFormula->textCursor();
    cursor.setPosition(7);  // inside "sin"
    page.MFormula->setTextCursor(cursor);
    QCOMPARE(page.LHelp->text(), QString("Sin( arg ): Sine of an angle in radians"));
    QTest::keyClick(page.MFormula, Qt::Key_Tab);  // Tab leaves the editor
    QVERIFY(page.focusWidget() != page.MFormula);
    QString shown;
    page.ExecDialog = [&](QDialog& dialog) {
      shown = dialog.windowTitle();
      return int(QDialog::Rejected);
    };
    QTest::keyClick(&page, Qt::Key_F9);
    QCOMPARE(shown, QString("Validation result"));
    QTest::keyClick(&page, Qt::Key_Return, Qt::ControlModifier);
    QCOMPARE(page.result(), int(QDialog::Accepted));
  }

  void PlotFollowsARun() {
    QTemporaryDir dir;
    TPlotStore store;
    TRunOptions options;
    options.OutputDir = FromQ(dir.path());
    options.OnRows = [&](const TRunRows& rows) {
      store.Append(rows.Producer, rows.FromPanel, rows.Names, rows.Columns, rows.Times);
    };
    options.OnEvent = [&](const THostEvent& event) { store.AppendEvent(PlotEventLine(event)); };
    TReferenceHost host(LoadWorksheet(LOOM_SOURCE_DIR "/examples/machine/machine.ini"), options);
    host.Prepare();
    const TRunReport report = host.Run();
    QVERIFY(!report.Stopped);

    QStringList names;
    for (const TPlotSeries& series : store.Snapshot()) {
      names << ToQ(series.Name) + (series.Output ? "*" : "");
      for (const TPlotBin& bin : series.Bins) QVERIFY(bin.Min <= bin.Max);
    }
    names.sort();
    QCOMPARE(names, QStringList({"cooling.CoolingPower*", "rms.VibrationRMS*",
                                 "spectrum.DominantFrequency*", "temperature.Temperature*",
                                 "thermo.voltage", "vibration.accel"}));
    // Each panel sends one number on its one channel per cycle, and once more at the end (Exit).
    std::uint64_t outputs = 0;
    for (const TPanelReport& panel : report.Panels) outputs += panel.Cycles + 1;
    QCOMPARE(store.SamplesSeen(), report.Samples + outputs);
    const std::vector<std::string> events = store.TakeEvents();
    QVERIFY(std::any_of(events.begin(), events.end(), [](const std::string& line) {
      return line.find("temperature  OverTemperature: housing at") != std::string::npos;
    }));

    TPlotWindow window("machine", store);
    window.Refresh();
    QCOMPARE(window.Events()->blockCount(), 1);  // the events were taken above
    const QImage image = window.grab().toImage();
    QVERIFY(!image.isNull());
  }
};

}  // namespace loom

QTEST_MAIN(loom::UiTest)
#include "UiTest.moc"
