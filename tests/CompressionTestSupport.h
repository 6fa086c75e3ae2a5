#pragma once
// Helpers shared by the compressed-buffer tests (portable, POSIX and Windows).

#include "DebuggingAndExceptions/CPException.h"
#include "General/ByteBuffer.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace compression_test {

using Bytes = std::vector<unsigned char>;

inline Bytes bytesOf(const ByteBuffer& buffer) {
  return Bytes(buffer.begin(), buffer.end());
}

inline ByteBuffer bufferOf(const std::string& text) {
  return ByteBuffer(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned long>(text.size()));
}

// Bytes from a fixed-seed generator: as good as incompressible.
inline ByteBuffer randomBytes(std::size_t size, std::uint32_t seed = 12345) {
  std::mt19937 generator(seed);
  ByteBuffer result(size, 0);
  for (auto& byte : result) {
    byte = static_cast<unsigned char>(generator() >> 24);
  }
  return result;
}

// Text-like, highly compressible bytes.
inline ByteBuffer repetitiveBytes(std::size_t size) {
  static const char pattern[] = "PageSize=A4;Duplex=LongEdge;Copies=1;";
  ByteBuffer result(size, 0);
  for (std::size_t i = 0; i < size; ++i) {
    result[i] = static_cast<unsigned char>(pattern[i % (sizeof(pattern) - 1)]);
  }
  return result;
}

// A current footer, written independently of the library.
inline Bytes footerBytes(unsigned char format, std::int32_t parameter, std::int32_t originalSize) {
  const auto p = static_cast<std::uint32_t>(parameter);
  const auto s = static_cast<std::uint32_t>(originalSize);
  return {format,
          static_cast<unsigned char>(p >> 24),
          static_cast<unsigned char>(p >> 16),
          static_cast<unsigned char>(p >> 8),
          static_cast<unsigned char>(p),
          static_cast<unsigned char>(s >> 24),
          static_cast<unsigned char>(s >> 16),
          static_cast<unsigned char>(s >> 8),
          static_cast<unsigned char>(s),
          'C',
          'O',
          'M',
          '5'};
}

// Runs `action`, which must throw exactly `Expected` (or a subclass), and
// returns the exception's message ("" after recording a failure).
template <class Expected, class Action>
std::string messageOfThrow(Action action) {
  try {
    action();
  } catch (const Expected& exception) {
    return exception.getExceptionMessage();
  } catch (const CPException& exception) {
    ADD_FAILURE() << "a different exception was thrown: " << exception.getLogString();
    return "";
  } catch (const std::exception& exception) {
    ADD_FAILURE() << "a non-library exception was thrown: " << exception.what();
    return "";
  }
  ADD_FAILURE() << "nothing was thrown";
  return "";
}

// The folder where interoperability tests leave files for the outside tools:
// "interop" beside the running test program (the build tree's bin folder).
inline std::string interopFolder() {
  std::string path = PlatformFacilities::processImagePath();
  const std::size_t slash = path.find_last_of("/\\");
  const char separator = slash != std::string::npos ? path[slash] : '/';
  path = slash != std::string::npos ? path.substr(0, slash) : std::string(".");
  return path + separator + "interop";
}

inline bool writeFile(const std::string& path, const ByteBuffer& contents) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(contents.data()), static_cast<std::streamsize>(contents.size()));
  return static_cast<bool>(out);
}

}  // namespace compression_test
