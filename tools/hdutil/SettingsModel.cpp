#include "SettingsModel.h"

#include "General/ByteBuffer.h"
#include "General/Dimension.h"
#include "General/UtcTime.h"
#include "LowLevelFacilities/CPString.h"
#include "LowLevelFacilities/CPStringUtils.h"
#include "LowLevelFacilities/Formatter.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

namespace hdutil {

namespace {

using InternalHaldenCP::formatToStdString;

Json textToJson(const CXString& text) {
  bool valid = false;
  const CPString utf8 = CPStringUtils::validateAndCreateCPStringWithoutThrowing(text.u16string(), valid);
  if (valid) {
    return Json(utf8.utf8StdString());
  }
  Json units = Json::array();
  for (const char16_t unit : text.u16string()) {
    units.push_back(static_cast<unsigned>(unit));
  }
  Json object = Json::object();
  object["utf16"] = std::move(units);
  return object;
}

CXString textFromJson(const Json& json, const std::string& where) {
  if (json.is_object()) {
    std::u16string units;
    for (const Json& unit : jsonArray(jsonMember(json, "utf16", where), where + ".utf16")) {
      const long long value = jsonInteger(unit, where + ".utf16[]");
      if (value < 0 || value > 0xFFFF) {
        throw JsonError(where + ".utf16 holds a value that is not a UTF-16 code unit");
      }
      units.push_back(static_cast<char16_t>(value));
    }
    return CXString(std::move(units));
  }
  return CXString::fromUtf8(jsonString(json, where));
}

std::int32_t int32FromJson(const Json& json, const std::string& where) {
  const long long value = jsonInteger(json, where);
  if (value < -2147483648LL || value > 2147483647LL) {
    throw JsonError(where + " is outside the 32-bit range");
  }
  return static_cast<std::int32_t>(value);
}

short int16FromJson(const Json& json, const std::string& where) {
  const long long value = jsonInteger(json, where);
  if (value < -32768 || value > 32767) {
    throw JsonError(where + " is outside the 16-bit range");
  }
  return static_cast<short>(value);
}

std::string stripPrefix(const char* name, const char* prefix) {
  const std::string text(name);
  const std::string p(prefix);
  return text.rfind(p, 0) == 0 ? text.substr(p.size()) : text;
}

std::string dimensionText(const Dimension& dimension) {
  const std::int32_t microns = dimension.GetStorageValue();
  return formatToStdString("%g mm (%d um)", microns / 1000.0, microns);
}

// Text in quotes, as UTF-8; an unpaired surrogate shows as U+FFFD, as in ids.
std::string quoted(const CXString& text) {
  return formatToStdString("'%s'", text.toUtf8());
}

// Upper-case hex digits, as ByteBuffer::ConvertByteBufferToHexBinaryString
// writes them (without its UTF-16 text in between).
std::string hexText(Bytes bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string hex;
  hex.reserve(2 * bytes.size());
  for (const unsigned char byte : bytes) {
    hex.push_back(kDigits[byte >> 4]);
    hex.push_back(kDigits[byte & 0x0F]);
  }
  return hex;
}

// A data blob in one line: its size and its first 24 bytes.
std::string blobText(Bytes bytes) {
  enum : std::size_t { kShownBytes = 24 };
  if (bytes.empty()) {
    return "0 bytes";
  }
  const bool cut = bytes.size() > kShownBytes;
  return formatToStdString("%u bytes %s%s", static_cast<unsigned>(bytes.size()),
                           hexText(bytes.first(cut ? kShownBytes : bytes.size())), cut ? "..." : "");
}

Bytes blobBytes(const AttributeBytesValue& value) {
  const ByteBuffer& bytes = static_cast<const AttributeBytesDataBlobValue&>(value).GetValue();
  return {bytes.data(), bytes.size()};
}

std::string listText(const AttributeBytesListValue& list) {
  return formatToStdString("kind %u, %u records", static_cast<unsigned>(list.GetKindOfList()),
                           static_cast<unsigned>(RecordWalker::countRecords(list.GetValue())));
}

}  // namespace

std::string idTypeName(const AttributeBytesId& id) {
  return stripPrefix(id.GetTypeDebugDisplayString(), "ABIDE_");
}

std::string valueTypeName(AttributeBytesValueEnum type) {
  return stripPrefix(AttributeBytesValue::GetTypeDebugDisplayString(type), "ABVTE_");
}

std::string valueTypeName(const AttributeBytesValue& value) {
  return valueTypeName(value.GetAttributeBytesValueType());
}

std::string idText(const AttributeBytesId& id) {
  return id.GetDebugDisplayString();
}

Json idToJson(const AttributeBytesId& id) {
  Json json = Json::object();
  json["type"] = idTypeName(id);
  switch (id.GetAttributeBytesIdType()) {
    case ABIDE_FEATURE:
      json["featureId"] = static_cast<const AttributeBytesFeatureId&>(id).GetFeatureId();
      break;
    case ABIDE_NEWFEATURE:
      json["name"] = textToJson(static_cast<const AttributeBytesNewFeatureId&>(id).GetFeatureName());
      break;
    case ABIDE_VALUE:
      json["valueId"] = static_cast<const AttributeBytesValueId&>(id).GetValueId();
      break;
    case ABIDE_NEWVALUE:
      json["name"] = textToJson(static_cast<const AttributeBytesNewValueId&>(id).GetValueName());
      break;
    case ABIDE_LISTOFVALUESITEM:
      json["index"] = static_cast<const AttributeBytesListOfValuesItemId&>(id).GetIndexValue();
      break;
    case ABIDE_CAPABILITY: {
      const auto& capability = static_cast<const AttributeBytesCapabilityId&>(id);
      json["featureId"] = capability.GetFeatureId();
      json["capabilityType"] = static_cast<int>(capability.GetCapabilityTypeEnum());
      break;
    }
    case ABIDE_NEWCAPABILITY: {
      const auto& capability = static_cast<const AttributeBytesNewCapabilityId&>(id);
      json["newFeatureId"] = textToJson(capability.GetNewFeatureId());
      json["capabilityType"] = static_cast<int>(capability.GetCapabilityTypeEnum());
      break;
    }
    case ABIDE_NAMESPACE: {
      const long nameSpaceId = static_cast<const AttributeBytesNameSpacesId&>(id).GetNameSpaceId();
      json["nameSpaceId"] = nameSpaceId;
      const char* name = PersistentAttributes::GetWellKnownNameSpaceName(nameSpaceId);
      if (*name != '\0') {
        json["name"] = name;
      }
      break;
    }
    case ABIDE_UNSPECIFIED:
      break;  // no id class reports this tag
  }
  return json;
}

Json valueToJson(const AttributeBytesValue& value) {
  Json json = Json::object();
  json["type"] = valueTypeName(value);
  json["specified"] = value.IsSpecified();
  switch (value.GetAttributeBytesValueType()) {
    case ABVTE_OPTION:
      json["option"] = idToJson(static_cast<const AttributeBytesOptionValue&>(value).GetValue());
      break;
    case ABVTE_INTEGER:
      json["value"] = static_cast<const AttributeBytesIntegerValue&>(value).GetValue();
      break;
    case ABVTE_STRING:
      json["value"] = textToJson(static_cast<const AttributeBytesStringValue&>(value).GetValue());
      break;
    case ABVTE_BOOLEAN:
      json["value"] = static_cast<const AttributeBytesBooleanValue&>(value).GetValue();
      break;
    case ABVTE_RANGE: {
      const auto& range = static_cast<const AttributeBytesRangeValue&>(value);
      json["first"] = range.GetFirst();
      json["second"] = range.GetSecond();
      break;
    }
    case ABVTE_RANGEOFDIMENSION: {
      const auto& range = static_cast<const AttributeBytesRangeOfDimensionValue&>(value);
      json["firstMicrons"] = static_cast<long long>(range.GetFirst().GetStorageValue());
      json["secondMicrons"] = static_cast<long long>(range.GetSecond().GetStorageValue());
      break;
    }
    case ABVTE_DIMENSION:
      json["microns"] =
          static_cast<long long>(static_cast<const AttributeBytesDimensionValue&>(value).GetValue().GetStorageValue());
      break;
    case ABVTE_RESOLUTION: {
      const auto& resolution = static_cast<const AttributeBytesResolutionValue&>(value);
      json["first"] = resolution.GetFirst();
      json["second"] = resolution.GetSecond();
      json["third"] = static_cast<int>(resolution.GetThird());
      break;
    }
    case ABVTE_DATABLOB:
      json["hex"] = hexText(blobBytes(value));
      break;
    case ABVTE_LIST: {
      const auto& list = static_cast<const AttributeBytesListValue&>(value);
      json["kindOfList"] = static_cast<int>(list.GetKindOfList());
      json["records"] = rawListToJson(list.GetValue());
      break;
    }
    case ABVTE_DATETIME: {
      const UtcTime& time = static_cast<const AttributeBytesDateTimeValue&>(value).GetValue();
      json["time64"] = static_cast<long long>(time.ToTime64());
      json["utc"] = time.GetIso8601String();
      break;
    }
    case ABVTE_UNSPECIFIED:
      break;  // no value class reports this tag
  }
  return json;
}

Json recordToJson(const AttributeBytes& record) {
  return recordToJson(RecordView(record));
}

Json recordToJson(const RecordView& record) {
  Json json = Json::object();
  json["id"] = idToJson(record.id());
  if (record.value() != nullptr) {
    json["value"] = valueToJson(*record.value());
  } else {
    // A data blob read in place: the members valueToJson writes for one.
    Json value = Json::object();
    value["type"] = valueTypeName(ABVTE_DATABLOB);
    value["specified"] = record.isSpecified();
    value["hex"] = hexText(record.blob());
    json["value"] = std::move(value);
  }
  return json;
}

Json rawListToJson(const AttributeBytesRawList& list) {
  Json records = Json::array();
  RecordWalker walker(list);
  while (const RecordView* record = walker.next()) {
    records.push_back(recordToJson(*record));
  }
  return records;
}

// The members in valueToJson's order; lists and data blobs streamed, every
// other value (a few bytes, a name or a string at most) made whole.
void writeRecordJson(JsonStreamWriter& writer, const RecordView& record) {
  writer.beginObject();
  writer.key("id");
  writer.value(idToJson(record.id()));
  writer.key("value");
  if (record.isBlob() || record.isList()) {
    writer.beginObject();
    writer.key("type");
    writer.value(valueTypeName(record.valueType()));
    writer.key("specified");
    writer.value(record.isSpecified());
    if (record.isBlob()) {
      writer.key("hex");
      writer.hexString(record.blob());
    } else {
      writer.key("kindOfList");
      writer.value(static_cast<int>(record.list().GetKindOfList()));
      writer.key("records");
      writeRawListJson(writer, record.list().GetValue());
    }
    writer.endObject();
  } else {
    writer.value(valueToJson(*record.value()));
  }
  writer.endObject();
}

// Recursion is bounded by the lists' nesting limit (the walker refuses a list
// nested deeper than its maximum).
void writeRawListJson(JsonStreamWriter& writer, const AttributeBytesRawList& list) {
  writer.beginArray();
  RecordWalker walker(list);
  while (const RecordView* record = walker.next()) {
    writeRecordJson(writer, *record);
  }
  writer.endArray();
}

std::unique_ptr<AttributeBytesId> idFromJson(const Json& json, const std::string& where) {
  const std::string type = jsonString(jsonMember(json, "type", where), where + ".type");
  if (type == "FEATURE") {
    return std::make_unique<AttributeBytesFeatureId>(
        int32FromJson(jsonMember(json, "featureId", where), where + ".featureId"));
  }
  if (type == "NEWFEATURE") {
    return std::make_unique<AttributeBytesNewFeatureId>(textFromJson(jsonMember(json, "name", where), where + ".name"));
  }
  if (type == "VALUE") {
    return std::make_unique<AttributeBytesValueId>(
        int32FromJson(jsonMember(json, "valueId", where), where + ".valueId"));
  }
  if (type == "NEWVALUE") {
    return std::make_unique<AttributeBytesNewValueId>(textFromJson(jsonMember(json, "name", where), where + ".name"));
  }
  if (type == "LISTOFVALUESITEM") {
    return std::make_unique<AttributeBytesListOfValuesItemId>(
        int32FromJson(jsonMember(json, "index", where), where + ".index"));
  }
  if (type == "CAPABILITY") {
    return std::make_unique<AttributeBytesCapabilityId>(
        int32FromJson(jsonMember(json, "featureId", where), where + ".featureId"),
        int16FromJson(jsonMember(json, "capabilityType", where), where + ".capabilityType"));
  }
  if (type == "NEWCAPABILITY") {
    return std::make_unique<AttributeBytesNewCapabilityId>(
        textFromJson(jsonMember(json, "newFeatureId", where), where + ".newFeatureId"),
        int16FromJson(jsonMember(json, "capabilityType", where), where + ".capabilityType"));
  }
  if (type == "NAMESPACE") {
    return std::make_unique<AttributeBytesNameSpacesId>(
        int32FromJson(jsonMember(json, "nameSpaceId", where), where + ".nameSpaceId"));
  }
  throw JsonError(where + ".type \"" + type + "\" is not an id type");
}

std::unique_ptr<AttributeBytesValue> valueFromJson(const Json& json, const std::string& where) {
  const std::string type = jsonString(jsonMember(json, "type", where), where + ".type");
  const bool specified = jsonBool(jsonMember(json, "specified", where), where + ".specified");
  const auto member = [&](const char* name) -> const Json& { return jsonMember(json, name, where); };
  const auto path = [&](const char* name) { return where + "." + name; };
  if (type == "OPTION") {
    return std::make_unique<AttributeBytesOptionValue>(idFromJson(member("option"), path("option")), specified);
  }
  if (type == "INTEGER") {
    return std::make_unique<AttributeBytesIntegerValue>(int32FromJson(member("value"), path("value")), specified);
  }
  if (type == "STRING") {
    return std::make_unique<AttributeBytesStringValue>(textFromJson(member("value"), path("value")), specified);
  }
  if (type == "BOOLEAN") {
    return std::make_unique<AttributeBytesBooleanValue>(jsonBool(member("value"), path("value")), specified);
  }
  if (type == "RANGE") {
    return std::make_unique<AttributeBytesRangeValue>(int32FromJson(member("first"), path("first")),
                                                      int32FromJson(member("second"), path("second")), specified);
  }
  if (type == "RANGEOFDIMENSION") {
    return std::make_unique<AttributeBytesRangeOfDimensionValue>(
        Dimension::FromStorageValue(int32FromJson(member("firstMicrons"), path("firstMicrons"))),
        Dimension::FromStorageValue(int32FromJson(member("secondMicrons"), path("secondMicrons"))), specified);
  }
  if (type == "DIMENSION") {
    return std::make_unique<AttributeBytesDimensionValue>(
        Dimension::FromStorageValue(int32FromJson(member("microns"), path("microns"))), specified);
  }
  if (type == "RESOLUTION") {
    return std::make_unique<AttributeBytesResolutionValue>(int32FromJson(member("first"), path("first")),
                                                           int32FromJson(member("second"), path("second")),
                                                           int16FromJson(member("third"), path("third")), specified);
  }
  if (type == "DATABLOB") {
    ByteBuffer bytes;
    if (!ByteBuffer::ConvertHexBinaryStringToByteBuffer(CXString::fromUtf8(jsonString(member("hex"), path("hex"))),
                                                        bytes, true)) {
      throw JsonError(path("hex") + " is not hex text");
    }
    return std::make_unique<AttributeBytesDataBlobValue>(bytes, specified);
  }
  if (type == "LIST") {
    const long long kind = jsonInteger(member("kindOfList"), path("kindOfList"));
    if (kind < 0 || kind > 255) {
      throw JsonError(path("kindOfList") + " must be 0 to 255");
    }
    return std::make_unique<AttributeBytesListValue>(static_cast<unsigned char>(kind),
                                                     rawListFromJson(member("records"), path("records")), specified);
  }
  if (type == "DATETIME") {
    return std::make_unique<AttributeBytesDateTimeValue>(
        UtcTime::FromTime64(jsonInteger(member("time64"), path("time64"))), specified);
  }
  throw JsonError(where + ".type \"" + type + "\" is not a value type");
}

AttributeBytes recordFromJson(const Json& json, const std::string& where) {
  return AttributeBytes(idFromJson(jsonMember(json, "id", where), where + ".id"),
                        valueFromJson(jsonMember(json, "value", where), where + ".value"));
}

AttributeBytesRawList rawListFromJson(const Json& records, const std::string& where) {
  AttributeBytesRawList list;
  const std::vector<Json>& items = jsonArray(records, where);
  for (std::size_t i = 0; i < items.size(); ++i) {
    list.AddAttributeBytes(recordFromJson(items[i], where + "[" + std::to_string(i) + "]"));
  }
  return list;
}

std::string valueText(const AttributeBytesValue& value) {
  switch (value.GetAttributeBytesValueType()) {
    case ABVTE_OPTION:
      return idText(static_cast<const AttributeBytesOptionValue&>(value).GetValue());
    case ABVTE_INTEGER:
      return std::to_string(static_cast<const AttributeBytesIntegerValue&>(value).GetValue());
    case ABVTE_STRING:
      return quoted(static_cast<const AttributeBytesStringValue&>(value).GetValue());
    case ABVTE_BOOLEAN:
      return static_cast<const AttributeBytesBooleanValue&>(value).GetValue() ? "TRUE" : "FALSE";
    case ABVTE_RANGE: {
      const auto& range = static_cast<const AttributeBytesRangeValue&>(value);
      return formatToStdString("[%ld, %ld]", range.GetFirst(), range.GetSecond());
    }
    case ABVTE_RANGEOFDIMENSION: {
      const auto& range = static_cast<const AttributeBytesRangeOfDimensionValue&>(value);
      return formatToStdString("[%s, %s]", dimensionText(range.GetFirst()), dimensionText(range.GetSecond()));
    }
    case ABVTE_DIMENSION:
      return dimensionText(static_cast<const AttributeBytesDimensionValue&>(value).GetValue());
    case ABVTE_RESOLUTION: {
      const auto& resolution = static_cast<const AttributeBytesResolutionValue&>(value);
      return formatToStdString("%ld x %ld (%d)", resolution.GetFirst(), resolution.GetSecond(),
                               static_cast<int>(resolution.GetThird()));
    }
    case ABVTE_DATABLOB:
      return blobText(blobBytes(value));
    case ABVTE_LIST:
      return listText(static_cast<const AttributeBytesListValue&>(value));
    case ABVTE_DATETIME:
      return static_cast<const AttributeBytesDateTimeValue&>(value).GetValue().GetIso8601String();
    case ABVTE_UNSPECIFIED:
      break;  // no value class reports this tag
  }
  return "?";
}

std::string valueText(const RecordView& record) {
  return record.value() != nullptr ? valueText(*record.value()) : blobText(record.blob());
}

}  // namespace hdutil
