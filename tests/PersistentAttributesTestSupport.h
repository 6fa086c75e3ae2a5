#pragma once
// Realistic settings collections for the persisted-attributes tests: several
// namespaces, every id kind and every value type, nested lists, unspecified
// values.

#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesNameSpaces.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <cstdint>
#include <string>

namespace patest {

// One record of each value type (and each id kind), numbered from `base` so
// that calls with different bases give different records.
inline AttributeBytesRawList everyValueType(long base) {
  AttributeBytesRawList list;
  const CXString name = CXString::fromUtf8("Stapling-" + std::to_string(base) + "-\xC3\xBC");
  list.AddAttributeBytes(
      AttributeBytes(AttributeBytesFeatureId(base + 1), AttributeBytesOptionValue(AttributeBytesValueId(base + 7))));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(base + 2), AttributeBytesIntegerValue(-base - 300)));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesNewFeatureId(name), AttributeBytesStringValue(name)));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesValueId(base + 3), AttributeBytesBooleanValue(true, false)));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesNewValueId(name), AttributeBytesRangeValue(1, base + 999)));
  list.AddAttributeBytes(
      AttributeBytes(AttributeBytesCapabilityId(base + 4, 3),
                     AttributeBytesRangeOfDimensionValue(Dimension(8.5, DIMENSION_UNIT_INCHES),
                                                         Dimension(297, DIMENSION_UNIT_MILLIMETERS))));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesNewCapabilityId(name, 2),
                                        AttributeBytesDimensionValue(Dimension(base, DIMENSION_UNIT_MICRONS))));
  list.AddAttributeBytes(
      AttributeBytes(AttributeBytesListOfValuesItemId(base), AttributeBytesResolutionValue(600, 1200, 3)));
  ByteBuffer blob;
  for (long i = 0; i < 40; ++i) {
    blob.push_back(static_cast<unsigned char>((base * 31 + i * 7) & 0xFF));
  }
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(base + 5), AttributeBytesDataBlobValue(blob)));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(base + 6),
                                        AttributeBytesDateTimeValue(UtcTime(2023, 11, 14, 22, 13, base % 60))));
  AttributeBytesRawList inner;
  inner.AddAttributeBytes(AttributeBytes(AttributeBytesListOfValuesItemId(0), AttributeBytesIntegerValue(base)));
  inner.AddAttributeBytes(AttributeBytes(AttributeBytesListOfValuesItemId(1), AttributeBytesStringValue(name)));
  list.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(base + 8), AttributeBytesListValue(2, inner)));
  return list;
}

// Namespaces 1, 2, 4, 5 and 6 (3, the device capabilities, left out), each
// with `groups` runs of every value type, stamped with `version`.
inline AttributeBytesNameSpaces realisticNameSpaces(int groups = 3,
                                                    const DriverVersion& version = DriverVersion(7048, 1, 0, 999)) {
  AttributeBytesNameSpaces nameSpaces(version);
  for (long nameSpace : {1L, 2L, 4L, 5L, 6L}) {
    AttributeBytesRawList records;
    for (int group = 0; group < groups; ++group) {
      const AttributeBytesRawList part = everyValueType(nameSpace * 1000 + group * 20);
      AttributeBytesRawListIterator iterator = part.GetRawListIterator();
      while (const AttributeBytesSharedPtr record = part.GetNextAttributeBytesFromRawListIterator(iterator)) {
        records.AddAttributeBytes(record);
      }
    }
    nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(nameSpace), records, static_cast<unsigned char>(nameSpace));
  }
  return nameSpaces;
}

}  // namespace patest
