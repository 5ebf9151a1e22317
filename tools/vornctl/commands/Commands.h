#pragma once

#include <string>
#include <vector>

#include "vornctl/browsers/Registration.h"
#include "vornctl/identities/Identities.h"

/** The subcommands, called once the command line has been read. Each returns the exit status. */
namespace vorn::vornctl {

inline constexpr int kExitFine = 0;
inline constexpr int kExitProblems = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitIndeterminate = 3;

struct RegisterOptions {
  RegistrationRequest request = {};
  std::vector<std::string> extensionIds = {};
  std::string host = {}; /**< empty for the one that is installed with vornctl */
  std::string root = "/";
  System system = buildSystem();
};

struct DoctorOptions {
  bool json = false;
  std::vector<std::string> extensionIds = {};
  std::string root = "/"; /**< as in RegisterOptions; the host is started where it really is */
};

struct IdentitiesOptions {
  User user = {};
  bool json = false;
  bool forPage = false; /**< one line, for a person to hand to a page */
};

struct ImportOptions {
  std::string file = {};
  std::string passwordFile = {};      /**< empty to ask at the terminal */
  std::string storePasswordFile = {}; /**< of the key store, if that has one; empty to ask */
};

struct ConfirmOptions {
  std::string state = {}; /**< "on", "off", or empty to say which */
  bool forAll = false;
};

struct RemoveOptions {
  std::string serial = {};
  bool isAgreed = false; /**< nobody is asked */
};

struct TrustOptions {
  std::string file = {};
  bool remove = false;
  bool isAgreed = false;
};

struct SignOptions {
  std::vector<std::string> files = {};
  User user = {};          /**< what is left open is taken from the only identity that fits */
  std::string serial = {}; /**< of the identity to sign with; empty for the only one that fits */
  std::string algorithm = "RSA_SHA256";
  std::string output = {}; /**< a file or, for several documents, a folder; "-" for standard output, empty for
                              NAME.signed.xml */
  std::string host = {};
  bool overwrite = false;
};

struct VerifyOptions {
  std::vector<std::string> files = {};
  std::vector<std::string> trusted = {}; /**< files and folders of certificates, beside the key store */
  std::string time = {};                 /**< as of which certificates have to be valid; empty for now */
  bool noChain = false;
  bool json = false;
};

int runRegister(const RegisterOptions& options);
int runUnregister(const RegisterOptions& options);
int runDoctor(const DoctorOptions& options);
int runIdentities(const IdentitiesOptions& options);
int runImport(const ImportOptions& options);
int runConfirm(const ConfirmOptions& options);
int runRemove(const RemoveOptions& options);
int runTrust(const TrustOptions& options);
int runSign(const SignOptions& options);
int runVerify(const VerifyOptions& options);

/** Reads the command line and runs the subcommand that it names. Returns the exit status. */
int runCommandLine(int count, char** arguments);

}  // namespace vorn::vornctl
