#include <dlfcn.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "linux/keys/Pkcs12File.h"
#include "linux/processes/BuildId.h"
#include "vornctl/doctor/Host.h"

namespace vorn::keys {
namespace {

const KeyFiles& openKeyFiles() {
  const std::string path = vornctl::installedHost().replace_filename(kKeyFilesLibrary);
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr)
    throw std::runtime_error(std::string("the key store cannot be changed: ") + dlerror() +
                             "; install the host again");
  const auto* const files = static_cast<const KeyFiles*>(dlsym(library, kKeyFilesSymbol));
  if (files == nullptr || files->build != std::string_view(kBuildId))
    throw std::runtime_error(path + " is of another build; install the host again");
  return *files;
}

const KeyFiles& keyFiles() {
  static const KeyFiles& opened = openKeyFiles();
  return opened;
}

}  // namespace

Pkcs12Result readPkcs12(std::span<const std::uint8_t> file, std::string_view password) {
  return keyFiles().read(file, password);
}

Pkcs12Result importPkcs12(std::span<const std::uint8_t> file, std::string_view password,
                          const std::filesystem::path& folder, const AskStorePassword& askStorePassword) {
  return keyFiles().import(file, password, folder, askStorePassword);
}

Pkcs12Result changeStore(Change change, std::span<const std::uint8_t> certificate,
                         const std::filesystem::path& folder, const AskStorePassword& askStorePassword) {
  return keyFiles().change(change, certificate, folder, askStorePassword);
}

}  // namespace vorn::keys
