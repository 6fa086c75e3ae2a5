#include "General/ClientJobDataParameterList.h"

#include <cstdint>
#include <limits>
#include <string>

namespace {

// "K<id>=" for a kind letter and an id written as an unsigned 32-bit decimal.
std::u16string MakeKey(char16_t kind, int id) {
  std::u16string key(1, kind);
  const std::string digits = std::to_string(static_cast<std::uint32_t>(id));
  for (const char digit : digits) {
    key.push_back(static_cast<char16_t>(digit));
  }
  key.push_back(u'=');
  return key;
}

std::u16string DecimalText(long value) {
  const std::string digits = std::to_string(value);
  return std::u16string(digits.begin(), digits.end());
}

bool IsAsciiWhiteSpace(char16_t unit) noexcept {
  return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
}

}  // namespace

// ---- encodings ----

char16_t ClientJobDataParameterList::EncodeCodeUnit(char16_t unit) noexcept {
  const unsigned low = unit & 0xFFu;
  const unsigned swapped = ((low & 0x0Fu) << 4) | (low >> 4);
  return static_cast<char16_t>(((unit & 0xFF00u) + 0x3000u + swapped) & 0xFFFFu);
}

char16_t ClientJobDataParameterList::DecodeCodeUnit(char16_t unit) noexcept {
  const unsigned shifted = (static_cast<unsigned>(unit) + 0x10000u - 0x3000u) & 0xFFFFu;
  const unsigned low = shifted & 0xFFu;
  const unsigned swapped = ((low & 0x0Fu) << 4) | (low >> 4);
  return static_cast<char16_t>((shifted & 0xFF00u) | swapped);
}

CXString ClientJobDataParameterList::EncodeStringValue(std::u16string_view value) {
  std::u16string out;
  out.reserve(value.size());
  for (const char16_t unit : value) {
    out.push_back(EncodeCodeUnit(unit));
  }
  return CXString(std::move(out));
}

CXString ClientJobDataParameterList::DecodeStringValue(std::u16string_view value) {
  std::u16string out;
  out.reserve(value.size());
  for (const char16_t unit : value) {
    out.push_back(DecodeCodeUnit(unit));
  }
  return CXString(std::move(out));
}

long ClientJobDataParameterList::ConvertDecimalText(std::u16string_view text) noexcept {
  std::size_t i = 0;
  while (i < text.size() && IsAsciiWhiteSpace(text[i])) {
    ++i;
  }
  bool negative = false;
  if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
    negative = text[i] == u'-';
    ++i;
  }
  // Accumulated as a magnitude; one past INT32_MAX is the largest magnitude
  // that still matters (it is INT32_MIN's).
  constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
  std::int64_t magnitude = 0;
  for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
    magnitude = magnitude * 10 + (text[i] - u'0');
    if (magnitude > kLimit) {
      magnitude = kLimit;
    }
  }
  if (negative) {
    return static_cast<long>(-magnitude);
  }
  return static_cast<long>(magnitude >= kLimit ? kLimit - 1 : magnitude);
}

CXString ClientJobDataParameterList::RemoveWhiteSpace(std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (const char16_t unit : text) {
    if (!IsAsciiWhiteSpace(unit)) {
      out.push_back(unit);
    }
  }
  return CXString(std::move(out));
}

// ---- lookup ----

bool ClientJobDataParameterList::FindEntry(char16_t kind, int id, EntryPosition& position) const {
  const std::u16string& text = m_text.u16string();
  const std::u16string key = MakeKey(kind, id);
  const std::size_t start = text.find(key);
  if (start == std::u16string::npos) {
    return false;
  }
  const std::size_t equals = start + key.size() - 1;
  const std::size_t semicolon = text.find(u';', equals + 1);
  if (semicolon == std::u16string::npos) {
    return false;
  }
  position = EntryPosition{start, equals + 1, semicolon};
  return true;
}

bool ClientJobDataParameterList::FindValue(char16_t kind, int id, std::u16string_view& value) const {
  EntryPosition position{};
  if (!FindEntry(kind, id, position)) {
    return false;
  }
  value = m_text.utf16View().substr(position.valueStart, position.semicolon - position.valueStart);
  return true;
}

bool ClientJobDataParameterList::GetString(int id, CXString& value) const {
  std::u16string_view stored;
  if (!FindValue(u'S', id, stored)) {
    return false;
  }
  value = DecodeStringValue(stored);
  return true;
}

bool ClientJobDataParameterList::GetLong(int id, long& value) const {
  std::u16string_view stored;
  if (!FindValue(u'L', id, stored)) {
    return false;
  }
  value = ConvertDecimalText(stored);
  return true;
}

bool ClientJobDataParameterList::GetByteBuffer(int id, ByteBuffer& value) const {
  std::u16string_view stored;
  if (!FindValue(u'B', id, stored)) {
    return false;
  }
  std::vector<unsigned char> bytes;
  if (!CXString::Base64DecodeBinaryData(CXString(stored), bytes)) {
    return false;
  }
  value = ByteBuffer(std::move(bytes));
  return true;
}

// ---- editing ----

bool ClientJobDataParameterList::RemoveEntry(char16_t kind, int id) {
  EntryPosition position{};
  if (!FindEntry(kind, id, position)) {
    return false;
  }
  m_text.u16string().erase(position.start, position.semicolon + 1 - position.start);
  return true;
}

bool ClientJobDataParameterList::RemoveString(int id) {
  return RemoveEntry(u'S', id);
}

bool ClientJobDataParameterList::RemoveLong(int id) {
  return RemoveEntry(u'L', id);
}

bool ClientJobDataParameterList::RemoveByteBuffer(int id) {
  return RemoveEntry(u'B', id);
}

void ClientJobDataParameterList::AddOrReplaceString(int id, const CXString& value) {
  RemoveEntry(u'S', id);
  std::u16string entry = MakeKey(u'S', id);
  entry += EncodeStringValue(value.utf16View()).u16string();
  entry.push_back(u';');
  m_text.u16string().insert(0, entry);
}

void ClientJobDataParameterList::AddOrReplaceLong(int id, long value) {
  RemoveEntry(u'L', id);
  std::u16string entry = MakeKey(u'L', id);
  entry += DecimalText(static_cast<std::int32_t>(value));
  entry.push_back(u';');
  m_text.u16string().insert(0, entry);
}

void ClientJobDataParameterList::AddOrReplaceByteBuffer(int id, const ByteBuffer& value) {
  RemoveEntry(u'S', id);
  const CXString encoded = CXString::Base64EncodeBinaryData(value.data(), value.size(), CXString::Base64Default);
  const std::u16string key = MakeKey(u'B', id);
  if (m_text.size() + key.size() + encoded.size() + 1 >= kMaximumListLengthWithByteBuffer) {
    return;
  }
  std::u16string& text = m_text.u16string();
  text.reserve(text.size() + key.size() + encoded.size() + 1);
  text += key;
  text += encoded.u16string();
  text.push_back(u';');
}
