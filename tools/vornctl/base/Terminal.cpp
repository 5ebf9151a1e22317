#include "vornctl/base/Terminal.h"

#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "shared/base/Platform.h"
#include "shared/text/HarmlessText.h"
#include "shared/text/Utf8.h"

namespace vorn::vornctl {
namespace {

bool wantsColour() {
  return platform::environment("NO_COLOR").empty() && platform::environment("TERM") != "dumb" &&
         isatty(STDOUT_FILENO) != 0;
}

std::string_view codeOf(Colour colour) {
  switch (colour) {
    case Colour::kGood:
      return "32";
    case Colour::kWarning:
      return "33";
    case Colour::kBad:
      return "31";
    case Colour::kFaint:
      return "2";
    case Colour::kStrong:
      return "1";
    case Colour::kPlain:
      break;
  }
  return "";
}

}  // namespace

std::string coloured(Colour colour, std::string_view text) {
  static const bool wanted = wantsColour();
  const std::string_view code = codeOf(colour);
  if (!wanted || code.empty() || text.empty()) return std::string(text);
  return "\x1b[" + std::string(code) + "m" + std::string(text) + "\x1b[0m";
}

std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

std::string listed(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + text;
  return list.empty() ? "-" : list;
}

std::string printable(std::string_view text) {
  return vorn::harmlessText(text);
}

std::string printableJson(const std::string& json) {
  std::string result;
  const std::string text = nlohmann::json::parse(replaceInvalidUtf8(json)).dump(2);
  // The layout's own line ends and tabs stay; the writer has escaped all others.
  constexpr std::string_view kAlone = "\n\t\x7f";
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find_first_of(kAlone, start), text.size());
    result += harmlessText(std::string_view(text).substr(start, end - start));
    if (end < text.size()) result += text[end] == '\x7f' ? "\\u007f" : std::string(1, text[end]);
    start = end + 1;
  }
  return result;
}

void Table::add(std::vector<Cell> row) {
  for (Cell& cell : row) cell.text = printable(cell.text);
  rows_.push_back(std::move(row));
}

std::string Table::text() const {
  std::vector<std::size_t> widths;
  for (const auto& row : rows_) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(row[i].text));
  }
  std::string result;
  for (const auto& row : rows_) {
    std::string line;
    std::string gap;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (!row[i].text.empty()) line += gap + coloured(row[i].colour, row[i].text);
      if (!row[i].text.empty()) gap.clear();
      gap.append(widths[i] - widthOf(row[i].text) + 2, ' ');
    }
    result += line + "\n";
  }
  return result;
}

}  // namespace vorn::vornctl
