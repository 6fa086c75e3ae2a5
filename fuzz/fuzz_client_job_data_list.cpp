// Fuzz target: the client job data record. The input is a UTF-16LE
// parameter list (an odd last byte dropped); it is read the way lists from
// the spooler and from files are read (white space removed, one trailing
// zero unit dropped), then every getter and remover runs over a set of ids
// taken from the list and the input, and the add-or-replace calls are
// checked against their contract:
//   - an entry that a getter finds can be removed, and removal cuts exactly
//     "K<id>=<value>;" out of the list;
//   - a string added is read back unchanged unless its encoding produces ";"
//     (units U+D0B3), a long added is read back as its 32-bit value;
//   - a byte-buffer add appends exactly one entry or, at 65,536 units or
//     more, leaves the list as it was after removing the S entry of its id.
// Nothing here may throw: any exception escapes and fails the run.

#include "General/ClientJobData2ReaderWriter.h"
#include "General/ClientJobDataParameterList.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

namespace {

void require(bool condition) {
  if (!condition) {
    __builtin_trap();
  }
}

std::u16string key(char16_t kind, int id) {
  std::u16string text(1, kind);
  for (const char digit : std::to_string(static_cast<std::uint32_t>(id))) {
    text.push_back(static_cast<char16_t>(digit));
  }
  text.push_back(u'=');
  return text;
}

// Every getter, and the matching remover when the getter found something.
void probe(ClientJobDataParameterList list, int id) {
  CXString text;
  long number = 0;
  ByteBuffer bytes;
  const bool hasString = list.GetString(id, text);
  const bool hasLong = list.GetLong(id, number);
  list.GetByteBuffer(id, bytes);
  require(number >= INT32_MIN && number <= INT32_MAX);

  for (const char16_t kind : {u'S', u'L', u'B'}) {
    ClientJobDataParameterList copy = list;
    const std::u16string& before = list.GetText().u16string();
    const std::size_t start = before.find(key(kind, id));
    const std::size_t end = start == std::u16string::npos ? start : before.find(u';', start + key(kind, id).size());
    const bool removed = kind == u'S' ? copy.RemoveString(id) : kind == u'L' ? copy.RemoveLong(id) : copy.RemoveByteBuffer(id);
    require(removed == (end != std::u16string::npos));
    if (removed) {
      require(copy.GetText().u16string() == before.substr(0, start) + before.substr(end + 1));
    } else {
      require(copy.GetText() == list.GetText());
    }
    if (kind == u'S') {
      require(removed == hasString);
    } else if (kind == u'L') {
      require(removed == hasLong);
    }
  }
}

void addAndCheck(ClientJobDataParameterList list, int id, const std::u16string& value, long number,
                 const ByteBuffer& bytes) {
  ClientJobDataParameterList strings = list;
  strings.AddOrReplaceString(id, CXString(value));
  CXString read;
  require(strings.GetString(id, read));
  if (ClientJobDataParameterList::EncodeStringValue(value).u16string().find(u';') == std::u16string::npos) {
    require(read.u16string() == value);
  }

  ClientJobDataParameterList longs = list;
  longs.AddOrReplaceLong(id, number);
  long readNumber = 0;
  require(longs.GetLong(id, readNumber));
  require(readNumber == static_cast<std::int32_t>(number));

  ClientJobDataParameterList buffers = list;
  ClientJobDataParameterList withoutString = list;
  withoutString.RemoveString(id);
  buffers.AddOrReplaceByteBuffer(id, bytes);
  const std::u16string entry =
      key(u'B', id) + CXString::Base64EncodeBinaryData(bytes.data(), bytes.size()).u16string() + u";";
  const std::u16string& base = withoutString.GetText().u16string();
  if (base.size() + entry.size() < ClientJobDataParameterList::kMaximumListLengthWithByteBuffer) {
    require(buffers.GetText().u16string() == base + entry);
  } else {
    require(buffers.GetText().u16string() == base);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteBuffer raw(data, static_cast<unsigned long>(size));
  const CXString decoded = ClientJobData2ReaderWriter::DecodeTempFileContents(raw);
  const ClientJobDataParameterList asRead(ClientJobDataParameterList::RemoveWhiteSpace(decoded.utf16View()));
  const ClientJobDataParameterList asGiven(decoded);
  for (const char16_t unit : asRead.GetText()) {
    require(unit != u' ' && !(unit >= u'\t' && unit <= u'\r'));
  }

  // Ids: the fixed ones, the first bytes of the input, and every decimal
  // number that follows a kind letter in the list.
  std::set<int> ids = {0, 1, 11, 200, 202, -1};
  for (std::size_t i = 0; i + 4 <= size && i < 16; i += 4) {
    ids.insert(static_cast<int>(data[i] | (data[i + 1] << 8) | (data[i + 2] << 16) | (std::uint32_t{data[i + 3]} << 24)));
  }
  const std::u16string& text = asGiven.GetText().u16string();
  for (std::size_t i = 0; i < text.size() && ids.size() < 64; ++i) {
    if (text[i] == u'S' || text[i] == u'L' || text[i] == u'B') {
      std::uint32_t id = 0;
      std::size_t j = i + 1;
      for (; j < text.size() && j < i + 11 && text[j] >= u'0' && text[j] <= u'9'; ++j) {
        id = id * 10 + static_cast<std::uint32_t>(text[j] - u'0');
      }
      if (j > i + 1) {
        ids.insert(static_cast<int>(id));
      }
    }
  }
  const std::u16string value = text.substr(0, 40);
  const long number = size >= 4 ? static_cast<long>(static_cast<std::int32_t>(data[0] | (data[1] << 8) | (data[2] << 16) |
                                                                              (std::uint32_t{data[3]} << 24)))
                                : -7;
  const ByteBuffer bytes(data, static_cast<unsigned long>(size < 30 ? size : 30));
  for (const int id : ids) {
    probe(asRead, id);
    probe(asGiven, id);
    addAndCheck(asGiven, id, value, number, bytes);
  }
  return 0;
}
