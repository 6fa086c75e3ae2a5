// A driver module in miniature: persists one setting with the installed
// library and reads it back.
#include "attributebytes/AttributeBytes.h"
#include "attributebytes/AttributeBytesValue.h"
#include "attributebytes/PersistentAttributes.h"

#include <cstdio>

int main() {
  AttributeBytesRawList doc;
  doc.AddAttributeBytes(AttributeBytes(AttributeBytesFeatureId(5), AttributeBytesIntegerValue(300)));
  AttributeBytesNameSpaces nameSpaces(DriverVersion(7048, 1, 0, 999));
  nameSpaces.AddNameSpace(PersistentAttributes::GetDataModelDocPropNameSpaceId(), doc);
  const ByteBuffer stored = PersistentAttributes(nameSpaces).GetPersistentAttributesState();

  PersistentAttributes readBack;
  DriverVersion version;
  const bool ok = readBack.ImportPersistentAttributesState(stored, version, true, false) &&
                  version == DriverVersion(7048, 1, 0, 999) && stored.size() > 29;
  std::puts(ok ? "consumer: ok" : "consumer: FAILED");
  return ok ? 0 : 1;
}
