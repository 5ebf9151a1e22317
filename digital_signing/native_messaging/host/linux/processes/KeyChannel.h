#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shared/json/jsonxx.h"

namespace vorn::keys {

/** Either end of the socket between the host and the process for keys: frames of JSON objects, as browsers
 * and hosts exchange them. Nothing here throws for what the other end does. */
class KeyChannel {
 public:
  /** The socket stays the caller's. */
  explicit KeyChannel(int socket) : socket_(socket) {}

  /** False when the other end has gone. */
  bool send(const jsonxx::Object& message) const;
  /** Takes what there is, waiting for it if there is nothing. False when the other end has gone, or sends
   * what is no frame. */
  bool receive();
  /** The next message that is complete; an empty object for one that is no JSON. */
  std::optional<jsonxx::Object> next();

 private:
  int socket_;
  std::string buffer_;
};

/** Bytes as hexadecimal digits, and back; empty for what is none. */
std::string toHex(const std::vector<std::uint8_t>& bytes);
std::vector<std::uint8_t> fromHex(std::string_view digits);

/** Members of a message that may be missing, or of another kind. */
std::string textIn(const jsonxx::Object& message, std::string_view key);
long numberIn(const jsonxx::Object& message, std::string_view key);
bool flagIn(const jsonxx::Object& message, std::string_view key);
/** The objects in the array of that name. */
std::vector<const jsonxx::Object*> objectsIn(const jsonxx::Object& message, std::string_view key);

}  // namespace vorn::keys
