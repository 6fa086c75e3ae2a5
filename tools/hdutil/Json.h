#pragma once
// A small JSON value, reader and writer for hdutil's machine-readable output
// and its "encode" input. Objects keep their members in insertion order so
// that output is stable and diffs of it are readable. Numbers keep integers
// exact (64-bit) and fall back to double for fractions and exponents.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace hdutil {

class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Json {
 public:
  enum class Type { Null, Bool, Integer, Double, String, Array, Object };

  Json() = default;
  Json(std::nullptr_t) {}                                             // NOLINT(google-explicit-constructor)
  Json(bool value) : m_type(Type::Bool), m_bool(value) {}             // NOLINT(google-explicit-constructor)
  Json(int value) : m_type(Type::Integer), m_integer(value) {}        // NOLINT(google-explicit-constructor)
  Json(long value) : m_type(Type::Integer), m_integer(value) {}       // NOLINT(google-explicit-constructor)
  Json(long long value) : m_type(Type::Integer), m_integer(value) {}  // NOLINT(google-explicit-constructor)
  Json(unsigned value) : m_type(Type::Integer), m_integer(value) {}   // NOLINT(google-explicit-constructor)
  Json(unsigned long value) : m_type(Type::Integer), m_integer(static_cast<long long>(value)) {}  // NOLINT
  Json(double value) : m_type(Type::Double), m_double(value) {}                  // NOLINT(google-explicit-constructor)
  Json(const char* value) : m_type(Type::String), m_string(value) {}             // NOLINT(google-explicit-constructor)
  Json(std::string value) : m_type(Type::String), m_string(std::move(value)) {}  // NOLINT

  static Json array() {
    Json j;
    j.m_type = Type::Array;
    return j;
  }
  static Json object() {
    Json j;
    j.m_type = Type::Object;
    return j;
  }

  Type type() const { return m_type; }
  bool isNull() const { return m_type == Type::Null; }
  bool isObject() const { return m_type == Type::Object; }
  bool isArray() const { return m_type == Type::Array; }

  // Accessors throw JsonError naming `what` when the type does not match.
  bool asBool(const std::string& what) const;
  long long asInteger(const std::string& what) const;
  double asNumber(const std::string& what) const;
  const std::string& asString(const std::string& what) const;
  const std::vector<Json>& asArray(const std::string& what) const;

  // Objects.
  Json& set(const std::string& key, Json value);
  bool has(const std::string& key) const;
  // The member, or a JsonError naming the missing key under `where`.
  const Json& at(const std::string& key, const std::string& where) const;
  const std::vector<std::pair<std::string, Json>>& members() const { return m_members; }

  // Arrays.
  Json& push(Json value);

  std::string dump(int indent = 2) const;
  static Json parse(const std::string& text);

 private:
  void dumpTo(std::string& out, int indent, int depth) const;

  Type m_type = Type::Null;
  bool m_bool = false;
  long long m_integer = 0;
  double m_double = 0.0;
  std::string m_string;
  std::vector<Json> m_items;
  std::vector<std::pair<std::string, Json>> m_members;
};

}  // namespace hdutil
