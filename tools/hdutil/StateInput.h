#pragma once
// Reading a persisted settings state from a file in any of the forms an
// engineer meets it in:
//   - raw binary (as stored in a registry value or a file);
//   - hex text, with or without blanks, commas or line breaks ("10 00 00 00 01 ...");
//   - a registry export (.reg, UTF-16 or UTF-8): the hex data of a line such as
//     "Name"=hex:10,00,00,...  with its "\" continuation lines. With a value
//     name, that value is taken; without, the first binary value of the file.
//
// Size. Persisted states are small (a few kilobytes; hundreds at most), so
// every input, a state or a JSON document, is refused above
// kMaximumInputSize (64 MiB): a regular file by its size before anything is
// read, standard input and other streams as soon as they deliver more. The
// input is read once into one buffer; a raw binary state is used in place.
//
// Everything here works in one pass over the input: in a registry export
// each line is looked at once at most (value lines are found by their '=',
// which hex data lines never hold).

#include "General/ByteBuffer.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace hdutil {

class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline constexpr std::size_t kMaximumInputSize = std::size_t{64} * 1024 * 1024;

enum class InputForm { RawBinary, HexText, RegistryExport };

struct StateInput {
  ByteBuffer bytes;
  InputForm form = InputForm::RawBinary;
  std::string description;  // what was read, for the report ("registry value \"DevMode\"")
};

// Reads a whole file ("-" for standard input) of at most `limit` bytes.
// Throws InputError: "cannot open 'F'", "'F' is a directory", "cannot read
// 'F'", "'F' is larger than hdutil's limit of 64 MiB" ("standard input ..."
// for "-").
ByteBuffer readInput(const std::string& path, std::size_t limit = kMaximumInputSize);

// Decides the form and decodes it; throws InputError for text that is
// neither hex text nor a registry export with the value asked for.
StateInput decodeStateInput(ByteBuffer&& content, const std::string& valueName);

const char* inputFormName(InputForm form);

// One binary value of a registry export, as found by findRegistryValue.
struct RegistryExportValue {
  bool found = false;
  std::string name;     // as regedit's escapes give it ("@" for the default value)
  std::string hexData;  // the text after "hex:", continuation lines joined
  // Whether the text looks like a registry export at all (its header line,
  // or any line "Name"=... or @=...).
  bool isRegistryExport = false;
  // With a value name: a value of that name exists, but is not binary.
  bool namedValueIsNotBinary = false;
};

// The first binary ("hex:" or "hex(3):") value of the export, or the one
// named `valueName` when it is not empty; in one pass over `text`.
RegistryExportValue findRegistryValue(std::string_view text, std::string_view valueName);

// Decodes hex digits, skipping blanks, line breaks, commas, colons and
// hyphens; anything else throws InputError naming `what`, the character and
// its offset.
ByteBuffer decodeHexText(std::string_view text, const std::string& what);

}  // namespace hdutil
