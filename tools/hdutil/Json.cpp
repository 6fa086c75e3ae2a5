#include "Json.h"

#include "PrintableText.h"

#include <cstdio>
#include <functional>
#include <utility>
#include <vector>

namespace hdutil {

namespace {

// Builds the document from the parser's events. Objects are filled through
// their underlying vector: every member name has already been checked
// against the names of its object, so no search of the members is needed.
// The check keeps the hashes of an open object's member names (at most
// kMaximumJsonObjectMembers of them, in a vector reused for every object at
// that depth) and compares names only where two hashes agree.
// NOLINTNEXTLINE(bugprone-exception-escape): nlohmann destroys values through a work list that may allocate
class DocumentReader final : public nlohmann::json_sax<Json> {
 public:
  Json takeDocument() { return std::move(m_document); }

  bool null() override { return add(Json()); }
  bool boolean(bool value) override { return add(Json(value)); }
  bool number_integer(number_integer_t value) override { return add(Json(value)); }
  bool number_unsigned(number_unsigned_t value) override { return add(Json(value)); }
  bool number_float(number_float_t value, const string_t& /*text*/) override { return add(Json(value)); }
  bool string(string_t& value) override { return add(Json(std::move(value))); }
  bool binary(binary_t& /*value*/) override { return add(Json()); }  // JSON text holds none

  bool start_object(std::size_t /*elements*/) override {
    open(Json::object());
    if (m_memberHashes.size() < m_objectDepth + 1) {
      m_memberHashes.emplace_back();
      m_memberHashes.back().reserve(kMaximumJsonObjectMembers);
    }
    m_memberHashes[m_objectDepth].clear();
    ++m_objectDepth;
    return true;
  }

  bool key(string_t& name) override {
    std::vector<std::size_t>& hashes = m_memberHashes[m_objectDepth - 1];
    if (hashes.size() >= kMaximumJsonObjectMembers) {
      throw JsonError("an object with more than " + std::to_string(kMaximumJsonObjectMembers) + " members");
    }
    const std::size_t hash = std::hash<std::string>()(name);
    Json::object_t::Container& members = m_open.back()->get_ref<Json::object_t&>();
    if (members.empty()) {
      // Growing from one member copies the members (their names are const),
      // values and all; most objects of a state have two to four members.
      members.reserve(4);
    }
    for (std::size_t i = 0; i < hashes.size(); ++i) {
      if (hashes[i] == hash && members[i].first == name) {
        throw JsonError("duplicate member \"" + name + "\" in an object");
      }
    }
    hashes.push_back(hash);
    m_memberName = std::move(name);
    return true;
  }

  bool end_object() override {
    --m_objectDepth;
    m_open.pop_back();
    return true;
  }

  bool start_array(std::size_t /*elements*/) override {
    open(Json::array());
    return true;
  }

  bool end_array() override {
    m_open.pop_back();
    return true;
  }

  bool parse_error(std::size_t /*position*/, const std::string& /*lastToken*/,
                   const nlohmann::detail::exception& error) override {
    // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
    std::string_view text = error.what();
    const std::size_t prefixEnd = text.find("] ");
    if (!text.empty() && text.front() == '[' && prefixEnd != std::string_view::npos) {
      text.remove_prefix(prefixEnd + 2);
    }
    throw JsonError(std::string(text));
  }

 private:
  // Places a value: the document itself, the next item of the open array or
  // the member of the open object named by the last key.
  Json* place(Json&& value) {
    if (m_open.empty()) {
      m_document = std::move(value);
      return &m_document;
    }
    Json& container = *m_open.back();
    if (container.is_array()) {
      Json::array_t& items = container.get_ref<Json::array_t&>();
      items.push_back(std::move(value));
      return &items.back();
    }
    Json::object_t::Container& members = container.get_ref<Json::object_t&>();
    members.emplace_back(std::move(m_memberName), std::move(value));
    return &members.back().second;
  }

  bool add(Json&& value) {
    place(std::move(value));
    return true;
  }

  void open(Json&& container) {
    if (m_open.size() >= kMaximumJsonDepth) {
      throw JsonError("arrays and objects nested deeper than " + std::to_string(kMaximumJsonDepth) + " levels");
    }
    // The containers below stay where they are while this one is open: only
    // the innermost open container ever receives values.
    m_open.push_back(place(std::move(container)));
  }

  Json m_document;
  std::vector<Json*> m_open;
  std::string m_memberName;
  std::vector<std::vector<std::size_t>> m_memberHashes;  // one per open object, reused
  std::size_t m_objectDepth = 0;
};

const char* typeName(const Json& value) {
  switch (value.type()) {
    case Json::value_t::null:
      return "null";
    case Json::value_t::boolean:
      return "a boolean";
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
      return "an integer";
    case Json::value_t::number_float:
      return "a number with a fraction or exponent";
    case Json::value_t::string:
      return "a string";
    case Json::value_t::array:
      return "an array";
    case Json::value_t::object:
      return "an object";
    case Json::value_t::binary:
      return "binary data";
    case Json::value_t::discarded:
      return "nothing";
  }
  return "?";
}

[[noreturn]] void typeMismatch(const std::string& what, const char* expected, const Json& actual) {
  throw JsonError(what + " must be " + expected + ", not " + typeName(actual));
}

void appendString(std::string& out, std::string_view text) {
  const std::string repaired = isValidUtf8(text) ? std::string() : validUtf8(text);
  if (!repaired.empty()) {
    text = repaired;
  }
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

void newline(std::string& out, std::size_t level) {
  out.push_back('\n');
  out.append(2 * level, ' ');
}

void write(std::string& out, const Json& value, std::size_t level) {
  switch (value.type()) {
    case Json::value_t::string:
      appendString(out, value.get_ref<const std::string&>());
      return;
    case Json::value_t::array: {
      const Json::array_t& items = value.get_ref<const Json::array_t&>();
      if (items.empty()) {
        out += "[]";
        return;
      }
      // Arrays of plain integers stay on one line (versions, code units).
      bool flat = true;
      for (const Json& item : items) {
        flat = flat && item.is_number_integer();
      }
      out.push_back('[');
      for (std::size_t i = 0; i < items.size(); ++i) {
        if (i != 0) {
          out += flat ? ", " : ",";
        }
        if (!flat) {
          newline(out, level + 1);
        }
        write(out, items[i], level + 1);
      }
      if (!flat) {
        newline(out, level);
      }
      out.push_back(']');
      return;
    }
    case Json::value_t::object: {
      const Json::object_t& members = value.get_ref<const Json::object_t&>();
      if (members.empty()) {
        out += "{}";
        return;
      }
      out.push_back('{');
      bool first = true;
      for (const auto& [name, member] : members) {
        if (!first) {
          out.push_back(',');
        }
        first = false;
        newline(out, level + 1);
        appendString(out, name);
        out += ": ";
        write(out, member, level + 1);
      }
      newline(out, level);
      out.push_back('}');
      return;
    }
    case Json::value_t::null:
    case Json::value_t::boolean:
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
    case Json::value_t::number_float:
    case Json::value_t::binary:
    case Json::value_t::discarded:
      out += value.dump();
      return;
  }
}

}  // namespace

Json parseJson(std::string_view text) {
  DocumentReader reader;
  Json::sax_parse(text.begin(), text.end(), &reader);
  return reader.takeDocument();
}

std::string writeJson(const Json& value) {
  std::string out;
  write(out, value, 0);
  out.push_back('\n');
  return out;
}

JsonStreamWriter::JsonStreamWriter(std::ostream& out) : m_out(out) {
  m_buffer.reserve(kJsonStreamBufferSize + 4096);
}

// An item of an array starts a line of its own; a member's value follows its
// key (which did the same).
void JsonStreamWriter::beforeValue() {
  if (m_open.empty() || m_open.back().isObject) {
    return;
  }
  Open& array = m_open.back();
  if (array.count++ != 0) {
    m_buffer.push_back(',');
  }
  newline(m_buffer, m_open.size());
}

void JsonStreamWriter::flushIfFull() {
  if (m_buffer.size() >= kJsonStreamBufferSize) {
    m_out.write(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
    m_buffer.clear();
  }
}

void JsonStreamWriter::beginObject() {
  beforeValue();
  m_buffer.push_back('{');
  m_open.push_back({true, 0});
}

void JsonStreamWriter::beginArray() {
  beforeValue();
  m_buffer.push_back('[');
  m_open.push_back({false, 0});
}

// An empty container closes on its own line ("{}", "[]"); any other on a
// line of its own at its opening's depth.
void JsonStreamWriter::endObject() {
  const bool empty = m_open.back().count == 0;
  m_open.pop_back();
  if (!empty) {
    newline(m_buffer, m_open.size());
  }
  m_buffer.push_back('}');
  flushIfFull();
}

void JsonStreamWriter::endArray() {
  const bool empty = m_open.back().count == 0;
  m_open.pop_back();
  if (!empty) {
    newline(m_buffer, m_open.size());
  }
  m_buffer.push_back(']');
  flushIfFull();
}

void JsonStreamWriter::key(std::string_view name) {
  Open& object = m_open.back();
  if (object.count++ != 0) {
    m_buffer.push_back(',');
  }
  newline(m_buffer, m_open.size());
  appendString(m_buffer, name);
  m_buffer += ": ";
}

void JsonStreamWriter::value(const Json& value) {
  beforeValue();
  write(m_buffer, value, m_open.size());
  flushIfFull();
}

void JsonStreamWriter::hexString(std::span<const unsigned char> bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  beforeValue();
  m_buffer.push_back('"');
  for (const unsigned char byte : bytes) {
    m_buffer.push_back(kDigits[byte >> 4]);
    m_buffer.push_back(kDigits[byte & 0x0F]);
    flushIfFull();
  }
  m_buffer.push_back('"');
  flushIfFull();
}

void JsonStreamWriter::finish() {
  m_buffer.push_back('\n');
  m_out.write(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
  m_buffer.clear();
  m_out.flush();
}

bool jsonBool(const Json& value, const std::string& what) {
  if (!value.is_boolean()) {
    typeMismatch(what, "true or false", value);
  }
  return value.get<bool>();
}

long long jsonInteger(const Json& value, const std::string& what) {
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(std::numeric_limits<long long>::max())) {
      throw JsonError(what + " is outside the 64-bit range");
    }
    return static_cast<long long>(number);
  }
  if (!value.is_number_integer()) {
    typeMismatch(what, "an integer", value);
  }
  return value.get<long long>();
}

const std::string& jsonString(const Json& value, const std::string& what) {
  if (!value.is_string()) {
    typeMismatch(what, "a string", value);
  }
  return value.get_ref<const std::string&>();
}

const Json::array_t& jsonArray(const Json& value, const std::string& what) {
  if (!value.is_array()) {
    typeMismatch(what, "an array", value);
  }
  return value.get_ref<const Json::array_t&>();
}

const Json& jsonMember(const Json& value, const char* key, const std::string& where) {
  if (!value.is_object()) {
    typeMismatch(where, "an object", value);
  }
  const auto found = value.find(key);
  if (found == value.end()) {
    throw JsonError(where + " has no \"" + key + "\"");
  }
  return *found;
}

bool jsonHasMember(const Json& value, const char* key) {
  return value.is_object() && value.contains(key);
}

}  // namespace hdutil
