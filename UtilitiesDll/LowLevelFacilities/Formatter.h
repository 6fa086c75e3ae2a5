#pragma once
// The library's type-safe printf-style formatting.
//
// A variadic template turns each argument into a FormatArgument (a tagged
// value: integer with its width and signedness, floating point, pointer,
// character, or a view of narrow, UTF-16 or UTF-32 text) on the stack, then one
// non-template worker walks the format string and the arguments together,
// writing into a FormatStringBuffer<1024>. Nothing is allocated while the
// result fits the buffer's inline space.
//
// Rules (beyond what printf does):
// - "%s" and "%S" take narrow and wide text alike; wide text is written as
//   UTF-8. The conversion's 's'/'S' is switched to match the argument.
// - Narrow text is char, signed char, unsigned char or char8_t (pointers and
//   arrays), std::string(_view) and CPString, written as its bytes stand.
//   Wide text is wchar_t, char16_t or char32_t (pointers, arrays, strings)
//   and CXString. Wide text is always written as valid UTF-8, as the
//   platform's converter writes it: a surrogate pair is one character (also
//   when 32-bit wchar_t text holds it unit by unit), and an unpaired
//   surrogate or a value above U+10FFFF becomes U+FFFD. A null text pointer
//   is written "(null)". An array is read up to its first zero or its end.
// - "%c" writes a char, char8_t or any integer as one byte, as printf does
//   (0xE9 gives the byte E9, -1 the byte FF). A wide character (wchar_t,
//   char16_t, char32_t), or an integer under "%C", is a code point written as
//   UTF-8; a surrogate or a value above U+10FFFF gives U+FFFD.
// - Floating conversions follow printf, including its defaults: "%a" without
//   a precision (or with a negative star precision) writes every significant
//   hex digit.
// - The Windows size prefixes "I64", "I32" and "I" are accepted ("%016I64X"),
//   as are the other size modifiers; the argument's own type decides its width.
// - "%p" writes the pointer as upper-case hex digits, zero-filled to the width
//   of a pointer, on every platform (so "0x%p" reads the same everywhere).
//   Text under "%p" is written as the address of its first character. A
//   char pointer must point to terminated text (it is measured when the
//   argument is taken); other text pointers (unsigned char, signed char and
//   char8_t byte buffers, wide text) are not read under "%p".
// - An argument whose kind does not suit the conversion is still written
//   sensibly: numbers under "%s" as "%d"/"%g"/"%p" would, text under a number
//   conversion as text.
// - Too few arguments: the surplus conversions are written as they stand.
// - Too many arguments: ignored, unless the calling thread's internal-check
//   counter is above zero, when std::runtime_error is thrown.
// - An invalid conversion character throws CPExceptionInvalidArgument.
// - The thread's last-error value is the same after formatting as before.

#include "LowLevelFacilities/FormatStringBuffer.h"
#include "hdUtilitiesExport.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace InternalHaldenCP {

enum class FormatArgumentKind : std::uint8_t {
  SignedInteger,
  UnsignedInteger,
  Character,  // a char, wchar_t, char16_t or char32_t value (a code point, or a byte for char)
  FloatingPoint,
  Pointer,
  NarrowText,  // UTF-8 bytes
  Utf16Text,
  Utf32Text,
};

// A view of text (a named type: an anonymous struct inside the anonymous
// union below would be a compiler extension).
struct FormatTextView {
  const void* data;    // null: a null C string, written "(null)"
  std::size_t length;  // in code units; kUnmeasuredTextLength: up to the first zero
};

// The length of C-string arguments other than char text (byte buffers and
// wide text), measured only when they are written as text, so that "%p"
// never reads what such a pointer points to.
inline constexpr std::size_t kUnmeasuredTextLength = static_cast<std::size_t>(-1);

struct FormatArgument {
  FormatArgumentKind kind;
  std::uint8_t byteSize;  // of the original integer type
  union {
    long long signedValue;
    unsigned long long unsignedValue;
    double floatingValue;
    const void* pointerValue;
    FormatTextView text;
  };
};

// Types that carry UTF-8 text (CPString) or UTF-16 text (CXString).
template <class T>
concept Utf8TextObject = requires(const T& t) {
  { t.utf8StdString() } -> std::convertible_to<const std::string&>;
};
template <class T>
concept Utf16TextObject = requires(const T& t) {
  { t.utf16View() } -> std::convertible_to<std::u16string_view>;
};

namespace detail {

inline FormatArgument narrowText(const char* text, std::size_t length) {
  FormatArgument a{};
  a.kind = FormatArgumentKind::NarrowText;
  a.text = {text, length};
  return a;
}

// An empty text of each unit type: a default-constructed view has no data
// pointer, but it is an empty text, not a null C string.
template <class CharT>
inline constexpr CharT kEmptyText[1] = {};

template <class CharT>
const CharT* nonNullText(const CharT* text) {
  return text != nullptr ? text : kEmptyText<CharT>;
}

template <class CharT>
FormatArgument wideText(const CharT* text, std::size_t length) {
  FormatArgument a{};
  a.kind = sizeof(CharT) == 2 ? FormatArgumentKind::Utf16Text : FormatArgumentKind::Utf32Text;
  a.text = {text, length};
  return a;
}

// Up to the first zero unit or the end of the array.
template <class CharT, std::size_t N>
std::size_t arrayTextLength(const CharT (&text)[N]) {
  std::size_t length = 0;
  while (length < N && text[length] != CharT{}) {
    ++length;
  }
  return length;
}

template <class T>
inline constexpr bool isNarrowCharacter = std::is_same_v<T, char> || std::is_same_v<T, signed char> ||
                                          std::is_same_v<T, unsigned char> || std::is_same_v<T, char8_t>;
template <class T>
inline constexpr bool isWideCharacter =
    std::is_same_v<T, wchar_t> || std::is_same_v<T, char16_t> || std::is_same_v<T, char32_t>;
template <class T>
using PointeeOf = std::remove_cv_t<std::remove_pointer_t<T>>;

}  // namespace detail

template <class T>
FormatArgument makeFormatArgument(const T& value) {
  using U = std::remove_cv_t<T>;
  FormatArgument a{};
  if constexpr (std::is_same_v<U, char>) {
    a.kind = FormatArgumentKind::Character;
    a.byteSize = 1;
    a.unsignedValue = static_cast<unsigned char>(value);
  } else if constexpr (detail::isWideCharacter<U> || std::is_same_v<U, char8_t>) {
    a.kind = FormatArgumentKind::Character;
    a.byteSize = sizeof(U);
    // The unit's bits (a Linux wchar_t is signed): a negative unit is a value
    // above U+10FFFF, never a code point.
    a.unsignedValue = static_cast<std::make_unsigned_t<U>>(value);
  } else if constexpr (std::is_same_v<U, bool>) {
    a.kind = FormatArgumentKind::UnsignedInteger;
    a.byteSize = 1;
    a.unsignedValue = value ? 1 : 0;
  } else if constexpr (std::is_enum_v<U>) {
    return makeFormatArgument(static_cast<std::underlying_type_t<U>>(value));
  } else if constexpr (std::is_integral_v<U> && std::is_signed_v<U>) {
    a.kind = FormatArgumentKind::SignedInteger;
    a.byteSize = sizeof(U);
    // Sign-extended as printf extends a promoted char.
    a.signedValue = value;  // NOLINT(bugprone-signed-char-misuse)
  } else if constexpr (std::is_integral_v<U>) {
    a.kind = FormatArgumentKind::UnsignedInteger;
    a.byteSize = sizeof(U);
    a.unsignedValue = value;
  } else if constexpr (std::is_floating_point_v<U>) {
    a.kind = FormatArgumentKind::FloatingPoint;
    a.byteSize = sizeof(double);
    a.floatingValue = static_cast<double>(value);
  } else if constexpr (std::is_same_v<U, const char*> || std::is_same_v<U, char*>) {
    // Measured here, where the compiler often knows the text already.
    return value != nullptr ? detail::narrowText(value, std::char_traits<char>::length(value))
                            : detail::narrowText(nullptr, 0);
  } else if constexpr (std::is_pointer_v<U> && detail::isNarrowCharacter<detail::PointeeOf<U>>) {
    // Byte buffers: measured only when written as text.
    return detail::narrowText(reinterpret_cast<const char*>(value), kUnmeasuredTextLength);
  } else if constexpr (std::is_pointer_v<U> && detail::isWideCharacter<detail::PointeeOf<U>>) {
    return detail::wideText(static_cast<const detail::PointeeOf<U>*>(value), kUnmeasuredTextLength);
  } else if constexpr (std::is_same_v<U, std::string> || std::is_same_v<U, std::string_view>) {
    return detail::narrowText(detail::nonNullText(value.data()), value.size());
  } else if constexpr (std::is_same_v<U, std::wstring> || std::is_same_v<U, std::wstring_view> ||
                       std::is_same_v<U, std::u16string> || std::is_same_v<U, std::u16string_view> ||
                       std::is_same_v<U, std::u32string> || std::is_same_v<U, std::u32string_view>) {
    return detail::wideText(detail::nonNullText(value.data()), value.size());
  } else if constexpr (Utf8TextObject<U>) {
    const std::string& text = value.utf8StdString();
    return detail::narrowText(text.data(), text.size());
  } else if constexpr (Utf16TextObject<U>) {
    const std::u16string_view text = value.utf16View();
    return detail::wideText(detail::nonNullText(text.data()), text.size());
  } else if constexpr (std::is_null_pointer_v<U>) {
    a.kind = FormatArgumentKind::Pointer;
    a.byteSize = sizeof(void*);
    a.pointerValue = nullptr;
  } else if constexpr (std::is_pointer_v<U>) {
    a.kind = FormatArgumentKind::Pointer;
    a.byteSize = sizeof(void*);
    a.pointerValue = reinterpret_cast<const void*>(value);
  } else {
    static_assert(sizeof(U) == 0, "this type cannot be formatted");
  }
  return a;
}

// Character arrays (string literals) are text, not pointers.
template <std::size_t N>
FormatArgument makeFormatArgument(const char (&value)[N]) {
  return detail::narrowText(value, detail::arrayTextLength(value));
}
template <std::size_t N>
FormatArgument makeFormatArgument(const signed char (&value)[N]) {
  return detail::narrowText(reinterpret_cast<const char*>(value), detail::arrayTextLength(value));
}
template <std::size_t N>
FormatArgument makeFormatArgument(const unsigned char (&value)[N]) {
  return detail::narrowText(reinterpret_cast<const char*>(value), detail::arrayTextLength(value));
}
template <std::size_t N>
FormatArgument makeFormatArgument(const char8_t (&value)[N]) {
  return detail::narrowText(reinterpret_cast<const char*>(value), detail::arrayTextLength(value));
}
template <std::size_t N>
FormatArgument makeFormatArgument(const wchar_t (&value)[N]) {
  return detail::wideText(static_cast<const wchar_t*>(value), detail::arrayTextLength(value));
}
template <std::size_t N>
FormatArgument makeFormatArgument(const char16_t (&value)[N]) {
  return detail::wideText(static_cast<const char16_t*>(value), detail::arrayTextLength(value));
}
template <std::size_t N>
FormatArgument makeFormatArgument(const char32_t (&value)[N]) {
  return detail::wideText(static_cast<const char32_t*>(value), detail::arrayTextLength(value));
}

// The worker: formats into the buffer (appending to what it holds).
HDU_API void formatWorker(FormatStringBuffer<1024>& buffer, const char* format, const FormatArgument* arguments,
                          std::size_t argumentCount);

template <class... Args>
void formatIntoBuffer(FormatStringBuffer<1024>& buffer, const char* format, const Args&... args) {
  if constexpr (sizeof...(Args) == 0) {
    formatWorker(buffer, format, nullptr, 0);
  } else {
    const FormatArgument arguments[] = {makeFormatArgument(args)...};
    formatWorker(buffer, format, arguments, sizeof...(Args));
  }
}

template <class... Args>
std::string formatToStdString(const char* format, const Args&... args) {
  FormatStringBuffer<1024> buffer;
  formatIntoBuffer(buffer, format, args...);
  return buffer.takeStdString();
}

}  // namespace InternalHaldenCP
