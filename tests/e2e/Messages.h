#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "e2e/Home.h"

/** The texts that go over the wire, written and read independently of the host's own code. */
namespace e2e {

inline const std::string kVersionRequest = R"({"type": "version"})";

/** A text as answers hold it, for texts without control characters. */
std::string quoted(const std::string& value);
/** The exact text of an answer with these members, which must be in key order; numbers are given as their
 * text. */
std::string answerBody(const std::vector<std::pair<std::string, std::string>>& members);
/** The exact text of an error answer; `before` are members whose keys come before "error_code". */
std::string errorBody(int code, const std::string& message,
                      std::vector<std::pair<std::string, std::string>> before = {});

/** The values of the string members named `key`, wherever they stand in an answer, in its order. */
std::vector<std::string> texts(const std::string& answer, const std::string& key);
/** The value of the only string member named `key`; throws when there is another number of them. */
std::string text(const std::string& answer, const std::string& key);
/** The value of "error_code", or 0. */
int errorCode(const std::string& answer);

struct Document {
  std::string data;  // as it stands before base64
  std::optional<std::string> id = {};
};

struct SignRequest {
  std::string name = "Jane Citizen";
  std::string email = "jane@example.com";
  std::string abn = "12345678901";
  std::string aki = akiOf("main");
  std::string algorithm = "";
  std::vector<Document> documents = {};
  std::string more = "";  // further members, each with a comma behind it

  std::string userDetails() const;
  std::string json() const;
  /** A version request with the same user details. */
  std::string versionJson() const;
};

/** A document that can be signed, with this inside its CounterpartData element. */
std::string agreement(const std::string& inside = "<Sum>12.50</Sum>");

/** What xmlsec1 may take the verifying key from. */
enum class Trust { certificateChain, keyValue };

/** Whether xmlsec1 accepts the signature inside the only element of this name. */
bool verifies(const Home& home, const std::string& xml, const std::string& element,
              Trust trust = Trust::certificateChain);

}  // namespace e2e
