#include "serial/SerialIO.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdint>
#include <optional>
#include <string_view>

#include "serial/PortMessages.h"
#include "serial/PortTable.h"

namespace loom {

namespace {

constexpr const char* kStopBitsTexts[] = {"1", "1.5", "2"};  // by stop-bits code

// The items of a comma text: separated by commas; an item in double quotes may hold commas, and
// "" inside it stands for one quote. Blanks around an item are not part of it.
std::vector<std::string> SplitCommaText(std::string_view text) {
  std::vector<std::string> items;
  if (text.empty()) return items;
  std::size_t i = 0;
  for (;;) {
    std::string item;
    while (i < text.size() && text[i] == ' ') ++i;
    if (i < text.size() && text[i] == '"') {
      for (++i; i < text.size(); ++i) {
        if (text[i] != '"') {
          item += text[i];
        } else if (i + 1 < text.size() && text[i + 1] == '"') {
          item += text[++i];
        } else {
          ++i;
          break;
        }
      }
    }
    while (i < text.size() && text[i] != ',') item += text[i++];
    while (!item.empty() && item.back() == ' ') item.pop_back();
    items.push_back(std::move(item));
    if (i >= text.size()) return items;
    ++i;  // the comma
  }
}

// A comma text of items: an item with a blank, a comma or a quote is quoted.
std::string JoinCommaText(std::initializer_list<std::string_view> items) {
  std::string text;
  for (const std::string_view item : items) {
    if (!text.empty()) text += ',';
    if (item.find_first_of(" ,\"") == std::string_view::npos) {
      text += item;
      continue;
    }
    text += '"';
    for (const char c : item) text += c == '"' ? std::string("\"\"") : std::string(1, c);
    text += '"';
  }
  return text;
}

// The whole of text as a signed 32-bit decimal integer: an optional sign and digits, nothing else.
std::optional<std::int32_t> ParseInteger(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  if (text.empty() || text.starts_with('+')) return std::nullopt;
  std::int32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// One item of the parameter string: its name in messages, the values it takes, where it goes.
struct TParamItem {
  const char* Name;
  const char* Allowed;  // "" when any integer will do
  bool (*Valid)(std::int32_t value);
  void (*Store)(TPortParams& params, std::int32_t value);
};

// ORDER: the items in the order of the parameter string.
constexpr TParamItem kParamItems[] = {
    {"port number", "", [](std::int32_t) { return true; },
     [](TPortParams& p, std::int32_t v) { p.PortNumber = v; }},
    {"baud rate", "above 0", [](std::int32_t v) { return v > 0; },
     [](TPortParams& p, std::int32_t v) { p.BaudRate = v; }},
    {"data bits", "5, 6, 7, 8 or 16", [](std::int32_t v) { return (v >= 5 && v <= 8) || v == 16; },
     [](TPortParams& p, std::int32_t v) { p.DataBits = v; }},
    {"stop bits", "0, 1 or 2", [](std::int32_t v) { return v >= 0 && v <= 2; },
     [](TPortParams& p, std::int32_t v) { p.StopBits = v; }},
    {"parity", "0, 1, 2, 3 or 4", [](std::int32_t v) { return v >= 0 && v <= 4; },
     [](TPortParams& p, std::int32_t v) { p.Parity = v; }},
    {"flow control", "0, 1 or 2", [](std::int32_t v) { return v >= fcNone && v <= fcHardware; },
     [](TPortParams& p, std::int32_t v) { p.FlowControl = static_cast<TPortFlowControl>(v); }},
};

// The entries of table whose bit is set in mask, joined by commas: "" for an empty mask.
template <typename Table>
std::string ListFromMask(const Table& table, std::uint32_t mask) {
  std::string text;
  for (std::size_t i = 0; i < std::size(table); ++i) {
    if (!(mask & (1u << i))) continue;
    text += ',';
    text += std::string_view(table[i]);
  }
  return text.empty() ? text : text.substr(1);
}

}  // namespace

TSerialIO::TSerialIO(TSerialWindow& window) : window_(window), reader_(queue_, window, *this) {}

TSerialIO::~TSerialIO() {
  if (reader_.Running()) reader_.StopInputThread();
  for (const std::uint32_t message : {smInputQueued, smOutputDone, smPortLost, smPortBack})
    while (window_.RemoveMessages(message) > 0) {
    }
  bool opened;
  {
    std::lock_guard<std::mutex> lock(stateMutex_);
    opened = opened_;
  }
  if (opened) Close();
  reader_.Terminate();
}

bool TSerialIO::Open() {
  Release();
  const TPortParams params = Params();
  const std::string path = params.PortNumber >= 0 ? GetPortPath(params.PortNumber) : "";
  TOpenResult device;
  if (!path.empty()) device = OpenPortDevice(path);
  if (!device.Handle || !MakeRaw(device.Handle->Fd())) {
    std::lock_guard<std::mutex> lock(stateMutex_);
    opened_ = false;
    return false;
  }
  {
    std::lock_guard<std::mutex> lock(stateMutex_);
    handle_ = device.Handle;
    devicePath_ = path;
    opened_ = true;
  }
  reader_.SetHandle(device.Handle);
  reader_.SetInputOperationMode(inputMode_);
  reader_.SetEOLSequenze(eol_);
  reader_.SetInputCharacterCount(charCount_);
  InitDataStopBitsCombinationMatrix();
  SetPortConfig();
  capabilities_ = ProbeCapabilities(device.Handle->Fd());
  reader_.StartInputThread();
  return true;
}

void TSerialIO::Close() {
  HandleOrRaise();
  Release();
  std::lock_guard<std::mutex> lock(stateMutex_);
  opened_ = false;
}

void TSerialIO::Release() {
  reader_.StopInputThread();
  reader_.SetHandle(nullptr);
  std::lock_guard<std::mutex> lock(stateMutex_);
  if (handle_) handle_->Abandon();
  handle_.reset();
  lost_ = false;
}

void TSerialIO::SetPortNumber(std::int32_t portNumber) {
  Release();  // the probe needs the device to itself
  const std::string path = portNumber >= 0 ? GetPortPath(portNumber) : "";
  TOpenResult probe;
  if (!path.empty()) probe = OpenPortDevice(path);
  TPortParams params = Params();
  params.PortNumber = probe.Handle ? portNumber : -1;
  StoreParams(params);
  if (!probe.Handle) return;
  capabilities_ = ProbeCapabilities(probe.Handle->Fd());
  std::lock_guard<std::mutex> lock(stateMutex_);
  opened_ = true;
}

std::int32_t TSerialIO::GetPortNumber() const {
  return Params().PortNumber;
}

int TSerialIO::GetFreePortList(std::vector<TPortListEntry>& list, std::int32_t currentPort) {
  list.clear();
  const std::vector<std::string> table = GetPortTable();
  for (std::int32_t n = 0; n <= kHighestListedPort; ++n) {
    const std::string path = static_cast<std::size_t>(n) < table.size() ? table[n] : "";
    if (n == currentPort || (!path.empty() && ProbePortDevice(path) == 0))
      list.push_back({"COM" + std::to_string(n) + ":", n, path});
  }
  return static_cast<int>(list.size());
}

bool TSerialIO::GetPortConfig(TPortParams& params) {
  const auto handle = HandleOrRaise();
  if (!handle) return false;
  const TPortParams stored = Params();
  params = stored;
  return ReadLineSettings(handle->Fd(), stored.StopBits, params);
}

bool TSerialIO::SetPortConfig() {
  const auto handle = HandleOrRaise();
  return handle && ApplyLineSettings(handle->Fd(), Params());
}

bool TSerialIO::SetBaudRate(std::int32_t baudRate) {
  TPortParams params = Params();
  params.BaudRate = baudRate;
  StoreParams(params);
  return SetPortConfig();
}

bool TSerialIO::SetNumDataBits(std::int32_t dataBits) {
  TPortParams params = Params();
  params.DataBits = dataBits;
  StoreParams(params);
  return SetPortConfig();
}

bool TSerialIO::SetNumStopBits(std::int32_t stopBitsCode) {
  TPortParams params = Params();
  params.StopBits = stopBitsCode;
  StoreParams(params);
  return SetPortConfig();
}

bool TSerialIO::SetParityMode(std::int32_t parityCode) {
  TPortParams params = Params();
  params.Parity = parityCode;
  StoreParams(params);
  return SetPortConfig();
}

bool TSerialIO::SetFLowControl(TPortFlowControl flowControl) {
  TPortParams params = Params();
  params.FlowControl = flowControl;
  StoreParams(params);
  return SetPortConfig();
}

void TSerialIO::SetInputOperationMode(TPortInputOperationModes mode) {
  inputMode_ = mode;
  reader_.SetInputOperationMode(mode);
}

void TSerialIO::SetEOLSequenze(const std::string& eol) {
  eol_ = eol;
  reader_.SetEOLSequenze(eol);
}

void TSerialIO::SetInputCharacterCount(std::int32_t count) {
  charCount_ = count;
  reader_.SetInputCharacterCount(count);
}

std::string TSerialIO::GetParameterString() const {
  const TPortParams p = Params();
  std::string text;
  for (const std::int32_t value :
       {p.PortNumber, p.BaudRate, p.DataBits, p.StopBits, p.Parity, std::int32_t{p.FlowControl}})
    text += (text.empty() ? "" : ",") + std::to_string(value);
  return text;
}

void TSerialIO::SetParameterString(const std::string& s) {
  const std::vector<std::string> items = SplitCommaText(s);
  // The port is reopened with its old settings before the new ones are read, and so stays open
  // when they are bad: the panel has always relied on that.
  if (GetPortNumber() >= 0) {
    if (IsOpenedFlagSet()) Close();
    Open();
  }
  if (s.empty()) {
    StoreParams(TPortParams{});
  } else {
    for (std::size_t i = 0; i < std::size(kParamItems); ++i) {
      const TParamItem& item = kParamItems[i];
      const std::string number = std::to_string(i + 1);
      if (i >= items.size())
        throw EPortException(FormatPortMessage(rsParamItemMissing, {s, number, item.Name}));
      const std::optional<std::int32_t> value = ParseInteger(items[i]);
      if (!value) {
        throw EPortException(
            FormatPortMessage(rsParamNotInteger, {s, number, item.Name, items[i]}));
      }
      if (!item.Valid(*value)) {
        throw EPortException(
            FormatPortMessage(rsParamOutOfRange, {s, number, item.Name, item.Allowed, items[i]}));
      }
      TPortParams params = Params();
      item.Store(params, *value);
      StoreParams(params);
    }
  }
  if (GetPortNumber() >= 0) {
    if (IsOpenedFlagSet()) Close();
    Open();
  }
}

std::string TSerialIO::GetPossibleBaudRates() const {
  std::vector<std::string> rates;
  for (const std::int32_t rate : kOfferedBaudRates) rates.push_back(std::to_string(rate));
  return ListFromMask(rates, capabilities_.SettableBaud);
}

std::string TSerialIO::GetPossibleDataBits() const {
  std::vector<std::string> bits;
  for (const std::int32_t dataBits : kDataBitsRows) bits.push_back(std::to_string(dataBits));
  return ListFromMask(bits, capabilities_.SettableData);
}

std::string TSerialIO::GetPossibleStopBits() const {
  return ListFromMask(kStopBitsTexts, capabilities_.SettableStopBits);
}

std::string TSerialIO::GetPossibleParitys() const {
  return rsParityLabels;
}

std::string TSerialIO::GetPossibleFlowControl() const {
  return rsFlowControlLabels;
}

std::string TSerialIO::GetPossibleInputModes() const {
  return JoinCommaText({rsInputModeNone, rsInputModeChars, rsInputModeEol});
}

void TSerialIO::InitDataStopBitsCombinationMatrix() {
  std::shared_ptr<TPortHandle> handle;
  {
    std::lock_guard<std::mutex> lock(stateMutex_);
    if (opened_) handle = handle_;
  }
  if (handle) validPairs_ = ProbeDataStopBits(handle->Fd());
}

bool TSerialIO::IsDataStopBitsCombiValid(const std::string& dataBits,
                                         const std::string& stopBits) const {
  const auto column = std::find(std::begin(kStopBitsTexts), std::end(kStopBitsTexts), stopBits);
  if (column == std::end(kStopBitsTexts)) return false;
  const std::optional<std::int32_t> bits = ParseInteger(dataBits);
  if (!bits) throw EPortException(FormatPortMessage(rsDataBitsNotInteger, {dataBits}));
  // A number without a row of its own reads the row of 8 data bits, deliberately: that is what
  // the configuration page has always shown for it.
  auto row = std::find(kDataBitsRows.begin(), kDataBitsRows.end(), *bits);
  if (row == kDataBitsRows.end()) row = std::find(kDataBitsRows.begin(), kDataBitsRows.end(), 8);
  return validPairs_[row - kDataBitsRows.begin()][column - std::begin(kStopBitsTexts)];
}

std::uint32_t TSerialIO::OutputString(const std::string& s) {
  const std::uint32_t written = Write(s.data(), s.size());
  if (OnOutputDone) OnOutputDone(*this);
  return written;
}

std::uint32_t TSerialIO::OutputBuffer(const void* buffer, std::uint32_t count) {
  const auto handle = HandleOrRaise();
  std::uint32_t written = 0;
  if (handle) {
    const TPortParams params = Params();
    std::lock_guard<std::mutex> lock(writeMutex_);
    written = static_cast<std::uint32_t>(
        WriteToPort(*handle, static_cast<const char*>(buffer), count,
                    WriteStallTimeoutMs(params.BaudRate, BitsPerFrame(params))));
  }
  window_.PostMessage(smOutputDone);
  return written;
}

std::uint32_t TSerialIO::Write(const char* data, std::size_t size) {
  const auto handle = HandleOrRaise();
  if (!handle) return 0;
  const TPortParams params = Params();
  const std::int64_t stallMs = WriteStallTimeoutMs(params.BaudRate, BitsPerFrame(params));
  std::lock_guard<std::mutex> lock(writeMutex_);
  std::size_t total = 0;
  for (std::size_t at = 0; at < size; at += kOutputPiece) {
    const std::size_t piece = std::min(kOutputPiece, size - at);
    const std::size_t written = WriteToPort(*handle, data + at, piece, stallMs);
    total += written;
    if (written < piece) break;
  }
  return static_cast<std::uint32_t>(std::min<std::size_t>(total, UINT32_MAX));
}

std::int32_t TSerialIO::InputString(std::string& s) {
  HandleOrRaise();
  s = lastInputString_;
  return static_cast<std::int32_t>(s.size());
}

bool TSerialIO::MSGWndProc(std::uint32_t message) {
  try {
    switch (message) {
      case smInputQueued: {
        {
          std::lock_guard<std::mutex> lock(queue_.Mutex);
          if (queue_.Strings.empty()) return true;
          lastInputString_ = std::move(queue_.Strings.front());
          queue_.Strings.pop_front();
        }
        if (OnInputString) OnInputString(*this, lastInputString_);
        return true;
      }
      case smOutputDone:
        if (OnOutputDone) OnOutputDone(*this);
        return true;
      case smPortLost:
      case smPortBack:
        if (OnPortStateChanged) OnPortStateChanged(*this, message == smPortBack);
        return true;
      default:
        return false;
    }
  } catch (...) {
    // A handler's failure must not unwind into the owner's message loop.
    return true;
  }
}

bool TSerialIO::IsOpen() const {
  std::lock_guard<std::mutex> lock(stateMutex_);
  return opened_ && handle_ != nullptr;
}

bool TSerialIO::IsLost() const {
  std::lock_guard<std::mutex> lock(stateMutex_);
  return opened_ && lost_;
}

bool TSerialIO::IsOpenedFlagSet() const {
  std::lock_guard<std::mutex> lock(stateMutex_);
  return opened_;
}

std::shared_ptr<TPortHandle> TSerialIO::HandleOrRaise() const {
  std::lock_guard<std::mutex> lock(stateMutex_);
  if (!opened_) throw EPortException(rsPortNotOpened);
  return handle_;
}

TPortParams TSerialIO::Params() const {
  std::lock_guard<std::mutex> lock(stateMutex_);
  return params_;
}

void TSerialIO::StoreParams(const TPortParams& params) {
  std::lock_guard<std::mutex> lock(stateMutex_);
  params_ = params;
  ++paramsVersion_;
}

void TSerialIO::PortLost(const std::shared_ptr<TPortHandle>& handle) {
  handle->Abandon();
  std::lock_guard<std::mutex> lock(stateMutex_);
  if (handle_ != handle) return;
  handle_.reset();
  lost_ = true;
}

std::shared_ptr<TPortHandle> TSerialIO::ReopenLostPort() {
  std::string path;
  TPortParams params;
  std::uint64_t version;
  {
    std::lock_guard<std::mutex> lock(stateMutex_);
    if (!opened_ || !lost_) return nullptr;
    path = devicePath_;
    params = params_;
    version = paramsVersion_;
  }
  const TOpenResult device = OpenPortDevice(path);
  if (!device.Handle || !MakeRaw(device.Handle->Fd())) return nullptr;
  ApplyLineSettings(device.Handle->Fd(), params);
  std::lock_guard<std::mutex> lock(stateMutex_);
  if (!opened_ || !lost_) return nullptr;
  // The owner changed a setting while the device was away: the line gets the latest.
  if (paramsVersion_ != version) ApplyLineSettings(device.Handle->Fd(), params_);
  handle_ = device.Handle;
  lost_ = false;
  return handle_;
}

}  // namespace loom
