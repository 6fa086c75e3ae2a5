#pragma once
// The settings model of hdutil: attribute-bytes records as JSON (both ways)
// and as readable one-line text.
//
// JSON of a record:
//   {"id": {"type": "FEATURE", "featureId": 5},
//    "value": {"type": "INTEGER", "specified": true, "value": 300}}
// Id types and their members: FEATURE featureId, NEWFEATURE name, VALUE
// valueId, NEWVALUE name, LISTOFVALUESITEM index, CAPABILITY featureId and
// capabilityType, NEWCAPABILITY newFeatureId and capabilityType, NAMESPACE
// nameSpaceId (plus a "name" for the well-known namespaces, ignored on input).
// Value types: OPTION option (an id object), INTEGER value, STRING value,
// BOOLEAN value, RANGE first and second, DIMENSION microns,
// RANGEOFDIMENSION firstMicrons and secondMicrons, RESOLUTION first, second
// and third, DATABLOB hex, LIST kindOfList and records, DATETIME time64 (the
// stored value, which decides) and utc (for reading).
// Text that is not valid UTF-16 (an unpaired surrogate) is written as
// {"utf16": [code units]} so that it survives the round trip; in the
// one-line text an unpaired surrogate shows as U+FFFD, in values as in ids.
//
// The switches over the id and value tags name every tag and have no
// default, so that the compiler points at each of them when a type is added.

#include "Json.h"
#include "RecordWalker.h"

#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesRawList.h"

#include <memory>
#include <string>

namespace hdutil {

Json idToJson(const AttributeBytesId& id);
Json valueToJson(const AttributeBytesValue& value);
Json recordToJson(const AttributeBytes& record);
// A record read in place (a data blob from its view).
Json recordToJson(const RecordView& record);
// Every record of a raw list, in its order.
Json rawListToJson(const AttributeBytesRawList& list);

// The same JSON, streamed: a record as an object, a raw list as an array of
// them. A data blob's hex is written as it is made and a list's records as
// they are read, so that no record is held whole, however large.
void writeRecordJson(JsonStreamWriter& writer, const RecordView& record);
void writeRawListJson(JsonStreamWriter& writer, const AttributeBytesRawList& list);

// The reverse; `where` names the place in the document for error messages.
std::unique_ptr<AttributeBytesId> idFromJson(const Json& json, const std::string& where);
std::unique_ptr<AttributeBytesValue> valueFromJson(const Json& json, const std::string& where);
AttributeBytes recordFromJson(const Json& json, const std::string& where);
AttributeBytesRawList rawListFromJson(const Json& records, const std::string& where);

// "ABIDE_FEATURE" -> "FEATURE", "ABVTE_LIST" -> "LIST".
std::string idTypeName(const AttributeBytesId& id);
std::string valueTypeName(AttributeBytesValueEnum type);
std::string valueTypeName(const AttributeBytesValue& value);
// The id as the library displays it ("Feature(5)", "NewFeature('psk:PageMediaSize')").
std::string idText(const AttributeBytesId& id);
// The value in one line ("300", "'Draft'", "TRUE", "[600, 1200]",
// "215.9 mm", "600 x 1200 (3)", "8 bytes 0011...", "kind 1, 2 records", a
// UTC time). A data blob shows its size and at most its first 24 bytes.
std::string valueText(const AttributeBytesValue& value);
std::string valueText(const RecordView& record);

}  // namespace hdutil
