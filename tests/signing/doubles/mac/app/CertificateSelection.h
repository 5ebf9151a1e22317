#pragma once

#include <functional>
#include <string>

/** In place of the selection: a key and certificate that the test chooses, and failures that it wants. */
class CertificateSelection {
 public:
  static CertificateSelection& getInstance() {
    static CertificateSelection instance;
    return instance;
  }
  std::string getCertificate() { return keyPem; }
  int getPrivateKey() { return 0; }
  std::string getEncodedCertificate() { return certificateBase64; }

  std::string keyPem;
  std::string certificateBase64;
  std::function<void()> onKeySetUp = [] {};
  std::function<void()> onModulus = [] {};
  int keysAlive = 0;
};
