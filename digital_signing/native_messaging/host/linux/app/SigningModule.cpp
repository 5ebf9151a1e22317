#include "linux/app/SigningModule.h"

#include <dlfcn.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <string>

#include "shared/Exceptions.h"
#include "shared/Platform.h"
#include "shared/Signing.h"
#include "shared/Version.h"

namespace vorn {
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

[[noreturn]] void failToLoad(const std::string& reason) {
  const std::string message = "Failed to load the signing module: " + reason;
  LOG4CPLUS_ERROR(logger, message);
  throw TechnicalException(message);
}

/** Never unloaded: the libraries behind it do not start a second time. */
const SigningModule& loadModule() {
  const std::string host = platform::installedPath();
  const std::string path = host.substr(0, host.rfind('/') + 1) + kSigningModuleFile;
  void* const library = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) {
    failToLoad(dlerror());
  }
  const auto* const module = static_cast<const SigningModule*>(dlsym(library, kSigningModuleSymbol));
  if (module == nullptr) {
    failToLoad(path + " is not one");
  }
  if (std::string(module->version) != version::kFull) {
    failToLoad(path + " belongs to version " + module->version);
  }
  LOG4CPLUS_DEBUG(logger, "Signing module loaded");
  return *module;
}

const SigningModule& module() {
  static const SigningModule& loaded = loadModule();  // a failure is tried again by the next request
  return loaded;
}

}  // namespace

namespace signing {

void selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  module().selectCertificate(userDetails, response);
}

void signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response) {
  module().signDocuments(xmlData, algorithm, response);
}

}  // namespace signing

}  // namespace vorn
