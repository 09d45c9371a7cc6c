// The serial page of the property page: the port, its line settings as the device offers them,
// the input mode and the end-of-line sequence editor. The page owns a port of its own, on which
// it probes the chosen device; what it hands back is the panel's serial settings.
//
// Threads: the GUI thread; the port's reader posts through TQtSerialWindow.
#pragma once

#include <QComboBox>
#include <QLabel>
#include <QObject>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTreeWidget>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "panel/PanelSettings.h"
#include "serial/SerialIO.h"

namespace loom {

// A port's window on Qt's event loop: posted messages are handed to the port's MSGWndProc on
// the GUI thread.
class TQtSerialWindow : public TSerialWindow {
 public:
  void Attach(TSerialIO* port) { port_ = port; }
  bool PostMessage(std::uint32_t message) override;
  int RemoveMessages(std::uint32_t message) override;

 private:
  void Deliver();
  QObject receiver_;  // lives on the GUI thread: queued calls to it run there
  std::mutex mutex_;  // guards pending_, which the reader thread appends to
  std::deque<std::uint32_t> pending_;
  TSerialIO* port_ = nullptr;
};

// The end-of-line sequence as rows: the code and its name; Add, Edit, Remove, Up and Down.
class TEolEditor : public QWidget {
 public:
  explicit TEolEditor(QWidget* parent = nullptr);
  void SetSequence(const std::string& sequence);
  // The sequence the rows spell (FillEOLStringWithListview).
  std::string Sequence() const;
  // Appends a row with code 0, as Add does.
  void AddRow(int code = 0);
  // Sets row's code from text; a text that is no code is refused with a message box (unless
  // quiet) and the row keeps its code. True when taken.
  bool SetCode(int row, const QString& text, bool quiet = false);
  void MoveRow(int row, int delta);

  QTreeWidget* List;
  // How a refused code is told (a message box titled "Character code" unless replaced).
  std::function<void(const QString& message)> OnRefused;
  QPushButton *BAdd, *BEdit, *BRemove, *BUp, *BDown;

 private:
  bool updating_ = false;
};

class TSerialPage : public QWidget {
 public:
  TSerialPage(const TSerialSettings& settings, QWidget* parent = nullptr);
  ~TSerialPage() override;

  // The settings as the page shows them: the port's parameter string when a port is open,
  // else the stored one with the chosen port number.
  TSerialSettings Settings();

  // Chooses port n (-1: none): closes the page's port, probes n and opens it.
  void ChoosePort(std::int32_t portNumber);
  // Fills the line settings' lists from what the open port offers and selects its values.
  void UpdateSerialPortControls();
  // Checks the data-bits/stop-bits pair after a change of either list; an unsupported pair is
  // refused on the description line and the changed list goes back to its previous entry.
  void DataStopBitsChanged(QComboBox* changed);
  // Writes the lists' values to the open port (nothing when none is open).
  void ApplySerialIOParams();

  QComboBox *CBPort, *CBBaudRate, *CBDataBits, *CBStopBits, *CBParity, *CBFlowControl;
  QSpinBox* SECharCount;
  QRadioButton *RBNoInput, *RBCharCount, *RBEolSequence;
  QLabel* LDescription;
  TEolEditor* Eol;
  TSerialIO& Port() { return *port_; }

 private:
  void FillPortList(std::int32_t current);
  void SetInputMode(TPortInputOperationModes mode);
  void ShowHint();

  TQtSerialWindow window_;
  std::unique_ptr<TSerialIO> port_;
  std::string storedParameter_;
  QString hint_;
  int dataIndex_ = -1;  // the entries the two lists had before the user's change
  int stopIndex_ = -1;
};

}  // namespace loom
