// What can be measured inside one process: JSON, base64 and the RSA operation, ours beside a peer of each.
//
// The folder of the key store and the PEM file of the same key come in the environment variables BENCH_STORE
// and BENCH_KEY; without them the rows of RSA are left out.

#include <benchmark/benchmark.h>
#include <keyhi.h>
#include <nss.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <pk11pub.h>
#include <rapidjson/document.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "shared/base/Base64.h"
#include "shared/json/jsonxx.h"

using namespace vorn;

namespace {

constexpr std::size_t kMessage = std::size_t{10} << 20;

struct Free {
  void operator()(void* block) const { std::free(block); }
};

std::vector<unsigned char> anyBytes(std::size_t size) {
  std::vector<unsigned char> bytes(size);
  unsigned state = 1;
  for (unsigned char& byte : bytes)
    byte = static_cast<unsigned char>((state = state * 1664525U + 1013904223U) >> 24);
  return bytes;
}

std::string encoded(const std::vector<unsigned char>& bytes) {
  std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
  text.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                                       bytes.data(), static_cast<int>(bytes.size()))));
  return text;
}

/** A request of 10 MiB as pages send it: `documents` texts in base64. */
std::string request(std::size_t documents) {
  const std::string data = encoded(anyBytes((kMessage - (std::size_t{64} << 10)) / documents / 4 * 3));
  std::string text =
      R"({"type":"sign","user_details":{"name":"A","email":"a@b","abn":"1","aki":["00"]},"xml_data":[)";
  for (std::size_t i = 0; i < documents; ++i)
    text += (i == 0 ? R"({"id":")" : R"(,{"id":")") + std::to_string(i) + R"(","data":")" + data + "\"}";
  return text + "]}";
}

/** The same length in small values, which no request has: the worst that the reader can meet. */
std::string smallValues() {
  std::string text = R"({"type":"version","values":[)";
  while (text.size() < kMessage - 64) text += R"({"a":1,"b":"text","c":[true,false,null]},)";
  return text + "0]}";
}

void readOurs(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    jsonxx::Object object;
    if (!object.parse(text)) state.SkipWithError("refused");
  }
}

void readRapidJson(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    if (document.HasParseError()) state.SkipWithError("refused");
  }
}

void encodeOurs(benchmark::State& state) {
  const auto bytes = anyBytes(kMessage / 4 * 3);
  for (auto _ : state) {
    char* text = nullptr;
    encodeBase64(bytes.data(), bytes.size(), &text);
    const std::unique_ptr<char, Free> owner(text);
  }
}

void encodeOpenSsl(benchmark::State& state) {
  const auto bytes = anyBytes(kMessage / 4 * 3);
  for (auto _ : state) {
    const std::unique_ptr<unsigned char, Free> text(static_cast<unsigned char*>(std::malloc(kMessage + 1)));
    benchmark::DoNotOptimize(EVP_EncodeBlock(text.get(), bytes.data(), static_cast<int>(bytes.size())));
  }
}

void decodeOurs(benchmark::State& state) {
  const std::string text = encoded(anyBytes(kMessage / 4 * 3));
  for (auto _ : state) {
    if (!isBase64(text.data(), text.size())) state.SkipWithError("refused");
    unsigned char* bytes = nullptr;
    long length = 0;
    decodeBase64(text.c_str(), &bytes, &length);
    const std::unique_ptr<unsigned char, Free> owner(bytes);
  }
}

void decodeOpenSsl(benchmark::State& state) {
  const std::string text = encoded(anyBytes(kMessage / 4 * 3));
  for (auto _ : state) {
    const std::unique_ptr<unsigned char, Free> bytes(static_cast<unsigned char*>(std::malloc(kMessage)));
    const auto* in = reinterpret_cast<const unsigned char*>(text.data());
    if (EVP_DecodeBlock(bytes.get(), in, static_cast<int>(text.size())) < 0) state.SkipWithError("refused");
  }
}

std::vector<unsigned char> digest() {
  return anyBytes(32);
}

void signNss(benchmark::State& state, SECKEYPrivateKey* key) {
  std::vector<unsigned char> signature(static_cast<std::size_t>(PK11_SignatureLen(key)));
  auto input = digest();
  for (auto _ : state) {
    SECItem data{siBuffer, input.data(), static_cast<unsigned>(input.size())};
    SECItem output{siBuffer, signature.data(), static_cast<unsigned>(signature.size())};
    if (PK11_Sign(key, &output, &data) != SECSuccess) state.SkipWithError("refused");
  }
}

void signOpenSsl(benchmark::State& state, EVP_PKEY* key) {
  std::vector<unsigned char> signature(static_cast<std::size_t>(EVP_PKEY_get_size(key)));
  const auto input = digest();
  const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(EVP_PKEY_CTX_new(key, nullptr),
                                                                            &EVP_PKEY_CTX_free);
  EVP_PKEY_sign_init(context.get());
  for (auto _ : state) {
    std::size_t length = signature.size();
    if (EVP_PKEY_sign(context.get(), signature.data(), &length, input.data(), input.size()) != 1)
      state.SkipWithError("refused");
  }
}

void registerRsa(const char* store, const char* keyFile) {
  if (NSS_Initialize(store, "", "", "", NSS_INIT_READONLY | NSS_INIT_NOROOTINIT) != SECSuccess) return;
  SECKEYPrivateKeyList* keys = PK11_ListPrivateKeysInSlot(PK11_GetInternalKeySlot());
  std::FILE* file = std::fopen(keyFile, "r");
  if (keys == nullptr || file == nullptr) return;
  EVP_PKEY* pem = PEM_read_PrivateKey(file, nullptr, nullptr, nullptr);
  std::fclose(file);
  // As the host signs: with a copy that the token has in its memory.
  SECKEYPrivateKey* token = PK11_CopyTokenPrivKeyToSessionPrivKey(nullptr, PRIVKEY_LIST_HEAD(keys)->key);
  if (token == nullptr) return;
  benchmark::RegisterBenchmark("rsa 2048/ours", [token](benchmark::State& s) { signNss(s, token); });
  benchmark::RegisterBenchmark("rsa 2048/OpenSSL", [pem](benchmark::State& s) { signOpenSsl(s, pem); });
}

}  // namespace

int main(int argc, char** argv) {
  static const std::string kOne = request(1);
  static const std::string kHundred = request(100);
  static const std::string kSmall = smallValues();
  const auto json = [](const std::string& name, const std::string& text) {
    benchmark::RegisterBenchmark((name + "/ours").c_str(),
                                 [&text](benchmark::State& s) { readOurs(s, text); });
    benchmark::RegisterBenchmark((name + "/RapidJSON").c_str(),
                                 [&text](benchmark::State& s) { readRapidJson(s, text); });
  };
  json("json 10 MB, 1 document", kOne);
  json("json 10 MB, 100 documents", kHundred);
  json("json 10 MB, small values", kSmall);
  benchmark::RegisterBenchmark("base64 encode 10 MB/ours", encodeOurs);
  benchmark::RegisterBenchmark("base64 encode 10 MB/OpenSSL", encodeOpenSsl);
  benchmark::RegisterBenchmark("base64 decode 10 MB/ours", decodeOurs);
  benchmark::RegisterBenchmark("base64 decode 10 MB/OpenSSL", decodeOpenSsl);
  const char* const store = std::getenv("BENCH_STORE");
  const char* const key = std::getenv("BENCH_KEY");
  if (store != nullptr && key != nullptr) registerRsa(store, key);

  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
