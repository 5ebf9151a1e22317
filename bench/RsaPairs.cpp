// Two RSA operations of the key store, and nothing else: what two signatures cost at the least.
//
// usage: bench-rsa DATABASE
//
// Two operations for each line of standard input, with the first private key of the database, which stays in
// it. One line goes out for each.

#include <keyhi.h>
#include <nss.h>
#include <pk11pub.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "bench-rsa: " << what << '\n';
  std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 2, "usage: bench-rsa DATABASE");
  const auto flags = NSS_INIT_READONLY | NSS_INIT_NOROOTINIT;
  require(NSS_Initialize(argv[1], "", "", "", flags) == SECSuccess, "cannot open the database");
  SECKEYPrivateKeyList* const keys = PK11_ListPrivateKeysInSlot(PK11_GetInternalKeySlot());
  require(keys != nullptr && !PRIVKEY_LIST_END(PRIVKEY_LIST_HEAD(keys), keys), "the database has no key");
  SECKEYPrivateKey* const key = PRIVKEY_LIST_HEAD(keys)->key;

  std::vector<unsigned char> digest(32, 1);
  std::vector<unsigned char> signature(static_cast<std::size_t>(PK11_SignatureLen(key)));
  for (std::string line; std::getline(std::cin, line);) {
    for (int i = 0; i < 2; ++i) {
      SECItem input{siBuffer, digest.data(), static_cast<unsigned>(digest.size())};
      SECItem output{siBuffer, signature.data(), static_cast<unsigned>(signature.size())};
      require(PK11_Sign(key, &output, &input) == SECSuccess, "cannot sign");
    }
    std::cout << "two" << std::endl;
  }
  return 0;
}
