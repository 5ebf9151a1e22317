#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "shared/json/jsonxx.h"
#include "vornctl/browsers/BrowserTable.h"
#include "vornctl/identities/Identities.h"

/** The subcommands: each source has one or two, with their options. */
namespace vorn::vornctl {

inline constexpr int kExitFine = 0;
inline constexpr int kExitProblems = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitIndeterminate = 3;

/** Says on standard error, made printable, why the program ends. Returns the status. */
int fail(int status, const std::string& message);

inline constexpr const char* kGeneral = "Options";

/** An option, or an argument: that has a name in capital letters, without a hyphen, and no type. */
struct Option {
  const char* names; /**< "-b,--browser" */
  const char* type;  /**< the word in the help for its value; empty for none */
  std::string text;
  /** Where the value goes. A list takes several: one with each use of an option, or all arguments. */
  std::variant<bool*, std::string*, std::vector<std::string>*, System*> value;
  const char* group = kGeneral; /**< the heading in the help */
  std::vector<std::string> choices = {};
  /** Brings a value into the form that is kept. Returns what is wrong with it, else an empty text. */
  std::string (*adapt)(std::string& value) = nullptr;
  std::vector<const char*> excluded = {}; /**< options before it */
  bool isRequired = false;
};

/** An argument that has to be given. */
inline Option argument(const char* name, const char* text, decltype(Option::value) value) {
  return {name, "", text, value, kGeneral, {}, nullptr, {}, true};
}

/** `run` keeps alive what its options point to. */
struct Command {
  const char* name;
  const char* text;
  const char* examples; /**< the first line, and each that begins with a program, is a command line */
  std::vector<Option> options;
  std::function<int()> run; /**< returns the exit status */
};

Command registerCommand();
Command unregisterCommand();
Command doctorCommand();
Command identitiesCommand();
Command signCommand();
Command verifyCommand();
/** Those that only this system has. */
std::vector<Command> systemCommands();

/** Appends the options for whose certificate it is about. */
void addUserOptions(std::vector<Option>& options, User& user);

/** An object of these members. */
jsonxx::Object objectOf(std::initializer_list<std::pair<const char*, jsonxx::Value>> members);
jsonxx::Array arrayOf(const std::vector<std::string>& texts);
/** Of what `toValue` makes of each. */
template <typename Element, typename ToValue>
jsonxx::Array arrayOf(const std::vector<Element>& elements, ToValue toValue) {
  jsonxx::Array array;
  for (const Element& element : elements) array << jsonxx::Value(toValue(element));
  return array;
}

/** Reads the command line and runs the subcommand that it names. Returns the exit status. */
int runCommandLine(int count, char** arguments);

}  // namespace vorn::vornctl
