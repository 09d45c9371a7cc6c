// Fuzz target: reads an arbitrary settings block into a panel on the recording host, the way a
// host streams a worksheet in. Whatever the text, reading must end in the panel's own exception
// at worst, and what the panel writes back must read back to the same text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/RecordingHost.h"
#include "panel/FormulaPanel.h"
#include "serial/PortTable.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  loom::SetPortTable({});  // no parameter string may open a device of the machine
  const std::string text(reinterpret_cast<const char*>(data), size);
  loom::TRecordingHost host;
  loom::TKQVXFormulaPanel panel(host);
  try {
    panel.ReadProperties(text);
  } catch (const loom::EVXParserException&) {
  }
  const std::string written = panel.WriteProperties();
  std::vector<std::string> problems;
  if (loom::WritePanelSettings(loom::ReadPanelSettings(written, problems)) != written ||
      !problems.empty())
    std::abort();  // a block the panel wrote does not read back as itself
  return 0;
}
