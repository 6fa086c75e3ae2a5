#pragma once
// ProcessWideFacility<Host, Facility>: the common form of the library's
// process-wide facilities (ExceptionFacility, HaldenAssertion::AssertionFacility,
// ErrorDisplayFacility), each of which names itself as `Facility`. Fields, in
// order: a validity tag, a one-time application initialisation flag, the
// platform utilities and the facility's host.
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
#include <new>
#include <type_traits>

template <class Host, class Facility>
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

  // Rebuilds the whole facility in place: destroyed, then constructed again
  // with the same platform utilities and host, so the tag is written again,
  // the flag is clear, and whatever else the facility holds starts afresh.
  // A facility built from something else (another constructor) declares its
  // own form, which hides this one.
  void reinitializeDueToContextChange() noexcept {
    static_assert(std::is_base_of_v<ProcessWideFacility, Facility>);
    static_assert(std::is_nothrow_constructible_v<Facility, IPlatformUtilities&, Host&>,
                  "the rebuild must not fail between destruction and construction");
    IPlatformUtilities& platformUtilities = *m_platformUtilities;
    Host& host = *m_host;
    Facility& facility = static_cast<Facility&>(*this);
    facility.~Facility();
    ::new (static_cast<void*>(&facility)) Facility(platformUtilities, host);
  }

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
