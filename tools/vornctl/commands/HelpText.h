#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace vorn::vornctl {

/** Help in lines of a hundred characters at most, and in words of people who run the program. */
class HelpText : public CLI::Formatter {
 public:
  HelpText();

  std::string make_option(const CLI::Option* option, bool isPositional) const override;
  std::string make_option_usage(const CLI::Option* option) const override;
  std::string make_subcommand(const CLI::App* command) const override;
  /** As it was written. */
  std::string make_footer(const CLI::App* app) const override;

 private:
  static constexpr std::size_t kIndent = 30;
};

/**
 * What may follow these words of a command line, one in a line with what it does behind a tab; FILES alone
 * where a file is due, and nothing where nobody knows. For the shells' completions.
 */
std::string completionsOf(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace vorn::vornctl
