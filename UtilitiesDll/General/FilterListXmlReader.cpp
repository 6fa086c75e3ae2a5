// The platform-independent part of FilterListXmlReader: reading the file.
// ReadFilterNames itself is in Win/ (XmlLite) and Posix/ (libxml2).

#include "General/FilterListXmlReader.h"

#include "DebuggingAndExceptions/CPException.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace {

std::filesystem::path ToPath(const CXString& path) {
  return std::filesystem::path(path.u16string());
}

}  // namespace

bool FilterListXmlReader::DoesFileExist(const CXString& path) {
  std::error_code error;
  return !path.empty() && std::filesystem::is_regular_file(ToPath(path), error);
}

std::vector<CXString> FilterListXmlReader::ReadFilterNamesFromFile(const CXString& path) {
  std::ifstream file(ToPath(path), std::ios::binary);
  if (!file.is_open()) {
    HDU_THROW(CPExceptionCreateFileForReading, HDU_DEBUG_CONTEXT("FilterListXmlReader::ReadFilterNamesFromFile"),
              "The filter list '%s' could not be opened.", path);
  }
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (file.bad()) {
    HDU_THROW(CPExceptionReadFile, HDU_DEBUG_CONTEXT("FilterListXmlReader::ReadFilterNamesFromFile"),
              "The filter list '%s' could not be read.", path);
  }
  const ByteBuffer contents(reinterpret_cast<const unsigned char*>(bytes.data()),
                            static_cast<unsigned long>(bytes.size()));
  return ReadFilterNames(contents, path);
}
