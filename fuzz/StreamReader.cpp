#include "fuzz/StreamReader.h"

#include <cstdio>
#include <map>
#include <sstream>
#include <vector>

namespace {

struct Node {
  enum { kText, kPlain, kArray, kObject } kind = kObject;
  std::string text;  // of kPlain as it is to be written
  std::vector<Node> elements;
  std::map<std::string, Node> members;
};

bool skipComment(std::istream& in) {
  if (in.peek() != '/') return false;
  in.get();
  if (in.peek() != '/') {
    in.putback('/');
    return false;
  }
  while (in.peek() != '\r' && in.peek() != '\n' && in.peek() != EOF) in.get();
  if (in.good()) in >> std::ws;
  return true;
}

bool match(std::istream& in, const std::string& pattern) {
  in >> std::ws;
  for (std::size_t i = 0; i < pattern.size();) {
    const int c = in.get();
    if (c == static_cast<unsigned char>(pattern[i])) {
      ++i;
      continue;
    }
    if (c != EOF) in.putback(static_cast<char>(c));
    if (c != EOF && skipComment(in)) continue;
    while (i > 0) in.putback(pattern[--i]);
    return false;
  }
  return true;
}

bool readText(std::istream& in, std::string& text) {
  const char delimiter = match(in, "\"") ? '"' : '\'';
  if (delimiter == '\'') {
    if (in.peek() != delimiter) return false;
    in.get();
  }
  text.clear();
  for (char c = 0; in.get(c);) {
    if (c == delimiter) return true;
    if (c != '\\') {
      text += c;
      continue;
    }
    if (!in.get(c)) break;
    const std::string letters = "nrtfb/\\", bytes = "\n\r\t\f\b/\\";
    if (const auto at = letters.find(c); at != std::string::npos) {
      text += bytes[at];
    } else if (c == 'u') {
      std::string four;
      while (four.size() < 4 && in.get(c)) four += c;
      std::istringstream digits(four);
      int value = 0;
      if (in.good() && digits >> value) text += static_cast<char>(value & 255);
    } else {
      if (c != delimiter) text += '\\';
      text += c;
    }
  }
  return false;
}

bool readNumber(std::istream& in, std::string& text) {
  in >> std::ws;
  const auto position = in.tellg();
  long double number = 0;
  std::ostringstream out;
  out.precision(19);
  if (in >> number) {
    out << number;
    text = out.str();
    return true;
  }
  in.clear();
  in.seekg(position);
  return false;
}

bool readObject(std::istream& in, Node& node);
bool readArray(std::istream& in, Node& node);

bool readValue(std::istream& in, Node& node) {
  node.kind = Node::kText;
  if (readText(in, node.text)) return true;
  node.kind = Node::kPlain;
  if (readNumber(in, node.text)) return true;
  for (const char* word : {"true", "false", "null"}) {
    node.text = word;
    if (match(in, word)) return true;
  }
  return in.peek() == ',' || (in.peek() == '[' && readArray(in, node)) || readObject(in, node);
}

bool readArray(std::istream& in, Node& node) {
  node.kind = Node::kArray;
  if (!match(in, "[")) return false;
  if (match(in, "]")) return true;
  do {
    Node element;
    if (!readValue(in, element)) break;
    node.elements.push_back(element);
  } while (match(in, ","));
  return match(in, "]");
}

bool readObject(std::istream& in, Node& node) {
  node = Node();
  if (!match(in, "{")) return false;
  if (match(in, "}")) return true;
  do {
    std::string key;
    if (!readText(in, key)) return in.peek() == '}' && match(in, "}");
    if (!match(in, ":")) return false;
    Node value;
    if (!readValue(in, value)) break;
    node.members[key] = value;
  } while (match(in, ","));
  return match(in, "}");
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    const std::string bytes = "\n\r\t\f\b/\\\"", letters = "nrtfb/\\\"";
    char escape[8] = {c, '\0'};
    if (const auto at = bytes.find(c); at != std::string::npos) {
      std::snprintf(escape, sizeof(escape), "\\%c", letters[at]);
    } else if (static_cast<unsigned char>(c) < 32) {
      std::snprintf(escape, sizeof(escape), "\\u00%02x", c);
    }
    result += escape;
  }
  return result + '"';
}

void lastComma(std::string& text) {
  if (text.size() > 2 && text[text.size() - 2] == ',') text[text.size() - 2] = ' ';
}

std::string render(std::size_t depth, const std::string& name, const Node& node) {
  const std::string indent(depth, '\t');
  std::string text = indent + (name.empty() ? "" : quoted(name) + ": ");
  if (node.kind == Node::kText || node.kind == Node::kPlain) {
    text += node.kind == Node::kText ? quoted(node.text) : node.text;
  } else {
    const bool isArray = node.kind == Node::kArray;
    text += isArray ? "[\n" : "{\n";
    for (const Node& element : node.elements) text += render(depth + 1, "", element);
    for (const auto& [key, value] : node.members) text += render(depth + 1, key, value);
    lastComma(text);
    text += indent + (isArray ? "]" : "}");
  }
  return text + ",\n";
}

}  // namespace

StreamReading readFromStream(const std::string& text) {
  std::istringstream in(text);
  Node root;
  const bool complete = readObject(in, root);
  std::string json = render(0, "", root);
  lastComma(json);
  return {complete, json};
}
