#include <map>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <seccomp.h>
#include <sys/prctl.h>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"
#include "e2e/Token.h"

namespace e2e {
namespace {

/** Has the host sign while a module within it tries what VORN_PROBE's reader wants to know. */
std::map<std::string, int> probe(const Home& home, const std::string& setting) {
  const std::string report = (home.path() / "report").string();
  const auto modules = home.path() / ".pki" / "nssdb" / "pkcs11.txt";
  const std::string library = (home.path() / "probe.so").string();
  std::filesystem::copy(VORN_TOKEN_MODULE, library);
  writeFile(library + ".fault", "C_GetFunctionList probe");
  writeFile(modules, readFile(modules) + "\nlibrary=" + library + "\nname=probe\n");
  HostProcess host(home, {.environment = {"VORN_PROBE=" + report, setting}});
  const std::string answer = host.ask(SignRequest{.documents = {{agreement()}}}.json());
  EXPECT_EQ(errorCode(answer), 0) << answer;
  EXPECT_TRUE(verifies(home, fromBase64(text(answer, "data")), "RenderedData"));
  std::map<std::string, int> errors;
  std::istringstream lines(readFile(report));
  std::string name;
  for (int error = 0; lines >> name >> error;) errors[name] = error;
  return errors;
}

TEST(Sandbox, NoProcessThatReadsADocumentHoldsAKey) {
  const Home home;
  HostProcess host(home, installToken(home, kPin));
  EXPECT_EQ(errorCode(host.ask(SignRequest{.documents = {{agreement()}}}.json())), 0);
  if (geteuid() != 0 && VORN_TRACEABLE == 0) GTEST_SKIP() << "only root may look into the processes";
  const auto mapped = [](pid_t process, const char* library) {
    return readFile("/proc/" + std::to_string(process) + "/maps").find(library) != std::string::npos;
  };
  const std::string status = readFile("/proc/" + std::to_string(host.id()) + "/status");
  EXPECT_NE(status.find("Seccomp_filters:\t2"), std::string::npos)
      << "the host gives up more once it has started that process";
  for (const char* library : {"libxerces-c", "libxml-security-c", "libxalan-c"}) {
    EXPECT_TRUE(mapped(host.id(), library)) << library;
    EXPECT_FALSE(mapped(host.keysId(), library)) << library;
  }
  for (const char* library : {"libnss3", "libsoftokn3", "libsofthsm2", "token_module", "libassuan"}) {
    EXPECT_FALSE(mapped(host.id(), library)) << library;
    EXPECT_TRUE(mapped(host.keysId(), library)) << library;
  }
}

TEST(Sandbox, KeepsNetworkAndOtherProcessesFromTheHost) {
  for (const bool network : {false, true}) {
    const int family = network ? 0 : EAFNOSUPPORT;
    Home home("main");
    std::map<std::string, int> found =
        probe(home, network ? "VORN_ALLOW_NETWORK=ON" : "VORN_ALLOW_NETWORK=on");
    if (network) {
      // Whether there are such sockets is the machine's affair.
      for (const char* name : {"inet6", "packet", "vsock"}) found.erase(name);
    } else {
      for (const char* name : {"inet6", "packet", "vsock"})
        EXPECT_EQ(found.extract(name).mapped(), family) << name;
    }
    const std::map<std::string, int> expected = {{"inet", family},
                                                 {"inet-wide", family},
                                                 {"route", family},
                                                 {"devices", 0},
                                                 {"unix", 0},
                                                 {"x32", ENOSYS},
                                                 {"i386", ENOSYS},
                                                 {"ring", ENOSYS},
                                                 {"memory", EPERM},
                                                 {"descriptor", EPERM},
                                                 {"ptrace", VORN_TRACEABLE != 0 ? ESRCH : EPERM},
                                                 {"unshare", EPERM},
                                                 {"clone", EPERM},
                                                 {"clone3", ENOSYS},
                                                 {"setns", EPERM},
                                                 {"faults", EPERM},
                                                 {"programs", EPERM},
                                                 {"keys", EPERM},
                                                 {"key", EPERM},
                                                 {"threads", 0},
                                                 {"core", 0},
                                                 {"dumpable", VORN_TRACEABLE},
                                                 {"program", 7}};
    EXPECT_EQ(found, expected);
    EXPECT_NE(home.log().find(network ? "WARN  VORNSigning - VORN_ALLOW_NETWORK is set"
                                      : "INFO  VORNSigning - The kernel keeps network and other processes"),
              std::string::npos);
  }
}

TEST(Sandbox, GoesOnWithoutIt) {
  // The filter holds for the thread that takes it and for what it starts.
  std::thread([] {
    const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    const scmp_arg_cmp seccomp = SCMP_A0(SCMP_CMP_EQ, PR_SET_SECCOMP);
    ASSERT_EQ(seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(seccomp), 0), 0);
    ASSERT_EQ(seccomp_rule_add(filter, SCMP_ACT_ERRNO(EINVAL), SCMP_SYS(prctl), 1, seccomp), 0);
    ASSERT_EQ(seccomp_load(filter), 0);
    seccomp_release(filter);
    Home home("main");
    HostProcess host(home);
    EXPECT_EQ(errorCode(host.ask(SignRequest{.documents = {{agreement()}}}.json())), 0);
    EXPECT_NE(home.log().find("WARN  VORNSigning - The kernel does not keep network"), std::string::npos);
  }).join();
}

}  // namespace
}  // namespace e2e
