#include "linux/app/SigningModule.h"

#include <dlfcn.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <sys/stat.h>

#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "linux/processes/BuildId.h"
#include "linux/processes/Sandbox.h"
#include "shared/base/Descriptor.h"
#include "shared/base/Exceptions.h"
#include "shared/base/Platform.h"
#include "shared/base/Requester.h"
#include "shared/base/Signing.h"

namespace vorn {
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

[[noreturn]] void failToLoad(const std::string& cause, const char* reason = reason::kInternal) {
  const std::string message = "Failed to load the signing module: " + cause;
  LOG4CPLUS_ERROR(logger, message);
  throw TechnicalException(message, reason);
}

std::string folderOfHost() {
  const std::string host = platform::installedPath();
  return host.substr(0, host.rfind('/') + 1);
}

Descriptor moduleFile;
Descriptor keysFile;
bool isOver = false;

/** The module's path while that still leads to the file that was opened, as debuggers find symbols by it;
 * else a name for the open file. */
std::string nameOf(const std::string& path) {
  struct stat before{}, now{};
  const bool isSame =
      fstat(moduleFile.get(), &before) != 0 ||
      (stat(path.c_str(), &now) == 0 && before.st_dev == now.st_dev && before.st_ino == now.st_ino);
  return isSame ? path : "/proc/self/fd/" + std::to_string(moduleFile.get());
}

/** Never unloaded: the libraries behind it do not start a second time. */
const SigningModule& loadModule() {
  if (!keysFile) keysFile = keys::openKeyProgram(folderOfHost().c_str());
  // The process for keys opens the stores while this one loads the module.
  static keys::KeyProgram keyProgram;
  if (keyProgram.id <= 0) {
    keyProgram = keys::startKeyProgram(keysFile.get(), kBuildId);
    if (const std::string fault = refuseToReaders(); !fault.empty()) LOG4CPLUS_WARN(logger, fault);
  }
  const std::string path = folderOfHost() + kSigningModuleFile;
  void* const library = dlopen(nameOf(path).c_str(), RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) failToLoad(dlerror());
  const auto* const module = static_cast<const SigningModule*>(dlsym(library, kSigningModuleSymbol));
  if (module == nullptr) failToLoad(path + " is not one");
  if (module->build != std::string_view(kBuildId)) {
    isOver = true;
    failToLoad(path + " is of another build: " + module->build, reason::kRestart);
  }
  LOG4CPLUS_DEBUG(logger, "Signing module loaded");
  module->begin(requester::watched(), keyProgram);
  return *module;
}

const SigningModule& module() {
  static const SigningModule& loaded = loadModule();  // a failure is tried again by the next request
  return loaded;
}

/** Throws in the host what was caught in the module. */
void report(const SigningFailure& failure) {
  isOver = isOver || failure.isLast;
  switch (failure.kind) {
    case SigningFailure::Kind::kNone:
      return;
    case SigningFailure::Kind::kHost:
      if (failure.code == InvalidArgumentException::kCode) throw InvalidArgumentException(failure.message);
      throw BaseException(failure.code, failure.message, failure.reason);
    case SigningFailure::Kind::kRequesterGone:
      throw RequesterGoneException();
    case SigningFailure::Kind::kOutOfMemory:
      throw std::bad_alloc();
    case SigningFailure::Kind::kStandard:
      throw std::runtime_error(failure.message);
    case SigningFailure::Kind::kUnknown:
      throw std::runtime_error("Unknown failure");
  }
}

}  // namespace

void openSigningFiles() {
  moduleFile.reset(open((folderOfHost() + kSigningModuleFile).c_str(), O_PATH | O_CLOEXEC));
  keysFile = keys::openKeyProgram(folderOfHost().c_str());
}

bool isSigningOver() {
  return isOver;
}

namespace signing {

void selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  report(module().select(userDetails, response));
}

void signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response) {
  report(module().sign(xmlData, algorithm, response));
}

}  // namespace signing

}  // namespace vorn
