#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/** Requests and documents made to cost more than their size. Each is made in about the number of
 * bytes asked for. */
namespace reliability {

struct Hostile {
  const char* name;
  std::function<std::string(std::size_t size)> make;
};

/** Values of a member of a request. */
std::vector<Hostile> hostileJson();
std::string harmlessJson(std::size_t size);

/** Documents to be signed: what they hold, and what they declare. */
std::vector<Hostile> hostileContent();
std::vector<Hostile> hostileEntities();
std::vector<Hostile> hostileDeclarations();
std::string harmlessXml(std::size_t size);

/** `text` as often as it takes to reach `size` bytes. */
std::string fill(const std::string& text, std::size_t size);
/** Numbered pieces, until they are `size` bytes. */
using Piece = std::function<std::string(std::size_t)>;
std::string pieces(std::size_t size, const Piece& piece);
/** The same between two texts. */
Hostile between(const char* name, const std::string& before, const std::string& text,
                const std::string& after);
Hostile numbered(const char* name, const std::string& before, const Piece& piece, const std::string& after);
std::string number(std::size_t i);

}  // namespace reliability
