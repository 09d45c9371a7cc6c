// A panel's serial port: opens a device of the port table by number, applies the line settings,
// writes text to it, and hands complete input strings, cut by its reader thread, to the owner on
// the owner's thread. It also answers the configuration page: which ports are free, what the
// device offers, which data-bits/stop-bits pairs the driver accepts. Its settings travel as one
// parameter string of six integers: port number, baud rate, data bits, stop-bits code, parity
// code, flow control.
//
// When the device vanishes while the port is open (a USB adapter pulled out), the port reports
// itself closed, writes send nothing, and the reader opens the same path again, with the same
// settings, once it is back; the owner hears of both through smPortLost and smPortBack.
//
// Threads: the owner's thread (the one whose loop serves the window) calls everything; the
// evaluation thread may call OutputString and IsOpen at the same time. Every handler runs on
// the owner's thread, except OnOutputDone after OutputString, which runs on the caller's.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "serial/ReaderThread.h"
#include "serial/SerialTypes.h"
#include "serial/Termios.h"

namespace loom {

// An entry of GetFreePortList: "COMn:" and n, with the device path of table entry n.
struct TPortListEntry {
  std::string Text;
  std::int32_t Number = -1;
  std::string Path;  // "" when the table has no entry n

  bool operator==(const TPortListEntry&) const = default;
};

class TSerialIO : private TReaderPortLink {
 public:
  using TNotifyInputStringEvent =
      std::function<void(TSerialIO& sender, const std::string& theString)>;
  using TNotifyEvent = std::function<void(TSerialIO& sender)>;
  // connected: false when the device vanished, true when the port has it open again.
  using TNotifyPortStateEvent = std::function<void(TSerialIO& sender, bool connected)>;

  static constexpr std::size_t kOutputPiece = 65535;  // the most one write is given
  static constexpr std::int32_t kHighestListedPort = 64;

  // The window must outlive the port.
  explicit TSerialIO(TSerialWindow& window);
  // Stops the reader, removes the port's messages still queued, closes, ends the reader.
  ~TSerialIO() override;
  TSerialIO(const TSerialIO&) = delete;
  TSerialIO& operator=(const TSerialIO&) = delete;

  // --- the port ---
  // Opens table entry GetPortNumber() (a port open already is let go first), applies the
  // settings and starts the reader. False, and closed, when the number is below 0 or the device
  // cannot be opened.
  bool Open();
  // Raises "Port not opend." unless opened; otherwise stops the reader and lets go of the device.
  void Close();
  // Probes port n for the configuration page: when it opens, n is kept and the capabilities are
  // read, else the number becomes -1. The device is let go at once but the port counts as
  // opened, on purpose: a following SetParameterString then takes its close-then-open path.
  void SetPortNumber(std::int32_t portNumber);
  std::int32_t GetPortNumber() const;
  // Fills list with "COMn:" for every n from 0 to 64 whose device can be opened now, and for
  // currentPort without trying it (its owner holds it); returns the number of entries.
  static int GetFreePortList(std::vector<TPortListEntry>& list, std::int32_t currentPort);

  // --- line settings; each raises "Port not opend." unless opened ---
  // The line as the driver has it, the port number from the settings; false without a device.
  bool GetPortConfig(TPortParams& params);
  // Applies the stored settings; true when the driver took and kept all of them.
  bool SetPortConfig();
  // Each stores its value first, then applies the settings (so the value stays when it raises).
  bool SetBaudRate(std::int32_t baudRate);
  bool SetNumDataBits(std::int32_t dataBits);
  bool SetNumStopBits(std::int32_t stopBitsCode);
  bool SetParityMode(std::int32_t parityCode);
  bool SetFLowControl(TPortFlowControl flowControl);

  // --- input settings: stored and passed to the reader at once, open or not ---
  void SetInputOperationMode(TPortInputOperationModes mode);
  void SetEOLSequenze(const std::string& eol);
  void SetInputCharacterCount(std::int32_t count);
  TPortInputOperationModes GetInputOperationMode() const { return inputMode_; }
  const std::string& GetEOLSequenze() const { return eol_; }
  std::int32_t GetInputCharacterCount() const { return charCount_; }

  // --- the parameter string ---
  // "port,baud,data bits,stop-bits code,parity code,flow control"; "-1,9600,8,1,0,0" when new.
  std::string GetParameterString() const;
  // Reopens a numbered port with its old settings, then stores the six items of s (the
  // defaults when s is empty) and opens the new port number. A missing, non-numeric or
  // out-of-range item raises, leaving the items before it stored and the port as the reopen
  // left it.
  void SetParameterString(const std::string& s);

  // --- what the device offers, as the configuration page lists it ---
  std::string GetPossibleBaudRates() const;
  std::string GetPossibleDataBits() const;
  std::string GetPossibleStopBits() const;
  std::string GetPossibleParitys() const;
  std::string GetPossibleFlowControl() const;
  std::string GetPossibleInputModes() const;
  // Asks the driver which data-bits/stop-bits pairs it keeps; does nothing without a device.
  void InitDataStopBitsCombinationMatrix();
  // stopBits must be "1", "1.5" or "2" (else false); dataBits an integer (else it raises):
  // 5, 6, 7, 8 and 16 have rows of their own and any other number reads the row of 8.
  bool IsDataStopBitsCombiValid(const std::string& dataBits, const std::string& stopBits) const;

  // --- input and output; each raises "Port not opend." unless opened ---
  // Writes the bytes of s unchanged, in pieces of at most kOutputPiece, then calls OnOutputDone
  // directly. Returns the bytes written: 0 while the device is lost.
  std::uint32_t OutputString(const std::string& s);
  // Writes count bytes, then posts smOutputDone (OnOutputDone follows on the owner's thread).
  std::uint32_t OutputBuffer(const void* buffer, std::uint32_t count);
  // The last input string taken from the queue, into s; returns its length.
  std::int32_t InputString(std::string& s);

  // The window procedure: the owner's loop calls it on the owner's thread for every message the
  // port posted. Handlers' exceptions are dropped. False for a message that is not the port's.
  bool MSGWndProc(std::uint32_t message);

  // A device is open and present (false while it is lost and after a probe).
  bool IsOpen() const;
  // The port was open when its device vanished and waits for it to come back.
  bool IsLost() const;
  // Input bytes the reader had to drop (a full buffer, text cut off by NUL bytes).
  std::uint64_t GetDroppedInputBytes() const { return reader_.DroppedBytes(); }

  TNotifyInputStringEvent OnInputString;
  TNotifyEvent OnOutputDone;
  TNotifyPortStateEvent OnPortStateChanged;

 private:
  // The device handle for an operation that needs an open port (null while it is lost or after
  // a probe); raises "Port not opend." unless opened.
  std::shared_ptr<TPortHandle> HandleOrRaise() const;
  // Stops the reader and lets go of the device; the opened flag is left to the caller.
  void Release();
  // The opened flag alone: set after a probe too, where IsOpen is false.
  bool IsOpenedFlagSet() const;
  TPortParams Params() const;
  // Stores params and counts the change, so that a reopen under way applies them too.
  void StoreParams(const TPortParams& params);
  std::uint32_t Write(const char* data, std::size_t size);
  void PortLost(const std::shared_ptr<TPortHandle>& handle) override;
  std::shared_ptr<TPortHandle> ReopenLostPort() override;

  TSerialWindow& window_;

  // guards opened_, lost_, handle_, devicePath_, params_ and paramsVersion_, which the reader
  // reads and writes when the device vanishes or comes back
  mutable std::mutex stateMutex_;
  bool opened_ = false;
  bool lost_ = false;
  std::shared_ptr<TPortHandle> handle_;
  std::string devicePath_;  // the path opened last: a lost device must come back there
  TPortParams params_;
  std::uint64_t paramsVersion_ = 0;

  std::mutex writeMutex_;  // serialises writers, so that two outputs never interleave

  // Owner's thread only.
  TPortCapabilities capabilities_;
  TDataStopBitsMatrix validPairs_{};
  TPortInputOperationModes inputMode_ = iomNoInput;
  std::string eol_;
  std::int32_t charCount_ = 0;
  std::string lastInputString_;

  TInputQueue queue_;
  TReaderThread reader_;  // last: its thread may call PortLost and ReopenLostPort
};

}  // namespace loom
