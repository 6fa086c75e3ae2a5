#include "Json.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace hdutil {

namespace {

const char* typeName(Json::Type type) {
  switch (type) {
    case Json::Type::Null:
      return "null";
    case Json::Type::Bool:
      return "a boolean";
    case Json::Type::Integer:
      return "an integer";
    case Json::Type::Double:
      return "a number";
    case Json::Type::String:
      return "a string";
    case Json::Type::Array:
      return "an array";
    case Json::Type::Object:
      return "an object";
  }
  return "?";
}

[[noreturn]] void typeMismatch(const std::string& what, const char* expected, Json::Type actual) {
  throw JsonError(what + " must be " + expected + ", not " + typeName(actual));
}

void appendEscaped(std::string& out, const std::string& text) {
  out.push_back('"');
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escape[8];
          std::snprintf(escape, sizeof(escape), "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += escape;
        } else {
          out.push_back(c);
        }
    }
  }
  out.push_back('"');
}

class Parser {
 public:
  explicit Parser(const std::string& text) : m_text(text) {}

  Json parseDocument() {
    Json value = parseValue(0);
    skipSpace();
    if (m_position != m_text.size()) {
      fail("unexpected text after the JSON value");
    }
    return value;
  }

 private:
  [[noreturn]] void fail(const std::string& why) const {
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t i = 0; i < m_position && i < m_text.size(); ++i) {
      if (m_text[i] == '\n') {
        ++line;
        column = 1;
      } else {
        ++column;
      }
    }
    throw JsonError("JSON line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + why);
  }

  void skipSpace() {
    while (m_position < m_text.size() && (m_text[m_position] == ' ' || m_text[m_position] == '\t' ||
                                          m_text[m_position] == '\n' || m_text[m_position] == '\r')) {
      ++m_position;
    }
  }

  bool consume(char c) {
    skipSpace();
    if (m_position < m_text.size() && m_text[m_position] == c) {
      ++m_position;
      return true;
    }
    return false;
  }

  void expect(char c) {
    if (!consume(c)) {
      fail(std::string("expected '") + c + "'");
    }
  }

  bool consumeWord(const char* word) {
    const std::string w(word);
    if (m_text.compare(m_position, w.size(), w) == 0) {
      m_position += w.size();
      return true;
    }
    return false;
  }

  Json parseValue(int depth) {
    if (depth > 256) {
      fail("nesting is too deep");
    }
    skipSpace();
    if (m_position >= m_text.size()) {
      fail("unexpected end of text");
    }
    const char c = m_text[m_position];
    if (c == '{') {
      ++m_position;
      Json object = Json::object();
      if (consume('}')) {
        return object;
      }
      do {
        skipSpace();
        if (m_position >= m_text.size() || m_text[m_position] != '"') {
          fail("expected a member name");
        }
        std::string key = parseString();
        expect(':');
        object.set(key, parseValue(depth + 1));
      } while (consume(','));
      expect('}');
      return object;
    }
    if (c == '[') {
      ++m_position;
      Json array = Json::array();
      if (consume(']')) {
        return array;
      }
      do {
        array.push(parseValue(depth + 1));
      } while (consume(','));
      expect(']');
      return array;
    }
    if (c == '"') {
      return Json(parseString());
    }
    if (consumeWord("true")) {
      return Json(true);
    }
    if (consumeWord("false")) {
      return Json(false);
    }
    if (consumeWord("null")) {
      return Json();
    }
    return parseNumber();
  }

  Json parseNumber() {
    const std::size_t start = m_position;
    bool fractional = false;
    if (m_position < m_text.size() && m_text[m_position] == '-') {
      ++m_position;
    }
    while (m_position < m_text.size()) {
      const char c = m_text[m_position];
      if (c >= '0' && c <= '9') {
        ++m_position;
      } else if (c == '.' || c == 'e' || c == 'E' || c == '+' || (c == '-' && fractional)) {
        fractional = true;
        ++m_position;
      } else {
        break;
      }
    }
    const std::string number = m_text.substr(start, m_position - start);
    if (number.empty() || number == "-") {
      fail("expected a value");
    }
    char* end = nullptr;
    if (!fractional) {
      errno = 0;
      const long long value = std::strtoll(number.c_str(), &end, 10);
      if (*end == '\0' && errno == 0) {
        return Json(value);
      }
    }
    const double value = std::strtod(number.c_str(), &end);
    if (*end != '\0' || !std::isfinite(value)) {
      fail("malformed number '" + number + "'");
    }
    return Json(value);
  }

  unsigned parseHex4() {
    if (m_position + 4 > m_text.size()) {
      fail("truncated \\u escape");
    }
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
      const char c = m_text[m_position++];
      value <<= 4;
      if (c >= '0' && c <= '9') {
        value |= static_cast<unsigned>(c - '0');
      } else if (c >= 'a' && c <= 'f') {
        value |= static_cast<unsigned>(c - 'a' + 10);
      } else if (c >= 'A' && c <= 'F') {
        value |= static_cast<unsigned>(c - 'A' + 10);
      } else {
        fail("bad \\u escape");
      }
    }
    return value;
  }

  static void appendUtf8(std::string& out, unsigned code) {
    if (code < 0x80) {
      out.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (code >> 6)));
      out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (code >> 12)));
      out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (code >> 18)));
      out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
  }

  std::string parseString() {
    ++m_position;  // opening quote
    std::string out;
    while (true) {
      if (m_position >= m_text.size()) {
        fail("unterminated string");
      }
      const char c = m_text[m_position++];
      if (c == '"') {
        return out;
      }
      if (static_cast<unsigned char>(c) < 0x20) {
        fail("control character in a string");
      }
      if (c != '\\') {
        out.push_back(c);
        continue;
      }
      if (m_position >= m_text.size()) {
        fail("unterminated escape");
      }
      const char e = m_text[m_position++];
      switch (e) {
        case '"':
        case '\\':
        case '/':
          out.push_back(e);
          break;
        case 'b':
          out.push_back('\b');
          break;
        case 'f':
          out.push_back('\f');
          break;
        case 'n':
          out.push_back('\n');
          break;
        case 'r':
          out.push_back('\r');
          break;
        case 't':
          out.push_back('\t');
          break;
        case 'u': {
          unsigned code = parseHex4();
          if (code >= 0xD800 && code <= 0xDBFF && m_text.compare(m_position, 2, "\\u") == 0) {
            m_position += 2;
            const unsigned trail = parseHex4();
            if (trail >= 0xDC00 && trail <= 0xDFFF) {
              code = 0x10000 + ((code - 0xD800) << 10) + (trail - 0xDC00);
            } else {
              fail("unpaired surrogate in \\u escape");
            }
          } else if (code >= 0xD800 && code <= 0xDFFF) {
            fail("unpaired surrogate in \\u escape");
          }
          appendUtf8(out, code);
          break;
        }
        default:
          fail(std::string("unknown escape \\") + e);
      }
    }
  }

  const std::string& m_text;
  std::size_t m_position = 0;
};

}  // namespace

bool Json::asBool(const std::string& what) const {
  if (m_type != Type::Bool) {
    typeMismatch(what, "true or false", m_type);
  }
  return m_bool;
}

long long Json::asInteger(const std::string& what) const {
  if (m_type != Type::Integer) {
    typeMismatch(what, "an integer", m_type);
  }
  return m_integer;
}

double Json::asNumber(const std::string& what) const {
  if (m_type == Type::Integer) {
    return static_cast<double>(m_integer);
  }
  if (m_type != Type::Double) {
    typeMismatch(what, "a number", m_type);
  }
  return m_double;
}

const std::string& Json::asString(const std::string& what) const {
  if (m_type != Type::String) {
    typeMismatch(what, "a string", m_type);
  }
  return m_string;
}

const std::vector<Json>& Json::asArray(const std::string& what) const {
  if (m_type != Type::Array) {
    typeMismatch(what, "an array", m_type);
  }
  return m_items;
}

Json& Json::set(const std::string& key, Json value) {
  for (auto& member : m_members) {
    if (member.first == key) {
      member.second = std::move(value);
      return member.second;
    }
  }
  m_members.emplace_back(key, std::move(value));
  return m_members.back().second;
}

bool Json::has(const std::string& key) const {
  for (const auto& member : m_members) {
    if (member.first == key) {
      return true;
    }
  }
  return false;
}

const Json& Json::at(const std::string& key, const std::string& where) const {
  if (m_type != Type::Object) {
    typeMismatch(where, "an object", m_type);
  }
  for (const auto& member : m_members) {
    if (member.first == key) {
      return member.second;
    }
  }
  throw JsonError(where + " has no \"" + key + "\"");
}

Json& Json::push(Json value) {
  m_items.push_back(std::move(value));
  return m_items.back();
}

std::string Json::dump(int indent) const {
  std::string out;
  dumpTo(out, indent, 0);
  out.push_back('\n');
  return out;
}

void Json::dumpTo(std::string& out, int indent, int depth) const {
  const auto newline = [&](int level) {
    if (indent > 0) {
      out.push_back('\n');
      out.append(static_cast<std::size_t>(indent) * static_cast<std::size_t>(level), ' ');
    }
  };
  switch (m_type) {
    case Type::Null:
      out += "null";
      break;
    case Type::Bool:
      out += m_bool ? "true" : "false";
      break;
    case Type::Integer:
      out += std::to_string(m_integer);
      break;
    case Type::Double: {
      char text[32];
      std::snprintf(text, sizeof(text), "%.17g", m_double);
      out += text;
      break;
    }
    case Type::String:
      appendEscaped(out, m_string);
      break;
    case Type::Array: {
      if (m_items.empty()) {
        out += "[]";
        break;
      }
      // Arrays of plain numbers stay on one line (byte lists, versions).
      bool flat = true;
      for (const Json& item : m_items) {
        flat = flat && (item.m_type == Type::Integer);
      }
      out.push_back('[');
      for (std::size_t i = 0; i < m_items.size(); ++i) {
        if (i != 0) {
          out.push_back(',');
          if (flat) {
            out.push_back(' ');
          }
        }
        if (!flat) {
          newline(depth + 1);
        }
        m_items[i].dumpTo(out, indent, depth + 1);
      }
      if (!flat) {
        newline(depth);
      }
      out.push_back(']');
      break;
    }
    case Type::Object: {
      if (m_members.empty()) {
        out += "{}";
        break;
      }
      out.push_back('{');
      for (std::size_t i = 0; i < m_members.size(); ++i) {
        if (i != 0) {
          out.push_back(',');
        }
        newline(depth + 1);
        appendEscaped(out, m_members[i].first);
        out += indent > 0 ? ": " : ":";
        m_members[i].second.dumpTo(out, indent, depth + 1);
      }
      newline(depth);
      out.push_back('}');
      break;
    }
  }
}

Json Json::parse(const std::string& text) {
  return Parser(text).parseDocument();
}

}  // namespace hdutil
