#include "StateInput.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

using hdutil::decodeHexText;
using hdutil::decodeStateInput;
using hdutil::findRegistryValue;
using hdutil::InputError;
using hdutil::InputForm;
using hdutil::readInput;
using hdutil::RegistryExportValue;

namespace {

namespace fs = std::filesystem;

// A folder of its own for the files of one test.
class TemporaryFolder {
 public:
  TemporaryFolder() : m_path(fs::temp_directory_path() / ("hdutil-test-" + std::to_string(std::random_device()()))) {
    fs::create_directories(m_path);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string write(const std::string& name, const std::string& content) const {
    const fs::path path = m_path / name;
    std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
    return path.string();
  }
  std::string path(const std::string& name) const { return (m_path / name).string(); }

 private:
  fs::path m_path;
};

template <class Action>
std::string inputFailure(Action action) {
  try {
    action();
  } catch (const InputError& e) {
    return e.what();
  }
  return "(accepted)";
}

ByteBuffer bytesOf(const std::string& text) {
  return ByteBuffer(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned long>(text.size()));
}

std::string hexOf(const ByteBuffer& bytes) {
  return ByteBuffer::ConvertByteBufferToHexBinaryString(bytes).toUtf8();
}

}  // namespace

TEST(StateInput, FilesAreReadWhole_DirectoriesAndFilesOverTheLimitAreRefused) {
  const TemporaryFolder folder;
  const std::string exact = folder.write("exact.bin", std::string(100, '\x07'));
  const std::string over = folder.write("over.bin", std::string(101, '\x07'));
  const std::string empty = folder.write("empty.bin", "");

  EXPECT_EQ(readInput(exact, 100), ByteBuffer(100, 7));
  EXPECT_TRUE(readInput(empty, 100).empty());
  EXPECT_EQ(inputFailure([&] { readInput(over, 100); }), "'" + over + "' is larger than hdutil's limit of 100 bytes");
  EXPECT_EQ(readInput(over).size(), 101u);  // the default limit, 64 MiB
  EXPECT_EQ(inputFailure([&] { readInput(folder.path(""), 100); }), "'" + folder.path("") + "' is a directory");
  EXPECT_EQ(inputFailure([&] { readInput(folder.path("."), 100); }), "'" + folder.path(".") + "' is a directory");
  const std::string missing = folder.path("missing.bin");
  EXPECT_EQ(inputFailure([&] { readInput(missing); }).rfind("cannot open '" + missing + "': ", 0), 0u);
  EXPECT_EQ(hdutil::kMaximumInputSize, 64u * 1024 * 1024);
}

TEST(StateInput, RegistryExportsAreReadLineByLine) {
  const std::string text =
      "Windows Registry Editor Version 5.00\r\n"
      "\r\n"
      "[HKEY_CURRENT_USER\\Software\\Halden\\Settings]\r\n"
      "\"Note\"=\"see x=hex:00,01\"\r\n"
      "\"Count\"=dword:00000002\r\n"
      "\"Multi\"=hex(7):41,00,00,00\r\n"
      "\"Quote\\\"d \\\\ name\"=hex:10,00,\\\r\n"
      "  20,30,\\\r\n"
      "  40\r\n"
      "@=hex(3):aa,bb\r\n"
      "\"Last\"=hex:ff\r\n";
  RegistryExportValue value = findRegistryValue(text, "");
  EXPECT_TRUE(value.found && value.isRegistryExport);
  EXPECT_EQ(value.name, "Quote\"d \\ name");
  EXPECT_EQ(hexOf(decodeHexText(value.hexData, "data")), "1000203040");

  value = findRegistryValue(text, "@");
  EXPECT_TRUE(value.found);
  EXPECT_EQ(value.hexData, "aa,bb");
  value = findRegistryValue(text, "Last");
  EXPECT_EQ(value.hexData, "ff");
  value = findRegistryValue(text, "Note");  // a string that holds "=hex:" is a string
  EXPECT_FALSE(value.found);
  EXPECT_TRUE(value.namedValueIsNotBinary);
  value = findRegistryValue(text, "Multi");
  EXPECT_FALSE(value.found);
  EXPECT_TRUE(value.namedValueIsNotBinary);
  value = findRegistryValue(text, "Nothing");
  EXPECT_FALSE(value.found || value.namedValueIsNotBinary);
  EXPECT_TRUE(value.isRegistryExport);

  // Text that merely holds "=hex" is no export; a hostile line of it is read once.
  std::string hostile;
  for (int i = 0; i < 250000; ++i) {
    hostile += "=hex";
  }
  value = findRegistryValue(hostile, "");
  EXPECT_FALSE(value.found || value.isRegistryExport);
  value = findRegistryValue("\"" + hostile, "");
  EXPECT_FALSE(value.found || value.isRegistryExport);
  // '=' outside value lines (a key path, other text), many short lines, and
  // a header after blank lines.
  value = findRegistryValue("\r\nREGEDIT4\r\n[HKEY_CURRENT_USER\\a=b]\r\nnot=a value\r\n\"V\"=hex:01\r\n", "");
  EXPECT_TRUE(value.found && value.isRegistryExport);
  EXPECT_EQ(value.name, "V");
  std::string manyLines;
  for (int i = 0; i < 100000; ++i) {
    manyLines += "k=v\n";
  }
  value = findRegistryValue(manyLines + "\"V\"=hex:02", "V");
  EXPECT_TRUE(value.found);
  EXPECT_EQ(value.hexData, "02");
  // A continuation at the very end of the text.
  value = findRegistryValue("\"A\"=hex:01,\\", "A");
  EXPECT_EQ(value.hexData, "01,");
}

TEST(StateInput, FormsAreDecodedWithoutCopyingRawBinary) {
  // Raw binary is used in place: the same buffer comes back.
  ByteBuffer raw = bytesOf(std::string("\x10\x00\x00\x00\x01\x00", 6));
  const unsigned char* address = raw.data();
  hdutil::StateInput input = decodeStateInput(std::move(raw), "");
  EXPECT_EQ(input.form, InputForm::RawBinary);
  EXPECT_EQ(input.bytes.data(), address);
  EXPECT_EQ(input.description, "raw binary");

  input = decodeStateInput(bytesOf("\xEF\xBB\xBF"
                                   "10 00,ab:CD-ef\n"),
                           "");
  EXPECT_EQ(input.form, InputForm::HexText);
  EXPECT_EQ(hexOf(input.bytes), "1000ABCDEF");

  // regedit's UTF-16LE export with a byte-order mark.
  std::string utf16 = "\xFF\xFE";
  for (const char c : std::string("REGEDIT4\r\n\"V\"=hex:01,02\r\n")) {
    utf16 += c;
    utf16 += '\0';
  }
  input = decodeStateInput(bytesOf(utf16), "V");
  EXPECT_EQ(input.form, InputForm::RegistryExport);
  EXPECT_EQ(input.description, "registry value \"V\"");
  EXPECT_EQ(hexOf(input.bytes), "0102");

  const std::string exportText = "REGEDIT4\n\"S\"=\"text\"\n@=hex:01\n";
  EXPECT_EQ(decodeStateInput(bytesOf(exportText), "").description, "registry value @");
  EXPECT_EQ(inputFailure([&] { decodeStateInput(bytesOf(exportText), "S"); }),
            "registry value \"S\" is not a binary (hex:) value");
  EXPECT_EQ(inputFailure([&] { decodeStateInput(bytesOf(exportText), "T"); }),
            "no binary registry value named \"T\" in the input");
  EXPECT_EQ(inputFailure([&] { decodeStateInput(bytesOf("REGEDIT4\n\"S\"=\"text\"\n"), ""); }),
            "the registry export holds no binary (hex:) value");

  // Hex text errors name the whole character, not one byte of it.
  EXPECT_EQ(inputFailure([&] { decodeStateInput(bytesOf("10 00 \xE2\x82\xAC 00"), ""); }),
            "hex text: unexpected character '\xE2\x82\xAC' at offset 6");
  EXPECT_EQ(inputFailure([&] { decodeStateInput(bytesOf("10 0\xE2\x82"), ""); }),
            "hex text: unexpected character '\xE2' at offset 4");
  EXPECT_EQ(inputFailure([&] { decodeStateInput(bytesOf("10 0"), ""); }), "hex text: an odd number of hex digits (3)");
  EXPECT_EQ(inputFailure([&] { decodeStateInput(bytesOf("REGEDIT4\n\"V\"=hex:0g\n"), ""); }),
            "registry value \"V\": unexpected character 'g' at offset 1");
}
