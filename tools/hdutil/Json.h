#pragma once
// hdutil's JSON: nlohmann::ordered_json values (members keep their insertion
// order, so output is stable and diffs of it are readable), a reader made
// for documents from outside, and the writer of the tool's layout.
//
// Reading (parseJson) accepts exactly the JSON grammar (no "+1", ".5",
// "007", "1." or "-01"; strings must be UTF-8 with paired surrogate escapes)
// and in addition refuses, with a JsonError naming line and column:
//   - a member name that appears twice in one object (the later one would
//     silently win otherwise);
//   - an object with more than kMaximumJsonObjectMembers members (a state's
//     objects have at most ten);
//   - nesting deeper than kMaximumJsonDepth arrays and objects (a state's
//     lists nested 32 levels deep, the most it may hold, need about 130).
// Duplicates are found through the hashes of the names of each open object,
// and members are appended without searching, so reading stays linear in
// the input whatever the document (ordered_json's own insertion searches
// the members).
//
// Writing (writeJson) uses two-space indentation with one member or item per
// line, except that arrays holding only integers stay on one line
// ("[7, 48, 0, 1]"). Strings are written as UTF-8 with the JSON escapes;
// bytes that are not UTF-8 become U+FFFD.
//
// JsonStreamWriter writes the same layout piece by piece to a stream, so that
// a document of any size is never held whole: containers are opened and
// closed as the document is walked, and the values inside them (small ones)
// are written as writeJson writes them. It buffers up to
// kJsonStreamBufferSize bytes before handing them to the stream.

#include <nlohmann/json.hpp>

#include <cstddef>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace hdutil {

using Json = nlohmann::ordered_json;

class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline constexpr std::size_t kMaximumJsonObjectMembers = 64;
inline constexpr std::size_t kMaximumJsonDepth = 256;

Json parseJson(std::string_view text);
// The document in the layout above, ending in a line end.
std::string writeJson(const Json& value);

inline constexpr std::size_t kJsonStreamBufferSize = std::size_t{64} * 1024;

// Writes one document (see above). Containers opened through the writer hold
// members or items on lines of their own, as writeJson writes objects and
// arrays that are not flat, so integer arrays are written whole through
// value(). Calls must make a document: a member's key before its value,
// every container closed before finish().
class JsonStreamWriter {
 public:
  explicit JsonStreamWriter(std::ostream& out);
  JsonStreamWriter(const JsonStreamWriter&) = delete;
  JsonStreamWriter& operator=(const JsonStreamWriter&) = delete;

  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  // The name of the next member of the open object.
  void key(std::string_view name);
  // A whole value (an item of the open array, a member's value, or the
  // document), laid out as writeJson lays it out at this depth.
  void value(const Json& value);
  // A string of the upper-case hex digits of `bytes` ("00FF"), written as it
  // is made.
  void hexString(std::span<const unsigned char> bytes);
  // Ends the document with a line end and hands everything to the stream.
  void finish();

 private:
  void beforeValue();
  void flushIfFull();

  std::ostream& m_out;
  std::string m_buffer;
  // Per open container: whether it is an object, and how many members or
  // items it holds so far.
  struct Open {
    bool isObject;
    std::size_t count;
  };
  std::vector<Open> m_open;
};

// Typed access for documents read from outside: each throws a JsonError
// naming `what` (the place in the document) when the type does not match.
bool jsonBool(const Json& value, const std::string& what);
// Integers only (a fraction or exponent is refused), in the 64-bit range.
long long jsonInteger(const Json& value, const std::string& what);
const std::string& jsonString(const Json& value, const std::string& what);
const Json::array_t& jsonArray(const Json& value, const std::string& what);
// The member `key` of the object `value`; `where` names the object.
const Json& jsonMember(const Json& value, const char* key, const std::string& where);
// Whether `value` is an object with the member `key`.
bool jsonHasMember(const Json& value, const char* key);

}  // namespace hdutil
