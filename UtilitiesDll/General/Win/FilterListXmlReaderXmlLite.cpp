// FilterListXmlReader::ReadFilterNames over XmlLite. xmllite.dll is loaded on
// first use and kept for the life of the process; the document is handed to
// the reader as an in-memory stream.

#include "DebuggingAndExceptions/CPException.h"
#include "General/FilterListXmlReader.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <windows.h>

#include <objidl.h>
#include <shlwapi.h>
#include <xmllite.h>

#include <climits>
#include <string>

namespace {

constexpr const char* kFunction = "FilterListXmlReader::ReadFilterNames";

using CreateXmlReaderFunction = HRESULT(WINAPI*)(REFIID, void**, IMalloc*);

CreateXmlReaderFunction g_createXmlReader = nullptr;

void LoadXmlLite(void*) {
  const HMODULE module = LoadLibraryExW(L"xmllite.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  const HMODULE loaded = module != nullptr ? module : LoadLibraryW(L"xmllite.dll");
  if (loaded != nullptr) {
    g_createXmlReader =
        reinterpret_cast<CreateXmlReaderFunction>(reinterpret_cast<void*>(GetProcAddress(loaded, "CreateXmlReader")));
  }
}

// A COM pointer released on every way out.
template <class Interface>
class ComPointer {
 public:
  ComPointer() = default;
  ~ComPointer() {
    if (m_pointer != nullptr) {
      m_pointer->Release();
    }
  }
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;
  Interface** out() noexcept { return &m_pointer; }
  Interface* operator->() const noexcept { return m_pointer; }
  Interface* get() const noexcept { return m_pointer; }

 private:
  Interface* m_pointer = nullptr;
};

[[noreturn]] void ThrowParseFailure(const CXString& source, const char* reason, long hresult, UINT line) {
  if (line > 0) {
    HDU_THROW(CPExceptionXMLConfigurationFileParseFailed, HDU_DEBUG_CONTEXT(kFunction),
              "The filter list '%s' is not well-formed XML (line %u): %s (HRESULT 0x%08X)", source, line, reason,
              static_cast<unsigned>(hresult));
  }
  HDU_THROW(CPExceptionXMLConfigurationFileParseFailed, HDU_DEBUG_CONTEXT(kFunction),
            "The filter list '%s' is not well-formed XML: %s (HRESULT 0x%08X)", source, reason,
            static_cast<unsigned>(hresult));
}

UINT LineOf(IXmlReader& reader) {
  UINT line = 0;
  return SUCCEEDED(reader.GetLineNumber(&line)) ? line : 0;
}

}  // namespace

std::vector<CXString> FilterListXmlReader::ReadFilterNames(const ByteBuffer& document,
                                                           const CXString& sourceDescription) {
  static PlatformFacilities::OnceFlag once{};
  PlatformFacilities::runOnce(once, LoadXmlLite, nullptr);
  if (g_createXmlReader == nullptr) {
    HDU_THROW(CPExceptionDelayLoadDllLoadFailure, HDU_DEBUG_CONTEXT(kFunction),
              "xmllite.dll or its CreateXmlReader could not be loaded to read the filter list '%s'.",
              sourceDescription);
  }
  if (document.empty()) {
    ThrowParseFailure(sourceDescription, "the document is empty", S_OK, 0);
  }
  if (document.size() > static_cast<std::size_t>(UINT_MAX)) {
    ThrowParseFailure(sourceDescription, "the document is too large", E_INVALIDARG, 0);
  }
  ComPointer<IStream> stream;
  *stream.out() = SHCreateMemStream(document.data(), static_cast<UINT>(document.size()));
  ComPointer<IXmlReader> reader;
  HRESULT result = stream.get() == nullptr
                       ? E_OUTOFMEMORY
                       : g_createXmlReader(__uuidof(IXmlReader), reinterpret_cast<void**>(reader.out()), nullptr);
  if (SUCCEEDED(result)) {
    result = reader->SetProperty(XmlReaderProperty_DtdProcessing, DtdProcessing_Prohibit);
  }
  if (SUCCEEDED(result)) {
    result = reader->SetInput(stream.get());
  }
  if (FAILED(result)) {
    ThrowParseFailure(sourceDescription, "the XML reader could not be set up", result, 0);
  }

  std::vector<CXString> names;
  bool sawElement = false;
  XmlNodeType type = XmlNodeType_None;
  while ((result = reader->Read(&type)) == S_OK) {
    if (type == XmlNodeType_DocumentType) {
      ThrowParseFailure(sourceDescription, "document type declarations are not accepted", E_FAIL,
                        LineOf(*reader.get()));
    }
    if (type != XmlNodeType_Element) {
      continue;
    }
    sawElement = true;
    const WCHAR* localName = nullptr;
    UINT length = 0;
    if (FAILED(reader->GetLocalName(&localName, &length)) || localName == nullptr ||
        std::wstring(localName, length) != L"Filter") {
      continue;
    }
    if (reader->MoveToAttributeByName(L"name", nullptr) == S_OK) {
      const WCHAR* value = nullptr;
      UINT valueLength = 0;
      if (SUCCEEDED(reader->GetValue(&value, &valueLength)) && value != nullptr) {
        names.emplace_back(reinterpret_cast<const char16_t*>(value), static_cast<std::size_t>(valueLength));
      }
      reader->MoveToElement();
    }
  }
  if (FAILED(result)) {
    ThrowParseFailure(sourceDescription, "XmlLite refused the document", result, LineOf(*reader.get()));
  }
  if (!sawElement) {
    ThrowParseFailure(sourceDescription, "the document has no root element", S_OK, 0);
  }
  return names;
}
