// FilterListXmlReader::ReadFilterNames over libxml2's streaming reader.

#include "DebuggingAndExceptions/CPException.h"
#include "General/FilterListXmlReader.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <libxml/parser.h>
#include <libxml/xmlreader.h>

#include <climits>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr const char* kFunction = "FilterListXmlReader::ReadFilterNames";

void InitializeLibXml2(void*) {
  xmlInitParser();
}

struct ReaderDeleter {
  void operator()(xmlTextReaderPtr reader) const noexcept { xmlFreeTextReader(reader); }
};
struct XmlCharDeleter {
  void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};

// The first error the parser reports, with its line.
struct ErrorState {
  bool seen = false;
  int line = 0;
  std::string message;
};

void RecordError(void* context, xmlErrorPtr error) {
  auto* state = static_cast<ErrorState*>(context);
  if (state->seen || error == nullptr || error->level < XML_ERR_ERROR) {
    return;
  }
  state->seen = true;
  state->line = error->line;
  state->message = error->message != nullptr ? error->message : "unknown error";
  while (!state->message.empty() && (state->message.back() == '\n' || state->message.back() == ' ')) {
    state->message.pop_back();
  }
}

[[noreturn]] void ThrowParseFailure(const CXString& source, const std::string& reason, int line) {
  if (line > 0) {
    HDU_THROW(CPExceptionXMLConfigurationFileParseFailed, HDU_DEBUG_CONTEXT(kFunction),
              "The filter list '%s' is not well-formed XML (line %d): %s", source, line, reason);
  }
  HDU_THROW(CPExceptionXMLConfigurationFileParseFailed, HDU_DEBUG_CONTEXT(kFunction),
            "The filter list '%s' is not well-formed XML: %s", source, reason);
}

}  // namespace

std::vector<CXString> FilterListXmlReader::ReadFilterNames(const ByteBuffer& document,
                                                           const CXString& sourceDescription) {
  static PlatformFacilities::OnceFlag once{};
  PlatformFacilities::runOnce(once, InitializeLibXml2, nullptr);
  if (document.empty()) {
    ThrowParseFailure(sourceDescription, "the document is empty", 0);
  }
  if (document.size() > static_cast<std::size_t>(INT_MAX)) {
    ThrowParseFailure(sourceDescription, "the document is too large", 0);
  }
  const std::unique_ptr<xmlTextReader, ReaderDeleter> reader(
      xmlReaderForMemory(reinterpret_cast<const char*>(document.data()), static_cast<int>(document.size()), nullptr,
                         nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  if (!reader) {
    ThrowParseFailure(sourceDescription, "the XML reader could not be created", 0);
  }
  ErrorState errors;
  xmlTextReaderSetStructuredErrorHandler(reader.get(), RecordError, &errors);

  std::vector<CXString> names;
  bool sawElement = false;
  int status = 0;
  while ((status = xmlTextReaderRead(reader.get())) == 1) {
    const int type = xmlTextReaderNodeType(reader.get());
    if (type == XML_READER_TYPE_DOCUMENT_TYPE) {
      ThrowParseFailure(sourceDescription, "document type declarations are not accepted",
                        xmlTextReaderGetParserLineNumber(reader.get()));
    }
    if (type != XML_READER_TYPE_ELEMENT) {
      continue;
    }
    sawElement = true;
    const xmlChar* localName = xmlTextReaderConstLocalName(reader.get());
    if (localName == nullptr || std::strcmp(reinterpret_cast<const char*>(localName), "Filter") != 0) {
      continue;
    }
    const std::unique_ptr<xmlChar, XmlCharDeleter> name(
        xmlTextReaderGetAttribute(reader.get(), reinterpret_cast<const xmlChar*>("name")));
    if (name) {
      names.push_back(CXString::fromUtf8Lenient(reinterpret_cast<const char*>(name.get())));
    }
  }
  if (status < 0 || errors.seen) {
    ThrowParseFailure(sourceDescription, errors.seen ? errors.message : std::string("the parser failed"), errors.line);
  }
  if (!sawElement) {
    ThrowParseFailure(sourceDescription, "the document has no root element", 0);
  }
  return names;
}
