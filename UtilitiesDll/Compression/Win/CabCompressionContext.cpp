#include "Compression/Win/CabCompressionContext.h"

#include "Compression/Win/CabinetCallbacks.h"
#include "DebuggingAndExceptions/CPException.h"

#include <windows.h>

#include <fci.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr const char* kCabinetName = "hdu.cab";
constexpr USHORT kCabinetSetId = 0x4855;
// 1980-01-01 in the FAT date format (year - 1980, month, day), 00:00:00.
constexpr USHORT kFixedFileDate = (0 << 9) | (1 << 5) | 1;
constexpr USHORT kFixedFileTime = 0;

static_assert(FCIERR_NONE == 0 && FCIERR_CAB_FILE == 6 && FCIERR_MCI_FAIL == 8,
              "CabContext::GetFciErrorText lists FCIERROR in the order of its values");

}  // namespace

struct CabCompressionContext::State {
  explicit State(CabContext& owner) : files(owner) {}
  CabContext& files;
  ERF error{};
  CCAB cabinet{};
  HFCI handle = nullptr;
  USHORT attributesOfNextFile = 0;
};

namespace {

CabCompressionContext::State& stateOf(void* pv) noexcept {
  return *static_cast<CabCompressionContext::State*>(pv);
}

int& errorSink(int* err, int& fallback) noexcept {
  return err != nullptr ? *err : fallback;
}

FNFCIALLOC(fciAlloc) {
  return std::malloc(cb);
}

FNFCIFREE(fciFree) {
  std::free(memory);
}

FNFCIOPEN(fciOpen) {
  int fallback = 0;
  if (pszFile == nullptr) {
    errorSink(err, fallback) = EINVAL;
    return -1;
  }
  return stateOf(pv).files.FileOpen(pszFile, CabinetCallbacks::translateOpenFlags(oflag), errorSink(err, fallback));
}

FNFCIREAD(fciRead) {
  int fallback = 0;
  return stateOf(pv).files.FileRead(hf, memory, cb, errorSink(err, fallback));
}

FNFCIWRITE(fciWrite) {
  int fallback = 0;
  return stateOf(pv).files.FileWrite(hf, memory, cb, errorSink(err, fallback));
}

FNFCICLOSE(fciClose) {
  int fallback = 0;
  return stateOf(pv).files.FileClose(hf, errorSink(err, fallback));
}

FNFCISEEK(fciSeek) {
  int fallback = 0;
  return static_cast<__LONG32>(stateOf(pv).files.FileSeek(hf, dist, seektype, errorSink(err, fallback)));
}

FNFCIDELETE(fciDelete) {
  int fallback = 0;
  if (pszFile == nullptr) {
    errorSink(err, fallback) = EINVAL;
    return -1;
  }
  return stateOf(pv).files.FileDelete(pszFile, errorSink(err, fallback));
}

FNFCIGETTEMPFILE(fciGetTempFile) {
  return stateOf(pv).files.GetTemporaryFileName(pszTempName, cbTempName) ? TRUE : FALSE;
}

FNFCIFILEPLACED(fciFilePlaced) {
  (void)pccab;
  (void)pszFile;
  (void)cbFile;
  (void)fContinuation;
  (void)pv;
  return 0;
}

// Everything fits one cabinet (see the settings), so no next cabinet exists.
FNFCIGETNEXTCABINET(fciGetNextCabinet) {
  (void)pccab;
  (void)cbPrevCab;
  (void)pv;
  return FALSE;
}

// For statusCabinet FCI asks for the size the cabinet should have: the size
// it computed (cb2). Other reports need no answer.
FNFCISTATUS(fciStatus) {
  (void)cb1;
  (void)pv;
  return typeStatus == statusCabinet ? static_cast<__LONG32>(cb2) : 0;
}

FNFCIGETOPENINFO(fciGetOpenInfo) {
  int fallback = 0;
  CabCompressionContext::State& state = stateOf(pv);
  if (pdate != nullptr) {
    *pdate = kFixedFileDate;
  }
  if (ptime != nullptr) {
    *ptime = kFixedFileTime;
  }
  if (pattribs != nullptr) {
    *pattribs = state.attributesOfNextFile;
  }
  if (pszName == nullptr) {
    errorSink(err, fallback) = EINVAL;
    return -1;
  }
  return state.files.FileOpen(pszName, CabContext::CCOF_READ, errorSink(err, fallback));
}

}  // namespace

const char* CabCompressionContext::GetCabinetName() noexcept {
  return kCabinetName;
}

CabCompressionContext::CabCompressionContext() : m_state(std::make_unique<State>(*this)) {
  CCAB& cabinet = m_state->cabinet;
  cabinet.cb = CB_MAX_DISK;
  cabinet.cbFolderThresh = CB_MAX_DISK;
  cabinet.cbReserveCFHeader = 0;
  cabinet.cbReserveCFFolder = 0;
  cabinet.cbReserveCFData = 0;
  cabinet.iCab = 1;
  cabinet.iDisk = 0;
  cabinet.setID = kCabinetSetId;
  std::strcpy(cabinet.szCab, kCabinetName);
  cabinet.szCabPath[0] = '\0';
  cabinet.szDisk[0] = '\0';

  m_state->handle = FCICreate(&m_state->error, fciFilePlaced, fciAlloc, fciFree, fciOpen, fciRead, fciWrite, fciClose,
                              fciSeek, fciDelete, fciGetTempFile, &m_state->cabinet, m_state.get());
  if (m_state->handle == nullptr) {
    const std::string detail = GetLastFileError().empty() ? std::string() : "; " + GetLastFileError();
    HDU_THROW(CPExceptionCabinetLibraryConstructionFailure,
              HDU_DEBUG_CONTEXT("CabCompressionContext::CabCompressionContext"),
              "CabCompressionContext::CabCompressionContext(): FCICreate() failed with %s (C run-time error %d)%s.",
              GetFciErrorText(m_state->error.erfOper), m_state->error.erfType, detail);
  }
}

CabCompressionContext::~CabCompressionContext() {
  if (m_state->handle != nullptr) {
    FCIDestroy(m_state->handle);
    m_state->handle = nullptr;
  }
  // The base class closes whatever FCI left open.
}

void CabCompressionContext::ThrowFciError(const char* functionLabel, const char* call) const {
  const std::string detail = GetLastFileError().empty() ? std::string() : "; " + GetLastFileError();
  HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT(functionLabel),
            "%s(): %s() failed with %s (C run-time error %d)%s.", functionLabel, call,
            GetFciErrorText(m_state->error.erfOper), m_state->error.erfType, detail);
}

void CabCompressionContext::AddFile(const ByteBuffer& contents, const std::string& nameInCabinet) {
  if (m_state->handle == nullptr) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("CabCompressionContext::AddFile"),
              "CabCompressionContext::AddFile(): the cabinet has been completed; no file can be added.");
  }
  if (nameInCabinet.empty() || nameInCabinet.size() >= CB_MAX_FILENAME) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("CabCompressionContext::AddFile"),
              "CabCompressionContext::AddFile(): the name '%s' cannot be stored in a cabinet (1 to %d bytes).",
              nameInCabinet, CB_MAX_FILENAME - 1);
  }
  // The file to store is one more in-memory file, read by FCI through its
  // open-info callback.
  std::string sourceName = "hdu-source-" + std::to_string(++m_filesAdded);
  SetFile(sourceName, contents);
  bool isAscii = true;
  for (const char c : nameInCabinet) {
    isAscii = isAscii && static_cast<unsigned char>(c) < 0x80;
  }
  m_state->attributesOfNextFile = isAscii ? 0 : _A_NAME_IS_UTF;

  std::string storedName = nameInCabinet;
  ClearLastFileError();
  const BOOL added = FCIAddFile(m_state->handle, sourceName.data(), storedName.data(), FALSE, fciGetNextCabinet,
                                fciStatus, fciGetOpenInfo, tcompTYPE_MSZIP);
  if (!added) {
    ThrowFciError("CabCompressionContext::AddFile", "FCIAddFile");
  }
  int error = 0;
  FileDelete(sourceName, error);  // FCI has read it; a failure here leaves only memory behind
}

ByteBuffer CabCompressionContext::FlushCabinet() {
  if (m_state->handle == nullptr) {
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("CabCompressionContext::FlushCabinet"),
              "CabCompressionContext::FlushCabinet(): the cabinet has been completed already.");
  }
  ClearLastFileError();
  if (!FCIFlushCabinet(m_state->handle, FALSE, fciGetNextCabinet, fciStatus)) {
    ThrowFciError("CabCompressionContext::FlushCabinet", "FCIFlushCabinet");
  }
  const HFCI handle = m_state->handle;
  m_state->handle = nullptr;
  if (!FCIDestroy(handle)) {
    ThrowFciError("CabCompressionContext::FlushCabinet", "FCIDestroy");
  }
  CloseAllOpenFiles();
  ByteBuffer cabinet = GetFile(kCabinetName);
  return cabinet;
}
