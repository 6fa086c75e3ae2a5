#pragma once
// IPrintPipelinePropertyBag: the property bag that the print filter pipeline
// service hands to every filter of a job (filterpipeline.h of the Windows
// Driver Kit; MinGW's headers do not have it). Declared here from its
// documented shape: an IUnknown with, in this order, AddProperty,
// GetProperty and DeleteProperty, interface id
// {8B8C99DC-7892-4A95-8A04-57422E9FBB47}.
//
// PrintPipelinePropertyBagStrings reads and writes string properties
// (VT_BSTR) of such a bag, which is how client job data travels inside the
// pipeline.

#include "LowLevelFacilities/CXString.h"
#include "hdUtilitiesExport.h"

#include <windows.h>

#include <oaidl.h>
#include <objbase.h>

#include <cstddef>

struct IPrintPipelinePropertyBag : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE AddProperty(const wchar_t* name, const VARIANT* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetProperty(const wchar_t* name, VARIANT* value) = 0;
  virtual BOOL STDMETHODCALLTYPE DeleteProperty(const wchar_t* name) = 0;
};

__CRT_UUID_DECL(IPrintPipelinePropertyBag, 0x8b8c99dc, 0x7892, 0x4a95, 0x8a, 0x04, 0x57, 0x42, 0x2e, 0x9f, 0xbb, 0x47)

namespace PrintPipelinePropertyBagStrings {

// A BSTR holding a copy of the units; the caller frees it with
// SysFreeString. When it cannot be allocated (also for a length beyond what a
// BSTR can hold) raises CPComException with E_OUTOFMEMORY (0x8007000E).
HDU_API BSTR AllocateBstr(const char16_t* units, std::size_t length);
// Adds or replaces the string property `name`. True when the bag accepted it
// (AddProperty succeeded).
HDU_API bool WriteString(IPrintPipelinePropertyBag& bag, const CXString& name, const CXString& value);
// The string property `name`; false when the bag has no such property or its
// value is not a string.
HDU_API bool ReadString(IPrintPipelinePropertyBag& bag, const CXString& name, CXString& value);

}  // namespace PrintPipelinePropertyBagStrings
