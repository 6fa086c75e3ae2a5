#include "Compression/CabCompressedBuffer.h"

#include "Compression/CabinetPlatform.h"
#include "Compression/ZlibCompressedBuffer.h"
#include "DebuggingAndExceptions/CPException.h"

#include <exception>
#include <utility>

namespace {

// The footer stores sizes as signed 32-bit values.
constexpr unsigned long kMaximumOriginalSize = 0x7FFFFFFFUL;

}  // namespace

CabCompressedBuffer::CabCompressedBuffer() : CompressedBuffer(CFE_CAB, -1) {}

CabCompressedBuffer::CabCompressedBuffer(const ByteBuffer& data) : CompressedBuffer(CFE_CAB, -1) {
  AssignCompressedData(data, CFE_CAB);
}

CabCompressedBuffer::CabCompressedBuffer(const ByteBuffer& data, bool& converted) : CompressedBuffer(CFE_CAB, -1) {
  converted = false;
  converted = AssignCompressedData(data, CFE_CAB);
}

CabCompressedBuffer::~CabCompressedBuffer() = default;

bool CabCompressedBuffer::IsSupportedOnThisPlatform() noexcept {
  return CabinetPlatform::isSupported();
}

const char* CabCompressedBuffer::GetNameOfFileInCabinet() noexcept {
  return CabinetPlatform::kNameOfFileInCabinet;
}

void CabCompressedBuffer::CompressData(const unsigned char* data, unsigned long size, ByteBuffer& out) {
  if (size > kMaximumOriginalSize) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("CabCompressedBuffer::CompressData"),
              "CabCompressedBuffer::CompressData(): The data (%lu bytes) is too large for a CompressedBuffer (at most "
              "%lu bytes)!",
              static_cast<unsigned long long>(size), static_cast<unsigned long long>(kMaximumOriginalSize));
  }
  ByteBuffer result;
  if (size != 0) {
    CabinetPlatform::compress(data, size, result);
  }
  AppendFooterInfo(result, static_cast<long>(size), -1, CFE_CAB);
  out = std::move(result);
}

void CabCompressedBuffer::CompressBuffer(const ByteBuffer& original) {
  ByteBuffer result;
  CompressData(original.data(), static_cast<unsigned long>(original.size()), result);
  const long size = static_cast<long>(original.size());
  SetState(std::move(result), size, -1, CFE_CAB);
}

void CabCompressedBuffer::UncompressBuffer(ByteBuffer& original) const {
  long originalSize = 0;
  const unsigned long compressedSize = GetCompressedPartSize(originalSize);
  if (originalSize < 0) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("CabCompressedBuffer::UncompressBuffer"),
              "CabCompressedBuffer::UncompressBuffer(): The original data size in the footer (%ld) is negative!",
              static_cast<long long>(originalSize));
  }
  if (static_cast<unsigned long long>(originalSize) > GetMaximumOriginalSize()) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("CabCompressedBuffer::UncompressBuffer"),
              "CabCompressedBuffer::UncompressBuffer(): The original data size in the footer (%ld) is above the "
              "maximum original size accepted (%lu bytes)!",
              static_cast<long long>(originalSize), static_cast<unsigned long long>(GetMaximumOriginalSize()));
  }
  ByteBuffer result;
  if (compressedSize != 0) {
    CabinetPlatform::uncompress(GetData().data(), compressedSize, static_cast<unsigned long>(originalSize), result);
  }
  if (result.size() != static_cast<std::size_t>(originalSize)) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("CabCompressedBuffer::UncompressBuffer"),
              "CabCompressedBuffer::UncompressBuffer(): Uncompressed data size (%ld) doesn't match the expected size "
              "of the original data (%ld)!",
              static_cast<long long>(result.size()), static_cast<long long>(originalSize));
  }
  original = std::move(result);
}

void CabCompressedBuffer::ConvertCompressedDataToNativeFormat(CompressionFormatEnum format, int parameter,
                                                              long originalSize, ByteBuffer& data,
                                                              bool dataIncludesFooter) {
  if (format == CFE_CAB) {
    if (!dataIncludesFooter) {
      AppendFooterInfo(data, originalSize, parameter, format);
    }
    return;
  }
  if (format != CFE_ZLIB) {
    HDU_THROW(CPExceptionIncompatibleCompressionFormat,
              HDU_DEBUG_CONTEXT("CabCompressedBuffer::ConvertCompressedDataToNativeFormat"),
              "Compressed data in format %d cannot be converted into CAB format; only Zlib data (%d) can.",
              static_cast<int>(format), static_cast<int>(CFE_ZLIB));
  }
  try {
    if (originalSize > kMaximumZlibOriginalSizeForConversion) {
      HDU_THROW(CPExceptionIncompatibleCompressionFormat,
                HDU_DEBUG_CONTEXT("CabCompressedBuffer::ConvertCompressedDataToNativeFormat"),
                "Compression data is in Zlib format and the original data size is %ld bytes. Original data > 32K "
                "(%ld) bytes cannot be uncompressed by this class.",
                static_cast<long long>(originalSize), static_cast<long long>(kMaximumZlibOriginalSizeForConversion));
    }
    ByteBuffer original;
    if (dataIncludesFooter) {
      ZlibCompressedBuffer::UncompressData(data, original);
    } else {
      ZlibCompressedBuffer::UncompressData(data.data(), static_cast<unsigned long>(data.size()), originalSize,
                                           original);
    }
    ByteBuffer converted;
    CompressData(original.data(), static_cast<unsigned long>(original.size()), converted);
    data = std::move(converted);
  } catch (const std::exception& exception) {
    CPException::reportAndProcessCaughtException(
        exception, HDU_DEBUG_CONTEXT("CabCompressedBuffer::ConvertCompressedDataToNativeFormat"),
        InternalHaldenCP::formatToStdString(
            "Exception thrown while trying to convert the ZLIB data into CAB format. Original data size was %ld "
            "bytes. Note that original Zlib data > 32K (%ld) bytes will always fail when trying to use "
            "CabCompressedBuffer.",
            static_cast<long long>(originalSize), static_cast<long long>(kMaximumZlibOriginalSizeForConversion)));
    throw;
  }
}
