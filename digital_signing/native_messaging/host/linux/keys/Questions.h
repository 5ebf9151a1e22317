#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "linux/keys/Consent.h"
#include "linux/keys/StoreContents.h"
#include "shared/json/jsonxx.h"

namespace vorn::keys {

/**
 * What the process for keys is asked. Each message has its name in "question"; members that are missing count
 * as empty.
 *
 * | question | with | is answered by |
 * |---|---|---|
 * | open | | nothing: what the first search would wait for is begun |
 * | identities | name (without it: all), signing, without | identities, status, text, faults |
 * | sign | key, input: an encoded DigestInfo | signature, or code and what is to be said |
 * | stores | without | places, faults |
 * | trust | without | certificates |
 * | begin | caller, documents | nothing: from now on a person may be asked for a PIN |
 * | end | | nothing: tokens that a PIN has opened are closed, and the PIN is forgotten |
 *
 * "without" has the libraries that are to be left alone, each with why. "forget" may stand in any message,
 * with the numbers of keys that nobody needs any more. Bytes are hexadecimal digits.
 */
class Questions {
 public:
  /** The answer, or nothing where the question has none. */
  std::optional<jsonxx::Object> answer(const jsonxx::Object& question);

 private:
  struct Key {
    std::shared_ptr<TokenKey> key;
    std::vector<std::uint8_t> certificate;
  };

  jsonxx::Object identities(const jsonxx::Object& question);
  jsonxx::Object sign(const jsonxx::Object& question) const;

  std::map<long, Key> keys_;
  long lastNumber_ = 0;
  std::unique_ptr<Consent> consent_;
};

}  // namespace vorn::keys
