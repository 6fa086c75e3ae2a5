#pragma once
// Text from a state, a file or a library message, made safe to print.
//
// Whatever hdutil prints that came from its input (record names, string
// values, registry value names, file names, the library's exception
// messages) passes through here, so that a crafted state cannot start a line
// of its own, forge an "hdutil:" line or send codes to the terminal:
//   - valid UTF-8 text is kept as it is;
//   - "\n", "\r" and "\t" become those two-character escapes, every other C0
//     control character and DEL becomes "\xNN" (ESC is "\x1B");
//   - C1 control characters (U+0080 to U+009F), the line and paragraph
//     separators U+2028 and U+2029, and the bidirectional embedding,
//     override and isolate controls (U+202A to U+202E, U+2066 to U+2069),
//     which reorder what a reader sees, become "\uNNNN";
//   - each byte that is not part of a well-formed UTF-8 sequence (a stray
//     continuation byte, a truncated sequence, an overlong form, an encoded
//     surrogate, anything above U+10FFFF) becomes "\xNN".
// A backslash is kept as it is.

#include <cstddef>
#include <string>
#include <string_view>

namespace hdutil {

std::string printableText(std::string_view text);

// One line of an error report: the line end the library puts at the end of
// some of its messages ("...failed!\r\n") is dropped, the rest made printable.
std::string printableLine(std::string_view message);

// Whether `text` is well-formed UTF-8 (no surrogates, nothing above U+10FFFF).
bool isValidUtf8(std::string_view text);
// `text` with each byte that is not part of a well-formed sequence replaced
// by U+FFFD.
std::string validUtf8(std::string_view text);
// The length of the well-formed UTF-8 sequence that begins at `at`, or 0.
std::size_t utf8SequenceLength(std::string_view text, std::size_t at);

}  // namespace hdutil
