#include "Compression/CompressedBuffer.h"

#include "DebuggingAndExceptions/CPException.h"

#include <cstdint>
#include <cstring>
#include <utility>

namespace {

constexpr unsigned char kSignatureCom5[4] = {'C', 'O', 'M', '5'};
constexpr unsigned char kSignatureCom4[4] = {'C', 'O', 'M', '4'};
constexpr unsigned char kSignatureComp[4] = {'C', 'O', 'M', 'P'};

// The shortest data in which a footer is looked for: anything of 7 bytes or
// fewer cannot hold even the 8-byte footer.
constexpr std::size_t kMinimumDataSizeForFooter = 8;

std::int32_t readBigEndian32(const unsigned char* bytes) noexcept {
  const std::uint32_t value = (static_cast<std::uint32_t>(bytes[0]) << 24) |
                              (static_cast<std::uint32_t>(bytes[1]) << 16) |
                              (static_cast<std::uint32_t>(bytes[2]) << 8) | static_cast<std::uint32_t>(bytes[3]);
  return static_cast<std::int32_t>(value);
}

void appendBigEndian32(ByteBuffer& data, std::uint32_t value) {
  data.push_back(static_cast<unsigned char>(value >> 24));
  data.push_back(static_cast<unsigned char>(value >> 16));
  data.push_back(static_cast<unsigned char>(value >> 8));
  data.push_back(static_cast<unsigned char>(value));
}

}  // namespace

CompressedBuffer::CompressedBuffer(CompressionFormatEnum format, int parameter)
    : m_originalSize(0), m_formatParameter(parameter), m_format(format) {
  m_data.reserve(kSizeOfFooterInfo);
  AddFooterInfo(0, parameter, format);
}

CompressedBuffer::~CompressedBuffer() = default;

void CompressedBuffer::AddFooterInfo(long originalSize, int parameter, CompressionFormatEnum format) {
  AppendFooterInfo(m_data, originalSize, parameter, format);
}

void CompressedBuffer::AppendFooterInfo(ByteBuffer& data, long originalSize, int parameter,
                                        CompressionFormatEnum format) {
  data.reserve(data.size() + kSizeOfFooterInfo);
  data.push_back(static_cast<unsigned char>(format));
  appendBigEndian32(data, static_cast<std::uint32_t>(parameter));
  appendBigEndian32(data, static_cast<std::uint32_t>(originalSize));
  data.insert(data.end(), std::begin(kSignatureCom5), std::end(kSignatureCom5));
}

bool CompressedBuffer::GetFooterInfo(const ByteBuffer& data, long& originalSize, int& parameter,
                                     CompressionFormatEnum& format, unsigned int& footerSize, bool throwIfMissing) {
  const std::size_t size = data.size();
  bool isCom5 = false;
  bool isCom4 = false;
  bool isComp = false;
  if (size >= kMinimumDataSizeForFooter) {
    const unsigned char* signature = data.data() + size - 4;
    isCom5 = std::memcmp(signature, kSignatureCom5, 4) == 0;
    isCom4 = std::memcmp(signature, kSignatureCom4, 4) == 0;
    isComp = std::memcmp(signature, kSignatureComp, 4) == 0;
  }
  const bool signatureMatched = isCom5 || isCom4 || isComp;
  if (!signatureMatched) {
    if (throwIfMissing) {
      // Every matching signature yields a footer (the 8-byte layout is the
      // fallback, and it always fits once a signature has been compared), so
      // when this throws no signature matched and the flag reads "yes".
      HDU_THROW(CPExceptionMissingOrBadCompressedBufferFooter, HDU_DEBUG_CONTEXT("CompressedBuffer::GetFooterInfo"),
                "Footer information missing (buffer is %ld bytes versus footer size of %ld, %ld, or %ld) OR "
                "signature bytes were invalid (%s). CompressedBuffer ByteBuffer is invalid!",
                static_cast<long long>(size), static_cast<long long>(kSizeOfFooterInfo),
                static_cast<long long>(kSizeOf40FooterInfo), static_cast<long long>(kSizeOfOldestFooterInfo), "yes");
    }
    return false;
  }

  const unsigned char* end = data.data() + size;
  // The original size always stands in the four bytes before the signature.
  originalSize = static_cast<long>(readBigEndian32(end - 8));
  if (isCom5 && size >= kSizeOfFooterInfo) {
    const unsigned char* footer = end - kSizeOfFooterInfo;
    format = static_cast<CompressionFormatEnum>(footer[0]);
    parameter = static_cast<int>(readBigEndian32(footer + 1));
    footerSize = kSizeOfFooterInfo;
  } else if (isCom4 && size >= kSizeOf40FooterInfo) {
    parameter = static_cast<int>(readBigEndian32(end - kSizeOf40FooterInfo));
    format = CFE_ZLIB;
    footerSize = kSizeOf40FooterInfo;
  } else {
    // "COMP", or a newer signature on data too short for its own layout:
    // only the original size is known.
    footerSize = kSizeOfOldestFooterInfo;
  }
  return true;
}

bool CompressedBuffer::AssignCompressedData(const ByteBuffer& data, CompressionFormatEnum nativeFormat) {
  long originalSize = 0;
  int parameter = -1;
  // The 8-byte footer does not record its format: its data is zlib.
  CompressionFormatEnum format = CFE_ZLIB;
  unsigned int footerSize = 0;
  GetFooterInfo(data, originalSize, parameter, format, footerSize, true);

  if (format != CFE_ZLIB && format != CFE_CAB) {
    HDU_THROW(CPExceptionIncompatibleCompressionFormat, HDU_DEBUG_CONTEXT("CompressedBuffer::AssignCompressedData"),
              "The CompressedBuffer footer names an unknown compression format (%d); only Zlib (%d) and CAB (%d) "
              "data can be used.",
              static_cast<int>(format), static_cast<int>(CFE_ZLIB), static_cast<int>(CFE_CAB));
  }

  ByteBuffer copy(data);
  bool converted = false;
  if (format != nativeFormat) {
    ConvertCompressedDataToNativeFormat(format, parameter, originalSize, copy, true);
    // The converted data carries a current footer written by this class.
    GetFooterInfo(copy, originalSize, parameter, format, footerSize, true);
    converted = true;
  }
  SetState(std::move(copy), originalSize, parameter, format);
  return converted;
}

void CompressedBuffer::SetState(ByteBuffer&& data, long originalSize, int parameter,
                                CompressionFormatEnum format) noexcept {
  m_data = std::move(data);
  m_originalSize = originalSize;
  m_formatParameter = parameter;
  m_format = format;
}

void CompressedBuffer::CheckOriginalSizeFitsInOneBuffer(long originalSize, std::size_t largestBufferSize) {
  if (originalSize < 0 || static_cast<unsigned long long>(originalSize) > largestBufferSize) {
    HDU_THROW(CPExceptionOutOfMemory, HDU_DEBUG_CONTEXT("CompressedBuffer::CheckOriginalSizeFitsInOneBuffer"),
              "The original data size (%ld bytes) cannot be held in one buffer on this platform (at most %lu bytes).",
              static_cast<long long>(originalSize), static_cast<unsigned long long>(largestBufferSize));
  }
}

void CompressedBuffer::CheckOriginalSizeFitsInOneBuffer(long originalSize) {
  CheckOriginalSizeFitsInOneBuffer(originalSize, ByteBuffer().max_size());
}

unsigned long CompressedBuffer::GetCompressedPartSize(long& originalSize) const {
  int parameter = m_formatParameter;
  CompressionFormatEnum format = m_format;
  unsigned int footerSize = 0;
  GetFooterInfo(m_data, originalSize, parameter, format, footerSize, true);
  return static_cast<unsigned long>(m_data.size() - footerSize);
}
