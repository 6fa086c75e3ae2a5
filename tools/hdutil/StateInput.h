#pragma once
// Reading a persisted settings state from a file in any of the forms an
// engineer meets it in:
//   - raw binary (as stored in a registry value or a file);
//   - hex text, with or without blanks, commas or line breaks ("10 00 00 00 01 ...");
//   - a registry export (.reg, UTF-16 or UTF-8): the hex data of a line such as
//     "Name"=hex:10,00,00,...  with its "\" continuation lines. With a value
//     name, that value is taken; without, the first binary value of the file.

#include "General/ByteBuffer.h"

#include <stdexcept>
#include <string>

namespace hdutil {

class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class InputForm { RawBinary, HexText, RegistryExport };

struct StateInput {
  ByteBuffer bytes;
  InputForm form = InputForm::RawBinary;
  std::string description;  // what was read, for the report ("registry value \"DevMode\"")
};

// Reads the whole file ("-" for standard input); throws InputError.
std::string readWholeFile(const std::string& path);
// Decides the form and decodes it; throws InputError for text that is neither.
StateInput decodeStateInput(const std::string& content, const std::string& valueName);

const char* inputFormName(InputForm form);

}  // namespace hdutil
