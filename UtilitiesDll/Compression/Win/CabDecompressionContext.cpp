#include "Compression/Win/CabDecompressionContext.h"

#include "Compression/Win/CabinetCallbacks.h"
#include "DebuggingAndExceptions/CPException.h"

#include <windows.h>

#include <fdi.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>

namespace {

constexpr const char* kCabinetName = "hdu.cab";

static_assert(FDIERROR_NONE == 0 && FDIERROR_NOT_A_CABINET == 2 && FDIERROR_CORRUPT_CABINET == 4 &&
                  FDIERROR_USER_ABORT == 11,
              "CabContext::GetFdiErrorText lists FDIERROR in the order of its values");

}  // namespace

struct CabDecompressionContext::State {
  explicit State(CabContext& owner) : files(owner) {}
  CabContext& files;
  ERF error{};
  HFDI handle = nullptr;
  // The extraction in progress.
  std::vector<ExtractedFile>* extracted = nullptr;
  std::size_t remainingBudget = 0;
  unsigned int outputCounter = 0;
  std::string currentOutputName;
  std::string currentStoredName;
  std::string refusal;  // why a notification aborted the copy
};

namespace {

// The context whose FDI call is running on this thread (FDI's file callbacks
// carry no context pointer).
thread_local CabDecompressionContext::State* t_activeState = nullptr;

class ActiveStateScope {
 public:
  explicit ActiveStateScope(CabDecompressionContext::State& state) noexcept : m_previous(t_activeState) {
    t_activeState = &state;
  }
  ~ActiveStateScope() { t_activeState = m_previous; }
  ActiveStateScope(const ActiveStateScope&) = delete;
  ActiveStateScope& operator=(const ActiveStateScope&) = delete;

 private:
  CabDecompressionContext::State* m_previous;
};

FNALLOC(fdiAlloc) {
  return std::malloc(cb);
}

FNFREE(fdiFree) {
  std::free(pv);
}

FNOPEN(fdiOpen) {
  (void)pmode;
  int error = 0;
  if (t_activeState == nullptr || pszFile == nullptr) {
    return -1;
  }
  return t_activeState->files.FileOpen(pszFile, CabinetCallbacks::translateOpenFlags(oflag), error);
}

FNREAD(fdiRead) {
  int error = 0;
  if (t_activeState == nullptr) {
    return static_cast<UINT>(-1);
  }
  return t_activeState->files.FileRead(hf, pv, cb, error);
}

FNWRITE(fdiWrite) {
  int error = 0;
  if (t_activeState == nullptr) {
    return static_cast<UINT>(-1);
  }
  return t_activeState->files.FileWrite(hf, pv, cb, error);
}

FNCLOSE(fdiClose) {
  int error = 0;
  if (t_activeState == nullptr) {
    return -1;
  }
  return t_activeState->files.FileClose(hf, error);
}

FNSEEK(fdiSeek) {
  int error = 0;
  if (t_activeState == nullptr) {
    return -1;
  }
  return static_cast<__LONG32>(t_activeState->files.FileSeek(hf, dist, seektype, error));
}

// Creates the in-memory output file for one stored file, limited to the size
// the cabinet declares and to the remaining budget.
INT_PTR openOutputFile(CabDecompressionContext::State& state, const FDINOTIFICATION& notification) {
  const char* storedName = notification.psz1 != nullptr ? notification.psz1 : "";
  if (notification.cb < 0 || static_cast<unsigned long long>(notification.cb) > state.remainingBudget) {
    state.refusal = InternalHaldenCP::formatToStdString(
        "the cabinet's file '%s' declares %ld bytes, more than the %lu bytes that may come out", storedName,
        static_cast<long long>(notification.cb), static_cast<unsigned long long>(state.remainingBudget));
    return -1;
  }
  state.currentStoredName = storedName;
  state.currentOutputName = "hdu-output-" + std::to_string(++state.outputCounter);
  state.files.SetFile(state.currentOutputName, ByteBuffer());
  state.files.SetFileSizeLimit(state.currentOutputName, static_cast<std::size_t>(notification.cb));
  int error = 0;
  return state.files.FileOpen(state.currentOutputName, CabContext::CCOF_WRITE, error);
}

// Closes a finished output file and moves its bytes to the result.
INT_PTR closeOutputFile(CabDecompressionContext::State& state, const FDINOTIFICATION& notification) {
  int error = 0;
  if (state.files.FileClose(notification.hf, error) != 0) {
    return FALSE;
  }
  ByteBuffer contents = state.files.GetFile(state.currentOutputName);
  state.files.FileDelete(state.currentOutputName, error);
  state.remainingBudget -= std::min(state.remainingBudget, contents.size());
  state.extracted->push_back({state.currentStoredName, std::move(contents)});
  return TRUE;
}

FNFDINOTIFY(fdiNotify) {
  if (pfdin == nullptr || pfdin->pv == nullptr) {
    return -1;
  }
  auto& state = *static_cast<CabDecompressionContext::State*>(pfdin->pv);
  try {
    switch (fdint) {
      case fdintCOPY_FILE:
        return openOutputFile(state, *pfdin);
      case fdintCLOSE_FILE_INFO:
        return closeOutputFile(state, *pfdin);
      case fdintNEXT_CABINET:
        // A CompressedBuffer cabinet never continues in another cabinet.
        state.refusal = "the cabinet continues in another cabinet, which is not available";
        return -1;
      case fdintCABINET_INFO:
      case fdintPARTIAL_FILE:
      case fdintENUMERATE:
      default:
        return 0;
    }
  } catch (const std::exception& exception) {
    // Nothing may leave a callback into the cabinet library.
    state.refusal = CPException::isCPException(exception)
                        ? static_cast<const CPException&>(exception).getExceptionMessage()
                        : exception.what();
    return -1;
  }
}

}  // namespace

const char* CabDecompressionContext::GetCabinetName() noexcept {
  return kCabinetName;
}

CabDecompressionContext::CabDecompressionContext() : m_state(std::make_unique<State>(*this)) {
  m_state->handle =
      FDICreate(fdiAlloc, fdiFree, fdiOpen, fdiRead, fdiWrite, fdiClose, fdiSeek, cpuUNKNOWN, &m_state->error);
  if (m_state->handle == nullptr) {
    HDU_THROW(CPExceptionCabinetLibraryConstructionFailure,
              HDU_DEBUG_CONTEXT("CabDecompressionContext::CabDecompressionContext"),
              "CabDecompressionContext::CabDecompressionContext(): FDICreate() failed with %s (C run-time error %d).",
              GetFdiErrorText(m_state->error.erfOper), m_state->error.erfType);
  }
}

CabDecompressionContext::~CabDecompressionContext() {
  if (m_state->handle != nullptr) {
    ActiveStateScope active(*m_state);
    FDIDestroy(m_state->handle);
    m_state->handle = nullptr;
  }
}

bool CabDecompressionContext::IsCabinet(const ByteBuffer& cabinet, unsigned int& fileCount) {
  SetFile(kCabinetName, cabinet);
  ActiveStateScope active(*m_state);
  int error = 0;
  const std::intptr_t handle = FileOpen(kCabinetName, CCOF_READ, error);
  if (handle == -1) {
    HDU_THROW(CPExceptionFileOperationCompression, HDU_DEBUG_CONTEXT("CabDecompressionContext::IsCabinet"),
              "CabDecompressionContext::IsCabinet(): the in-memory cabinet cannot be opened: %s.", GetLastFileError());
  }
  FDICABINETINFO information{};
  const BOOL isCabinet = FDIIsCabinet(m_state->handle, handle, &information);
  FileClose(handle, error);
  if (isCabinet) {
    fileCount = information.cFiles;
  }
  return isCabinet != FALSE;
}

std::vector<CabDecompressionContext::ExtractedFile> CabDecompressionContext::ExtractFiles(
    const ByteBuffer& cabinet, std::size_t maximumTotalSize) {
  SetFile(kCabinetName, cabinet);
  std::vector<ExtractedFile> extracted;
  m_state->extracted = &extracted;
  m_state->remainingBudget = maximumTotalSize;
  m_state->refusal.clear();
  m_state->error = ERF{};
  ClearLastFileError();

  std::string cabinetName = kCabinetName;
  std::string cabinetPath;
  BOOL copied = FALSE;
  {
    ActiveStateScope active(*m_state);
    copied = FDICopy(m_state->handle, cabinetName.data(), cabinetPath.data(), 0, fdiNotify, nullptr, m_state.get());
  }
  m_state->extracted = nullptr;
  // A failed copy may leave the cabinet or an output file open.
  CloseAllOpenFiles();
  if (!copied) {
    std::string detail;
    if (!m_state->refusal.empty()) {
      detail = "; " + m_state->refusal;
    } else if (!GetLastFileError().empty()) {
      detail = "; " + GetLastFileError();
    }
    HDU_THROW(CPExceptionCompression, HDU_DEBUG_CONTEXT("CabDecompressionContext::ExtractFiles"),
              "CabDecompressionContext::ExtractFiles(): FDICopy() failed with %s (C run-time error %d)%s.",
              GetFdiErrorText(m_state->error.erfOper), m_state->error.erfType, detail);
  }
  return extracted;
}
