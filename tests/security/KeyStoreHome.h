#pragma once

#include <Security/Security.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "security/CertificateFiles.h"

/** What the host does with the key store of a home folder. */
namespace security_test {

using namespace vorn::frameworks;
namespace keys = vorn::keys;

inline std::string homeFolder(const std::string& name) {
  return VORN_TEST_FILES "/stores/" + name;
}

/** Runs `body` in a process of its own with that home folder, since a process opens one key database in its
 * life. Its expectations count as the test's. */
inline void inHome(const std::string& home, const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    setenv("HOME", home.c_str(), 1);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"}) unsetenv(name);
    const std::size_t before = Object::liveCount();
    body();
    EXPECT_EQ(Object::liveCount(), before);
    std::exit(testing::Test::HasFailure() ? 1 : 0);  // not _exit: a leak checker works at the end
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

inline CFRef<CFArrayRef> search(const std::string& name, OSStatus expected = errSecSuccess) {
  const auto text = makeString(name);
  const void* keys[] = {kSecClass, kSecAttrCanSign, kSecMatchSubjectWholeString, kSecMatchLimit,
                        kSecReturnRef};
  const void* values[] = {kSecClassIdentity, kCFBooleanTrue, text.get(), kSecMatchLimitAll, kCFBooleanTrue};
  const auto query =
      CFRef<CFDictionaryRef>::adopt(CFDictionaryCreate(nullptr, keys, values, 5, nullptr, nullptr));
  CFTypeRef result = nullptr;
  EXPECT_EQ(SecItemCopyMatching(query.get(), &result), expected) << name;
  EXPECT_EQ(result == nullptr, expected != errSecSuccess);
  return CFRef<CFArrayRef>::adopt(static_cast<CFArrayRef>(result));
}

inline SecIdentityRef identityAt(const CFRef<CFArrayRef>& identities, CFIndex index) {
  return static_cast<SecIdentityRef>(const_cast<void*>(CFArrayGetValueAtIndex(identities.get(), index)));
}

inline CFRef<SecKeyRef> keyOf(const std::string& name, CFIndex index = 0) {
  const auto identities = search(name);
  CFRef<SecKeyRef> key;
  EXPECT_EQ(SecIdentityCopyPrivateKey(identityAt(identities, index), key.out()), errSecSuccess);
  return key;
}

inline CFRef<CFDataRef> data(const std::vector<std::uint8_t>& bytes) {
  return CFRef<CFDataRef>::adopt(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

struct Request {
  CFTypeRef digestType = kSecDigestSHA1;
  long digestLength = 160;
};

struct Signed {
  std::vector<std::uint8_t> signature;
  CFIndex code = 0;
  std::string description;
};

inline const std::vector<std::uint8_t> kDigest(20, 1);

/** Signs as the host does. */
inline Signed sign(const CFRef<SecKeyRef>& key, const std::vector<std::uint8_t>& bytes,
                   const Request& request) {
  CFRef<CFErrorRef> error;
  const auto signer = CFRef<SecTransformRef>::adopt(SecSignTransformCreate(key.get(), error.out()));
  const auto input = data(bytes);
  const auto length =
      CFRef<CFNumberRef>::adopt(CFNumberCreate(nullptr, kCFNumberLongType, &request.digestLength));
  const std::pair<CFStringRef, CFTypeRef> attributes[] = {
      {kSecTransformInputAttributeName, input.get()}, {kSecInputIsAttributeName, kSecInputIsDigest},
      {kSecPaddingKey, kSecPaddingPKCS1Key},          {kSecDigestTypeAttribute, request.digestType},
      {kSecDigestLengthAttribute, length.get()},
  };
  for (const auto& [name, value] : attributes)
    EXPECT_TRUE(SecTransformSetAttribute(signer.get(), name, value, error.out()));
  const auto result = CFRef<CFTypeRef>::adopt(SecTransformExecute(signer.get(), error.out()));
  EXPECT_NE(static_cast<bool>(result), static_cast<bool>(error));
  if (!error) return {objectCast<Data>(result.get())->value, 0, ""};
  const auto description = CFRef<CFStringRef>::adopt(CFErrorCopyDescription(error.get()));
  return {{}, CFErrorGetCode(error.get()), std::string(utf8Of(description.get()))};
}

}  // namespace security_test
