#pragma once
// DataModelIds: identifiers of the driver's data model that the library
// needs. tagValueEnum holds the page-description languages a print pipeline
// renders to; FilterStore chooses its filter lists and registry keys by them.

namespace DataModelIds {

enum tagValueEnum : int {
  DMIDVE_PDL_UNKNOWN = 0,
  DMIDVE_PDL_XPS = 1,
  DMIDVE_PDL_PCL6 = 2,
  DMIDVE_PDL_PCL5 = 3,
  DMIDVE_PDL_POSTSCRIPT = 4,
  DMIDVE_PDL_PDF = 5,
};

}  // namespace DataModelIds
