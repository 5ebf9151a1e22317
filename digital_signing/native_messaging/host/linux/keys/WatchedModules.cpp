#include "linux/keys/WatchedModules.h"

#include <dlfcn.h>
#include <pkcs11.h>
#include <prlink.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <sstream>
#include <utility>

#include "linux/keys/TokenModules.h"
#include "linux/processes/CallMark.h"

namespace vorn::keys {
namespace {

/** The most modules at once. Each has its own functions, as PKCS #11 tells no function whose it is. */
constexpr std::size_t kMost = 16;

struct Watched {
  std::string name;
  std::string library;
  CK_FUNCTION_LIST* functions = nullptr;
  CK_FUNCTION_LIST table{};
  CK_RV started = CKR_OK;
  PRStaticLinkTable symbols[2]{};
};

/** Never destroyed: a library may call `exit`, which calls other libraries. */
auto& modules = *new std::array<Watched, kMost>;
std::size_t count = 0;
const char* pinAtHand = nullptr;

/** In the order of the table. */
constexpr const char* kNames[] = {
#define CK_PKCS11_2_0_ONLY 1
#define CK_PKCS11_FUNCTION_INFO(function) #function,
#include <pkcs11f.h>
#undef CK_PKCS11_FUNCTION_INFO
};

/** Marks the call, and returns the module's own function; null when it has none. */
[[gnu::noinline]] void* enter(std::size_t index, std::size_t offset) noexcept {
  const Watched& module = modules[index];
  void* function = nullptr;
  std::memcpy(&function, reinterpret_cast<const char*>(module.functions) + offset, sizeof function);
  constexpr std::size_t kFirst = offsetof(CK_FUNCTION_LIST, C_Initialize);
  if (function != nullptr) markCall(module.library, kNames[(offset - kFirst) / sizeof function]);
  return function;
}

[[gnu::noinline]] CK_RV leave(CK_RV result) noexcept {
  markReturn();
  return result;
}

/** There are a thousand of it: what all of them do stands in `enter` and `leave`. */
template <std::size_t index, std::size_t offset, typename Function>
struct Call;
template <std::size_t index, std::size_t offset, typename... Arguments>
struct Call<index, offset, CK_RV (*)(Arguments...)> {
  static CK_RV run(Arguments... arguments) noexcept {
    const auto function = reinterpret_cast<CK_RV (*)(Arguments...)>(enter(index, offset));
    return function == nullptr ? CKR_FUNCTION_NOT_SUPPORTED : leave(function(arguments...));
  }
};

template <std::size_t index>
constexpr CK_FUNCTION_LIST kWatching = {
    {},
#define CK_PKCS11_FUNCTION_INFO(function) \
  &Call<index, offsetof(CK_FUNCTION_LIST, function), decltype(CK_FUNCTION_LIST::function)>::run,
#include <pkcs11f.h>
#undef CK_PKCS11_FUNCTION_INFO
#undef CK_PKCS11_2_0_ONLY
};

template <std::size_t index>
CK_RV start(void* arguments) {
  return modules[index].started = kWatching<index>.C_Initialize(arguments);
}

template <std::size_t index>
CK_RV logIn(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG length) {
  if (pin != nullptr && pinAtHand != nullptr) {
    pin = reinterpret_cast<CK_UTF8CHAR_PTR>(const_cast<char*>(pinAtHand));
    length = std::strlen(pinAtHand);
  }
  return kWatching<index>.C_Login(session, user, pin, length);
}

template <std::size_t index>
CK_RV giveTable(CK_FUNCTION_LIST** table) {
  *table = &modules[index].table;
  return CKR_OK;
}

template <std::size_t index>
void watch() {
  Watched& module = modules[index];
  module.table = kWatching<index>;
  module.table.version = module.functions->version;
  module.table.C_Initialize = &start<index>;
  module.table.C_Login = &logIn<index>;
  module.table.C_GetFunctionList = &giveTable<index>;
  module.symbols[0] = {"C_GetFunctionList", reinterpret_cast<void (*)()>(&giveTable<index>)};
}

template <std::size_t... indices>
void watch(std::size_t index, std::index_sequence<indices...>) {
  constexpr void (*kWatch[])() = {&watch<indices>...};
  kWatch[index]();
}

Watched* find(const char* name) {
  const auto found = std::find_if(modules.begin(), modules.end(), [name](const Watched& module) {
    return name != nullptr && !module.name.empty() && module.name == name;
  });
  return found != modules.end() ? &*found : nullptr;
}

/** The library's own table; null with `fault` set when it has none. */
CK_FUNCTION_LIST* functionsOf(const std::string& library, std::string& fault) {
  markCall(library, "its start");
  void* const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  markReturn();
  const auto list = handle != nullptr
                        ? reinterpret_cast<CK_C_GetFunctionList>(dlsym(handle, "C_GetFunctionList"))
                        : nullptr;
  CK_FUNCTION_LIST* functions = nullptr;
  if (list != nullptr) {
    markCall(library, "C_GetFunctionList");
    if (leave(list(&functions)) != CKR_OK) functions = nullptr;
  }
  if (functions == nullptr) fault = handle == nullptr ? dlerror() : "it is no PKCS #11 module";
  return functions;
}

}  // namespace

std::optional<std::string> WatchedModules::load(const TokenModule& module, std::string& name) {
  const std::string library = module.library.string();
  const auto known = std::find_if(modules.begin(), modules.end(),
                                  [&](const Watched& watched) { return watched.library == library; });
  if (known == modules.end() && count == kMost) return "there are too many others";
  std::string fault;
  CK_FUNCTION_LIST* const functions = functionsOf(library, fault);
  if (functions == nullptr) return fault;
  const std::size_t index =
      known != modules.end() ? static_cast<std::size_t>(known - modules.begin()) : count++;
  Watched& watched = modules[index];
  watched.functions = functions;
  watched.library = library;
  if (known == modules.end()) {
    // NSPR knows libraries by the names of their files alone, which two may share.
    watched.name = "vorn-module-" + std::to_string(index);
    watch(index, std::make_index_sequence<kMost>());
    PR_LoadStaticLibrary(watched.name.c_str(), watched.symbols);
  }
  name = watched.name;
  return std::nullopt;
}

std::string WatchedModules::libraryOf(const char* name) {
  const Watched* const module = find(name);
  return module != nullptr ? module->library : "";
}

std::string WatchedModules::startFault(const char* name) {
  const Watched* const module = find(name);
  if (module == nullptr || module->started == CKR_OK) return "";
  std::ostringstream text;
  text << "C_Initialize of the module fails (PKCS #11 error 0x" << std::hex << module->started << ")";
  return text.str();
}

void WatchedModules::usePin(const char* pin) {
  pinAtHand = pin;
}

}  // namespace vorn::keys
