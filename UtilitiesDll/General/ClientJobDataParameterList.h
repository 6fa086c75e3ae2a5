#pragma once
// ClientJobDataParameterList: the keyed text record that carries client job
// data from the driver's user side to its spooler side.
//
// The record is one UTF-16 string, a concatenation of entries
// "<kind><id>=<value>;" with nothing between them:
//
//   kind  written as               value
//   S     "S%u=%s;" + old list     the string, every code unit encoded (below)
//   L     "L%u=%d;" + old list     a signed 32-bit integer in decimal
//   B     old list + "B%u=%s;"     the bytes in one-line Base64 (CXString option 3)
//
// So string and integer entries are prepended and byte-buffer entries
// appended. S, L and B entries have separate id spaces; ids are written as
// unsigned 32-bit decimals (a negative id is written as its 32-bit pattern).
//
// String values are encoded code unit by code unit so that the common text
// never holds "=" or ";": c becomes (c & 0xFF00) + 0x3000 + (low byte of c
// with its two 4-bit halves swapped), modulo 0x10000 ("=" 0x003D is stored as
// 0x30D3). The transform is a fixed part of the record's format. Note that it
// maps the units U+D000..U+D0FF (Hangul syllables) into U+0000..U+00FF: U+D0B3
// is stored as ";" and U+D0D3 as "=", and units that land on ASCII white
// space are lost when a list is read from the spooler or a file. Such values
// do not survive a round trip; every other unit does.
//
// Lookup of kind K and id n is a plain search for the first occurrence of
// "K<n>=" anywhere in the list (also inside another entry's value); the value
// runs from that "=" to the first ";" after it. Without that ";" the entry is
// absent. Removal cuts the entry and its ";" out of the list.
//
// Adding replaces: the same id is removed first. For strings and integers the
// entry of the same kind goes; for byte buffers the S entry of that id goes,
// not the B entry (the record's writers have always done so, and readers rely
// on the older B entry staying in front). A byte-buffer entry is kept only if
// the list stays shorter than kMaximumListLengthWithByteBuffer code units;
// otherwise the list is left as it was after the removal.
//
// The class holds the text only; it is a value type, used by one thread at a
// time.

#include "General/ByteBuffer.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <cstddef>
#include <string_view>

class HDU_API ClientJobDataParameterList {
 public:
  enum : std::size_t { kMaximumListLengthWithByteBuffer = 65536 };

  ClientJobDataParameterList() = default;
  explicit ClientJobDataParameterList(CXString text) noexcept : m_text(std::move(text)) {}

  const CXString& GetText() const noexcept { return m_text; }
  void SetText(CXString text) noexcept { m_text = std::move(text); }
  bool IsEmpty() const noexcept { return m_text.empty(); }
  void Clear() noexcept { m_text.clear(); }

  // ---- entries (see above); getters leave `value` unchanged when absent ----
  bool GetString(int id, CXString& value) const;
  // The value converted as the C library's _wtoi does: leading blanks, an
  // optional sign, then decimal digits up to the first other character; no
  // digits give 0; values beyond the 32-bit range saturate.
  bool GetLong(int id, long& value) const;
  // False also when the value is not valid Base64 (`value` is then unchanged).
  bool GetByteBuffer(int id, ByteBuffer& value) const;

  void AddOrReplaceString(int id, const CXString& value);
  void AddOrReplaceLong(int id, long value);
  void AddOrReplaceByteBuffer(int id, const ByteBuffer& value);

  bool RemoveString(int id);
  bool RemoveLong(int id);
  bool RemoveByteBuffer(int id);

  // ---- the value encodings ----
  static char16_t EncodeCodeUnit(char16_t unit) noexcept;
  static char16_t DecodeCodeUnit(char16_t unit) noexcept;
  static CXString EncodeStringValue(std::u16string_view value);
  static CXString DecodeStringValue(std::u16string_view value);
  // _wtoi over UTF-16 text (see GetLong); the result is in the 32-bit range.
  static long ConvertDecimalText(std::u16string_view text) noexcept;

  // The text without ASCII white space (space, tab, line feed, vertical tab,
  // form feed, carriage return): lists read from the spooler or from a file
  // are used this way.
  static CXString RemoveWhiteSpace(std::u16string_view text);

 private:
  struct EntryPosition {
    std::size_t start;       // the kind letter
    std::size_t valueStart;  // just after "="
    std::size_t semicolon;   // the ";" that ends the entry
  };
  bool FindEntry(char16_t kind, int id, EntryPosition& position) const;
  bool FindValue(char16_t kind, int id, std::u16string_view& value) const;
  bool RemoveEntry(char16_t kind, int id);

  CXString m_text;
};
