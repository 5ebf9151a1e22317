#pragma once

#include <string>
#include <string_view>
#include <vector>

/** How vornctl writes for people. */
namespace vorn::vornctl {

enum class Colour { kPlain, kGood, kWarning, kBad, kFaint, kStrong };

/** The text in the colour, if standard output is a terminal and NO_COLOR is not set. */
std::string coloured(Colour colour, std::string_view text);

/** Rows of equal cell counts, in columns as wide as their widest cell. */
class Table {
 public:
  struct Cell {
    std::string text;
    Colour colour = Colour::kPlain;
  };

  /** The texts are made printable. */
  void add(std::vector<Cell> row);
  bool empty() const { return rows_.empty(); }
  std::string text() const;

 private:
  std::vector<std::vector<Cell>> rows_;
};

/** The columns that UTF-8 text takes, as far as counting its characters tells. */
std::size_t widthOf(std::string_view text);

/** The texts with commas between them; a dash when there are none. */
std::string listed(const std::vector<std::string>& texts);

/** A text from outside, safe to show in a line of its own: see harmlessText. */
std::string printable(std::string_view text);

/** JSON as printable as that: valid UTF-8, with escapes of JSON for what would command a terminal. */
std::string printableJson(const std::string& json);

}  // namespace vorn::vornctl
