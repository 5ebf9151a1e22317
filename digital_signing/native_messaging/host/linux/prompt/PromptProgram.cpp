#include "linux/prompt/PromptProgram.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>

namespace vorn::prompt {
namespace {

namespace fs = std::filesystem;

constexpr const char* kWithWindow[] = {"pinentry",    "pinentry-x11",   "pinentry-gnome3",
                                       "pinentry-qt", "pinentry-gtk-2", "pinentry-fltk"};
constexpr const char* kForTerminal[] = {"pinentry", "pinentry-curses", "pinentry-tty"};
constexpr char kUsualPath[] = "/usr/local/bin:/usr/bin:/bin";

bool isProgram(const fs::path& file) {
  std::error_code unreadable;
  return fs::is_regular_file(file, unreadable) && access(file.c_str(), X_OK) == 0;
}

/** Empty when there is none. */
std::string findInPath(const std::string& name) {
  if (name.find('/') != std::string::npos) return isProgram(name) ? fs::absolute(name).string() : "";
  const std::string path = environment("PATH");
  std::istringstream folders(path.empty() ? kUsualPath : path);
  for (std::string folder; std::getline(folders, folder, ':');)
    if (const fs::path file = fs::path(folder) / name; file.is_absolute() && isProgram(file))
      return file.string();
  return "";
}

/** The general name may lead to a form that knows terminals alone. */
bool isForTerminalAlone(const std::string& program) {
  std::error_code unreadable;
  const std::string name = fs::canonical(program, unreadable).filename().string();
  return name.ends_with("-curses") || name.ends_with("-tty");
}

template <std::size_t count>
std::string findFirst(const char* const (&names)[count], bool forTerminal) {
  for (const char* name : names)
    if (std::string program = findInPath(name);
        !program.empty() && (forTerminal || !isForTerminalAlone(program)))
      return program;
  return "";
}

}  // namespace

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

PromptProgram findPromptProgram() {
  if (const std::string named = environment("VORN_PINENTRY"); !named.empty()) {
    std::string program = findInPath(named);
    if (!program.empty()) return {program, ""};
    return {"",
            "VORN_PINENTRY names " + named + ", which is no program that can be run; correct or unset it"};
  }
  const bool hasDisplay = !environment("DISPLAY").empty() || !environment("WAYLAND_DISPLAY").empty();
  const bool hasTerminal = !environment("GPG_TTY").empty();
  if (!hasDisplay && !hasTerminal) {
    return {"",
            "there is no display to ask on, as neither DISPLAY nor WAYLAND_DISPLAY is set; start the browser "
            "from the desktop, or use \"vornctl sign\" in a terminal"};
  }
  std::string program = hasDisplay ? findFirst(kWithWindow, false) : "";
  if (program.empty() && hasTerminal) program = findFirst(kForTerminal, true);
  if (!program.empty()) return {program, ""};
  return {"", std::string("there is no program to ask with; install ") +
                  (hasDisplay ? "pinentry-gnome3 or pinentry-qt" : "pinentry-curses")};
}

}  // namespace vorn::prompt
