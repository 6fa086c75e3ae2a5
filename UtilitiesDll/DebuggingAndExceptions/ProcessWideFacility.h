#pragma once
// ProcessWideFacility<Host>: the common form of the library's process-wide
// facilities (ExceptionFacility, HaldenAssertion::AssertionFacility,
// ErrorDisplayFacility). Fields, in order: a validity tag, a one-time
// application initialisation flag, the platform utilities and the facility's
// host.
//
// The facilities are static objects of the library. The validity tag is
// 0x0FAB0FAB from the end of construction until destruction, and 0 in the
// zero-filled storage of a static object that has not been constructed yet:
// every operation first checks it (isInitialized), so that calls made while
// the library's static objects are being built or torn down are refused
// quietly instead of reaching a host that does not exist.
//
// The fields change only during a session start or a context change, which
// the application performs from one thread; all threads read them without
// locks.

#include "LowLevelFacilities/IPlatformUtilities.h"

#include <cstdint>

template <class Host>
class ProcessWideFacility {
 public:
  enum : std::uint32_t { kValidityTag = 0x0FAB0FAB };

  bool isInitialized() const noexcept { return m_validityTag == kValidityTag; }
  void setOneTimeApplicationInitializationFlag() noexcept { m_oneTimeApplicationInitializationFlag = true; }
  bool isOneTimeApplicationInitializationFlagSet() const noexcept { return m_oneTimeApplicationInitializationFlag; }
  // Sets the one-time flag if it is clear.
  void notifyApplicationSessionStarted() noexcept {
    if (!m_oneTimeApplicationInitializationFlag) {
      m_oneTimeApplicationInitializationFlag = true;
    }
  }
  // Session end and the preparation for a context change change nothing.
  void notifyApplicationSessionEnded() noexcept {}
  void prepareToReinitializeDueToContextChange() noexcept {}

  IPlatformUtilities& getPlatformUtilities() const noexcept { return *m_platformUtilities; }
  Host& getHost() const noexcept { return *m_host; }

 protected:
  ProcessWideFacility(IPlatformUtilities& platformUtilities, Host& host) noexcept
      : m_validityTag(kValidityTag),
        m_oneTimeApplicationInitializationFlag(false),
        m_platformUtilities(&platformUtilities),
        m_host(&host) {}
  ProcessWideFacility(const ProcessWideFacility&) = default;
  // Move assignment takes every field of the other facility (tag and flag
  // included); the other is left as it was.
  ProcessWideFacility& operator=(const ProcessWideFacility&) = default;
  ProcessWideFacility& operator=(ProcessWideFacility&&) noexcept = default;
  // A destroyed facility refuses every call, like one not yet constructed.
  // The store is volatile: a store into an object that is ending its life is
  // otherwise removed by the optimiser, and code running during unload reads
  // the tag after the destructor has run.
  ~ProcessWideFacility() { *static_cast<volatile std::uint32_t*>(&m_validityTag) = 0; }

 private:
  std::uint32_t m_validityTag;
  bool m_oneTimeApplicationInitializationFlag;
  IPlatformUtilities* m_platformUtilities;
  Host* m_host;
};
