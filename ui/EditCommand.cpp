#include "ui/EditCommand.h"

#include <QApplication>
#include <QMessageBox>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>

#include "host/HostPaths.h"
#include "ui/PropertyPage.h"
#include "ui/QtText.h"

namespace loom {

std::string DisplayProblem() {
  for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
    if (const char* value = std::getenv(variable); value != nullptr && *value != '\0') return {};
  return "no display to show the window on: set DISPLAY (or QT_QPA_PLATFORM=offscreen)";
}

std::string WriteFileWhole(const std::string& path, const std::string& text) {
  const std::string temporary = path + ".saving";
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    if (!file) return "cannot write " + temporary + ": " + std::strerror(errno);
    file << text;
    file.close();
    if (!file) {
      std::remove(temporary.c_str());
      return "cannot write " + temporary + ": " + std::strerror(errno);
    }
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    const std::string error = std::strerror(errno);
    std::remove(temporary.c_str());
    return "cannot replace " + path + ": " + error;
  }
  return {};
}

int RunEditCommand(const TEditCommandOptions& options, int argc, char** argv, std::ostream& out,
                   std::ostream& err) {
  TPanelSettings settings;
  std::vector<std::string> problems;
  const bool exists = std::filesystem::exists(options.File);
  if (exists && !std::filesystem::is_regular_file(options.File)) {
    err << options.File << " is not a settings file\n";
    return 2;
  }
  if (const std::string problem = DisplayProblem(); !problem.empty()) {
    err << "loom edit: " << problem << "\n";
    return 2;
  }
  if (exists) {
    std::ifstream file(options.File, std::ios::binary);
    if (!file) {
      err << "cannot read " << options.File << ": " << std::strerror(errno) << "\n";
      return 2;
    }
    std::ostringstream text;
    text << file.rdbuf();
    settings = ReadPanelSettings(text.str(), problems);
  }
  QApplication application(argc, argv);
  TPropertyPageFormulaPanel page(settings,
                                 options.MacroFile.empty() ? MacroFilePath() : options.MacroFile);
  page.setWindowTitle(QString("%1 - Loom panel properties").arg(ToQ(options.File)));
  if (!problems.empty()) {
    QString text =
        "These keys of the file could not be read; they keep their defaults when the "
        "settings are saved:\n";
    for (const std::string& problem : problems) {
      err << options.File << ": " << problem << "\n";
      text += "\n" + ToQ(problem);
    }
    QMessageBox::warning(nullptr, "Loom panel properties", text);
  }
  if (page.exec() != QDialog::Accepted) {
    out << options.File << ": not changed\n";
    return 0;
  }
  if (const std::string error = WriteFileWhole(options.File, WritePanelSettings(page.Settings()));
      !error.empty()) {
    err << error << "\n";
    return 1;
  }
  out << options.File << (exists ? ": saved\n" : ": created\n");
  return 0;
}

}  // namespace loom
