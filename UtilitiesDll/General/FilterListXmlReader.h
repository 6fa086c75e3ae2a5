#pragma once
// FilterListXmlReader: reads a filter list from XML: the value of the "name"
// attribute of every element whose local name is "Filter" (case-sensitive,
// any namespace, any depth), in document order. Elements without that
// attribute are skipped.
//
// The parser is the platform's: XmlLite (xmllite.dll, loaded on first use) on
// Windows, libxml2 elsewhere; ReadFilterNames is implemented once for each.
// Both refuse document type declarations and never touch the network. Text
// that is not well-formed XML, an empty text included, raises
// CPExceptionXMLConfigurationFileParseFailed; its message names the source
// and, where the parser tells it, the line.

#include "General/ByteBuffer.h"
#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <vector>

class HDU_API FilterListXmlReader {
 public:
  // `sourceDescription` (a file name, say) appears in error messages.
  static std::vector<CXString> ReadFilterNames(const ByteBuffer& document, const CXString& sourceDescription);
  // The whole file, then ReadFilterNames. Throws CPExceptionCreateFileForReading
  // when the file cannot be opened and CPExceptionReadFile when it cannot be
  // read.
  static std::vector<CXString> ReadFilterNamesFromFile(const CXString& path);
  static bool DoesFileExist(const CXString& path);
};
