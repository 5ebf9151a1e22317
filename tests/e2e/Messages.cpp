#include "e2e/Messages.h"

#include <cstdlib>
#include <regex>
#include <stdexcept>

namespace e2e {
std::string quoted(const std::string& value) {
  std::string result = "\"";
  for (const char c : value) {
    if (c == '/' || c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + '"';
}

std::string answerBody(const std::vector<std::pair<std::string, std::string>>& members) {
  std::string body = "{\n";
  for (const auto& [key, value] : members) {
    body += "\t\"" + key + "\": " + (key == "error_code" ? value : quoted(value));
    body += &key == &members.back().first ? " \n" : ",\n";
  }
  return body + "} \n";
}

std::string errorBody(int code, const std::string& message,
                      std::vector<std::pair<std::string, std::string>> before) {
  before.emplace_back("error_code", std::to_string(code));
  before.emplace_back("error_message", message);
  before.emplace_back("result", "error");
  return answerBody(before);
}

std::vector<std::string> texts(const std::string& answer, const std::string& key) {
  const std::string start = "\"" + key + "\": \"";
  std::vector<std::string> values;
  for (std::size_t at = answer.find(start); at != std::string::npos; at = answer.find(start, at)) {
    std::string value;
    for (at += start.size(); at < answer.size() && answer[at] != '"'; ++at) {
      const bool escaped = answer[at] == '\\';
      const char c = answer.at(escaped ? ++at : at);
      value += escaped && c == 'n' ? '\n' : escaped && c == 't' ? '\t' : c;
    }
    values.push_back(value);
  }
  return values;
}

std::string text(const std::string& answer, const std::string& key) {
  const std::vector<std::string> values = texts(answer, key);
  if (values.size() != 1) throw std::runtime_error("not one \"" + key + "\" in " + answer);
  return values[0];
}

int errorCode(const std::string& answer) {
  std::smatch match;
  return std::regex_search(answer, match, std::regex("\n\t\"error_code\": (\\d+),\n")) ? std::stoi(match[1])
                                                                                       : 0;
}

std::string SignRequest::userDetails() const {
  return R"("user_details": {"name": ")" + name + R"(", "email": ")" + email + R"(", "abn": ")" + abn +
         R"(", "aki": [")" + aki + R"("]})";
}

std::string SignRequest::json() const {
  std::string items;
  for (const Document& document : documents) {
    items += items.empty() ? "{" : ", {";
    items += document.id ? R"("id": ")" + *document.id + R"(", )" : "";
    items += R"("data": ")" + toBase64(document.data) + R"("})";
  }
  return "{" + more + (algorithm.empty() ? "" : R"("signature_algorithm": ")" + algorithm + R"(", )") +
         R"("type": "sign", )" + userDetails() + R"(, "xml_data": [)" + items + "]}";
}

std::string SignRequest::versionJson() const {
  return R"({"type": "version", )" + userDetails() + "}";
}

std::string agreement(const std::string& inside) {
  return "<Agreement><CounterpartData>" + inside +
         "</CounterpartData><RenderedData>Page</RenderedData></Agreement>";
}

bool verifies(const Home& home, const std::string& xml, const std::string& element, Trust trust) {
  const std::filesystem::path file = home.path() / "signed.xml";
  writeFile(file, xml);
  const std::filesystem::path authority = preparedHomes() / "main/certificates/Test Authority.pem";
  // Left to itself xmlsec1 takes the first key that it meets, and that is the KeyValue.
  const std::string key =
      trust == Trust::keyValue ? "" : "--enabled-key-data x509 --trusted-pem '" + authority.string() + "'";
  const std::string command = "xmlsec1 --verify " + key + " --node-xpath \"//" + element +
                              "/*[local-name()='Signature']\" '" + file.string() + "' > /dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

}  // namespace e2e
