#include "SampleState.h"

#include "General/Dimension.h"
#include "General/DriverVersion.h"
#include "General/UtcTime.h"
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesRawList.h"
#include "attributebytes/AttributeBytesValue.h"

namespace hdutil {

namespace {

CXString text(const char* utf8) {
  return CXString::fromUtf8(utf8);
}

void add(AttributeBytesRawList& list, const AttributeBytesId& id, const AttributeBytesValue& value) {
  list.AddAttributeBytes(AttributeBytes(id, value));
}

AttributeBytesRawList documentSettings() {
  AttributeBytesRawList list;
  add(list, AttributeBytesNewFeatureId(text("psk:PageMediaSize")),
      AttributeBytesOptionValue(AttributeBytesNewValueId(text("psk:ISOA4"))));
  add(list, AttributeBytesNewFeatureId(text("psk:PageOrientation")),
      AttributeBytesOptionValue(AttributeBytesNewValueId(text("psk:Landscape"))));
  add(list, AttributeBytesNewFeatureId(text("psk:JobCopiesAllDocuments")), AttributeBytesIntegerValue(2));
  add(list, AttributeBytesNewFeatureId(text("psk:DocumentCollate")), AttributeBytesBooleanValue(true));
  add(list, AttributeBytesNewFeatureId(text("psk:JobDuplexAllDocumentsContiguously")),
      AttributeBytesOptionValue(AttributeBytesNewValueId(text("psk:TwoSidedLongEdge"))));
  add(list, AttributeBytesNewFeatureId(text("psk:PageResolution")), AttributeBytesResolutionValue(600, 600, 1));
  add(list, AttributeBytesFeatureId(1101), AttributeBytesOptionValue(AttributeBytesValueId(1103)));  // colour mode
  add(list, AttributeBytesFeatureId(1204), AttributeBytesStringValue(text("Entwurf \xE2\x80\x93 vertraulich")));
  add(list, AttributeBytesFeatureId(1205), AttributeBytesIntegerValue(45, false));     // watermark angle, default
  add(list, AttributeBytesFeatureId(1310), AttributeBytesBooleanValue(false, false));  // booklet, not chosen
  add(list, AttributeBytesFeatureId(1402),
      AttributeBytesRangeOfDimensionValue(Dimension(76.2, DIMENSION_UNIT_MILLIMETERS),
                                          Dimension(1200.0, DIMENSION_UNIT_MILLIMETERS)));  // custom length range
  add(list, AttributeBytesFeatureId(1403), AttributeBytesDimensionValue(Dimension(8.5, DIMENSION_UNIT_INCHES)));
  add(list, AttributeBytesFeatureId(1404), AttributeBytesDimensionValue(Dimension(-2.5, DIMENSION_UNIT_MILLIMETERS)));
  add(list, AttributeBytesFeatureId(1501), AttributeBytesRangeValue(1, 999));  // page range
  return list;
}

AttributeBytesRawList deviceSettings() {
  AttributeBytesRawList trays;
  add(trays, AttributeBytesListOfValuesItemId(0), AttributeBytesStringValue(text("Tray 1 (multi-purpose)")));
  add(trays, AttributeBytesListOfValuesItemId(1), AttributeBytesStringValue(text("Tray 2 (550 sheets)")));
  add(trays, AttributeBytesListOfValuesItemId(2), AttributeBytesStringValue(text("Tray 3 (2,000 sheets)")));

  AttributeBytesRawList list;
  add(list, AttributeBytesFeatureId(2001), AttributeBytesListValue(1, trays));
  add(list, AttributeBytesFeatureId(2002), AttributeBytesIntegerValue(2048));  // installed memory, MB
  add(list, AttributeBytesFeatureId(2003), AttributeBytesBooleanValue(true));  // duplex unit installed
  add(list, AttributeBytesNewFeatureId(text("FinisherModel")),
      AttributeBytesOptionValue(AttributeBytesNewValueId(text("Stapler-Finisher SR-4100"))));
  add(list, AttributeBytesCapabilityId(1101, 3), AttributeBytesBooleanValue(true));  // colour capable
  add(list, AttributeBytesNewCapabilityId(text("psk:PageMediaSize"), 2),
      AttributeBytesRangeOfDimensionValue(Dimension(98.4, DIMENSION_UNIT_MILLIMETERS),
                                          Dimension(320.0, DIMENSION_UNIT_MILLIMETERS)));
  add(list, AttributeBytesFeatureId(2010), AttributeBytesDateTimeValue(UtcTime(2026, 11, 2, 8, 15, 0)));  // last query
  return list;
}

AttributeBytesRawList savedSettings() {
  AttributeBytesRawList list;
  add(list, AttributeBytesListOfValuesItemId(0), AttributeBytesStringValue(text("Two-sided booklet")));
  add(list, AttributeBytesListOfValuesItemId(1), AttributeBytesStringValue(text("Draft, black and white")));
  return list;
}

AttributeBytesRawList savedSettingsData() {
  ByteBuffer booklet;
  const unsigned char bookletBytes[] = {0x41, 0x42, 0x52, 0x4C, 0x02, 0x05, 0x00, 0x00, 0x00,
                                        0x05, 0x00, 0x01, 0x09, 0x04, 0x00, 0x00, 0x00, 0x00};
  booklet.appendLpbyte(bookletBytes, sizeof(bookletBytes));
  AttributeBytesRawList list;
  add(list, AttributeBytesListOfValuesItemId(0), AttributeBytesDataBlobValue(booklet));
  add(list, AttributeBytesListOfValuesItemId(1), AttributeBytesDataBlobValue(ByteBuffer()));
  add(list, AttributeBytesFeatureId(4001), AttributeBytesDateTimeValue(UtcTime(2026, 10, 30, 14, 2, 45)));
  return list;
}

}  // namespace

AttributeBytesNameSpaces buildSampleNameSpaces() {
  AttributeBytesNameSpaces nameSpaces(DriverVersion(7048, 1, 0, 999));
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(1), documentSettings());
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(2), deviceSettings());
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(4), savedSettings());
  nameSpaces.AddNameSpace(AttributeBytesNameSpacesId(5), savedSettingsData());
  return nameSpaces;
}

}  // namespace hdutil
