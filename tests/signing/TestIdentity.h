#pragma once

#include <functional>
#include <string>

/** The identity that the signer under test gets: a key and certificate of the test's, and failures
 * that it wants. */
struct TestIdentity {
  std::string keyPem;
  std::string certificateBase64;
  std::function<void()> onKeySetUp = [] {};
  std::function<void()> onModulus = [] {};
  int keysAlive = 0;
};

TestIdentity& testIdentity();

/** Makes a new key and its certificate the identity; both are left in the folder as
 * key.pem and certificate.pem. The options are OpenSSL's. */
void makeIdentity(const std::string& folder, const std::string& options = "-newkey rsa:2048");
