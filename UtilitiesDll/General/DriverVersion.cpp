#include "General/DriverVersion.h"

#include "DebuggingAndExceptions/CPException.h"

#include <cstdint>
#include <tuple>

namespace {

constexpr const char* kSourceFile = "UtilitiesDll\\General\\DriverVersion";

inline long asLong32(unsigned short high, unsigned short low) noexcept {
  return static_cast<std::int32_t>((static_cast<std::uint32_t>(high) << 16) | low);
}

}  // namespace

DriverVersion::DriverVersion(long high, long low) noexcept
    : m_word0(static_cast<unsigned short>(static_cast<std::uint32_t>(high) >> 16)),
      m_word1(static_cast<unsigned short>(high)),
      m_word2(static_cast<unsigned short>(static_cast<std::uint32_t>(low) >> 16)),
      m_word3(static_cast<unsigned short>(low)) {}

void DriverVersion::GetWordComponents(unsigned short& word0, unsigned short& word1, unsigned short& word2,
                                      unsigned short& word3) const noexcept {
  word0 = m_word0;
  word1 = m_word1;
  word2 = m_word2;
  word3 = m_word3;
}

void DriverVersion::GetLongComponents(long& high, long& low) const noexcept {
  high = asLong32(m_word0, m_word1);
  low = asLong32(m_word2, m_word3);
}

ByteBuffer DriverVersion::GetVersionAsByteBuffer() const {
  return ByteBuffer{static_cast<unsigned char>(m_word0), static_cast<unsigned char>(m_word0 >> 8),
                    static_cast<unsigned char>(m_word1), static_cast<unsigned char>(m_word1 >> 8),
                    static_cast<unsigned char>(m_word2), static_cast<unsigned char>(m_word2 >> 8),
                    static_cast<unsigned char>(m_word3), static_cast<unsigned char>(m_word3 >> 8)};
}

DriverVersion DriverVersion::WalkBufferToGetDriverVersion(const unsigned char*& cursor, unsigned int& remaining) {
  if (remaining < kSerialisedSize) {
    HDU_THROW(CPExceptionNotEnoughBytesForDesiredDataType,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "DriverVersion::WalkBufferToGetDriverVersion"),
              "Cannot convert to the DriverVersion because the size of the source buffer is too small (%ld bytes)! It "
              "needs to be at least %ld bytes.",
              static_cast<long long>(remaining), static_cast<long long>(kSerialisedSize));
  }
  const unsigned short word0 = ByteBuffer::WalkBufferToGetWord(cursor, remaining);
  const unsigned short word1 = ByteBuffer::WalkBufferToGetWord(cursor, remaining);
  const unsigned short word2 = ByteBuffer::WalkBufferToGetWord(cursor, remaining);
  const unsigned short word3 = ByteBuffer::WalkBufferToGetWord(cursor, remaining);
  return DriverVersion(word0, word1, word2, word3);
}

DriverVersion DriverVersion::WalkBufferToGetDriverVersion(unsigned char*& cursor, unsigned int& remaining) {
  const unsigned char* constCursor = cursor;
  const DriverVersion version = WalkBufferToGetDriverVersion(constCursor, remaining);
  cursor += constCursor - cursor;
  return version;
}

bool DriverVersion::operator<(const DriverVersion& other) const noexcept {
  return std::tie(m_word0, m_word1, m_word2, m_word3) <
         std::tie(other.m_word0, other.m_word1, other.m_word2, other.m_word3);
}

bool DriverVersion::operator==(const DriverVersion& other) const noexcept {
  return m_word0 == other.m_word0 && m_word1 == other.m_word1 && m_word2 == other.m_word2 && m_word3 == other.m_word3;
}

CPString DriverVersion::GetVersionDisplayString() const {
  const auto major = [](unsigned short word) { return static_cast<long>(word / 1000); };
  const auto minor = [](unsigned short word) { return static_cast<long>(word % 1000); };
  return CPString::format("%ld.%ld.%ld.%ld.%ld.%ld.%ld.%ld", major(m_word0), minor(m_word0), major(m_word1),
                          minor(m_word1), major(m_word2), minor(m_word2), major(m_word3), minor(m_word3));
}

CPString DriverVersion::GetDumpDisplayString() const {
  const long w0 = m_word0;
  const long w1 = m_word1;
  const long w2 = m_word2;
  const long w3 = m_word3;
  return CPString::format("%s [%ld, %ld, %ld, %ld (0x%lx, 0x%lx, 0x%lx, 0x%lx)]", GetVersionDisplayString(), w0, w1, w2,
                          w3, w0, w1, w2, w3);
}

void DriverVersion::Dump(const DumpArgs& dumpArgs) const {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  dumpArgs.writeLine("DriverVersion: " + GetDumpDisplayString().utf8StdString());
}
