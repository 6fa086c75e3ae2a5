#include "General/Win/PrintPipelinePropertyBag.h"

#include "DebuggingAndExceptions/CPException.h"
#include "LowLevelFacilities/PlatformFacilities.h"

#include <oleauto.h>

#include <string>

namespace {

// A VARIANT cleared on every way out.
class ScopedVariant {
 public:
  ScopedVariant() noexcept { VariantInit(&m_variant); }
  ~ScopedVariant() { VariantClear(&m_variant); }
  ScopedVariant(const ScopedVariant&) = delete;
  ScopedVariant& operator=(const ScopedVariant&) = delete;
  VARIANT* get() noexcept { return &m_variant; }

 private:
  VARIANT m_variant;
};

// The longest text a BSTR can hold: its byte count is a 32-bit value.
constexpr std::size_t kMaximumBstrLength = 0x7FFFFFFEu / sizeof(OLECHAR);

}  // namespace

BSTR PrintPipelinePropertyBagStrings::AllocateBstr(const char16_t* units, std::size_t length) {
  BSTR text = length <= kMaximumBstrLength
                  ? SysAllocStringLen(reinterpret_cast<const OLECHAR*>(units), static_cast<UINT>(length))
                  : nullptr;
  if (text == nullptr) {
    const unsigned long lastError = PlatformFacilities::getLastError();
    const DebugContextReference site = HDU_DEBUG_CONTEXT("PrintPipelinePropertyBagStrings::AllocateBstr");
    const std::string message =
        InternalHaldenCP::formatToStdString("The string of %lu characters for a property bag could not be allocated.",
                                            static_cast<unsigned long long>(length));
    CPException::allowForExceptionDebug("CPComException", message, lastError, DebugContextReference(site));
    throw CPComException(message, lastError, site, static_cast<long>(E_OUTOFMEMORY));
  }
  return text;
}

bool PrintPipelinePropertyBagStrings::WriteString(IPrintPipelinePropertyBag& bag, const CXString& name,
                                                  const CXString& value) {
  ScopedVariant variant;
  variant.get()->bstrVal = AllocateBstr(value.data(), value.size());
  variant.get()->vt = VT_BSTR;
  return SUCCEEDED(bag.AddProperty(name.wc_str(), variant.get()));
}

bool PrintPipelinePropertyBagStrings::ReadString(IPrintPipelinePropertyBag& bag, const CXString& name,
                                                 CXString& value) {
  ScopedVariant variant;
  if (FAILED(bag.GetProperty(name.wc_str(), variant.get())) || variant.get()->vt != VT_BSTR) {
    return false;
  }
  const BSTR text = variant.get()->bstrVal;
  value = text == nullptr ? CXString() : CXString(reinterpret_cast<const char16_t*>(text), SysStringLen(text));
  return true;
}
