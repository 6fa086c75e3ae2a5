#include "attributebytes/AttributeBytesNameSpaces.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/Formatter.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/AttributeBytesWire.h"

#include <iterator>

namespace {
constexpr const char* kSourceFile = "UtilitiesDll\\attributebytes\\AttributeBytesNameSpaces";
}  // namespace

AttributeBytesNameSpaces::AttributeBytesNameSpaces(const DriverVersion& driverVersion) noexcept
    : m_driverVersion(driverVersion) {}

AttributeBytesNameSpaces::AttributeBytesNameSpaces(const ByteBuffer& state, DriverVersion* driverVersionOut) {
  const DriverVersion version = ImportAttributeBytesNameSpacesState(state);
  if (driverVersionOut != nullptr) {
    *driverVersionOut = version;
  }
}

AttributeBytesNameSpaces::~AttributeBytesNameSpaces() = default;

void AttributeBytesNameSpaces::swap(AttributeBytesNameSpaces& other) noexcept {
  m_nameSpaces.swap(other.m_nameSpaces);
  std::swap(m_driverVersion, other.m_driverVersion);
}

ByteBuffer AttributeBytesNameSpaces::GetAttributeBytesNameSpacesState() const {
  ByteBuffer state;
  AttributeBytesWire::appendUInt32(state, AttributeBytesWire::kNameSpacesSignature);
  state.append(m_driverVersion.GetVersionAsByteBuffer());
  m_nameSpaces.AppendAttributeBytesIndexedListState(state);
  return state;
}

void AttributeBytesNameSpaces::GetAttributeBytesNameSpacesState(ByteBuffer& out) const {
  ByteBuffer state = GetAttributeBytesNameSpacesState();
  out.swap(state);
}

DriverVersion AttributeBytesNameSpaces::ImportAttributeBytesNameSpacesState(const ByteBuffer& state) {
  return ImportAttributeBytesNameSpacesState(ByteBuffer(state));
}

DriverVersion AttributeBytesNameSpaces::ImportAttributeBytesNameSpacesState(ByteBuffer&& state,
                                                                            unsigned maximumNestingLevel) {
  auto storage = std::make_shared<ByteBuffer>(std::move(state));
  const unsigned char* const start = storage->empty() ? nullptr : storage->data();
  const unsigned char* cursor = start;
  unsigned int remaining = AttributeBytesWire::remainingCountOf(storage->size());
  const auto signature = static_cast<std::uint32_t>(AttributeBytesWire::walkLong(cursor, remaining));
  if (signature != AttributeBytesWire::kNameSpacesSignature) {
    HDU_THROW(CPExceptionMissingOrBadAttributeBytesFormat,
              HDU_DEBUG_CONTEXT_IN(kSourceFile, "AttributeBytesNameSpaces::ImportAttributeBytesNameSpacesState"),
              "Import request ignored. This expected signature is missing or doesn't match.");
  }
  const DriverVersion version = DriverVersion::WalkBufferToGetDriverVersion(cursor, remaining);
  AttributeBytesIndexedList nameSpaces;
  nameSpaces.ImportAttributeBytesIndexedListState(storage, static_cast<std::size_t>(cursor - start), remaining,
                                                  maximumNestingLevel);
  m_nameSpaces.swap(nameSpaces);
  m_driverVersion = version;
  return version;
}

AttributeBytesSharedPtr AttributeBytesNameSpaces::GetNameSpaceByIndex(std::size_t index) const {
  if (index >= m_nameSpaces.GetAttributeBytesCount()) {
    return AttributeBytesSharedPtr();
  }
  AttributeBytesIndexedListIterator iterator = m_nameSpaces.GetIndexedListIterator();
  for (std::size_t skipped = 0; skipped < index; ++skipped) {
    m_nameSpaces.GetNextAttributeBytesFromIndexedListIterator(iterator);
  }
  return m_nameSpaces.GetNextAttributeBytesFromIndexedListIterator(iterator);
}

namespace {

AttributeBytesSharedPtr makeNameSpaceRecord(const AttributeBytesNameSpacesId& id, AttributeBytesRawList&& records,
                                            unsigned char kindOfList) {
  return MakeAttributeBytesSharedPtr(id.Clone(),
                                     std::make_unique<AttributeBytesListValue>(kindOfList, std::move(records), true));
}

}  // namespace

void AttributeBytesNameSpaces::AddNameSpace(const AttributeBytesNameSpacesId& id, const AttributeBytesRawList& records,
                                            unsigned char kindOfList) {
  AddNameSpace(id, AttributeBytesRawList(records), kindOfList);
}

void AttributeBytesNameSpaces::AddNameSpace(const AttributeBytesNameSpacesId& id, AttributeBytesRawList&& records,
                                            unsigned char kindOfList) {
  m_nameSpaces.AddAttributeBytes(makeNameSpaceRecord(id, std::move(records), kindOfList));
}

void AttributeBytesNameSpaces::SetNameSpace(const AttributeBytesNameSpacesId& id, const AttributeBytesRawList& records,
                                            unsigned char kindOfList) {
  SetNameSpace(id, AttributeBytesRawList(records), kindOfList);
}

void AttributeBytesNameSpaces::SetNameSpace(const AttributeBytesNameSpacesId& id, AttributeBytesRawList&& records,
                                            unsigned char kindOfList) {
  m_nameSpaces.SetAttributeBytes(makeNameSpaceRecord(id, std::move(records), kindOfList));
}

bool AttributeBytesNameSpaces::RemoveNameSpace(const AttributeBytesNameSpacesId& id) {
  return m_nameSpaces.RemoveAttributeBytes(id);
}

bool AttributeBytesNameSpaces::GetNameSpaceRecords(const AttributeBytesNameSpacesId& id,
                                                   AttributeBytesRawList& records) const {
  const AttributeBytesValue* value = m_nameSpaces.GetAttributeBytesValuePtr(id);
  if (value == nullptr) {
    return false;
  }
  records = value->GetListValue().GetValue();
  return true;
}

void AttributeBytesNameSpaces::AttributeBytesDump(const DumpArgs& dumpArgs,
                                                  const IAttributeBytesDebugDisplayHelper& helper) const {
  if (dumpArgs.sink() == nullptr) {
    return;
  }
  dumpArgs.writeLine(InternalHaldenCP::formatToStdString(
      "AttributeBytesNameSpaces: version %s, %lu namespaces", m_driverVersion.GetVersionDisplayString(),
      static_cast<unsigned long long>(m_nameSpaces.GetAttributeBytesCount())));
  m_nameSpaces.AttributeBytesDump(dumpArgs.nested(), helper);
}
