// Texts between the system, which keeps them as bytes in UTF-8, and Qt's widgets.
#pragma once

#include <QString>
#include <QStringList>
#include <string>
#include <vector>

namespace loom {

inline QString ToQ(const std::string& text) {
  return QString::fromStdString(text);
}

inline std::string FromQ(const QString& text) {
  return text.toStdString();
}

// The lines of an editor's text: "" has none, and a last line break starts no extra line.
inline std::vector<std::string> EditorLines(const QString& text) {
  std::vector<std::string> lines;
  if (text.isEmpty()) return lines;
  QStringList parts = text.split('\n');
  if (parts.size() > 1 && parts.back().isEmpty()) parts.removeLast();
  for (const QString& part : parts) lines.push_back(FromQ(part));
  return lines;
}

inline QString EditorText(const std::vector<std::string>& lines) {
  QStringList parts;
  for (const std::string& line : lines) parts << ToQ(line);
  return parts.join('\n');
}

}  // namespace loom
